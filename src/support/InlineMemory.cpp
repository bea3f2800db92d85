// A block is a ring: `head` is the oldest buffer that is not released, `tail` is where the next one
// goes. Buffers tile the ring, each behind its header, so that the head can step over what has been
// released, whatever the order; every buffer is stepped over once, and not too many at a time: an old
// buffer may have kept the head behind thousands that have been released since, and whoever releases
// it holds a lock that others wait for. A block whose last buffer is released starts afresh, and goes to the
// list of free blocks unless it is the current one. The most recently freed block is used first, as it is the
// one that is still in the caches.
//
//   wrapped == false:  [ free | head ... tail | free ]
//   wrapped == true:   [ ... tail | free | head ... end | unused ]
#include "zddscore/inline_memory.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "src/support/Sanitizers.hpp"
#include "zddscore/heap.h"
#include "zddscore/inline_memory_bound.h"

namespace {

constexpr std::size_t granule = alignof(std::max_align_t);
constexpr std::size_t cacheLine = 64;
constexpr std::uint32_t releasedMark = 0xDEAD0000U;
constexpr std::uint32_t liveMark = 0x11FE0001U;
constexpr std::size_t smallestBlock = 128;
constexpr std::size_t smallestGrowth = 1024;

// Relaxed, both: the bound is set before the arenas are made, and the count is a figure.
constinit std::atomic<REDAInlineMemorySize> openMaximal{REDA_INLINE_MEMORY_MAXIMAL_OPEN};
constinit std::atomic<ORX_UINT64> refusals{0};

constexpr std::size_t roundUp(std::size_t size, std::size_t unit) {
    return (size + unit - 1) & ~(unit - 1);
}

struct Block;

struct alignas(granule) BufferHeader {
    Block* block;
    std::uint32_t span; // bytes from this header to the next, header included
    std::uint32_t mark; // the block's mark while the buffer lives
};
static_assert(sizeof(BufferHeader) == granule);

struct alignas(cacheLine) Block {
    // What reservation and release touch, in one line.
    std::size_t capacity;
    std::size_t head;
    std::size_t tail;
    std::size_t end; // of the used part, while wrapped
    std::size_t liveBytes;
    std::uint32_t live;
    std::uint32_t mark; // changes with each reset, so that buffers from before it are known as stale
    bool wrapped;
    REDAInlineMemory* arena;

    void* memory; // as the lower level gave it
    Block* next;  // all blocks of the arena
    Block* nextFree;

    std::byte* base() { return reinterpret_cast<std::byte*>(this + 1); }
    BufferHeader* headerAt(std::size_t offset) { return reinterpret_cast<BufferHeader*>(base() + offset); }
};

} // namespace

struct REDAInlineMemory {
    Block* current;
    bool zeroBuffers; // beside it: every reservation asks
    bool contiguous;
    void* memory; // as the lower level gave it
    Block* free;
    Block* blocks;
    std::uint32_t increment;
    std::size_t maximal;
    std::size_t blockBytes;
    std::uint64_t blockAllocations;
    std::uint32_t blockCount;
    REDAInlineMemoryLowerLevelAllocateFunction allocate;
    REDAInlineMemoryLowerLevelFreeFunction deallocate;
    void* allocatorData;
};

