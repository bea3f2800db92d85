// What the engine makes of a descriptor, once: its shape, and its wire program.
//
// Threads: made under one lock by whoever comes first, then constant; found without a lock through the
// descriptor's runtime record.
// Ownership: all programs live until DDS_Type_finalize_programs.
#ifndef ZDDSC_TYPES_PROGRAMS_HPP
#define ZDDSC_TYPES_PROGRAMS_HPP

#include <atomic>

#include "middleware/types/Memory.hpp"
#include "middleware/types/Shape.hpp"
#include "middleware/types/Wire.hpp"

// The programs of one type. An alias that is no reference has those of its target.
struct DDS_TypePrograms {
    const DDS_TypeDescriptor* type = nullptr;
    DDS_TypePrograms* next = nullptr;
    const DDS_TypePrograms* target = nullptr; // of such an alias; nothing below is used then
    zdds::types::Shape shape;
    zdds::types::Wire wire;
    // The types within: one for each member or arm (behind all aliases where it is optional), or the element.
    // An array of arrays is one array of `count` innermost elements.
    uint32_t count = 0;
    zdds::types::HeapArray<const DDS_TypePrograms*> nested;
    const DDS_TypePrograms* discriminator = nullptr;
    zdds::types::Arms arms{};
    zdds::types::HeapArray<zdds::types::Op> ops;
    zdds::types::HeapArray<zdds::types::Owned> owned;
    zdds::types::HeapArray<zdds::types::Arm> armList;
    zdds::types::HeapArray<zdds::types::ArmLabel> armLabels;
    zdds::types::HeapArray<uint8_t> image;
    zdds::types::HeapArray<zdds::types::Instruction> instructions;
    zdds::types::HeapArray<zdds::types::OptionalMember> optionals;
    zdds::types::HeapArray<uint32_t> armStarts;

    const DDS_TypePrograms& element() const { return *nested.data()[0]; }
};

namespace zdds::types {

// Slow path: makes the programs. Null when memory is out or the type is none that the engine can serve
// (recursive, nested too deep, too large): that is logged.
const DDS_TypePrograms* makePrograms(const DDS_TypeDescriptor* type);

inline const DDS_TypePrograms* programsOf(const DDS_TypeDescriptor* type) {
    if (type->runtime != nullptr) {
        // Pairs with the release in makePrograms: the programs are complete before anybody sees them.
        void* program = std::atomic_ref(type->runtime->program).load(std::memory_order_acquire);
        if (program != nullptr)
            return static_cast<const DDS_TypePrograms*>(program);
    }
    return makePrograms(type);
}

inline const Shape* shapeOf(const DDS_TypeDescriptor* type) {
    const DDS_TypePrograms* programs = programsOf(type);
    return programs == nullptr ? nullptr : &programs->shape;
}

} // namespace zdds::types

#endif
