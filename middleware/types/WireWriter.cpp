#include "middleware/types/WireWriter.hpp"

#include <algorithm>

#include "middleware/types/ByteCopy.hpp"
#include "middleware/types/MemberAccess.hpp"
#include "middleware/types/Xcdr.hpp"
#include "zddscore/heap.h"

namespace zdds::types {
namespace {

// The place in the buffer is kept in a local variable, as stores of bytes could change anything else for all
// that the compiler knows. Null stands for failure.
class Writer {
public:
    explicit Writer(WriteBuffer& out) : out_(out), base_(out.at(0)), end_(out.end()) {}

    char* run(const Wire& whole, const char* value, char* to) {
        size_t slotStore[mostSlots]; // positions, or the value around an optional one
        size_t* slots = slotStore;
        Frame frames[DDS_TYPE_MAXIMUM_NESTING + 2];
        Frame* frame = frames; // behind the innermost
        const Wire* wire = &whole;
        for (const Instruction* i = wire->program;; ++i) {
            const char* from = value + i->memory;
            switch (i->code) {
            case Code::end: {
                if (frame == frames)
                    return to;
                Frame& top = frame[-1];
                if (--top.left > 0) {
                    value = top.next();
                    i = wire->program - 1;
                } else {
                    --frame;
                    wire = top.wire;
                    i = top.instruction;
                    value = top.value;
                    slots -= wire->slots;
                }
                break;
            }
            case Code::segment:
                if (!(to = putSegment(*i, value, to, slots)))
                    return nullptr;
                i += i->b;
                break;
            case Code::optionalSegment:
            case Code::optional: {
                // Most members of a sample are absent.
                const OptionalMember* member = wire->optionals + i->c;
                i -= member->distance;
                const char* pointer = nullptr;
                while (member->memory != noMember && (pointer = pointerAt(value + member->memory)) == nullptr)
                    ++member;
                i += member->distance;
                if (pointer == nullptr) {
                    --i; // the next one is what comes behind the group
                } else if (i->code == Code::optionalSegment) {
                    if (!(to = putSegment(*i, pointer, to, slots)))
                        return nullptr;
                    i += i->b;
                } else if (!i->isText) {
                    slots[i->slot] = reinterpret_cast<size_t>(value);
                    value = pointer;
                }
                break;
            }
            case Code::block:
                if (!(to = room(to, i->alignment, i->a)))
                    return nullptr;
                std::memcpy(to, from, i->a);
                to += i->a;
                break;
            case Code::text:
                if (!(to = putText(to, textAt(from), i->a)))
                    return nullptr;
                while (i[1].code == Code::text) { // one text seldom comes alone
                    ++i;
                    if (!(to = putText(to, textAt(value + i->memory), i->a)))
                        return nullptr;
                }
                break;
            case Code::blockSequence:
            case Code::textSequence:
                if (!(to = putRow(*i, sequenceAt(from), to)))
                    return nullptr;
                break;
            case Code::sequence: {
                const DDS_SequenceBase& sequence = sequenceAt(from);
                if (!(to = putCount(*i, sequence, to)))
                    return nullptr;
                if (sequence._length == 0)
                    break;
                const size_t size = i->programs->shape.size;
                *frame = {wire, i, value, static_cast<const char*>(sequence._contiguous_buffer),
                    sequence._discontiguous_buffer, size, sequence._length};
                goto enter;
            }
            case Code::array:
                *frame = {wire, i, value, from, nullptr, i->programs->shape.size, i->a};
                goto enter;
            case Code::discriminated: {
                const Arms& arms = i->programs->arms;
                const char* discriminator = from + arms.discriminatorOffset;
                if (!(to = putSegment(*i->programs->discriminator->wire.program, discriminator, to, slots)))
                    return nullptr;
                const Arm* arm = arms.select(arms.valueOf(discriminator));
                if (arm == nullptr)
                    break;
                *frame = {wire, i, value, nullptr, nullptr, 0, 1};
                value = from + arm->offset;
                slots += wire->slots;
                wire = &arm->programs->wire;
                i = wire->program - 1;
                ++frame;
                break;
            }
            case Code::reference:
                if (pointerAt(from) == nullptr)
                    return nullptr;
                *frame = {wire, i, value, pointerAt(from), nullptr, 0, 1};
                goto enter;
            case Code::call:
                *frame = {wire, i, value, from, nullptr, 0, 1};
            enter:
                slots += wire->slots;
                wire = &i->programs->wire;
                i = wire->program - 1;
                value = (frame++)->next();
                break;

            case Code::open:
                if (!(to = room(to, 4, 4)))
                    return nullptr;
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
                if (!(to = room(to, 4, i->hasSize ? 8 : 4)))
                    return nullptr;
                putWord(to, i->a);
                to += i->hasSize ? 8 : 4;
                slots[i->slot] = static_cast<size_t>(to - base_);
                break;
            case Code::flagged: {
                const char* pointer = pointerAt(from);
                if (!(to = room(to, 1, 1)))
                    return nullptr;
                *to++ = pointer != nullptr;
                while (pointer == nullptr) {
                    i += i->a;
                    if (i[1].code != Code::flagged)
                        break;
                    ++i;
                    pointer = pointerAt(value + i->memory);
                    if (!(to = room(to, 1, 1)))
                        return nullptr;
                    *to++ = pointer != nullptr;
                }
                if (pointer != nullptr && !i->isText) {
                    slots[i->slot] = reinterpret_cast<size_t>(value);
                    value = pointer;
                }
                break;
            }
            case Code::leave:
                value = reinterpret_cast<const char*>(slots[i->slot]);
                break;
            default:
                __builtin_unreachable();
            }
        }
    }

private:
    // A row that another one interrupted, and the values that the other one is for.
    struct Frame {
        const Wire* wire;
        const Instruction* instruction;
        const char* value;
        const char* element;   // the next one, or
        void* const* pointers; // to the next ones
        size_t size;
        uint32_t left; // values, that at hand included

