// What stands right before every buffer of the heap.
#pragma once

#include <cstddef>

#include "src/support/Sanitizers.hpp"

namespace zdds {

// Poisoned under the address sanitizer while the buffer lives, so that an access just below a buffer is seen.
struct BufferHeader {
    std::size_t size;                          // bytes that the caller asked for
    void (*free)(void* context, void* memory); // of what made the buffer
    void* context;
    std::size_t offset; // from what the allocator gave to the buffer
};

constexpr std::size_t minimumAlignment = alignof(std::max_align_t);
static_assert(sizeof(BufferHeader) % minimumAlignment == 0);

inline BufferHeader* headerOf(void* buffer) {
    auto* header = static_cast<BufferHeader*>(buffer) - 1;
    unpoison(header, sizeof *header);
    return header;
}

} // namespace zdds
