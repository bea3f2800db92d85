// Counts the heap calls of each thread of the program that it is linked into, by standing in front of the C
// library's.
#include <cstddef>
#include <cstdint>

#include "bench/common/Compare.hpp"

namespace {
// In the program itself, so that the access never allocates.
__thread std::uint64_t calls = 0;
} // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
    ++calls;
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    ++calls;
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    ++calls;
    return __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    ++calls;
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    ++calls;
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : 12; // ENOMEM
}
}

namespace bench {
std::uint64_t heapCalls() {
    return calls;
}
} // namespace bench
