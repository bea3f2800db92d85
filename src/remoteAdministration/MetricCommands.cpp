// The two commands that change which metrics resources publish.
#include <cstddef>

#include "src/monitoringClass/MetricSelectionStore.h"
#include "src/remoteAdministration/CommandError.hpp"
#include "src/remoteAdministration/CommandProcessing.h"
#include "src/remoteAdministration/CommandText.hpp"
#include "src/remoteAdministration/Operations.hpp"
#include "src/resource/MetricSubscription.h"
#include "src/resource/MetricSubscriptionPlan.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;
using namespace orx::command;

// A selector of a command is handed on as it stands to what takes selections.
using Selector = DDS_Monitoring_MetricSelector;
using Selection = DDS_MonitoringMetricSelection;
static_assert(sizeof(Selector) == sizeof(Selection) && alignof(Selector) == alignof(Selection));
static_assert(offsetof(Selector, resource_selector) == offsetof(Selection, resource_selection));
static_assert(
    offsetof(Selector, subscribe_metric_selector) == offsetof(Selection, enabled_metrics_selection));
static_assert(
    offsetof(Selector, unsubscribe_metric_selector) == offsetof(Selection, disabled_metrics_selection));
DDS_MonitoringMetricSelectionSeq* asSelections(DDS_Monitoring_MetricSelectorSequence* selectors) {
    return reinterpret_cast<DDS_MonitoringMetricSelectionSeq*>(selectors);
}

Return failModification(Error& error, bool isUpdate) {
    if (!isUpdate)
        return failWithReply(error, "Failed to set the subscription state");
    // Twice in the log: so it has always been.
    return failWithReply(error, "Failed to update the subscription state",
        "'Failed to update the subscription state'Failed to update the subscription state");
}

// The first failure ends it; what was changed stays changed. So does a stop of the dispatcher, for which
// nobody is to wait until thousands of resources are done.
Return modify(Dispatcher& self, Error& error, ORX_MonitoringResourcePtrSeq* resources,
    const REDAInlineList& selections, bool isUpdate) {
    const auto& library = *reinterpret_cast<const ORX_MonitoringClassImpl*>(self.monitoringClass);
    const DDS_Long count = ORX_MonitoringResourcePtrSeq_get_length(resources);
    orx::resource::SelectionPlan plan(selections);
    for (DDS_Long i = 0; i < count; ++i) {
        if (!ORX_MonitoringCommandDispatcher_isRunning(&self))
            return failed;
        ORX_MonitoringResource* resource = *ORX_MonitoringResourcePtrSeq_get_reference(resources, i);
        ORX_REFUSE_IF(resource == ORX_NULL);
        if (orx::resource::modifyMetricSelection(
                *resource, library.eventTaskExecutor, plan, library.parent.rootResource, isUpdate))
            continue;
        ORX_ERROR(FAILED_TO_SET, "Metrics for resource '%s' with GUID:" ORX_UUID_FORMAT, resource->base.name,
            ORX_GUID_ARGUMENTS(resource->base.guid));
        return failModification(error, isUpdate);
    }
    return done;
}

// What is persisted is a success, even where no resource matched.
Return persist(Dispatcher& self, Error& error, const ORX_MonitoringResourcePtrSeq* resources,
    REDAInlineList* selections, bool isUpdate) {
    auto* library = reinterpret_cast<ORX_MonitoringClassImpl*>(self.monitoringClass);
    const ORX_INT32 stored = ORX_Monitoring_persistMetricSelection(library, selections, isUpdate);
    if (stored < 0) {
        ORX_ERROR(FAILED_TO_SET, "New configuration on Monitoring library 2.0 configuration.");
        return failWithReply(error, "Failed to persist the subscription state");
    }
    const Return result = succeed(error);
    if (result != done || stored != 0 || ORX_MonitoringResourcePtrSeq_get_length(resources) != 0)
        return result;
    error.ret_code = DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR;
    return noResourceFound;
}

Return report(Return result, const char* commandText) {
    if (result != done && result != noResourceFound)
        ORX_ERROR(FAILED_TO_PROCESS, "%s", commandText);
    return result;
}

} // namespace

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_processSetOrUpdateMetricSubscriptionState(
    ORX_MonitoringCommandDispatcher* self, DDS_Monitoring_MonitoringCommandError* commandError,
    ORX_MonitoringResourcePtrSeq* resources, DDS_MonitoringMetricSelectionSeq* metricSelectionSequence,
    int isUpdate) {
    ORX_REFUSE_NULL_ARGUMENTS(self, commandError, resources, metricSelectionSequence);
    REDAFastBufferPool* pool =
        reinterpret_cast<ORX_MonitoringClassImpl*>(self->monitoringClass)->metricSelectionPool;
    REDAInlineList selections;
    REDAInlineList_init(&selections);
    if (!ORX_Monitoring_metricSelectionSeqToList(metricSelectionSequence, &selections, pool))
        return failWithReply(*commandError, "Failed to convert the metric selection sequence into a list");
    Return result = modify(*self, *commandError, resources, selections, isUpdate != 0);
    if (result == done)
        result = persist(*self, *commandError, resources, &selections, isUpdate != 0);
    ORX_Monitoring_clearMetricSelectionList(&selections, pool);
    return result;
}

ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_processSetMetricSubscriptionState(
    ORX_MonitoringCommandDispatcher* self, DDS_Monitoring_MonitoringService_Reply* reply,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS(self, reply, resources, command);
    reply->data._d = orx::operation::set_metric_subscription_state;
    return report(ORX_MonitoringCommandDispatcher_processSetOrUpdateMetricSubscriptionState(self,
                      &reply->data._u.set_metric_subscription_state._u.monitoringcommanderror_ex, resources,
                      asSelections(&command->data._u.set_metric_subscription_state.metrics), 0),
        "Set metric subscription command");
}

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_processUpdateMetricSubscriptionState(ORX_MonitoringCommandDispatcher* self,
    DDS_Monitoring_MonitoringService_Reply* reply, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS(self, reply, resources, command);
    reply->data._d = orx::operation::update_metric_subscription_state;
    return report(ORX_MonitoringCommandDispatcher_processSetOrUpdateMetricSubscriptionState(self,
                      &reply->data._u.update_metric_subscription_state._u.monitoringcommanderror_ex,
                      resources, asSelections(&command->data._u.update_metric_subscription_state.metrics), 1),
        "Update metric subscription command");
}
