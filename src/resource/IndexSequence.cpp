#include "src/resource/IndexSequence.h"

#include "src/log/Log.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// Position of the element, or the length.
DDS_Long find(const DDS_UnsignedLongSeq* self, DDS_UnsignedLong element) {
    const DDS_Long length = DDS_UnsignedLongSeq_get_length(self);
    DDS_Long position = 0;
    while (position < length && *DDS_UnsignedLongSeq_get_reference(self, position) != element)
        ++position;
    return position;
}

} // namespace

int DDS_UnsignedLongSeq_assertElement(DDS_UnsignedLongSeq* self, DDS_UnsignedLong element) {
    ORX_FAIL_IF(self == ORX_NULL);
    const DDS_Long length = DDS_UnsignedLongSeq_get_length(self);
    if (find(self, element) != length)
        return 1;
    if (!DDS_UnsignedLongSeq_ensure_length(self, length + 1, length + 1))
        return ORX_ERROR(FAILED_TO_SET, "Sequence length and maximum to %d", length + 1);
    *DDS_UnsignedLongSeq_get_reference(self, length) = element;
    return 1;
}

int DDS_UnsignedLongSeq_removeElement(DDS_UnsignedLongSeq* self, DDS_UnsignedLong element) {
    ORX_FAIL_IF(self == ORX_NULL);
    const DDS_Long length = DDS_UnsignedLongSeq_get_length(self);
    const DDS_Long position = find(self, element);
    if (position == length)
        return 1;
    *DDS_UnsignedLongSeq_get_reference(self, position) = *DDS_UnsignedLongSeq_get_reference(self, length - 1);
    if (!DDS_UnsignedLongSeq_set_length(self, length - 1))
        return ORX_ERROR(FAILED_TO_SET, "Sequence length to %d", length - 1);
    return 1;
}
