#include "middleware/types/WireWriter.hpp"

#include <algorithm>

#include "middleware/types/ByteCopy.hpp"
#include "middleware/types/MemberAccess.hpp"
#include "middleware/types/Xcdr.hpp"
#include "zddscore/heap.h"

namespace zdds::types {
namespace {

// The place in the buffer is kept in a local variable, as stores of bytes could change anything else for all that the
// compiler knows. Null stands for failure.
class Writer {
public:
    explicit Writer(WriteBuffer& out) : out_(out), base_(out.at(0)), end_(out.end()) {}

    // NOLINTNEXTLINE: one loop is the point.
    char* run(const Wire& wire, const char* value, char* to) {
        size_t slots[mostSlots]; // positions, or the value around an optional one
        for (const Instruction* i = wire.program;; ++i) {
            const char* from = value + i->memory;
            switch (i->code) {
            case Code::end: return to;
            case Code::segment:
                if (!(to = putSegment(*i, value, to))) return nullptr;
                i += i->b;
                break;
            case Code::optionalSegment:
            case Code::optional: {
                // Most members of a sample are absent.
                const OptionalMember* member = wire.optionals + i->c;
                i -= member->distance;
                const char* pointer = nullptr;
                while (member->memory != noMember && (pointer = pointerAt(value + member->memory)) == nullptr) ++member;
                i += member->distance;
                if (pointer == nullptr) {
                    --i; // the next one is what comes behind the group
                } else if (i->code == Code::optionalSegment) {
                    if (!(to = putSegment(*i, pointer, to))) return nullptr;
                    i += i->b;
                } else if (!i->isText) {
                    slots[i->slot] = reinterpret_cast<size_t>(value);
                    value = pointer;
                }
                break;
            }
            case Code::block:
                if (!(to = room(to, i->alignment, i->a))) return nullptr;
                std::memcpy(to, from, i->a);
                to += i->a;
                break;
            case Code::text:
                if (!(to = putText(to, textAt(from), i->a))) return nullptr;
                break;
            case Code::blockSequence:
            case Code::textSequence:
            case Code::sequence:
                if (!(to = putSequence(*i, sequenceAt(from), to))) return nullptr;
                break;
            case Code::array: {
                const size_t size = i->programs->shape.size;
                for (uint32_t n = 0; n < i->a; ++n, from += size)
                    if (!(to = run(i->programs->wire, from, to))) return nullptr;
                break;
            }
            case Code::discriminated:
                if (!(to = putUnion(*i->programs, from, to))) return nullptr;
                break;
            case Code::reference:
                from = pointerAt(from);
                if (from == nullptr || !(to = run(i->programs->wire, from, to))) return nullptr;
                break;
            case Code::call:
                if (!(to = run(i->programs->wire, from, to))) return nullptr;
                break;

            case Code::open:
                if (!(to = room(to, 4, 4))) return nullptr;
                to += 4;
                slots[i->slot] = static_cast<size_t>(to - base_);
                break;
            case Code::close:
            case Code::closeHeader: {
                const size_t start = slots[i->slot];
                putWord(base_ + start - 4, static_cast<uint32_t>(static_cast<size_t>(to - base_) - start));
                break;
            }
            case Code::header:
                if (!(to = room(to, 4, i->hasSize ? 8 : 4))) return nullptr;
                putWord(to, i->a);
                to += i->hasSize ? 8 : 4;
                slots[i->slot] = static_cast<size_t>(to - base_);
                break;
            case Code::flagged: {
                const char* pointer = pointerAt(from);
                if (!(to = room(to, 1, 1))) return nullptr;
                *to++ = pointer != nullptr;
                if (pointer == nullptr) {
                    i += i->a;
                } else if (!i->isText) {
                    slots[i->slot] = reinterpret_cast<size_t>(value);
                    value = pointer;
                }
                break;
            }
            case Code::leave: value = reinterpret_cast<const char*>(slots[i->slot]); break;
            default: __builtin_unreachable();
            }
        }
    }

private:
    [[gnu::always_inline]] char* putSegment(const Instruction& i, const char* value, char* to) {
        char* segment = room(to, i.alignment, i.a);
        if (segment == nullptr) return nullptr;
        for (const Instruction *piece = &i + 1, *end = piece + i.b; piece != end; ++piece) {
            const char* from = value + piece->memory;
            char* at = segment + piece->wire;
            if (piece->code > Code::zeros) __builtin_unreachable();
            switch (piece->code) {
            case Code::copy1: *at = *from; break;
            case Code::copy2: std::memcpy(at, from, 2); break;
            case Code::copy4: std::memcpy(at, from, 4); break;
            case Code::copy8: std::memcpy(at, from, 8); break;
            case Code::copy16: std::memcpy(at, from, 16); break;
            case Code::copyMany: copyBytes(at, from, piece->a); break;
            case Code::boolean: *at = *from != 0; break;
            case Code::range:
                if (wordAt(from) - piece->a >= piece->b) return nullptr;
                break;
            case Code::literal:
                if (!hasLiteral(*piece->programs->type, static_cast<DDS_Long>(wordAt(from)))) return nullptr;
                break;
            case Code::constant: putWord(at, piece->a); break;
            case Code::constant8: std::memcpy(at, &piece->a, 8); break;
            case Code::constant12:
                std::memcpy(at, &piece->a, 8);
                putWord(at + 8, piece->c);
                break;
            case Code::zero: *at = 0; break;
            case Code::zeros: putWord(at, 0); break;
            default: __builtin_unreachable();
            }
        }
        return segment + i.a;
    }

