#include <atomic>
#include <cstdint>
#include <new>

#include "src/support/HeapBuffer.hpp"
#include "zddscore/heap.h"

namespace {

// At the start of a block.
struct alignas(zdds::minimumAlignment) Block {
    // Buffers alive. The open batch stands for more than there can be, so that taking one counts nothing.
    std::atomic<std::size_t> users;
    std::size_t size;

    std::byte* first() { return reinterpret_cast<std::byte*>(this + 1); }
};

constexpr std::size_t openBatch = SIZE_MAX / 2;

void giveBack(Block* block) {
    zdds::unpoison(block->first(), block->size - sizeof *block);
    ORXOsapiHeap_freeMemoryInternal(block);
}

// What the others did with the block comes before whoever is last gives it back.
void leave(Block* block, std::size_t count) {
    if (block->users.fetch_sub(count, std::memory_order_acq_rel) == count)
        giveBack(block);
}

void freeToBlock(void* context, void* buffer) {
    zdds::poison(buffer, (static_cast<zdds::BufferHeader*>(buffer) - 1)->size);
    leave(static_cast<Block*>(context), 1);
}

} // namespace

int ORXOsapiHeap_openBatch(ORXOsapiHeapBatch* batch, size_t size, const char* typeName) {
    *batch = {nullptr, nullptr, nullptr, 0};
    void* memory = nullptr;
    if (size > SIZE_MAX - sizeof(Block) ||
        !ORXOsapiHeap_reallocateMemoryInternal(&memory, sizeof(Block) + size, alignof(Block), 0, typeName))
        return ORX_FALSE;
    auto* block = new (memory) Block{openBatch, sizeof(Block) + size};
    zdds::poison(block->first(), size);
    batch->block = block;
    batch->next = reinterpret_cast<char*>(block->first());
    batch->end = batch->next + size;
    return ORX_TRUE;
}

void* ORXOsapiHeap_takeFromBatch(ORXOsapiHeapBatch* batch, size_t size, size_t alignment) {
    if (alignment < zdds::minimumAlignment)
        alignment = zdds::minimumAlignment;
    // Addresses are no larger than half of their range, so only the size can make the sum go round.
    const auto next = reinterpret_cast<std::uintptr_t>(batch->next);
    const auto end = reinterpret_cast<std::uintptr_t>(batch->end);
    const std::uintptr_t at = (next + sizeof(zdds::BufferHeader) + alignment - 1) & ~(alignment - 1);
    if (batch->block == nullptr || at > end || size > end - at)
        return nullptr;
    char* buffer = batch->next + (at - next);
    zdds::unpoison(buffer, size);
    auto* header = zdds::headerOf(buffer);
    *header = {size, freeToBlock, batch->block, 0};
    zdds::poison(header, sizeof *header);
    batch->next = buffer + size;
    ++batch->taken;
    return buffer;
}

void ORXOsapiHeap_closeBatch(ORXOsapiHeapBatch* batch) {
    if (auto* block = static_cast<Block*>(batch->block)) {
        // Nobody else knows the block yet.
        const std::size_t alive = block->users.load(std::memory_order_relaxed) - (openBatch - batch->taken);
        block->users.store(alive, std::memory_order_relaxed);
        if (alive == 0)
            giveBack(block);
    }
    *batch = {nullptr, nullptr, nullptr, 0};
}

void ORXOsapiHeap_freeTogether(ORXOsapiHeapFrees* frees, void* memory) {
    if (memory == nullptr)
        return;
    const zdds::BufferHeader header = *zdds::headerOf(memory);
    if (header.free != freeToBlock) {
        ORXOsapiHeap_freeMemoryInternal(memory);
        return;
    }
    zdds::poison(memory, header.size);
    if (header.context != frees->block) {
        ORXOsapiHeap_endFrees(frees);
        frees->block = header.context;
    }
    ++frees->count;
}

void ORXOsapiHeap_endFrees(ORXOsapiHeapFrees* frees) {
    if (frees->block != nullptr)
        leave(static_cast<Block*>(frees->block), frees->count);
    *frees = {nullptr, 0};
}
