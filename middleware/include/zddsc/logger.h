/* The logger: takes the messages of the middleware and of programs, drops what is below the collection
 * verbosity of their facility, and hands the rest to the devices.
 *
 * Collection is what this header sets: what messages exist. Forwarding, what the monitoring library sends on,
 * is the library's own setting. Levels are syslog's, in three forms: a syslog level is RFC 5424's number, a
 * log level is its bit, a verbosity is the mask of the levels that pass. Threads: every function may be
 * called from any thread. A device runs on the thread that logs, possibly under any lock of that thread: it
 * may queue, and nothing else; a message that the thread logs while it is inside a device reaches no device.
 * Errors: non-zero for success unless stated. */
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

/* RFC 5424: 0 is the most severe. */
typedef enum ZDDS_Config_SyslogLevel {
    ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY = 0,
    ZDDS_CONFIG_SYSLOG_LEVEL_ALERT = 1,
    ZDDS_CONFIG_SYSLOG_LEVEL_CRITICAL = 2,
    ZDDS_CONFIG_SYSLOG_LEVEL_ERROR = 3,
    ZDDS_CONFIG_SYSLOG_LEVEL_WARNING = 4,
    ZDDS_CONFIG_SYSLOG_LEVEL_NOTICE = 5,
    ZDDS_CONFIG_SYSLOG_LEVEL_INFORMATIONAL = 6,
    ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG = 7
} ZDDS_Config_SyslogLevel;

/* The logger's own form of a level: 1 << syslog level, the bit that a verbosity tests. */
typedef enum ZDDS_Config_LogLevel {
    ZDDS_CONFIG_LOG_LEVEL_EMERGENCY = 0x01,
    ZDDS_CONFIG_LOG_LEVEL_ALERT = 0x02,
    ZDDS_CONFIG_LOG_LEVEL_CRITICAL = 0x04,
    ZDDS_CONFIG_LOG_LEVEL_ERROR = 0x08,
    ZDDS_CONFIG_LOG_LEVEL_WARNING = 0x10,
    ZDDS_CONFIG_LOG_LEVEL_NOTICE = 0x20,
    ZDDS_CONFIG_LOG_LEVEL_INFORMATIONAL = 0x40,
    ZDDS_CONFIG_LOG_LEVEL_DEBUG = 0x80
} ZDDS_Config_LogLevel;

/* What the logger collects of a facility: the mask of levels that pass, as a syslog verbosity. */
typedef ORX_UINT32 ZDDS_Config_LogVerbosity;

/* A value outside the enumeration gives the nearest: below emergency EMERGENCY, unknown bits DEBUG. */
ZDDSC_EXPORT ZDDS_Config_SyslogLevel ZDDS_Config_SyslogLevel_from_log_level(ZDDS_Config_LogLevel level);
ZDDSC_EXPORT ZDDS_Config_LogLevel ZDDS_Config_LogLevel_from_syslog_level(ZDDS_Config_SyslogLevel level);
ZDDSC_EXPORT ZDDS_Config_LogVerbosity ZDDS_Config_LogVerbosity_from_syslog_verbosity(
    ZDDS_Config_SyslogVerbosity verbosity);
/* The bit of a syslog level in a verbosity: 1 << level; 0 for a level that does not exist. */
ZDDSC_EXPORT ORX_UINT32 ORXSyslog_getInstrumentBitFromSyslogLevel(ZDDS_Config_SyslogLevel level);

/* A message as a device receives it. Texts live until write returns. */
struct ZDDS_Config_LogMessage {
    const char* text; /* the level's word, perhaps an activity context, which names the category, and the
                       * text: "ERROR [..|LC:Discovery]nobody answers", "ERROR nobody answers" */
    ZDDS_Config_LogLevel level;
    DDS_Boolean is_security_message;
    DDS_UnsignedLong message_id;
    DDS_Duration_t timestamp; /* since 1970 */
    ZDDS_Config_LogFacility facility;
};
typedef struct ZDDS_Config_LogMessage ZDDS_Config_LogMessage;

struct ZDDS_Config_LoggerDevice {
    void* device_data;
    void (*write)(struct ZDDS_Config_LoggerDevice* device, const ZDDS_Config_LogMessage* message);
    void (*close)(
        struct ZDDS_Config_LoggerDevice* device); /* null, or called when the device leaves its slot */
};
typedef struct ZDDS_Config_LoggerDevice ZDDS_Config_LoggerDevice;

