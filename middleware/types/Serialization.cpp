#include "middleware/types/Serialization.hpp"

#include <algorithm>

#include "middleware/types/MaximumSize.hpp"
#include "middleware/types/Values.hpp"
#include "middleware/types/WireReader.hpp"
#include "middleware/types/WireTarget.hpp"
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

// By the walker: the header with the count of padding bytes, and what is behind it.
bool walkSample(const DDS_TypePrograms& programs, bool isXcdr2, const char* value, WriteBuffer& out) {
    size_t size;
    if (!out.room(encapsulationSize))
        return false;
    const char header[encapsulationSize] = {
        0, static_cast<char>(littleEndianIdentifier(*programs.type, isXcdr2))};
    std::memcpy(out.current(), header, sizeof header);
    out.advance(sizeof header);
    if (!writeXcdr(programs, encapsulationOf(*programs.type, isXcdr2), value, &out, &size))
        return false;
    const size_t padding = paddingTo(out.position(), 4);
    if (!out.room(padding))
        return false;
    for (size_t i = 0; i < padding; ++i)
        out.current()[i] = 0;
    out.advance(padding);
    *out.at(3) = static_cast<char>(padding);
    return true;
}

[[gnu::always_inline]] inline bool into(const DDS_TypeDescriptor& type, uint16_t representation,
    const void* value, char* buffer, size_t* length) {
    const int chosen = chooseRepresentation(type, representation);
    const DDS_TypePrograms* programs = chosen < 0 ? nullptr : programsOf(&type);
    if (programs == nullptr)
        return false;
    const auto* at = static_cast<const char*>(value);
    const bool isXcdr2 = chosen == DDS_XCDR2_DATA_REPRESENTATION;
    if (isXcdr2 && (reinterpret_cast<uintptr_t>(buffer) & 3) == 0) {
        bool lacksRoom;
        const char* end = writeWireSample(programs->wire, at, buffer, buffer + *length, &lacksRoom);
        if (end == nullptr)
            return false;
        *length = static_cast<size_t>(end - buffer);
        return true;
    }
    WriteBuffer out(buffer, *length);
    if (!walkSample(*programs, isXcdr2, at, out))
        return false;
    *length = out.position();
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

bool serialize(const DDS_TypeDescriptor& type, uint16_t representation, const void* value, char** buffer,
    size_t* capacity, size_t* length) {
    const int chosen = chooseRepresentation(type, representation);
    const DDS_TypePrograms* programs = chosen < 0 ? nullptr : programsOf(&type);
    if (programs == nullptr)
        return false;
    const auto* at = static_cast<const char*>(value);
    WriteBuffer out(buffer, capacity);
    if (chosen == DDS_XCDR_DATA_REPRESENTATION) {
        if (!walkSample(*programs, false, at, out))
            return false;
        *length = out.position();
        return true;
    }
    bool lacksRoom;
    const char* end = writeWireSample(programs->wire, at, out.current(), out.end(), &lacksRoom);
    if (end == nullptr) {
        // The size is looked for only where it is needed: a buffer that is used again has grown already.
        size_t size = encapsulationSize;
        if (!lacksRoom || !measureWire(programs->wire, at, &size) || !out.room(size + paddingTo(size, 4)) ||
            !(end = writeWireSample(programs->wire, at, out.current(), out.end(), &lacksRoom)))
            return false;
    }
    *length = static_cast<size_t>(end - out.current());
    return true;
}

bool serializeInto(const DDS_TypeDescriptor& type, uint16_t representation, const void* value, char* buffer,
    size_t* length) {
    return into(type, representation, value, buffer, length);
}

namespace {

// `value` may be null: then it is made, once the header is looked at.
bool read(const DDS_TypePrograms& programs, void** value, const char* buffer, size_t length,
    ValueBatch* batch, bool* isOutOfMemory) {
    if (length < encapsulationSize)
        return false;
    const auto* header = reinterpret_cast<const unsigned char*>(buffer);
    Encapsulation encapsulation;
    if (!parseEncapsulation(static_cast<uint16_t>(header[0] << 8 | header[1]), &encapsulation))
        return false;
    // The form must be the type's: other bytes mean other things.
    const uint16_t expected =
        encapsulation.isXcdr2 ? programs.wire.encapsulation : littleEndianIdentifier(*programs.type, false);
    if ((expected & ~1U) != (header[1] & ~1U))
        return false;

    const char* bytes = buffer + encapsulationSize;
    const size_t size = length - encapsulationSize;
    const size_t allowed =
        size > SIZE_MAX / 2 / memoryPerByte ? SIZE_MAX / 2 : size * memoryPerByte + memoryPerSample;
    const bool isNew = *value == nullptr;
    const bool isWire = encapsulation.isXcdr2 && !encapsulation.isBigEndian;
    const Memory unbounded{nullptr, nullptr, batch, isOutOfMemory};
    if (isNew && !(*value = createValue(
                       programs.shape, isWire ? NewTarget::newAllocation : defaultAllocation, unbounded)))
        return false;
    size_t budget = allowed;
    const Memory memory{nullptr, &budget, batch, isOutOfMemory};
    auto* at = static_cast<char*>(*value);
    if (isWire) {
        const ReadResult result = isNew ? readWireIntoNew(programs.wire, at, bytes, size, memory)
                                        : readWire(programs.wire, at, bytes, size, memory);
        if (result != ReadResult::other)
            return result == ReadResult::done;
        budget = allowed; // what was allocated is used again, or gone
        if (isNew) {
            finalizeValue(programs.shape, at, defaultDeallocation, false);
            if (!initializeValue(programs.shape, at, defaultAllocation, unbounded))
                return false;
        }
    }
    return readXcdr(programs, encapsulation, at, bytes, size, memory);
}

} // namespace

bool deserialize(const DDS_TypeDescriptor& type, void* value, const char* buffer, size_t length) {
    const DDS_TypePrograms* programs = programsOf(&type);
    return programs != nullptr && read(*programs, &value, buffer, length, nullptr, nullptr);
}

void* createFrom(const DDS_TypeDescriptor& type, const char* buffer, size_t length, bool* isOutOfMemory) {
    const DDS_TypePrograms* programs = programsOf(&type);
    if (isOutOfMemory != nullptr)
        *isOutOfMemory = programs == nullptr;
    if (programs == nullptr)
        return nullptr;
    // Most values take some twice their encoding in memory, beside what they are themselves; short ones less,
    // and small blocks are what malloc is fastest at.
    constexpr size_t mostEncoded = 4096;
    const size_t more = length < 512 ? 3 * length / 2 : 2 * std::min(length, mostEncoded);
    ValueBatch batch(programs->shape.size + ValueBatch::headerRoom + more);
    void* value = nullptr;
    if (!read(*programs, &value, buffer, length, &batch, isOutOfMemory))
        destroyValue(programs->shape, &value, defaultDeallocation, false);
    return value;
}

} // namespace zdds::types

