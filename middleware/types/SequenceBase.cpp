// The C side of sequences: what every generated family calls.
#include <algorithm>

#include "middleware/types/Programs.hpp"
#include "middleware/types/Sequence.hpp"
#include "middleware/types/Values.hpp"

using namespace zdds::types;

namespace {

// False when the programs of the element type cannot be made.
bool find(const DDS_SequenceElement* element, Element* found) {
    *found = {element->size, nullptr, element};
    if (element->type == nullptr)
        return true;
    found->shape = shapeOf(element->type);
    return found->shape != nullptr && found->shape->size == element->size;
}

} // namespace

DDS_Boolean DDS_SequenceBase_initialize(DDS_SequenceBase* self) {
    if (self == nullptr)
        return DDS_BOOLEAN_FALSE;
    std::memset(static_cast<void*>(self), 0, sizeof *self);
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SequenceBase_finalize(const DDS_SequenceElement* element, DDS_SequenceBase* self) {
    Element found;
    if (self == nullptr)
        return DDS_BOOLEAN_FALSE;
    if (self->_contiguous_buffer == nullptr) {
        forgetBuffer(*self);
        return DDS_BOOLEAN_TRUE;
    }
    if (!find(element, &found))
        return DDS_BOOLEAN_FALSE;
    finalizeSequence(found, *self, false);
    return DDS_BOOLEAN_TRUE;
}

DDS_Long DDS_SequenceBase_get_length(const DDS_SequenceBase* self) {
    return self == nullptr ? 0 : static_cast<DDS_Long>(self->_length);
}

DDS_Boolean DDS_SequenceBase_set_length(
    const DDS_SequenceElement* element, DDS_SequenceBase* self, DDS_Long length) {
    return DDS_SequenceBase_ensure_length(element, self, length, length);
}

DDS_Boolean DDS_SequenceBase_ensure_length(
    const DDS_SequenceElement* element, DDS_SequenceBase* self, DDS_Long length, DDS_Long maximum) {
    if (self == nullptr || length < 0 || maximum < length)
        return DDS_BOOLEAN_FALSE;
    const auto wanted = static_cast<uint32_t>(length);
    if (wanted > self->_maximum) {
        Element found;
        const uint32_t limit = absoluteMaximum(*self);
        if (self->_loaned || wanted > limit || !find(element, &found))
            return DDS_BOOLEAN_FALSE;
        // The caller's maximum is a hint below half as much again as there is, so that appending stays cheap.
        const uint64_t growth = self->_maximum + uint64_t{self->_maximum} / 2;
        const uint64_t room =
            std::min<uint64_t>(std::max<uint64_t>(growth, static_cast<uint32_t>(maximum)), limit);
        if (!resizeBuffer(found, *self, room, {}) && !resizeBuffer(found, *self, wanted, {}))
            return DDS_BOOLEAN_FALSE;
    }
    self->_length = wanted;
    return DDS_BOOLEAN_TRUE;
}

DDS_Long DDS_SequenceBase_get_maximum(const DDS_SequenceBase* self) {
    return self == nullptr ? 0 : static_cast<DDS_Long>(self->_maximum);
}

DDS_Boolean DDS_SequenceBase_set_maximum(
    const DDS_SequenceElement* element, DDS_SequenceBase* self, DDS_Long maximum) {
    Element found;
    return self != nullptr && maximum >= 0 && static_cast<uint32_t>(maximum) >= self->_length &&
           !self->_loaned && find(element, &found) &&
           resizeBuffer(found, *self, static_cast<uint32_t>(maximum), {});
}

DDS_Boolean DDS_SequenceBase_set_absolute_maximum(DDS_SequenceBase* self, DDS_Long maximum) {
    if (self == nullptr || maximum < 0 || static_cast<uint32_t>(maximum) < self->_maximum)
        return DDS_BOOLEAN_FALSE;
    self->_absolute_maximum = static_cast<uint32_t>(maximum);
    return DDS_BOOLEAN_TRUE;
}

void* DDS_SequenceBase_get_reference(
    const DDS_SequenceElement* element, const DDS_SequenceBase* self, DDS_Long index) {
    if (self == nullptr || index < 0 || static_cast<uint32_t>(index) >= self->_length)
        return nullptr;
    return elementAt({element->size, nullptr, element}, *self, static_cast<uint32_t>(index));
}

DDS_Boolean DDS_SequenceBase_copy(
    const DDS_SequenceElement* element, DDS_SequenceBase* self, const DDS_SequenceBase* source) {
    Element found;
    return self != nullptr && source != nullptr && find(element, &found) &&
           copySequence(found, *self, *source, {});
}

DDS_Boolean DDS_SequenceBase_copy_no_alloc(
    const DDS_SequenceElement* element, DDS_SequenceBase* self, const DDS_SequenceBase* source) {
    return self != nullptr && source != nullptr && source->_length <= self->_maximum &&
           DDS_SequenceBase_copy(element, self, source);
}

DDS_Boolean DDS_SequenceBase_from_array(
    const DDS_SequenceElement* element, DDS_SequenceBase* self, const void* array, DDS_Long length) {
    if (length < 0 || (array == nullptr && length > 0))
        return DDS_BOOLEAN_FALSE;
    DDS_SequenceBase source{};
    source._contiguous_buffer = const_cast<void*>(array);
    source._length = source._maximum = static_cast<uint32_t>(length);
    return DDS_SequenceBase_copy(element, self, &source);
}

DDS_Boolean DDS_SequenceBase_to_array(
    const DDS_SequenceElement* element, const DDS_SequenceBase* self, void* array, DDS_Long length) {
    Element found;
    if (self == nullptr || length < 0 || static_cast<uint32_t>(length) > self->_length ||
        (array == nullptr && length > 0) || !find(element, &found))
        return DDS_BOOLEAN_FALSE;
    for (uint32_t i = 0; i < static_cast<uint32_t>(length); ++i)
        if (!copyElement(found, static_cast<char*>(array) + i * found.size, elementAt(found, *self, i), {}))
            return DDS_BOOLEAN_FALSE;
    return DDS_BOOLEAN_TRUE;
}

namespace {

bool mayLend(const DDS_SequenceBase* self, const void* buffer, DDS_Long length, DDS_Long maximum) {
    return self != nullptr && !self->_loaned && self->_maximum == 0 && length >= 0 && maximum >= length &&
           static_cast<uint32_t>(maximum) <= absoluteMaximum(*self) && (buffer != nullptr || maximum == 0);
}

} // namespace

DDS_Boolean DDS_SequenceBase_loan_contiguous(
    DDS_SequenceBase* self, void* buffer, DDS_Long length, DDS_Long maximum) {
    if (!mayLend(self, buffer, length, maximum))
        return DDS_BOOLEAN_FALSE;
    self->_contiguous_buffer = buffer;
    self->_length = static_cast<uint32_t>(length);
    self->_maximum = static_cast<uint32_t>(maximum);
    self->_loaned = DDS_BOOLEAN_TRUE;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SequenceBase_loan_discontiguous(
    DDS_SequenceBase* self, void** buffer, DDS_Long length, DDS_Long maximum) {
    if (!mayLend(self, buffer, length, maximum))
        return DDS_BOOLEAN_FALSE;
    self->_discontiguous_buffer = buffer;
    self->_length = static_cast<uint32_t>(length);
    self->_maximum = static_cast<uint32_t>(maximum);
    self->_loaned = DDS_BOOLEAN_TRUE;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SequenceBase_unloan(DDS_SequenceBase* self) {
    if (self == nullptr || !self->_loaned)
        return DDS_BOOLEAN_FALSE;
    forgetBuffer(*self);
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SequenceBase_has_ownership(const DDS_SequenceBase* self) {
    return self != nullptr && !self->_loaned;
}

void* DDS_SequenceBase_get_contiguous_buffer(const DDS_SequenceBase* self) {
    return self == nullptr ? nullptr : self->_contiguous_buffer;
}

void** DDS_SequenceBase_get_discontiguous_buffer(const DDS_SequenceBase* self) {
    return self == nullptr ? nullptr : self->_discontiguous_buffer;
}

DDS_Boolean DDS_SequenceBase_get_element_pointers_allocation(const DDS_SequenceBase* self) {
    return self != nullptr && !self->_element_pointers_not_allocated;
}

DDS_Boolean DDS_SequenceBase_set_element_pointers_allocation(DDS_SequenceBase* self, DDS_Boolean allocate) {
    if (self == nullptr || self->_maximum != 0)
        return DDS_BOOLEAN_FALSE;
    self->_element_pointers_not_allocated = !allocate;
    return DDS_BOOLEAN_TRUE;
}

const DDS_TypeAllocationParams_t* DDS_SequenceBase_get_element_allocation_params(
    const DDS_SequenceBase* self) {
    if (self == nullptr)
        return nullptr;
    return isSet(self->_element_allocation) ? &self->_element_allocation : &defaultAllocation;
}

DDS_Boolean DDS_SequenceBase_set_element_allocation_params(
    DDS_SequenceBase* self, const DDS_TypeAllocationParams_t* params) {
    if (self == nullptr || params == nullptr || self->_maximum != 0)
        return DDS_BOOLEAN_FALSE;
    self->_element_allocation = *params;
    return DDS_BOOLEAN_TRUE;
}

const DDS_TypeDeallocationParams_t* DDS_SequenceBase_get_element_deallocation_params(
    const DDS_SequenceBase* self) {
    if (self == nullptr)
        return nullptr;
    const DDS_TypeDeallocationParams_t& own = self->_element_deallocation;
    return own.delete_pointers || own.delete_optional_members ? &own : &defaultDeallocation;
}

DDS_Boolean DDS_SequenceBase_set_element_deallocation_params(
    DDS_SequenceBase* self, const DDS_TypeDeallocationParams_t* params) {
    if (self == nullptr || params == nullptr || self->_maximum != 0)
        return DDS_BOOLEAN_FALSE;
    self->_element_deallocation = *params;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SequenceBase_new_buffer_and_loan_w_memory_manager(const DDS_SequenceElement* element,
    DDS_SequenceBase* self, REDAInlineMemory** memoryManager, DDS_Long length, DDS_Long maximum) {
    Element found;
    if (memoryManager == nullptr || !mayLend(self, memoryManager, length, maximum) ||
        !find(element, &found) ||
        !lendFromArena(found, *self, static_cast<uint32_t>(maximum), {memoryManager}))
        return DDS_BOOLEAN_FALSE;
    self->_length = static_cast<uint32_t>(length);
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SequenceBase_copy_w_memory_manager(const DDS_SequenceElement* element, DDS_SequenceBase* self,
    REDAInlineMemory** memoryManager, const DDS_SequenceBase* source) {
    Element found;
    return self != nullptr && memoryManager != nullptr && source != nullptr && find(element, &found) &&
           copySequence(found, *self, *source, {memoryManager});
}

DDS_Boolean DDS_SequenceBase_unloan_and_finalize_w_memory_manager(
    const DDS_SequenceElement* element, DDS_SequenceBase* self) {
    Element found;
    if (self == nullptr || !find(element, &found))
        return DDS_BOOLEAN_FALSE;
    finalizeSequence(found, *self, true);
    return DDS_BOOLEAN_TRUE;
}
