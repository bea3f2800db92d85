#include "src/remoteAdministration/ForwarderCommands.h"

#include <utility>

#include "src/log/Log.hpp"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"
#include "src/remoteAdministration/Operations.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using namespace orx::forwarder;
using Error = DDS_Monitoring_MonitoringCommandError;

constexpr Status timedOut = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE;
constexpr Status failed = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE;
constexpr Status nothingFound = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NO_RESOURCE_FOUND_STATE;

void populateException(Status status, Error* exception, const char* message = nullptr) {
    ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(status, exception, message);
}

// How the operations differ.
struct Operation {
    DDS_Long hash;
    const char* name;
    // Says what could not be done instead of why.
    bool isTaciturn;
    const char* copyMessage;
    const char* copyLog;
};
constexpr Operation setMetrics{orx::operation::set_metric_subscription_state, "set_metric_subscription_state",
    true, "Failed to copy the metrics sequence for the command", "metrics sequence"};
constexpr Operation updateMetrics{orx::operation::update_metric_subscription_state,
    "update_metric_subscription_state", true, "Failed to copy the metrics sequence for the command",
    "metrics sequence"};
constexpr Operation setCollection{orx::operation::set_logging_collection_level,
    "set_logging_collection_level", false, "Failed to copy the logging groups sequence for the command",
    "logging groups sequence"};
constexpr Operation setForwarding{orx::operation::set_logging_forwarding_level,
    "set_logging_forwarding_level", false, "Failed to copy the logging groups sequence for the command",
    "logging groups sequence"};
constexpr Operation requestRegistry{orx::operation::request_resource_registry, "request_resource_registry",
    false, "Failed to copy the resource path expression list for the command",
    "resource path expression list"};

// Back into the pool, unless it is handed out.
class TakenHandler {
public:
    explicit TakenHandler(Manager& self)
        : self_(self), handler_(ORX_MonitoringForwarderCommandManager_getCommandHandler(&self)) {}
    ~TakenHandler() {
        if (handler_ != nullptr)
            (void)ORX_MonitoringForwarderCommandManager_returnCommandHandler(&self_, handler_);
    }
    TakenHandler(const TakenHandler&) = delete;
    TakenHandler& operator=(const TakenHandler&) = delete;
    explicit operator bool() const { return handler_ != nullptr; }
    Handler& operator*() const { return *handler_; }
    Handler* release() { return std::exchange(handler_, nullptr); }

private:
    Manager& self_;
    Handler* handler_;
};

bool populate(Manager& self, const Operation& operation, Handler& handler, Error* exception, int isBlocking,
    int isSelfManaged) {
    if (ORX_MonitoringForwarderCommandManager_populateCommonCommandHandlerFields(
            &self, &handler, operation.hash, exception, isBlocking, isSelfManaged))
        return true;
    if (!isTakingCommands(self))
        return false;
    ORX_ERROR(FAILED_TO_INITIALIZE, "command handler for %s command", operation.name);
    if (operation.isTaciturn)
        populateException(failed, exception, "Failed to initialize a handler for the command");
    return false;
}

// The whole way, once the arguments are right. find(handler) adds the destinations, copy(request) the input.
template <class Find, class Copy>
Handler* prepare(Manager& self, const Operation& operation, Error* exception, int isBlocking,
    int isSelfManaged, Find find, Copy copy) {
    const Inside inside{self};
    if (!isTakingCommands(self)) {
        populateException(timedOut, exception);
        return nullptr;
    }
    TakenHandler handler(self);
    if (!handler) {
        populateException(failed, exception, "Failed to get a handler for the command");
        return ORX_ERROR(FAILED_TO_GET, "handler for the command");
    }
    if (!populate(self, operation, *handler, exception, isBlocking, isSelfManaged))
        return nullptr;
    if (!find(*handler)) {
        if (operation.isTaciturn)
            populateException(failed, exception, "Failed to get destinations for the command");
        return ORX_ERROR(FAILED_TO_GET, "Destinations for %s command", operation.name);
    }
    const DDS_Long destinations = DDS_InstanceHandleSeq_get_length(&(*handler).commandDestinationSeq);
    (*handler).expectedSamples = static_cast<DDS_UnsignedLong>(destinations);
    if (destinations == 0) {
        tell(*handler, nothingFound);
        return ORX_ERROR(FAILED_TO_FIND, "Destinations for %s command", operation.name);
    }
    if (!copy((*handler).requestSample.data._u)) {
        tellFailure(*handler, operation.copyMessage);
        return ORX_ERROR(FAILED_TO_COPY, "%s", operation.copyLog);
    }
    return handler.release();
}

