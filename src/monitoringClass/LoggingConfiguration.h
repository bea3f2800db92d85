/* The logging configuration of the application, as the metric group `logging` publishes it: the verbosity of
 * each facility at which messages are made (collection), and above which they are sent on (forwarding).
 *
 * Threads: under the metric mutex of index 0, which covers both settings. Errors: non-zero for success; a
 * failure is a line of the log. */
#ifndef ORX_LOGGING_CONFIGURATION_H
#define ORX_LOGGING_CONFIGURATION_H

#include "src/monitoringClass/MonitoringClassImpl.h"

ZDDS_BEGIN_C

struct DDS_Monitoring_LoggingConfig;
struct DDS_Monitoring_LoggingSettingSeq;

/* Always four elements: middleware, security event, service, user. */
int ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
    const ORX_MonitoringLoggingVerbositySetting_t* self,
    struct DDS_Monitoring_LoggingSettingSeq* loggingSettings);
/* Collection from what the class saw last, forwarding from its property: without a logging collector nothing
 * else can have changed it. */
int ORX_Monitoring_populateLoggingConfig(
    struct ORX_MonitoringClass* monitoringClass, struct DDS_Monitoring_LoggingConfig* loggingConfig);
/* Initializes and fills the config for the live library. The caller finalizes it on success. */
int ORX_Monitoring_getLoggingConfigMetric(struct DDS_Monitoring_LoggingConfig* loggingConfig);

ZDDS_END_C

#endif
