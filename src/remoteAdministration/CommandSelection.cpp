// Which resources a command addresses.
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/remoteAdministration/CommandError.hpp"
#include "src/remoteAdministration/CommandProcessing.h"
#include "src/remoteAdministration/Operations.hpp"
#include "src/resource/MonitoringResourceRegistry.h"
#include "src/resource/ResourceIdentity.h"
#include "src/utils/ExpressionSet.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;
using namespace orx::command;
using Resources = ORX_MonitoringResourcePtrSeq;

const ORX_MonitoringOpaqueResource* opaque(const ORX_MonitoringResource* resource) {
    return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(resource);
}

// Expressions against the tree of one dispatcher.
class Matcher {
public:
    explicit Matcher(const Dispatcher& self) : root(self.monitoringClass->rootResource) {
        (void)ORX_MonitoringResource_getOpaqueResourceAccessor(&accessor);
    }
    // False when the expression cannot be processed.
    bool match(bool& isMatching, const ORX_MonitoringResource* resource, const char* expression) const {
        int result = 0;
        if (!ORX_Monitoring_isResourceMatchingPathExpression(
                &result, opaque(resource), expression, &accessor, opaque(root)))
            return false;
        isMatching = result != 0;
        return true;
    }
    // All sequences of pointers have one layout, so that the result may be filled as what a matcher knows.
    bool matchAll(Resources* resources, const char* expression) const {
        return ORX_Monitoring_getMatchingResourcesToPathExpression(
                   reinterpret_cast<ORX_MonitoringOpaqueResourceSeq*>(resources), expression, &accessor,
                   opaque(root)) != 0;
    }

    ORX_MonitoringResource* root;
    ORX_MonitoringOpaqueResourceAccessor accessor{};
};

Return failSelection(Resources* resources, Error& error, const char* message) {
    (void)ORX_MonitoringResourcePtrSeq_set_length(resources, 0);
    return failWithReply(error, message);
}

Return foundOrNot(const Resources* resources, Error& error) {
    if (ORX_MonitoringResourcePtrSeq_get_length(resources) > 0)
        return done;
    error.ret_code = DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR;
    return noResourceFound;
}

bool append(Resources* resources, ORX_MonitoringResource* resource) {
    const DDS_Long length = ORX_MonitoringResourcePtrSeq_get_length(resources) + 1;
    if (!ORX_MonitoringResourcePtrSeq_ensure_length(resources, length, length))
        return ORX_ERROR(FAILED_TO_SET, "length (%d) of the resources sequence", length);
    *ORX_MonitoringResourcePtrSeq_get_reference(resources, length - 1) = resource;
    return true;
}

constexpr char lengthMessage[] = "Failed to set the length of the resources sequence";
constexpr char resourcesMessage[] = "Failed to get the resources for the command";

Return selectApplication(
    Dispatcher* self, Resources* resources, Error& error, const DDS_StringSeq& applications) {
    const Matcher matcher(*self);
    const DDS_Long length = DDS_StringSeq_get_length(&applications);
    ORX_REFUSE_IF(length == 0);
    for (DDS_Long i = 0; i < length; ++i) {
        const char* expression = DDS_StringSeq_get(&applications, i);
        ORX_REFUSE_IF(expression == ORX_NULL);
        bool isMatching = false;
        if (!matcher.match(isMatching, matcher.root, expression)) {
            ORX_ERROR(FAILED_TO_PROCESS, "Resource matching the resource_selection expression.");
            return failSelection(resources, error,
                "Failed to process the resource matching the resource_selection expression");
        }
        if (isMatching) {
            if (!append(resources, matcher.root))
                return failSelection(resources, error, lengthMessage);
            break;
        }
        ORX_STATUS(PROCESSING, "Resource selector '%s' does not match application '/applications/%s'",
            expression, matcher.root->base.name);
    }
    return foundOrNot(resources, error);
}

// The index of the first selector that matches, or the count of selectors; -1 when one cannot be processed.
DDS_Long firstMatch(const Matcher& matcher, const ORX_MonitoringResource* resource,
    const DDS_Monitoring_MetricSelectorSeq* metrics, DDS_Long count) {
    for (DDS_Long i = 0; i < count; ++i) {
        const char* expression =
            DDS_Monitoring_MetricSelectorSeq_get_reference(metrics, i)->resource_selector;
        bool isMatching = false;
        if (!matcher.match(isMatching, resource, expression))
            return -1;
        if (isMatching)
            return i;
        // The root's name, whichever resource was tested: so the message has always been.
        ORX_STATUS(PROCESSING, "Resource selector '%s' does not match resource named '%s'", expression,
            matcher.root->base.name);
    }
    return count;
}

