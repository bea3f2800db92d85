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
    bool collect();
    bool push(const Op& op);
    bool pushPlain(size_t offset, size_t size);
    // What `inner` consists of, at `offset` of this type.
    bool splice(const Shape& inner, size_t offset);
    bool pushMember(const DDS_TypeMember& member, const Shape& inner);
    bool pushArm(const DDS_TypeMember& member, const DDS_TypePrograms& inner);
    bool pushArray(const Shape& inner);
    bool putImage(size_t offset, const void* bytes, size_t size);
    bool putDefault(const DDS_TypeMember& member);
    bool collectLabels();
    bool collectOwned(const Op& op);
    bool addOwned(const Shape& inner, size_t offset);
    bool finish();

    DDS_TypePrograms& programs_;
    const DDS_TypeDescriptor& type_;
    bool isPlainUnion_ = true;
    bool armsNeedOwners_ = false;
};

// Nested: a function that gives the programs of a type within, or null.
template <typename Nested> class ShapeBuilder : ShapeBuilderBase {
public:
    ShapeBuilder(DDS_TypePrograms& programs, Nested nested) : ShapeBuilderBase(programs), nested_(nested) {}

    bool build() {
        return checkDescriptor() && programs_.image.resize(type_.size) && collectNested() && collect() &&
               finish();
    }

private:
    bool addNested(const DDS_TypeDescriptor* type) {
        const DDS_TypePrograms* programs = nested_(type);
        return programs != nullptr && programs_.nested.push(programs);
    }

    bool collectNested() {
        switch (type_.kind) {
        case DDS_TYPE_STRUCT:
        case DDS_TYPE_UNION:
            for (const DDS_TypeMember* member = type_.members; member != type_.members + type_.memberCount;
                 ++member)
                if (!addNested(isOptional(*member) ? resolveAll(member->type) : member->type))
                    return false;
            if (type_.kind == DDS_TYPE_STRUCT)
                return true;
            programs_.discriminator = nested_(type_.discriminator);
            return programs_.discriminator != nullptr;
        case DDS_TYPE_ARRAY: {
            const DDS_TypeDescriptor* element = innermostElement(type_);
            programs_.count = static_cast<uint32_t>(type_.size / element->size);
            return addNested(element);
        }
        case DDS_TYPE_ALIAS:
        case DDS_TYPE_SEQUENCE:
            return addNested(type_.element);
        default:
            return true;
        }
    }

    Nested nested_;
};

} // namespace zdds::types

#endif