namespace {

// The lower level need not align for any type: it is asked for so much more, and the place found.
template <typename T> constexpr std::size_t alignmentRoom = std::max(alignof(T), granule) - 1;

template <typename T> void* alignedPlace(void* memory) {
    return reinterpret_cast<void*>(roundUp(reinterpret_cast<std::uintptr_t>(memory), alignmentRoom<T> + 1));
}

Block* addBlock(REDAInlineMemory& arena, std::size_t capacity) {
    void* memory = arena.allocate(arena.allocatorData, sizeof(Block) + capacity + alignmentRoom<Block>);
    if (memory == nullptr)
        return nullptr;
    auto* block = new (alignedPlace<Block>(memory)) Block{};
    block->arena = &arena;
    block->memory = memory;
    block->capacity = capacity;
    block->mark = liveMark;
    block->next = arena.blocks;
    arena.blocks = block;
    arena.blockBytes += capacity;
    ++arena.blockCount;
    ++arena.blockAllocations;
    zdds::poison(block->base(), capacity);
    return block;
}

// A released stretch, so that the head finds a header at every step.
void putFiller(Block& block, std::size_t offset, std::size_t span) {
    BufferHeader* header = block.headerAt(offset);
    zdds::unpoison(header, sizeof *header);
    *header = {&block, static_cast<std::uint32_t>(span), releasedMark};
}

// Takes `span` bytes between tail and `limit`; the buffer behind the header is aligned as asked.
BufferHeader* takeAtTail(Block& block, std::size_t limit, std::size_t span, std::size_t alignment) {
    std::size_t padding = 0;
    if (alignment > granule) {
        const auto buffer =
            reinterpret_cast<std::uintptr_t>(block.base() + block.tail + sizeof(BufferHeader));
        padding = roundUp(buffer, alignment) - buffer;
    }
    if (limit - block.tail < span + padding)
        return nullptr;
    if (padding != 0) {
        putFiller(block, block.tail, padding);
        block.tail += padding;
    }
    BufferHeader* header = block.headerAt(block.tail);
    block.tail += span;
    return header;
}

// The usual case, and all that most reservations take: room behind the tail, for a buffer that needs no more
// than the granule's alignment.
BufferHeader* takeQuickly(Block& block, std::size_t span) {
    const std::size_t limit = block.wrapped ? block.head : block.capacity;
    if (limit - block.tail < span)
        return nullptr;
    BufferHeader* header = block.headerAt(block.tail);
    block.tail += span;
    return header;
}

BufferHeader* takeFrom(Block& block, std::size_t span, std::size_t alignment) {
    if (block.wrapped)
        return takeAtTail(block, block.head, span, alignment);
    if (BufferHeader* header = takeAtTail(block, block.capacity, span, alignment))
        return header;
    if (block.head < span)
        return nullptr;
    // Room at the front: go round. Undone when the padding does not fit.
    const std::size_t tail = block.tail;
    block.tail = 0;
    BufferHeader* header = takeAtTail(block, block.head, span, alignment);
    if (header == nullptr) {
        block.tail = tail;
        return nullptr;
    }
    block.wrapped = true;
    block.end = tail;
    return header;
}

void pushFree(REDAInlineMemory& arena, Block& block) {
    block.nextFree = arena.free;
    arena.free = &block;
}

// The block so far is left as it is while buffers live in it; an empty one was too small.
void makeCurrent(REDAInlineMemory& arena, Block& block) {
    if (arena.current->live == 0)
        pushFree(arena, *arena.current);
    arena.current = &block;
}

BufferHeader* takeFromFreeBlock(REDAInlineMemory& arena, std::size_t span, std::size_t alignment) {
    for (Block** link = &arena.free; *link != nullptr; link = &(*link)->nextFree) {
        Block* block = *link;
        BufferHeader* header = takeFrom(*block, span, alignment);
        if (header == nullptr)
            continue;
        *link = block->nextFree;
        block->nextFree = nullptr;
        makeCurrent(arena, *block);
        return header;
    }
    return nullptr;
}

// isAtBound: there is memory, but not for this arena.
BufferHeader* takeFromNewBlock(
    REDAInlineMemory& arena, std::size_t span, std::size_t alignment, bool& isAtBound) {
    if (arena.contiguous)
        return nullptr;
    const std::size_t needed = span + (alignment > granule ? alignment : 0);
    const std::size_t left = arena.maximal - arena.blockBytes;
    if (needed > left) {
        isAtBound = true;
        return nullptr;
    }
    const std::size_t grown = std::max(arena.blockBytes * arena.increment / 100, smallestGrowth);
    const std::size_t capacity = std::min(roundUp(std::max(grown, needed), granule), left);
    Block* block = addBlock(arena, capacity);
    if (block == nullptr)
        return nullptr;
    makeCurrent(arena, *block);
    return takeFrom(*block, span, alignment);
}

// More than one reservation adds, so that the head catches up.
constexpr std::size_t stepsOfRelease = 64;

// Steps the head over released buffers, over so many at most; at least one buffer of the block lives.
void advanceHead(Block& block, std::size_t most) {
    for (std::size_t i = 0; i < most; ++i) {
        if (block.wrapped && block.head == block.end) {
            block.head = 0;
            block.wrapped = false;
        }
        const BufferHeader* header = block.headerAt(block.head);
        if (header->mark == block.mark)
            return;
        block.head += header->span;
    }
}

// The last resort at the bound: what has become free at the front of a block that is still in use, where the
// head has not come to it yet too.
// That block becomes the current one.
BufferHeader* takeFromAnyBlock(REDAInlineMemory& arena, std::size_t span, std::size_t alignment) {
    for (Block* block = arena.blocks; block != nullptr; block = block->next) {
        if (block->live == 0)
            continue; // the current block or a free one: tried before
        advanceHead(*block, std::numeric_limits<std::size_t>::max());
        BufferHeader* header = takeFrom(*block, span, alignment);
        if (header == nullptr)
            continue;
        makeCurrent(arena, *block);
        return header;
    }
    return nullptr;
}

[[gnu::noinline]] BufferHeader* takeAnywhere(
    REDAInlineMemory& arena, std::size_t span, std::size_t alignment) {
    if (BufferHeader* header = takeFrom(*arena.current, span, alignment))
        return header;
    if (BufferHeader* header = takeFromFreeBlock(arena, span, alignment))
        return header;
    bool isAtBound = false;
    if (BufferHeader* header = takeFromNewBlock(arena, span, alignment, isAtBound))
        return header;
    BufferHeader* header = takeFromAnyBlock(arena, span, alignment);
    if (header == nullptr && isAtBound)
        refusals.fetch_add(1, std::memory_order_relaxed);
    return header;
}

void startAfresh(Block& block) {
    block.head = 0;
    block.tail = 0;
    block.end = 0;
    block.wrapped = false;
}

// Bytes of all blocks. Where the process sets it, room for the first block is there whatever it says.
std::size_t boundOf(const REDAInlineMemoryProperty& property) {
    const bool isOpen = property.maximal < 0 || property.maximal == REDA_INLINE_MEMORY_MAXIMAL_OPEN;
    if (!isOpen)
        return static_cast<std::size_t>(property.maximal);
    const auto open = static_cast<std::size_t>(openMaximal.load(std::memory_order_relaxed));
    const std::size_t first =
        std::max(roundUp(static_cast<std::size_t>(property.initial), granule), smallestBlock);
    constexpr auto most = std::size_t{REDA_INLINE_MEMORY_MAXIMAL_OPEN};
    return std::min(std::max(open, first), most);
}

std::size_t spanOf(std::size_t bytes) {
    return sizeof(BufferHeader) + roundUp(bytes, granule);
}

// Buffers are taken one behind the other, and what comes has left the caches since it was last used, or lies
// in those of the thread that released it. Fetching so far ahead costs three instructions, and hides most of
// that from whoever takes many; processors that fetch ahead themselves stop at the end of a page.
constexpr std::size_t fetchedAhead = 30 * cacheLine;

void fetchAhead(const BufferHeader& header) {
    const std::byte* ahead = reinterpret_cast<const std::byte*>(&header) + fetchedAhead;
    for (std::size_t i = 0; i < 3; ++i)
        __builtin_prefetch(ahead + i * cacheLine, 1);
}

// The buffer behind the header.
[[gnu::always_inline]] inline void* fill(
    REDAInlineMemory& arena, Block& block, BufferHeader& header, std::size_t span, std::size_t bytes) {
    void* buffer = &header + 1;
    fetchAhead(header);
    zdds::unpoison(&header, sizeof header + bytes);
    zdds::poison(static_cast<std::byte*>(buffer) + bytes, span - sizeof header - bytes);
    header = {&block, static_cast<std::uint32_t>(span), block.mark};
    ++block.live;
    block.liveBytes += span;
    return arena.zeroBuffers ? std::memset(buffer, 0, bytes) : buffer;
}

bool isUsable(const REDAInlineMemoryProperty& property) {
    return property.lowerLevelAllocator != nullptr && property.lowerLevelFree != nullptr &&
           property.initial >= 0;
}

} // namespace

