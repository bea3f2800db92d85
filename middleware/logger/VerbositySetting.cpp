#include "middleware/log/DdsLog.hpp"
#include "zddsc/logger.h"

int ORX_MonitoringLoggingVerbositySetting_t_initialize(ORX_MonitoringLoggingVerbositySetting_t* self) {
    ZDDS_REQUIRE(self != nullptr, 0);
    *self = {ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING,
        ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING};
    return 1;
}

// A setting owns nothing.
int ORX_MonitoringLoggingVerbositySetting_t_finalize(ORX_MonitoringLoggingVerbositySetting_t* self) {
    ZDDS_REQUIRE(self != nullptr, 0);
    return 1;
}

int ORX_MonitoringLoggingVerbositySetting_t_copy(
    ORX_MonitoringLoggingVerbositySetting_t* self, const ORX_MonitoringLoggingVerbositySetting_t* source) {
    ZDDS_REQUIRE(self != nullptr, 0);
    ZDDS_REQUIRE(source != nullptr, 0);
    *self = *source;
    return 1;
}

DDS_Boolean ORX_MonitoringLoggingVerbositySetting_t_equals(
    const ORX_MonitoringLoggingVerbositySetting_t* left,
    const ORX_MonitoringLoggingVerbositySetting_t* right) {
    ZDDS_REQUIRE(left != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(right != nullptr, DDS_BOOLEAN_FALSE);
    return left->middleware == right->middleware && left->security_event == right->security_event &&
           left->service == right->service && left->user == right->user;
}

int ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(
    ORX_MonitoringLoggingVerbositySetting_t* self, const ZDDS_Config_Logger* logger) {
    ZDDS_REQUIRE(self != nullptr, 0);
    ZDDS_REQUIRE(logger != nullptr, 0);
    const auto get = [&](ZDDS_Config_LogFacility facility) {
        return static_cast<ZDDS_Config_SyslogVerbosity>(
            ZDDS_Config_Logger_get_verbosity_by_facility(logger, facility));
    };
    *self = {.middleware = get(ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE),
        .security_event = get(ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT),
        .service = get(ZDDS_CONFIG_LOG_FACILITY_SERVICE),
        .user = get(ZDDS_CONFIG_LOG_FACILITY_USER)};
    return 1;
}
