// A heap of zddscore/heap.h that fails on demand and counts what is alive.
#ifndef ORX_TESTS_MIDDLEWARE_FAILING_HEAP_HPP
#define ORX_TESTS_MIDDLEWARE_FAILING_HEAP_HPP

#include <atomic>
#include <cstdlib>

#include "zddsc/type_engine.h"
#include "zddscore/heap.h"

// While one lives, the n-th allocation from its making on fails, and that one alone, or so many; 0 fails
// none.
class FailingHeap {
public:
    explicit FailingHeap(long failAt = 0, long times = 1) : failAt_(failAt), times_(times) {
        const ORXOsapiHeapAllocator allocator{&FailingHeap::allocate, &FailingHeap::release, this};
        ORXOsapiHeap_setAllocator(&allocator);
    }
    ~FailingHeap() { ORXOsapiHeap_setAllocator(nullptr); }
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    // Buffers that are alive but for the programs that the type engine keeps and makes again when needed. No
    // other thread may use a type meanwhile.
    long live() const {
        DDS_Type_finalize_programs();
        return live_;
    }
    long allocations() const { return allocations_; }
    static long allocationsOfThisThread() { return ofThisThread_; }
    bool hasFailed() const { return hasFailed_; }

private:
    static void* allocate(void* context, size_t size, size_t alignment, const char*) {
        auto* self = static_cast<FailingHeap*>(context);
        ++ofThisThread_;
        const long number = ++self->allocations_;
        if (self->failAt_ != 0 && number >= self->failAt_ && number - self->failAt_ < self->times_) {
            self->hasFailed_ = true;
            return nullptr;
        }
        void* memory = nullptr;
        if (posix_memalign(&memory, alignment < sizeof(void*) ? sizeof(void*) : alignment, size) != 0)
            return nullptr;
        ++self->live_;
        return memory;
    }
    static void release(void* context, void* memory) {
        --static_cast<FailingHeap*>(context)->live_;
        std::free(memory);
    }

    static inline thread_local long ofThisThread_ = 0;
    const long failAt_;
    const long times_;
    std::atomic<long> allocations_{0};
    std::atomic<long> live_{0};
    std::atomic<bool> hasFailed_{false};
};

#endif