using namespace zdds::types;

namespace {

// A null buffer: the size alone.
[[gnu::always_inline]] inline DDS_Boolean intoBuffer(const DDS_TypeDescriptor* type, char* buffer,
    DDS_UnsignedLong* length, const void* value, DDS_UnsignedShort representation) {
    if (type == nullptr || length == nullptr || value == nullptr)
        return DDS_BOOLEAN_FALSE;
    size_t size = *length;
    if (buffer == nullptr) {
        size = serializedSize(*type, representation, value);
        if (size == 0 || size > UINT32_MAX)
            return DDS_BOOLEAN_FALSE;
    } else if (!into(*type, representation, value, buffer, &size)) {
        return DDS_BOOLEAN_FALSE;
    }
    *length = static_cast<DDS_UnsignedLong>(size);
    return DDS_BOOLEAN_TRUE;
}

} // namespace

DDS_Boolean DDS_Type_serialize_to_cdr_buffer(
    const DDS_TypeDescriptor* type, char* buffer, DDS_UnsignedLong* length, const void* value) {
    return intoBuffer(type, buffer, length, value, DDS_AUTO_DATA_REPRESENTATION);
}

DDS_Boolean DDS_Type_serialize_to_cdr_buffer_ex(const DDS_TypeDescriptor* type, char* buffer,
    DDS_UnsignedLong* length, const void* value, DDS_UnsignedShort representation) {
    return intoBuffer(type, buffer, length, value, representation);
}

DDS_Boolean DDS_Type_serialize_to_growing_buffer(const DDS_TypeDescriptor* type, char** buffer,
    size_t* capacity, size_t* length, const void* value, DDS_UnsignedShort representation) {
    if (type == nullptr || buffer == nullptr || capacity == nullptr || length == nullptr || value == nullptr)
        return DDS_BOOLEAN_FALSE;
    return serialize(*type, representation, value, buffer, capacity, length);
}

DDS_Boolean DDS_Type_deserialize_from_cdr_buffer(
    const DDS_TypeDescriptor* type, void* value, const char* buffer, DDS_UnsignedLong length) {
    return type != nullptr && value != nullptr && buffer != nullptr &&
           deserialize(*type, value, buffer, length);
}

void* DDS_Type_create_data_from_cdr_buffer(
    const DDS_TypeDescriptor* type, const char* buffer, DDS_UnsignedLong length) {
    return type == nullptr || buffer == nullptr ? nullptr : createFrom(*type, buffer, length);
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
