#include "src/resource/ApplicationSelection.h"

#include <cstring>

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/resource/ApplicationRegistryLock.hpp"
#include "src/utils/PathMatcher.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

using Application = ORX_MonitoringForwarderApplicationResource;
using orx::forwarder::RegistryLock;

const ORX_MonitoringForwarderApplicationResourceImpl& implOf(const ORX_MonitoringOpaqueResource* resource) {
    return *reinterpret_cast<const ORX_MonitoringForwarderApplicationResourceImpl*>(resource);
}

// Empty, and finalized with its block.
class ResourceSeq {
public:
    ResourceSeq() { ORX_MonitoringOpaqueResourceSeq_initialize(&seq_); }
    ~ResourceSeq() { (void)finalize(); }
    ResourceSeq(const ResourceSeq&) = delete;
    ResourceSeq& operator=(const ResourceSeq&) = delete;
    ORX_MonitoringOpaqueResourceSeq* get() { return &seq_; }
    DDS_Long length() const { return ORX_MonitoringOpaqueResourceSeq_get_length(&seq_); }
    Application* at(DDS_Long i) const {
        return reinterpret_cast<Application*>(*ORX_MonitoringOpaqueResourceSeq_get_reference(&seq_, i));
    }
    bool finalize() {
        if (!ORX_MonitoringOpaqueResourceSeq_finalize(&seq_))
            return ORX_ERROR(FAILED_TO_FINALIZE, "Opaque resource sequence");
        return true;
    }

private:
    ORX_MonitoringOpaqueResourceSeq seq_;
};

using Match = int (*)(ORX_MonitoringOpaqueResourceSeq*, const char*,
    const ORX_MonitoringOpaqueResourceAccessor*, const ORX_MonitoringOpaqueResourceSeq*);

// Fills `found` with what `match` finds among all applications. The mutex is held.
bool findMatches(ORX_MonitoringForwarderApplicationRegistry* self, ResourceSeq& found, const char* expression,
    Match match) {
    ORX_MonitoringOpaqueResourceAccessor accessor;
    ORX_MonitoringForwarderApplicationResource_getOpaqueResourceAccessor(&accessor);
    ResourceSeq applications;
    if (!ORX_MonitoringForwarderApplicationRegistry_getApplicationsAsSequence(self, applications.get()) ||
        !match(found.get(), expression, &accessor, applications.get())) {
        return ORX_ERROR(FAILED_TO_GET, "Applications matching expression '%s'", expression);
    }
    return applications.finalize();
}

// A sequence that never held anything cannot double its maximum.
bool giveRoom(DDS_InstanceHandleSeq* destinationSeq) {
    if (DDS_InstanceHandleSeq_get_maximum(destinationSeq) != 0)
        return true;
    if (!DDS_InstanceHandleSeq_ensure_length(destinationSeq, 1, 1))
        return ORX_ERROR(FAILED_TO_SET, "Destination sequence length (1) max (1) using ensure_length");
    if (!DDS_InstanceHandleSeq_set_length(destinationSeq, 0))
        return ORX_ERROR(FAILED_TO_SET, "Destination sequence length to 0");
    return true;
}

} // namespace

const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_getNextSibling(
    const ORX_MonitoringOpaqueResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    return nullptr;
}

const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_getFirstChild(
    const ORX_MonitoringOpaqueResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    return nullptr;
}

const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_getParent(
    const ORX_MonitoringOpaqueResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    return nullptr;
}

const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_findByGuid(
    const ORX_MonitoringOpaqueResource* resource, const DDS_UInt8 guid[16]) {
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(guid == ORX_NULL);
    // Finding changes nothing but takes the mutex.
    auto* registry = const_cast<ORX_MonitoringForwarderApplicationRegistry*>(implOf(resource).registry);
    return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(
        ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(registry, nullptr, guid));
}

void ORX_MonitoringForwarderApplicationResource_getInfo(
    const ORX_MonitoringOpaqueResource* resource, ORX_MonitoringOpaqueResourceInfo* info) {
    ORX_LEAVE_IF(resource == ORX_NULL);
    ORX_LEAVE_IF(info == ORX_NULL);
    *info = ORX_MonitoringOpaqueResourceInfo{};
    const auto& application = implOf(resource);
    const char* name = application.parent.fullyQualifiedName;
    constexpr size_t maximum = sizeof info->name - 1;
    if (ORXOsapiUtility_strncpy(info->name, maximum, name, maximum) == nullptr) {
        ORX_ERROR(
            FAILED_TO_COPY, "name for application resource (name = %s)\n", name != nullptr ? name : "(null)");
        return;
    }
    std::memcpy(info->guid, application.monitoringResource.guid, sizeof info->guid);
    info->classId = ORX_MONITORING_APPLICATION_CLASS_ID;
}

void ORX_MonitoringForwarderApplicationResource_getOpaqueResourceAccessor(
    ORX_MonitoringOpaqueResourceAccessor* accessor) {
    ORX_LEAVE_IF(accessor == ORX_NULL);
    *accessor = {.getNextSiblingFunction = ORX_MonitoringForwarderApplicationResource_getNextSibling,
        .getFirstChildFunction = ORX_MonitoringForwarderApplicationResource_getFirstChild,
        .getParentFunction = ORX_MonitoringForwarderApplicationResource_getParent,
        .findByGuidFunction = ORX_MonitoringForwarderApplicationResource_findByGuid,
        .getInfoFunction = ORX_MonitoringForwarderApplicationResource_getInfo};
}

int ORX_MonitoringForwarderApplicationRegistry_assertMatchingDestinations(
    ORX_MonitoringForwarderApplicationRegistry* self, DDS_InstanceHandleSeq* destinationSeq,
    const char* resourceNameExpr) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(destinationSeq == ORX_NULL);
    ORX_FAIL_IF(resourceNameExpr == ORX_NULL);
    if (!giveRoom(destinationSeq))
        return 0;
    RegistryLock lock{self};
    ResourceSeq found;
    if (!lock.isHeld() || !findMatches(self, found, resourceNameExpr,
                              ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence)) {
        return 0;
    }
    for (DDS_Long i = 0; i < found.length(); ++i)
        if (!ORX_MonitoringForwarderApplicationResource_assertDestination(found.at(i), destinationSeq))
            return ORX_ERROR(FAILED_TO_GET, "Applications matching expression '%s'", resourceNameExpr);
    return found.finalize() && lock.unlock();
}

int ORX_MonitoringForwarderApplicationRegistry_findMatchingApplications(
    ORX_MonitoringForwarderApplicationRegistry* self,
    ORX_MonitoringForwarderApplicationResourcePtrSeq* appSeq, const char* resourceNameExpr) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(appSeq == ORX_NULL);
    ORX_FAIL_IF(resourceNameExpr == ORX_NULL);
    RegistryLock lock{self};
    ResourceSeq found;
    if (!lock.isHeld() || !findMatches(self, found, resourceNameExpr,
                              ORX_Monitoring_getMatchingResourcesToPathExpressionFromSequence)) {
        return 0;
    }
    const DDS_Long count = found.length();
    if (!ORX_MonitoringForwarderApplicationResourcePtrSeq_ensure_length(appSeq, count, count))
        return ORX_ERROR(FAILED_TO_GET, "Applications matching expression '%s'", resourceNameExpr);
    for (DDS_Long i = 0; i < count; ++i)
        *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(appSeq, i) = found.at(i);
    return found.finalize() && lock.unlock();
}
