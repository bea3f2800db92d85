#include "middleware/types/WireReader.hpp"

#include <algorithm>

#include "middleware/types/ByteCopy.hpp"
#include "middleware/types/Sequence.hpp"
#include "middleware/types/Values.hpp"
#include "middleware/types/Xcdr.hpp"

namespace zdds::types {

bool isText(const char* bytes, uint32_t length, uint32_t bound) {
    if (length == 0) return true;
    return bytes[length - 1] == '\0' && (bound == 0 || length - 1 <= bound) &&
           std::memchr(bytes, '\0', length - 1) == nullptr;
}

namespace {

using enum ReadResult;

DDS_Long longAt(const char* at) {
    DDS_Long value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

bool getSegment(const Segment& segment, char* value, const char* in) {
    for (const Piece *piece = segment.pieces, *end = piece + segment.count; piece != end; ++piece) {
        char* to = value + piece->memory;
        const char* from = in + piece->wire;
        switch (piece->code) {
        case PieceCode::copy1: *to = *from; break;
        case PieceCode::copy2: std::memcpy(to, from, 2); break;
        case PieceCode::copy4: std::memcpy(to, from, 4); break;
        case PieceCode::copy8: std::memcpy(to, from, 8); break;
        case PieceCode::copy16: std::memcpy(to, from, 16); break;
        case PieceCode::copyMany: copyBytes(to, from, piece->value); break;
        case PieceCode::constant:
            if (std::memcmp(from, &piece->value, 4) != 0) return false;
            break;
        case PieceCode::zeros: break; // padding may be anything
        case PieceCode::boolean:
            if (static_cast<unsigned char>(*from) > 1) return false;
            break;
        case PieceCode::enumeration:
            if (!hasLiteral(*piece->type, longAt(from))) return false;
            break;
        }
    }
    return true;
}

// What was copied before a check failed must not stay: a value has booleans and enumerators only.
void discardUnchecked(const Segment& segment, char* value) {
    for (const Piece *piece = segment.pieces, *end = piece + segment.count; piece != end; ++piece) {
        char* at = value + piece->memory;
        if (piece->code == PieceCode::boolean) {
            *at = *at != 0;
        } else if (piece->code == PieceCode::enumeration && !hasLiteral(*piece->type, longAt(at))) {
            const DDS_Long literal = defaultLiteral(piece->type);
            std::memcpy(at, &literal, sizeof literal);
        }
    }
}

class Reader {
public:
    Reader(const char* bytes, size_t size, const Memory& memory)
        : base_(bytes), current_(bytes), limit_(bytes + size), memory_(memory) {}

    ReadResult read(const Wire& wire, char* value) {
        if (wire.kind == WireKind::fixed) return readSegment(wire.fixed, value);
        const char* outer = limit_;
        if (wire.isDelimited) {
            uint32_t size;
            if (!get4(&size) || size > left()) return other;
            limit_ = current_ + size;
        }
        const ReadResult result = readBody(wire, value);
        if (wire.isDelimited) {
            if (result == done && current_ != limit_) return other;
            limit_ = outer;
        }
        return result;
    }

private:
    size_t left() const { return static_cast<size_t>(limit_ - current_); }

    bool align(size_t alignment) {
        const size_t gap = paddingTo(static_cast<size_t>(current_ - base_), alignment);
        if (gap > left()) return false;
        current_ += gap;
        return true;
    }

    bool get4(uint32_t* value) {
        if (!align(4) || left() < 4) return false;
        std::memcpy(value, current_, 4);
        current_ += 4;
        return true;
    }

    ReadResult readSegment(const Segment& segment, char* value) {
        if (!align(segment.alignment) || left() < segment.size) return other;
        if (!getSegment(segment, value, current_)) {
            discardUnchecked(segment, value);
            return other;
        }
        current_ += segment.size;
        return done;
    }

    ReadResult readBody(const Wire& wire, char* value) {
        switch (wire.kind) {
        case WireKind::fixed: return readSegment(wire.fixed, value);
        case WireKind::string: return readText(wire, reinterpret_cast<char**>(value));
        case WireKind::blockSequence:
        case WireKind::sequence: return readSequence(wire, *reinterpret_cast<DDS_SequenceBase*>(value));
        case WireKind::array:
            for (uint32_t i = 0; i < wire.bound; ++i) {
                const ReadResult result = read(*wire.element, value + i * size_t{wire.elementShape->size});
                if (result != done) return result;
            }
            return done;
        case WireKind::structure: return readStruct(wire, value);
        case WireKind::discriminated: return readUnion(wire, value);
        case WireKind::reference: {
            void*& pointer = *reinterpret_cast<void**>(value);
            if (pointer == nullptr) pointer = createValue(*wire.elementShape, defaultAllocation, memory_);
            return pointer == nullptr ? failed : read(*wire.element, static_cast<char*>(pointer));
        }
        }
        return other;
    }

    ReadResult readText(const Wire& wire, char** text) {
        uint32_t length;
        if (!get4(&length) || length > left() || length == 0 || !isText(current_, length, wire.bound)) return other;
        if (!assignText(text, current_, length - 1, memory_)) return failed;
        current_ += length;
        return done;
    }

    ReadResult readSequence(const Wire& wire, DDS_SequenceBase& sequence) {
        uint32_t count;
        const size_t size = wire.elementShape->size;
        // Every element takes a byte at least; a block takes what it has in memory.
        if (!get4(&count) || (wire.bound != 0 && count > wire.bound) ||
            count > left() / (wire.kind == WireKind::blockSequence ? size : 1))
            return other;
        const Element element = elementOf(*wire.elementShape);
        const uint32_t complete = sequence._maximum;
        if (!reserveElements(element, sequence, count, memory_, &bareAllocation(*element.shape))) return failed;
        if (wire.kind == WireKind::blockSequence && sequence._contiguous_buffer != nullptr) {
            if (count > 0) {
                if (!align(wire.element->fixed.alignment) || count * size > left()) return other;
                copyBytes(static_cast<char*>(sequence._contiguous_buffer), current_, count * size);
                current_ += count * size;
            }
            sequence._length = count;
            return done;
        }
        for (uint32_t i = 0; i < count; ++i) {
            const ReadResult result = read(*wire.element, elementAt(element, sequence, i));
            if (result == done) continue;
            dropElements(element, sequence, std::max(i, complete));
            return result;
        }
        sequence._length = count;
        return done;
    }

    void removeOptional(const WireOp& op, void** pointer) {
        if (op.isText) {
            Memory::release(*pointer, false);
            *pointer = nullptr;
        } else {
            destroyValue(*op.shape, pointer, defaultDeallocation, false);
        }
    }

    // Is the next member this one?
    bool isNext(const WireOp& op) {
        const size_t gap = paddingTo(static_cast<size_t>(current_ - base_), 4);
        if (left() < gap + 4) return false;
        uint32_t header;
        std::memcpy(&header, current_ + gap, 4);
        return header == op.memberHeader;
    }

    ReadResult readStruct(const Wire& wire, char* value) {
        for (const WireOp *op = wire.ops, *end = op + wire.opCount; op != end; ++op) {
            const ReadResult result =
                op->isSegment && !op->isOptional ? readSegment(op->segment, value) : readMember(*op, value);
            if (result != done) return result;
        }
        return done;
    }

    ReadResult readMember(const WireOp& op, char* value) {
        char* at = value + op.offset;
        if (op.isOptional) {
            void*& pointer = *reinterpret_cast<void**>(at);
            bool isPresent;
            if (op.header == Header::member) {
                isPresent = isNext(op);
            } else {
                if (left() < 1 || static_cast<unsigned char>(*current_) > 1) return other;
                isPresent = *current_++ == 1;
            }
            if (!isPresent) {
                if (pointer != nullptr) removeOptional(op, &pointer);
                return done;
            }
            if (!op.isText) {
                if (pointer == nullptr) return readNewMember(op, &pointer);
                at = static_cast<char*>(pointer);
            }
        }
        return readPresentMember(op, at);
    }

    ReadResult readNewMember(const WireOp& op, void** pointer) {
        *pointer = createValue(*op.shape, bareAllocation(*op.shape), memory_);
        if (*pointer == nullptr) return failed;
        const ReadResult result = readPresentMember(op, static_cast<char*>(*pointer));
        if (result != done) removeOptional(op, pointer);
        return result;
    }

    ReadResult readPresentMember(const WireOp& op, char* at) {
        if (op.isSegment) return readSegment(op.segment, at);
        if (op.header != Header::member) return read(*op.wire, at);
        if (!op.isOptional && !isNext(op)) return other;
        uint32_t header;
        uint32_t size = 0;
        get4(&header);
        const bool hasSize = op.wire->lengthCode == lengthCodeNextInt;
        if (hasSize && !get4(&size)) return other;
        const char* start = current_;
        const ReadResult result = read(*op.wire, at);
        return result == done && hasSize && static_cast<size_t>(current_ - start) != size ? other : result;
    }

    ReadResult readUnion(const Wire& wire, char* value) {
        const Arms& arms = *wire.arms;
        // Beside the value: its arm before must be known while it changes.
        alignas(8) char scratch[8] = {};
        ReadResult result = readSegment(*wire.discriminator, scratch);
        if (result != done) return result;
        const DDS_LongLong discriminator = arms.valueOf(scratch);
        if (!switchArm(arms, value, discriminator, memory_)) return failed;
        const Arm* arm = arms.select(discriminator);
        return arm == nullptr ? done : read(*arm->wire, value + arm->offset);
    }

    const char* base_;
    const char* current_;
    const char* limit_;
    const Memory& memory_;
};

} // namespace

ReadResult readWire(const Wire& wire, char* value, const char* bytes, size_t size, const Memory& memory) {
    return Reader(bytes, size, memory).read(wire, value);
}

} // namespace zdds::types
