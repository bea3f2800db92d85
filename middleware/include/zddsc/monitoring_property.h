/* Configuration of the monitoring library, filled by the host. */
#ifndef ZDDSC_MONITORING_PROPERTY_H
#define ZDDSC_MONITORING_PROPERTY_H

#include "zddsc/logger.h"
#include "zddsc/qos.h"
#include "zddsc/thread_settings.h"

ZDDS_BEGIN_C

/* Which metrics are on for which resources: a resource path expression, and metric name patterns. */
struct DDS_MonitoringMetricSelection {
    char* resource_selection;
    DDS_StringSeq enabled_metrics_selection;
    DDS_StringSeq disabled_metrics_selection;
};
typedef struct DDS_MonitoringMetricSelection DDS_MonitoringMetricSelection;
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_MonitoringMetricSelectionSeq, DDS_MonitoringMetricSelection);
/* Null expression and empty sequences. */
ZDDSC_EXPORT DDS_Boolean DDS_MonitoringMetricSelection_initialize(DDS_MonitoringMetricSelection* self);
ZDDSC_EXPORT DDS_Boolean DDS_MonitoringMetricSelection_finalize(DDS_MonitoringMetricSelection* self);
/* Works on any valid destination: initialized, used before, or finalized. */
ZDDSC_EXPORT DDS_Boolean DDS_MonitoringMetricSelection_copy(
    DDS_MonitoringMetricSelection* self, const DDS_MonitoringMetricSelection* source);

struct ORX_MonitoringLoggingProperty_t {
    ORX_MonitoringLoggingVerbositySetting_t forwarding_level;
    DDS_ThreadSettings_t thread_setting;
    struct DDS_DataWriterQos* writer_qos; /* null: the built-in profile */
    DDS_Duration_t publication_period;
    DDS_UnsignedLong concurrency_level; /* logging queues */
    DDS_Long initial_memory_size;       /* bytes of each queue's arena at start */
    DDS_UnsignedLong gc_threshold;      /* processed tasks before a queue is cleaned; not 0 */
    DDS_Long max_logs_per_update;       /* messages in one update sample */
    DDS_Long max_historical_logs;       /* messages kept for a snapshot */
};
typedef struct ORX_MonitoringLoggingProperty_t ORX_MonitoringLoggingProperty_t;
/* Copies deep, into an initialized or zeroed record, which stays as it was on failure. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringLoggingProperty_t_copy(
    ORX_MonitoringLoggingProperty_t* self, const ORX_MonitoringLoggingProperty_t* source);
/* The record is empty afterwards. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringLoggingProperty_t_finalize(ORX_MonitoringLoggingProperty_t* self);

struct ORX_MonitoringPeriodicProperty_t {
    DDS_Duration_t polling_period;
    DDS_ThreadSettings_t thread_setting;
    struct DDS_DataWriterQos* writer_qos;
};
typedef struct ORX_MonitoringPeriodicProperty_t ORX_MonitoringPeriodicProperty_t;

struct ORX_MonitoringEventProperty_t {
    DDS_Duration_t publication_period; /* zero: every post wakes the thread */
    DDS_ThreadSettings_t thread_setting;
    struct DDS_DataWriterQos* writer_qos;
    DDS_UnsignedLong concurrency_level;
    DDS_Long initial_memory_size;
    DDS_UnsignedLong gc_threshold;
    DDS_Duration_t snapshot_delay; /* from a new match to the initial snapshots */
};
typedef struct ORX_MonitoringEventProperty_t ORX_MonitoringEventProperty_t;

struct ORX_MonitoringCommandDispatcherProperty_t {
    DDS_Duration_t reply_timeout;
    DDS_Duration_t lock_timeout;
    DDS_Duration_t destruction_timeout;
    DDS_ThreadSettings_t thread_setting;
};
typedef struct ORX_MonitoringCommandDispatcherProperty_t ORX_MonitoringCommandDispatcherProperty_t;
/* Copies deep, into an initialized or zeroed record, which stays as it was on failure. Its thread settings
 * are all that a copy owns: DDS_ThreadSettings_t_finalize. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringCommandDispatcherProperty_t_copy(
    ORX_MonitoringCommandDispatcherProperty_t* self, const ORX_MonitoringCommandDispatcherProperty_t* source);

struct ORX_MonitoringProperty_t {
    DDS_DomainId_t domain_id;
    char* application_name; /* null: a name is made from host, process and a random number */
    struct DDS_DomainParticipantQos* participant_qos; /* null: the built-in profile */
    struct DDS_PublisherQos* publisher_qos;
    ORX_MonitoringLoggingProperty_t logging;
    ORX_MonitoringPeriodicProperty_t periodic;
    ORX_MonitoringEventProperty_t event;
    ORX_MonitoringCommandDispatcherProperty_t command_dispatcher;
    DDS_MonitoringMetricSelectionSeq metric_selection_list;
    DDS_StringSeq collector_initial_peers;
};
typedef struct ORX_MonitoringProperty_t ORX_MonitoringProperty_t;

/* Defaults: domain 2; event period 100 ms, 5 queues of 10 KiB, collection at 10, snapshot delay 1 s; polling
 * every 5 s; logging period 100 ms, 5 queues of 10 KiB, 512 messages per update, 128 historical; reply and
 * lock time-outs 5 s, destruction 10 s. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringProperty_t_initialize(ORX_MonitoringProperty_t* self);
/* Copies deep, into an initialized or zeroed record. The third argument is true when QoS pointers are to be
 * shared with the source and not copied; finalize gets the same value as the copy got. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringProperty_t_copy_ex(
    ORX_MonitoringProperty_t* self, const ORX_MonitoringProperty_t* source, DDS_Boolean shareQos);
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringProperty_t_finalize_ex(
    ORX_MonitoringProperty_t* self, DDS_Boolean sharedQos);

ZDDS_END_C

#endif
