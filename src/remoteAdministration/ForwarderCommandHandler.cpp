#include "src/remoteAdministration/ForwarderCommandHandler.h"

#include "src/log/Log.hpp"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"
#include "src/remoteAdministration/Operations.hpp"
#include "zddscore/heap.h"
#include "zddscore/thread.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using orx::forwarder::Handler;

// Between two looks of a waiting caller, should nothing wake it.
constexpr ORX_UINT32 lookPeriodMs = 300;

void write(
    DDS_Monitoring_MonitoringCommandError& exception, DDS_Monitoring_ReturnCode_t code, const char* message) {
    exception.ret_code = code;
    if (DDS_String_replace(&exception.error_message, message) == nullptr)
        ORX_ERROR(FAILED_TO_COPY, "Error message: '%s'", message);
}

} // namespace

void ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(
    ORX_MonitoringForwarderCommandHandlerStatus status, DDS_Monitoring_MonitoringCommandError* exception,
    const char* message) {
    if (exception == nullptr)
        return;
    switch (status) {
    case ORX_MONITORING_FORWARDER_COMMAND_HANDLER_SUCCESSFUL_STATE:
        return write(*exception, DDS_MONITORING_COMMAND_NO_ERROR, "");
    case ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE:
        return write(*exception, DDS_MONITORING_COMMAND_INTERNAL_ERROR, "Timedout");
    case ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE:
        return write(*exception, DDS_MONITORING_COMMAND_INTERNAL_ERROR,
            message != nullptr ? message : "Unspecified error");
    case ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NO_RESOURCE_FOUND_STATE:
        return write(*exception, DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR, "");
    case ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE:
    case ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE:
    case ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PERMANENT_STATE:
        break;
    }
    ORX_ERROR(FAILED_TO_POPULATE, "Command return code. The command may not be completed yet");
}

int ORX_MonitoringForwarderCommandHandler_initialize(void* self, void* /*param*/) {
    ORX_FAIL_IF(self == ORX_NULL);
    auto& handler = *static_cast<Handler*>(self);
    handler = Handler{};
    handler.lock = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    handler.settled = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    if (handler.lock != nullptr && handler.settled != nullptr &&
        DDS_InstanceHandleSeq_initialize(&handler.commandDestinationSeq) &&
        DDS_Monitoring_MonitoringService_Request_initialize(&handler.requestSample))
        return 1;
    ORX_MonitoringForwarderCommandHandler_finalize(self, nullptr);
    return ORX_ERROR(FAILED_TO_INITIALIZE, "struct ORX_MonitoringForwarderCommandHandler");
}

void ORX_MonitoringForwarderCommandHandler_finalize(void* self, void* /*param*/) {
    ORX_LEAVE_IF(self == ORX_NULL);
    auto& handler = *static_cast<Handler*>(self);
    if (handler.queryCondition != nullptr)
        (void)DDS_DataReader_delete_readcondition(
            handler.manager->reader, DDS_QueryCondition_as_readcondition(handler.queryCondition));
    handler.queryCondition = nullptr;
    (void)DDS_InstanceHandleSeq_finalize(&handler.commandDestinationSeq);
    DDS_Monitoring_MonitoringService_Request_finalize(&handler.requestSample);
    ORXOsapiSemaphore_delete(handler.lock);
    ORXOsapiSemaphore_delete(handler.settled);
    handler.lock = handler.settled = nullptr;
}

DDS_Monitoring_MonitoringService_Request* ORX_MonitoringForwarderCommandHandler_getSampleT(
    ORX_MonitoringForwarderCommandHandler* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return &self->requestSample;
}

void ORX_MonitoringForwarderCommandHandler_freeOwnException(ORX_MonitoringForwarderCommandHandler* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    if (!self->isSelfManaged || self->commandException == nullptr)
        return;
    DDS_Monitoring_MonitoringCommandError_finalize(self->commandException);
    ORXOsapiHeap_freeStructure(self->commandException);
    self->commandException = nullptr;
}

// The result goes before the input is emptied, so that a failure there leaves nothing behind.
void ORX_MonitoringForwarderCommandHandler_cleanupCommand(ORX_MonitoringForwarderCommandHandler* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    if (self->queryCondition != nullptr &&
        DDS_DataReader_delete_readcondition(self->manager->reader,
            DDS_QueryCondition_as_readcondition(self->queryCondition)) != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_DELETE, "Query condition of command");
    self->queryCondition = nullptr;
    ORX_MonitoringForwarderCommandHandler_freeOwnException(self);
    auto& input = self->requestSample.data._u;
    switch (self->commandHash) {
    case orx::operation::set_logging_forwarding_level:
        if (!DDS_Monitoring_LoggingGroupSeq_set_length(&input.set_logging_forwarding_level.logging_groups, 0))
            ORX_ERROR(FAILED_TO_SET, "Command Handler forwarding logging groups sequence length to 0");
        break;
    case orx::operation::set_logging_collection_level:
        if (!DDS_Monitoring_LoggingGroupSeq_set_length(&input.set_logging_collection_level.logging_groups, 0))
            ORX_ERROR(FAILED_TO_SET, "Command Handler collection logging groups sequence length to 0");
        break;
    case orx::operation::request_resource_registry:
        if (!DDS_StringSeq_set_length(&input.request_resource_registry.applications, 0))
            ORX_ERROR(
                FAILED_TO_SET, "Command Handler request resource registry applications sequence length to 0");
        break;
    case orx::operation::set_metric_subscription_state:
        if (!DDS_Monitoring_MetricSelectorSeq_set_length(&input.set_metric_subscription_state.metrics, 0))
            ORX_ERROR(
                FAILED_TO_SET, "Command Handler set metric subscription state metrics sequence length to 0");
        break;
    case orx::operation::update_metric_subscription_state:
        if (!DDS_Monitoring_MetricSelectorSeq_set_length(&input.update_metric_subscription_state.metrics, 0))
            ORX_ERROR(FAILED_TO_SET,
                "Command Handler update metric subscription state metrics sequence length to 0");
        break;
    default:
        break; // nothing was filled in
    }
}

void ORX_MonitoringForwarderCommandHandler_wait(ORX_MonitoringForwarderCommandHandler* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    const ORXNtpTime period{0, ORXNtpTime_fractionFromMilliseconds(lookPeriodMs)};
    while (orx::forwarder::isPending(*self) || orx::forwarder::isAttached(*self)) {
        if (ORXOsapiSemaphore_take(self->settled, &period) == ORX_OSAPI_SEMAPHORE_STATUS_ERROR)
            ORXOsapiThread_sleep(&period);
    }
}
