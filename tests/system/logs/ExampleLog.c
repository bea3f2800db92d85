/* Apart from what uses the engine: its header has macros of the same names. */
#include <stdbool.h>

#include "zddsc/logger.h"
#include "zddsc/monitoring.h"

bool isMonitored(void);
void logBoth(void);

bool isMonitored(void) {
    return ORX_MonitoringHost_is_enabled() != DDS_BOOLEAN_FALSE;
}

void logBoth(void) {
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    ZDDS_Config_Logger_log(logger, ZDDS_CONFIG_LOG_FACILITY_SERVICE, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING, 17,
        "Storage", "the disk is almost full");
    ZDDS_Config_Logger_log(
        logger, ZDDS_CONFIG_LOG_FACILITY_USER, ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 18, NULL, "nobody answers");
}
