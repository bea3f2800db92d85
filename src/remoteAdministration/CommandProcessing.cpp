// The table of operations, and the registry command.
#include "src/remoteAdministration/CommandProcessing.h"

#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/remoteAdministration/CommandError.hpp"
#include "src/remoteAdministration/CommandText.hpp"
#include "src/remoteAdministration/Operations.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;
using namespace orx::command;

struct Operation {
    DDS_Long hash;
    ORX_MonitoringCommandDispatcher_getMatchingResourcesFunction select;
    ORX_MonitoringCommandDispatcher_ProcessCommandFunction process;
};
constexpr Operation operations[] = {
    {orx::operation::set_logging_forwarding_level,
        ORX_MonitoringCommandDispatcher_getResourcesToSetLoggingForwardingLevel,
        ORX_MonitoringCommandDispatcher_processSetLoggingForwardingLevel},
    {orx::operation::set_logging_collection_level,
        ORX_MonitoringCommandDispatcher_getResourcesToSetLoggingCollectionLevel,
        ORX_MonitoringCommandDispatcher_processSetLoggingCollectionLevel},
    {orx::operation::request_resource_registry,
        ORX_MonitoringCommandDispatcher_getResourcesToRequestResourceRegistry,
        ORX_MonitoringCommandDispatcher_processRequestResourceRegistry},
    {orx::operation::set_metric_subscription_state,
        ORX_MonitoringCommandDispatcher_getResourcesToSetMetricSubscriptionState,
        ORX_MonitoringCommandDispatcher_processSetMetricSubscriptionState},
    {orx::operation::update_metric_subscription_state,
        ORX_MonitoringCommandDispatcher_getResourcesToUpdateMetricSubscriptionState,
        ORX_MonitoringCommandDispatcher_processUpdateMetricSubscriptionState},
    {orx::operation::subscribe, nullptr, nullptr},
    {orx::operation::unsubscribe, nullptr, nullptr},
    {orx::operation::request_logging_snapshot, nullptr, nullptr},
    {orx::operation::request_snapshot, nullptr, nullptr},
};

} // namespace

int ORX_MonitoringCommandDispatcherEventData_initializeProcessCommandsFunctions(
    ORX_MonitoringCommandDispatcherEventData* eventData) {
    ORX_FAIL_IF(eventData == ORX_NULL);
    for (const Operation& operation : operations) {
        if (operation.hash != eventData->command.data._d)
            continue;
        eventData->getMatchingResources = operation.select;
        eventData->processCommand = operation.process;
        return 1;
    }
    return ORX_ERROR(FAILED_TO_INITIALIZE,
        "Unsupported Monitoring Command with hash: '%d' and UUID: " ORX_UUID_FORMAT,
        ORX_COMMAND_ARGUMENTS(*eventData));
}

ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_processRequestResourceRegistry(
    ORX_MonitoringCommandDispatcher* self, DDS_Monitoring_MonitoringService_Reply* reply,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS(self, reply, resources, command);
    ORX_REFUSE_IF(ORX_MonitoringResourcePtrSeq_get_length(resources) != 1);
    reply->data._d = orx::operation::request_resource_registry;
    Error& error = reply->data._u.request_resource_registry._u.monitoringcommanderror_ex;
    error.ret_code = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
    const auto& library = *reinterpret_cast<const ORX_MonitoringClassImpl*>(self->monitoringClass);
    if (requireRoot(*self, error, *ORX_MonitoringResourcePtrSeq_get_reference(resources, 0)) != done)
        return failedWithReply;
    if (!ORX_MonitoringEventTaskExecutor_postInitialSnapshots(
            library.eventTaskExecutor, library.resourceRegistry)) {
        ORX_ERROR(FAILED_TO_POST, "Initial resources and event snapshots");
        return failWithReply(error, "Failed to post the initial snapshots");
    }
    return succeed(error);
}
