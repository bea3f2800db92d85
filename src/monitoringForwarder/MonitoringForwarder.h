/* The forwarder from the inside: its parts, its callbacks, and what they call. The operations for users are
 * in orxmonitoring2d/forwarder.h.
 *
 * Threads: new and delete by the owner. The listeners run on a thread of each built-in reader: matches and
 * data of one topic come one at a time, those of two topics at once. One thread of the wait set, named from
 * "oMo##Fwd", sends the requests for resource registries, so that no listener sends a command. Users call the
 * rest. Locks: the registry's mutex alone, which listeners hold briefly. Errors: null or 0, and a line of the
 * log; a failure in the data paths costs what was taken with that sample, and never stops the forwarder. */
#ifndef ORX_MONITORING_FORWARDER_H
#define ORX_MONITORING_FORWARDER_H

#include "orxmonitoring2d/forwarder.h"
#include "src/entities/ForwarderEntities.h"
#include "src/resource/ApplicationRegistry.h"
#include "zddsc/async_wait_set.h"

ZDDS_BEGIN_C

struct ORX_MonitoringForwarderCommandManager;
struct ORX_MonitoringForwarderThread;
struct ORX_MonitoringForwarderConditionHandler;

struct ORX_MonitoringForwarderImpl {
    ORX_MonitoringForwarder parent; /* first: the two pointers are interchangeable */
    /* Atomic: null from the start of the end on. */
    struct ORX_MonitoringForwarderCommandManager* commandManager;
    struct ORX_MonitoringForwarderThread* eventThread; /* not used */
    struct ORX_MonitoringForwarderThread* loggingThread;
    ORX_MonitoringForwarderApplicationRegistry* applicationRegistry;
    DDS_AsyncWaitSet* samplesAsyncWaitSet;
    DDS_AsyncWaitSetListener asyncWaitSetListener;
    /* Triggered when some participant is still to be asked for its resource registry. */
    struct ORX_MonitoringForwarderConditionHandler* requestResourceRegistryHandler;
    ORX_UINT32 commandsInside; /* atomic: callers in a command, whom the end waits for */
};
typedef struct ORX_MonitoringForwarderImpl ORX_MonitoringForwarderImpl;

/* ---- Life ---- */

/* participant: null for one of its own. */
ORX_MonitoringForwarder* ORX_MonitoringForwarder_newI(DDS_DomainParticipantFactory* factory,
    DDS_DomainParticipant* participant, const ORX_MonitoringForwarderProperty_t* property);

/* A condition with what handles it. */
struct ORX_MonitoringForwarderConditionHandler {
    DDS_ConditionHandler parent; /* first: the condition's handler; its data is this object */
    ORX_MonitoringForwarderImpl* forwarder;
    DDS_Condition*
        condition; /* an own guard condition, or a read condition of the reader; owned either way */
    DDS_DataReader* reader;
};
typedef struct ORX_MonitoringForwarderConditionHandler ORX_MonitoringForwarderConditionHandler;
/* reader null: the condition is triggered by hand. Otherwise while the reader has samples. */
ORX_MonitoringForwarderConditionHandler* ORX_MonitoringForwarderConditionHandler_new(
    ORX_MonitoringForwarderImpl* forwarder, DDS_DataReader* reader,
    void (*onConditionTriggered)(void* handlerData, DDS_Condition* condition));
/* Its condition is in no wait set. Null is a no-op. */
void ORX_MonitoringForwarderConditionHandler_delete(ORX_MonitoringForwarderConditionHandler* self);

/* Frees the handler of a condition that left the wait set, but for the one that the forwarder keeps. */
void ORX_MonitoringForwarder_onConditionDetachedCallback(void* listenerData, DDS_Condition* condition);

/* ---- Matching ---- */

/* Of all three built-in readers. Only the event topic makes and breaks participants. */
void ORX_MonitoringForwarder_onSubscriptionMatched(
    void* listenerData, DDS_DataReader* reader, const DDS_SubscriptionMatchedStatus* status);
/* A participant that is new is asked for its resource registry, on the wait set's thread. */
int ORX_MonitoringForwarder_assertMonitoringParticipant(
    ORX_MonitoringForwarder* self, const DDS_InstanceHandle_t* publicationHandle);
int ORX_MonitoringForwarder_deleteMonitoringParticipant(
    ORX_MonitoringForwarder* self, const DDS_InstanceHandle_t* publicationHandle);
void ORX_MonitoringForwarder_onRequestResourceRegistryConditionTriggered(
    void* handlerData, DDS_Condition* condition);
/* Asks every participant that is still to be asked, once, whatever comes of it. */
int ORX_MonitoringForwarderApplicationRegistry_processParticipantsPendingRequest(
    ORX_MonitoringForwarderApplicationRegistry* self, ORX_MonitoringForwarder* forwarder);

/* ---- Data ---- */

/* Take all that there is, into the registry and then into the cache reader. */
void ORX_MonitoringForwarder_onEventDataAvailable(void* listenerData, DDS_DataReader* reader);
void ORX_MonitoringForwarder_onPeriodicDataAvailable(void* listenerData, DDS_DataReader* reader);
void ORX_MonitoringForwarder_onLoggingDataAvailable(void* listenerData, DDS_DataReader* reader);

/* ---- Commands ---- */

/* The participant's service-request endpoints, and the manager on them. */
int ORX_MonitoringForwarder_createCommandManager(
    ORX_MonitoringForwarderImpl* self, const ORX_MonitoringForwarderProperty_t* property);
/* Ends what is running, and waits for its callers. 0 when somebody has not given its command back: the
 * manager then stays. */
int ORX_MonitoringForwarder_deleteCommandManager(ORX_MonitoringForwarderImpl* self);
/* Without waiting, and without a result. The registry's mutex may be held. */
int ORX_MonitoringForwarder_requestResourceRegistryFromDestination(
    ORX_MonitoringForwarder* self, const DDS_InstanceHandle_t* destination);

/* ---- Logging levels ---- */

/* Changes the configurations that the registry has of the applications that the groups name. */
int ORX_MonitoringForwarder_applyLoggingLevelChange(
    ORX_MonitoringForwarder* self, const DDS_Monitoring_LoggingGroupSequence* logging_groups, int forwarding);
/* A facility that the list does not have is added if it is the middleware's, with the verbosity as given;
 * others are none of the application's. */
int ORX_MonitoringForwarder_setVerbosityToLoggingSettingSeq(
    DDS_Monitoring_LoggingSettingSeq* seq, const DDS_Monitoring_LoggingSetting* setting, int forwarding);

ZDDS_END_C

#endif
