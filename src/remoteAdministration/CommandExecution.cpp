// One command, from the event of its post to the return of its data.
#include "src/remoteAdministration/CommandExecution.h"

#include "src/log/Log.hpp"
#include "src/monitoringClass/ResourceOperations.h"
#include "src/remoteAdministration/CommandReply.h"
#include "src/remoteAdministration/CommandText.hpp"
#include "src/remoteAdministration/Operations.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using Dispatcher = ORX_MonitoringCommandDispatcher;
using EventData = ORX_MonitoringCommandDispatcherEventData;

// The logging commands give the library lock back before they are processed: they change no resource.
//
// The others keep it to their end, and are not cut into slices that let others in between two resources:
// - A deletion waits for the pins of its resource while it holds this lock. Let in, it would wait for a pin
//   that the command gives back at its end, and the command for the lock.
// - A resource that is made takes its metrics from the store of selections, which learns of the command once
//   all resources have it. Made in between it would be in neither, and nothing would tell that it was missed.
// So a resource that is made meanwhile waits. It is the host's own thread that does, and never one of the
// program; what a command costs is bounded by SelectionPlan.
bool keepsLibraryLock(const EventData& eventData) {
    switch (eventData.command.data._d) {
    case orx::operation::request_resource_registry:
    case orx::operation::set_metric_subscription_state:
    case orx::operation::update_metric_subscription_state:
        return true;
    default:
        return false;
    }
}

// What a command holds on its way; whatever is still held at the end is released in this order: pins, library
// lock, reply, the command and its buffer, the sequence.
class Execution {
public:
    Execution(Dispatcher& dispatcher, EventData& data, REDAWorker* thread)
        : self(dispatcher), eventData(data), worker(thread) {}
    ~Execution() {
        if (areResourcesLocked && !ORX_MonitoringCommandDispatcher_unlockResources(&resources, worker))
            ORX_ERROR(FAILED_TO_UNLOCK, "Monitoring Resources");
        (void)unlockLibrary();
        if (isReplyInitialized)
            DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
        if (returnsBuffer)
            returnEventData();
        if (!ORX_MonitoringResourcePtrSeq_finalize(&resources))
            ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring resources sequence");
    }
    Execution(const Execution&) = delete;
    Execution& operator=(const Execution&) = delete;

    void run() {
        ORX_STATUS(PROCESSING, "Monitoring Command with hash %d and UUID: " ORX_UUID_FORMAT,
            ORX_COMMAND_ARGUMENTS(eventData));
        if (!initializeReply())
            return;
        if (eventData.getMatchingResources == nullptr || eventData.processCommand == nullptr) {
            refuse();
            return;
        }
        if (!lockLibrary() || !selectResources())
            return;
        if (!keepsLibraryLock(eventData) && !unlockLibrary())
            return;
        if (!isRunning() || !process() || !releaseLocks() || !isRunning())
            return;
        sendReply();
    }

private:
    bool isRunningSilently() const { return ORX_MonitoringCommandDispatcher_isRunning(&self); }
    bool isRunning() const {
        if (isRunningSilently())
            return true;
        return ORX_ERROR(FAILED_TO_PROCESS,
            "Monitoring Command reply for command with hash: '%d' and UUID: " ORX_UUID_FORMAT
            ". The dispatcher was disabled",
            ORX_COMMAND_ARGUMENTS(eventData));
    }

    bool removeFromList() {
        return ORX_MonitoringCommandDispatcher_removeEventDataFromList(&self, &eventData, worker) != 0;
    }

    bool initializeReply() {
        isReplyInitialized = DDS_Monitoring_MonitoringService_Reply_initialize(&reply) != 0;
        if (isReplyInitialized)
            return true;
        returnsBuffer = removeFromList();
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Reply sample");
    }

    void refuse() {
        returnsBuffer = removeFromList();
        if (isRunningSilently()) {
            (void)ORX_MonitoringCommandDispatcher_sendUnsupportedCommandReply(
                &self, &reply, &eventData, worker);
        }
    }

    bool lockLibrary() {
        const ORX_MonitoringLockResult result = ORX_MonitoringCommandDispatcher_lockLibraryIfRunning(&self);
        isLibraryLocked = result == ORX_MONITORING_LOCK_RESULT_OK;
        if (isLibraryLocked)
            return true;
        returnsBuffer = false; // the list has it
        if (result == ORX_MONITORING_LOCK_RESULT_NOT_ENABLED) {
            return ORX_ERROR(FAILED_TO_LOCK,
                "The monitoring library is not enabled while processing command with hash %d and "
                "UUID: " ORX_UUID_FORMAT,
                ORX_COMMAND_ARGUMENTS(eventData));
        }
        return ORX_ERROR(FAILED_TO_LOCK, "Monitoring Library");
    }

