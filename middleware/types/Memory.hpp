// Where the memory of values comes from: the heap, or a caller's arena; and arrays for the engine's own
// records.
//
// Threads: as the heap and the arena themselves.
#ifndef ZDDSC_TYPES_MEMORY_HPP
#define ZDDSC_TYPES_MEMORY_HPP

#include <cstdint>
#include <cstring>
#include <utility>

#include "src/support/HeapBuffer.hpp"
#include "zddscore/heap.h"
#include "zddscore/inline_memory.h"

namespace zdds::types {

// The buffers of one new value, in a few blocks of the heap.
class ValueBatch {
public:
    // blockSize: what one of them has for buffers and what each adds; headerRoom at least.
    static constexpr size_t headerRoom = 64;
    explicit ValueBatch(size_t blockSize) : blockSize_(blockSize) {}
    ValueBatch(const ValueBatch&) = delete;
    ValueBatch& operator=(const ValueBatch&) = delete;
    ~ValueBatch() { ORXOsapiHeap_closeBatch(&batch_); }

    // Null when the buffer should rather stand alone.
    void* take(size_t size, size_t alignment, size_t* budget) {
        void* buffer = takeFromBatch(batch_, size, alignment);
        return __builtin_expect(buffer != nullptr, 1) ? buffer : takeFromNext(size, alignment, budget);
    }

private:
    [[gnu::noinline]] void* takeFromNext(size_t size, size_t alignment, size_t* budget) {
        // What does not fit into the rest of a block is worth a new one when it is not most of it.
        if (size > (batch_.block == nullptr ? blockSize_ - headerRoom : blockSize_ / 2) ||
            (budget != nullptr && blockSize_ > *budget))
            return nullptr;
        ORXOsapiHeap_closeBatch(&batch_);
        if (!ORXOsapiHeap_openBatch(&batch_, blockSize_, "buffers of a value"))
            return nullptr;
        if (budget != nullptr)
            *budget -= blockSize_;
        return takeFromBatch(batch_, size, alignment);
    }

    ORXOsapiHeapBatch batch_{};
    const size_t blockSize_;
};

// How buffers go: to the arena that they came from, or to the heap, and there together with others.
struct Releasing {
    Releasing(bool fromArena) : isArena(fromArena) {} // NOLINT: by itself it says all
    explicit Releasing(ORXOsapiHeapFrees& together) : isArena(false), frees(&together) {}

    bool isArena;
    ORXOsapiHeapFrees* frees = nullptr;
};

struct Memory {
    REDAInlineMemory** arena = nullptr; // null: the heap
    size_t* budget = nullptr;           // bytes that may still be allocated; null: no limit
    ValueBatch* batch = nullptr;        // for new buffers of the heap; null: each stands alone
    bool* isOut = nullptr;              // set when the heap refuses; null: nobody asks

    // Not cleared; null on failure.
    void* allocate(size_t size, size_t alignment, const char* typeName) const {
        if (batch != nullptr)
            if (void* buffer = batch->take(size, alignment, budget))
                return buffer;
        if (!take(size))
            return nullptr;
        if (arena != nullptr) {
            if (size > INT32_MAX)
                return nullptr;
            return REDAInlineMemory_reserveBufferI(
                arena, static_cast<REDAInlineMemorySize>(size), static_cast<int>(alignment));
        }
        void* memory = nullptr;
        return resize(&memory, size, alignment, typeName) ? memory : nullptr;
    }
    // Heap only: resizes, and leaves the buffer as it was on failure.
    bool reallocate(void** memory, size_t size, size_t alignment, const char* typeName) const {
        if (batch != nullptr && *memory == nullptr)
            if ((*memory = batch->take(size, alignment, budget)) != nullptr)
                return true;
        return take(size) && resize(memory, size, alignment, typeName);
    }
    static void release(void* memory, const Releasing& how) {
        if (memory == nullptr)
            return;
        if (how.isArena)
            REDAInlineMemBuffer_release(memory);
        else if (how.frees != nullptr)
            freeTogether(*how.frees, memory);
        else
            ORXOsapiHeap_freeMemoryInternal(memory);
    }

private:
    bool resize(void** memory, size_t size, size_t alignment, const char* typeName) const {
        if (ORXOsapiHeap_reallocateMemoryInternal(memory, size, alignment, 0, typeName))
            return true;
        if (isOut != nullptr)
            *isOut = true;
        return false;
    }
    bool take(size_t size) const {
        if (budget == nullptr)
            return true;
        if (size > *budget)
            return false;
        *budget -= size;
        return true;
    }
};

// A growing array of plain records on the heap. Addresses move while it grows.
template <typename T> class HeapArray {
public:
    HeapArray() = default;
    HeapArray(const HeapArray&) = delete;
    HeapArray& operator=(const HeapArray&) = delete;
    ~HeapArray() { ORXOsapiHeap_freeMemoryInternal(data_); }

    bool push(const T& item) {
        if (size_ == capacity_ && !grow(capacity_ == 0 ? 8 : 2 * capacity_))
            return false;
        data_[size_++] = item;
        return true;
    }
    void pop() { --size_; }
    // Cleared to zeros when it grows.
    bool resize(size_t size) {
        if (size > capacity_ && !grow(size))
            return false;
        if (size > size_)
            std::memset(static_cast<void*>(data_ + size_), 0, (size - size_) * sizeof(T));
        size_ = size;
        return true;
    }
    T* data() { return data_; }
    const T* data() const { return data_; }
    size_t size() const { return size_; }
    T& operator[](size_t index) { return data_[index]; }
    T& back() { return data_[size_ - 1]; }
    T* begin() { return data_; }
    T* end() { return data_ + size_; }

private:
    bool grow(size_t capacity) {
        void* memory = data_;
        if (!ORXOsapiHeap_reallocateMemoryInternal(
                &memory, capacity * sizeof(T), alignof(T), 0, "type program"))
            return false;
        data_ = static_cast<T*>(memory);
        capacity_ = capacity;
        return true;
    }

    T* data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

} // namespace zdds::types

#endif