/* The logger of the process. Made by the first get_instance or by the host; null when memory is out. */
typedef struct ZDDS_Config_Logger ZDDS_Config_Logger;
ZDDSC_EXPORT ZDDS_Config_Logger* ZDDS_Config_Logger_get_instance(void);
ZDDSC_EXPORT DDS_Boolean ZDDS_Config_Logger_is_initialized(void);
/* Frees the logger; for tests that look for leaks. No device is set and no thread logs any more. */
ZDDSC_EXPORT void ZDDS_Config_Logger_finalize_instance(void);

/* Collection verbosity of a facility; SILENT for a facility that does not exist. */
ZDDSC_EXPORT ZDDS_Config_LogVerbosity ZDDS_Config_Logger_get_verbosity_by_facility(
    const ZDDS_Config_Logger* self, ZDDS_Config_LogFacility facility);
/* In force when it returns. notify: non-zero, the monitoring library learns of a change
 * (onLoggingCollectionChange of its table, under the metric mutex of index 0, once the logger's own lock has
 * been released); 0, the caller is the library and tells it itself. The listener below is called in both
 * cases. Fails for an unknown facility. */
ZDDSC_EXPORT int ZDDS_Config_Logger_set_verbosity_by_facilityI(ZDDS_Config_Logger* self,
    ZDDS_Config_LogFacility facility, ZDDS_Config_LogVerbosity verbosity, int notify);
/* Told after every change, with no lock of the logger held, on the thread that made it: whoever makes
 * messages (an engine's log) follows the verbosity. At most one; null removes it, and returns when no thread
 * is inside. */
typedef void (*ZDDS_Config_Logger_VerbosityListener)(
    void* context, ZDDS_Config_LogFacility facility, ZDDS_Config_LogVerbosity verbosity);
ZDDSC_EXPORT void ZDDS_Config_Logger_set_verbosity_listener(
    ZDDS_Config_Logger* self, ZDDS_Config_Logger_VerbosityListener listener, void* context);

/* Logs a message. Middleware and service go to the devices; user and security event go to postLogMessage of
 * the monitoring library, when it is enabled, with the index that belongs to this thread. category: null for
 * none, otherwise at most 35 characters. message_id is free. Fails only for a bad argument: a message that
 * nobody collects is no error. Never blocks on more than a logging mutex, never allocates. Text beyond 4,000
 * bytes is cut at a character of UTF-8. */
ZDDSC_EXPORT int ZDDS_Config_Logger_log(ZDDS_Config_Logger* self, ZDDS_Config_LogFacility facility,
    ZDDS_Config_SyslogLevel level, DDS_UnsignedLong message_id, const char* category, const char* text);

/* The slots that devices are set into: 0 to 7; the monitoring library's is 5. */
typedef struct ADVLOGLoggerDevice ADVLOGLoggerDevice;
/* Wraps the device, which stays the caller's and must outlive its stay in a slot. The result belongs to the
 * slot that it is set into. Null when memory is out. */
ZDDSC_EXPORT ADVLOGLoggerDevice* ZDDS_Config_Logger_createADVLOGLoggerDevice(
    ZDDS_Config_LoggerDevice* device);
/* Puts a device into a slot, or with null takes it out. Returns when no thread is inside the device that was
 * there (except the caller itself), so that it can be freed. The last two arguments are reserved: 0. */
ZDDSC_EXPORT int ADVLOGLogger_setDevice(int slot, ADVLOGLoggerDevice* device, int reserved1, int reserved2);

/* Whether what the engine itself logs comes as lines of the support layer's log, with its bounds and sinks,
 * rather than to where the engine writes it. Of the whole process: for programs that use the engine through
 * this library alone. */
ZDDSC_EXPORT void ZDDS_Config_Logger_take_engine_linesI(DDS_Boolean areTaken);

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
/* The four collection verbosities as the logger has them now. */
ZDDSC_EXPORT int ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(
    ORX_MonitoringLoggingVerbositySetting_t* self, const ZDDS_Config_Logger* logger);

ZDDS_END_C

#endif
