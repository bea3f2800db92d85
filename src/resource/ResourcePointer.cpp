// Bare pointers to resources as elements of a sequence.
#include "src/log/Log.hpp"
#include "src/resource/MonitoringResource.h"
#include "zddsc/sequence_define.h"

namespace {
constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;
constexpr DDS_SequenceElement pointerElement = DDS_SEQUENCE_ELEMENT_PLAIN(ORX_MonitoringResourcePtr);
} // namespace

int ORX_MonitoringResourcePtr_initialize(ORX_MonitoringResourcePtr* self) {
    return ORX_MonitoringResourcePtr_initialize_ex(self, DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE);
}

int ORX_MonitoringResourcePtr_initialize_ex(
    ORX_MonitoringResourcePtr* self, DDS_Boolean /*allocatePointers*/, DDS_Boolean /*allocateMemory*/) {
    ORX_FAIL_IF(self == ORX_NULL);
    *self = nullptr;
    return 1;
}

int ORX_MonitoringResourcePtr_finalize(ORX_MonitoringResourcePtr* self) {
    return ORX_MonitoringResourcePtr_finalize_ex(self, DDS_BOOLEAN_TRUE);
}

int ORX_MonitoringResourcePtr_finalize_ex(ORX_MonitoringResourcePtr* self, DDS_Boolean /*deletePointers*/) {
    ORX_FAIL_IF(self == ORX_NULL);
    *self = nullptr;
    return 1;
}

int ORX_MonitoringResourcePtr_copy(ORX_MonitoringResourcePtr* self, const ORX_MonitoringResourcePtr* source) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(source == ORX_NULL);
    *self = *source;
    return 1;
}

DDS_SEQUENCE_DEFINE(ORX_MonitoringResourcePtrSeq, ORX_MonitoringResourcePtr, &pointerElement)
