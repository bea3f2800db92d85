/* The logger's vocabulary: facilities and verbosities. */
#ifndef ZDDSC_LOGGER_H
#define ZDDSC_LOGGER_H

#include "zddsc/basic_types.h"

ZDDS_BEGIN_C

/* syslog facility numbers. */
typedef enum ZDDS_Config_LogFacility {
    ZDDS_CONFIG_LOG_FACILITY_USER = 1,
    ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT = 10,
    ZDDS_CONFIG_LOG_FACILITY_SERVICE = 22,
    ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE = 23
} ZDDS_Config_LogFacility;

/* A mask: a verbosity has the bits of itself and of all more severe levels. */
typedef enum ZDDS_Config_SyslogVerbosity {
    ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT = 0,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_EMERGENCY = 1,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_ALERT = 3,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_CRITICAL = 7,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_ERROR = 15,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING = 31,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_NOTICE = 63,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_INFORMATIONAL = 127,
    ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG = 255
} ZDDS_Config_SyslogVerbosity;

struct ORX_MonitoringLoggingVerbositySetting_t {
    ZDDS_Config_SyslogVerbosity middleware;
    ZDDS_Config_SyslogVerbosity security_event;
    ZDDS_Config_SyslogVerbosity service;
    ZDDS_Config_SyslogVerbosity user;
};
typedef struct ORX_MonitoringLoggingVerbositySetting_t ORX_MonitoringLoggingVerbositySetting_t;
/* All four at WARNING. */
ZDDSC_EXPORT int ORX_MonitoringLoggingVerbositySetting_t_initialize(
    ORX_MonitoringLoggingVerbositySetting_t* self);
ZDDSC_EXPORT int ORX_MonitoringLoggingVerbositySetting_t_finalize(
    ORX_MonitoringLoggingVerbositySetting_t* self);
ZDDSC_EXPORT int ORX_MonitoringLoggingVerbositySetting_t_copy(
    ORX_MonitoringLoggingVerbositySetting_t* self, const ORX_MonitoringLoggingVerbositySetting_t* source);
ZDDSC_EXPORT DDS_Boolean ORX_MonitoringLoggingVerbositySetting_t_equals(
    const ORX_MonitoringLoggingVerbositySetting_t* left,
    const ORX_MonitoringLoggingVerbositySetting_t* right);

ZDDS_END_C

#endif
