#include "src/monitoringClass/ApplicationMetricGroups.h"

#include "orxmonitoring2d/dds_logging.h"
#include "orxmonitoring2d/monitoring_statistics.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/monitoringClass/LoggingConfiguration.h"
#include "zddscore/host.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;

constexpr int hostNameLength = 254;

// One value of each group; see the header for who may touch them.
char hostName[hostNameLength + 1];
ORX_UINT64 processId;
DDS_Monitoring_LoggingConfig loggingConfig;
ORX_Monitoring_ProcessMemoryUtilization processMemory;
static_assert(sizeof processMemory == sizeof(DDS_Monitoring_ProcessMemoryUtilization));

bool getHostName(void** group) {
    if (ORXOsapiHost_getHostName(hostName, hostNameLength) != 0)
        return ORX_ERROR(FAILED_TO_GET, "Host Name");
    *group = hostName;
    return true;
}

bool getProcessId(void** group) {
    processId = ORXOsapiProcess_getId();
    *group = &processId;
    return true;
}

bool getLogging(void** group) {
    DDS_Monitoring_LoggingConfig_finalize(&loggingConfig); // of a fetch that was never returned
    if (!ORX_Monitoring_getLoggingConfigMetric(&loggingConfig)) {
        return ORX_ERROR(FAILED_TO_GET, "Application's Logging Configuration Metric");
    }
    *group = &loggingConfig;
    return true;
}

bool getProcessMemory(void** group) {
    ORXOsapiProcessMemoryInfo info{};
    if (!ORXOsapiProcess_getMemoryInfo(&info))
        return ORX_ERROR(FAILED_TO_GET, "ORXOsapiProcessMemoryInfo");
    processMemory = {info.physicalMemory, info.totalMemory};
    *group = &processMemory;
    return true;
}

} // namespace

DDS_Boolean ORX_Monitoring_getApplicationMetricGroup(
    void** applicationMetricGroup, const void* /*userResource*/, DDS_UnsignedLong metricGroupIndex) {
    ORX_FAIL_IF(applicationMetricGroup == ORX_NULL);
    switch (metricGroupIndex) {
    case ORX_MONITORING_APPLICATION_HOSTNAME_GROUP:
        return getHostName(applicationMetricGroup);
    case ORX_MONITORING_APPLICATION_PROCESS_ID_GROUP:
        return getProcessId(applicationMetricGroup);
    case ORX_MONITORING_APPLICATION_LOGGING_GROUP:
        return getLogging(applicationMetricGroup);
    case ORX_MONITORING_APPLICATION_PROCESS_MEMORY_GROUP:
        return getProcessMemory(applicationMetricGroup);
    default:
        return ORX_ERROR(BAD_PARAMETER_FAILURE, "Unknown metricGroupIndex");
    }
}

DDS_Boolean ORX_Monitoring_returnApplicationMetricGroup(
    void** applicationMetricGroup, DDS_UnsignedLong metricGroupIndex) {
    ORX_FAIL_IF(applicationMetricGroup == ORX_NULL);
    if (*applicationMetricGroup == nullptr)
        return DDS_BOOLEAN_TRUE;
    switch (metricGroupIndex) {
    case ORX_MONITORING_APPLICATION_LOGGING_GROUP:
        DDS_Monitoring_LoggingConfig_finalize(
            static_cast<DDS_Monitoring_LoggingConfig*>(*applicationMetricGroup));
        return DDS_BOOLEAN_TRUE;
    case ORX_MONITORING_APPLICATION_HOSTNAME_GROUP:
    case ORX_MONITORING_APPLICATION_PROCESS_ID_GROUP:
    case ORX_MONITORING_APPLICATION_PROCESS_MEMORY_GROUP:
        return DDS_BOOLEAN_TRUE;
    default:
        return ORX_ERROR(BAD_PARAMETER_FAILURE, "Unknown metricGroupIndex");
    }
}
