#include "middleware/types/WireWriter.hpp"

#include <algorithm>

#include "middleware/types/ByteCopy.hpp"
#include "middleware/types/MemberAccess.hpp"
#include "middleware/types/TextLength.hpp"
#include "middleware/types/Xcdr.hpp"
#include "zddscore/heap.h"

namespace zdds::types {
namespace {

// The place in the buffer is kept in a local variable, as stores of bytes could change anything else for all
// that the compiler knows. Null stands for failure. The buffer does not move: what does not fit is written
// again, into more room.
class Writer {
public:
    // Alignment counts from `base`.
    Writer(char* base, char* end) : base_(base), end_(end) {}

    bool lacksRoom() const { return lacksRoom_; }

    // NOLINTNEXTLINE: one loop is the point.
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
                    if ((value = top.next()) == nullptr)
                        return nullptr;
                    i = wire->program - 1;
                    break;
                }
                --frame;
                if (top.sizeAt != nullptr)
                    putSize(top.sizeAt, to);
                wire = top.wire;
                slots -= wire->slots;
                i = top.instruction;
                value = top.value;
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
            case Code::flaggedText:
                if (!(to = putFlaggedText(to, pointerAt(from), i->a)))
                    return nullptr;
                while (i[1].code == Code::flaggedText) {
                    ++i;
                    if (!(to = putFlaggedText(to, pointerAt(value + i->memory), i->a)))
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
                char* sizeAt;
                if (!(to = putCount(*i, sequence, to, &sizeAt)))
                    return nullptr;
                if (sequence._length == 0)
                    break;
                *frame = {wire, i, value, static_cast<const char*>(sequence._contiguous_buffer),
                    sequence._discontiguous_buffer, i->programs->shape.size, sequence._length, sizeAt};
                goto enter;
            }
            case Code::referenceSequence: {
                const DDS_SequenceBase& sequence = sequenceAt(from);
                char* sizeAt;
                if (!(to = putCount(*i, sequence, to, &sizeAt)))
                    return nullptr;
                if (sequence._length == 0)
                    break;
                *frame = {wire, i, value, nullptr, sequence._discontiguous_buffer, 0, sequence._length, sizeAt};
                if (frame->pointers != nullptr)
                    goto enter; // to the references, one by one
                frame->pointers = static_cast<void* const*>(sequence._contiguous_buffer);
                slots += wire->slots;
                wire = &i->programs->wire.program->programs->wire;
                i = wire->program - 1;
                if ((value = (frame++)->next()) == nullptr)
                    return nullptr;
                break;
            }
            case Code::array:
                *frame = {wire, i, value, from, nullptr, i->programs->shape.size, i->a, nullptr};
                goto enter;
            case Code::discriminated: {
                char* sizeAt = nullptr;
                if (i->hasSize) {
                    if (!(to = wordRoom(to, 4)))
                        return nullptr;
                    sizeAt = to;
                    to += 4;
                }
                const Arms& arms = i->programs->arms;
                const char* discriminator = from + arms.discriminatorOffset;
                if (!(to = putDiscriminator(*i, discriminator, to, slots)))
                    return nullptr;
                const Arm* arm = arms.select(arms.valueOf(discriminator));
                if (arm == nullptr) {
                    if (sizeAt != nullptr)
                        putSize(sizeAt, to);
                    break;
                }
                frame->wire = wire;
                frame->instruction = i;
                frame->value = value;
                frame->left = 1;
                frame->sizeAt = sizeAt;
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
                *frame = {wire, i, value, pointerAt(from), nullptr, 0, 1, nullptr};
                goto enter;
            case Code::call:
                *frame = {wire, i, value, from, nullptr, 0, 1, nullptr};
            enter:
                slots += wire->slots;
                wire = &i->programs->wire;
                i = wire->program - 1;
                value = (frame++)->next();
                break;

            case Code::open:
                if (!(to = wordRoom(to, 4)))
                    return nullptr;
                slots[i->slot] = static_cast<size_t>(to - base_);
                to += 4;
                break;
            case Code::close:
            case Code::closeHeader:
                putSize(base_ + slots[i->slot], to);
                break;
            case Code::header: {
                const size_t size = i->hasSize ? 8 : 4;
                if (!(to = wordRoom(to, size)))
                    return nullptr;
                putWord(to, i->a);
                to += size;
                slots[i->slot] = static_cast<size_t>(to - 4 - base_);
                break;
            }
            case Code::flagged: {
                const char* pointer = pointerAt(from);
                if (!(to = putFlag(to, pointer != nullptr)))
                    return nullptr;
                if (pointer == nullptr) {
                    i += i->a;
                } else {
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
        char* sizeAt;  // where the size of all of them goes; null for nowhere

        const char* next() {
            if (pointers != nullptr)
                return static_cast<const char*>(*pointers++);
            const char* at = element;
            element += size;
            return at;
        }
    };

    // The size of what lies behind it.
    static void putSize(char* at, const char* end) { putWord(at, static_cast<uint32_t>(end - at - 4)); }

    [[gnu::always_inline]] char* putSegment(
        const Instruction& i, const char* value, char* to, size_t* slots) {
        char* segment = i.alignment == 4 && i.a >= 4 ? wordRoom(to, i.a) : room(to, i.alignment, i.a);
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
                slots[piece->slot] = static_cast<size_t>(at - base_);
                break;
            default:
                __builtin_unreachable();
            }
        }
        return segment + i.a;
    }

