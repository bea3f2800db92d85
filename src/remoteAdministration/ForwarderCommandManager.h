/* The collector's side of the command path: sends one command to many applications, collects their replies,
 * merges them into one result, and reports it.
 *
 * All replied with success or with nothing found, and one with success: success. All found nothing: nothing
 * found. Any other reply is a failure at once, with that reply's message, and so is one that there is no
 * memory to take. One of them silent, or lost before it could be taken: a time-out. The result stands in the
 * handler's commandException. A reply counts once, and only when it comes from a destination of the command.
 * Whatever was written is disposed of at the end.
 *
 * Threads: new and delete by the owner; everything else by any number of threads at once, until delete
 * returns. One thread of the manager's wait set, "oMoComMa", runs all callbacks, and sends the self-managed
 * commands. delete turns away who comes, waits for who is inside a call for a moment, ends the commands in
 * flight as timed out, and waits until their handlers are back; so a caller that waits for a command while
 * the manager goes gets its result and returns its handler in peace. Locks: the pool has its own; `mutex`
 * for moments; the lock of a handler while it is sent or finished. All are leaves but the handler's, and the
 * registry's is taken while destinations are looked up. Ownership: the writer, the reader and the registry
 * are borrowed and outlive the manager. Errors: non-zero or a pointer for success; otherwise a line of the
 * log, and the handler's exception tells the user. */
#ifndef ORX_FORWARDER_COMMAND_MANAGER_H
#define ORX_FORWARDER_COMMAND_MANAGER_H

#include "src/remoteAdministration/ForwarderCommandHandler.h"
#include "src/resource/ApplicationRegistry.h"
#include "zddsc/async_wait_set.h"
#include "zddsc/service_request.h"
#include "zddscore/clock.h"
#include "zddscore/fast_buffer_pool.h"

ZDDS_BEGIN_C

struct ORX_MonitoringForwarderCommandManager {
    int takingCommands;     /* atomic: from the end of initialize to the start of finalize */
    DDS_DataWriter* writer; /* the participant's service-request writer */
    DDS_DataReader* reader; /* and its reader */
    DDS_Duration_t timeout; /* of a command, and of the waits at the end */
    DDS_SequenceNumber_t SN;
    ORXOsapiSemaphore* mutex; /* SN and the list below; a leaf */
    ORXClock* clock;
    DDS_AsyncWaitSet* asyncWaitSet;
    DDS_AsyncWaitSetListener asyncWaitSetListener;
    /* Takes the self-managed commands out of the reader; not of the pool. */
    ORX_MonitoringForwarderCommandHandler* forwardCommandHandler;
    REDAFastBufferPool* commandHandlerPool; /* locks itself */
    ORX_MonitoringForwarderApplicationRegistry* applicationRegistry;
    /* Self-managed handlers that were handed over and are not taken yet, the last one first. What is not in
     * here is never read as a handler, whatever a sample says. */
    ORX_MonitoringForwarderCommandHandler* firstToForward;
    ORXNtpTime lastWalk;     /* over the time-outs; the manager's thread's */
    DDS_UnsignedLong inside; /* atomic: threads in a call that uses what finalize takes away */
    int clockIsMonotonic;
    DDS_UnsignedLong leftOver; /* ends of replies that the reader may hold; the manager's thread's */
};
typedef struct ORX_MonitoringForwarderCommandManager ORX_MonitoringForwarderCommandManager;

/* The writer as which self-managed commands enter the reader; no writer on any network. */
extern const DDS_GUID_t ORX_MonitoringForwarderCommandManager_g_asynchronousGUID;

/* The started manager, or null with nothing left behind. All arguments are required; the writer and the
 * reader are enabled. */
ORX_MonitoringForwarderCommandManager* ORX_MonitoringForwarderCommandManager_new(
    DDS_DataWriter* builtinServiceRequestWriter, DDS_DataReader* builtinServiceRequestReader,
    ORX_MonitoringForwarderApplicationRegistry* applicationRegistry, const DDS_Duration_t* requestTimeout);
