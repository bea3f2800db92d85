// What stands right before every buffer of the heap, and buffers of batches without a call.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "src/support/Sanitizers.hpp"
#include "zddscore/heap.h"

namespace zdds {

// Poisoned under the address sanitizer while the buffer lives, so that an access just below a buffer is seen.
struct BufferHeader {
    std::size_t size;                          // bytes that the caller asked for
    void (*free)(void* context, void* memory); // of what made the buffer
    void* context;
    std::size_t offset; // from what the allocator gave to the buffer; 0 for one of a batch
};

constexpr std::size_t minimumAlignment = alignof(std::max_align_t);
static_assert(sizeof(BufferHeader) % minimumAlignment == 0);

inline BufferHeader* headerOf(void* buffer) {
    auto* header = static_cast<BufferHeader*>(buffer) - 1;
    unpoison(header, sizeof *header);
    return header;
}

// At the start of the block of a batch.
struct alignas(minimumAlignment) BatchBlock {
    // Buffers alive. The open batch stands for more than there can be, so that taking one counts nothing.
    std::atomic<std::size_t> users;
    std::size_t size;
    void (*free)(void* block, void* buffer); // one of its buffers

    std::byte* first() { return reinterpret_cast<std::byte*>(this + 1); }
};

// ORXOsapiHeap_takeFromBatch.
inline void* takeFromBatch(ORXOsapiHeapBatch& batch, std::size_t size, std::size_t alignment) {
    if (alignment < minimumAlignment)
        alignment = minimumAlignment;
    // Addresses are no larger than half of their range, so only the size can make the sum go round. A closed
    // batch has no room for a header.
    const auto next = reinterpret_cast<std::uintptr_t>(batch.next);
    const auto end = reinterpret_cast<std::uintptr_t>(batch.end);
    const std::uintptr_t at = (next + sizeof(BufferHeader) + alignment - 1) & ~(alignment - 1);
    if (at > end || size > end - at)
        return nullptr;
    char* buffer = batch.next + (at - next);
    unpoison(buffer, size);
    BufferHeader* header = headerOf(buffer);
    *header = {size, static_cast<BatchBlock*>(batch.block)->free, batch.block, 0};
    poison(header, sizeof *header);
    batch.next = buffer + size;
    ++batch.taken;
    return buffer;
}

// ORXOsapiHeap_freeTogether, for what is not null.
inline void freeTogether(ORXOsapiHeapFrees& frees, void* memory) {
    const BufferHeader* header = headerOf(memory);
    if (header->offset == 0 && header->context == frees.block) {
        poison(memory, header->size);
        ++frees.count;
    } else {
        ORXOsapiHeap_freeTogether(&frees, memory);
    }
}

} // namespace zdds