int REDAInlineMemory_setOpenMaximalI(REDAInlineMemorySize maximal) {
    if (maximal < 1)
        return ORX_FALSE;
    openMaximal.store(maximal, std::memory_order_relaxed);
    return ORX_TRUE;
}

ORX_UINT64 REDAInlineMemory_getRefusalCountI(void) {
    return refusals.load(std::memory_order_relaxed);
}

void* REDAInlineMemoryLowerLevelAllocator_mallocAllocate(void*, size_t size) {
    void* memory = nullptr;
    return ORXOsapiHeap_reallocateMemoryInternal(&memory, size, granule, 0, "REDAInlineMemoryBlock")
               ? memory
               : nullptr;
}

void REDAInlineMemoryLowerLevelAllocator_mallocFree(void*, void* memory) {
    ORXOsapiHeap_freeMemoryInternal(memory);
}

REDAInlineMemory* REDAInlineMemory_new(const REDAInlineMemoryProperty* property) {
    if (property == nullptr || !isUsable(*property))
        return nullptr;
    const std::size_t bound = boundOf(*property);
    const std::size_t initial =
        std::max(roundUp(static_cast<std::size_t>(property->initial), granule), smallestBlock);
    // A multiple of the granule, so that every block is one.
    const std::size_t maximal = bound & ~(granule - 1);
    if (std::min(initial, maximal) < smallestBlock || static_cast<std::size_t>(property->initial) > bound)
        return nullptr;

    void* memory = property->lowerLevelAllocator(
        property->lowerLevelAllocatorData, sizeof(REDAInlineMemory) + alignmentRoom<REDAInlineMemory>);
    if (memory == nullptr)
        return nullptr;
    auto* self = new (alignedPlace<REDAInlineMemory>(memory)) REDAInlineMemory{};
    self->memory = memory;
    self->zeroBuffers = property->initializeBuffersToZero != 0;
    self->contiguous = property->forceContiguousMemory != 0;
    self->increment = property->increment;
    self->maximal = maximal;
    self->allocate = property->lowerLevelAllocator;
    self->deallocate = property->lowerLevelFree;
    self->allocatorData = property->lowerLevelAllocatorData;
    self->current = addBlock(*self, std::min(initial, maximal));
    if (self->current == nullptr) {
        REDAInlineMemory_delete(self);
        return nullptr;
    }
    return self;
}