        const char* next() {
            if (pointers != nullptr)
                return static_cast<const char*>(*pointers++);
            const char* at = element;
            element += size;
            return at;
        }
    };

    [[gnu::always_inline]] char* putSegment(
        const Instruction& i, const char* value, char* to, size_t* slots) {
        char* segment = room(to, i.alignment, i.a);
        if (segment == nullptr)
            return nullptr;
        for (const Instruction *piece = &i + 1, *end = piece + i.b; piece != end; ++piece) {
            const char* from = value + piece->memory;
            char* at = segment + piece->wire;
            if (piece->code > Code::opening)
                __builtin_unreachable();
            switch (piece->code) {
            case Code::copy1:
                *at = *from;
                break;
            case Code::copy2:
                std::memcpy(at, from, 2);
                break;
            case Code::copy4:
                std::memcpy(at, from, 4);
                break;
            case Code::copy8:
                std::memcpy(at, from, 8);
                break;
            case Code::copy16:
                std::memcpy(at, from, 16);
                break;
            case Code::copyMany:
                copyBytes(at, from, piece->a);
                break;
            case Code::boolean:
                *at = *from != 0;
                break;
            case Code::range:
                if (wordAt(from) - piece->a >= piece->b)
                    return nullptr;
                break;
            case Code::literal:
                if (!hasLiteral(*piece->programs->type, static_cast<DDS_Long>(wordAt(from))))
                    return nullptr;
                break;
            case Code::constant:
                putWord(at, piece->a);
                break;
            case Code::constant8:
                std::memcpy(at, &piece->a, 8);
                break;
            case Code::constant12:
                std::memcpy(at, &piece->a, 8);
                putWord(at + 8, piece->c);
                break;
            case Code::zero:
                *at = 0;
                break;
            case Code::zeros:
                putWord(at, 0);
                break;
            case Code::opening:
                slots[piece->slot] = static_cast<size_t>(at + 4 - base_);
                break;
            default:
                __builtin_unreachable();
            }
        }
        return segment + i.a;
    }

    // Where `size` bytes of that alignment go; what is skipped becomes 0. Only something of at least the
    // alignment begins behind a gap, so a whole word may be cleared.
    [[gnu::always_inline]] char* room(char* to, size_t alignment, size_t size) {
        const size_t gap = static_cast<size_t>(base_ - to) & (alignment - 1);
        if (__builtin_expect(static_cast<size_t>(end_ - to) < gap + size, 0)) {
            to = grow(to, gap + size);
            if (to == nullptr)
                return nullptr;
        }
        if (gap != 0) {
            if (alignment == 4)
                putWord(to, 0);
            else
                *to = 0;
        }
        return to + gap;
    }

    [[gnu::noinline]] char* grow(char* to, size_t size) {
        out_.setCurrent(to);
        if (!out_.room(size))
            return nullptr;
        base_ = out_.at(0);
        end_ = out_.end();
        return out_.current();
    }

    [[gnu::always_inline]] char* putText(char* to, const char* text, size_t bound) {
        const size_t length = std::strlen(text);
        if (length > bound || !(to = room(to, 4, 4 + length + 1)))
            return nullptr;
        putWord(to, static_cast<uint32_t>(length + 1));
        copyBytes(to + 4, text, length + 1);
        return to + 4 + length + 1;
    }

    [[gnu::always_inline]] char* putCount(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
        if (sequence._length > i.a || !(to = room(to, 4, 4)))
            return nullptr;
        putWord(to, sequence._length);
        return to + 4;
    }

    // A sequence whose elements need no row: plain ones and texts.
    char* putRow(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
        const uint32_t length = sequence._length;
        if (!(to = putCount(i, sequence, to)) || length == 0)
            return to;
        if (i.code == Code::textSequence) {
            for (uint32_t n = 0; n < length; ++n)
                if (!(to = putText(to, textAt(sequenceElement(sequence, n, sizeof(char*))), i.b)))
                    return nullptr;
            return to;
        }
        const size_t bytes = size_t{length} * i.b;
        if (!(to = room(to, i.alignment, bytes)))
            return nullptr;
        if (sequence._contiguous_buffer != nullptr) {
            copyBytes(to, static_cast<const char*>(sequence._contiguous_buffer), bytes);
        } else {
            for (uint32_t n = 0; n < length; ++n)
                std::memcpy(to + n * i.b, sequence._discontiguous_buffer[n], i.b);
        }
        return to + bytes;
    }

    WriteBuffer& out_;
    char* base_;
    const char* end_;
};

} // namespace

bool WriteBuffer::grow(size_t size) {
    if (growing_ == nullptr)
        return false;
    const size_t used = position();
    if (size > SIZE_MAX / 4 - used)
        return false;
    const size_t capacity = std::max(used + size, std::max<size_t>(2 * *capacity_, 512));
    void* memory = *growing_;
    if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, capacity, 8, 0, "serialized sample"))
        return false;
    *growing_ = static_cast<char*>(memory);
    *capacity_ = capacity;
    base_ = *growing_;
    current_ = base_ + used;
    end_ = base_ + capacity;
    return true;
}

bool writeWire(const Wire& wire, const char* value, WriteBuffer& out) {
    char* to = Writer(out).run(wire, value, out.current());
    if (to == nullptr)
        return false;
    out.setCurrent(to);
    return true;
}

} // namespace zdds::types
