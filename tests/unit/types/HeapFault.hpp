// An allocator under the test's control: counts bytes, and fails from the n-th allocation on or just there.
#ifndef TESTS_UNIT_TYPES_HEAP_FAULT_HPP
#define TESTS_UNIT_TYPES_HEAP_FAULT_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "zddscore/heap.h"

class HeapFault {
public:
    // failAt: the allocation that fails, counted from 1; 0 for none.
    explicit HeapFault(int failAt = 0) : failAt_(failAt), liveBefore_(ORXOsapiHeap_getLiveBufferCount()) {
        const ORXOsapiHeapAllocator allocator{&HeapFault::allocate, &HeapFault::free, this};
        ORXOsapiHeap_setAllocator(&allocator);
    }
    ~HeapFault() { ORXOsapiHeap_setAllocator(nullptr); }
    HeapFault(const HeapFault&) = delete;
    HeapFault& operator=(const HeapFault&) = delete;

    int count() const { return count_; }
    size_t bytes() const { return bytes_; }
    bool failed() const { return failAt_ != 0 && count_ >= failAt_; }
    long leaked() const {
        return static_cast<long>(ORXOsapiHeap_getLiveBufferCount()) - static_cast<long>(liveBefore_);
    }

private:
    static void* allocate(void* context, size_t size, size_t alignment, const char*) {
        auto* self = static_cast<HeapFault*>(context);
        if (++self->count_ == self->failAt_)
            return nullptr;
        self->bytes_ += size;
        alignment = std::max(alignment, sizeof(void*));
        void* memory = nullptr;
        return posix_memalign(&memory, alignment, size == 0 ? 1 : size) == 0 ? memory : nullptr;
    }
    static void free(void*, void* memory) { std::free(memory); }

    int failAt_;
    int count_ = 0;
    size_t bytes_ = 0;
    ORX_UINT64 liveBefore_;
};

#endif