void REDAInlineMemory_delete(REDAInlineMemory* self) {
    if (self == nullptr)
        return;
    while (Block* block = self->blocks) {
        self->blocks = block->next;
        zdds::unpoison(block->base(), block->capacity);
        self->deallocate(self->allocatorData, block->memory);
    }
    self->deallocate(self->allocatorData, self->memory);
}

// Arguments are as they come: what is not valid ends up here. Out of line, so that the usual way saves no
// registers.
[[gnu::noinline]] static void* reserveAnywhere(
    REDAInlineMemory** self, REDAInlineMemorySize size, int alignment) {
    if (self == nullptr || *self == nullptr || size < 0 || alignment < 0)
        return nullptr;
    const std::size_t aligned = std::max(static_cast<std::size_t>(alignment), granule);
    if ((aligned & (aligned - 1)) != 0)
        return nullptr;
    const std::size_t bytes = static_cast<std::size_t>(size);
    const std::size_t span = spanOf(bytes);
    BufferHeader* header = takeAnywhere(**self, span, aligned);
    return header == nullptr ? nullptr : fill(**self, *(*self)->current, *header, span, bytes);
}

[[gnu::hot]] void* REDAInlineMemory_reserveBufferI(
    REDAInlineMemory** self, REDAInlineMemorySize size, int alignment) {
    // A negative size needs more than any block has.
    if (self != nullptr && *self != nullptr && static_cast<unsigned>(alignment) <= granule) [[likely]] {
        REDAInlineMemory& arena = **self;
        Block& block = *arena.current;
        const std::size_t bytes = static_cast<std::uint32_t>(size);
        const std::size_t span = spanOf(bytes);
        if (BufferHeader* header = takeQuickly(block, span)) [[likely]]
            return fill(arena, block, *header, span, bytes);
    }
    return reserveAnywhere(self, size, alignment);
}

