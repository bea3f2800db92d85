/* What stands between the middleware and the monitoring library: the process-wide globals, the library lock,
 * and the table of operations through which the middleware drives the library. */
#ifndef ZDDSC_MONITORING_H
#define ZDDSC_MONITORING_H

#include "zddsc/entities.h"
#include "zddsc/monitoring_property.h"
#include "zddsc/service_request.h"
#include "zddscore/clock.h"
#include "zddscore/semaphore.h"

ZDDS_BEGIN_C

struct ORX_MonitoringClass;
struct ORX_MonitoringResource;

/* The two functions by which a resource gets and returns its metric groups. `group` is out: the value in its
 * application form, for a string the text itself. They copy and nothing else: they run under the resource's
 * entity lock and metric mutex. */
typedef DDS_Boolean (*ORX_Monitoring_GetMetricGroupFunction)(
    void** group, const void* userResource, DDS_UnsignedLong metricGroupIndex);
typedef DDS_Boolean (*ORX_Monitoring_ReturnMetricGroupFunction)(
    void** group, DDS_UnsignedLong metricGroupIndex);
struct ORX_MonitoringResourceForwarder {
    ORX_Monitoring_GetMetricGroupFunction get_metric_group_function;
    ORX_Monitoring_ReturnMetricGroupFunction return_metric_group_function; /* null: nothing to return */
};
typedef struct ORX_MonitoringResourceForwarder ORX_MonitoringResourceForwarder;
ZDDSC_EXPORT int ORX_MonitoringResourceForwarder_copy(
    ORX_MonitoringResourceForwarder* self, const ORX_MonitoringResourceForwarder* source);

/* What a user of the library keeps for one resource. */
struct ORX_MonitoringResourceHandle {
    struct ORX_MonitoringResource* resource;
    DDS_UnsignedLong concurrencyIndex;
    DDS_UnsignedLongLong libraryEpoch;
};
typedef struct ORX_MonitoringResourceHandle ORX_MonitoringResourceHandle;

/* The live library, made by create. Every operation is documented where the library declares it
 * (src/monitoringClass). */
struct ORX_MonitoringClass {
    DDS_DomainParticipantFactory* factory;
    struct ORX_MonitoringResource* rootResource;
    DDS_Boolean (*prefinalizeFunction)(struct ORX_MonitoringClass* self);
    void (*deleteFunction)(struct ORX_MonitoringClass* self);
    DDS_Boolean (*isSharedLibraryFunction)(void);
    struct ORX_MonitoringResource* (*assertResourceFunction)(struct ORX_MonitoringClass* self,
        DDS_UnsignedLong* concurrencyIndex, const DDS_GUID_t* userResourceGuid, DDS_UnsignedLong classId,
        const char* resourceName, void* userResource, struct ORX_MonitoringResource* parentResource,
        const ORX_MonitoringResourceForwarder* forwarder);
    void (*deleteResourceFunction)(struct ORX_MonitoringClass* self, struct ORX_MonitoringResource* resource);
    void (*deleteResourceChildrenFunction)(
        struct ORX_MonitoringClass* self, struct ORX_MonitoringResource* resource);
    /* The caller holds the metric mutex of the resource's concurrency index. */
    DDS_Boolean (*pushEventMetricFunction)(struct ORX_MonitoringClass* self, void* applicationMetricGroup,
        struct ORX_MonitoringResource* resource, DDS_UnsignedLong metricGroupIndex);
    DDS_Boolean (*onLoggingCollectionChange)(struct ORX_MonitoringClass* self);
    const ORX_MonitoringProperty_t* (*getPropertyFunction)(struct ORX_MonitoringClass* self);
    DDS_Boolean (*dispatchCommandFunction)(
        struct ORX_MonitoringClass* self, const DDS_ServiceRequest* sample, const DDS_SampleInfo* info);
    DDS_Boolean (*pauseResourceMetricsFunction)(
        struct ORX_MonitoringClass* self, struct ORX_MonitoringResource* resource);
    DDS_Boolean (*pauseResourceChildrenMetricsFunction)(
        struct ORX_MonitoringClass* self, struct ORX_MonitoringResource* resource);
    DDS_Boolean (*resumeResourceMetricsFunction)(
        struct ORX_MonitoringClass* self, struct ORX_MonitoringResource* resource);
    /* The caller holds the logging mutex of the index. Severity and facility in syslog's numbers;
     * structuredData is null or a sequence of DDS_Monitoring_StructuredDataMapEntry. */
    DDS_Boolean (*postLogMessage)(struct ORX_MonitoringClass* self, const char* text,
        ZDDS_Config_SyslogLevel severity, DDS_UnsignedLong messageId, const DDS_Duration_t* timestamp,
        ZDDS_Config_LogFacility facility, const void* structuredData, const char* category,
        DDS_UnsignedLong concurrencyIndex);
};
typedef struct ORX_MonitoringClass ORX_MonitoringClass;

typedef struct ORX_MonitoringClass* (*ORX_Monitoring_CreateFunction)(
    DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property);

/* One mutex for each concurrency index, made by the host. */
struct ORX_MonitoringGlobalsConcurrency {
    struct ORXOsapiSemaphore** mutexPool;
    DDS_UnsignedLong level; /* number of indexes */
};
typedef struct ORX_MonitoringGlobalsConcurrency ORX_MonitoringGlobalsConcurrency;

