// The one implementation of sequences, for use inside the engine.
#ifndef ZDDSC_TYPES_SEQUENCE_HPP
#define ZDDSC_TYPES_SEQUENCE_HPP

#include "middleware/types/Memory.hpp"
#include "middleware/types/Shape.hpp"
#include "zddsc/sequence_define.h"

namespace zdds::types {

// An element type: a shape, or a caller's operations; neither for plain bytes.
struct Element {
    size_t size;
    const Shape* shape;
    const DDS_SequenceElement* custom;
};
inline Element elementOf(const Shape& shape) {
    return {shape.size, &shape, nullptr};
}

inline char* elementAt(const Element& element, const DDS_SequenceBase& sequence, size_t index) {
    if (sequence._discontiguous_buffer != nullptr)
        return static_cast<char*>(sequence._discontiguous_buffer[index]);
    return static_cast<char*>(sequence._contiguous_buffer) + index * element.size;
}

// Room for `length` elements that the caller is about to overwrite, exactly unless there is more. Sets no
// length. What is new is made by `params`, if given, instead of the sequence's own.
bool reserveElements(const Element& element, DDS_SequenceBase& sequence, size_t length, const Memory& memory,
    const DDS_TypeAllocationParams_t* params = nullptr);
// Finalizes the elements from `maximum` on, for good. Only for a sequence that owns its buffer on the heap;
// otherwise nothing happens.
void dropElements(const Element& element, DDS_SequenceBase& sequence, uint32_t maximum);
bool copySequence(const Element& element, DDS_SequenceBase& destination, const DDS_SequenceBase& source,
    const Memory& memory);
// Releases what the sequence owns, in the way that it came; a loan on the caller's memory is dropped, unless
// how.isArena: then it is taken for a buffer of an arena, elements included. The sequence is empty afterwards
// and keeps its settings.
void finalizeSequence(const Element& element, DDS_SequenceBase& sequence, const Releasing& how);

// Are there any? All 0 stands for the default.
inline bool isSet(const DDS_TypeAllocationParams_t& params) {
    return params.allocate_pointers || params.allocate_optional_members || params.allocate_memory;
}
uint32_t absoluteMaximum(const DDS_SequenceBase& sequence);
bool copyElement(const Element& element, void* destination, const void* source, const Memory& memory);
// Empty and without a buffer; the settings stay.
void forgetBuffer(DDS_SequenceBase& sequence);
// A new buffer of an arena, lent to a sequence that has none.
bool lendFromArena(const Element& element, DDS_SequenceBase& sequence, size_t maximum, const Memory& memory);
// Resizes a buffer of the heap that the sequence owns, to exactly `maximum` elements. What is new is made by
// `params`, if given, instead of the sequence's own.
bool resizeBuffer(const Element& element, DDS_SequenceBase& sequence, size_t maximum, const Memory& memory,
    const DDS_TypeAllocationParams_t* params = nullptr);

} // namespace zdds::types

#endif
