#include "middleware/types/Serialization.hpp"

#include <algorithm>

#include "middleware/types/MaximumSize.hpp"
#include "middleware/types/WireReader.hpp"
#include "middleware/types/WireWriter.hpp"
#include "middleware/types/Xcdr.hpp"
#include "middleware/types/XcdrReader.hpp"
#include "middleware/types/XcdrWriter.hpp"
#include "zddsc/type_engine.h"

namespace zdds::types {
namespace {

constexpr uint32_t largestUnbounded = 2147483647;

// XCDR2, XCDR, or -1 for what the type does not allow.
[[gnu::always_inline]] inline int chooseRepresentation(
    const DDS_TypeDescriptor& type, uint16_t representation) {
    const bool allows1 = (type.representationMask & DDS_DATA_REPRESENTATION_MASK_XCDR) != 0;
    const bool allows2 = (type.representationMask & DDS_DATA_REPRESENTATION_MASK_XCDR2) != 0;
    if (representation == DDS_AUTO_DATA_REPRESENTATION)
        representation = allows2 ? DDS_XCDR2_DATA_REPRESENTATION : DDS_XCDR_DATA_REPRESENTATION;
    if (representation == DDS_XCDR2_DATA_REPRESENTATION && allows2)
        return DDS_XCDR2_DATA_REPRESENTATION;
    if (representation == DDS_XCDR_DATA_REPRESENTATION && allows1)
        return DDS_XCDR_DATA_REPRESENTATION;
    return -1;
}

Encapsulation encapsulationOf(const DDS_TypeDescriptor& type, bool isXcdr2) {
    return {isXcdr2, false, extensibilityOf(type)};
}

// Writes the header with the count of padding bytes, and what is behind it.
[[gnu::always_inline]] inline bool writeSample(
    const DDS_TypePrograms& programs, bool isXcdr2, const char* value, WriteBuffer& out) {
    size_t size;
    if (!out.room(encapsulationSize))
        return false;
    const char header[encapsulationSize] = {
        0, static_cast<char>(littleEndianIdentifier(*programs.type, isXcdr2))};
    std::memcpy(out.current(), header, sizeof header);
    out.advance(sizeof header);
    if (isXcdr2) {
        if (!writeWire(programs.wire, value, out))
            return false;
    } else if (!writeXcdr(programs, encapsulationOf(*programs.type, false), value, &out, &size)) {
        return false;
    }
    const size_t padding = paddingTo(out.position(), 4);
    if (!out.room(padding))
        return false;
    for (size_t i = 0; i < padding; ++i)
        out.current()[i] = 0;
    out.advance(padding);
    *out.at(3) = static_cast<char>(padding);
    return true;
}

} // namespace

size_t serializedSize(const DDS_TypeDescriptor& type, uint16_t representation, const void* value) {
    const int chosen = chooseRepresentation(type, representation);
    const DDS_TypePrograms* programs = chosen < 0 ? nullptr : programsOf(&type);
    if (programs == nullptr)
        return 0;
    const auto* at = static_cast<const char*>(value);
    size_t size = 0;
    const bool isXcdr2 = chosen == DDS_XCDR2_DATA_REPRESENTATION;
    if (!(isXcdr2 ? measureWire(programs->wire, at, &size)
                  : writeXcdr(*programs, encapsulationOf(type, false), at, nullptr, &size)))
        return 0;
    return encapsulationSize + size + paddingTo(size, 4);
}

[[gnu::always_inline]] inline bool serializeGrowing(const DDS_TypeDescriptor& type, uint16_t representation,
    const void* value, char** buffer, size_t* capacity, size_t* length) {
    const int chosen = chooseRepresentation(type, representation);
    const DDS_TypePrograms* programs = chosen < 0 ? nullptr : programsOf(&type);
    if (programs == nullptr)
        return false;
    WriteBuffer out(buffer, capacity);
    if (!writeSample(
            *programs, chosen == DDS_XCDR2_DATA_REPRESENTATION, static_cast<const char*>(value), out))
        return false;
    *length = out.position();
    return true;
}

bool serialize(const DDS_TypeDescriptor& type, uint16_t representation, const void* value, char** buffer,
    size_t* capacity, size_t* length) {
    return serializeGrowing(type, representation, value, buffer, capacity, length);
}

bool serializeInto(const DDS_TypeDescriptor& type, uint16_t representation, const void* value, char* buffer,
    size_t* length) {
    const int chosen = chooseRepresentation(type, representation);
    const DDS_TypePrograms* programs = chosen < 0 ? nullptr : programsOf(&type);
    if (programs == nullptr)
        return false;
    WriteBuffer out(buffer, *length);
    if (!writeSample(
            *programs, chosen == DDS_XCDR2_DATA_REPRESENTATION, static_cast<const char*>(value), out))
        return false;
    *length = out.position();
    return true;
}

bool deserialize(const DDS_TypeDescriptor& type, void* value, const char* buffer, size_t length) {
    const DDS_TypePrograms* programs = programsOf(&type);
    if (programs == nullptr || length < encapsulationSize)
        return false;
    const auto* header = reinterpret_cast<const unsigned char*>(buffer);
    Encapsulation encapsulation;
    if (!parseEncapsulation(static_cast<uint16_t>(header[0] << 8 | header[1]), &encapsulation))
        return false;
    // The form must be the type's: other bytes mean other things.
    const uint16_t expected = littleEndianIdentifier(*programs->type, encapsulation.isXcdr2);
    if ((expected & ~1U) != (header[1] & ~1U))
        return false;

    const char* bytes = buffer + encapsulationSize;
    const size_t size = length - encapsulationSize;
    const size_t allowed =
        size > SIZE_MAX / 2 / memoryPerByte ? SIZE_MAX / 2 : size * memoryPerByte + memoryPerSample;
    size_t budget = allowed;
    const Memory memory{nullptr, &budget};
    auto* at = static_cast<char*>(value);
    if (encapsulation.isXcdr2 && !encapsulation.isBigEndian) {
        const ReadResult result = readWire(programs->wire, at, bytes, size, memory);
        if (result != ReadResult::other)
            return result == ReadResult::done;
        budget = allowed; // what was allocated is used again
    }
    return readXcdr(*programs, encapsulation, at, bytes, size, memory);
}

} // namespace zdds::types