    // True when it is not held any more.
    bool unlockLibrary() {
        if (!isLibraryLocked)
            return true;
        isLibraryLocked = false;
        if (ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1) != 0)
            return ORX_ERROR(FAILED_TO_UNLOCK, "Monitoring Library");
        return true;
    }

    bool selectResources() {
        int isRemoved = 0;
        const auto result = ORX_MonitoringCommandDispatcher_getAndLockMatchingResources(
            &self, &resources, &reply, &isRemoved, &eventData, worker);
        returnsBuffer = isRemoved != 0;
        areResourcesLocked = result == ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
        if (areResourcesLocked)
            return true;
        if (!isRunningSilently())
            return false;
        if (result != ORX_MONITORING_COMMAND_DISPATCHER_RETURN_NO_RESOURCE_FOUND) {
            ORX_ERROR(FAILED_TO_GET,
                "Monitoring Resources for command with hash %d and UUID: " ORX_UUID_FORMAT,
                ORX_COMMAND_ARGUMENTS(eventData));
        }
        // Nothing was pinned, and the tree does not matter any more: others need not wait for the reply.
        if (result != ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR && unlockLibrary())
            sendReply();
        return false;
    }

    // False when there is nothing to send.
    bool process() {
        const auto result = eventData.processCommand(&self, &reply, &resources, &eventData.command);
        if (result != ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK &&
            result != ORX_MONITORING_COMMAND_DISPATCHER_RETURN_NO_RESOURCE_FOUND) {
            ORX_ERROR(FAILED_TO_PROCESS, "Command with hash %d and UUID: " ORX_UUID_FORMAT,
                ORX_COMMAND_ARGUMENTS(eventData));
        }
        return result != ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR;
    }

    bool releaseLocks() {
        areResourcesLocked = false;
        if (!ORX_MonitoringCommandDispatcher_unlockResources(&resources, worker))
            return ORX_ERROR(FAILED_TO_UNLOCK, "Monitoring Resources");
        return unlockLibrary();
    }

    void sendReply() {
        if (ORX_MonitoringCommandDispatcher_sendReplyAndUnregister(
                &self, &eventData.commandUuid, &reply, &eventData.remoteReaderHandle))
            return;
        ORX_ERROR(FAILED_TO_SEND,
            "Monitoring Command reply for command with hash: '%d' and UUID: " ORX_UUID_FORMAT,
            ORX_COMMAND_ARGUMENTS(eventData));
    }

    // The pool has no lock of its own, and the channel takes from it under the participant's. When that
    // cannot be had, the buffer stays out until the pool goes.
    void returnEventData() {
        DDS_Monitoring_MonitoringService_Request_finalize(&eventData.command);
        if (!ORX_Monitoring_lockMonitoringParticipant(self.monitoringClass))
            return;
        REDAFastBufferPool_returnBuffer(self.eventDataPool, &eventData);
        (void)ORX_Monitoring_unlockMonitoringParticipant(self.monitoringClass);
    }

    Dispatcher& self;
    EventData& eventData;
    REDAWorker* worker;
    ORX_MonitoringResourcePtrSeq resources{};
    DDS_Monitoring_MonitoringService_Reply reply{};
    bool returnsBuffer = true;
    bool areResourcesLocked = false;
    bool isLibraryLocked = false;
    bool isReplyInitialized = false;
};

} // namespace

int ORX_MonitoringCommandDispatcher_applyCommandEvent(const ORXEventGeneratorListener* /*me*/,
    ORXNtpTime* /*newTime*/, ORXNtpTime* /*newSnooze*/, const ORXNtpTime* /*now*/, const ORXNtpTime* /*time*/,
    const ORXNtpTime* /*snooze*/, const ORXEventGeneratorListenerStorage* listenerStorage,
    REDAWorker* worker) {
    ORX_FAIL_IF(listenerStorage == ORX_NULL);
    ORX_FAIL_IF(listenerStorage->field[0] == ORX_NULL);
    ORX_FAIL_IF(worker == ORX_NULL);
    auto* eventData = static_cast<EventData*>(listenerStorage->field[0]);
    Dispatcher* self = eventData->commandDispatcher;
    // Stopped: the list has the command, and is emptied when the thread has gone.
    if (ORX_MonitoringCommandDispatcher_isRunning(self))
        Execution(*self, *eventData, worker).run();
    return 0;
}
