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
// again, into more room. Alignment is that of addresses.
class Writer {
public:
    explicit Writer(char* end) : end_(end) {}

    bool lacksRoom() const { return lacksRoom_; }

    // NOLINTNEXTLINE: one loop is the point.
    char* run(const Wire& whole, const char* value, char* to) {
        wire_ = &whole;
        slots_ = slotStore_;
        frame_ = frames_;
        char* segment = nullptr; // that pieces go to
        for (const Instruction* i = whole.program;; ++i) {
            switch (i->code) {
            case Code::end: {
                if (frame_ == frames_)
                    return to;
                Frame& top = frame_[-1];
                if (--top.left > 0) {
                    if ((value = top.next()) == nullptr)
                        return nullptr;
                    i = wire_->program - 1;
                    break;
                }
                --frame_;
                if (top.sizeAt != nullptr)
                    putSize(top.sizeAt, to);
                wire_ = top.wire;
                slots_ -= wire_->slots;
                i = top.instruction;
                value = top.value;
                break;
            }
            case Code::segment:
                if (!(segment = segmentRoom(*i, to)))
                    return nullptr;
                to = segment + i->a;
                break;
            case Code::openSegment:
                if (!wordRoom(to, i->a))
                    return nullptr;
                segment = to;
                to += i->a;
                slots_[i->slot].sizeAt = segment;
                break;
            case Code::word:
                if (!wordRoom(to, 4))
                    return nullptr;
                putWord(to, wordAt(value + i->memory));
                to += 4;
                break;
            case Code::copy1:
                segment[i->wire] = value[i->memory];
                break;
            case Code::copy2:
                std::memcpy(segment + i->wire, value + i->memory, 2);
                break;
            case Code::copy4:
                std::memcpy(segment + i->wire, value + i->memory, 4);
                break;
            case Code::copy8:
                std::memcpy(segment + i->wire, value + i->memory, 8);
                break;
            case Code::copy16:
                std::memcpy(segment + i->wire, value + i->memory, 16);
                break;
            case Code::copyTo64:
                copyTo64(segment + i->wire, value + i->memory, i->a);
                break;
            case Code::copyMany:
                copyBytes(segment + i->wire, value + i->memory, i->a);
                break;
            case Code::boolean:
                segment[i->wire] = value[i->memory] != 0;
                break;
            case Code::range:
                if (wordAt(value + i->memory) - i->a >= i->b)
                    return nullptr;
                break;
            case Code::literal:
                if (!hasLiteral(*i->programs->type, static_cast<DDS_Long>(wordAt(value + i->memory))))
                    return nullptr;
                break;
            case Code::constant:
                putWord(segment + i->wire, i->a);
                break;
            case Code::constant8:
                std::memcpy(segment + i->wire, &i->a, 8);
                break;
            case Code::constant12:
                std::memcpy(segment + i->wire, &i->a, 8);
                putWord(segment + i->wire + 8, i->c);
                break;
            case Code::zero:
                segment[i->wire] = 0;
                break;
            case Code::zeros:
                putWord(segment + i->wire, 0);
                break;
            case Code::optionalSegment:
            case Code::optional: {
                // Most members of a sample are absent.
                const OptionalMember* member = wire_->optionals + i->c;
                i -= member->distance;
                const char* pointer = nullptr;
                while (member->memory != noMember && (pointer = pointerAt(value + member->memory)) == nullptr)
                    ++member;
                i += member->distance;
                if (pointer == nullptr) {
                    --i; // the next one is what comes behind the group
                } else if (i->code == Code::optionalSegment) {
                    if (!(segment = segmentRoom(*i, to)) || !putPieces(*i, pointer, segment))
                        return nullptr;
                    to = segment + i->a;
                    i += i->b;
                } else {
                    if (!i->isText) {
                        slots_[i->slot].around = value;
                        value = pointer;
                    }
                    ++i;
                    goto header;
                }
                break;
            }
            case Code::block:
                if (!(to = room(to, i->alignment, i->a)))
                    return nullptr;
                std::memcpy(to, value + i->memory, i->a);
                to += i->a;
                break;
            case Code::text:
            text: // one seldom comes alone
                if (!(to = putText(to, textAt(value + i->memory), i->a)))
                    return nullptr;
                if (i[1].code != Code::text)
                    break;
                ++i;
                goto text;
            case Code::flaggedText:
            flaggedText:
                if (!(to = putFlaggedText(to, pointerAt(value + i->memory), i->a)))
                    return nullptr;
                if (i[1].code != Code::flaggedText)
                    break;
                ++i;
                goto flaggedText;
            case Code::blockSequence:
            case Code::textSequence:
                if (!(to = putRow(*i, sequenceAt(value + i->memory), to)))
                    return nullptr;
                break;
            case Code::sequence: {
                const DDS_SequenceBase& sequence = sequenceAt(value + i->memory);
                char* sizeAt;
                if (!(to = putCount(*i, sequence, to, &sizeAt)))
                    return nullptr;
                if (sequence._length == 0)
                    break;
                *frame_ = {wire_, i, value, static_cast<const char*>(sequence._contiguous_buffer),
                    sequence._discontiguous_buffer, i->programs->shape.size, sequence._length, sizeAt};
                goto enter;
            }
            case Code::referenceSequence: {
                const DDS_SequenceBase& sequence = sequenceAt(value + i->memory);
                char* sizeAt;
                if (!(to = putCount(*i, sequence, to, &sizeAt)))
                    return nullptr;
                if (sequence._length == 0)
                    break;
                *frame_ = {
                    wire_, i, value, nullptr, sequence._discontiguous_buffer, 0, sequence._length, sizeAt};
                if (frame_->pointers != nullptr)
                    goto enter; // to the references, one by one
                frame_->pointers = static_cast<void* const*>(sequence._contiguous_buffer);
                slots_ += wire_->slots;
                wire_ = &i->programs->wire.program->programs->wire;
                i = wire_->program - 1;
                if ((value = (frame_++)->next()) == nullptr)
                    return nullptr;
                break;
            }
            case Code::array:
                *frame_ = {
                    wire_, i, value, value + i->memory, nullptr, i->programs->shape.size, i->a, nullptr};
                goto enter;
            case Code::discriminated: {
                char* sizeAt;
                uint32_t found;
                if (!(to = putDiscriminator(*i, value + i->memory, to, &sizeAt, &found)))
                    return nullptr;
                const Arm* arm = i->programs->arms.armOf(found);
                if (arm == nullptr) {
                    if (sizeAt != nullptr)
                        putSize(sizeAt, to);
                    break;
                }
                frame_->wire = wire_;
                frame_->instruction = i;
                frame_->value = value;
                frame_->left = 1;
                frame_->sizeAt = sizeAt;
                value = value + i->memory + arm->offset;
                slots_ += wire_->slots;
                wire_ = &arm->programs->wire;
                i = wire_->program - 1;
                ++frame_;
                break;
            }
            case Code::branch: {
                uint32_t found;
                if (!(to = putDiscriminator(*i, value + i->memory, to, &slots_[i->slot].sizeAt, &found)))
                    return nullptr;
                i += wire_->armStarts[i->wire + found] - 1;
                break;
            }
            case Code::closeArm:
                putSize(slots_[i->wire].sizeAt, to);
                [[fallthrough]];
            case Code::armEnd:
                if (i->hasSize)
                    putSize(slots_[i->slot].sizeAt, to);
                i += i->a;
                break;
            case Code::reference:
                if (pointerAt(value + i->memory) == nullptr)
                    return nullptr;
                *frame_ = {wire_, i, value, pointerAt(value + i->memory), nullptr, 0, 1, nullptr};
                goto enter;
            case Code::call:
                *frame_ = {wire_, i, value, value + i->memory, nullptr, 0, 1, nullptr};
            enter:
                slots_ += wire_->slots;
                wire_ = &i->programs->wire;
                i = wire_->program - 1;
                value = (frame_++)->next();
                break;

            case Code::open:
                if (!wordRoom(to, 4))
                    return nullptr;
                slots_[i->slot].sizeAt = to;
                to += 4;
                break;
            case Code::close:
            case Code::closeHeader:
                putSize(slots_[i->slot].sizeAt, to);
                break;
            case Code::header:
            header : {
                const size_t size = i->hasSize ? 8 : 4;
                if (!wordRoom(to, size))
                    return nullptr;
                putWord(to, i->a);
                to += size;
                slots_[i->slot].sizeAt = to - 4;
                break;
            }
            case Code::flagged: {
                const char* pointer = pointerAt(value + i->memory);
                if (!(to = putFlag(to, pointer != nullptr)))
                    return nullptr;
                if (pointer == nullptr) {
                    i += i->a;
                } else {
                    slots_[i->slot].around = value;
                    value = pointer;
                }
                break;
            }
            case Code::leave:
                if (i->hasSize)
                    putSize(slots_[i->slot + 1].sizeAt, to);
                value = slots_[i->slot].around;
                break;
            default:
                __builtin_unreachable();
            }
        }
    }

