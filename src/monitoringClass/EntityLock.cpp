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

enum class Step { done, noEntity, refused };

// Locks or unlocks the entity behind a resource; a resource of another class has none and needs nothing.
Step apply(DDS_ReturnCode_t (*operation)(const DDS_Entity*), const ORX_MonitoringResource& resource) {
    if (!hasEntity(resource))
        return Step::done;
    const auto* entity = static_cast<const DDS_Entity*>(resource.userResource);
    if (entity == nullptr) {
        ORX_ERROR(FAILED_TO_GET, "DDS Entity from Monitoring resource");
        return Step::noEntity;
    }
    return operation(entity) == DDS_RETCODE_OK ? Step::done : Step::refused;
}

} // namespace

DDS_Boolean ORX_Monitoring_lockDdsEntityFromResource(const struct ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    const Step step = apply(DDS_Entity_lock, *resource);
    if (step == Step::refused)
        return ORX_ERROR(FAILED_TO_LOCK, "DDS Entity");
    return step == Step::done;
}

DDS_Boolean ORX_Monitoring_unlockDdsEntityFromResource(const struct ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    const Step step = apply(DDS_Entity_unlock, *resource);
    if (step == Step::refused)
        return ORX_ERROR(FAILED_TO_UNLOCK, "DDS Entity");
    return step == Step::done;
}
