// Random values of any type.
#ifndef TESTS_UNIT_TYPES_RANDOM_VALUE_HPP
#define TESTS_UNIT_TYPES_RANDOM_VALUE_HPP

#include <cstring>
#include <random>

#include "middleware/types/Shape.hpp"
#include "zddsc/sequence_define.h"
#include "zddsc/type_engine.h"

namespace tt {

class RandomValue {
public:
    explicit RandomValue(unsigned seed) : random_(seed) {}

    // Into an initialized value.
    void fill(const DDS_TypeDescriptor* type, void* value) {
        type = zdds::types::resolve(type);
        auto* at = static_cast<char*>(value);
        switch (type->kind) {
        case DDS_TYPE_BOOLEAN:
            *static_cast<DDS_Boolean*>(value) = below(2) == 1;
            return;
        case DDS_TYPE_ENUM: {
            const DDS_Long literal = type->literals[below(type->literalCount)].value;
            std::memcpy(value, &literal, sizeof literal);
            return;
        }
        case DDS_TYPE_STRING:
            fillText(*type, static_cast<char**>(value));
            return;
        case DDS_TYPE_STRUCT:
            for (unsigned i = 0; i < type->memberCount; ++i)
                fillMember(type->members[i], at);
            return;
        case DDS_TYPE_UNION:
            fillUnion(*type, at);
            return;
        case DDS_TYPE_ARRAY:
            for (unsigned i = 0; i < type->bound; ++i)
                fill(type->element, at + i * type->element->size);
            return;
        case DDS_TYPE_SEQUENCE: {
            const DDS_SequenceElement element = {
                type->element->size, type->element, nullptr, nullptr, nullptr};
            auto* sequence = static_cast<DDS_SequenceBase*>(value);
            const unsigned most = type->bound != 0 && type->bound < 5 ? type->bound : 5;
            DDS_SequenceBase_set_length(&element, sequence, static_cast<DDS_Long>(below(most + 1)));
            for (unsigned i = 0; i < sequence->_length; ++i)
                fill(type->element, static_cast<char*>(sequence->_contiguous_buffer) + i * element.size);
            return;
        }
        case DDS_TYPE_ALIAS: // a reference
            fill(type->element, *static_cast<void**>(value));
            return;
        case DDS_TYPE_FLOAT: {
            const auto number = static_cast<float>(random_()) / 7;
            std::memcpy(value, &number, sizeof number);
            return;
        }
        case DDS_TYPE_DOUBLE: {
            const double number = static_cast<double>(random_()) / 7;
            std::memcpy(value, &number, sizeof number);
            return;
        }
        default:
            for (size_t i = 0; i < type->size; ++i)
                at[i] = static_cast<char>(random_());
            return;
        }
    }

    unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }

private:
    void fillText(const DDS_TypeDescriptor& type, char** text) {
        char characters[32];
        unsigned length = below(12);
        if (type.bound != 0 && length > type.bound)
            length = type.bound;
        for (unsigned i = 0; i < length; ++i)
            characters[i] = static_cast<char>(1 + below(255));
        characters[length] = '\0';
        DDS_String_replace(text, characters);
    }

    void fillMember(const DDS_TypeMember& member, char* value) {
        char* at = value + member.offset;
        if (!zdds::types::isOptional(member))
            return fill(member.type, at);
        auto*& pointer = *reinterpret_cast<void**>(at);
        const DDS_TypeDescriptor* type = zdds::types::resolveAll(member.type);
        const bool isPresent = below(2) == 1;
        if (type->kind == DDS_TYPE_STRING) {
            if (isPresent)
                fillText(*type, reinterpret_cast<char**>(at));
            else
                DDS_String_replace(reinterpret_cast<char**>(at), nullptr);
            return;
        }
        if (!isPresent) {
            DDS_Type_destroy_data(type, pointer);
            pointer = nullptr;
            return;
        }
        if (pointer == nullptr)
            pointer = DDS_Type_create_data(type);
        fill(type, pointer);
    }

    void fillUnion(const DDS_TypeDescriptor& type, char* value) {
        const DDS_TypeMember& arm = type.members[below(type.memberCount)];
        DDS_LongLong label = arm.labelCount > 0 ? arm.labels[below(arm.labelCount)] : 1;
        std::memcpy(value + type.discriminatorOffset, &label, type.discriminator->size);
        fill(arm.type, value + arm.offset);
    }

    std::mt19937 random_;
};

// An initialized value that frees itself.
class OwnedValue {
public:
    explicit OwnedValue(const DDS_TypeDescriptor* type) : type_(type), value_(DDS_Type_create_data(type)) {}
    ~OwnedValue() { DDS_Type_destroy_data(type_, value_); }
    OwnedValue(const OwnedValue&) = delete;
    OwnedValue& operator=(const OwnedValue&) = delete;
    void* get() const { return value_; }
    template <typename T> T& as() const { return *static_cast<T*>(value_); }

private:
    const DDS_TypeDescriptor* type_;
    void* value_;
};

} // namespace tt

#endif
