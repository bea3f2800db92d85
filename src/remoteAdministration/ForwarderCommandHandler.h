/* One command of the forwarder on its way: what is sent, where to, and what has come back.
 *
 * A handler comes from the manager's pool, is filled in (ForwarderCommands.h), sent, and returned. Blocking:
 * the caller waits for the result and returns the handler. Self-managed: the manager sends it on its own
 * thread and returns it. Neither: the caller gets the handler back after the sending, and may look at it.
 *
 * Threads: a handler is its caller's until it is sent. From then on its result, its state and its counts
 * belong to the manager's thread, under `lock`, which the sender holds while it writes: so no reply is
 * counted, and nothing is disposed of, before the last destination was written. A waiting caller looks at
 * `state` and `isConditionAttached` alone, which are atomic; `state` is written last. Ownership: the manager
 * owns handlers, a handler its sequences, request and condition; commandException is the caller's, but for a
 * self-managed handler. */
#ifndef ORX_FORWARDER_COMMAND_HANDLER_H
#define ORX_FORWARDER_COMMAND_HANDLER_H

#include "orxmonitoring2d/orx_remote_administration.h"
#include "zddsc/conditions.h"
#include "zddscore/semaphore.h"

ZDDS_BEGIN_C

struct ORX_MonitoringForwarderCommandManager;

typedef enum ORX_MonitoringForwarderCommandHandlerStatus {
    ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE = 0,
    ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE = 1, /* its condition is attached */
    ORX_MONITORING_FORWARDER_COMMAND_HANDLER_SUCCESSFUL_STATE = 2,
    ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE = 3,
    ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE = 4,
    ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NO_RESOURCE_FOUND_STATE = 5,
    ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PERMANENT_STATE = 6 /* the manager's own, never sent */
} ORX_MonitoringForwarderCommandHandlerStatus;

/* Writes what a finished command comes to: code 0, 2 or 3 and a message. message: that of a failure, which is
 * "Unspecified error" when it is null. A null exception is nobody to tell: nothing happens. A state that is
 * no end of a command is a line of the log. */
void ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(
    ORX_MonitoringForwarderCommandHandlerStatus status, DDS_Monitoring_MonitoringCommandError* exception,
    const char* message);

struct ORX_MonitoringForwarderCommandHandler {
    DDS_ConditionHandler parent; /* first; handler_data is the handler itself */
    /* The built-in readers to write to, none twice. The first receivedSamples of them have answered. */
    DDS_InstanceHandleSeq commandDestinationSeq;
    DDS_Monitoring_MonitoringService_Request requestSample;
    DDS_GUID_t commandUuid;             /* instance_id of all its samples */
    ORXNtpTime timestamp;               /* when it was prepared, by the manager's clock */
    DDS_QueryCondition* queryCondition; /* selects its replies; owned */
    int isConditionAttached;            /* atomic */
    DDS_Monitoring_MonitoringCommandError* commandException;
    struct ORX_MonitoringForwarderCommandManager* manager;
    DDS_InstanceHandle_t* replyDestination;            /* not used */
    DDS_UnsignedLong expectedSamples;                  /* destinations */
    DDS_UnsignedLong receivedSamples;                  /* replies that counted */
    int receivedOkResponse;                            /* some reply said that all went well */
    ORX_MonitoringForwarderCommandHandlerStatus state; /* atomic */
    DDS_Long commandHash;                              /* the operation */
    int propagateReply;                                /* not used */
    int isBlocking;
    int isSelfManaged;
    /* For as long as the buffer lives: */
    ORXOsapiSemaphore* lock;    /* the sender, and the manager's thread; see above */
    ORXOsapiSemaphore* settled; /* wakes the waiting caller early; it looks again at intervals anyway */
    /* Among the self-managed that wait for the manager's thread; under the manager's mutex. */
    struct ORX_MonitoringForwarderCommandHandler* nextToForward;
};
typedef struct ORX_MonitoringForwarderCommandHandler ORX_MonitoringForwarderCommandHandler;

/* What the pool does with a buffer when it makes it, and when it destroys it. */
int ORX_MonitoringForwarderCommandHandler_initialize(void* self, void* param);
void ORX_MonitoringForwarderCommandHandler_finalize(void* self, void* param);

DDS_Monitoring_MonitoringService_Request* ORX_MonitoringForwarderCommandHandler_getSampleT(
    ORX_MonitoringForwarderCommandHandler* self);
/* Makes a used handler ready for the next user: deletes the condition, empties the input of the command, and
 * frees the result of a self-managed one. */
void ORX_MonitoringForwarderCommandHandler_cleanupCommand(ORX_MonitoringForwarderCommandHandler* self);
/* Frees the result of a self-managed handler, if there is one. */
void ORX_MonitoringForwarderCommandHandler_freeOwnException(ORX_MonitoringForwarderCommandHandler* self);
/* Until the command is done and its condition is detached. */
void ORX_MonitoringForwarderCommandHandler_wait(ORX_MonitoringForwarderCommandHandler* self);

ZDDS_END_C

#endif
