// The numbers and identifiers of commands, and what is written to their destinations.
#include <cstring>

#include "src/log/Log.hpp"
#include "src/remoteAdministration/CommandHelper.h"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"
#include "zddscore/hash.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using namespace orx::forwarder;

// What makes a command's identifier; its bytes are hashed, and all of them are set.
struct CommandKey {
    DDS_GUID_t writer;
    DDS_Long high;
    DDS_UnsignedLong low;
    DDS_Long commandHash;
    ORX_UINT8 time[sizeof(ORXNtpTime)]; // with its padding, which is 0
};
static_assert(sizeof(CommandKey) == 44);

// False at the first destination that could not be written to.
bool writeToAll(
    const Manager& self, const Handler& handler, const DDS_ServiceRequest& sample, bool* isAnyWritten) {
    *isAnyWritten = false;
    const DDS_Long length = DDS_InstanceHandleSeq_get_length(&handler.commandDestinationSeq);
    DDS_InstanceHandle_t instanceHandle = DDS_HANDLE_NIL;
    for (DDS_Long i = 0; i < length; ++i) {
        const auto* destination = DDS_InstanceHandleSeq_get_reference(&handler.commandDestinationSeq, i);
        if (DDS_DataWriter_write_untyped_generalI(
                self.writer, destination, nullptr, &sample, &instanceHandle) != DDS_RETCODE_OK)
            return ORX_ERROR(FAILED_TO_SEND, "monitoring request");
        *isAnyWritten = true;
    }
    return true;
}

// With the handler locked. False, and the exception says why; *isAttachedNow: the condition is in the wait
// set, and there is more to undo, without the lock.
bool attachAndWrite(Manager& self, Handler& handler, const DDS_ServiceRequest& sample, bool* isAttachedNow) {
    *isAttachedNow = false;
    if (!isTakingCommands(self)) {
        tell(handler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE);
        return false;
    }
    // Before anything is written, so that no reply comes too early.
    if (DDS_AsyncWaitSet_attach_condition_with_completion_token(self.asyncWaitSet,
            DDS_QueryCondition_as_condition(handler.queryCondition),
            DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE) != DDS_RETCODE_OK) {
        tellFailure(handler, "Failed to attach condition for the command to the waitset");
        return false;
    }
    *isAttachedNow = true;
    setAttached(handler, true);
    setState(handler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE);
    bool isAnyWritten;
    if (writeToAll(self, handler, sample, &isAnyWritten))
        return true;
    tellFailure(handler, "Failed to send the command to a destination");
    if (isAnyWritten && !ORX_MonitoringForwarderCommandManager_disposeCommand(&self, &handler))
        ORX_ERROR(FAILED_TO_SEND, "Dispose message for command");
    // Not sent: the caller returns it. A self-managed one is on the manager's thread, where the detachment
    // takes effect later; so it is the detachment that returns it.
    setState(handler, handler.isSelfManaged ? ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE
                                            : ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE);
    return false;
}

// Sends or hands over. The caller is inside for as long: nobody waits for a reply in here.
bool start(Manager& self, Handler& handler, bool isSelfManaged) {
    const Inside inside{self};
    if (!isTakingCommands(self)) {
        tell(handler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE);
        return false;
    }
    if (isSelfManaged) {
        return ORX_MonitoringForwarderCommandManager_sendNonBlockingSelfManagedCommand(&self, &handler) ||
               ORX_ERROR(FAILED_TO_SEND, "self managed non-blocking command sample");
    }
    return ORX_MonitoringForwarderCommandManager_sendCommandI(&self, &handler) ||
           ORX_ERROR(FAILED_TO_SEND, "Command sample");
}

} // namespace

int ORX_MonitoringForwarderCommandManager_getNextSN(
    ORX_MonitoringForwarderCommandManager* self, DDS_SequenceNumber_t* seqNum) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(seqNum == ORX_NULL);
    ManagerLock lock{*self};
    if (!lock.isHeld())
        return 0;
    if (++self->SN.low == 0)
        ++self->SN.high;
    *seqNum = self->SN;
    return lock.unlock();
}

