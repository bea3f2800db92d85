// Life of values: walks of a shape.
//
// Threads: a value belongs to its caller. Errors: false when memory is out; the value stays initialized.
#ifndef ZDDSC_TYPES_VALUES_HPP
#define ZDDSC_TYPES_VALUES_HPP

#include "middleware/types/Memory.hpp"
#include "middleware/types/Shape.hpp"
#include "zddsc/sequence.h"

namespace zdds::types {

inline constexpr DDS_TypeAllocationParams_t defaultAllocation = DDS_TYPE_ALLOCATION_PARAMS_DEFAULT;
inline constexpr DDS_TypeDeallocationParams_t defaultDeallocation = DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT;

// For values that are read at once: their strings need not be made twice. Of a union only one arm is read.
inline const DDS_TypeAllocationParams_t& bareAllocation(const Shape& shape) {
    static constexpr DDS_TypeAllocationParams_t bare = {
        DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_FALSE};
    return shape.hasArms ? defaultAllocation : bare;
}

// Raw memory becomes what the default value is without texts and references.
inline void copyImage(const Shape& shape, void* value) {
    if (shape.image == nullptr)
        std::memset(value, 0, shape.size);
    else
        std::memcpy(value, shape.image, shape.size);
}
// Makes what the image does not cover. On failure some of it is there.
bool initializeOwners(
    const Shape& shape, void* value, const DDS_TypeAllocationParams_t& params, const Memory& memory);
// Raw memory becomes the default value. On failure nothing is left allocated, and the value can be finalized.
bool initializeValue(
    const Shape& shape, void* value, const DDS_TypeAllocationParams_t& params, const Memory& memory);
void finalizeValue(
    const Shape& shape, void* value, const DDS_TypeDeallocationParams_t& params, const Releasing& how);
void finalizeOptionalMembers(const Shape& shape, void* value, const DDS_TypeDeallocationParams_t& params);
// An initialized value gets its defaults and keeps what memory it has, but for optional members.
bool resetValue(const Shape& shape, void* value, const Memory& memory);
// The same for what lies in [begin, end) of the value, which are bounds of members.
bool resetMembers(const Shape& shape, void* value, size_t begin, size_t end, const Memory& memory);
bool copyValue(const Shape& shape, void* destination, const void* source, const Memory& memory);

// *destination becomes the text, in place when there is room; null counts as "".
bool assignText(char** destination, const char* text, size_t length, const Memory& memory);
// A new default value; null on failure.
void* createValue(const Shape& shape, const DDS_TypeAllocationParams_t& params, const Memory& memory);
// Finalizes and frees *pointer, and makes it null.
void destroyValue(
    const Shape& shape, void** pointer, const DDS_TypeDeallocationParams_t& params, const Releasing& how);
// The discriminator changes: the arm selected before goes back to its defaults.
bool switchArm(const Arms& arms, void* unionValue, DDS_LongLong discriminator, const Memory& memory);

} // namespace zdds::types

#endif
