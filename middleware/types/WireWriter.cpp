#include "middleware/types/WireWriter.hpp"

#include <algorithm>

#include "middleware/types/ByteCopy.hpp"
#include "middleware/types/Xcdr.hpp"
#include "zddsc/sequence.h"
#include "zddscore/heap.h"

namespace zdds::types {
namespace {

const DDS_SequenceBase& sequenceAt(const char* value) {
    return *reinterpret_cast<const DDS_SequenceBase*>(value);
}
const char* elementAt(const DDS_SequenceBase& sequence, uint32_t index, size_t size) {
    return sequence._discontiguous_buffer != nullptr
               ? static_cast<const char*>(sequence._discontiguous_buffer[index])
               : static_cast<const char*>(sequence._contiguous_buffer) + index * size;
}
const char* textAt(const char* value) {
    const char* text;
    std::memcpy(&text, value, sizeof text);
    return text == nullptr ? "" : text;
}
const char* pointerAt(const char* value) {
    const char* pointer;
    std::memcpy(&pointer, value, sizeof pointer);
    return pointer;
}
DDS_Long longAt(const char* at) {
    DDS_Long value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
bool isBeyond(size_t length, uint32_t bound) { return bound != 0 && length > bound; }

bool putSegment(const Segment& segment, const char* value, char* out) {
    for (const Piece *piece = segment.pieces, *end = piece + segment.count; piece != end; ++piece) {
        char* to = out + piece->wire;
        const char* from = value + piece->memory;
        switch (piece->code) {
        case PieceCode::copy1: *to = *from; break;
        case PieceCode::copy2: std::memcpy(to, from, 2); break;
        case PieceCode::copy4: std::memcpy(to, from, 4); break;
        case PieceCode::copy8: std::memcpy(to, from, 8); break;
        case PieceCode::copy16: std::memcpy(to, from, 16); break;
        case PieceCode::copyMany: copyBytes(to, from, piece->value); break;
        case PieceCode::constant: std::memcpy(to, &piece->value, 4); break;
        case PieceCode::zeros: std::memset(to, 0, piece->value); break;
        case PieceCode::boolean: *to = *from != 0; break;
        case PieceCode::enumeration:
            if (!hasLiteral(*piece->type, longAt(from))) return false;
            break;
        }
    }
    return true;
}

bool writeSegment(const Segment& segment, const char* value, WriteBuffer& out) {
    if (!out.room(segment.size + 3)) {
        // At the very end of a buffer of exactly the right size.
        if (!out.room(segment.size + paddingTo(out.position(), segment.alignment))) return false;
    }
    out.pad(segment.alignment);
    if (!putSegment(segment, value, out.current())) return false;
    out.advance(segment.size);
    return true;
}

// Room for a count or header of 4 bytes, aligned.
bool room4(WriteBuffer& out, size_t more = 0) {
    if (!out.room(7 + more) && !out.room(paddingTo(out.position(), 4) + 4 + more)) return false;
    out.pad(4);
    return true;
}

bool writeText(const Wire& wire, const char* text, WriteBuffer& out) {
    const size_t length = std::strlen(text);
    if (isBeyond(length, wire.bound) || length >= UINT32_MAX || !room4(out, length + 1)) return false;
    out.put4(static_cast<uint32_t>(length + 1));
    copyBytes(out.current(), text, length + 1);
    out.advance(length + 1);
    return true;
}

bool writeElements(const Wire& wire, const DDS_SequenceBase& sequence, WriteBuffer& out) {
    const size_t size = wire.elementShape->size;
    const Wire& element = *wire.element;
    if (wire.kind == WireKind::blockSequence && sequence._contiguous_buffer != nullptr) {
        const size_t bytes = sequence._length * size;
        if (!out.room(bytes + 3) && !out.room(bytes + paddingTo(out.position(), element.fixed.alignment))) return false;
        if (bytes == 0) return true;
        out.pad(element.fixed.alignment);
        copyBytes(out.current(), static_cast<const char*>(sequence._contiguous_buffer), bytes);
        out.advance(bytes);
        return true;
    }
    for (uint32_t i = 0; i < sequence._length; ++i)
        if (!writeWire(element, elementAt(sequence, i, size), out)) return false;
    return true;
}

bool writeUnion(const Wire& wire, const char* value, WriteBuffer& out) {
    const Arms& arms = *wire.arms;
    if (!writeSegment(*wire.discriminator, value + arms.discriminatorOffset, out)) return false;
    const Arm* arm = arms.select(arms.read(value));
    return arm == nullptr || writeWire(*arm->wire, value + arm->offset, out);
}

// A member with a header, or an optional one: in a variable form, so that the header comes first and its size last.
bool writeMember(const WireOp& op, const char* value, WriteBuffer& out) {
    const char* at = value + op.offset;
    if (op.isOptional && pointerAt(at) == nullptr) {
        if (op.header != Header::flag) return true;
        if (!out.room(1)) return false;
        *out.current() = 0;
        out.advance(1);
        return true;
    }
    if (op.isOptional && !op.isText) at = pointerAt(at);
    if (op.header == Header::none) return writeWire(*op.wire, at, out);
    if (op.header == Header::flag) {
        if (!out.room(1)) return false;
        *out.current() = 1;
        out.advance(1);
        return writeWire(*op.wire, at, out);
    }
    const bool hasSize = op.wire->lengthCode == lengthCodeNextInt;
    if (!room4(out, hasSize ? 4 : 0)) return false;
    out.put4(op.memberHeader);
    if (!hasSize) return writeWire(*op.wire, at, out);
    out.put4(0);
    const size_t start = out.position();
    if (!writeWire(*op.wire, at, out)) return false;
    const auto size = static_cast<uint32_t>(out.position() - start);
    std::memcpy(out.at(start - 4), &size, 4);
    return true;
}

bool writeStruct(const Wire& wire, const char* value, WriteBuffer& out) {
    for (const WireOp *op = wire.ops, *end = op + wire.opCount; op != end; ++op) {
        if (!op->isSegment) {
            if (!writeMember(*op, value, out)) return false;
        } else if (!op->isOptional) {
            if (!writeSegment(op->segment, value, out)) return false;
        } else if (const char* member = pointerAt(value + op->offset)) {
            if (!writeSegment(op->segment, member, out)) return false;
        }
    }
    return true;
}

} // namespace

bool WriteBuffer::grow(size_t size) {
    if (growing_ == nullptr) return false;
    const size_t used = position();
    if (size > SIZE_MAX / 4 - used) return false;
    const size_t capacity = std::max(used + size, std::max<size_t>(*capacity_ + *capacity_ / 2, 256));
    void* memory = *growing_;
    if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, capacity, 8, 0, "serialized sample")) return false;
    *growing_ = static_cast<char*>(memory);
    *capacity_ = capacity;
    base_ = *growing_;
    current_ = base_ + used;
    end_ = base_ + capacity;
    return true;
}