// To one reader that the caller knows, for everything behind it.
Handler* prepareForDestination(Manager& self, Error* exception, const DDS_InstanceHandle_t& destination,
    int isBlocking, int isSelfManaged) {
    const auto add = [&](Handler& handler) {
        if (!DDS_InstanceHandleSeq_set_length(&handler.commandDestinationSeq, 1)) {
            tellFailure(handler, "Failed to set the length of the destination sequence");
            return false;
        }
        DDS_InstanceHandle_copy(
            DDS_InstanceHandleSeq_get_reference(&handler.commandDestinationSeq, 0), &destination);
        auto& applications = handler.requestSample.data._u.request_resource_registry.applications;
        if (!DDS_StringSeq_set_length(&applications, 1)) {
            tellFailure(handler, "Failed to set the length of the resource path expression sequence");
            return false;
        }
        if (DDS_String_replace(DDS_StringSeq_get_reference(&applications, 0), "//*") == nullptr) {
            tellFailure(handler, "Failed to copy the wildcard string into the resource path expression");
            return false;
        }
        return true;
    };
    return prepare(self, requestRegistry, exception, isBlocking, isSelfManaged, add,
        [](auto& /*input*/) { return true; });
}

// armOf(input): the arm of the operation.
template <class ArmOf>
Handler* prepareForMetrics(Manager& self, const Operation& operation, Error* exception,
    const DDS_Monitoring_MetricSelectorSequence* metrics, int isBlocking, int isSelfManaged, ArmOf armOf) {
    return prepare(
        self, operation, exception, isBlocking, isSelfManaged,
        [&](Handler& handler) {
            return ORX_MonitoringForwarderCommandManager_getDestinationsFromMetricSelectorSeq(
                &self, &handler, metrics);
        },
        [&](auto& input) {
            return DDS_Monitoring_MetricSelectorSequence_copy(&armOf(input).metrics, metrics);
        });
}

template <class ArmOf>
Handler* prepareForLogging(Manager& self, const Operation& operation, Error* exception,
    const DDS_Monitoring_LoggingGroupSequence* groups, int isBlocking, int isSelfManaged, ArmOf armOf) {
    return prepare(
        self, operation, exception, isBlocking, isSelfManaged,
        [&](Handler& handler) {
            return ORX_MonitoringForwarderCommandManager_getDestinationsFromLoggingGroupSeq(
                &self, &handler, groups);
        },
        [&](auto& input) {
            return DDS_Monitoring_LoggingGroupSeq_copy(&armOf(input).logging_groups, groups) != nullptr;
        });
}

} // namespace

// Not formatted: the texts of the tests are shown.
// clang-format off
#define ORX_CHECK_WAY_()                                                                                     \
    ORX_FAIL_IF(self == ORX_NULL);                                                                           \
    ORX_FAIL_IF(isBlocking && exception == ORX_NULL);                                                        \
    ORX_FAIL_IF(isBlocking == (1) && isSelfManaged == (1));                                                  \
    ORX_FAIL_IF(isSelfManaged == (0) && exception == ORX_NULL)
// clang-format on

ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getSetMetricSubscriptionStateHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_MetricSelectorSequence* metrics, int isBlocking, int isSelfManaged) {
    ORX_CHECK_WAY_();
    ORX_FAIL_IF(metrics == ORX_NULL);
    return prepareForMetrics(
        *self, setMetrics, exception, metrics, isBlocking, isSelfManaged,
        [](auto& input) -> auto& { return input.set_metric_subscription_state; });
}

ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getUpdateMetricSubscriptionStateHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_MetricSelectorSequence* metrics, int isBlocking, int isSelfManaged) {
    ORX_CHECK_WAY_();
    ORX_FAIL_IF(metrics == ORX_NULL);
    return prepareForMetrics(
        *self, updateMetrics, exception, metrics, isBlocking, isSelfManaged,
        [](auto& input) -> auto& { return input.update_metric_subscription_state; });
}

ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getSetLoggingCollectionLevelHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_LoggingGroupSequence* loggingGroups, int isBlocking, int isSelfManaged) {
    ORX_CHECK_WAY_();
    ORX_FAIL_IF(loggingGroups == ORX_NULL);
    return prepareForLogging(
        *self, setCollection, exception, loggingGroups, isBlocking, isSelfManaged,
        [](auto& input) -> auto& { return input.set_logging_collection_level; });
}

ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getSetLoggingForwardingLevelHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_LoggingGroupSequence* loggingGroups, int isBlocking, int isSelfManaged) {
    ORX_CHECK_WAY_();
    ORX_FAIL_IF(loggingGroups == ORX_NULL);
    return prepareForLogging(
        *self, setForwarding, exception, loggingGroups, isBlocking, isSelfManaged,
        [](auto& input) -> auto& { return input.set_logging_forwarding_level; });
}

ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_ResourcePathExpressionSequence* applications,
    const DDS_InstanceHandle_t* destination, int isBlocking, int isSelfManaged) {
    ORX_CHECK_WAY_();
    if (applications == nullptr && destination == nullptr) {
        populateException(failed, exception, "Bad parameter: applications and destination are NULL");
        return ORX_ERROR(BAD_PARAMETER_FAILURE, "Applications and destination are NULL");
    }
    if (destination != nullptr)
        return prepareForDestination(*self, exception, *destination, isBlocking, isSelfManaged);
    return prepare(
        *self, requestRegistry, exception, isBlocking, isSelfManaged,
        [&](Handler& handler) {
            return ORX_MonitoringForwarderCommandManager_getDestinationsFromResourcePathExpressionSeq(
                self, &handler, applications);
        },
        [&](auto& input) {
            return DDS_Monitoring_ResourcePathExpressionSequence_copy(
                &input.request_resource_registry.applications, applications);
        });
}

#undef ORX_CHECK_WAY_
