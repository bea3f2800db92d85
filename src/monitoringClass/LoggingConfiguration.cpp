#include "src/monitoringClass/LoggingConfiguration.h"

#include <iterator>

#include "orxmonitoring2d/dds_logging.h"
#include "src/log/Log.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;

using VerbositySetting = ORX_MonitoringLoggingVerbositySetting_t;

// The order in which facilities are published.
struct Facility {
    ZDDS_Config_SyslogVerbosity VerbositySetting::*verbosity;
    ZDDS_Config_LogFacility facility;
};
constexpr Facility facilities[] = {
    {&VerbositySetting::middleware, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE},
    {&VerbositySetting::security_event, ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT},
    {&VerbositySetting::service, ZDDS_CONFIG_LOG_FACILITY_SERVICE},
    {&VerbositySetting::user, ZDDS_CONFIG_LOG_FACILITY_USER},
};
constexpr DDS_Long facilityCount = std::size(facilities);

} // namespace

int ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
    const ORX_MonitoringLoggingVerbositySetting_t* self,
    struct DDS_Monitoring_LoggingSettingSeq* loggingSettings) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(loggingSettings == ORX_NULL);
    if (!DDS_Monitoring_LoggingSettingSeq_set_length(loggingSettings, facilityCount)) {
        return ORX_ERROR(FAILED_TO_SET, "Logging Settings Sequence length to %d", facilityCount);
    }
    for (DDS_Long i = 0; i < facilityCount; ++i) {
        DDS_Monitoring_LoggingSetting* setting =
            DDS_Monitoring_LoggingSettingSeq_get_reference(loggingSettings, i);
        setting->verbosity = static_cast<DDS_Monitoring_SyslogVerbosity>(self->*facilities[i].verbosity);
        setting->facility = static_cast<DDS_Octet>(facilities[i].facility);
    }
    return 1;
}

int ORX_Monitoring_populateLoggingConfig(
    struct ORX_MonitoringClass* monitoringClass, struct DDS_Monitoring_LoggingConfig* loggingConfig) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(loggingConfig == ORX_NULL);
    const auto& library = *reinterpret_cast<const ORX_MonitoringClassImpl*>(monitoringClass);
    if (!ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
            &library.loggingCollectionSetting, &loggingConfig->logging_collection)) {
        return ORX_ERROR(FAILED_TO_SET, "Logging collection sequence");
    }
    if (!ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
            &library.property->logging.forwarding_level, &loggingConfig->logging_forwarding)) {
        return ORX_ERROR(FAILED_TO_SET, "Logging forwarding sequence");
    }
    return 1;
}

int ORX_Monitoring_getLoggingConfigMetric(struct DDS_Monitoring_LoggingConfig* loggingConfig) {
    ORX_FAIL_IF(loggingConfig == ORX_NULL);
    if (!DDS_Monitoring_LoggingConfig_initialize(loggingConfig)) {
        return ORX_ERROR(FAILED_TO_INITIALIZE, "DDS_Monitoring_LoggingConfig");
    }
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    int result = 0;
    if (globals == nullptr) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring Globals");
    } else if (globals->monitoringClass == nullptr) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring Class");
    } else {
        result = ORX_Monitoring_populateLoggingConfig(globals->monitoringClass, loggingConfig);
    }
    if (!result)
        DDS_Monitoring_LoggingConfig_finalize(loggingConfig);
    return result;
}