bool writeWire(const Wire& wire, const char* value, WriteBuffer& out) {
    size_t start = 0;
    if (wire.kind == WireKind::fixed) return writeSegment(wire.fixed, value, out);
    if (wire.isDelimited) {
        if (!room4(out)) return false;
        out.put4(0);
        start = out.position();
    }
    bool isWritten = false;
    switch (wire.kind) {
    case WireKind::fixed: break;
    case WireKind::string: isWritten = writeText(wire, textAt(value), out); break;
    case WireKind::blockSequence:
    case WireKind::sequence: {
        const DDS_SequenceBase& sequence = sequenceAt(value);
        if (isBeyond(sequence._length, wire.bound) || !room4(out)) return false;
        out.put4(sequence._length);
        isWritten = writeElements(wire, sequence, out);
        break;
    }
    case WireKind::array:
        isWritten = true;
        for (uint32_t i = 0; isWritten && i < wire.bound; ++i)
            isWritten = writeWire(*wire.element, value + i * size_t{wire.elementShape->size}, out);
        break;
    case WireKind::structure: isWritten = writeStruct(wire, value, out); break;
    case WireKind::discriminated: isWritten = writeUnion(wire, value, out); break;
    case WireKind::reference:
        value = pointerAt(value);
        isWritten = value != nullptr && writeWire(*wire.element, value, out);
        break;
    }
    if (wire.isDelimited && isWritten) {
        const auto size = static_cast<uint32_t>(out.position() - start);
        std::memcpy(out.at(start - 4), &size, 4);
    }
    return isWritten;
}

} // namespace zdds::types
