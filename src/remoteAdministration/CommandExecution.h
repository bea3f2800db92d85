/* What becomes of one accepted command on the dispatcher's thread: it leaves the list, its resources are
 * selected and pinned, it is processed, and its reply goes out.
 *
 * Threads: the dispatcher's alone. Locks: see CommandDispatcher.h; the functions say which they take and
 * leave held. Errors: 0 or a failed result, and a line of the log. */
#ifndef ORX_COMMAND_EXECUTION_H
#define ORX_COMMAND_EXECUTION_H

#include "src/remoteAdministration/CommandDispatcher.h"

ZDDS_BEGIN_C

/* The event of a command; field[0] of the storage is its data. 0 always: the event ends. */
int ORX_MonitoringCommandDispatcher_applyCommandEvent(const ORXEventGeneratorListener* me,
    ORXNtpTime* newTime, ORXNtpTime* newSnooze, const ORXNtpTime* now, const ORXNtpTime* time,
    const ORXNtpTime* snooze, const ORXEventGeneratorListenerStorage* listenerStorage, REDAWorker* worker);

/* Takes the library lock, in attempts of lock_timeout, for as long as the dispatcher runs. NOT_ENABLED also
 * when it stopped meanwhile. */
ORX_MonitoringLockResult ORX_MonitoringCommandDispatcher_lockLibraryIfRunning(
    ORX_MonitoringCommandDispatcher* self);

/* Takes the command off the list, selects its resources and pins them. *eventDataRemoved: the command is off
 * the list, and its data the caller's to return. When the participant could not be unlocked that stays 0, and
 * the data stays out of the pool for good. */
ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_getAndLockMatchingResources(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringService_Reply* reply, int* eventDataRemoved,
    ORX_MonitoringCommandDispatcherEventData* eventData, REDAWorker* worker);
/* Takes the command off the list under the library lock and the participant's. Non-zero when it is off. */
int ORX_MonitoringCommandDispatcher_removeEventDataFromList(ORX_MonitoringCommandDispatcher* self,
    ORX_MonitoringCommandDispatcherEventData* eventData, REDAWorker* worker);

/* All of them or none. A resource that is selected twice cannot be pinned twice: that fails too. */
int ORX_MonitoringCommandDispatcher_lockResources(
    ORX_MonitoringResourcePtrSeq* resources, REDAWorker* worker);
/* Stops at the first failure. */
int ORX_MonitoringCommandDispatcher_unlockResources(
    ORX_MonitoringResourcePtrSeq* resources, REDAWorker* worker);

ZDDS_END_C

#endif
