#include "src/resource/ApplicationResource.h"

#include <cstring>

#include "src/log/Log.hpp"
#include "zddsc/sequence_define.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;
constexpr DDS_SequenceElement pointerElement =
    DDS_SEQUENCE_ELEMENT_PLAIN(ORX_MonitoringForwarderApplicationResourcePtr);

using Impl = ORX_MonitoringForwarderApplicationResourceImpl;

const Impl& implOf(const ORX_MonitoringForwarderApplicationResource* self) {
    return *reinterpret_cast<const Impl*>(self);
}
Impl& implOf(ORX_MonitoringForwarderApplicationResource* self) {
    return *reinterpret_cast<Impl*>(self);
}

bool fill(Impl& self, const DDS_Monitoring_Resource* monitoringResource, const char* fullyQualifiedName) {
    if (!DDS_Monitoring_Resource_initialize(&self.monitoringResource) ||
        !DDS_Monitoring_Resource_copy(&self.monitoringResource, monitoringResource)) {
        return ORX_ERROR(
            FAILED_TO_COPY, "monitoring resource for application resource (name = %s)\n", fullyQualifiedName);
    }
    if (DDS_String_replace(&self.parent.fullyQualifiedName, fullyQualifiedName) == nullptr) {
        return ORX_ERROR(
            FAILED_TO_COPY, "fully qualified name for application resource (name = %s)", fullyQualifiedName);
    }
    if (!DDS_Monitoring_LoggingConfig_initialize(&self.parent.loggingConfig))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "logging config for application resource\n");
    return true;
}

} // namespace

int ORX_MonitoringForwarderApplicationResourcePtr_initialize(
    ORX_MonitoringForwarderApplicationResourcePtr* self) {
    return ORX_MonitoringForwarderApplicationResourcePtr_initialize_ex(
        self, DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE);
}

int ORX_MonitoringForwarderApplicationResourcePtr_initialize_ex(
    ORX_MonitoringForwarderApplicationResourcePtr* self, DDS_Boolean /*allocatePointers*/,
    DDS_Boolean /*allocateMemory*/) {
    ORX_FAIL_IF(self == ORX_NULL);
    *self = nullptr;
    return 1;
}

int ORX_MonitoringForwarderApplicationResourcePtr_finalize(
    ORX_MonitoringForwarderApplicationResourcePtr* self) {
    return ORX_MonitoringForwarderApplicationResourcePtr_finalize_ex(self, DDS_BOOLEAN_TRUE);
}

int ORX_MonitoringForwarderApplicationResourcePtr_finalize_ex(
    ORX_MonitoringForwarderApplicationResourcePtr* self, DDS_Boolean /*deletePointers*/) {
    ORX_FAIL_IF(self == ORX_NULL);
    *self = nullptr;
    return 1;
}

int ORX_MonitoringForwarderApplicationResourcePtr_copy(ORX_MonitoringForwarderApplicationResourcePtr* self,
    const ORX_MonitoringForwarderApplicationResourcePtr* source) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(source == ORX_NULL);
    *self = *source;
    return 1;
}

DDS_SEQUENCE_DEFINE(ORX_MonitoringForwarderApplicationResourcePtrSeq,
    ORX_MonitoringForwarderApplicationResourcePtr, &pointerElement)

int ORX_MonitoringForwarderApplicationResource_initialize(ORX_MonitoringForwarderApplicationResource* self,
    const DDS_Monitoring_Resource* monitoringResource, const char* fullyQualifiedName,
    const struct ORX_MonitoringForwarderApplicationRegistry* registry) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(monitoringResource == ORX_NULL);
    ORX_FAIL_IF(fullyQualifiedName == ORX_NULL);
    if (fullyQualifiedName[0] == '\0') {
        return ORX_PRECONDITION_FAILED(
            "\"((fullyQualifiedName) == ((void *)0) ? 0 : strlen(fullyQualifiedName)) == 0\"\n");
    }
    ORX_FAIL_IF(registry == ORX_NULL);
    Impl& impl = implOf(self);
    impl = Impl{};
    impl.indexInMonitoringParticipant = -1;
    impl.registry = registry;
    if (fill(impl, monitoringResource, fullyQualifiedName))
        return 1;
    ORX_MonitoringForwarderApplicationResource_finalize(self);
    return 0;
}

