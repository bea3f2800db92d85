// The logging configurations of the applications, as commands from here change them. The application reports
// its own later; until then this is what it will come to.
#include "orxmonitoring2d/dds_logging_support.h"
#include "src/log/Log.hpp"
#include "src/monitoringForwarder/MonitoringForwarder.h"
#include "src/resource/ApplicationRegistryLock.hpp"
#include "src/resource/ApplicationSelection.h"
#include "src/utils/PathMatcher.h"
#include "zddsc/logger.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

using Application = ORX_MonitoringForwarderApplicationResource;
using Config = DDS_Monitoring_LoggingConfig;
using Settings = DDS_Monitoring_LoggingSettingSeq;
using Setting = DDS_Monitoring_LoggingSetting;
using Group = DDS_Monitoring_LoggingGroup;

// Borrowed pointers, and finalized with their block.
class Applications {
public:
    Applications() { ORX_MonitoringOpaqueResourceSeq_initialize(&seq_); }
    ~Applications() { ORX_MonitoringOpaqueResourceSeq_finalize(&seq_); }
    Applications(const Applications&) = delete;
    Applications& operator=(const Applications&) = delete;
    ORX_MonitoringOpaqueResourceSeq* get() { return &seq_; }
    DDS_Long length() const { return ORX_MonitoringOpaqueResourceSeq_get_length(&seq_); }
    Application* at(DDS_Long i) const {
        // They are the registry's own.
        return reinterpret_cast<Application*>(
            const_cast<ORX_MonitoringOpaqueResource*>(ORX_MonitoringOpaqueResourceSeq_get(&seq_, i)));
    }

private:
    ORX_MonitoringOpaqueResourceSeq seq_;
};

bool setAll(Settings& settings, const Group& group, bool isForwarding, const char* applicationName) {
    const DDS_Long count = DDS_Monitoring_LoggingSettingSeq_get_length(&group.logging_settings);
    for (DDS_Long i = 0; i < count; ++i) {
        const Setting* setting = DDS_Monitoring_LoggingSettingSeq_get_reference(&group.logging_settings, i);
        if (!ORX_MonitoringForwarder_setVerbosityToLoggingSettingSeq(&settings, setting, isForwarding)) {
            return ORX_ERROR(FAILED_TO_SET, "verbosity %d of facility %u for application %s",
                static_cast<int>(setting->verbosity), setting->facility, applicationName);
        }
    }
    return true;
}

// A configuration is changed in a copy, so that a failure leaves the application's own as it was.
bool change(Application& application, const Group& group, bool isForwarding, Config& config) {
    if (!ORX_MonitoringForwarderApplicationResource_getLoggingConfig(&application, &config))
        return ORX_ERROR(FAILED_TO_GET, "LoggingConfig");
    Settings& settings = isForwarding ? config.logging_forwarding : config.logging_collection;
    if (!setAll(settings, group, isForwarding, application.fullyQualifiedName))
        return false;
    if (!ORX_MonitoringForwarderApplicationResource_setLoggingConfig(&application, &config))
        return ORX_ERROR(FAILED_TO_SET, "LoggingConfig");
    return true;
}

bool changeMatching(Applications& all, const Group& group, bool isForwarding, Config& config) {
    ORX_MonitoringOpaqueResourceAccessor accessor;
    ORX_MonitoringForwarderApplicationResource_getOpaqueResourceAccessor(&accessor);
    Applications found;
    if (!ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence(
            found.get(), group.application_selector, &accessor, all.get())) {
        return ORX_ERROR(FAILED_TO_GET, "Applications matching expression '%s'", group.application_selector);
    }
    for (DDS_Long i = 0; i < found.length(); ++i) {
        if (!change(*found.at(i), group, isForwarding, config))
            return false;
    }
    return true;
}

bool changeForGroup(Applications& all, const Group& group, bool isForwarding) {
    Config config;
    if (!DDS_Monitoring_LoggingConfig_initialize(&config))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "LoggingConfig");
    const bool result = changeMatching(all, group, isForwarding, config);
    DDS_Monitoring_LoggingConfig_finalize(&config);
    return result;
}

Setting* find(Settings& settings, DDS_Octet facility) {
    const DDS_Long count = DDS_Monitoring_LoggingSettingSeq_get_length(&settings);
    for (DDS_Long i = 0; i < count; ++i) {
        Setting* one = DDS_Monitoring_LoggingSettingSeq_get_reference(&settings, i);
        if (one->facility == facility)
            return one;
    }
    return nullptr;
}

} // namespace

int ORX_MonitoringForwarder_applyLoggingLevelChange(ORX_MonitoringForwarder* self,
    const DDS_Monitoring_LoggingGroupSequence* logging_groups, int forwarding) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(logging_groups == ORX_NULL);
    auto* registry = reinterpret_cast<ORX_MonitoringForwarderImpl*>(self)->applicationRegistry;
    orx::forwarder::RegistryLock lock{registry};
    if (!lock.isHeld())
        return 0;
    Applications all;
    if (!ORX_MonitoringForwarderApplicationRegistry_getApplicationsAsSequence(registry, all.get()))
        return ORX_ERROR(FAILED_TO_GET, "Applications of the application registry");
    const DDS_Long count = DDS_Monitoring_LoggingGroupSeq_get_length(logging_groups);
    for (DDS_Long i = 0; i < count; ++i) {
        if (!changeForGroup(
                all, *DDS_Monitoring_LoggingGroupSeq_get_reference(logging_groups, i), forwarding != 0))
            return 0;
    }
    return lock.unlock();
}

int ORX_MonitoringForwarder_setVerbosityToLoggingSettingSeq(
    DDS_Monitoring_LoggingSettingSeq* seq, const DDS_Monitoring_LoggingSetting* setting, int forwarding) {
    ORX_FAIL_IF(seq == ORX_NULL);
    ORX_FAIL_IF(setting == ORX_NULL);
    if (Setting* known = find(*seq, setting->facility); known != nullptr) {
        known->verbosity = forwarding ? setting->verbosity
                                      : ORX_MonitoringForwarder_collection_verbosity_requested_to_assigned(
                                            setting->verbosity);
        return 1;
    }
    if (setting->facility != ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE)
        return 1;
    const DDS_Long length = DDS_Monitoring_LoggingSettingSeq_get_length(seq);
    if (!DDS_Monitoring_LoggingSettingSeq_ensure_length(seq, length + 1, length + 1))
        return ORX_ERROR(FAILED_TO_SET, "length (%d) of the logging settings", length + 1);
    *DDS_Monitoring_LoggingSettingSeq_get_reference(seq, length) = *setting;
    return 1;
}

DDS_Monitoring_SyslogVerbosity ORX_MonitoringForwarder_collection_verbosity_requested_to_assigned(
    DDS_Monitoring_SyslogVerbosity verbosity) {
    switch (verbosity) {
    case DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_EMERGENCY:
    case DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_ALERT:
    case DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_CRITICAL:
    case DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_ERROR:
        return DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_ERROR;
    case DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_NOTICE:
    case DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_INFORMATIONAL:
        return DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_INFORMATIONAL;
    default:
        return verbosity;
    }
}
