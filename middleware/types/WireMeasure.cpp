// The size of an encoding, by the same program that writes it.
#include "middleware/types/MemberAccess.hpp"
#include "middleware/types/WireWriter.hpp"
#include "middleware/types/Xcdr.hpp"

namespace zdds::types {
namespace {

constexpr size_t failure = SIZE_MAX;

size_t add(size_t position, size_t alignment, size_t size) {
    return position + ((0 - position) & (alignment - 1)) + size;
}

size_t run(const Instruction* i, const char* value, size_t position);

size_t addSequence(const Instruction& i, const DDS_SequenceBase& sequence, size_t position) {
    const uint32_t length = sequence._length;
    if (length > i.a) return failure;
    position = add(position, 4, 4);
    if (length == 0) return position;
    const size_t size = i.programs->shape.size;
    if (i.code == Code::blockSequence) return add(position, i.alignment, length * size);
    const Wire& wire = i.programs->wire;
    for (uint32_t n = 0; n < length && position != failure; ++n)
        position = run(wire.program, sequenceElement(sequence, n, size), position);
    return position;
}

size_t addUnion(const DDS_TypePrograms& programs, const char* value, size_t position) {
    const Arms& arms = programs.arms;
    position = run(programs.discriminator->wire.program, value + arms.discriminatorOffset, position);
    const Arm* arm = arms.select(arms.read(value));
    return arm == nullptr || position == failure ? position
                                                 : run(arm->programs->wire.program, value + arm->offset, position);
}

size_t run(const Instruction* i, const char* value, size_t position) {
    const char* around[mostSlots];
    for (;; ++i) {
        const char* from = value + i->memory;
        switch (i->code) {
        case Code::end: return position;
        case Code::segment:
        case Code::block: position = add(position, i->alignment, i->a); break;
        case Code::copy1:
        case Code::copy2:
        case Code::copy4:
        case Code::copy8:
        case Code::copy16:
        case Code::copyMany:
        case Code::boolean:
        case Code::constant:
        case Code::constant8:
        case Code::constant12:
        case Code::zero:
        case Code::zeros:
        case Code::close:
        case Code::closeHeader: break;
        case Code::range:
            if (wordAt(from) - i->a >= i->b) return failure;
            break;
        case Code::literal:
            if (!hasLiteral(*i->programs->type, static_cast<DDS_Long>(wordAt(from)))) return failure;
            break;
        case Code::text: {
            const size_t length = std::strlen(textAt(from));
            if (length > i->a) return failure;
            position = add(position, 4, 4 + length + 1);
            break;
        }
        case Code::blockSequence:
        case Code::sequence: position = addSequence(*i, sequenceAt(from), position); break;
        case Code::array:
            for (uint32_t n = 0; n < i->a && position != failure; ++n)
                position = run(i->programs->wire.program, from + n * size_t{i->programs->shape.size}, position);
            break;
        case Code::discriminated: position = addUnion(*i->programs, from, position); break;
        case Code::reference:
            from = pointerAt(from);
            position = from == nullptr ? failure : run(i->programs->wire.program, from, position);
            break;
        case Code::call: position = run(i->programs->wire.program, from, position); break;
        case Code::open: position = add(position, 4, 4); break;
        case Code::header: position = add(position, 4, i->hasSize ? 8 : 4); break;
        case Code::flagged: position += 1; [[fallthrough]];
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
        case Code::leave: value = around[i->slot]; break;
        }
        if (position == failure) return failure;
    }
}

} // namespace

bool measureWire(const Wire& wire, const char* value, size_t* position) {
    *position = run(wire.program, value, *position);
    return *position != failure;
}

} // namespace zdds::types
