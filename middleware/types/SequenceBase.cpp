#include "middleware/types/Sequence.hpp"

#include <algorithm>

#include "middleware/types/Programs.hpp"
#include "middleware/types/Values.hpp"

namespace zdds::types {
namespace {

constexpr uint32_t defaultAbsoluteMaximum = 2147483647;

uint32_t absoluteMaximum(const DDS_SequenceBase& self) {
    return self._absolute_maximum == 0 ? defaultAbsoluteMaximum : self._absolute_maximum;
}

bool isSet(const DDS_TypeAllocationParams_t& params) {
    return params.allocate_pointers || params.allocate_optional_members || params.allocate_memory;
}

DDS_TypeAllocationParams_t elementAllocation(const DDS_SequenceBase& self) {
    DDS_TypeAllocationParams_t params =
        isSet(self._element_allocation) ? self._element_allocation : defaultAllocation;
    // New elements are raw memory: there is nothing to keep in them.
    params.allocate_memory = DDS_BOOLEAN_TRUE;
    if (self._element_pointers_not_allocated)
        params.allocate_pointers = DDS_BOOLEAN_FALSE;
    return params;
}

DDS_TypeDeallocationParams_t elementDeallocation(const DDS_SequenceBase& self) {
    const DDS_TypeDeallocationParams_t& own = self._element_deallocation;
    DDS_TypeDeallocationParams_t params =
        own.delete_pointers || own.delete_optional_members ? own : defaultDeallocation;
    if (self._element_pointers_not_allocated)
        params.delete_pointers = DDS_BOOLEAN_FALSE;
    return params;
}

bool isPlain(const Element& element) {
    return element.shape != nullptr ? element.shape->isPlain()
                                    : element.custom == nullptr || element.custom->initialize == nullptr;
}

bool isReference(const Element& element) {
    return element.shape != nullptr && element.shape->opCount == 1 &&
           element.shape->ops[0].code == OpCode::reference;
}

void finalizeElements(const Element& element, char* first, size_t count,
    const DDS_TypeDeallocationParams_t& params, bool isArena) {
    if (isPlain(element))
        return;
    for (size_t i = 0; i < count; ++i, first += element.size) {
        if (element.shape != nullptr)
            finalizeValue(*element.shape, first, params, isArena);
        else
            element.custom->finalize(first, &params, isArena);
    }
}

bool initializeElements(const Element& element, char* first, size_t count, const DDS_SequenceBase& self,
    const Memory& memory, const DDS_TypeAllocationParams_t* given = nullptr) {
    if (isPlain(element) && (element.shape == nullptr || element.shape->image == nullptr)) {
        std::memset(first, 0, count * element.size);
        return true;
    }
    const DDS_TypeAllocationParams_t params = given != nullptr ? *given : elementAllocation(self);
    for (size_t i = 0; i < count; ++i) {
        char* at = first + i * element.size;
        if (element.shape != nullptr ? initializeValue(*element.shape, at, params, memory)
                                     : element.custom->initialize(at, &params, memory.arena) != 0)
            continue;
        finalizeElements(element, first, i, elementDeallocation(self), memory.arena != nullptr);
        return false;
    }
    return true;
}

bool copyElement(const Element& element, void* destination, const void* source, const Memory& memory) {
    if (isPlain(element)) {
        std::memcpy(destination, source, element.size);
        return true;
    }
    return element.shape != nullptr ? copyValue(*element.shape, destination, source, memory)
                                    : element.custom->copy(destination, source, memory.arena) != 0;
}

void forgetBuffer(DDS_SequenceBase& self) {
    self._contiguous_buffer = nullptr;
    self._discontiguous_buffer = nullptr;
    self._length = 0;
    self._maximum = 0;
    self._loaned = DDS_BOOLEAN_FALSE;
    self._arena = DDS_BOOLEAN_FALSE;
}

// A new buffer of an arena, lent to a sequence that has none.
bool lendFromArena(const Element& element, DDS_SequenceBase& self, size_t maximum, const Memory& memory) {
    if (maximum > absoluteMaximum(self) || maximum > INT32_MAX / element.size)
        return false;
    void* buffer = memory.allocate(maximum * element.size, 1, "sequence buffer");
    if (buffer == nullptr)
        return false;
    if (!initializeElements(element, static_cast<char*>(buffer), maximum, self, memory)) {
        Memory::release(buffer, true);
        return false;
    }
    self._contiguous_buffer = buffer;
    self._maximum = static_cast<uint32_t>(maximum);
    self._loaned = DDS_BOOLEAN_TRUE;
    self._arena = DDS_BOOLEAN_TRUE;
    return true;
}

// Resizes a buffer of the heap that the sequence owns, to exactly `maximum` elements.
bool resizeBuffer(const Element& element, DDS_SequenceBase& self, size_t maximum, const Memory& memory,
    const DDS_TypeAllocationParams_t* params = nullptr) {
    if (maximum > absoluteMaximum(self) || maximum > PTRDIFF_MAX / element.size)
        return false;
    if (maximum < self._maximum) {
        char* tail = static_cast<char*>(self._contiguous_buffer) + maximum * element.size;
        finalizeElements(element, tail, self._maximum - maximum, elementDeallocation(self), false);
        self._maximum = static_cast<uint32_t>(maximum);
        if (maximum == 0) {
            Memory::release(self._contiguous_buffer, false);
            self._contiguous_buffer = nullptr;
        } else { // A buffer that cannot shrink is large enough all the same.
            memory.reallocate(&self._contiguous_buffer, maximum * element.size, 1, "sequence buffer");
        }
        return true;
    }
    if (maximum == self._maximum)
        return true;
    const size_t alignment = element.shape != nullptr ? element.shape->alignment : 1;
    if (!memory.reallocate(&self._contiguous_buffer, maximum * element.size, alignment, "sequence buffer"))
        return false;
    char* tail = static_cast<char*>(self._contiguous_buffer) + self._maximum * element.size;
    if (!initializeElements(element, tail, maximum - self._maximum, self, memory, params)) {
        if (self._maximum == 0) { // An empty sequence owns no buffer.
            Memory::release(self._contiguous_buffer, false);
            self._contiguous_buffer = nullptr;
        }
        return false;
    }
    self._maximum = static_cast<uint32_t>(maximum);
    return true;
}

} // namespace

bool reserveElements(const Element& element, DDS_SequenceBase& self, size_t length, const Memory& memory,
    const DDS_TypeAllocationParams_t* params) {
    if (length <= self._maximum)
        return true;
    if (memory.arena == nullptr)
        return !self._loaned && resizeBuffer(element, self, length, memory, params);
    // In an arena a buffer does not grow. One that the caller lent is not replaced behind its back.
    if (self._loaned && !self._arena)
        return false;
    DDS_SequenceBase grown = self;
    forgetBuffer(grown);
    if (!lendFromArena(element, grown, length, memory))
        return false;
    finalizeSequence(element, self, true);
    self = grown;
    return true;
}

void dropElements(const Element& element, DDS_SequenceBase& self, uint32_t maximum) {
    if (self._loaned || maximum >= self._maximum)
        return;
    resizeBuffer(element, self, maximum, {});
    if (self._length > maximum)
        self._length = maximum;
}

bool copySequence(const Element& element, DDS_SequenceBase& destination, const DDS_SequenceBase& source,
    const Memory& memory) {
    if (&destination == &source)
        return true;
    if (!reserveElements(element, destination, source._length, memory))
        return false;
    // References to values of somebody else are copied as they are.
    const bool isPlainCopy =
        isPlain(element) || (destination._element_pointers_not_allocated && isReference(element));
    if (isPlainCopy && source._contiguous_buffer != nullptr && destination._contiguous_buffer != nullptr) {
        std::memcpy(destination._contiguous_buffer, source._contiguous_buffer, source._length * element.size);
    } else {
        for (uint32_t i = 0; i < source._length; ++i)
            if (!copyElement(isPlainCopy ? Element{element.size, nullptr, nullptr} : element,
                    elementAt(element, destination, i), elementAt(element, source, i), memory))
                return false;
    }
    destination._length = source._length;
    return true;
}

void finalizeSequence(const Element& element, DDS_SequenceBase& self, bool isArena) {
    if (self._contiguous_buffer != nullptr && (!self._loaned || self._arena || isArena)) {
        const bool fromArena = self._loaned;
        // What a caller lent has `length` elements that live; the maximum is only room.
        const uint32_t live = self._loaned && !self._arena ? self._length : self._maximum;
        finalizeElements(
            element, static_cast<char*>(self._contiguous_buffer), live, elementDeallocation(self), fromArena);
        Memory::release(self._contiguous_buffer, fromArena);
    }
    forgetBuffer(self);
}

} // namespace zdds::types

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
