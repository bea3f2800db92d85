// A heap that fails on demand: the n-th allocation from now on, and counts. Buffers that it gave may outlive
// it.
#ifndef ORX_TESTS_FAILING_HEAP_HPP
#define ORX_TESTS_FAILING_HEAP_HPP

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "zddscore/heap.h"

class FailingHeap {
public:
    static constexpr uint64_t never = 0;

    FailingHeap() {
        state().count = 0;
        state().failAt = never;
        static const ORXOsapiHeapAllocator allocator{&FailingHeap::allocate, &FailingHeap::release, nullptr};
        ORXOsapiHeap_setAllocator(&allocator);
    }
    ~FailingHeap() { ORXOsapiHeap_setAllocator(nullptr); }
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    // Fails the n-th allocation counted from here, n being 1 or more; `times` of them in a row. With a name
    // of a type, which stays the caller's, allocations of that name alone count.
    void failAt(uint64_t n, uint64_t times = 1, const char* typeName = nullptr) {
        state().count = 0;
        state().times = times;
        state().typeName = typeName;
        state().failAt = n;
    }
    void failNoMore() { state().failAt = never; }
    uint64_t count() const { return state().count; }
    // What the calling thread has given back while any of these stood.
    static uint64_t releasesOfThisThread() { return releases(); }
    bool hasFailed() const { return state().failAt != never && state().count >= state().failAt; }

private:
    struct State {
        std::atomic<uint64_t> count{0};
        std::atomic<uint64_t> failAt{never};
        std::atomic<uint64_t> times{1};
        std::atomic<const char*> typeName{nullptr};
    };
    static State& state() {
        static State one;
        return one;
    }
    static uint64_t& releases() {
        static thread_local uint64_t count = 0;
        return count;
    }
    static bool isToFail(const char* typeName) {
        const char* wanted = state().typeName;
        if (wanted != nullptr && (typeName == nullptr || std::strcmp(typeName, wanted) != 0))
            return false;
        const uint64_t n = ++state().count;
        const uint64_t first = state().failAt;
        return first != never && n >= first && n - first < state().times;
    }
    static void* allocate(void*, size_t size, size_t alignment, const char* typeName) {
        if (isToFail(typeName))
            return nullptr;
        if (alignment <= alignof(std::max_align_t))
            return std::malloc(size != 0 ? size : 1);
        return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    }
    static void release(void*, void* memory) {
        ++releases();
        std::free(memory);
    }
};

#endif
