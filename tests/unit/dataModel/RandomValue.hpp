// Random values of any type, through its descriptor, on the heap or in an arena.
#ifndef TESTS_UNIT_DATA_MODEL_RANDOM_VALUE_HPP
#define TESTS_UNIT_DATA_MODEL_RANDOM_VALUE_HPP

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "zddsc/sequence_define.h"
#include "zddsc/type_engine.h"
#include "zddscore/heap.h"
#include "zddscore/inline_memory.h"

class RandomValue {
public:
    // arena null: the heap.
    explicit RandomValue(unsigned seed, REDAInlineMemory** arena = nullptr) : random_(seed), arena_(arena) {}
    // Sequences and texts get at most this many elements more than nothing.
    unsigned maximumLength = 4;
    // Every optional member is present, every union has the arm with this index (modulo their count), when
    // not negative.
    bool allPresent = false;
    int arm = -1;

    // Fills an initialized value. False when memory is out.
    bool fill(const DDS_TypeDescriptor& type, void* value) {
        switch (type.kind) {
        case DDS_TYPE_BOOLEAN:
            *static_cast<DDS_Boolean*>(value) = static_cast<DDS_Boolean>(below(2));
            return true;
        case DDS_TYPE_FLOAT:
            *static_cast<DDS_Float*>(value) = static_cast<DDS_Float>(below(1U << 20)) / 8.0F;
            return true;
        case DDS_TYPE_DOUBLE:
            *static_cast<DDS_Double*>(value) = static_cast<DDS_Double>(below(1U << 20)) / 8.0;
            return true;
        case DDS_TYPE_ENUM: {
            const auto index = below(type.literalCount);
            std::memcpy(value, &type.literals[index].value, sizeof(DDS_Enum));
            return true;
        }
        case DDS_TYPE_STRING:
            return fillText(type, static_cast<char**>(value));
        case DDS_TYPE_ALIAS:
            return fillAlias(type, value);
        case DDS_TYPE_ARRAY:
            return fillElements(*type.element, value, type.bound);
        case DDS_TYPE_SEQUENCE:
            return fillSequence(type, static_cast<DDS_SequenceBase*>(value));
        case DDS_TYPE_STRUCT:
            return fillStruct(type, value);
        case DDS_TYPE_UNION:
            return fillUnion(type, value);
        default:
            for (size_t i = 0; i < type.size; ++i)
                static_cast<unsigned char*>(value)[i] = static_cast<unsigned char>(below(256));
            return true;
        }
    }

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

private:
    static void* at(void* value, size_t offset) { return static_cast<char*>(value) + offset; }

    void* allocate(size_t size) {
        void* memory = nullptr;
        if (arena_ != nullptr) {
            memory = REDAInlineMemory_reserveBufferI(arena_, static_cast<REDAInlineMemorySize>(size), 1);
        } else if (!ORXOsapiHeap_reallocateMemoryInternal(
                       &memory, size, alignof(std::max_align_t), 1, "random value")) {
            return nullptr;
        }
        return memory == nullptr ? nullptr : std::memset(memory, 0, size);
    }

    bool fillText(const DDS_TypeDescriptor& type, char** value) {
        const unsigned limit =
            type.bound == 0 ? maximumLength * 4 : std::min<unsigned>(type.bound, maximumLength * 4);
        std::string text(below(limit + 1), ' ');
        for (char& character : text)
            character = static_cast<char>('a' + below(26));
        if (arena_ == nullptr)
            return DDS_String_replace(value, text.c_str()) != nullptr;
        return ORXCdrType_copyStringExWMemoryManager(value, arena_, text.c_str(), 0xFFFFFFFE, 1) != nullptr;
    }

    bool fillAlias(const DDS_TypeDescriptor& type, void* value) {
        if ((type.flags & DDS_TYPE_FLAG_REFERENCE) == 0)
            return fill(*type.element, value);
        void* target = *static_cast<void**>(value);
        return target != nullptr && fill(*type.element, target);
    }

