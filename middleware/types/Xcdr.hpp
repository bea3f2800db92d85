// Facts of the encodings, OMG DDS-XTypes 1.3.
#ifndef ZDDSC_TYPES_XCDR_HPP
#define ZDDSC_TYPES_XCDR_HPP

#include <bit>
#include <cstddef>
#include <cstdint>

#include "middleware/types/Programs.hpp"

namespace zdds::types {

// Default values and discriminators are stored by the low bytes of 64-bit integers.
static_assert(std::endian::native == std::endian::little, "big-endian machines need another byte order here");

constexpr size_t encapsulationSize = 4;

// XCDR 1 parameters.
constexpr uint16_t parameterIdMask = 0x3FFF;
constexpr uint16_t parameterMustUnderstand = 0x4000;
constexpr uint16_t parameterLargestShortId = 0x3F00;
constexpr uint16_t parameterExtended = 0x3F01;
constexpr uint16_t parameterListEnd = 0x3F02;
constexpr uint16_t parameterIgnore = 0x3F03;
constexpr uint32_t extendedMustUnderstand = 0x40000000;

// XCDR 2 member headers.
constexpr uint32_t memberIdMask = 0x0FFFFFFF;
constexpr uint32_t memberMustUnderstand = 0x80000000;
constexpr unsigned memberLengthCodeShift = 28;

constexpr uint8_t lengthCodeNextInt = 4; // NEXTINT is the size
constexpr uint8_t lengthCodeShared = 5;  // the value's own first 4 bytes are its size without them
constexpr uint8_t lengthCodeShared4 = 6; // the same in units of 4 bytes
constexpr uint8_t lengthCodeShared8 = 7; // of 8

struct Encapsulation {
    bool isXcdr2;
    bool isBigEndian;
    DDS_TypeExtensibility extensibility; // of XCDR 1: final stands for appendable too
};

// False for an identifier that is none of CDR.
inline bool parseEncapsulation(uint16_t identifier, Encapsulation* encapsulation) {
    if (identifier > 0x000B || identifier == 0x0004 || identifier == 0x0005)
        return false;
    encapsulation->isBigEndian = (identifier & 1) == 0;
    encapsulation->isXcdr2 = identifier >= 0x0006;
    const int form = identifier >> 1; // 0 CDR, 1 PL_CDR, 3 PLAIN_CDR2, 4 DELIMITED_CDR2, 5 PL_CDR2
    encapsulation->extensibility = form == 1 || form == 5 ? DDS_TYPE_MUTABLE
                                   : form == 4            ? DDS_TYPE_APPENDABLE
                                                          : DDS_TYPE_FINAL;
    return true;
}

// What a type's top level has; types other than structures and unions count as final.
inline DDS_TypeExtensibility extensibilityOf(const DDS_TypeDescriptor& type) {
    return type.kind == DDS_TYPE_STRUCT || type.kind == DDS_TYPE_UNION ? type.extensibility : DDS_TYPE_FINAL;
}

inline uint16_t littleEndianIdentifier(const DDS_TypeDescriptor& type, bool isXcdr2) {
    const DDS_TypeExtensibility extensibility = extensibilityOf(type);
    if (!isXcdr2)
        return extensibility == DDS_TYPE_MUTABLE ? 0x0003 : 0x0001;
    return extensibility == DDS_TYPE_MUTABLE      ? 0x000B
           : extensibility == DDS_TYPE_APPENDABLE ? 0x0009
                                                  : 0x0007;
}

// Collections of anything but primitives have a DHEADER in XCDR 2. An array of arrays is one array.
inline bool hasCollectionHeader(const DDS_TypeDescriptor& collection) {
    const DDS_TypeDescriptor* element = resolveAll(collection.element);
    if (collection.kind == DDS_TYPE_ARRAY)
        element = resolveAll(innermostElement(collection));
    return !isPrimitive(element->kind);
}
inline bool hasDelimiter(const DDS_TypeDescriptor& type) {
    switch (type.kind) {
    case DDS_TYPE_ARRAY:
    case DDS_TYPE_SEQUENCE:
        return hasCollectionHeader(type);
    default:
        return extensibilityOf(type) != DDS_TYPE_FINAL;
    }
}

// The length code that the member header of a value gets: one that needs no NEXTINT where there is one.
inline uint8_t lengthCodeOf(const DDS_TypeDescriptor& type) {
    switch (type.kind) {
    case DDS_TYPE_STRING:
        return lengthCodeShared;
    case DDS_TYPE_ENUM:
        return 2;
    case DDS_TYPE_ARRAY:
        return hasCollectionHeader(type) ? lengthCodeShared : lengthCodeNextInt;
    case DDS_TYPE_SEQUENCE:
        if (hasCollectionHeader(type))
            return lengthCodeShared;
        switch (resolveAll(type.element)->size) { // the count, in units of the elements
        case 1:
            return lengthCodeShared;
        case 4:
            return lengthCodeShared4;
        case 8:
            return lengthCodeShared8;
        default:
            return lengthCodeNextInt;
        }
    case DDS_TYPE_STRUCT:
    case DDS_TYPE_UNION:
        return lengthCodeNextInt;
    case DDS_TYPE_ALIAS:
        return lengthCodeOf(*resolveAll(&type));
    default:
        return static_cast<uint8_t>(std::countr_zero(type.size));
    }
}

inline uint32_t memberHeaderOf(const DDS_TypeMember& member) {
    return (member.id & memberIdMask) |
           uint32_t{lengthCodeOf(*resolveAll(member.type))} << memberLengthCodeShift |
           ((member.flags & DDS_MEMBER_FLAG_MUST_UNDERSTAND) != 0 ? memberMustUnderstand : 0);
}

inline size_t paddingTo(size_t position, size_t alignment) {
    return (0 - position) & (alignment - 1);
}

} // namespace zdds::types

#endif
