// The two commands that change logging levels: what is made into messages, and what is sent on of them.
#include "src/eventMetrics/MetricLock.hpp"
#include "src/monitoringClass/LoggingConfiguration.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/remoteAdministration/CommandError.hpp"
#include "src/remoteAdministration/CommandProcessing.h"
#include "src/remoteAdministration/Operations.hpp"
#include "src/resource/ResourceIdentity.h"
#include "src/utils/PathMatcher.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;
using namespace orx::command;
using Setting = ORX_MonitoringLoggingVerbositySetting_t;

constexpr ORX_UINT32 rootIndex = 0; // whose metric mutex guards the logging configuration

constexpr Setting startingSetting = {ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING};

struct ApplicationName {
    char text[ORX_MONITORING_RESOURCE_FULLY_QUALIFIED_NAME_SIZE] = {};
    bool get(const ORX_MonitoringResource* resource) {
        return ORX_MonitoringResource_getFullyQualifiedName(text, sizeof text, resource) != 0;
    }
};
constexpr char nameMessage[] = "Failed to get the fully qualified name of the resource";
constexpr char copyMessage[] = "Failed to copy the current logging verbosity setting";

// What the log says when the message of a failed match cannot be copied is one word short for collection.
struct MatchMessage {
    const char* text;
    const char* logged;
};
constexpr MatchMessage collectionMatch = {"Failed to get the resources to set the collection level",
    "'Failed get the resources to set the collection level'"};
constexpr MatchMessage forwardingMatch = {"Failed to get the resources to set the forwarding level", nullptr};

// Folds the groups that address this application into the setting, in order: a later group overrides, and
// what no group names stays. Settings of other groups are not looked at.
Return foldGroups(const Dispatcher& self, Error& error, Setting& setting,
    const DDS_Monitoring_LoggingGroupSeq* groups, const MatchMessage& matchMessage, const char* name) {
    ORX_MonitoringOpaqueResourceAccessor accessor;
    (void)ORX_MonitoringResource_getOpaqueResourceAccessor(&accessor);
    const auto* root =
        reinterpret_cast<const ORX_MonitoringOpaqueResource*>(self.monitoringClass->rootResource);
    const DDS_Long count = DDS_Monitoring_LoggingGroupSeq_get_length(groups);
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Monitoring_LoggingGroup* group = DDS_Monitoring_LoggingGroupSeq_get_reference(groups, i);
        int isMatching = 0;
        if (!ORX_Monitoring_isResourceMatchingPathExpression(
                &isMatching, root, group->application_selector, &accessor, root)) {
            ORX_ERROR(FAILED_TO_PROCESS, "Resource matching the application_selector expression.");
            return failWithReply(error, matchMessage.text, matchMessage.logged);
        }
        if (!isMatching)
            continue;
        if (!ORX_MonitoringLoggingVerbositySetting_t_fromLoggingSettingSeq(
                &setting, &group->logging_settings)) {
            ORX_ERROR(FAILED_TO_PROCESS,
                "Logging settings for application '%s' include an unexpected facility", name);
            return failWithReply(error, "Unexpected facility");
        }
    }
    return done;
}

// The collection setting is guarded by the root's metric mutex, which neither a command nor the logger's
// notice comes with.
bool copyCollectionSetting(const Dispatcher& self, Setting& setting) {
    const orx::event::MetricLock lock(rootIndex);
    const auto& library = *reinterpret_cast<const ORX_MonitoringClassImpl*>(self.monitoringClass);
    return lock && ORX_MonitoringLoggingVerbositySetting_t_copy(&setting, &library.loggingCollectionSetting);
}

// Without a lock: whoever makes messages follows the logger, and may wait for messages that are under way.
void setVerbosities(ZDDS_Config_Logger* logger, const Setting& setting) {
    const struct {
        ZDDS_Config_LogFacility facility;
        ZDDS_Config_SyslogVerbosity verbosity;
    } levels[] = {{ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, setting.middleware},
        {ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT, setting.security_event},
        {ZDDS_CONFIG_LOG_FACILITY_SERVICE, setting.service}, {ZDDS_CONFIG_LOG_FACILITY_USER, setting.user}};
    // It refuses unknown facilities alone.
    for (const auto& level : levels)
        (void)ZDDS_Config_Logger_set_verbosity_by_facilityI(
            logger, level.facility, ZDDS_Config_LogVerbosity_from_syslog_verbosity(level.verbosity), 0);
}