void ORX_MonitoringForwarderApplicationResource_finalize(ORX_MonitoringForwarderApplicationResource* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    Impl& impl = implOf(self);
    DDS_Monitoring_Resource_finalize(&impl.monitoringResource);
    DDS_Monitoring_LoggingConfig_finalize(&self->loggingConfig);
    DDS_String_free(self->fullyQualifiedName);
    self->fullyQualifiedName = nullptr;
}

int ORX_MonitoringForwarderApplicationResource_setLoggingConfig(
    ORX_MonitoringForwarderApplicationResource* self, const DDS_Monitoring_LoggingConfig* loggingConfig) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(loggingConfig == ORX_NULL);
    if (!DDS_Monitoring_LoggingConfig_copy(&self->loggingConfig, loggingConfig))
        return ORX_ERROR(FAILED_TO_COPY, "logging config for application resource\n");
    return 1;
}

int ORX_MonitoringForwarderApplicationResource_getLoggingConfig(
    const ORX_MonitoringForwarderApplicationResource* self, DDS_Monitoring_LoggingConfig* loggingConfig) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(loggingConfig == ORX_NULL);
    if (!DDS_Monitoring_LoggingConfig_copy(loggingConfig, &self->loggingConfig))
        return ORX_ERROR(FAILED_TO_COPY, "logging config for application resource\n");
    return 1;
}

int ORX_MonitoringForwarderApplicationResource_assertDestination(
    const ORX_MonitoringForwarderApplicationResource* self, DDS_InstanceHandleSeq* destinationSeq) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(destinationSeq == ORX_NULL);
    const Impl& impl = implOf(self);
    ORX_FAIL_IF(impl.monitoringParticipant == ORX_NULL);
    const DDS_InstanceHandle_t& destination = impl.monitoringParticipant->serviceRequestReaderHandle;
    const DDS_Long length = DDS_InstanceHandleSeq_get_length(destinationSeq);
    for (DDS_Long i = 0; i < length; ++i)
        if (DDS_InstanceHandle_compare(
                DDS_InstanceHandleSeq_get_reference(destinationSeq, i), &destination) == 0)
            return 1;
    const DDS_Long maximum = DDS_InstanceHandleSeq_get_maximum(destinationSeq);
    if (length == maximum) {
        if (!DDS_InstanceHandleSeq_ensure_length(destinationSeq, length + 1, maximum * 2)) {
            return ORX_ERROR(FAILED_TO_SET, "Destination sequence length (%d) max (%d) using ensure_length",
                length + 1, maximum * 2);
        }
    } else if (!DDS_InstanceHandleSeq_set_length(destinationSeq, length + 1)) {
        return ORX_ERROR(FAILED_TO_SET, "Destination sequence length (%d) max (%d)", length + 1, maximum);
    }
    DDS_InstanceHandle_copy(DDS_InstanceHandleSeq_get_reference(destinationSeq, length), &destination);
    return 1;
}

int ORX_MonitoringForwarderApplicationResource_compare(const void* left, const void* right) {
    const int order =
        std::strcmp(static_cast<const ORX_MonitoringForwarderApplicationResource*>(left)->fullyQualifiedName,
            static_cast<const ORX_MonitoringForwarderApplicationResource*>(right)->fullyQualifiedName);
    return order != 0 ? order : ORX_MonitoringForwarderApplicationResource_compareGuid(left, right);
}

int ORX_MonitoringForwarderApplicationResource_compareGuid(const void* left, const void* right) {
    return std::memcmp(static_cast<const Impl*>(left)->monitoringResource.guid,
        static_cast<const Impl*>(right)->monitoringResource.guid, sizeof(DDS_Monitoring_GUID_t));
}
