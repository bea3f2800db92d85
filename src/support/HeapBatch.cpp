#include <cstdint>
#include <new>

#include "src/support/HeapBuffer.hpp"
#include "zddscore/heap.h"

namespace {

using Block = zdds::BatchBlock;

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
    *batch = {};
    void* memory = nullptr;
    if (size > SIZE_MAX - sizeof(Block) ||
        !ORXOsapiHeap_reallocateMemoryInternal(&memory, sizeof(Block) + size, alignof(Block), 0, typeName))
        return ORX_FALSE;
    auto* block = new (memory) Block{openBatch, sizeof(Block) + size, freeToBlock};
    zdds::poison(block->first(), size);
    batch->block = block;
    batch->next = reinterpret_cast<char*>(block->first());
    batch->end = batch->next + size;
    return ORX_TRUE;
}

void* ORXOsapiHeap_takeFromBatch(ORXOsapiHeapBatch* batch, size_t size, size_t alignment) {
    return zdds::takeFromBatch(*batch, size, alignment);
}

void ORXOsapiHeap_closeBatch(ORXOsapiHeapBatch* batch) {
    if (auto* block = static_cast<Block*>(batch->block)) {
        // Nobody else knows the block yet.
        const std::size_t alive = block->users.load(std::memory_order_relaxed) - (openBatch - batch->taken);
        block->users.store(alive, std::memory_order_relaxed);
        if (alive == 0)
            giveBack(block);
    }
    *batch = {};
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
