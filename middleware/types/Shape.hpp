// The memory side of a type as a flat program: what a value consists of, and what its defaults are.
//
// A shape is an image of the default value, and operations for what is not covered by copying the image:
// strings, sequences, pointers, unions. Nested structures and arrays of plain elements are flattened:
// neighbouring plain members are one operation, a plain type is one copy. Threads: constant once made.
// Ownership: the shape's programs (Programs.hpp) own it.
#ifndef ZDDSC_TYPES_SHAPE_HPP
#define ZDDSC_TYPES_SHAPE_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zddsc/type_descriptor.h"

struct DDS_TypePrograms;

namespace zdds::types {

struct Shape;
enum class OpCode : uint8_t {
    plain,          // `size` bytes
    string,         // char*, never null in an initialized value; text: the default
    optionalString, // char*, null when absent
    optional,       // pointer to a value of `shape`, null when absent
    reference,      // pointer to a value of `shape`
    // Those before are pointers.
    sequence, // of elements of `shape`
    loop,     // `count` values of `shape` in place
    arms      // a union
};

struct Arm {
    uint32_t offset; // from the start of the union
    const Shape* shape;
    const DDS_TypePrograms* programs;
};

struct ArmLabel {
    DDS_LongLong value;
    const Arm* arm;
};

struct Arms {
    uint32_t discriminatorOffset;
    uint32_t count;
    uint32_t labelCount;
    const DDS_TypeDescriptor* discriminator; // alias resolved
    DDS_LongLong defaultDiscriminator;
    const Arm* list;
    const ArmLabel* labels;
    const Arm* fallback; // where no label fits; null for none
    bool needsOwners;    // an arm has texts or references

    static constexpr uint32_t indexSize = 32;
    bool isIndexed;
    uint8_t indexShift;
    uint8_t index[indexSize]; // of `labels`, by those bits; the first one's where no label has them

    // Of the bytes of a discriminator.
    DDS_LongLong valueOf(const char* bytes) const {
        if (discriminator->kind != DDS_TYPE_LONG && discriminator->kind != DDS_TYPE_ENUM)
            return valueOfOther(bytes);
        DDS_Long value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
    DDS_LongLong read(const void* unionValue) const {
        return valueOf(static_cast<const char*>(unionValue) + discriminatorOffset);
    }
    void write(void* unionValue, DDS_LongLong discriminator) const;
    // The index of the label; labelCount when there is none such.
    uint32_t find(DDS_LongLong label) const {
        if (isIndexed) {
            const uint32_t at =
                index[static_cast<DDS_UnsignedLongLong>(label) >> indexShift & (indexSize - 1)];
            return labels[at].value == label ? at : labelCount;
        }
        for (uint32_t at = 0; at != labelCount; ++at)
            if (labels[at].value == label)
                return at;
        return labelCount;
    }
    // The arm that belongs to what was found; null for none.
    const Arm* armOf(uint32_t found) const { return found == labelCount ? fallback : labels[found].arm; }
    const Arm* select(DDS_LongLong label) const { return armOf(find(label)); }
    // Looks for five bits in which all labels differ.
    void makeIndex();

private:
    DDS_LongLong valueOfOther(const char* bytes) const;
};

struct Op {
    OpCode code;
    uint32_t offset;
    uint32_t size;  // plain
    uint32_t count; // loop; sequence: its bound, 0 for none
    union {
        const Shape* shape;
        const Arms* arms;
        const char* text; // string; null: ""
    };
};

// What a value owns, wherever it lies in the value: arms and short arrays are opened.
struct Owned {
    OpCode code; // none that is plain, or arms
    uint32_t offset;
    uint32_t count; // loop
    const Shape* shape;
};

struct Shape {
    uint32_t size = 0;
    uint32_t alignment = 1;
    uint32_t ownerCount = 0; // the first so many operations are all that are not plain
    uint32_t opCount = 0;
    const Op* ops = nullptr;
    const uint8_t* image = nullptr; // null: zeros
    const Owned* owned = nullptr;
    uint32_t ownedCount = 0;
    uint32_t ownedPointers = 0; // the first so many of them
    bool hasArms = false;       // a union that is not plain lies in the value itself
    bool hasTexts = false;      // strings that are not optional lie in it
    bool hasReferences = false; // references likewise

    bool isPlain() const { return ownerCount == 0; }
    const Op* owners() const { return ops; }
    const Op* ownersEnd() const { return ops + ownerCount; }
    const Op* opsEnd() const { return ops + opCount; }
};

// The type behind aliases that are not references.
inline const DDS_TypeDescriptor* resolve(const DDS_TypeDescriptor* type) {
    while (type->kind == DDS_TYPE_ALIAS && (type->flags & DDS_TYPE_FLAG_REFERENCE) == 0)
        type = type->element;
    return type;
}
// The type behind all aliases: what travels on the wire.
inline const DDS_TypeDescriptor* resolveAll(const DDS_TypeDescriptor* type) {
    while (type->kind == DDS_TYPE_ALIAS)
        type = type->element;
    return type;
}
// Of an array, through arrays that are its elements.
inline const DDS_TypeDescriptor* innermostElement(const DDS_TypeDescriptor& array) {
    const DDS_TypeDescriptor* element = resolve(array.element);
    while (element->kind == DDS_TYPE_ARRAY)
        element = resolve(element->element);
    return element;
}
inline bool isPrimitive(DDS_TypeKind kind) {
    return kind >= DDS_TYPE_BOOLEAN && kind <= DDS_TYPE_DOUBLE;
}
inline bool isOptional(const DDS_TypeMember& member) {
    return (member.flags & DDS_MEMBER_FLAG_OPTIONAL) != 0;
}
// The lowest enumerator that is not negative, or the first.
DDS_Long defaultLiteral(const DDS_TypeDescriptor* enumeration);

} // namespace zdds::types

#endif
