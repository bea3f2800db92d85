// Self-managed commands: from their caller, through the reader, to the manager's thread.
//
// What travels is the handler's address. It is only ever compared with those of the handlers that were handed
// over: whatever a sample claims, nothing is read at an address that a sample brings.
#include <cstring>

#include "src/log/Log.hpp"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using namespace orx::forwarder;

constexpr DDS_Long addressBytes = sizeof(uintptr_t);
// In one call of the callback, so that a flood does not keep the thread from all else.
constexpr int maximumBatches = 8;

uintptr_t addressOf(const Handler& handler) {
    return reinterpret_cast<uintptr_t>(&handler);
}

// ---- The handlers that were handed over ----

bool addWaiting(Manager& self, Handler& handler) {
    ManagerLock lock{self};
    if (!lock.isHeld())
        return false;
    handler.nextToForward = self.firstToForward;
    self.firstToForward = &handler;
    return true;
}

// Takes out the first that `accepts`; null when there is none.
template <class Accepts> Handler* takeWaiting(Manager& self, Accepts accepts) {
    ManagerLock lock{self};
    if (!lock.isHeld())
        return nullptr;
    for (Handler** link = &self.firstToForward; *link != nullptr; link = &(*link)->nextToForward) {
        Handler* handler = *link;
        if (!accepts(*handler))
            continue;
        *link = handler->nextToForward;
        handler->nextToForward = nullptr;
        return handler;
    }
    return nullptr;
}

bool putAddress(DDS_ServiceRequest& sample, uintptr_t address) {
    DDS_Octet octets[addressBytes];
    std::memcpy(octets, &address, sizeof octets);
    return DDS_OctetSeq_from_array(&sample.request_body, octets, addressBytes) ||
           ORX_ERROR(FAILED_TO_COPY, "Address of the command handler");
}

bool putIntoReader(const Manager& self, const DDS_ServiceRequest& sample) {
    const DDS_GUID_t& guid = ORX_MonitoringForwarderCommandManager_g_asynchronousGUID;
    DDS_WriteParams_t params = DDS_WRITEPARAMS_DEFAULT;
    params.source_guid = guid;
    params.related_source_guid = guid;
    const DDS_ReturnCode_t result =
        DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(self.reader, &sample, &guid, &params);
    DDS_WriteParams_finalize(&params);
    return result == DDS_RETCODE_OK || ORX_ERROR(FAILED_TO_ADD, "Command sample to cache reader");
}

// ---- On the manager's thread ----

// A handler that is attached when the sending failed goes back with its detachment.
void forward(Manager& self, Handler& handler) {
    bool isSent = false;
    if (isTakingCommands(self)) {
        isSent = ORX_MonitoringForwarderCommandManager_sendCommandI(&self, &handler);
        if (!isSent && !isTakingCommands(self))
            ORX_ERROR(FAILED_TO_SEND, "Command, the forwarder was disabled before the command was sent");
        else if (!isSent)
            ORX_ERROR(FAILED_TO_SEND, "Command");
    }
    if (!isSent && !isAttached(handler))
        (void)ORX_MonitoringForwarderCommandManager_returnCommandHandler(&self, &handler);
}

// Whether this process put the sample into the reader. The middleware tells that by the source, which no
// writer on the network can set, and by the writer, which none on the network can be.
bool isOwn(const DDS_SampleInfo& info) {
    DDS_GUID_t writer;
    DDS_GUID_from_instance_handle(&writer, &info.publication_handle);
    const DDS_GUID_t& own = ORX_MonitoringForwarderCommandManager_g_asynchronousGUID;
    return DDS_GUID_equals(&info.source_guid, &own) && DDS_GUID_equals(&writer, &own);
}

// False when the callback is to end.
bool forwardSample(Manager& self, const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
    if (!isOwn(info) || !info.valid_data)
        return true;
    DDS_Octet octets[addressBytes];
    uintptr_t address = 0;
    if (DDS_OctetSeq_get_length(&sample.request_body) != addressBytes ||
        !DDS_OctetSeq_to_array(&sample.request_body, octets, addressBytes)) {
        ORX_FLOOD_ERROR(FAILED_TO_GET, "Address of the command handler");
        return true;
    }
    std::memcpy(&address, octets, sizeof address);
    if (address == 0) {
        ORX_FLOOD_ERROR(FAILED_TO_GET, "Address of the command handler: it is null");
        return true;
    }
    Handler* commandHandler = takeWaiting(self, [&](const Handler& handler) {
        return addressOf(handler) == address && DDS_GUID_equals(&handler.commandUuid, &sample.instance_id);
    });
    if (commandHandler == nullptr) // another manager's, forged, or sent already without its sample
        return true;
    if (commandHandler->isBlocking || !commandHandler->isSelfManaged)
        return ORX_PRECONDITION_FAILED("\"commandHandler->isBlocking || !commandHandler->isSelfManaged\"\n");
    forward(self, *commandHandler);
    return true;
}

// False when there is nothing more, or the callback is to end.
bool forwardBatch(Manager& self, const Handler& permanent) {
    Loan loan(self);
    const DDS_ReturnCode_t result = loan.take(permanent.queryCondition);
    if (result == DDS_RETCODE_NO_DATA)
        return false;
    if (result != DDS_RETCODE_OK)
        return ORX_FLOOD_ERROR(FAILED_TO_GET, "Asynchronous command samples");
    bool goesOn = true;
    for (DDS_Long i = 0; goesOn && i < loan.length(); ++i)
        goesOn = forwardSample(self, loan.sample(i), loan.info(i));
    if (!loan.giveBack())
        return ORX_ERROR(FAILED_TO_RETURN, "Loan on Service request reader ");
    return goesOn;
}

} // namespace

int ORX_MonitoringForwarderCommandManager_sendNonBlockingSelfManagedCommand(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    const Inside inside{*self};
    if (commandHandler->isBlocking) {
        tellFailure(*commandHandler, "Trying to send a blocking command in a self managed way");
        return 0;
    }
    if (!commandHandler->isSelfManaged) {
        tellFailure(*commandHandler, "Expected self managed command but received a non self managed one");
        return 0;
    }
    if (!isTakingCommands(*self)) {
        tell(*commandHandler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE);
        return 0;
    }
    CommandSample request(*commandHandler);
    if (!putAddress(request.sample, addressOf(*commandHandler)) || !addWaiting(*self, *commandHandler))
        return 0;
    // From here on the manager's thread may take it, with its sample or without, and the buffer may serve
    // another command, which its identifier tells.
    if (putIntoReader(*self, request.sample))
        return 1;
    const auto* own = takeWaiting(*self, [&](const Handler& other) {
        return &other == commandHandler && DDS_GUID_equals(&other.commandUuid, &request.sample.instance_id);
    });
    return own == nullptr;
}

void ORX_MonitoringForwarderCommandManager_onForwardCommandTriggered(
    void* handlerData, DDS_Condition* /*condition*/) {
    ORX_LEAVE_IF(handlerData == ORX_NULL);
    const auto& permanent = *static_cast<const Handler*>(handlerData);
    int batches = 0;
    while (batches < maximumBatches && forwardBatch(*permanent.manager, permanent))
        ++batches;
    ORX_MonitoringForwarderCommandManager_walkIfDue(permanent.manager);
}

void ORX_MonitoringForwarderCommandManager_forwardWaiting(ORX_MonitoringForwarderCommandManager* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    if (self->mutex == nullptr) // before it was made, there was nothing to forward
        return;
    while (Handler* handler = takeWaiting(*self, [](const Handler&) { return true; }))
        forward(*self, *handler);
}