struct ORX_MonitoringGlobals {
    ORX_Monitoring_CreateFunction createFunction;
    void* libraryHandle;
    struct ORX_MonitoringClass* monitoringClass;
    struct ORXOsapiSemaphore* mutex;
    ORX_MonitoringGlobalsConcurrency eventConcurrency;
    ORX_MonitoringGlobalsConcurrency loggingConcurrency;
    DDS_UnsignedLongLong libraryEpoch;
    struct ORXClock* eventClock;
    ORXOsapiThreadTssFactory* tssFactory;
    ORX_UINT32 inEnableTssKey;
};
typedef struct ORX_MonitoringGlobals ORX_MonitoringGlobals;

/* The record of the process; null before the host made it. */
ZDDSC_EXPORT ORX_MonitoringGlobals* ORX_MonitoringGlobals_get_instance(void);

typedef enum ORX_MonitoringLockKind {
    ORX_MONITORING_LOCK_KIND_LIBRARY = 0, /* index 0 */
    ORX_MONITORING_LOCK_KIND_METRIC = 1,
    ORX_MONITORING_LOCK_KIND_LOGGING = 2
} ORX_MonitoringLockKind;
typedef enum ORX_MonitoringLockResult {
    ORX_MONITORING_LOCK_RESULT_OK = 0,
    ORX_MONITORING_LOCK_RESULT_ERROR = 1,
    ORX_MONITORING_LOCK_RESULT_NOT_ENABLED = 2, /* no lock held */
    ORX_MONITORING_LOCK_RESULT_TIMEOUT = 3      /* no lock held */
} ORX_MonitoringLockResult;

/* Takes a lock. flagA: non-zero, look at the library's enabled state and answer NOT_ENABLED when it is not;
 * flagB: non-zero, look again once the lock is held. With both 0 the state is looked at once the lock is
 * held, so that a caller inside the library can tell a busy lock (TIMEOUT) from a library that went away.
 * timeout null waits for ever. Metric and logging locks are recursive; the library lock is too. */
ZDDSC_EXPORT ORX_MonitoringLockResult ORX_Monitoring_lockI(ORX_MonitoringLockKind lockKind,
    DDS_UnsignedLong concurrencyIndex, int flagA, int flagB, const DDS_Duration_t* timeout);
/* flagA as for the lock. 0 on success. */
ZDDSC_EXPORT int ORX_Monitoring_unlockI(
    ORX_MonitoringLockKind lockKind, DDS_UnsignedLong concurrencyIndex, int flagA);

/* ---- The host: what an application or an agent calls to run the library in a process ----
 *
 * In a forked child the library is not enabled, and every call answers so without touching a lock. */

/* Makes the globals and the library lock (idempotent, thread-safe). */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringHost_initialize(void);
/* Loads liborxmonitoring2d (libraryPath, or null for the one beside libzddsc or on the search path), and
 * calls its ORX_Monitoring_initialize. Idempotent. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringHost_load_library(const char* libraryPath);
/* The same without loading, for a program that links the library. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringHost_set_create_function(ORX_Monitoring_CreateFunction createFunction);
/* Makes the mutex pools (a concurrency level of 0 gives one queue, one above 1024 is refused), and creates
 * the library while holding the library lock, from before create until the object stands in the globals, so
 * that a reader that matches early meets a busy lock. Null on failure, with nothing left behind. */
ZDDSC_EXPORT ORX_MonitoringClass* ORX_MonitoringHost_start(const ORX_MonitoringProperty_t* property);
/* Disables, prefinalizes and deletes. False when a thread of the library did not end in time: its object then
 * stays, and a later call goes on. The mutexes of the pools stay until finalize, for the next start: an
 * application thread may be on its way into one. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringHost_stop(void);
/* What became of the service requests that came for the library, since the process began.
 *
 * Requests wait in bounded queues, one for each sending participant; senders take turns. At most 32 commands
 * are with the library and not answered; one that gets no answer counts for 10 seconds. Commands that ask for
 * the resource registry, which multiply traffic, and bodies that hide what they ask for, are paced: one a
 * second for each sender, four at once after a rest, with 16 waiting. Bodies have the bound of
 * zddsc/service_request.h; what is beyond it is among the reader's counters. */
typedef struct ORX_MonitoringHostRequestCounters {
    DDS_UnsignedLongLong received;
    DDS_UnsignedLongLong handed_over;        /* to the library */
    DDS_UnsignedLongLong delayed;            /* waited for the pace of their sender */
    DDS_UnsignedLongLong refused_pace;       /* too many waited for it */
    DDS_UnsignedLongLong refused_queue_full; /* of the sender, or of all; or memory was out */
    DDS_UnsignedLongLong refused_senders;    /* more than 256 senders have requests waiting */
    DDS_UnsignedLongLong unanswered;         /* the library sent no answer in time */
    DDS_UnsignedLong waiting;                /* now */
    DDS_UnsignedLong in_flight;              /* now: with the library, not answered */
} ORX_MonitoringHostRequestCounters;
ZDDSC_EXPORT void ORX_MonitoringHost_get_request_countersI(ORX_MonitoringHostRequestCounters* counters);
/* Non-zero while the library is enabled. */
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringHost_is_enabled(void);
/* Frees the globals; for tests that look for leaks. The library must be stopped. */
ZDDSC_EXPORT void ORX_MonitoringHost_finalize(void);

ZDDS_END_C

#endif
