// Buffers lie in chunks, each behind a small header, so that the content which an initializer made
// stays untouched while a buffer is free. With dynamicAlloc every chunk has one buffer.
#include "zddscore/fast_buffer_pool.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "src/support/Sanitizers.hpp"
#include "zddscore/heap.h"
#include "zddscore/semaphore.h"

namespace {

constexpr std::size_t granule = alignof(std::max_align_t);

constexpr std::size_t roundUp(std::size_t size, std::size_t unit) {
    return (size + unit - 1) / unit * unit;
}

struct Chunk {
    Chunk* next;
    Chunk* previous;
    std::size_t count; // initialized buffers
};

struct BufferHeader {
    BufferHeader* nextFree;
    Chunk* chunk;
    bool inUse;
};

} // namespace

struct REDAFastBufferPool {
    REDAFastBufferPoolProperty property;
    std::size_t bufferSize;
    std::size_t alignment;
    std::size_t firstBuffer; // from a chunk to its first buffer
    std::size_t stride;      // from a buffer to the next
    REDAFastBufferPoolBufferInitializeFunction initialize;
    void* initializeParam;
    REDAFastBufferPoolBufferFinalizeFunction finalize;
    void* finalizeParam;
    const char* typeName;
    ORXOsapiSemaphore* mutex; // null unless multiThreadedAccess
    Chunk* chunks;
    BufferHeader* free;
    int allocated;
    int inUse;
};

namespace {

using Pool = REDAFastBufferPool;

class PoolLock {
public:
    explicit PoolLock(const Pool& pool) : mutex_(pool.mutex) {
        if (mutex_ != nullptr)
            ORXOsapiSemaphore_take(mutex_, nullptr);
    }
    ~PoolLock() {
        if (mutex_ != nullptr)
            ORXOsapiSemaphore_give(mutex_);
    }
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;

private:
    ORXOsapiSemaphore* mutex_;
};

BufferHeader* headerOf(void* buffer) {
    return static_cast<BufferHeader*>(buffer) - 1;
}
void* bufferOf(BufferHeader* header) {
    return header + 1;
}

void* bufferAt(const Pool& pool, Chunk& chunk, std::size_t index) {
    return reinterpret_cast<std::byte*>(&chunk) + pool.firstBuffer + index * pool.stride;
}

void freeChunk(Pool& pool, Chunk& chunk) {
    for (std::size_t i = 0; i < chunk.count; ++i) {
        void* buffer = bufferAt(pool, chunk, i);
        zdds::unpoison(buffer, pool.bufferSize);
        if (pool.finalize != nullptr)
            pool.finalize(buffer, pool.finalizeParam);
    }
    if (chunk.previous != nullptr)
        chunk.previous->next = chunk.next;
    else if (pool.chunks == &chunk)
        pool.chunks = chunk.next;
    if (chunk.next != nullptr)
        chunk.next->previous = chunk.previous;
    ORXOsapiHeap_freeMemoryInternal(&chunk);
}

Chunk* makeChunk(Pool& pool, std::size_t count) {
    void* memory = nullptr;
    std::size_t size = 0;
    if (__builtin_mul_overflow(count, pool.stride, &size))
        return nullptr;
    const std::size_t alignment = std::max(pool.alignment, granule);
    if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, pool.firstBuffer + size, alignment, 1, pool.typeName))
        return nullptr;
    auto* chunk = static_cast<Chunk*>(memory);
    for (; chunk->count < count; ++chunk->count) {
        void* buffer = bufferAt(pool, *chunk, chunk->count);
        if (pool.initialize != nullptr && !pool.initialize(buffer, pool.initializeParam)) {
            freeChunk(pool, *chunk);
            return nullptr;
        }
    }
    return chunk;
}

bool grow(Pool& pool, int count) {
    const int limit = pool.property.growth.maximal;
    if (limit >= 0 && !pool.property.ignoreMaximal)
        count = std::min(count, limit - pool.allocated);
    count = std::min(count, std::numeric_limits<int>::max() - pool.allocated);
    if (count <= 0)
        return false;
    Chunk* chunk = makeChunk(pool, static_cast<std::size_t>(count));
    if (chunk == nullptr)
        return false;
    chunk->next = pool.chunks;
    if (pool.chunks != nullptr)
        pool.chunks->previous = chunk;
    pool.chunks = chunk;
    for (std::size_t i = chunk->count; i-- > 0;) {
        void* buffer = bufferAt(pool, *chunk, i);
        BufferHeader* header = headerOf(buffer);
        *header = {pool.free, chunk, false};
        pool.free = header;
        zdds::poison(buffer, pool.bufferSize);
    }
    pool.allocated += count;
    return true;
}

