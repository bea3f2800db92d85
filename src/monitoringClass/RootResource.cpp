#include "src/monitoringClass/RootResource.h"

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/monitoringClass/ApplicationMetricGroups.h"
#include "src/resource/ResourceIdentity.h"
#include "src/resource/ResourceLifecycle.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// The root mirrors no entity: its GUID is a random one.
bool generateUserGuid(DDS_GUID_t& guid) {
    ORXOsapiUuid uuid = {};
    if (!ORXOsapiHost_generate_uuid(&uuid))
        return ORX_ERROR(FAILED_TO_GET, "Monitoring root resource GUID\n");
    const ORXOsapiRtpsGuid rtpsGuid = {{uuid[0], uuid[1], uuid[2]}, 0};
    DDS_GUID_copy_from_pres_guid(&guid, &rtpsGuid);
    return true;
}

} // namespace

ORX_MonitoringResource* ORX_MonitoringResource_createRoot(
    ORX_MonitoringClassImpl* monitoringClass, const char* applicationName) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(monitoringClass->resourceRegistry == ORX_NULL);
    char name[ORX_MONITORING_RESOURCE_FULLY_QUALIFIED_NAME_SIZE];
    if (!ORX_MonitoringResource_getRootResourceName(name, sizeof name, applicationName))
        return ORX_ERROR(FAILED_TO_GET, "Monitoring root resource name\n");
    DDS_GUID_t userGuid;
    if (!generateUserGuid(userGuid))
        return nullptr;
    constexpr ORX_MonitoringResourceForwarder forwarder = {
        ORX_Monitoring_getApplicationMetricGroup, ORX_Monitoring_returnApplicationMetricGroup};
    ORX_MonitoringResource* root =
        ORX_MonitoringResourceRegistry_assertResource(monitoringClass->resourceRegistry, &userGuid,
            ORX_MONITORING_APPLICATION_CLASS_ID, name, nullptr, nullptr, &forwarder, 0, nullptr, nullptr);
    if (root == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring resource application root with name %s\n", name);
    root->concurrencyIndex = 0;
    return root;
}
