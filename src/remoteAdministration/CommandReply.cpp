#include "src/remoteAdministration/CommandReply.h"

#include "src/log/Log.hpp"
#include "src/remoteAdministration/CommandHelper.h"
#include "src/remoteAdministration/CommandText.hpp"
#include "src/remoteAdministration/Operations.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using Dispatcher = ORX_MonitoringCommandDispatcher;
using Error = DDS_Monitoring_MonitoringCommandError;
using Results = decltype(DDS_Monitoring_MonitoringService_Return::_u);

// A sample of the channel, finalized with its scope.
struct ServiceRequest {
    explicit ServiceRequest(const DDS_GUID_t& instance) : sample(DDS_SERVICE_REQUEST_DEFAULT) {
        sample.service_id = ORX_MONITORING_REPLY_SERVICE_ID;
        sample.instance_id = instance;
    }
    ~ServiceRequest() { (void)DDS_ServiceRequest_finalize(&sample); }
    ServiceRequest(const ServiceRequest&) = delete;
    ServiceRequest& operator=(const ServiceRequest&) = delete;
    DDS_ServiceRequest sample;
};

// What is refused, with where its reply has its error.
struct Unsupported {
    DDS_Long hash;
    Error& (*errorOf)(Results& results);
    const char* message;
};
#define ORX_UNSUPPORTED_(name)                                                                               \
    {                                                                                                        \
        orx::operation::name,                                                                                \
            [](Results& results) -> Error& { return results.name._u.monitoringcommanderror_ex; },            \
            "The " #name " command is not supported by this instance of Monitoring Library 2.0"              \
    }
// The last three are served, and do not come here.
constexpr Unsupported unsupported[] = {
    ORX_UNSUPPORTED_(subscribe),
    ORX_UNSUPPORTED_(unsubscribe),
    ORX_UNSUPPORTED_(request_snapshot),
    ORX_UNSUPPORTED_(request_logging_snapshot),
    ORX_UNSUPPORTED_(request_resource_registry),
    ORX_UNSUPPORTED_(set_logging_collection_level),
    ORX_UNSUPPORTED_(set_logging_forwarding_level),
};
#undef ORX_UNSUPPORTED_

// False for an operation that is not in the table.
bool writeRefusal(DDS_Monitoring_MonitoringService_Reply& reply, DDS_Long hash) {
    for (const Unsupported& operation : unsupported) {
        if (operation.hash != hash)
            continue;
        reply.data._d = hash;
        Error& error = operation.errorOf(reply.data._u);
        error.ret_code = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
        if (DDS_String_replace(&error.error_message, operation.message) == nullptr)
            ORX_ERROR(FAILED_TO_COPY, "Error message: '%s'", operation.message);
        return true;
    }
    return false;
}

bool isAcknowledged(Dispatcher* self) {
    return DDS_DataWriter_wait_for_acknowledgments(self->writer, &self->property.reply_timeout) ==
           DDS_RETCODE_OK;
}

} // namespace

int ORX_MonitoringCommandDispatcher_sendReply(ORX_MonitoringCommandDispatcher* self,
    const DDS_GUID_t* replyUuid, const DDS_Monitoring_MonitoringService_Reply* reply,
    const DDS_InstanceHandle_t* remoteReaderHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(replyUuid == ORX_NULL);
    ORX_FAIL_IF(reply == ORX_NULL);
    ORX_FAIL_IF(remoteReaderHandle == ORX_NULL);
    ServiceRequest request(*replyUuid);
    DDS_InstanceHandle_t instanceHandle = DDS_HANDLE_NIL;
    if (!ORX_MonitoringCommandHelper_replyToOctetSeq(&request.sample.request_body, reply)) {
        return ORX_ERROR(FAILED_TO_CONVERT_TYPE,
            "the monitoring reply sample was not converted into a service request sample.\n");
    }
    if (DDS_DataWriter_write_untyped_generalI(
            self->writer, remoteReaderHandle, nullptr, &request.sample, &instanceHandle) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_SEND, "monitoring reply.");
    return 1;
}

int ORX_MonitoringCommandDispatcher_unregisterCommand(ORX_MonitoringCommandDispatcher* self,
    const DDS_GUID_t* commandUuid, const DDS_InstanceHandle_t* remoteReaderHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandUuid == ORX_NULL);
    ORX_FAIL_IF(remoteReaderHandle == ORX_NULL);
    ServiceRequest request(*commandUuid);
    DDS_InstanceHandle_t instanceHandle = DDS_HANDLE_NIL;
    if (DDS_DataWriter_unregister_instance_untyped_generalI(
            self->writer, remoteReaderHandle, &request.sample, &instanceHandle) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_SEND, "monitoring reply dispose.\n");
    return 1;
}

int ORX_MonitoringCommandDispatcher_sendReplyAndUnregister(ORX_MonitoringCommandDispatcher* self,
    const DDS_GUID_t* replyUuid, const DDS_Monitoring_MonitoringService_Reply* reply,
    const DDS_InstanceHandle_t* remoteReaderHandle) {
    if (!ORX_MonitoringCommandDispatcher_sendReply(self, replyUuid, reply, remoteReaderHandle))
        return 0;
    if (!isAcknowledged(self))
        return ORX_WARNING(FAILED_TO_PROCESS, "Monitoring Command acknowledgment timedout\n");
    if (!ORX_MonitoringCommandDispatcher_unregisterCommand(self, replyUuid, remoteReaderHandle))
        return ORX_ERROR(FAILED_TO_SEND, "Unregister message for reply\n");
    return 1;
}

int ORX_MonitoringCommandDispatcher_sendUnsupportedCommandReply(ORX_MonitoringCommandDispatcher* self,
    DDS_Monitoring_MonitoringService_Reply* reply, const ORX_MonitoringCommandDispatcherEventData* eventData,
    REDAWorker* /*worker*/) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(reply == ORX_NULL);
    ORX_FAIL_IF(eventData == ORX_NULL);
    if (!writeRefusal(*reply, eventData->command.data._d)) {
        return ORX_ERROR(BAD_PARAMETER_FAILURE,
            "Invalid Monitoring Command with hash: '%d' and UUID: " ORX_UUID_FORMAT,
            ORX_COMMAND_ARGUMENTS(*eventData));
    }
    if (!ORX_MonitoringCommandDispatcher_isRunning(self))
        return 0;
    const DDS_GUID_t* uuid = &eventData->commandUuid;
    const DDS_InstanceHandle_t* reader = &eventData->remoteReaderHandle;
    if (!ORX_MonitoringCommandDispatcher_sendReply(self, uuid, reply, reader)) {
        return ORX_ERROR(FAILED_TO_SEND,
            "Monitoring Command reply for command with hash: '%d' and UUID: " ORX_UUID_FORMAT,
            ORX_COMMAND_ARGUMENTS(*eventData));
    }
    if (!isAcknowledged(self))
        return ORX_WARNING(FAILED_TO_PROCESS, "Monitoring Command acknowledgment timed out\n");
    if (!ORX_MonitoringCommandDispatcher_unregisterCommand(self, uuid, reader))
        return ORX_ERROR(FAILED_TO_SEND, "Dispose message for reply\n");
    return 1;
}
