// The size of an encoding, by the same program that writes it.
#include "middleware/types/MemberAccess.hpp"
#include "middleware/types/TextLength.hpp"
#include "middleware/types/WireWriter.hpp"
#include "middleware/types/Xcdr.hpp"

namespace zdds::types {
namespace {

constexpr size_t failure = SIZE_MAX;

size_t add(size_t position, size_t alignment, size_t size) {
    return position + ((0 - position) & (alignment - 1)) + size;
}

size_t run(const Wire& wire, const char* value, size_t position);

// What writing would refuse of a segment is an enumerator.
size_t addSegment(const Instruction& i, const char* value, size_t position) {
    for (const Instruction *piece = &i + 1, *end = piece + i.b; piece != end; ++piece) {
        const char* from = value + piece->memory;
        if (piece->code == Code::range && wordAt(from) - piece->a >= piece->b)
            return failure;
        if (piece->code == Code::literal &&
            !hasLiteral(*piece->programs->type, static_cast<DDS_Long>(wordAt(from))))
            return failure;
    }
    return add(position, i.alignment, i.a);
}

size_t addText(const char* text, size_t bound, size_t position) {
    const size_t length = textLength(text);
    return length > bound ? failure : add(position, 4, 4 + length + 1);
}

size_t addSequence(const Instruction& i, const DDS_SequenceBase& sequence, size_t position) {
    const uint32_t length = sequence._length;
    if (length > i.a)
        return failure;
    position = add(position, 4, i.hasSize ? 8 : 4);
    if (length == 0)
        return position;
    const size_t size = i.programs->shape.size;
    if (i.code == Code::blockSequence)
        return add(position, i.alignment, length * size);
    if (i.code == Code::textSequence) {
        for (uint32_t n = 0; n < length && position != failure; ++n)
            position = addText(textAt(sequenceElement(sequence, n, size)), i.b, position);
        return position;
    }
    const Wire& wire = i.programs->wire;
    for (uint32_t n = 0; n < length && position != failure; ++n)
        position = run(wire, sequenceElement(sequence, n, size), position);
    return position;
}

size_t addDiscriminator(const Instruction& i, const char* value, size_t position) {
    const DDS_TypePrograms& programs = *i.programs;
    if (i.hasSize)
        position = add(position, 4, 4);
    return run(programs.discriminator->wire, value + programs.arms.discriminatorOffset, position);
}

size_t addUnion(const Instruction& i, const char* value, size_t position) {
    position = addDiscriminator(i, value, position);
    const Arm* arm = i.programs->arms.select(i.programs->arms.read(value));
    return arm == nullptr || position == failure ? position
                                                 : run(arm->programs->wire, value + arm->offset, position);
}

size_t run(const Wire& wire, const char* value, size_t position) {
    const char* around[mostSlots];
    for (const Instruction* i = wire.program;; ++i) {
        const char* from = value + i->memory;
        switch (i->code) {
        case Code::end:
            return position;
        case Code::segment:
        case Code::openSegment:
            position = addSegment(*i, value, position);
            i += i->b;
            break;
        case Code::optionalSegment:
            if (const char* pointer = pointerAt(from))
                position = addSegment(*i, pointer, position);
            i += i->b;
            break;
        case Code::word:
        case Code::open:
            position = add(position, 4, 4);
            break;
        case Code::block:
            position = add(position, i->alignment, i->a);
            break;
        case Code::close:
        case Code::closeHeader:
            break;
        case Code::text:
            position = addText(textAt(from), i->a, position);
            break;
        case Code::flaggedText:
            position += 1;
            if (const char* text = pointerAt(from))
                position = addText(text, i->a, position);
            break;
        case Code::blockSequence:
        case Code::textSequence:
        case Code::sequence:
        case Code::referenceSequence:
            position = addSequence(*i, sequenceAt(from), position);
            break;
        case Code::array:
            for (uint32_t n = 0; n < i->a && position != failure; ++n)
                position = run(i->programs->wire, from + n * size_t{i->programs->shape.size}, position);
            break;
        case Code::discriminated:
            position = addUnion(*i, from, position);
            break;
        case Code::branch: {
            const Arms& arms = i->programs->arms;
            position = addDiscriminator(*i, from, position);
            i += wire.armStarts[i->wire + arms.find(arms.read(from))] - 1;
            break;
        }
        case Code::armEnd:
        case Code::closeArm:
            i += i->a;
            break;
        case Code::reference:
            from = pointerAt(from);
            position = from == nullptr ? failure : run(i->programs->wire, from, position);
            break;
        case Code::call:
            position = run(i->programs->wire, from, position);
            break;
        case Code::header:
            position = add(position, 4, i->hasSize ? 8 : 4);
            break;
        case Code::flagged:
            position += 1;
            [[fallthrough]];
        case Code::optional: {
            const char* pointer = pointerAt(from);
            if (pointer == nullptr) {
                i += i->a;
            } else if (!i->isText) {
                around[i->slot] = value;
                value = pointer;
            }
            break;
        }
        case Code::leave:
            value = around[i->slot];
            break;
        default:
            __builtin_unreachable(); // pieces come in segments
        }
        if (position == failure)
            return failure;
    }
}

} // namespace

bool measureWire(const Wire& wire, const char* value, size_t* position) {
    *position = run(wire, value, *position);
    return *position != failure;
}

} // namespace zdds::types
