// The wire side of a type as a flat program: XCDR version 2 in native byte order, in the form that writers give it.
//
// Neighbouring members of fixed size are one segment: a list of pieces at constant offsets in both memory and
// stream, headers of nested structures included, behind one check for room. Whatever has another form (a foreign
// byte order, XCDR 1, members more or fewer than known) is left to the walker (XcdrReader.hpp).
// Threads: constant once made. Ownership: the type's programs own it.
#ifndef ZDDSC_TYPES_WIRE_HPP
#define ZDDSC_TYPES_WIRE_HPP

#include <cstdint>

#include "middleware/types/Shape.hpp"

namespace zdds::types {

enum class PieceCode : uint8_t {
    copy1,
    copy2,
    copy4,
    copy8,
    copy16,
    copyMany,    // value: bytes
    constant,    // 4 bytes: value
    zeros,       // value: bytes of padding
    boolean,     // checks a byte that a copy has moved
    enumeration  // checks 4 bytes that a copy has moved, against the literals of `type`
};

struct Piece {
    PieceCode code;
    uint32_t wire;   // offset in the segment
    uint32_t memory; // offset in the value
    uint32_t value;
    const DDS_TypeDescriptor* type;
};

struct Segment {
    const Piece* pieces = nullptr;
    uint32_t count = 0;
    uint32_t size = 0;      // bytes in the stream
    uint32_t alignment = 1; // of its first byte
};

enum class WireKind : uint8_t {
    fixed, // one segment
    string,
    blockSequence, // elements lie in the stream as in memory
    sequence,
    array, // of elements that are not fixed, or too many for one segment
    structure,
    discriminated, // a union
    reference
};

struct Wire;

enum class Header : uint8_t {
    none,
    flag,  // a boolean before an optional member
    member // an EMHEADER, with NEXTINT for length code 4
};

// A step of a structure.
struct WireOp {
    bool isSegment;
    bool isOptional; // a pointer lies at the offset
    bool isText;     // optional: the pointer is the string itself
    Header header;   // of an optional or mutable member; a segment holds it already
    uint32_t offset;
    uint32_t memberHeader; // EMHEADER
    Segment segment;
    const Wire* wire;
    const Shape* shape; // of an optional value
};

struct Wire {
    WireKind kind = WireKind::fixed;
    bool isDelimited = false; // a DHEADER comes first
    bool isMutable = false;
    uint8_t lengthCode = 4; // in a member header: see Xcdr.hpp
    uint32_t bound = 0;     // sequence, string; array: elements
    Segment fixed;
    const Wire* element = nullptr; // sequence, array, reference
    const Shape* elementShape = nullptr;
    const WireOp* ops = nullptr;
    uint32_t opCount = 0;
    const Arms* arms = nullptr;
    const Segment* discriminator = nullptr;
};

// Does the enumeration have the value?
inline bool hasLiteral(const DDS_TypeDescriptor& type, DDS_Long value) {
    const DDS_TypeLiteral* first = type.literals;
    const DDS_TypeLiteral* last = first + type.literalCount - 1;
    if (value < first->value || value > last->value) return false;
    // Ascending and without gaps: the usual enumeration.
    if (last->value - static_cast<DDS_LongLong>(first->value) == type.literalCount - 1) return true;
    for (; first <= last; ++first)
        if (first->value == value) return true;
    return false;
}

} // namespace zdds::types

#endif
