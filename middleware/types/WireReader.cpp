#include "middleware/types/WireReader.hpp"

#include <algorithm>

#include "middleware/types/ByteCopy.hpp"
#include "middleware/types/WireTarget.hpp"
#include "middleware/types/Xcdr.hpp"

namespace zdds::types {

bool isText(const char* bytes, uint32_t length, uint32_t bound) {
    if (length == 0)
        return true;
    return bytes[length - 1] == '\0' && (bound == 0 || length - 1 <= bound) &&
           std::memchr(bytes, '\0', length - 1) == nullptr;
}

namespace {

// The place in the bytes, and their end, are kept in local variables; null stands for failure, and says
// nothing more.
template <typename Target> class Reader {
public:
    Reader(const char* bytes, const Memory& memory) : base_(bytes), target_(memory) {}

    // Did memory run out, rather than that the bytes have another form?
    bool isOutOfMemory() const { return target_.isOutOfMemory(); }

    const char* run(const Wire& wire, char* value, const char* from, const char* limit) {
        Optionals optionals;
        const char* end = runRow(wire, value, from, limit, optionals);
        if (end == nullptr)
            optionals.drop();
        return end;
    }

private:
    using Optionals = typename Target::Optionals;

    // NOLINTNEXTLINE: one loop is the point.
    const char* runRow(
        const Wire& wire, char* value, const char* from, const char* limit, Optionals& optionals) {
        const Instruction* i = wire.program;
        const void* slots[mostSlots]; // limits, ends of members, or the value around an optional one
        for (;; ++i) {
            char* to = value + i->memory;
            switch (i->code) {
            case Code::end:
                return from;
            case Code::segment:
                if (!(from = getSegment(*i, value, from, limit)))
                    return nullptr;
                i += i->b;
                break;
            case Code::openSegment: {
                if (!(from = take(from, limit, 4, i->a)))
                    return nullptr;
                const uint32_t size = wordAt(from);
                // What follows in the segment lies within.
                if (size > static_cast<size_t>(limit - from) - 4 || size < i->a - 4)
                    return nullptr;
                slots[i->slot] = limit;
                limit = from + 4 + size;
                if (!(from = getPieces(*i, value, from)))
                    return nullptr;
                i += i->b;
                break;
            }
            case Code::word:
                if (!(from = take(from, limit, 4, 4)))
                    return nullptr;
                std::memcpy(to, from, 4);
                from += 4;
                break;
            case Code::optionalSegment:
            case Code::optional: {
                const uint32_t header = nextWord(from, limit);
                const OptionalMember* member = wire.optionals + i->c;
                const Instruction* first = i - member->distance;
                for (; member->memory != noMember && member->header != header; ++member)
                    Target::removeOptional(
                        first[member->distance], reinterpret_cast<void**>(value + member->memory));
                i = first + member->distance;
                if (member->memory == noMember) {
                    --i; // the next one is what comes behind the group
                    break;
                }
                void** pointer = reinterpret_cast<void**>(value + member->memory);
                if (i->code == Code::optionalSegment) {
                    if (!(from = getOptionalSegment(*i, pointer, from, limit)))
                        return nullptr;
                    i += i->b;
                } else if (!i->isText) {
                    if (!enter(*i, pointer, optionals))
                        return nullptr;
                    slots[i->slot] = value;
                    value = static_cast<char*>(*pointer);
                }
                break;
            }
            case Code::flagged: {
                void** pointer = reinterpret_cast<void**>(to);
                if (from == limit || static_cast<unsigned char>(*from) > 1)
                    return nullptr;
                if (*from++ == 0) {
                    Target::removeOptional(*i, pointer);
                    i += i->a;
                } else {
                    if (!enter(*i, pointer, optionals))
                        return nullptr;
                    slots[i->slot] = value;
                    value = static_cast<char*>(*pointer);
                }
                break;
            }
            case Code::block:
                if (!(from = take(from, limit, i->alignment, i->a)))
                    return nullptr;
                std::memcpy(to, from, i->a);
                from += i->a;
                break;
            case Code::text:
                if (!(from = readText(reinterpret_cast<char**>(to), i->a, from, limit)))
                    return nullptr;
                break;
            case Code::flaggedText:
                if (from == limit || static_cast<unsigned char>(*from) > 1)
                    return nullptr;
                if (*from++ == 0)
                    Target::removeText(reinterpret_cast<char**>(to));
                else if (!(from = readText(reinterpret_cast<char**>(to), i->a, from, limit)))
                    return nullptr;
                break;
            case Code::blockSequence:
            case Code::textSequence:
            case Code::sequence:
            case Code::referenceSequence:
                if (!(from = readSequence(*i, *reinterpret_cast<DDS_SequenceBase*>(to), from, limit)))
                    return nullptr;
                break;
            case Code::array:
                for (uint32_t n = 0; n < i->a; ++n, to += i->programs->shape.size)
                    if (!(from = run(i->programs->wire, to, from, limit)))
                        return nullptr;
                break;
            case Code::discriminated:
                if (!(from = readUnion(*i, to, from, limit)))
                    return nullptr;
                break;
            case Code::branch: {
                slots[i->slot] = limit;
                uint32_t found;
                if ((i->hasSize && !(from = readSize(from, limit))) ||
                    !(from = readDiscriminator(*i, to, from, limit, &found)))
                    return nullptr;
                i += wire.armStarts[i->wire + found] - 1;
                break;
            }
            case Code::closeArm:
                if (from != limit)
                    return nullptr;
                limit = static_cast<const char*>(slots[i->wire]);
                [[fallthrough]];
            case Code::armEnd:
                if (i->hasSize && from != limit)
                    return nullptr;
                limit = static_cast<const char*>(slots[i->slot]);
                i += i->a;
                break;
            case Code::reference:
                if (!(from = readReference(*i->programs, *reinterpret_cast<void**>(to), from, limit)))
                    return nullptr;
                break;
            case Code::call:
                if (!(from = run(i->programs->wire, to, from, limit)))
                    return nullptr;
                break;

            case Code::open: {
                if (!(from = take(from, limit, 4, 4)))
                    return nullptr;
                const uint32_t size = wordAt(from);
                from += 4;
                if (size > static_cast<size_t>(limit - from))
                    return nullptr;
                slots[i->slot] = limit;
                limit = from + size;
                break;
            }
            case Code::close:
                if (from != limit)
                    return nullptr;
                limit = static_cast<const char*>(slots[i->slot]);
                break;
            case Code::header: {
                if (!(from = take(from, limit, 4, i->hasSize ? 8 : 4)) || wordAt(from) != i->a)
                    return nullptr;
                from += 4;
                if (!i->hasSize)
                    break;
                const uint32_t size = wordAt(from);
                from += 4;
                if (size > static_cast<size_t>(limit - from))
                    return nullptr;
                slots[i->slot] = from + size;
                break;
            }
            case Code::closeHeader:
                if (from != slots[i->slot])
                    return nullptr;
                break;
            case Code::leave:
                if (i->hasSize && from != slots[i->slot + 1])
                    return nullptr;
                optionals.leave();
                value = static_cast<char*>(const_cast<void*>(slots[i->slot]));
                break;
            default:
                __builtin_unreachable();
            }
        }
    }

    // Where `size` bytes of that alignment lie.
    [[gnu::always_inline]] const char* take(
        const char* from, const char* limit, size_t alignment, size_t size) const {
        const size_t gap = (0 - static_cast<size_t>(from - base_)) & (alignment - 1);
        return static_cast<size_t>(limit - from) < gap + size ? nullptr : from + gap;
    }

    // The header of the next member; at the end one that no member has.
    [[gnu::always_inline]] uint32_t nextWord(const char* from, const char* limit) const {
        const char* at = take(from, limit, 4, 4);
        return at == nullptr ? noHeader : wordAt(at);
    }

    [[gnu::always_inline]] const char* getSegment(
        const Instruction& i, char* value, const char* from, const char* limit) const {
        from = take(from, limit, i.alignment, i.a);
        return from == nullptr ? nullptr : getPieces(i, value, from);
    }
    // The room is there.
    [[gnu::always_inline]] static const char* getPieces(
        const Instruction& i, char* value, const char* segment) {
        for (const Instruction *piece = &i + 1, *end = piece + i.b; piece != end; ++piece) {
            char* to = value + piece->memory;
            const char* at = segment + piece->wire;
            switch (piece->code) {
            case Code::copy1:
                *to = *at;
                break;
            case Code::copy2:
                std::memcpy(to, at, 2);
                break;
            case Code::copy4:
                std::memcpy(to, at, 4);
                break;
            case Code::copy8:
                std::memcpy(to, at, 8);
                break;
            case Code::copy16:
                std::memcpy(to, at, 16);
                break;
            case Code::copyTo64:
                copyTo64(to, at, piece->a);
                break;
            case Code::copyMany:
                copyBytes(to, at, piece->a);
                break;
            case Code::boolean:
                if (static_cast<unsigned char>(*at) > 1)
                    return discard(i, value);
                break;
            case Code::range:
                if (wordAt(at) - piece->a >= piece->b)
                    return discard(i, value);
                break;
            case Code::literal:
                if (!hasLiteral(*piece->programs->type, static_cast<DDS_Long>(wordAt(at))))
                    return discard(i, value);
                break;
            case Code::constant:
                if (wordAt(at) != piece->a)
                    return discard(i, value);
                break;
            case Code::constant8:
                if (std::memcmp(at, &piece->a, 8) != 0)
                    return discard(i, value);
                break;
            case Code::constant12:
                if (std::memcmp(at, &piece->a, 8) != 0 || wordAt(at + 8) != piece->c)
                    return discard(i, value);
                break;
            case Code::zero:
            case Code::zeros:
                break; // padding may be anything
            default:
                __builtin_unreachable();
            }
        }
        return segment + i.a;
    }

    static const char* discard(const Instruction& i, char* value) {
        Target::discard(i, value);
        return nullptr;
    }

    const char* getOptionalSegment(
        const Instruction& i, void** pointer, const char* from, const char* limit) {
        const bool isNew = Target::isNew || *pointer == nullptr;
        if (isNew && !target_.optional(i, pointer))
            return nullptr;
        from = getSegment(i, static_cast<char*>(*pointer), from, limit);
        if (from == nullptr && isNew)
            Target::removeOptional(i, pointer);
        return from;
    }

    // An optional value that is present, made if it was not there.
    bool enter(const Instruction& i, void** pointer, Optionals& optionals) {
        const bool isNew = Target::isNew || *pointer == nullptr;
        if (isNew && !target_.optional(i, pointer))
            return false;
        optionals.enter(pointer, isNew ? &i.programs->shape : nullptr);
        return true;
    }

    [[gnu::always_inline]] const char* readText(
        char** text, uint32_t bound, const char* from, const char* limit) {
        if (!(from = take(from, limit, 4, 4)))
            return nullptr;
        const uint32_t size = wordAt(from); // 0 is as wrong as one beyond the bound
        from += 4;
        if (size > static_cast<size_t>(limit - from) || size - 1 > bound)
            return nullptr;
        // Of a value that lives on nothing changes before the bytes have been looked at: the terminator
        // first, so that the search for an earlier one ends within them.
        if (!Target::isNew && (from[size - 1] != '\0' || textLength(from) != size - 1))
            return nullptr;
        char* to = target_.text(text, size);
        if (to == nullptr)
            return nullptr;
        if (!Target::isNew)
            copyBytes(to, from, size);
        else if (!copyText(to, from, size, limit))
            return nullptr;
        return from + size;
    }

    const char* readReference(
        const DDS_TypePrograms& programs, void*& pointer, const char* from, const char* limit) {
        void* value = target_.reference(programs.shape, &pointer);
        return value == nullptr ? nullptr : run(programs.wire, static_cast<char*>(value), from, limit);
    }

    // Past a DHEADER; `limit` becomes the end that it tells.
    [[gnu::always_inline]] const char* readSize(const char* from, const char*& limit) const {
        if (!(from = take(from, limit, 4, 4)))
            return nullptr;
        const uint32_t size = wordAt(from);
        from += 4;
        if (size > static_cast<size_t>(limit - from))
            return nullptr;
        limit = from + size;
        return from;
    }

    const char* readSequence(
        const Instruction& i, DDS_SequenceBase& sequence, const char* from, const char* limit) {
        if (i.hasSize && !(from = readSize(from, limit)))
            return nullptr;
        if (!(from = take(from, limit, 4, 4)))
            return nullptr;
        const uint32_t count = wordAt(from);
        from += 4;
        const Shape& shape = i.programs->shape;
        const bool isBlock = i.code == Code::blockSequence;
        // Every element takes a byte at least; a block takes what it has in memory.
        const auto left = static_cast<size_t>(limit - from);
        if (count > i.a || count > (isBlock ? left / shape.size : left))
            return nullptr;
        const uint32_t complete = sequence._maximum;
        const char* block = from;
        if (isBlock && count > 0 && !(block = take(from, limit, i.alignment, size_t{count} * shape.size)))
            return nullptr;
        if (!target_.elements(shape, sequence, count, isBlock))
            return nullptr;
        if (isBlock && count > 0 && sequence._contiguous_buffer != nullptr) {
            const size_t bytes = size_t{count} * shape.size;
            copyBytes(static_cast<char*>(sequence._contiguous_buffer), block, bytes);
            from = block + bytes;
        } else {
            for (uint32_t n = 0; n < count; ++n) {
                from = readElement(i, elementAt(elementOf(shape), sequence, n), from, limit);
                if (from != nullptr)
                    continue;
                Target::dropElements(shape, sequence, std::max(n, complete));
                return nullptr;
            }
        }
        if (i.hasSize && from != limit) {
            Target::dropElements(shape, sequence, complete);
            return nullptr;
        }
        sequence._length = count;
        return from;
    }

    [[gnu::always_inline]] const char* readElement(
        const Instruction& i, char* at, const char* from, const char* limit) {
        if (i.code == Code::textSequence)
            return readText(reinterpret_cast<char**>(at), i.b, from, limit);
        if (i.code == Code::referenceSequence)
            return readReference(
                *i.programs->wire.program->programs, *reinterpret_cast<void**>(at), from, limit);
        return run(i.programs->wire, at, from, limit);
    }

    const char* readUnion(const Instruction& i, char* value, const char* from, const char* limit) {
        if (i.hasSize && !(from = readSize(from, limit)))
            return nullptr;
        uint32_t found;
        from = readDiscriminator(i, value, from, limit, &found);
        const Arm* arm = from == nullptr ? nullptr : i.programs->arms.armOf(found);
        if (arm != nullptr)
            from = run(arm->programs->wire, value + arm->offset, from, limit);
        return i.hasSize && from != limit ? nullptr : from;
    }

    // Selects the arm; *found: see Arms.
    const char* readDiscriminator(
        const Instruction& i, char* value, const char* from, const char* limit, uint32_t* found) {
        const DDS_TypePrograms& programs = *i.programs;
        const Arms& arms = programs.arms;
        // Beside the value: its arm before must be known while it changes.
        alignas(8) char scratch[8] = {};
        if (i.alignment == 4) { // a word: the usual case
            if (!(from = take(from, limit, 4, 4)) || (i.b != 0 && wordAt(from) - i.a >= i.b))
                return nullptr;
            std::memcpy(scratch, from, 4);
            from += 4;
        } else if (!(from = run(programs.discriminator->wire, scratch, from, limit))) {
            return nullptr;
        }
        const DDS_LongLong discriminator =
            i.alignment == 4 ? wordLabel(i, wordAt(scratch)) : arms.valueOf(scratch);
        *found = arms.find(discriminator);
        return target_.select(i, value, discriminator, arms.armOf(*found)) ? from : nullptr;
    }

    static constexpr uint32_t noHeader =
        UINT32_MAX; // a member that has it all the same fails when it is read

    const char* base_;
    Target target_;
};

template <typename Target>
ReadResult readInto(const Wire& wire, char* value, const char* bytes, size_t size, const Memory& memory) {
    Reader<Target> reader(bytes, memory);
    if (reader.run(wire, value, bytes, bytes + size) != nullptr)
        return ReadResult::done;
    return reader.isOutOfMemory() ? ReadResult::failed : ReadResult::other;
}

} // namespace

ReadResult readWire(const Wire& wire, char* value, const char* bytes, size_t size, const Memory& memory) {
    return readInto<LivingTarget>(wire, value, bytes, size, memory);
}

ReadResult readWireIntoNew(
    const Wire& wire, char* value, const char* bytes, size_t size, const Memory& memory) {
    return readInto<NewTarget>(wire, value, bytes, size, memory);
}

} // namespace zdds::types