// The selectors of one command, and the first of them that a resource is among the matches of.
class Selectors {
public:
    Selectors(const Matcher& matcher, const DDS_Monitoring_MetricSelectorSeq* metrics, DDS_Long count)
        : matcher_(matcher), metrics_(metrics), count_(count) {
        const auto textAt = [](const void* texts, ORX_UINT32 index) -> const char* {
            return DDS_Monitoring_MetricSelectorSeq_get_reference(
                static_cast<const DDS_Monitoring_MetricSelectorSeq*>(texts), static_cast<DDS_Long>(index))
                ->resource_selector;
        };
        (void)expressions_.prepare(
            static_cast<ORX_UINT32>(count), textAt, metrics, matcher.accessor, opaque(matcher.root));
    }
    // As firstMatch.
    DDS_Long first(const ORX_MonitoringResource* resource) const {
        if (expressions_.isPrepared()) {
            orx::path::Branch branch(opaque(resource), opaque(matcher_.root), matcher_.accessor);
            if (branch.isComplete())
                return firstPrepared(resource, branch);
        }
        return firstMatch(matcher_, resource, metrics_, count_);
    }

private:
    DDS_Long firstPrepared(const ORX_MonitoringResource* resource, orx::path::Branch& branch) const {
        using Matches = orx::path::ExpressionSet::Matches;
        Matches matches(expressions_, opaque(resource), branch);
        const ORX_INT32 index = matches.next();
        if (orx::log::isEnabled(ORX_LOG_BIT_STATUS, orxLogSubmodule))
            reportOthers(index == Matches::end ? count_ : static_cast<DDS_Long>(matches.last()));
        return index == Matches::end ? count_ : index == Matches::failed ? -1 : index;
    }
    // The lines of those that do not match: thousands for each resource, if a sender likes.
    void reportOthers(DDS_Long count) const {
        for (DDS_Long i = 0; i < count; ++i) {
            ORX_FLOOD_REPORT_(ORX_LOG_BIT_STATUS, PROCESSING,
                "Resource selector '%s' does not match resource named '%s'",
                DDS_Monitoring_MetricSelectorSeq_get_reference(metrics_, i)->resource_selector,
                matcher_.root->base.name);
        }
    }

    const Matcher& matcher_;
    const DDS_Monitoring_MetricSelectorSeq* metrics_;
    DDS_Long count_;
    orx::path::ExpressionSet expressions_;
};

// Each resource against the selectors, so that none stands twice. The walk ends when the dispatcher is
// stopped: with thousands of selectors it can be long.
Return selectByAny(Dispatcher* self, const Matcher& matcher, Resources* resources, Error& error,
    const DDS_Monitoring_MetricSelectorSeq* metrics, DDS_Long count) {
    const ORX_MonitoringResourceRegistry* registry =
        ORX_Monitoring_getResourceRegistry(self->monitoringClass);
    const Selectors selectors(matcher, metrics, count);
    for (ORX_MonitoringResource* resource = ORX_MonitoringResourceRegistry_getFirstResource(registry, 0, 0);
         resource != nullptr;
         resource = ORX_MonitoringResourceRegistry_getNextResource(registry, resource, 0, 0)) {
        if (!ORX_MonitoringCommandDispatcher_isRunning(self))
            return failed;
        const DDS_Long match = selectors.first(resource);
        if (match < 0) {
            ORX_ERROR(FAILED_TO_PROCESS, "Resource matching the resource_selector expression.");
            return failSelection(resources, error, resourcesMessage);
        }
        if (match < count && !append(resources, resource))
            return failSelection(resources, error, lengthMessage);
    }
    return foundOrNot(resources, error);
}

Return selectForMetrics(Dispatcher* self, Resources* resources, Error& error,
    const DDS_Monitoring_MetricSelectorSequence* metrics, const char* resourcesText) {
    const Return result = ORX_MonitoringCommandDispatcher_getResourcesFromMetricSelectorSequence(
        self, resources, &error, metrics);
    if (result == noResourceFound)
        return done;
    if (result != done)
        ORX_ERROR(FAILED_TO_GET, "%s", resourcesText);
    return result;
}

Return selectForLogging(Dispatcher* self, Resources* resources, Error& error,
    const DDS_Monitoring_LoggingGroupSequence* groups, const char* resourcesText) {
    const Return result =
        ORX_MonitoringCommandDispatcher_getResourcesFromLoggingGroupSeq(self, resources, &error, groups);
    if (result != done && result != noResourceFound)
        ORX_ERROR(FAILED_TO_GET, "%s", resourcesText);
    return result;
}

} // namespace

