// Makes the shape of a descriptor, from the shapes of the types within it.
#ifndef ZDDSC_TYPES_SHAPE_BUILDER_HPP
#define ZDDSC_TYPES_SHAPE_BUILDER_HPP

#include "middleware/types/Programs.hpp"

namespace zdds::types {


class ShapeBuilderBase {
protected:
    explicit ShapeBuilderBase(DDS_TypePrograms& programs) : programs_(programs), type_(*programs.type) {}

    bool reportUnusable(const char* reason) const;
    bool checkDescriptor() const;
    bool push(const Op& op);
    bool pushPlain(size_t offset, size_t size);
    // What `inner` consists of, at `offset` of this type.
    bool splice(const Shape& inner, size_t offset);
    bool pushMember(const DDS_TypeMember& member, const Shape& inner);
    bool pushArm(const DDS_TypeMember& member, const Shape& inner);
    bool pushArray(const Shape& inner);
    bool putImage(size_t offset, const void* bytes, size_t size);
    bool putDefault(const DDS_TypeMember& member);
    bool finish();

    DDS_TypePrograms& programs_;
    const DDS_TypeDescriptor& type_;
    bool isPlainUnion_ = true;
};

// Nested: a function that gives the programs of a type within, or null.
template <typename Nested> class ShapeBuilder : ShapeBuilderBase {
public:
    ShapeBuilder(DDS_TypePrograms& programs, Nested nested) : ShapeBuilderBase(programs), nested_(nested) {}

    bool build() { return checkDescriptor() && programs_.image.resize(type_.size) && collect() && finish(); }

private:
    const Shape* shapeOf(const DDS_TypeDescriptor* type) {
        const DDS_TypePrograms* programs = nested_(type);
        return programs == nullptr ? nullptr : &programs->shape;
    }

    bool collect() {
        switch (type_.kind) {
        case DDS_TYPE_STRING: return push({OpCode::string, 0, sizeof(char*), 0, {.text = nullptr}});
        case DDS_TYPE_STRUCT:
        case DDS_TYPE_UNION:
            for (const DDS_TypeMember* member = type_.members; member != type_.members + type_.memberCount; ++member) {
                const Shape* inner = shapeOf(isOptional(*member) ? resolveAll(member->type) : member->type);
                if (inner == nullptr) return false;
                if (!(type_.kind == DDS_TYPE_STRUCT ? pushMember(*member, *inner) : pushArm(*member, *inner)))
                    return false;
            }
            return true;
        case DDS_TYPE_ALIAS:
        case DDS_TYPE_ARRAY:
        case DDS_TYPE_SEQUENCE: {
            const Shape* inner = shapeOf(type_.element);
            if (inner == nullptr) return false;
            if (type_.kind == DDS_TYPE_ARRAY) return pushArray(*inner);
            if (type_.kind == DDS_TYPE_SEQUENCE)
                return push({OpCode::sequence, 0, 0, type_.bound, {.shape = inner}});
            if (type_.flags & DDS_TYPE_FLAG_REFERENCE) return push({OpCode::reference, 0, 0, 0, {.shape = inner}});
            return splice(*inner, 0);
        }
        default: return pushPlain(0, type_.size); // primitives and enumerations
        }
    }

    Nested nested_;
};

} // namespace zdds::types

#endif