using namespace zdds::types;

DDS_Boolean DDS_Type_serialize_to_cdr_buffer(
    const DDS_TypeDescriptor* type, char* buffer, DDS_UnsignedLong* length, const void* value) {
    return DDS_Type_serialize_to_cdr_buffer_ex(type, buffer, length, value, DDS_AUTO_DATA_REPRESENTATION);
}

DDS_Boolean DDS_Type_serialize_to_cdr_buffer_ex(const DDS_TypeDescriptor* type, char* buffer,
    DDS_UnsignedLong* length, const void* value, DDS_UnsignedShort representation) {
    if (type == nullptr || length == nullptr || value == nullptr)
        return DDS_BOOLEAN_FALSE;
    size_t size = *length;
    if (buffer == nullptr) {
        size = serializedSize(*type, representation, value);
        if (size == 0 || size > UINT32_MAX)
            return DDS_BOOLEAN_FALSE;
    } else if (!serializeInto(*type, representation, value, buffer, &size)) {
        return DDS_BOOLEAN_FALSE;
    }
    *length = static_cast<DDS_UnsignedLong>(size);
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_Type_serialize_to_growing_buffer(const DDS_TypeDescriptor* type, char** buffer,
    size_t* capacity, size_t* length, const void* value, DDS_UnsignedShort representation) {
    if (type == nullptr || buffer == nullptr || capacity == nullptr || length == nullptr || value == nullptr)
        return DDS_BOOLEAN_FALSE;
    return serializeGrowing(*type, representation, value, buffer, capacity, length);
}

DDS_Boolean DDS_Type_deserialize_from_cdr_buffer(
    const DDS_TypeDescriptor* type, void* value, const char* buffer, DDS_UnsignedLong length) {
    return type != nullptr && value != nullptr && buffer != nullptr &&
           deserialize(*type, value, buffer, length);
}

DDS_Boolean DDS_Type_deserialize_key(
    const DDS_TypeDescriptor* type, void* value, const char* buffer, DDS_UnsignedLong) {
    return buffer != nullptr && DDS_Type_initialize_ex(type, value, DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE);
}

DDS_UnsignedLong DDS_Type_get_serialized_key_max_size(const DDS_TypeDescriptor*, DDS_UnsignedShort) {
    return 0;
}

DDS_UnsignedLong DDS_Type_get_serialized_key_max_size_for_keyhash(
    const DDS_TypeDescriptor*, DDS_UnsignedShort) {
    return 0;
}

DDS_UnsignedShort DDS_TypeCode_get_native_encapsulation(
    const DDS_TypeDescriptor* type, DDS_UnsignedShort representation) {
    const int chosen = type == nullptr ? -1 : chooseRepresentation(*type, representation);
    if (chosen < 0)
        return 0xFFFF;
    return littleEndianIdentifier(*resolveAll(type), chosen == DDS_XCDR2_DATA_REPRESENTATION);
}

DDS_UnsignedLong DDS_Type_get_serialized_sample_max_size(
    const DDS_TypeDescriptor* type, DDS_UnsignedShort representation) {
    const int chosen = type == nullptr ? -1 : chooseRepresentation(*type, representation);
    const DDS_TypePrograms* programs = chosen < 0 ? nullptr : programsOf(type);
    if (programs == nullptr)
        return 0;
    const size_t size = maximumSize(*programs, chosen == DDS_XCDR2_DATA_REPRESENTATION);
    return size > largestUnbounded ? largestUnbounded : static_cast<DDS_UnsignedLong>(size);
}