    // The padding behind the value, and the header before it.
    char* finish(char* start, char* to, uint16_t identifier) {
        const size_t padding = gapAt(to, 4);
        if (static_cast<size_t>(end_ - to) < padding)
            return failForRoom();
        for (size_t n = 0; n < padding; ++n)
            *to++ = 0;
        // The identifier is big-endian and below 256; the padding is told in the last two bits.
        putWord(start, uint32_t{identifier} << 8 | static_cast<uint32_t>(padding) << 24);
        return to;
    }

private:
    union Slot {
        char* sizeAt;       // of a DHEADER or a NEXTINT
        const char* around; // the value around an optional one
    };

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

    [[gnu::always_inline]] char* segmentRoom(const Instruction& i, char* to) {
        if (i.alignment == 4 && i.a >= 4)
            return wordRoom(to, i.a) ? to : nullptr;
        return room(to, i.alignment, i.a);
    }

    // The pieces of a segment that has a value of its own: nothing of variable size is in it.
    [[gnu::always_inline]] static bool putPieces(const Instruction& i, const char* value, char* segment) {
        for (const Instruction *piece = &i + 1, *end = piece + i.b; piece != end; ++piece) {
            const char* from = value + piece->memory;
            char* at = segment + piece->wire;
            switch (piece->code) {
            case Code::constant12:
                std::memcpy(at, &piece->a, 8);
                putWord(at + 8, piece->c);
                break;
            case Code::constant8:
                std::memcpy(at, &piece->a, 8);
                break;
            case Code::constant:
                putWord(at, piece->a);
                break;
            case Code::zero:
                *at = 0;
                break;
            case Code::zeros:
                putWord(at, 0);
                break;
            case Code::boolean:
                *at = *from != 0;
                break;
            case Code::range:
                if (wordAt(from) - piece->a >= piece->b)
                    return false;
                break;
            case Code::literal:
                if (!hasLiteral(*piece->programs->type, static_cast<DDS_Long>(wordAt(from))))
                    return false;
                break;
            default: // a copy
                copyBytes(at, from, piece->a);
                break;
            }
        }
        return true;
    }

