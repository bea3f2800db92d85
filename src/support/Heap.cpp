#include "zddscore/heap.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "src/support/HeapBuffer.hpp"

namespace {

using zdds::BufferHeader;
using zdds::headerOf;
using zdds::minimumAlignment;

void* allocateFromMalloc(void*, std::size_t size, std::size_t alignment, const char*) {
    if (alignment <= minimumAlignment)
        return std::malloc(size);
    const std::size_t rounded = (size + alignment - 1) & ~(alignment - 1); // aligned_alloc wants a multiple
    return rounded < size ? nullptr : std::aligned_alloc(alignment, rounded);
}

void freeToMalloc(void*, void* memory) {
    std::free(memory);
}

// The allocators set so far. A record is immutable once published and is never freed, since another
// thread may be reading it; setting an allocator again finds its old record.
struct AllocatorRecord {
    ORXOsapiHeapAllocator allocator;
    const AllocatorRecord* older;
};

constinit const AllocatorRecord mallocRecord{{allocateFromMalloc, freeToMalloc, nullptr}, nullptr};
constinit std::atomic<const AllocatorRecord*> newestRecord{&mallocRecord};
constinit std::atomic<const AllocatorRecord*> currentRecord{&mallocRecord};

// What is alive is the difference: two atomic additions in the life of a buffer.
constinit std::atomic<std::uint64_t> allocations{0};
alignas(64) constinit std::atomic<std::uint64_t> frees{0};

void* makeBuffer(std::size_t size, std::size_t alignment, const char* typeName) {
    const std::size_t offset = (sizeof(BufferHeader) + alignment - 1) & ~(alignment - 1);
    if (size > PTRDIFF_MAX - offset)
        return nullptr;
    const ORXOsapiHeapAllocator& allocator = currentRecord.load(std::memory_order_acquire)->allocator;
    void* memory = allocator.allocate(allocator.context, offset + size, alignment, typeName);
    if (memory == nullptr)
        return nullptr;
    void* buffer = static_cast<std::byte*>(memory) + offset;
    BufferHeader* header = static_cast<BufferHeader*>(buffer) - 1;
    *header = {size, allocator.free, allocator.context, offset};
    zdds::poison(header, sizeof *header);
    allocations.fetch_add(1, std::memory_order_relaxed);
    return buffer;
}

const AllocatorRecord* findRecord(const ORXOsapiHeapAllocator& allocator) {
    for (const auto* record = newestRecord.load(std::memory_order_acquire); record; record = record->older) {
        const ORXOsapiHeapAllocator& known = record->allocator;
        if (known.allocate == allocator.allocate && known.free == allocator.free &&
            known.context == allocator.context)
            return record;
    }
    return nullptr;
}

const AllocatorRecord* addRecord(const ORXOsapiHeapAllocator& allocator) {
    auto* record = static_cast<AllocatorRecord*>(std::malloc(sizeof(AllocatorRecord)));
    if (record == nullptr)
        return nullptr;
    *record = {allocator, newestRecord.load(std::memory_order_relaxed)};
    while (!newestRecord.compare_exchange_weak(record->older, record, std::memory_order_acq_rel)) {
    }
    return record;
}

} // namespace

// Callers hand in the address of a pointer of any type, so it is read and written as bytes.
int ORXOsapiHeap_reallocateMemoryInternal(
    void** memory, size_t size, size_t alignment, int zero, const char* typeName) {
    if (memory == nullptr || (alignment & (alignment - 1)) != 0)
        return ORX_FALSE;
    if (alignment < minimumAlignment)
        alignment = minimumAlignment;
    void* old = nullptr;
    std::memcpy(&old, memory, sizeof old);

    void* buffer = makeBuffer(size, alignment, typeName);
    if (buffer == nullptr)
        return ORX_FALSE;
    std::size_t kept = 0;
    if (old != nullptr) {
        const std::size_t oldSize = headerOf(old)->size;
        kept = oldSize < size ? oldSize : size;
        std::memcpy(buffer, old, kept);
        ORXOsapiHeap_freeMemoryInternal(old);
    }
    if (zero)
        std::memset(static_cast<std::byte*>(buffer) + kept, 0, size - kept);
    std::memcpy(memory, &buffer, sizeof buffer);
    return ORX_TRUE;
}

int ORXOsapiHeap_allocateArrayInternal(
    void** memory, size_t count, size_t elementSize, const char* typeName) {
    std::size_t size = 0;
    if (__builtin_mul_overflow(count, elementSize, &size))
        return ORX_FALSE;
    return ORXOsapiHeap_reallocateMemoryInternal(memory, size, minimumAlignment, 1, typeName);
}

void ORXOsapiHeap_freeMemoryInternal(void* memory) {
    if (memory == nullptr)
        return;
    const BufferHeader header = *headerOf(memory);
    if (header.offset != 0) // one of a batch begins at what its block gave; the block alone counts
        frees.fetch_add(1, std::memory_order_release);
    header.free(header.context, static_cast<std::byte*>(memory) - header.offset);
}

// Without memory for the record of a new allocator the present one stays.
void ORXOsapiHeap_setAllocator(const ORXOsapiHeapAllocator* allocator) {
    const AllocatorRecord* record = allocator == nullptr ? &mallocRecord : findRecord(*allocator);
    if (record == nullptr)
        record = addRecord(*allocator);
    if (record != nullptr)
        currentRecord.store(record, std::memory_order_release);
}

ORX_UINT64 ORXOsapiHeap_getLiveBufferCount(void) {
    // The frees first: a buffer that comes and goes in between counts as alive, and never as less than
    // nothing.
    const std::uint64_t freed = frees.load(std::memory_order_acquire);
    return allocations.load(std::memory_order_relaxed) - freed;
}

ORX_UINT64 ORXOsapiHeap_getAllocationCount(void) {
    return allocations.load(std::memory_order_relaxed);
}
