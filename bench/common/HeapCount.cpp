// Counts the heap calls of the program that it is linked into, by standing in front of the C library's.
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "bench/common/Compare.hpp"

namespace {
std::atomic<std::uint64_t> calls{0}; // relaxed: read when the work is done
}

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
    calls.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    calls.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    calls.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    calls.fetch_add(1, std::memory_order_relaxed);
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    calls.fetch_add(1, std::memory_order_relaxed);
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : 12; // ENOMEM
}
}

namespace bench {
std::uint64_t heapCalls() { return calls.load(std::memory_order_relaxed); }
} // namespace bench
