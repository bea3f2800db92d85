// The values that a reader of wire programs fills, and their memory: one that has content, or a new one.
//
// Both hold for one sample. What fails because memory is out says so through isOutOfMemory.
#ifndef ZDDSC_TYPES_WIRE_TARGET_HPP
#define ZDDSC_TYPES_WIRE_TARGET_HPP

#include <algorithm>

#include "middleware/types/MemberAccess.hpp"
#include "middleware/types/Programs.hpp"
#include "middleware/types/Sequence.hpp"
#include "middleware/types/TextLength.hpp"
#include "middleware/types/Values.hpp"

namespace zdds::types {

// Initialized, and stays so when reading fails. Its memory is used again; what the bytes lack goes.
class LivingTarget {
public:
    static constexpr bool isNew = false;

    explicit LivingTarget(const Memory& memory) : memory_(memory) {}
    bool isOutOfMemory() const { return isOutOfMemory_; }

    // Optional values that were made for the bytes at hand. When reading fails they go: they may be
    // incomplete.
    class Optionals {
    public:
        void enter(void** pointer, const Shape* shape) { entries_[depth_++] = {pointer, shape}; }
        void leave() { --depth_; }
        void drop() {
            while (depth_ > 0) {
                const Entry& entry = entries_[--depth_];
                if (entry.shape != nullptr)
                    destroyValue(*entry.shape, entry.pointer, defaultDeallocation, false);
            }
        }

    private:
        struct Entry {
            void** pointer;
            const Shape* shape; // null: it was there before
        };
        Entry entries_[DDS_TYPE_MAXIMUM_NESTING + 2];
        unsigned depth_ = 0;
    };

    static void removeText(char** text) {
        Memory::release(*text, false);
        *text = nullptr;
    }
    static void removeOptional(const Instruction& i, void** pointer) {
        if (*pointer == nullptr)
            return;
        if (i.isText)
            removeText(reinterpret_cast<char**>(pointer));
        else
            destroyValue(i.programs->shape, pointer, defaultDeallocation, false);
    }

    // What was copied before a check failed must not stay: a value has booleans and enumerators only.
    [[gnu::cold]] static void discard(const Instruction& segment, char* value) {
        for (const Instruction *piece = &segment + 1, *end = piece + segment.b; piece != end; ++piece) {
            char* at = value + piece->memory;
            if (piece->code == Code::boolean) {
                *at = *at != 0;
            } else if (piece->code == Code::literal) {
                if (!hasLiteral(*piece->programs->type, static_cast<DDS_Long>(wordAt(at))))
                    putWord(at, static_cast<uint32_t>(defaultLiteral(piece->programs->type)));
            } else if (piece->code == Code::range && wordAt(at) - piece->a >= piece->b) {
                putWord(at, piece->a);
            }
        }
    }

    // Where a text of `size` bytes, terminator included, goes.
    [[gnu::always_inline]] char* text(char** text, uint32_t size) {
        if (*text != nullptr && textLength(*text) >= size - 1)
            return *text;
        auto* made = static_cast<char*>(memory_.allocate(size, 1, "char"));
        if (made == nullptr)
            return static_cast<char*>(failForMemory());
        Memory::release(*text, false);
        return *text = made;
    }
    // An optional value that is present, made if it was not there.
    bool optional(const Instruction& i, void** pointer) {
        if (*pointer != nullptr)
            return true;
        *pointer = createValue(i.programs->shape, bareAllocation(i.programs->shape), memory_);
        isOutOfMemory_ = *pointer == nullptr;
        return *pointer != nullptr;
    }
    void* reference(const Shape& shape, void** pointer) {
        if (*pointer == nullptr)
            *pointer = createValue(shape, defaultAllocation, memory_);
        return *pointer != nullptr ? *pointer : failForMemory();
    }
    bool elements(const Shape& shape, DDS_SequenceBase& sequence, uint32_t count, bool) {
        return count <= sequence._maximum ||
               reserveElements(elementOf(shape), sequence, count, memory_, &bareAllocation(shape)) ||
               failForMemory() != nullptr;
    }
    static void dropElements(const Shape& shape, DDS_SequenceBase& sequence, uint32_t maximum) {
        types::dropElements(elementOf(shape), sequence, maximum);
    }
    bool select(const Instruction& i, char* unionValue, DDS_LongLong discriminator, const Arm*) {
        return switchArm(i.programs->arms, unionValue, discriminator, memory_) || failForMemory() != nullptr;
    }

private:
    [[gnu::cold]] void* failForMemory() {
        isOutOfMemory_ = true;
        return nullptr;
    }