bool publishCollection(const Dispatcher& self) {
    const orx::event::MetricLock lock(rootIndex);
    return lock && self.monitoringClass->onLoggingCollectionChange(self.monitoringClass);
}

Return setCollectionLevel(Dispatcher& self, Error& error, const ORX_MonitoringResource* resource,
    const DDS_Monitoring_LoggingGroupSeq* groups) {
    if (requireRoot(self, error, resource) != done)
        return failedWithReply;
    ApplicationName name;
    if (!name.get(resource))
        return failWithReply(error, nameMessage);
    Setting setting = startingSetting;
    if (!copyCollectionSetting(self, setting))
        return failWithReply(error, copyMessage);
    if (foldGroups(self, error, setting, groups, collectionMatch, name.text) != done)
        return failedWithReply;
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    if (logger == nullptr)
        return failWithReply(error, "Unable to get the logger");
    setVerbosities(logger, setting);
    if (!publishCollection(self)) {
        ORX_ERROR(FAILED_TO_PUSH, "Logging metric update");
        return failWithReply(
            error, "Failed to send the metric update after changing the logging collection level");
    }
    return succeed(error);
}

Return setForwardingLevel(Dispatcher& self, Error& error, const ORX_MonitoringResource* resource,
    const DDS_Monitoring_LoggingGroupSeq* groups, Setting& setting) {
    const ORX_MonitoringLoggingProperty_t* property = ORX_Monitoring_getLoggingProperty(self.monitoringClass);
    if (property == nullptr)
        return failWithReply(error, "Failed to get the Monitoring Library logging configuration");
    if (!ORX_MonitoringLoggingVerbositySetting_t_copy(&setting, &property->forwarding_level))
        return failWithReply(error, copyMessage);
    ApplicationName name;
    if (!name.get(resource))
        return failWithReply(error, nameMessage);
    if (foldGroups(self, error, setting, groups, forwardingMatch, name.text) != done)
        return failedWithReply;
    ORX_Monitoring_setLoggingForwardingLevelFromProperty(self.monitoringClass, &setting);
    return succeed(error);
}

} // namespace

ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_processSetLoggingCollectionLevel(
    ORX_MonitoringCommandDispatcher* self, DDS_Monitoring_MonitoringService_Reply* reply,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS(self, reply, resources, command);
    ORX_REFUSE_IF(ORX_MonitoringResourcePtrSeq_get_length(resources) != 1);
    reply->data._d = orx::operation::set_logging_collection_level;
    Error& error = reply->data._u.set_logging_collection_level._u.monitoringcommanderror_ex;
    error.ret_code = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
    return setCollectionLevel(*self, error, *ORX_MonitoringResourcePtrSeq_get_reference(resources, 0),
        &command->data._u.set_logging_collection_level.logging_groups);
}

ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_processSetLoggingForwardingLevel(
    ORX_MonitoringCommandDispatcher* self, DDS_Monitoring_MonitoringService_Reply* reply,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Request* command) {
    ORX_REFUSE_NULL_ARGUMENTS(self, reply, resources, command);
    ORX_REFUSE_IF(ORX_MonitoringResourcePtrSeq_get_length(resources) != 1);
    reply->data._d = orx::operation::set_logging_forwarding_level;
    Setting setting = startingSetting;
    const Return result =
        setForwardingLevel(*self, reply->data._u.set_logging_forwarding_level._u.monitoringcommanderror_ex,
            *ORX_MonitoringResourcePtrSeq_get_reference(resources, 0),
            &command->data._u.set_logging_forwarding_level.logging_groups, setting);
    (void)ORX_MonitoringLoggingVerbositySetting_t_finalize(&setting);
    return result;
}