    bool fillElements(const DDS_TypeDescriptor& element, void* first, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            if (!fill(element, at(first, i * element.size)))
                return false;
        }
        return true;
    }

    bool fillSequence(const DDS_TypeDescriptor& type, DDS_SequenceBase* sequence) {
        const DDS_SequenceElement element = elementOf(*type.element);
        const auto limit = type.bound == 0 ? maximumLength : std::min<unsigned>(type.bound, maximumLength);
        const auto length = static_cast<DDS_Long>(below(limit + 1));
        if (arena_ == nullptr) {
            if (!DDS_SequenceBase_ensure_length(&element, sequence, length, length))
                return false;
        } else if (length > 0) {
            if (DDS_SequenceBase_get_maximum(sequence) > 0 &&
                !DDS_SequenceBase_unloan_and_finalize_w_memory_manager(&element, sequence)) {
                return false;
            }
            if (!DDS_SequenceBase_new_buffer_and_loan_w_memory_manager(
                    &element, sequence, arena_, length, length)) {
                return false;
            }
        }
        for (DDS_Long i = 0; i < DDS_SequenceBase_get_length(sequence); ++i) {
            if (!fill(*type.element, DDS_SequenceBase_get_reference(&element, sequence, i)))
                return false;
        }
        return true;
    }

    static DDS_SequenceElement elementOf(const DDS_TypeDescriptor& type) {
        return {type.size, &type, nullptr, nullptr, nullptr};
    }

    bool fillStruct(const DDS_TypeDescriptor& type, void* value) {
        for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i) {
            const DDS_TypeMember& member = type.members[i];
            const bool isOptional = (member.flags & DDS_MEMBER_FLAG_OPTIONAL) != 0;
            if (isOptional && !allPresent && below(2) == 0)
                continue;
            if (!(isOptional ? fillOptional(*member.type, at(value, member.offset))
                             : fill(*member.type, at(value, member.offset)))) {
                return false;
            }
        }
        return true;
    }

    static const DDS_TypeDescriptor& target(const DDS_TypeDescriptor& type) {
        return type.kind == DDS_TYPE_ALIAS ? target(*type.element) : type;
    }

    bool fillOptional(const DDS_TypeDescriptor& type, void* place) {
        if (target(type).kind == DDS_TYPE_STRING)
            return fillText(target(type), static_cast<char**>(place));
        void*& value = *static_cast<void**>(place);
        if (value == nullptr) {
            value = allocate(type.size);
            if (value == nullptr)
                return false;
            // An anonymous type need not know how to begin; zeros will do.
            if (type.runtime != nullptr &&
                !(arena_ != nullptr ? DDS_Type_initialize_w_memory_manager(&type, value, arena_)
                                    : DDS_Type_initialize(&type, value))) {
                return false;
            }
        }
        return fill(type, value);
    }

    bool fillUnion(const DDS_TypeDescriptor& type, void* value) {
        const auto index = arm >= 0 ? static_cast<unsigned>(arm) % type.memberCount : below(type.memberCount);
        const DDS_TypeMember& selected = type.members[index];
        const auto label = static_cast<DDS_Long>(selected.labels[0]);
        std::memcpy(
            at(value, type.discriminatorOffset), &label, sizeof label); // all discriminators have 32 bits
        return fill(*selected.type, at(value, selected.offset));
    }

    std::mt19937 random_;
    REDAInlineMemory** arena_;
};

// An arena on the heap, for one test.
class TestArena {
public:
    // isBounded: it never grows.
    explicit TestArena(REDAInlineMemorySize initial = 4096, bool isBounded = false) {
        REDAInlineMemoryProperty property{};
        property.initial = initial;
        property.maximal = isBounded ? initial : 1 << 26;
        property.forceContiguousMemory = isBounded;
        property.increment = 50;
        property.lowerLevelAllocator = &REDAInlineMemoryLowerLevelAllocator_mallocAllocate;
        property.lowerLevelFree = &REDAInlineMemoryLowerLevelAllocator_mallocFree;
        memory_ = REDAInlineMemory_new(&property);
    }
    ~TestArena() { REDAInlineMemory_delete(memory_); }
    TestArena(const TestArena&) = delete;
    TestArena& operator=(const TestArena&) = delete;

    REDAInlineMemory** get() { return &memory_; }
    unsigned liveBuffers() const {
        REDAInlineMemoryInfo info;
        REDAInlineMemory_getInfo(memory_, &info);
        return info.liveBuffers;
    }

private:
    REDAInlineMemory* memory_ = nullptr;
};

#endif