    // Where `size` bytes of that alignment go; what is skipped becomes 0. Only something of at least the alignment
    // begins behind a gap, so a whole word may be cleared.
    [[gnu::always_inline]] char* room(char* to, size_t alignment, size_t size) {
        const size_t gap = static_cast<size_t>(base_ - to) & (alignment - 1);
        if (__builtin_expect(static_cast<size_t>(end_ - to) < gap + size, 0)) {
            to = grow(to, gap + size);
            if (to == nullptr) return nullptr;
        }
        if (gap != 0) {
            if (alignment == 4) putWord(to, 0);
            else *to = 0;
        }
        return to + gap;
    }

    [[gnu::noinline]] char* grow(char* to, size_t size) {
        out_.setCurrent(to);
        if (!out_.room(size)) return nullptr;
        base_ = out_.at(0);
        end_ = out_.end();
        return out_.current();
    }

    [[gnu::always_inline]] char* putText(char* to, const char* text, size_t bound) {
        const size_t length = std::strlen(text);
        if (length > bound || !(to = room(to, 4, 4 + length + 1))) return nullptr;
        putWord(to, static_cast<uint32_t>(length + 1));
        copyBytes(to + 4, text, length + 1);
        return to + 4 + length + 1;
    }

    char* putSequence(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
        const uint32_t length = sequence._length;
        if (length > i.a || !(to = room(to, 4, 4))) return nullptr;
        putWord(to, length);
        to += 4;
        if (length == 0) return to;
        if (i.code == Code::blockSequence && sequence._contiguous_buffer != nullptr) {
            const size_t bytes = size_t{length} * i.b;
            if (!(to = room(to, i.alignment, bytes))) return nullptr;
            copyBytes(to, static_cast<const char*>(sequence._contiguous_buffer), bytes);
            return to + bytes;
        }
        const size_t size = i.programs->shape.size;
        if (i.code == Code::textSequence) {
            for (uint32_t n = 0; n < length; ++n)
                if (!(to = putText(to, textAt(sequenceElement(sequence, n, size)), i.b))) return nullptr;
            return to;
        }
        for (uint32_t n = 0; n < length; ++n)
            if (!(to = run(i.programs->wire, sequenceElement(sequence, n, size), to))) return nullptr;
        return to;
    }

    char* putUnion(const DDS_TypePrograms& programs, const char* value, char* to) {
        const Arms& arms = programs.arms;
        const Instruction* discriminator = programs.discriminator->wire.program;
        const char* at = value + arms.discriminatorOffset;
        if (discriminator->b == 1 && discriminator[1].code == Code::copy4) { // an integer: the usual case
            if (!(to = room(to, 4, 4))) return nullptr;
            std::memcpy(to, at, 4);
            to += 4;
        } else if (!(to = run(programs.discriminator->wire, at, to))) {
            return nullptr;
        }
        const Arm* arm = arms.select(arms.valueOf(at));
        return arm == nullptr ? to : run(arm->programs->wire, value + arm->offset, to);
    }

    WriteBuffer& out_;
    char* base_;
    const char* end_;
};

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
    char* to = Writer(out).run(wire, value, out.current());
    if (to == nullptr) return false;
    out.setCurrent(to);
    return true;
}

} // namespace zdds::types
