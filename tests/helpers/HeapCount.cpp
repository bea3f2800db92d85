// Counts the heap calls of each thread, whoever makes them, in a program without sanitizers.
#include "tests/helpers/HeapCount.hpp"

#include <cstddef>

#if !ORX_TESTS_COUNT_MALLOC

uint64_t heapCallsOfThisThread() {
    return 0;
}

#else

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace {
thread_local uint64_t calls = 0;
}

uint64_t heapCallsOfThisThread() {
    return calls;
}

extern "C" {

void* malloc(size_t size) {
    ++calls;
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    ++calls;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
    ++calls;
    return __libc_realloc(memory, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    ++calls;
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
    ++calls;
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : 12;
}

} // extern "C"

#endif
