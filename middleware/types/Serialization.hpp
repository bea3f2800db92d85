// Samples with their encapsulation header, as they travel.
#ifndef ZDDSC_TYPES_SERIALIZATION_HPP
#define ZDDSC_TYPES_SERIALIZATION_HPP

#include <cstddef>
#include <cstdint>

#include "zddsc/type_descriptor.h"

namespace zdds::types {

// What the bytes of one sample may make the reader allocate.
constexpr size_t memoryPerByte = 32;
constexpr size_t memoryPerSample = 16384;

// The size with the header and the padding at the end; 0 when the value cannot be serialized.
size_t serializedSize(const DDS_TypeDescriptor& type, uint16_t representation, const void* value);
// Into a buffer of the heap that grows: *buffer of *capacity bytes.
bool serialize(const DDS_TypeDescriptor& type, uint16_t representation, const void* value, char** buffer,
    size_t* capacity, size_t* length);
// Into a buffer of *length bytes; then *length is what was written.
bool serializeInto(
    const DDS_TypeDescriptor& type, uint16_t representation, const void* value, char* buffer, size_t* length);
// A new value on the heap; null on failure. Then *isOutOfMemory (may be null) tells whether the heap refused,
// rather than that the bytes are malformed or want more than they may.
void* createFrom(
    const DDS_TypeDescriptor& type, const char* buffer, size_t length, bool* isOutOfMemory = nullptr);
bool deserialize(const DDS_TypeDescriptor& type, void* value, const char* buffer, size_t length);

} // namespace zdds::types

#endif
