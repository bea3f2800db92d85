#include "middleware/types/Values.hpp"

#include <algorithm>

#include "middleware/types/ByteCopy.hpp"
#include "middleware/types/MemberAccess.hpp"
#include "middleware/types/Sequence.hpp"
#include "middleware/types/TextLength.hpp"

namespace zdds::types {
namespace {

template <typename T> T& fieldAt(void* value, const Op& op) {
    return *reinterpret_cast<T*>(static_cast<char*>(value) + op.offset);
}
template <typename T> const T& fieldAt(const void* value, const Op& op) {
    return *reinterpret_cast<const T*>(static_cast<const char*>(value) + op.offset);
}

// Sequences alias through DDS_SequenceBase, which may.
DDS_SequenceBase& sequenceAt(void* value, const Op& op) {
    return fieldAt<DDS_SequenceBase>(value, op);
}
const DDS_SequenceBase& sequenceAt(const void* value, const Op& op) {
    return fieldAt<DDS_SequenceBase>(value, op);
}

size_t lengthOf(const char* text) {
    return text == nullptr ? 0 : std::strlen(text);
}

bool needsOwners(const Shape& shape, const DDS_TypeAllocationParams_t& params) {
    return (shape.hasTexts && params.allocate_memory) || (shape.hasReferences && params.allocate_pointers) ||
           (params.allocate_optional_members && !shape.isPlain());
}

} // namespace

bool initializeOwners(
    const Shape& shape, void* value, const DDS_TypeAllocationParams_t& params, const Memory& memory) {
    if (!needsOwners(shape, params))
        return true;
    for (const Op* op = shape.owners(); op != shape.ownersEnd(); ++op) {
        switch (op->code) {
        case OpCode::string: {
            if (!params.allocate_memory)
                break;
            if (!assignText(&fieldAt<char*>(value, *op), op->text, lengthOf(op->text), memory))
                return false;
            break;
        }
        case OpCode::optionalString:
            if (params.allocate_optional_members &&
                !assignText(&fieldAt<char*>(value, *op), nullptr, 0, memory))
                return false;
            break;
        case OpCode::optional:
        case OpCode::reference: {
            if (op->code == OpCode::optional ? !params.allocate_optional_members : !params.allocate_pointers)
                break;
            void*& pointer = fieldAt<void*>(value, *op);
            pointer = createValue(*op->shape, params, memory);
            if (pointer == nullptr)
                return false;
            break;
        }
        case OpCode::loop:
            for (uint32_t i = 0; i < op->count; ++i)
                if (!initializeOwners(
                        *op->shape, &fieldAt<char>(value, *op) + i * op->shape->size, params, memory))
                    return false;
            break;
        case OpCode::arms:
            for (const Arm* arm = op->arms->list; arm != op->arms->list + op->arms->count; ++arm)
                if (!initializeOwners(*arm->shape, &fieldAt<char>(value, *op) + arm->offset, params, memory))
                    return false;
            break;
        case OpCode::sequence:
        case OpCode::plain:
            break;
        }
    }
    return true;
}

bool assignText(char** destination, const char* text, size_t length, const Memory& memory) {
    char* old = *destination;
    if (old != nullptr && textLength(old) >= length) {
        if (length > 0)
            std::memmove(old, text, length);
        old[length] = '\0';
        return true;
    }
    auto* copy = static_cast<char*>(memory.allocate(length + 1, 1, "char"));
    if (copy == nullptr)
        return false;
    copyBytes(copy, text, length);
    copy[length] = '\0';
    Memory::release(old, memory.arena != nullptr);
    *destination = copy;
    return true;
}

void* createValue(const Shape& shape, const DDS_TypeAllocationParams_t& params, const Memory& memory) {
    void* value = memory.allocate(shape.size, shape.alignment, "value");
    if (value == nullptr)
        return nullptr;
    if (!initializeValue(shape, value, params, memory)) {
        Memory::release(value, memory.arena != nullptr);
        return nullptr;
    }
    return value;
}

void destroyValue(
    const Shape& shape, void** pointer, const DDS_TypeDeallocationParams_t& params, const Releasing& how) {
    if (*pointer == nullptr)
        return;
    finalizeValue(shape, *pointer, params, how);
    Memory::release(*pointer, how);
    *pointer = nullptr;
}

bool initializeValue(
    const Shape& shape, void* value, const DDS_TypeAllocationParams_t& params, const Memory& memory) {
    copyImage(shape, value);
    if (initializeOwners(shape, value, params, memory))
        return true;
    finalizeValue(shape, value, defaultDeallocation, memory.arena != nullptr);
    return false;
}

namespace {

// Four pointers that a value may own.
bool areNull(const char* base, const Owned* owned) {
    const auto word = [=](int i) { return reinterpret_cast<uintptr_t>(pointerAt(base + owned[i].offset)); };
    return (word(0) | word(1) | word(2) | word(3)) == 0;
}

[[gnu::always_inline]] inline void finalizeOwned(
    const Owned& owned, char* at, const DDS_TypeDeallocationParams_t& params, const Releasing& how) {
    void*& pointer = *reinterpret_cast<void**>(at);
    if (pointer == nullptr && owned.code <= OpCode::reference)
        return;
    switch (owned.code) {
    case OpCode::optionalString:
        if (!params.delete_optional_members)
            break;
        [[fallthrough]];
    case OpCode::string:
        Memory::release(pointer, how);
        pointer = nullptr;
        break;
    case OpCode::sequence: {
        auto& sequence = *reinterpret_cast<DDS_SequenceBase*>(at);
        if (sequence._contiguous_buffer != nullptr || sequence._loaned)
            finalizeSequence(elementOf(*owned.shape), sequence, how);
        break;
    }
    case OpCode::optional:
        if (params.delete_optional_members)
            destroyValue(*owned.shape, &pointer, params, how);
        break;
    case OpCode::reference:
        if (params.delete_pointers)
            destroyValue(*owned.shape, &pointer, params, how);
        break;
    case OpCode::loop:
        for (uint32_t i = 0; i < owned.count; ++i)
            finalizeValue(*owned.shape, at + i * owned.shape->size, params, how);
        break;
    case OpCode::plain:
    case OpCode::arms:
        break;
    }
}

} // namespace

void finalizeValue(
    const Shape& shape, void* value, const DDS_TypeDeallocationParams_t& params, const Releasing& how) {
    char* base = static_cast<char*>(value);
    const Owned* owned = shape.owned;
    // Most of what a value may own is absent.
    for (const Owned* end = owned + shape.ownedPointers; end - owned >= 8; owned += 4)
        if (!areNull(base, owned))
            for (int i = 0; i < 4; ++i)
                finalizeOwned(owned[i], base + owned[i].offset, params, how);
    for (const Owned* end = shape.owned + shape.ownedCount; owned != end; ++owned)
        finalizeOwned(*owned, base + owned->offset, params, how);
}

void finalizeOptionalMembers(const Shape& shape, void* value, const DDS_TypeDeallocationParams_t& params) {
    for (const Op* op = shape.owners(); op != shape.ownersEnd(); ++op) {
        switch (op->code) {
        case OpCode::optionalString: {
            char*& text = fieldAt<char*>(value, *op);
            Memory::release(text, false);
            text = nullptr;
            break;
        }
        case OpCode::optional:
            destroyValue(*op->shape, &fieldAt<void*>(value, *op), params, false);
            break;
        case OpCode::reference:
            if (fieldAt<void*>(value, *op) != nullptr)
                finalizeOptionalMembers(*op->shape, fieldAt<void*>(value, *op), params);
            break;
        case OpCode::loop:
            for (uint32_t i = 0; i < op->count; ++i)
                finalizeOptionalMembers(*op->shape, &fieldAt<char>(value, *op) + i * op->shape->size, params);
            break;
        case OpCode::arms:
            for (const Arm* arm = op->arms->list; arm != op->arms->list + op->arms->count; ++arm)
                finalizeOptionalMembers(*arm->shape, &fieldAt<char>(value, *op) + arm->offset, params);
            break;
        case OpCode::string:
        case OpCode::sequence:
        case OpCode::plain:
            break;
        }
    }
}

namespace {

void resetPlain(const Shape& shape, void* value, size_t begin, size_t end) {
    if (begin >= end)
        return;
    char* at = static_cast<char*>(value) + begin;
    if (shape.image == nullptr)
        std::memset(at, 0, end - begin);
    else
        std::memcpy(at, shape.image + begin, end - begin);
}

bool resetArms(const Arms& arms, char* unionValue, const Memory& memory) {
    bool complete = true;
    for (const Arm* arm = arms.list; arm != arms.list + arms.count; ++arm)
        complete &= resetValue(*arm->shape, unionValue + arm->offset, memory);
    arms.write(unionValue, arms.defaultDiscriminator);
    return complete;
}

bool resetOwner(const Op& op, void* value, const Memory& memory) {
    const bool isArena = memory.arena != nullptr;
    char* at = &fieldAt<char>(value, op);
    bool complete = true;
    switch (op.code) {
    case OpCode::plain:
        return true;
    case OpCode::string:
        return assignText(&fieldAt<char*>(value, op), op.text, lengthOf(op.text), memory);
    case OpCode::optionalString:
        Memory::release(fieldAt<char*>(value, op), isArena);
        fieldAt<char*>(value, op) = nullptr;
        return true;
    case OpCode::sequence:
        sequenceAt(value, op)._length = 0;
        return true;
    case OpCode::optional:
        destroyValue(*op.shape, &fieldAt<void*>(value, op), defaultDeallocation, isArena);
        return true;
    case OpCode::reference: {
        void* target = fieldAt<void*>(value, op);
        return target == nullptr || resetValue(*op.shape, target, memory);
    }
    case OpCode::loop:
        for (uint32_t i = 0; i < op.count; ++i)
            complete &= resetValue(*op.shape, at + i * op.shape->size, memory);
        return complete;
    case OpCode::arms:
        return resetArms(*op.arms, at, memory);
    }
    return true;
}

} // namespace

bool resetMembers(const Shape& shape, void* value, size_t begin, size_t end, const Memory& memory) {
    bool complete = true;
    for (const Op* op = shape.ops; op != shape.opsEnd(); ++op) {
        if (op->code == OpCode::plain)
            resetPlain(shape, value, std::max<size_t>(begin, op->offset),
                std::min<size_t>(end, op->offset + op->size));
        else if (op->offset >= begin && op->offset < end)
            complete &= resetOwner(*op, value, memory);
    }
    return complete;
}

bool resetValue(const Shape& shape, void* value, const Memory& memory) {
    return resetMembers(shape, value, 0, shape.size, memory);
}

bool switchArm(const Arms& arms, void* unionValue, DDS_LongLong discriminator, const Memory& memory) {
    const DDS_LongLong before = arms.read(unionValue);
    if (before == discriminator)
        return true;
    const Arm* old = arms.select(before);
    const bool complete = old == nullptr || old == arms.select(discriminator) ||
                          resetValue(*old->shape, static_cast<char*>(unionValue) + old->offset, memory);
    arms.write(unionValue, discriminator);
    return complete;
}

namespace {

bool copyPointer(const Op& op, void** destination, const void* source, const Memory& memory) {
    if (source == nullptr) {
        destroyValue(*op.shape, destination, defaultDeallocation, memory.arena != nullptr);
        return true;
    }
    if (*destination == nullptr)
        *destination = createValue(*op.shape, defaultAllocation, memory);
    return *destination != nullptr && copyValue(*op.shape, *destination, source, memory);
}

bool copyText(const Op& op, char** destination, const char* source, const Memory& memory) {
    if (source == nullptr && op.code == OpCode::optionalString) {
        Memory::release(*destination, memory.arena != nullptr);
        *destination = nullptr;
        return true;
    }
    return assignText(destination, source, lengthOf(source), memory);
}

bool copyArm(const Arms& arms, char* destination, const char* source, const Memory& memory) {
    const DDS_LongLong discriminator = arms.read(source);
    if (!switchArm(arms, destination, discriminator, memory))
        return false;
    const Arm* arm = arms.select(discriminator);
    return arm == nullptr || copyValue(*arm->shape, destination + arm->offset, source + arm->offset, memory);
}

} // namespace

bool copyValue(const Shape& shape, void* destination, const void* source, const Memory& memory) {
    if (destination == source)
        return true;
    if (shape.isPlain()) {
        std::memcpy(destination, source, shape.size);
        return true;
    }
    for (const Op* op = shape.ops; op != shape.opsEnd(); ++op) {
        char* to = &fieldAt<char>(destination, *op);
        const char* from = &fieldAt<char>(source, *op);
        switch (op->code) {
        case OpCode::plain:
            std::memcpy(to, from, op->size);
            break;
        case OpCode::string:
        case OpCode::optionalString:
            if (!copyText(*op, &fieldAt<char*>(destination, *op), fieldAt<char*>(source, *op), memory))
                return false;
            break;
        case OpCode::sequence:
            if (!copySequence(
                    elementOf(*op->shape), sequenceAt(destination, *op), sequenceAt(source, *op), memory))
                return false;
            break;
        case OpCode::optional:
        case OpCode::reference:
            if (!copyPointer(*op, &fieldAt<void*>(destination, *op), fieldAt<void*>(source, *op), memory))
                return false;
            break;
        case OpCode::loop:
            for (uint32_t i = 0; i < op->count; ++i)
                if (!copyValue(*op->shape, to + i * op->shape->size, from + i * op->shape->size, memory))
                    return false;
            break;
        case OpCode::arms:
            if (!copyArm(*op->arms, to, from, memory))
                return false;
            break;
        }
    }
    return true;
}

} // namespace zdds::types
