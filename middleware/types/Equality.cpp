#include <cstring>

#include "middleware/types/Programs.hpp"
#include "zddsc/type_engine.h"

namespace zdds::types {
namespace {

template <typename T> const T& slotAt(const char* value) {
    return *reinterpret_cast<const T*>(value);
}

bool areEqual(const DDS_TypePrograms& programs, const char* left, const char* right);

bool areEqualTexts(const char* left, const char* right) {
    return std::strcmp(left == nullptr ? "" : left, right == nullptr ? "" : right) == 0;
}

const char* elementAt(const DDS_SequenceBase& sequence, uint32_t index, size_t size) {
    return sequence._discontiguous_buffer != nullptr
               ? static_cast<const char*>(sequence._discontiguous_buffer[index])
               : static_cast<const char*>(sequence._contiguous_buffer) + index * size;
}

bool areEqualSequences(
    const DDS_TypePrograms& element, const DDS_SequenceBase& left, const DDS_SequenceBase& right) {
    if (left._length != right._length)
        return false;
    for (uint32_t i = 0; i < left._length; ++i)
        if (!areEqual(
                element, elementAt(left, i, element.type->size), elementAt(right, i, element.type->size)))
            return false;
    return true;
}

bool areEqualMembers(const DDS_TypePrograms& programs, const char* left, const char* right) {
    for (uint32_t i = 0; i < programs.type->memberCount; ++i) {
        const DDS_TypeMember& member = programs.type->members[i];
        const DDS_TypePrograms& inner = *programs.nested.data()[i];
        const char* l = left + member.offset;
        const char* r = right + member.offset;
        if (isOptional(member)) {
            const char* leftTarget = slotAt<const char*>(l);
            const char* rightTarget = slotAt<const char*>(r);
            if (leftTarget == nullptr || rightTarget == nullptr) {
                if (leftTarget != rightTarget)
                    return false;
                continue;
            }
            if (inner.type->kind != DDS_TYPE_STRING) {
                l = leftTarget;
                r = rightTarget;
            }
        }
        if (!areEqual(inner, l, r))
            return false;
    }
    return true;
}

bool areEqual(const DDS_TypePrograms& programs, const char* left, const char* right) {
    const DDS_TypeDescriptor& type = *programs.type;
    switch (type.kind) {
    case DDS_TYPE_BOOLEAN:
        return (*left != 0) == (*right != 0);
    case DDS_TYPE_FLOAT:
        return !(slotAt<DDS_Float>(left) != slotAt<DDS_Float>(right));
    case DDS_TYPE_DOUBLE:
        return !(slotAt<DDS_Double>(left) != slotAt<DDS_Double>(right));
    case DDS_TYPE_STRING:
        return areEqualTexts(slotAt<const char*>(left), slotAt<const char*>(right));
    case DDS_TYPE_STRUCT:
        return areEqualMembers(programs, left, right);
    case DDS_TYPE_UNION: {
        const Arms& arms = programs.arms;
        const DDS_LongLong discriminator = arms.read(left);
        if (discriminator != arms.read(right))
            return false;
        const Arm* arm = arms.select(discriminator);
        return arm == nullptr ||
               areEqual(*programs.nested.data()[arm - arms.list], left + arm->offset, right + arm->offset);
    }
    case DDS_TYPE_ARRAY:
        for (uint32_t i = 0; i < programs.count; ++i) {
            const size_t offset = i * programs.element().type->size;
            if (!areEqual(programs.element(), left + offset, right + offset))
                return false;
        }
        return true;
    case DDS_TYPE_SEQUENCE:
        return areEqualSequences(
            programs.element(), slotAt<DDS_SequenceBase>(left), slotAt<DDS_SequenceBase>(right));
    case DDS_TYPE_ALIAS: {
        const char* leftTarget = slotAt<const char*>(left);
        const char* rightTarget = slotAt<const char*>(right);
        return leftTarget == rightTarget || (leftTarget != nullptr && rightTarget != nullptr &&
                                                areEqual(programs.element(), leftTarget, rightTarget));
    }
    default:
        return std::memcmp(left, right, type.size) == 0;
    }
}

} // namespace
} // namespace zdds::types

DDS_Boolean DDS_Type_equals(const DDS_TypeDescriptor* type, const void* left, const void* right) {
    if (type == nullptr || left == nullptr || right == nullptr)
        return left == right;
    const DDS_TypePrograms* programs = zdds::types::programsOf(type);
    return programs != nullptr &&
           zdds::types::areEqual(*programs, static_cast<const char*>(left), static_cast<const char*>(right));
}