int REDAInlineMemBuffer_release(void* buffer) {
    if (buffer == nullptr || reinterpret_cast<std::uintptr_t>(buffer) % granule != 0)
        return ORX_FALSE;
    BufferHeader* header = static_cast<BufferHeader*>(buffer) - 1;
    if (header->mark == releasedMark)
        return ORX_FALSE;
    Block& block = *header->block;
    if (header->mark != block.mark)
        return ORX_FALSE; // from before a reset
    header->mark = releasedMark;
    zdds::poison(buffer, header->span - sizeof *header);
    block.liveBytes -= header->span;
    if (--block.live == 0) {
        startAfresh(block);
        REDAInlineMemory& arena = *block.arena;
        if (arena.current != &block)
            pushFree(arena, block);
    } else {
        advanceHead(block, stepsOfRelease);
    }
    return ORX_TRUE;
}

void REDAInlineMemory_reset(REDAInlineMemory* self) {
    if (self == nullptr)
        return;
    self->free = nullptr;
    for (Block* block = self->blocks; block != nullptr; block = block->next) {
        startAfresh(*block);
        block->live = 0;
        block->liveBytes = 0;
        ++block->mark;
        if (block != self->current)
            pushFree(*self, *block);
    }
}

void REDAInlineMemory_getInfo(const REDAInlineMemory* self, REDAInlineMemoryInfo* info) {
    *info = {self->blockBytes, 0, 0, self->blockCount, self->blockAllocations};
    for (const Block* block = self->blocks; block != nullptr; block = block->next) {
        info->usedBytes += block->liveBytes;
        info->liveBuffers += block->live;
    }
}

char* ORXCdrType_copyStringExWMemoryManager(char** destination, REDAInlineMemory** memoryManager,
    const char* source, ORX_UINT32 maximumLength, int allocateMemory) {
    if (destination == nullptr || source == nullptr)
        return nullptr;
    const std::size_t length = strnlen(source, std::size_t{maximumLength} + 1);
    if (length > maximumLength)
        return nullptr;
    if (!allocateMemory) {
        // The caller's buffer has room for maximumLength characters.
        if (*destination != nullptr)
            std::memcpy(*destination, source, length + 1);
        return *destination;
    }
    if (memoryManager == nullptr) {
        ORXOsapiHeap_freeMemoryInternal(*destination);
        if (!ORXOsapiHeap_allocateArray(destination, length + 1, char))
            return nullptr;
    } else {
        if (*destination != nullptr)
            REDAInlineMemBuffer_release(*destination);
        *destination = nullptr;
        if (length >= std::size_t{std::numeric_limits<REDAInlineMemorySize>::max()})
            return nullptr;
        *destination = static_cast<char*>(
            REDAInlineMemory_reserveBufferI(memoryManager, static_cast<REDAInlineMemorySize>(length + 1), 1));
        if (*destination == nullptr)
            return nullptr;
    }
    std::memcpy(*destination, source, length + 1);
    return *destination;
}