int ORX_MonitoringForwarderCommandManager_initializeCommandKey(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    CommandKey key{};
    if (DDS_Entity_get_guid(DDS_DataWriter_as_entity(self->writer), &key.writer) != DDS_RETCODE_OK) {
        tellFailure(*commandHandler, "Failed to get the GUID of the command writer");
        return 0;
    }
    const auto& number = commandHandler->requestSample.header.requestId.sequence_number;
    key.high = number.high;
    key.low = number.low;
    key.commandHash = commandHandler->commandHash;
    ORXNtpTime now;
    if (!self->clock->getTime(self->clock, &now)) {
        tellFailure(*commandHandler, "Failed to get a timestamp for the command");
        return 0;
    }
    std::memcpy(key.time, &now.sec, sizeof now.sec);
    std::memcpy(key.time + offsetof(ORXNtpTime, frac), &now.frac, sizeof now.frac);
    ORXOsapiHash hash;
    ORXOsapiHash_initialize(&hash);
    ORXOsapiHash_computeMd5(&hash, &key, sizeof key);
    ORX_FAIL_IF(!ORXOsapiHash_isValid(&hash));
    std::memcpy(commandHandler->commandUuid.value, hash.value, sizeof commandHandler->commandUuid.value);
    return 1;
}

int ORX_MonitoringForwarderCommandManager_sendCommand(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    // A self-managed handler that was handed over is not looked at again: it may be back in the pool.
    const bool isSelfManaged = commandHandler->isSelfManaged != 0;
    const bool isBlocking = commandHandler->isBlocking != 0;
    const bool isSent = start(*self, *commandHandler, isSelfManaged);
    if (isSent && isBlocking)
        ORX_MonitoringForwarderCommandHandler_wait(commandHandler);
    if (!isSent && isSelfManaged)
        (void)ORX_MonitoringForwarderCommandManager_returnCommandHandler(self, commandHandler);
    return isSent;
}

int ORX_MonitoringForwarderCommandManager_sendCommandI(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    const DDS_Long length = DDS_InstanceHandleSeq_get_length(&commandHandler->commandDestinationSeq);
    ORX_FAIL_IF(length == 0);
    CommandSample request(*commandHandler);
    if (!ORX_MonitoringCommandHelper_requestToOctetSeq(
            &request.sample.request_body, &commandHandler->requestSample)) {
        tellFailure(*commandHandler, "Failed to serialize the command into a sequence of octet");
        return ORX_ERROR(FAILED_TO_CONVERT_TYPE,
            "the monitoring request sample was not converted into a service request sample");
    }
    bool isAttachedNow;
    {
        const HandlerLock lock{*commandHandler};
        if (attachAndWrite(*self, *commandHandler, request.sample, &isAttachedNow))
            return 1;
    }
    // Without the lock, since this waits for the manager's thread, which may be waiting for it.
    if (isAttachedNow &&
        DDS_AsyncWaitSet_detach_condition(self->asyncWaitSet,
            DDS_QueryCondition_as_condition(commandHandler->queryCondition)) != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_DETACH, "Condition from asynchronous waitset in the command manager");
    return 0;
}

int ORX_MonitoringForwarderCommandManager_disposeCommand(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    const DDS_Long length = DDS_InstanceHandleSeq_get_length(&commandHandler->commandDestinationSeq);
    ORX_FAIL_IF(length == 0);
    const CommandSample end(*commandHandler);
    DDS_InstanceHandle_t instanceHandle = DDS_HANDLE_NIL;
    for (DDS_Long i = 0; i < length; ++i) {
        const auto* destination =
            DDS_InstanceHandleSeq_get_reference(&commandHandler->commandDestinationSeq, i);
        if (DDS_DataWriter_dispose_untyped_generalI(
                self->writer, destination, nullptr, &end.sample, &instanceHandle) != DDS_RETCODE_OK)
            return ORX_ERROR(FAILED_TO_SEND, "Monitoring Service Request dispose");
    }
    return 1;
}
