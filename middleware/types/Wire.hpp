// The wire side of a type as a flat program: XCDR version 2 in native byte order, in the form that writers
// give it.
//
// A program is a row of instructions that one loop runs. Neighbouring members of fixed size are one segment:
// room is looked after once, and the pieces that follow work at constant offsets in both memory and stream,
// headers of nested structures included. Structures and unions within are part of the row unless they are
// long; sequences run the programs of what they hold. Whatever has another form (a foreign byte order, XCDR
// 1, members more or fewer than known) is left to the walker (XcdrReader.hpp). Threads: constant once made.
// Ownership: the type's programs own it.
#ifndef ZDDSC_TYPES_WIRE_HPP
#define ZDDSC_TYPES_WIRE_HPP

#include <cstdint>

#include "middleware/types/Shape.hpp"

struct DDS_TypePrograms;

namespace zdds::types {

enum class Code : uint8_t {
    end,
    // Pieces of a segment, at `wire` of it.
    copy1,
    copy2,
    copy4,
    copy8,
    copy16,
    copyTo64,   // a: size, from 32 on
    copyMany,   // a: size
    boolean,    // checks the byte that a copy has moved
    range,      // checks an enumerator that a copy has moved: from a on, b values
    literal,    // the same against the enumeration of `programs`
    constant,   // 4 bytes: a
    constant8,  // 8 bytes: a, b
    constant12, // 12 bytes: a, b, c
    zero,       // a byte of padding
    zeros,      // padding before something of 4 bytes, which is written afterwards: up to 4 bytes

    segment,         // alignment; a: size; b: pieces that follow
    openSegment,     // the same of alignment 4, behind a DHEADER, which is its first word; slot
    word,            // a segment of 4 bytes without a check
    optionalSegment, // an optional member of fixed form, header included: the same; c: see OptionalMember
    block,           // alignment; a: size: plain bytes too many for a segment
    text,            // a: most characters
    flaggedText,     // the same, optional, behind its boolean

    // hasSize: behind a DHEADER of their own.
    blockSequence,     // alignment; a: most elements; b: size of one: they lie in the stream as in memory
    textSequence,      // a: most elements; b: most characters of one; of `programs`
    sequence,          // a: most elements; of `programs`
    referenceSequence, // the same of references, each to a value of what `programs` refers to
    discriminated, // a union of `programs`; alignment: 4 for a discriminator that is a word within [a, a +
                   // b); c: not 0 when it is unsigned
    branch,   // the same where the arms follow in the row, each up to its armEnd; slot; wire: see armStarts
    armEnd,   // hasSize: the end of the union's DHEADER; slot; a: instructions to skip
    closeArm, // a `close` of slot `wire` before it

    array,     // a: elements; of `programs`
    reference, // to a value of `programs`
    call,      // a structure of `programs` that is too long to be part of the row

    open,   // a DHEADER; slot
    close,  // its end
    header, // a: EMHEADER; hasSize: and NEXTINT; slot
    closeHeader,
    flagged,  // an optional member behind its boolean; slot and `programs`; a: instructions to skip
    optional, // the same in a mutable structure, or isText: see OptionalMember; c: its index. A `header`
              // follows
    leave     // the end of an optional value; slot; hasSize: and of its member header, of the next slot
};

struct Instruction {
    Code code = Code::end;
    uint8_t alignment = 1;
    bool hasSize = false;
    bool isText = false;
    uint16_t slot = 0;
    uint16_t wire = 0;   // of a piece: offset in the segment
    uint32_t memory = 0; // offset in the value
    uint32_t a = 0;
    uint32_t b = 0;
    uint32_t c = 0;
    const DDS_TypePrograms* programs = nullptr;
};

// Optional members of a mutable structure that follow each other, so that those absent are passed in a tight
// loop.
struct OptionalMember {
    uint32_t memory;   // where its pointer lies; behind the last one `noMember`
    uint32_t header;   // EMHEADER
    uint32_t distance; // of its instruction, or of what comes behind the group, from the first one's
};
constexpr uint32_t noMember = UINT32_MAX;

// Each level of nesting takes three slots at most: of a DHEADER, of a member header, of an optional value.
constexpr unsigned mostSlots = 3 * (DDS_TYPE_MAXIMUM_NESTING + 2);

struct Wire {
    const Instruction* program = nullptr;
    const OptionalMember* optionals = nullptr;
    uint32_t count = 0; // of instructions, with the `end`
    uint32_t optionalCount = 0;
    // Of each `branch`: the distance from it to the arm of each label, and to that of all others.
    const uint32_t* armStarts = nullptr;
    uint32_t armStartCount = 0;
    uint16_t slots = 0;         // that the row uses
    bool isFixed = false;       // one segment: the row is `segment`, what works in it, `end`
    uint8_t lengthCode = 4;     // in a member header: see Xcdr.hpp
    uint16_t encapsulation = 0; // identifier of a sample of the type

    uint32_t fixedSize() const { return program->a; }
    uint32_t fixedAlignment() const { return program->alignment; }
};

// Of a discriminator that is a word.
inline DDS_LongLong wordLabel(const Instruction& discriminated, uint32_t word) {
    return discriminated.c != 0 ? DDS_LongLong{word} : DDS_LongLong{static_cast<DDS_Long>(word)};
}

// Does the enumeration have the value?
inline bool hasLiteral(const DDS_TypeDescriptor& type, DDS_Long value) {
    const DDS_TypeLiteral* first = type.literals;
    const DDS_TypeLiteral* last = first + type.literalCount - 1;
    if (value < first->value || value > last->value)
        return false;
    // Ascending and without gaps: the usual enumeration.
    if (last->value - static_cast<DDS_LongLong>(first->value) == type.literalCount - 1)
        return true;
    for (; first <= last; ++first)
        if (first->value == value)
            return true;
    return false;
}

} // namespace zdds::types

#endif