    const Memory& memory_;
    bool isOutOfMemory_ = false;
};

// Made without texts and references (newAllocation): nothing in it is to be looked at. Its buffers come from
// one batch. When reading fails it is only good for finalizeValue.
class NewTarget {
public:
    static constexpr bool isNew = true;
    static constexpr DDS_TypeAllocationParams_t newAllocation = {
        DDS_BOOLEAN_FALSE, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_FALSE};

    explicit NewTarget(const Memory& memory) : memory_(memory) {}
    bool isOutOfMemory() const { return isOutOfMemory_; }

    struct Optionals {
        static void enter(void**, const Shape*) {}
        static void leave() {}
        static void drop() {}
    };
    static void removeText(char**) {}
    static void removeOptional(const Instruction&, void**) {}
    static void discard(const Instruction&, char*) {}

    // At least 16 bytes, so that a short text is one block.
    [[gnu::always_inline]] char* text(char** text, uint32_t size) {
        return *text = static_cast<char*>(take(std::max<size_t>(size, 16), 1));
    }
    bool optional(const Instruction& i, void** pointer) {
        return reference(i.programs->shape, pointer) != nullptr;
    }
    void* reference(const Shape& shape, void** pointer) {
        void* value = take(shape.size, shape.alignment);
        if (value != nullptr)
            copyImage(shape, value);
        return *pointer = value;
    }
    // Those that will be overwritten as a whole are not initialized.
    bool elements(const Shape& shape, DDS_SequenceBase& sequence, uint32_t count, bool areOverwritten) {
        if (count == 0)
            return true;
        const size_t size = size_t{count} * shape.size;
        void* buffer = count > INT32_MAX ? nullptr : take(size, shape.alignment);
        isOutOfMemory_ = buffer == nullptr;
        if (buffer == nullptr)
            return false;
        if (!areOverwritten && shape.image == nullptr)
            std::memset(buffer, 0, size);
        for (uint32_t i = 0; !areOverwritten && shape.image != nullptr && i < count; ++i)
            copyImage(shape, static_cast<char*>(buffer) + size_t{i} * shape.size);
        sequence._contiguous_buffer = buffer;
        sequence._maximum = count;
        return true;
    }
    static void dropElements(const Shape&, DDS_SequenceBase&, uint32_t) {}
    // The arms that are not selected get what any default value has.
    bool select(const Instruction& i, char* unionValue, DDS_LongLong discriminator, const Arm* selected) {
        const Arms& arms = i.programs->arms;
        if (i.alignment == 4)
            putWord(unionValue + arms.discriminatorOffset, static_cast<uint32_t>(discriminator));
        else
            arms.write(unionValue, discriminator);
        if (!arms.needsOwners)
            return true;
        for (const Arm* arm = arms.list; arm != arms.list + arms.count; ++arm)
            if (arm != selected && (arm->shape->hasTexts || arm->shape->hasReferences) &&
                !initializeOwners(*arm->shape, unionValue + arm->offset, defaultAllocation, memory_)) {
                isOutOfMemory_ = true;
                return false;
            }
        return true;
    }

private:
    [[gnu::always_inline]] void* take(size_t size, size_t alignment) {
        void* buffer = memory_.allocate(size, alignment, "part of a value");
        isOutOfMemory_ = buffer == nullptr;
        return buffer;
    }

    const Memory& memory_;
    bool isOutOfMemory_ = false;
};

} // namespace zdds::types

#endif
