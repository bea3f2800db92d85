// The participant that publishes for applications, with the list of them.
#include <climits>

#include "src/log/Log.hpp"
#include "src/resource/ApplicationResource.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

using Applications = ORX_MonitoringForwarderApplicationResourcePtrSeq;

ORX_MonitoringForwarderApplicationResourceImpl& implOf(
    ORX_MonitoringForwarderApplicationResource* application) {
    return *reinterpret_cast<ORX_MonitoringForwarderApplicationResourceImpl*>(application);
}

bool setLength(Applications& list, DDS_Long length) {
    if (!ORX_MonitoringForwarderApplicationResourcePtrSeq_set_length(&list, length)) {
        return ORX_ERROR(FAILED_TO_SET,
            "length (%d) for the application list of a Monitoring Participant with current length (%d)",
            length, ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&list));
    }
    return true;
}

bool ensureLength(Applications& list, DDS_Long length, DDS_Long maximum) {
    if (!ORX_MonitoringForwarderApplicationResourcePtrSeq_ensure_length(&list, length, maximum)) {
        return ORX_ERROR(FAILED_TO_SET,
            "length (%d) and maximum (%d) for the application list of a monitoring participant with current "
            "length (%d) and current maximum (%d)",
            length, maximum, ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&list),
            ORX_MonitoringForwarderApplicationResourcePtrSeq_get_maximum(&list));
    }
    return true;
}

} // namespace

int ORX_MonitoringForwarderMonitoringParticipant_initialize(
    ORX_MonitoringForwarderMonitoringParticipant* self, const DDS_InstanceHandle_t* publicationHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(publicationHandle == ORX_NULL);
    *self = ORX_MonitoringForwarderMonitoringParticipant{};
    if (!ORX_MonitoringForwarderApplicationResourcePtrSeq_initialize(&self->applicationsList))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "application list in the Forwarder Monitoring Participant");
    if (!ensureLength(self->applicationsList, 1, 1) || !setLength(self->applicationsList, 0)) {
        ORX_MonitoringForwarderApplicationResourcePtrSeq_finalize(&self->applicationsList);
        return 0;
    }
    DDS_InstanceHandle_copy(&self->publicationHandle, publicationHandle);
    return 1;
}

void ORX_MonitoringForwarderMonitoringParticipant_finalize(
    ORX_MonitoringForwarderMonitoringParticipant* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    for (DDS_Long i = ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&self->applicationsList);
         i-- > 0;) {
        auto* application =
            *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(&self->applicationsList, i);
        ORX_MonitoringForwarderMonitoringParticipant_removeApplication(
            implOf(application).monitoringParticipant, application);
    }
    ORX_MonitoringForwarderApplicationResourcePtrSeq_finalize(&self->applicationsList);
    self->publicationHandle = DDS_HANDLE_NIL;
    self->serviceRequestReaderHandle = DDS_HANDLE_NIL;
}

int ORX_MonitoringForwarderMonitoringParticipant_addApplication(
    ORX_MonitoringForwarderMonitoringParticipant* self,
    ORX_MonitoringForwarderApplicationResource* application) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(application == ORX_NULL);
    Applications& list = self->applicationsList;
    const DDS_Long length = ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&list);
    const DDS_Long maximum = ORX_MonitoringForwarderApplicationResourcePtrSeq_get_maximum(&list);
    if (length == INT_MAX) {
        return ORX_ERROR(FAILED_TO_ADD,
            "application. The application registry reached the limit (%d) of managed applications.", INT_MAX);
    }
    const DDS_Long doubled = maximum > INT_MAX / 2 ? INT_MAX : maximum * 2;
    if (length + 1 <= maximum ? !setLength(list, length + 1) : !ensureLength(list, length + 1, doubled))
        return 0;
    *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(&list, length) = application;
    implOf(application).monitoringParticipant = self;
    implOf(application).indexInMonitoringParticipant = length;
    return 1;
}

int ORX_MonitoringForwarderMonitoringParticipant_removeApplication(
    ORX_MonitoringForwarderMonitoringParticipant* self,
    ORX_MonitoringForwarderApplicationResource* application) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(application == ORX_NULL);
    auto* applicationImpl = &implOf(application);
    const DDS_Long length =
        ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&self->applicationsList);
    ORX_FAIL_IF(applicationImpl->indexInMonitoringParticipant >= length);
    ORX_FAIL_IF(applicationImpl->indexInMonitoringParticipant == -1);
    const DDS_Long index = applicationImpl->indexInMonitoringParticipant;
    if (index != length - 1) {
        auto* last = *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(
            &self->applicationsList, length - 1);
        *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(&self->applicationsList, index) =
            last;
        implOf(last).indexInMonitoringParticipant = index;
        applicationImpl->indexInMonitoringParticipant = -1;
        applicationImpl->monitoringParticipant = nullptr;
    }
    return setLength(self->applicationsList, length - 1);
}

DDS_InstanceHandle_t* ORX_MonitoringForwarderMonitoringParticipant_getServiceRequestReaderHandle(
    ORX_MonitoringForwarderMonitoringParticipant* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return &self->serviceRequestReaderHandle;
}

int ORX_MonitoringForwarderMonitoringParticipant_compare(const void* left, const void* right) {
    if (left == nullptr || right == nullptr)
        return static_cast<int>(left != nullptr) - static_cast<int>(right != nullptr);
    return DDS_GUID_compare(
        &static_cast<const ORX_MonitoringForwarderMonitoringParticipant*>(left)->participantGuid,
        &static_cast<const ORX_MonitoringForwarderMonitoringParticipant*>(right)->participantGuid);
}
