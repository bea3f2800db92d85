// A small type of the tests, without a key: a number and a text.
#ifndef ORX_TESTS_MIDDLEWARE_TEST_TYPE_HPP
#define ORX_TESTS_MIDDLEWARE_TEST_TYPE_HPP

#include <cstddef>
#include <iterator>

#include "zddsc/entities.h"
#include "zddsc/sequence_define.h"
#include "zddsc/type_engine.h"

struct TestSample {
    DDS_Long number;
    char* text;
};

namespace test_type {

constexpr DDS_TypeMember member(
    const char* name, DDS_UnsignedLong id, size_t offset, const DDS_TypeDescriptor& type) {
    DDS_TypeMember result{};
    result.name = name;
    result.id = id;
    result.offset = offset;
    result.type = &type;
    return result;
}

inline constexpr DDS_TypeMember members[] = {
    member("number", 0, offsetof(TestSample, number), DDS_g_type_long),
    member("text", 1, offsetof(TestSample, text), DDS_g_type_string),
};
inline DDS_TypeRuntime runtime{};
inline ORXXCdrMemberAccessInfo access[std::size(members)]{};

inline constexpr DDS_TypeDescriptor descriptor = [] {
    DDS_TypeDescriptor type{};
    type.kind = DDS_TYPE_STRUCT;
    type.name = "test::Sample";
    type.size = sizeof(TestSample);
    type.alignment = alignof(TestSample);
    type.extensibility = DDS_TYPE_APPENDABLE;
    type.representationMask = DDS_DATA_REPRESENTATION_MASK_XCDR | DDS_DATA_REPRESENTATION_MASK_XCDR2;
    type.members = members;
    type.memberCount = std::size(members);
    type.runtime = &runtime;
    type.access = access;
    return type;
}();

inline constexpr DDS_TypePlugin plugin{&descriptor, "test::Sample", PRES_TYPEPLUGIN_NO_KEY};
inline constexpr DDS_TypePlugin otherPlugin{&descriptor, "test::Other", PRES_TYPEPLUGIN_NO_KEY};

// A sequence of samples as generated code has it.
struct Samples {
    DDS_SEQUENCE_FIELDS(TestSample);
    DDS_SequenceBase* base() { return reinterpret_cast<DDS_SequenceBase*>(this); }
    const TestSample& operator[](DDS_Long index) const {
        const auto at = static_cast<size_t>(index);
        return _discontiguous_buffer != nullptr ? *_discontiguous_buffer[at] : _contiguous_buffer[at];
    }
    DDS_Long length() const { return static_cast<DDS_Long>(_length); }
};
inline constexpr DDS_SequenceElement element = DDS_SEQUENCE_ELEMENT_OF_TYPE(TestSample, &descriptor);

} // namespace test_type

#endif
