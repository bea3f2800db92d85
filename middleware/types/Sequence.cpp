#include "middleware/types/Sequence.hpp"

#include <algorithm>

#include "middleware/types/Programs.hpp"
#include "middleware/types/Values.hpp"

namespace zdds::types {
namespace {

constexpr uint32_t defaultAbsoluteMaximum = 2147483647;

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
    const DDS_TypeDeallocationParams_t& params, const Releasing& how) {
    if (isPlain(element))
        return;
    for (size_t i = 0; i < count; ++i, first += element.size) {
        if (element.shape != nullptr)
            finalizeValue(*element.shape, first, params, how);
        else
            element.custom->finalize(first, &params, how.isArena);
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

} // namespace

uint32_t absoluteMaximum(const DDS_SequenceBase& self) {
    return self._absolute_maximum == 0 ? defaultAbsoluteMaximum : self._absolute_maximum;
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

bool resizeBuffer(const Element& element, DDS_SequenceBase& self, size_t maximum, const Memory& memory,
    const DDS_TypeAllocationParams_t* params) {
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

void finalizeSequence(const Element& element, DDS_SequenceBase& self, const Releasing& how) {
    if (self._contiguous_buffer != nullptr && (!self._loaned || self._arena || how.isArena)) {
        const Releasing from = self._loaned ? Releasing(true) : how.isArena ? Releasing(false) : how;
        // What a caller lent has `length` elements that live; the maximum is only room.
        const uint32_t live = self._loaned && !self._arena ? self._length : self._maximum;
        finalizeElements(
            element, static_cast<char*>(self._contiguous_buffer), live, elementDeallocation(self), from);
        Memory::release(self._contiguous_buffer, from);
    }
    forgetBuffer(self);
}

} // namespace zdds::types