int ORX_MonitoringForwarderCommandManager_initialize(ORX_MonitoringForwarderCommandManager* self,
    DDS_DataWriter* builtinServiceRequestWriter, DDS_DataReader* builtinServiceRequestReader,
    ORX_MonitoringForwarderApplicationRegistry* applicationRegistry, const DDS_Duration_t* requestTimeout);
/* Takes any half-built manager. 0 leaves the rest as it is: somebody still uses it. */
int ORX_MonitoringForwarderCommandManager_finalize(ORX_MonitoringForwarderCommandManager* self);
/* The same, and frees the object if all of it went. Null is a no-op. Not with the registry locked. */
int ORX_MonitoringForwarderCommandManager_delete(ORX_MonitoringForwarderCommandManager* self);

/* ---- Handlers ---- */

/* One from the pool with every field reset; sequences and the request keep their memory from earlier use.
 * Null when memory is out, or the manager ends. */
ORX_MonitoringForwarderCommandHandler* ORX_MonitoringForwarderCommandManager_getCommandHandler(
    ORX_MonitoringForwarderCommandManager* self);
/* Back into the pool, cleaned up. One whose condition is attached is refused, and stays out. */
int ORX_MonitoringForwarderCommandManager_returnCommandHandler(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler);

/* Sends a prepared command in its way; a blocking one ends before this returns, at most `timeout` after it
 * was prepared, and a little. 1 if it was sent, or handed over, whatever became of it; 0 if not, and the
 * exception says why. A self-managed handler is not the caller's any more either way; any other is to be
 * returned. */
int ORX_MonitoringForwarderCommandManager_sendCommand(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler);

/* ---- Within the room ---- */

/* Until the last handler is back in the pool, at most `timeout`, and half a second. 0 when it is not, or came
 * too late. */
int ORX_MonitoringForwarderCommandManager_waitForAllHandlers(ORX_MonitoringForwarderCommandManager* self);

/* The number of the next request, from 1. */
int ORX_MonitoringForwarderCommandManager_getNextSN(
    ORX_MonitoringForwarderCommandManager* self, DDS_SequenceNumber_t* seqNum);
/* Makes commandUuid, from the writer, the request's number, the operation and the time. */
int ORX_MonitoringForwarderCommandManager_initializeCommandKey(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler);

/* Attaches the condition and writes to each destination, on the calling thread, which holds no lock. On
 * failure nothing is attached any more when this returns, except on the manager's thread: there, a handler
 * whose isConditionAttached is set goes back by itself. */
int ORX_MonitoringForwarderCommandManager_sendCommandI(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler);
/* Ends the command's instance at each destination, up to the first failure. */
int ORX_MonitoringForwarderCommandManager_disposeCommand(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler);

/* Hands the command to the manager's thread through the reader; the sample stays inside the process. */
int ORX_MonitoringForwarderCommandManager_sendNonBlockingSelfManagedCommand(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler);
/* The other end of it. */
void ORX_MonitoringForwarderCommandManager_onForwardCommandTriggered(
    void* handlerData, DDS_Condition* condition);
/* Sends, or at the end of the manager returns, what was handed over and not taken: its sample may have been
 * lost. On the manager's thread, or once that has ended. */
void ORX_MonitoringForwarderCommandManager_forwardWaiting(ORX_MonitoringForwarderCommandManager* self);

/* Replies to one command have come. */
void ORX_MonitoringForwarderCommandManager_onConditionTriggered(void* handlerData, DDS_Condition* condition);
/* Ends what has waited too long, if the last look is long enough ago: handlers call it, since a steady flow
 * of samples keeps the wait set from ever timing out. */
void ORX_MonitoringForwarderCommandManager_walkIfDue(ORX_MonitoringForwarderCommandManager* self);
void ORXMonitoringForwarderCommandManager_onWaitTimeoutCallback(
    void* listenerData, DDS_UnsignedLongLong threadId);
void ORXMonitoringForwarderCommandManager_onConditionDetachedCallback(
    void* handlerData, DDS_Condition* condition);

ZDDS_END_C

#endif
