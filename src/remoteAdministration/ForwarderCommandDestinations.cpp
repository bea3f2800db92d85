// Who is to get a command: the applications that its selectors name, each participant once.
#include "src/log/Log.hpp"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"
#include "src/remoteAdministration/ForwarderCommands.h"
#include "src/resource/ApplicationSelection.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using namespace orx::forwarder;

constexpr size_t errorSize = 1024;

// What the finders differ in.
struct Selection {
    const char* logFormat;
    const char* errorFormat;
};
constexpr Selection byLoggingGroup{
    "Destinations for set verbosity level command related to the application selector '%s'",
    "Failed to parse the application selector %s"};
constexpr Selection byMetricSelector{
    "Destinations for a subscription state command related to the resource selector '%s'",
    "Failed to parse the resource selector %s"};
constexpr Selection byApplication{
    "Destinations for request resource registry command related to the application selector '%s'",
    "Failed to parse the application selector %s"};

bool reportSelector(const Handler& handler, const Selection& selection, const char* selector) {
    ORX_ERROR(FAILED_TO_ASSERT, selection.logFormat, selector);
    char error[errorSize] = {};
    if (ORXOsapiUtility_snprintf(error, sizeof error, selection.errorFormat, selector) >= 0) {
        tellFailure(handler, error);
        return false;
    }
    // A selector that is too long for a message.
    tellFailure(handler, "Failed to parse the application selector");
    return ORX_ERROR(FAILED_TO_COPY,
        "Error message 'Failed to parse the application selector %s' to output parameter", selector);
}

template <class SelectorAt>
bool assertAll(const Manager& self, Handler& handler, const Selection& selection, DDS_Long count,
    SelectorAt selectorAt) {
    for (DDS_Long i = 0; i < count; ++i) {
        const char* given = selectorAt(i);
        const char* selector = given != nullptr ? given : "";
        if (!ORX_MonitoringForwarderApplicationRegistry_assertMatchingDestinations(
                self.applicationRegistry, &handler.commandDestinationSeq, selector))
            return reportSelector(handler, selection, selector);
    }
    return true;
}

// One lock around all selectors, so that they see one state of the registry.
template <class SelectorAt>
int find(const Manager& self, Handler& handler, const Selection& selection, DDS_Long count,
    SelectorAt selectorAt) {
    if (!ORX_MonitoringForwarderApplicationRegistry_lock(self.applicationRegistry)) {
        tellFailure(handler, "Failed to lock the application registry");
        return ORX_ERROR(FAILED_TO_LOCK, "Application registry");
    }
    const bool result = assertAll(self, handler, selection, count, selectorAt);
    if (ORX_MonitoringForwarderApplicationRegistry_unlock(self.applicationRegistry))
        return result;
    tellFailure(handler, "Failed to unlock the application registry");
    return ORX_ERROR(FAILED_TO_UNLOCK, "Application registry");
}

} // namespace

int ORX_MonitoringForwarderCommandManager_getDestinationsFromLoggingGroupSeq(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    const DDS_Monitoring_LoggingGroupSequence* loggingGroups) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    ORX_FAIL_IF(loggingGroups == ORX_NULL);
    return find(*self, *commandHandler, byLoggingGroup,
        DDS_Monitoring_LoggingGroupSeq_get_length(loggingGroups), [&](DDS_Long i) {
            return DDS_Monitoring_LoggingGroupSeq_get_reference(loggingGroups, i)->application_selector;
        });
}

int ORX_MonitoringForwarderCommandManager_getDestinationsFromMetricSelectorSeq(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    const DDS_Monitoring_MetricSelectorSequence* metrics) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    ORX_FAIL_IF(metrics == ORX_NULL);
    return find(*self, *commandHandler, byMetricSelector,
        DDS_Monitoring_MetricSelectorSeq_get_length(metrics), [&](DDS_Long i) {
            return DDS_Monitoring_MetricSelectorSeq_get_reference(metrics, i)->resource_selector;
        });
}

int ORX_MonitoringForwarderCommandManager_getDestinationsFromResourcePathExpressionSeq(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    const DDS_Monitoring_ResourcePathExpressionSequence* applications) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    ORX_FAIL_IF(applications == ORX_NULL);
    return find(*self, *commandHandler, byApplication, DDS_StringSeq_get_length(applications),
        [&](DDS_Long i) { return *DDS_StringSeq_get_reference(applications, i); });
}
