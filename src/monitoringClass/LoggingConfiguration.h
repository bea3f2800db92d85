/* The logging configuration of the application, as the metric group `logging` publishes it: the verbosity of
 * each facility at which messages are made (collection), and above which they are sent on (forwarding).
 *
 * Threads: under the metric mutex of index 0, which covers both settings; a function that takes it says so.
 * Errors: non-zero for success; a failure is a line of the log. */
#ifndef ORX_LOGGING_CONFIGURATION_H
#define ORX_LOGGING_CONFIGURATION_H

#include "src/monitoringClass/MonitoringClassImpl.h"

ZDDS_BEGIN_C

struct DDS_Monitoring_LoggingConfig;
struct DDS_Monitoring_LoggingSettingSeq;

/* Each element's verbosity into the member of its facility; the last of a facility counts, and members that
 * none names stay. Fails, with self as it was, for a facility that does not exist. */
int ORX_MonitoringLoggingVerbositySetting_t_fromLoggingSettingSeq(
    ORX_MonitoringLoggingVerbositySetting_t* self,
    const struct DDS_Monitoring_LoggingSettingSeq* loggingSettings);
/* Always four elements: middleware, security event, service, user. */
int ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
    const ORX_MonitoringLoggingVerbositySetting_t* self,
    struct DDS_Monitoring_LoggingSettingSeq* loggingSettings);
/* Collection from what the class saw last, forwarding from the logging collector. */
int ORX_Monitoring_populateLoggingConfig(
    struct ORX_MonitoringClass* monitoringClass, struct DDS_Monitoring_LoggingConfig* loggingConfig);
/* Initializes and fills the config for the live library, with the verbosities that the logger has now. The
 * caller finalizes it on success. */
int ORX_Monitoring_getLoggingConfigMetric(struct DDS_Monitoring_LoggingConfig* loggingConfig);

/* The table's slot for a change of the logger's verbosities: an event, if they are not what the class saw
 * last. Takes the metric mutex of index 0, which the caller may hold. */
DDS_Boolean ORX_Monitoring_onLoggingCollectionChange(struct ORX_MonitoringClass* monitoringClass);
/* Takes the metric mutex of index 0. The level that is in force already makes no event. A failed push leaves
 * the new level in force. */
void ORX_Monitoring_setLoggingForwardingLevelFromProperty(struct ORX_MonitoringClass* monitoringClass,
    const ORX_MonitoringLoggingVerbositySetting_t* newLoggingForwardingLevel);
/* The live record of the logging collector, or null without one. Its forwarding level changes under the
 * metric mutex of index 0; the thread that changes it may read it without. */
const ORX_MonitoringLoggingProperty_t* ORX_Monitoring_getLoggingProperty(
    struct ORX_MonitoringClass* monitoringClass);

ZDDS_END_C

#endif