    // Behind the DHEADER, if there is one, at *sizeAt.
    [[gnu::always_inline]] char* putDiscriminator(
        const Instruction& i, const char* unionValue, char* to, char** sizeAt, uint32_t* found) {
        const Arms& arms = i.programs->arms;
        const char* discriminator = unionValue + arms.discriminatorOffset;
        if (i.alignment != 4)
            return putOtherDiscriminator(i, discriminator, to, sizeAt, found);
        const uint32_t word = wordAt(discriminator);
        const size_t size = i.hasSize ? 8 : 4;
        if ((i.b != 0 && word - i.a >= i.b) || !wordRoom(to, size))
            return nullptr;
        *sizeAt = i.hasSize ? to : nullptr;
        to += size;
        putWord(to - 4, word);
        *found = arms.find(wordLabel(i, word));
        return to;
    }
    [[gnu::noinline]] char* putOtherDiscriminator(
        const Instruction& i, const char* discriminator, char* to, char** sizeAt, uint32_t* found) {
        *sizeAt = nullptr;
        if (i.hasSize) {
            if (!wordRoom(to, 4))
                return nullptr;
            *sizeAt = to;
            to += 4;
        }
        const Instruction& segment = *i.programs->discriminator->wire.program;
        *found = i.programs->arms.find(i.programs->arms.valueOf(discriminator));
        to = segmentRoom(segment, to);
        return to != nullptr && putPieces(segment, discriminator, to) ? to + segment.a : nullptr;
    }

