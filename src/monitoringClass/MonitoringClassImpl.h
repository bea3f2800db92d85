/* The record of the monitoring library, and what reads it.
 *
 * It stands low so that every room may read it; the functions that build and take it down stand on top, in
 * MonitoringClass.h. A pointer is null until its object was made and after it was deleted.
 * Threads: the record is complete before create returns, and the pointers do not change until delete; what is
 * shared and changes says so. */
#ifndef ORX_MONITORING_CLASS_IMPL_H
#define ORX_MONITORING_CLASS_IMPL_H

#include "zddsc/monitoring.h"
#include "zddscore/fast_buffer_pool.h"
#include "zddscore/inline_list.h"
#include "zddscore/skiplist.h"

ZDDS_BEGIN_C

struct ORX_MonitoringPeriodicMetricCollector;
struct ORX_MonitoringEventTaskExecutor;
struct ORX_MonitoringEventSnapshotThread;
struct ORX_MonitoringLogging;
struct ORX_MonitoringLibraryEntities;
struct ORX_MonitoringResourceRegistry;
struct ORX_MonitoringCommandDispatcher;

typedef enum ORX_MonitoringStates {
    ORX_MONITORING_STATE_ENABLED = 0,
    ORX_MONITORING_STATE_ENABLED_W_PARTICIPANT = 1,
    ORX_MONITORING_STATE_MATCHED = 2
} ORX_MonitoringStates;

struct ORX_MonitoringClassImpl {
    struct ORX_MonitoringClass parent;
    ORX_MonitoringStates status; /* ENABLED from create on; nothing moves it */
    struct ORX_MonitoringPeriodicMetricCollector* periodicMetric;
    struct ORX_MonitoringEventTaskExecutor* eventTaskExecutor;
    struct ORX_MonitoringEventSnapshotThread* eventSnapshotThread;
    struct ORX_MonitoringLogging* logging;
    struct ORX_MonitoringLibraryEntities* entities;
    struct ORX_MonitoringResourceRegistry* resourceRegistry;
    struct ORX_MonitoringCommandDispatcher* commandDispatcher;
    struct ORX_MonitoringProperty_t* property;                        /* the owned copy */
    ORX_MonitoringLoggingVerbositySetting_t loggingCollectionSetting; /* last collection verbosity seen */
    ORXNtpTime snapshotDelay;
    /* The selection store (MetricSelectionStore.h); guarded by the library lock. */
    struct REDAFastBufferPool* metricSelectionPool;
    struct REDAInlineList currentMetricSelectionList; /* oldest first */
    struct REDASkiplist* metricSelectionIndex;        /* the same nodes, by content */
    struct REDASkiplistDescription metricSelectionIndexDescription;
    struct DDS_MonitoringMetricSelection
        disableSelection; /* disables "*"; its expression is borrowed per use */
};
typedef struct ORX_MonitoringClassImpl ORX_MonitoringClassImpl;

/* Null for null. Read without a lock: the pointer does not change between create and delete. */
struct ORX_MonitoringResourceRegistry* ORX_Monitoring_getResourceRegistry(
    struct ORX_MonitoringClass* monitoringClass);
/* The object that stands in the globals, or null: what a thread looks at that does not hold the library lock.
 * The host puts it there with release once create has returned. */
struct ORX_MonitoringClass* ORX_Monitoring_getPublishedClassI(void);

ZDDS_END_C

#endif
