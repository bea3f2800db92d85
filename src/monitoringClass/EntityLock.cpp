#include "src/monitoringClass/EntityLock.h"

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/resource/MonitoringResource.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;

bool hasEntity(const ORX_MonitoringResource& resource) {
    switch (resource.base.class_id) {
    case ORX_MONITORING_PARTICIPANT_CLASS_ID:
    case ORX_MONITORING_TOPIC_CLASS_ID:
    case ORX_MONITORING_PUBLISHER_CLASS_ID:
    case ORX_MONITORING_SUBSCRIBER_CLASS_ID:
    case ORX_MONITORING_DATA_WRITER_CLASS_ID:
    case ORX_MONITORING_DATA_READER_CLASS_ID:
        return true;
    default:
        return false;
    }
}

const DDS_Entity* entityOf(const ORX_MonitoringResource& resource) {
    const auto* entity = static_cast<const DDS_Entity*>(resource.userResource);
    if (entity == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "DDS Entity from Monitoring resource");
    return entity;
}

} // namespace

DDS_Boolean ORX_Monitoring_lockDdsEntityFromResource(const struct ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    if (!hasEntity(*resource))
        return DDS_BOOLEAN_TRUE;
    const DDS_Entity* entity = entityOf(*resource);
    if (entity == nullptr)
        return DDS_BOOLEAN_FALSE;
    if (DDS_Entity_lock(entity) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "DDS Entity");
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean ORX_Monitoring_unlockDdsEntityFromResource(const struct ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    if (!hasEntity(*resource))
        return DDS_BOOLEAN_TRUE;
    const DDS_Entity* entity = entityOf(*resource);
    if (entity == nullptr)
        return DDS_BOOLEAN_FALSE;
    if (DDS_Entity_unlock(entity) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_UNLOCK, "DDS Entity");
    return DDS_BOOLEAN_TRUE;
}
