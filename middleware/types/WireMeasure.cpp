// The size of an encoding, by the same program that writes it.
#include <cstring>

#include "middleware/types/WireWriter.hpp"
#include "middleware/types/Xcdr.hpp"
#include "zddsc/sequence.h"

namespace zdds::types {
namespace {

const char* pointerAt(const char* value) {
    const char* pointer;
    std::memcpy(&pointer, value, sizeof pointer);
    return pointer;
}

void add(size_t* position, size_t alignment, size_t size) { *position += paddingTo(*position, alignment) + size; }

// What writing would refuse of a segment is an enumerator.
bool measureSegment(const Segment& segment, const char* value, size_t* position) {
    add(position, segment.alignment, segment.size);
    for (const Piece *piece = segment.pieces, *end = piece + segment.count; piece != end; ++piece) {
        if (piece->code != PieceCode::enumeration) continue;
        DDS_Long literal;
        std::memcpy(&literal, value + piece->memory, sizeof literal);
        if (!hasLiteral(*piece->type, literal)) return false;
    }
    return true;
}

bool measureSequence(const Wire& wire, const DDS_SequenceBase& sequence, size_t* position) {
    if (wire.bound != 0 && sequence._length > wire.bound) return false;
    add(position, 4, 4);
    const size_t size = wire.elementShape->size;
    if (wire.kind == WireKind::blockSequence) {
        if (sequence._length > 0) add(position, wire.element->fixed.alignment, sequence._length * size);
        return true;
    }
    for (uint32_t i = 0; i < sequence._length; ++i) {
        const char* element = sequence._discontiguous_buffer != nullptr
                                  ? static_cast<const char*>(sequence._discontiguous_buffer[i])
                                  : static_cast<const char*>(sequence._contiguous_buffer) + i * size;
        if (!measureWire(*wire.element, element, position)) return false;
    }
    return true;
}

bool measureMember(const WireOp& op, const char* value, size_t* position) {
    const char* at = value + op.offset;
    if (op.isOptional) {
        if (op.header == Header::flag) *position += 1;
        const char* pointer = pointerAt(at);
        if (pointer == nullptr) return true;
        if (!op.isText) at = pointer;
    }
    if (op.header == Header::member) add(position, 4, op.wire->lengthCode == lengthCodeNextInt ? 8 : 4);
    return measureWire(*op.wire, at, position);
}

bool measureStruct(const Wire& wire, const char* value, size_t* position) {
    for (const WireOp *op = wire.ops, *end = op + wire.opCount; op != end; ++op) {
        if (!op->isSegment) {
            if (!measureMember(*op, value, position)) return false;
            continue;
        }
        const char* at = op->isOptional ? pointerAt(value + op->offset) : value;
        if (at != nullptr && !measureSegment(op->segment, at, position)) return false;
    }
    return true;
}

} // namespace

bool measureWire(const Wire& wire, const char* value, size_t* position) {
    if (wire.kind == WireKind::fixed) return measureSegment(wire.fixed, value, position);
    if (wire.isDelimited) add(position, 4, 4);
    switch (wire.kind) {
    case WireKind::fixed: break;
    case WireKind::string: {
        const char* text = pointerAt(value);
        const size_t length = text == nullptr ? 0 : std::strlen(text);
        add(position, 4, 4 + length + 1);
        return (wire.bound == 0 || length <= wire.bound) && length < UINT32_MAX;
    }
    case WireKind::blockSequence:
    case WireKind::sequence:
        return measureSequence(wire, *reinterpret_cast<const DDS_SequenceBase*>(value), position);
    case WireKind::array:
        for (uint32_t i = 0; i < wire.bound; ++i)
            if (!measureWire(*wire.element, value + i * size_t{wire.elementShape->size}, position)) return false;
        return true;
    case WireKind::structure: return measureStruct(wire, value, position);
    case WireKind::discriminated: {
        const Arms& arms = *wire.arms;
        if (!measureSegment(*wire.discriminator, value + arms.discriminatorOffset, position)) return false;
        const Arm* arm = arms.select(arms.read(value));
        return arm == nullptr || measureWire(*arm->wire, value + arm->offset, position);
    }
    case WireKind::reference:
        value = pointerAt(value);
        return value != nullptr && measureWire(*wire.element, value, position);
    }
    return false;
}

} // namespace zdds::types
