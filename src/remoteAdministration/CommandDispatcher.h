/* The application's side of the command path: takes commands off the service-request channel, runs them one
 * at a time on a thread of its own, and sends one reply each.
 *
 * Threads: dispatchCommand on the thread that delivers the channel, which holds the monitoring participant's
 * lock; applyCommandEvent on the dispatcher's thread; the rest by the owner. Locks of a command, in order:
 * the library lock; the participant's lock, for moments; the registry's resourcesMutex, for moments. None is
 * held while a reply waits for its acknowledgment, and commands behind it wait for that. Ownership: the
 * writer, the class and the clock are borrowed; an accepted command belongs to pendingCommandList until the
 * thread takes it off, and what is on the list at the end is freed without a reply. Errors: 0 or null and a
 * line of the log. */
#ifndef ORX_COMMAND_DISPATCHER_H
#define ORX_COMMAND_DISPATCHER_H

#include <atomic>

#include "orxmonitoring2d/orx_remote_administration.h"
#include "src/remoteAdministration/ServiceIds.h"
#include "src/resource/MonitoringResource.h"
#include "zddsc/monitoring.h"
#include "zddscore/event_generator.h"
#include "zddscore/fast_buffer_pool.h"
#include "zddscore/inline_list.h"

ZDDS_BEGIN_C

struct ORX_MonitoringCommandDispatcher;

typedef enum ORX_MonitoringCommandDispatcherState {
    ORX_MONITORING_COMMAND_DISPATCHER_STATUS_RUNNING = 0,
    ORX_MONITORING_COMMAND_DISPATCHER_STATUS_STOPPED = 1
} ORX_MonitoringCommandDispatcherState;

/* What selecting and processing come to. */
typedef enum ORX_MonitoringCommandDispatcherReturnValue {
    ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR = -1,           /* failed, and nothing is sent */
    ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR_WITH_REPLY = 0, /* failed, and the reply says so */
    ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK = 1,
    ORX_MONITORING_COMMAND_DISPATCHER_RETURN_NO_RESOURCE_FOUND = 2 /* the reply holds that code */
} ORX_MonitoringCommandDispatcherReturnValue;

/* Fills `resources`, empty on entry, with what the command addresses. Under the library lock. */
typedef ORX_MonitoringCommandDispatcherReturnValue (
    *ORX_MonitoringCommandDispatcher_getMatchingResourcesFunction)(
    struct ORX_MonitoringCommandDispatcher* self, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringService_Reply* reply, DDS_Monitoring_MonitoringService_Request* command);
/* Acts on the resources, which are pinned. */
typedef ORX_MonitoringCommandDispatcherReturnValue (*ORX_MonitoringCommandDispatcher_ProcessCommandFunction)(
    struct ORX_MonitoringCommandDispatcher* self, DDS_Monitoring_MonitoringService_Reply* reply,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Request* command);

/* One accepted command. */
struct ORX_MonitoringCommandDispatcherEventData {
    REDAInlineListNode node; /* first; in pendingCommandList */
    struct ORX_MonitoringCommandDispatcher* commandDispatcher;
    DDS_GUID_t commandUuid; /* the sample's instance_id */
    DDS_Monitoring_MonitoringService_Request command;
    DDS_InstanceHandle_t remoteReaderHandle; /* where the reply goes */
    /* Null for the operations that are answered as not supported. */
    ORX_MonitoringCommandDispatcher_getMatchingResourcesFunction getMatchingResources;
    ORX_MonitoringCommandDispatcher_ProcessCommandFunction processCommand;
};
typedef struct ORX_MonitoringCommandDispatcherEventData ORX_MonitoringCommandDispatcherEventData;

struct ORX_MonitoringCommandDispatcher {
    DDS_DataWriter* writer;  /* the participant's service-request writer */
    DDS_SequenceNumber_t SN; /* zero, not used */
    ORX_MonitoringCommandDispatcherProperty_t property;
    struct ORX_MonitoringClass* monitoringClass;
    ORXClock* clock;
    ORXEventSmartTimer* timer;
    ORXEventActiveGenerator* generator;
    ORXOsapiSemaphore* binSem; /* given when the thread has stopped */
    ORXEventActiveGeneratorListener generatorListener;
    /* Atomic: written under the participant's lock and read without. Each look at it is a hint, and is
     * repeated before every step that processes or sends. */
    ORX_MonitoringCommandDispatcherState state;
    REDAFastBufferPool* eventDataPool; /* under the participant's lock */
    REDAInlineList pendingCommandList; /* under the participant's lock */
};
typedef struct ORX_MonitoringCommandDispatcher ORX_MonitoringCommandDispatcher;

/* The started dispatcher, or null with nothing left behind. The property is copied; the library's entities
 * are enabled, and builtinWriter is theirs. */
ORX_MonitoringCommandDispatcher* ORX_MonitoringCommandDispatcher_new(
    struct ORX_MonitoringClass* monitoringClass, DDS_DataWriter* builtinWriter,
    REDAWorkerFactory* workerFactory, const ORX_MonitoringCommandDispatcherProperty_t* property,
    const char* threadName, const ORXOsapiRtpsGuidPrefix* guidPrefix);
int ORX_MonitoringCommandDispatcher_initialize(ORX_MonitoringCommandDispatcher* self,
    struct ORX_MonitoringClass* monitoringClass, DDS_DataWriter* builtinWriter,
    REDAWorkerFactory* workerFactory, const ORX_MonitoringCommandDispatcherProperty_t* property,
    const char* threadName, const ORXOsapiRtpsGuidPrefix* guidPrefix);
/* Stops: no command begins after it returns. Waits for the one that runs, at most destruction_timeout; 0 when
 * that was not enough. The participant still stands. */
int ORX_MonitoringCommandDispatcher_prefinalize(ORX_MonitoringCommandDispatcher* self);
/* Once the thread has stopped. 0 leaves everything as it is: the thread may still use it. */
int ORX_MonitoringCommandDispatcher_finalize(ORX_MonitoringCommandDispatcher* self);
/* The same, and frees the object if all of it went. Null is a no-op; non-zero when nothing is left. */
int ORX_MonitoringCommandDispatcher_delete(ORX_MonitoringCommandDispatcher* self);

/* The entry from the channel: decodes the sample and queues the command. The caller holds the monitoring
 * participant's lock. Non-zero when the command was accepted, and for a sample without data. */
int ORX_MonitoringCommandDispatcher_dispatchCommand(
    ORX_MonitoringCommandDispatcher* self, const DDS_ServiceRequest* sample, const DDS_SampleInfo* info);
/* Hands an accepted command to the thread. */
int ORX_MonitoringCommandDispatcher_postEvent(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringCommandDispatcherEventData* eventData);

ZDDS_END_C

inline bool ORX_MonitoringCommandDispatcher_isRunning(const ORX_MonitoringCommandDispatcher* self) {
    auto& state = const_cast<ORX_MonitoringCommandDispatcherState&>(self->state);
    return std::atomic_ref(state).load(std::memory_order_acquire) ==
           ORX_MONITORING_COMMAND_DISPATCHER_STATUS_RUNNING;
}
// Under the participant's lock.
inline void ORX_MonitoringCommandDispatcher_setState(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringCommandDispatcherState state) {
    std::atomic_ref(self->state).store(state, std::memory_order_release);
}

#endif