#define ORX_REFUSE_NULL_ARGUMENTS_                                                                           \
    ORX_REFUSE_IF(self == ORX_NULL)                                                                          \
    ORX_REFUSE_IF(resources == ORX_NULL)                                                                     \
    ORX_REFUSE_IF(reply == ORX_NULL)                                                                         \
    ORX_REFUSE_IF(command == ORX_NULL)

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_getResourcesToRequestResourceRegistry(ORX_MonitoringCommandDispatcher* self,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Reply* reply,
    DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS_
    reply->data._d = orx::operation::request_resource_registry;
    return selectApplication(self, resources,
        reply->data._u.request_resource_registry._u.monitoringcommanderror_ex,
        command->data._u.request_resource_registry.applications);
}

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_getResourcesToSetLoggingCollectionLevel(ORX_MonitoringCommandDispatcher* self,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Reply* reply,
    DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS_
    reply->data._d = orx::operation::set_logging_collection_level;
    return selectForLogging(self, resources,
        reply->data._u.set_logging_collection_level._u.monitoringcommanderror_ex,
        &command->data._u.set_logging_collection_level.logging_groups,
        "Monitoring Resources for set_logging_collection_level command");
}

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_getResourcesToSetLoggingForwardingLevel(ORX_MonitoringCommandDispatcher* self,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Reply* reply,
    DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS_
    reply->data._d = orx::operation::set_logging_forwarding_level;
    return selectForLogging(self, resources,
        reply->data._u.set_logging_forwarding_level._u.monitoringcommanderror_ex,
        &command->data._u.set_logging_forwarding_level.logging_groups,
        "Monitoring Resources for set_logging_forwarding_level command");
}

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_getResourcesToSetMetricSubscriptionState(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringService_Reply* reply, DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS_
    reply->data._d = orx::operation::set_metric_subscription_state;
    return selectForMetrics(self, resources,
        reply->data._u.set_metric_subscription_state._u.monitoringcommanderror_ex,
        &command->data._u.set_metric_subscription_state.metrics,
        "Monitoring Resources for set_subscription_state command");
}

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_getResourcesToUpdateMetricSubscriptionState(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringService_Reply* reply, DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS_
    reply->data._d = orx::operation::update_metric_subscription_state;
    return selectForMetrics(self, resources,
        reply->data._u.update_metric_subscription_state._u.monitoringcommanderror_ex,
        &command->data._u.update_metric_subscription_state.metrics,
        "Monitoring Resources for update_subscription_state command");
}

ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_getResourcesFromLoggingGroupSeq(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringCommandError* commandError,
    const DDS_Monitoring_LoggingGroupSeq* loggingGroups) {
    ORX_REFUSE_NULL_ARGUMENTS(self, resources, commandError, loggingGroups);
    const DDS_Long length = DDS_Monitoring_LoggingGroupSeq_get_length(loggingGroups);
    ORX_REFUSE_IF(length == 0);
    const Matcher matcher(*self);
    char name[ORX_MONITORING_RESOURCE_FULLY_QUALIFIED_NAME_SIZE] = {};
    if (!ORX_MonitoringResource_getFullyQualifiedName(name, sizeof name, matcher.root))
        return failSelection(
            resources, *commandError, "Failed to get the fully qualified name of the application");
    for (DDS_Long i = 0; i < length; ++i) {
        const char* expression =
            DDS_Monitoring_LoggingGroupSeq_get_reference(loggingGroups, i)->application_selector;
        ORX_REFUSE_IF(expression == ORX_NULL);
        bool isMatching = false;
        if (!matcher.match(isMatching, matcher.root, expression)) {
            ORX_ERROR(FAILED_TO_PROCESS, "Resource matching the application_selector expression.");
            return failSelection(resources, *commandError,
                "Failed to process resource matching the resource_selection expression");
        }
        if (isMatching) {
            if (!append(resources, matcher.root))
                return failSelection(resources, *commandError, lengthMessage);
            break;
        }
        ORX_STATUS(PROCESSING, "Application_selector '%s' does not match application '%s'", expression, name);
    }
    return foundOrNot(resources, *commandError);
}

ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_getResourcesFromMetricSelectorSequence(ORX_MonitoringCommandDispatcher* self,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringCommandError* commandError,
    const DDS_Monitoring_MetricSelectorSeq* metrics) {
    ORX_REFUSE_NULL_ARGUMENTS(self, resources, commandError, metrics);
    const DDS_Long length = DDS_Monitoring_MetricSelectorSeq_get_length(metrics);
    ORX_REFUSE_IF(length == 0);
    const Matcher matcher(*self);
    if (length > 1)
        return selectByAny(self, matcher, resources, *commandError, metrics, length);
    const char* expression = DDS_Monitoring_MetricSelectorSeq_get_reference(metrics, 0)->resource_selector;
    if (!matcher.matchAll(resources, expression)) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring Resources for metric selector '%s'", expression);
        return failSelection(resources, *commandError, resourcesMessage);
    }
    return foundOrNot(resources, *commandError);
}