    [[gnu::always_inline]] char* putDiscriminator(
        const Instruction& i, const char* discriminator, char* to, size_t* slots) {
        if (i.alignment != 4)
            return putSegment(*i.programs->discriminator->wire.program, discriminator, to, slots);
        const uint32_t word = wordAt(discriminator);
        if ((i.b != 0 && word - i.a >= i.b) || !(to = wordRoom(to, 4)))
            return nullptr;
        putWord(to, word);
        return to + 4;
    }

    [[gnu::cold]] char* failForRoom() {
        lacksRoom_ = true;
        return nullptr;
    }

    // Where `size` bytes of that alignment go; what is skipped becomes 0.
    char* room(char* to, size_t alignment, size_t size) {
        const size_t gap = static_cast<size_t>(base_ - to) & (alignment - 1);
        if (static_cast<size_t>(end_ - to) < gap + size)
            return failForRoom();
        for (size_t n = 0; n < gap; ++n)
            to[n] = 0;
        return to + gap;
    }
    // The same of alignment 4 for something of at least 4 bytes: so a whole word may be cleared.
    [[gnu::always_inline]] char* wordRoom(char* to, size_t size) {
        const size_t gap = static_cast<size_t>(base_ - to) & 3;
        if (__builtin_expect(static_cast<size_t>(end_ - to) < gap + size, 0))
            return failForRoom();
        putWord(to, 0);
        return to + gap;
    }

    [[gnu::always_inline]] char* putText(char* to, const char* text, size_t bound) {
        const size_t length = textLength(text);
        if (__builtin_expect(length > bound, 0) || !(to = wordRoom(to, 4 + length + 1)))
            return nullptr;
        putWord(to, static_cast<uint32_t>(length + 1));
        copyBytes(to + 4, text, length + 1);
        return to + 4 + length + 1;
    }

    [[gnu::always_inline]] char* putFlag(char* to, bool flag) {
        if (__builtin_expect(to == end_, 0))
            return failForRoom();
        *to = flag;
        return to + 1;
    }
    [[gnu::always_inline]] char* putFlaggedText(char* to, const char* text, size_t bound) {
        to = putFlag(to, text != nullptr);
        return to == nullptr || text == nullptr ? to : putText(to, text, bound);
    }

    // Behind the DHEADER, if there is one, at *sizeAt.
    [[gnu::always_inline]] char* putCount(
        const Instruction& i, const DDS_SequenceBase& sequence, char* to, char** sizeAt) {
        const size_t size = i.hasSize ? 8 : 4;
        if (sequence._length > i.a || !(to = wordRoom(to, size)))
            return nullptr;
        *sizeAt = i.hasSize ? to : nullptr;
        to += size;
        putWord(to - size, 4); // the size of an empty one
        putWord(to - 4, sequence._length);
        return to;
    }

    // A sequence whose elements need no row: plain ones and texts.
    char* putRow(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
        const uint32_t length = sequence._length;
        char* sizeAt;
        if (!(to = putCount(i, sequence, to, &sizeAt)) || length == 0)
            return to;
        to = i.code == Code::textSequence ? putTexts(i, sequence, to) : putBlocks(i, sequence, to);
        if (to != nullptr && sizeAt != nullptr)
            putSize(sizeAt, to);
        return to;
    }
    char* putTexts(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
        for (uint32_t n = 0; n < sequence._length && to != nullptr; ++n)
            to = putText(to, textAt(sequenceElement(sequence, n, sizeof(char*))), i.b);
        return to;
    }
    [[gnu::always_inline]] char* putBlocks(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
        const size_t bytes = size_t{sequence._length} * i.b;
        // The count before it ends at a multiple of 4, and no alignment is larger.
        if (static_cast<size_t>(end_ - to) < bytes)
            return failForRoom();
        if (sequence._contiguous_buffer != nullptr) {
            copyBytes(to, static_cast<const char*>(sequence._contiguous_buffer), bytes);
        } else {
            for (uint32_t n = 0; n < sequence._length; ++n)
                std::memcpy(to + n * i.b, sequence._discontiguous_buffer[n], i.b);
        }
        return to + bytes;
    }

    char* const base_;
    char* const end_;
    bool lacksRoom_ = false;
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
    Writer writer(out.at(0), out.end());
    char* to = writer.run(wire, value, out.current());
    if (to == nullptr) {
        // The size is looked for only where it is needed: a buffer that is used again has grown already.
        size_t end = out.position();
        if (!writer.lacksRoom() || !out.canGrow() || !measureWire(wire, value, &end) ||
            !out.room(end - out.position()))
            return false;
        to = Writer(out.at(0), out.end()).run(wire, value, out.current());
        if (to == nullptr)
            return false;
    }
    out.setCurrent(to);
    return true;
}

} // namespace zdds::types