    [[gnu::cold]] char* failForRoom() {
        lacksRoom_ = true;
        return nullptr;
    }

    static size_t gapAt(const char* at, size_t alignment) {
        return (0 - reinterpret_cast<uintptr_t>(at)) & (alignment - 1);
    }

    // Where `size` bytes of that alignment go; what is skipped becomes 0.
    char* room(char* to, size_t alignment, size_t size) {
        const size_t gap = gapAt(to, alignment);
        if (static_cast<size_t>(end_ - to) < gap + size)
            return failForRoom();
        for (size_t n = 0; n < gap; ++n)
            to[n] = 0;
        return to + gap;
    }
    // The same of alignment 4 for something of at least 4 bytes: so a whole word may be cleared.
    [[gnu::always_inline]] bool wordRoom(char*& to, size_t size) {
        const size_t gap = gapAt(to, 4);
        if (__builtin_expect(static_cast<size_t>(end_ - to) < gap + size, 0))
            return failForRoom() != nullptr;
        putWord(to, 0);
        to += gap;
        return true;
    }

    [[gnu::always_inline]] char* putText(char* to, const char* text, size_t bound) {
#ifdef ZDDSC_TEXT_BY_BLOCKS
        // Most texts are short, lie on the heap, and are not the end of the sample: then they are one block.
        const TextBlock block(text);
        if (block.isWhole() && block.length() <= bound && static_cast<size_t>(end_ - to) >= 3 + 4 + 16) {
            putWord(to, 0);
            to += gapAt(to, 4);
            putWord(to, static_cast<uint32_t>(block.length() + 1));
            block.copyTo(to + 4);
            return to + 4 + block.length() + 1;
        }
#endif
        const size_t length = textLength(text);
        if (__builtin_expect(length > bound, 0) || !wordRoom(to, 4 + length + 1))
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
        if (sequence._length > i.a || !wordRoom(to, size))
            return nullptr;
        *sizeAt = i.hasSize ? to : nullptr;
        to += size;
        putWord(to - size, 4); // the size of an empty one
        putWord(to - 4, sequence._length);
        return to;
    }

    // A sequence whose elements need no row: plain ones and texts.
    [[gnu::always_inline]] char* putRow(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
        const uint32_t length = sequence._length;
        char* sizeAt;
        if (!(to = putCount(i, sequence, to, &sizeAt)) || length == 0)
            return to;
        to = i.code == Code::textSequence ? putTexts(i, sequence, to) : putBlocks(i, sequence, to);
        if (to != nullptr && sizeAt != nullptr)
            putSize(sizeAt, to);
        return to;
    }
    [[gnu::noinline]] char* putTexts(const Instruction& i, const DDS_SequenceBase& sequence, char* to) {
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

    char* const end_;
    bool lacksRoom_ = false;
    // Not local to the loop, so that what it needs all the time stays in registers.
    const Wire* wire_;
    Slot* slots_;
    Frame* frame_; // behind the innermost
    Slot slotStore_[mostSlots];
    Frame frames_[DDS_TYPE_MAXIMUM_NESTING + 2];
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

char* writeWireSample(const Wire& wire, const char* value, char* buffer, char* end, bool* lacksRoom) {
    Writer writer(end);
    *lacksRoom = end - buffer < static_cast<ptrdiff_t>(encapsulationSize);
    if (*lacksRoom)
        return nullptr;
    char* to = writer.run(wire, value, buffer + encapsulationSize);
    if (to != nullptr)
        to = writer.finish(buffer, to, wire.encapsulation);
    *lacksRoom = writer.lacksRoom();
    return to;
}

} // namespace zdds::types
