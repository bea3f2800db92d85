// What every command has: its operation, its number and identifier, and the condition for its replies.
#include <cstring>

#include "src/log/Log.hpp"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"
#include "src/remoteAdministration/ForwarderCommands.h"
#include "zddscore/heap.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using namespace orx::forwarder;
using Error = DDS_Monitoring_MonitoringCommandError;

// With the terminator.
constexpr size_t replyFilterSize = 74;
constexpr char replyFilterFormat[] =
    "instance_id.value = &hex(%02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X "
    "%02X)";
// Sixteen conversions of four characters, of which two are left: the filter fills its buffer.
static_assert(sizeof replyFilterFormat - 16 * (4 - 2) == replyFilterSize);

bool fail(const Handler& handler, const char* message) {
    tellFailure(handler, message);
    return false;
}

// A self-managed command has a result of its own, whatever it is given.
bool chooseException(Handler& handler, Error* exception) {
    if (exception != nullptr && !handler.isSelfManaged) {
        handler.commandException = exception;
        return true;
    }
    if (!ORXOsapiHeap_allocateStructure(&handler.commandException, DDS_Monitoring_MonitoringCommandError))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "command exception");
    return DDS_Monitoring_MonitoringCommandError_initialize(handler.commandException) ||
           ORX_ERROR(FAILED_TO_INITIALIZE, "command exception");
}

bool identify(Manager& self, Handler& handler) {
    auto& request = handler.requestSample.header.requestId;
    DDS_SequenceNumber_t number;
    if (!ORX_MonitoringForwarderCommandManager_getNextSN(&self, &number))
        return fail(handler, "Failed to get the sequence number for the command sample");
    request.sequence_number.high = number.high;
    request.sequence_number.low = number.low;
    if (!ORX_MonitoringForwarderCommandManager_initializeCommandKey(&self, &handler))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Command key");
    DDS_GUID_t writer;
    if (DDS_Entity_get_guid(DDS_DataWriter_as_entity(self.writer), &writer) != DDS_RETCODE_OK)
        return fail(handler, "Failed to get the GUID of the command writer");
    static_assert(sizeof request.writer_guid == sizeof writer.value);
    std::memcpy(&request.writer_guid, writer.value, sizeof writer.value);
    return true;
}

bool printReplyFilter(const DDS_GUID_t& uuid, char (&filter)[replyFilterSize]) {
    const DDS_Octet* v = uuid.value;
    return ORXOsapiUtility_snprintf(filter, sizeof filter, replyFilterFormat, v[0], v[1], v[2], v[3], v[4],
               v[5], v[6], v[7], v[8], v[9], v[10], v[11], v[12], v[13], v[14], v[15]) >= 0;
}

bool makeCondition(const Manager& self, Handler& handler, DDS_StringSeq& parameters) {
    char filter[replyFilterSize];
    if (!printReplyFilter(handler.commandUuid, filter))
        return fail(handler, "Failed to copy the command query condition expression");
    if (!DDS_StringSeq_initialize(&parameters))
        return fail(handler, "Failed to initialize the query parameters sequence");
    if (!DDS_StringSeq_set_maximum(&parameters, 0))
        return fail(handler, "Failed to set the maximum value for the query parameters sequence");
    handler.queryCondition = DDS_DataReader_create_querycondition(self.reader, DDS_NOT_READ_SAMPLE_STATE,
        DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE, filter, &parameters);
    if (handler.queryCondition == nullptr)
        return fail(handler, "Failed to create the query condition for the command");
    if (DDS_Condition_set_handler(DDS_QueryCondition_as_condition(handler.queryCondition), &handler.parent) !=
        DDS_RETCODE_OK)
        return fail(handler, "Failed to set the handler in the query condition for the command");
    return true;
}

bool populate(Manager& self, Handler& handler, Error* exception, DDS_StringSeq& parameters) {
    if (!chooseException(handler, exception))
        return false;
    if (!DDS_InstanceHandleSeq_set_length(&handler.commandDestinationSeq, 0))
        return fail(handler, "Failed to set the length of the command destination sequence");
    if (!identify(self, handler) || !makeCondition(self, handler, parameters))
        return false;
    // The command's time runs from here.
    if (!self.clock->getTime(self.clock, &handler.timestamp))
        return fail(handler, "Failed to get the command timestamp");
    return true;
}

} // namespace

int ORX_MonitoringForwarderCommandManager_populateCommonCommandHandlerFields(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    DDS_Long commandHash, DDS_Monitoring_MonitoringCommandError* exception, int isBlocking,
    int isSelfManaged) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    ORX_FAIL_IF(isSelfManaged == (1) && isBlocking == (1));
    ORX_FAIL_IF(isSelfManaged == (0) && exception == ORX_NULL);
    if (!isTakingCommands(*self)) {
        ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(
            ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE, exception, nullptr);
        return 0;
    }
    commandHandler->commandHash = commandHash;
    commandHandler->requestSample.data._d = commandHash;
    commandHandler->manager = self;
    commandHandler->parent = {commandHandler, &ORX_MonitoringForwarderCommandManager_onConditionTriggered};
    commandHandler->isBlocking = isBlocking;
    commandHandler->isSelfManaged = isSelfManaged;
    DDS_StringSeq parameters{};
    const bool isPopulated = populate(*self, *commandHandler, exception, parameters);
    (void)DDS_StringSeq_finalize(&parameters);
    if (isPopulated)
        return 1;
    if (commandHandler->queryCondition != nullptr &&
        DDS_DataReader_delete_readcondition(self->reader,
            DDS_QueryCondition_as_readcondition(commandHandler->queryCondition)) != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_DELETE, "Query condtion of command\n");
    commandHandler->queryCondition = nullptr;
    ORX_MonitoringForwarderCommandHandler_freeOwnException(commandHandler);
    return 0;
}