int growthOf(const Pool& pool) {
    if (pool.property.dynamicAlloc)
        return 1;
    const int increment = pool.property.growth.increment;
    return increment >= 0 ? increment : std::max(pool.allocated, 1);
}

// With dynamicAlloc each buffer needs a chunk of its own.
bool makeInitialBuffers(Pool& pool) {
    const int initial = pool.property.growth.initial;
    if (!pool.property.dynamicAlloc)
        return initial <= 0 || grow(pool, initial);
    for (int i = 0; i < initial; ++i) {
        if (!grow(pool, 1))
            return false;
    }
    return true;
}

bool isUsable(std::size_t bufferSize, std::size_t alignment, const REDAFastBufferPoolProperty* property) {
    if (property == nullptr || (alignment & (alignment - 1)) != 0)
        return false;
    if (bufferSize > std::numeric_limits<std::size_t>::max() / 4)
        return false;
    const REDAFastBufferPoolGrowthProperty& growth = property->growth;
    return growth.maximal < 0 || property->ignoreMaximal || growth.initial <= growth.maximal;
}

} // namespace

REDAFastBufferPool* REDAFastBufferPool_newWithParams(size_t bufferSize, size_t alignment,
    REDAFastBufferPoolBufferInitializeFunction initFunction, void* initParam,
    REDAFastBufferPoolBufferFinalizeFunction finalizeFunction, void* finalizeParam,
    const REDAFastBufferPoolProperty* property, const char* typeName, int) {
    if (!isUsable(bufferSize, alignment, property))
        return nullptr;
    Pool* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct REDAFastBufferPool))
        return nullptr;
    const std::size_t aligned = std::max(alignment, alignof(BufferHeader));
    self->property = *property;
    self->bufferSize = bufferSize;
    self->alignment = aligned;
    self->firstBuffer = roundUp(sizeof(Chunk) + sizeof(BufferHeader), aligned);
    self->stride = roundUp(bufferSize + sizeof(BufferHeader), aligned);
    self->initialize = initFunction;
    self->initializeParam = initParam;
    self->finalize = finalizeFunction;
    self->finalizeParam = finalizeParam;
    self->typeName = typeName != nullptr ? typeName : "REDAFastBufferPoolBuffer";
    if (property->multiThreadedAccess) {
        self->mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
        if (self->mutex == nullptr) {
            REDAFastBufferPool_delete(self);
            return nullptr;
        }
    }
    if (!makeInitialBuffers(*self)) {
        REDAFastBufferPool_delete(self);
        return nullptr;
    }
    return self;
}

void REDAFastBufferPool_delete(REDAFastBufferPool* self) {
    if (self == nullptr)
        return;
    while (self->chunks != nullptr)
        freeChunk(*self, *self->chunks);
    ORXOsapiSemaphore_delete(self->mutex);
    ORXOsapiHeap_freeStructure(self);
}

void* REDAFastBufferPool_getBufferWithSize(REDAFastBufferPool* self, int size) {
    if (self == nullptr || (size >= 0 && static_cast<std::size_t>(size) > self->bufferSize))
        return nullptr;
    PoolLock lock(*self);
    if (self->free == nullptr && !grow(*self, growthOf(*self)))
        return nullptr;
    BufferHeader* header = self->free;
    self->free = header->nextFree;
    header->nextFree = nullptr;
    header->inUse = true;
    ++self->inUse;
    void* buffer = bufferOf(header);
    zdds::unpoison(buffer, self->bufferSize);
    if (self->property.zeroBufferContent)
        std::memset(buffer, 0, self->bufferSize);
    return buffer;
}

void REDAFastBufferPool_returnBuffer(REDAFastBufferPool* self, void* buffer) {
    if (self == nullptr || buffer == nullptr)
        return;
    PoolLock lock(*self);
    BufferHeader* header = headerOf(buffer);
    if (!header->inUse)
        return; // returned before
    header->inUse = false;
    --self->inUse;
    if (self->property.dynamicAlloc) {
        freeChunk(*self, *header->chunk);
        --self->allocated;
        return;
    }
    zdds::poison(buffer, self->bufferSize);
    header->nextFree = self->free;
    self->free = header;
}

void REDAFastBufferPool_getInfo(const REDAFastBufferPool* self, REDAFastBufferPoolInfo* info) {
    PoolLock lock(*self);
    *info = {
        0, self->bufferSize, self->alignment, self->allocated, self->inUse, self->property.growth.maximal};
}
