/* The metric catalogue: for each class of resources its metric groups, its metrics and their counts.
 *
 * A metric is one named value. A metric group is what is copied into a sample at once: one optional member of
 * the class's Event or Periodic structure. Groups are counted through: first the members of <Class>Event in
 * the order of their declaration, then those of <Class>Periodic, so that a class with E event groups has them
 * at 0 to E-1 and its periodic groups behind them. A group with a suffix (_1, _2) is a copy with an id of its
 * own; the metrics of such a family name the one with the highest suffix. Threads: all tables are constant.
 * Ownership: they belong to the library; callers neither copy nor free them. */
#ifndef ORX_METRIC_CATALOGUE_H
#define ORX_METRIC_CATALOGUE_H

#include "orxmonitoring2d/export.h"
#include "zddsc/basic_types.h"
#include "zddscore/inline_memory.h"

ZDDS_BEGIN_C

/* Class ids: the id hash (IdHash.hpp) of the class's name. They are the labels of the unions of the samples.
 */
#define ORX_MONITORING_TYPE_CLASS_ID 46964057U
#define ORX_MONITORING_TOPIC_CLASS_ID 208182173U
#define ORX_MONITORING_DATA_WRITER_CLASS_ID 142415660U
#define ORX_MONITORING_PUBLISHER_CLASS_ID 116239698U
#define ORX_MONITORING_DATA_READER_CLASS_ID 179666769U
#define ORX_MONITORING_SUBSCRIBER_CLASS_ID 94988179U
#define ORX_MONITORING_PARTICIPANT_CLASS_ID 99258059U
#define ORX_MONITORING_APPLICATION_CLASS_ID 265647670U

/* Groups of the application class that the library fills by itself. */
#define ORX_MONITORING_APPLICATION_RESOURCE_UPDATE_GROUP 0U
#define ORX_MONITORING_APPLICATION_RESOURCE_REGISTRY_GROUP 1U
#define ORX_MONITORING_APPLICATION_HOSTNAME_GROUP 2U
#define ORX_MONITORING_APPLICATION_PROCESS_ID_GROUP 3U
#define ORX_MONITORING_APPLICATION_LOGGING_GROUP 5U
#define ORX_MONITORING_APPLICATION_PROCESS_MEMORY_GROUP 26U

/* How a metric is distributed. Not the numbering of DDS_Monitoring_DistributionKind: never cast one to the
 * other. */
typedef enum DDS_ObservableDistributionKind {
    DDS_OBSERVABLE_PERIODIC_DISTRIBUTION_KIND = 0,
    DDS_OBSERVABLE_ON_CHANGE_DISTRIBUTION_KIND = 1,
    DDS_OBSERVABLE_UNSPECIFIED_DISTRIBUTION_KIND = 2
} DDS_ObservableDistributionKind;

/* Copies a value from its application form (the type of the group's member; for a string the text itself)
 * into memory of the arena. Null when memory is out, and for a null value; what was reserved before a failure
 * stays the arena's. Logs nothing: the caller knows the index. */
typedef void* (*ORX_Monitoring_MapApplicationToDistributionMetricGroupFunction)(
    const void* appMetricGroup, struct REDAInlineMemory** memoryManager);
/* Selects the branch of the group's class in a DDS_Monitoring_Event (or _Periodic) and makes the group's
 * member point at the value, which stays the caller's. Groups of different classes must not meet in one
 * sample. */
typedef void (*ORX_Monitoring_SetDistributionMetricGroupIntoSampleFunction)(
    void* sampleParam, void* distMetricGroup);
/* Returns what map made to its arena. Null is a no-op. */
typedef void (*ORX_Monitoring_DeleteDistributionMetricGroupFunction)(void* distMetricGroup);

struct ORX_Monitoring_MetricGroupInfo {
    DDS_UnsignedLong groupId; /* id hash of the member's name */
    ORX_Monitoring_MapApplicationToDistributionMetricGroupFunction mapAppToDistMetricGroupFunction;
    ORX_Monitoring_SetDistributionMetricGroupIntoSampleFunction setDistMetricGroupIntoSample;
    ORX_Monitoring_DeleteDistributionMetricGroupFunction deleteDistMetricGroupFunction;
};
typedef struct ORX_Monitoring_MetricGroupInfo ORX_Monitoring_MetricGroupInfo;

struct ORX_Monitoring_MetricInfo {
    const char* name;
    DDS_UnsignedLong metricId; /* id hash of the class's name, "_" and the flattened path of the member */
    DDS_UnsignedLong metricGroupIndex; /* into the class's groups */
    DDS_ObservableDistributionKind distributionKind;
};
typedef struct ORX_Monitoring_MetricInfo ORX_Monitoring_MetricInfo;

struct ORX_Monitoring_ResourceInfo {
    DDS_UnsignedLong periodicMetricGroupCount;
    DDS_UnsignedLong eventMetricGroupCount;
    DDS_UnsignedLong metricCount;
};
typedef struct ORX_Monitoring_ResourceInfo ORX_Monitoring_ResourceInfo;

/* The tables of a class. An unknown id is a precondition failure with the text "\n", and null. A class
 * without metrics has a metric table that is not null and must not be indexed. */
ORX_EXPORT const ORX_Monitoring_MetricGroupInfo* ORX_Monitoring_getMetricGroupInfo(DDS_UnsignedLong classId);
ORX_EXPORT const ORX_Monitoring_MetricInfo* ORX_Monitoring_getMetricInfo(DDS_UnsignedLong classId);
ORX_EXPORT const ORX_Monitoring_ResourceInfo* ORX_Monitoring_getResourceInfo(DDS_UnsignedLong classId);

ZDDS_END_C

#endif
