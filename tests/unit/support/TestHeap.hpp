// Heap helpers for tests: count what is alive, and make the n-th allocation fail.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "zddscore/heap.h"

namespace testing_support {

// While it lives, allocation number `failAt` (from 1) of the heap fails; 0 fails none.
class FailingHeap {
public:
    explicit FailingHeap(int failAt) : failAt_(failAt) {
        const ORXOsapiHeapAllocator allocator{allocate, release, this};
        ORXOsapiHeap_setAllocator(&allocator);
    }
    ~FailingHeap() { ORXOsapiHeap_setAllocator(nullptr); }
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    int calls() const { return calls_.load(); }

private:
    static void* allocate(void* context, std::size_t size, std::size_t alignment, const char*) {
        auto& self = *static_cast<FailingHeap*>(context);
        if (++self.calls_ == self.failAt_)
            return nullptr;
        return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    }
    static void release(void*, void* memory) { std::free(memory); }

    std::atomic<int> calls_{0};
    const int failAt_;
};

// Runs create() with allocation 1, 2, 3, ... failing until it succeeds; create() returns whether it did,
// and has deleted what it made. Returns the number of failures met, or -1 when something was left alive.
template <typename Create> int walkAllocationFailures(Create create) {
    const std::uint64_t aliveBefore = ORXOsapiHeap_getLiveBufferCount();
    for (int n = 1; n < 1000; ++n) {
        bool created = false;
        {
            FailingHeap heap(n);
            created = create();
            if (created && heap.calls() >= n)
                return -1; // a failed allocation went unnoticed
        }
        if (ORXOsapiHeap_getLiveBufferCount() != aliveBefore)
            return -1;
        if (created)
            return n - 1;
    }
    return -1;
}

} // namespace testing_support
