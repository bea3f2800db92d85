/* Arena for queues: buffers are reserved in order and released in about the same order.
 *
 * A buffer is aligned for any type whatever alignment is asked. A release needs the buffer's address
 * alone and takes constant time; a block whose buffers have all been released is used again, so that
 * after warm-up no reservation calls the heap.
 * Threads: an arena has no lock; callers serialize every call that touches it, releases included. */
#ifndef ZDDSCORE_INLINE_MEMORY_H
#define ZDDSCORE_INLINE_MEMORY_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

struct REDAInlineMemory;
typedef struct REDAInlineMemory REDAInlineMemory;
typedef ORX_INT32 REDAInlineMemorySize; /* bytes */

typedef void* (*REDAInlineMemoryLowerLevelAllocateFunction)(void* allocatorData, size_t size);
typedef void (*REDAInlineMemoryLowerLevelFreeFunction)(void* allocatorData, void* memory);

struct REDAInlineMemoryProperty {
    REDAInlineMemorySize initial; /* bytes of the first block; at least one small buffer always fits */
    REDAInlineMemorySize maximal; /* bound on the sum of all blocks, bytes */
    ORX_UINT32 increment; /* a new block is this many percent of what the arena has, or larger if the buffer
                             needs it */
    int forceContiguousMemory; /* non-zero: one block only, no growth */
    int initializeBuffersToZero;
    REDAInlineMemoryLowerLevelAllocateFunction lowerLevelAllocator;
    REDAInlineMemoryLowerLevelFreeFunction lowerLevelFree;
    void* lowerLevelAllocatorData;
};
typedef struct REDAInlineMemoryProperty REDAInlineMemoryProperty;

/* The lower level that takes blocks from the heap of heap.h. */
ZDDSCORE_EXPORT void* REDAInlineMemoryLowerLevelAllocator_mallocAllocate(void* allocatorData, size_t size);
ZDDSCORE_EXPORT void REDAInlineMemoryLowerLevelAllocator_mallocFree(void* allocatorData, void* memory);

ZDDSCORE_EXPORT REDAInlineMemory* REDAInlineMemory_new(const REDAInlineMemoryProperty* property);
/* Frees the arena with all that lies in it. Null is a no-op. */
ZDDSCORE_EXPORT void REDAInlineMemory_delete(REDAInlineMemory* self);
/* A buffer of `size` bytes (0 or more), or null at exhaustion. Takes the address of the manager
 * pointer, because growing may replace the pointer: never keep a copy of its old value. */
ZDDSCORE_EXPORT void* REDAInlineMemory_reserveBufferI(
    REDAInlineMemory** self, REDAInlineMemorySize size, int alignment);
/* Takes back one buffer of any arena. Non-zero on success; null fails. Releasing twice is caught
 * and fails. */
ZDDSCORE_EXPORT int REDAInlineMemBuffer_release(void* buffer);
/* Takes back all buffers at once and keeps the blocks. */
ZDDSCORE_EXPORT void REDAInlineMemory_reset(REDAInlineMemory* self);

struct REDAInlineMemoryInfo {
    size_t blockBytes; /* bytes held in blocks */
    size_t usedBytes;  /* bytes of live buffers with their headers */
    ORX_UINT32 liveBuffers;
    ORX_UINT32 blocks;
    ORX_UINT64 blockAllocations; /* blocks taken from the lower level so far */
};
typedef struct REDAInlineMemoryInfo REDAInlineMemoryInfo;
ZDDSCORE_EXPORT void REDAInlineMemory_getInfo(const REDAInlineMemory* self, REDAInlineMemoryInfo* info);

/* Copies `source` into memory of the arena, and stores the copy in *destination.
 * A *destination that is not null is first released to its arena. With memoryManager null the heap's
 * string operations are used. Null result when source is longer than maximumLength characters, when
 * memory is out, or when allocateMemory is 0 and *destination is null. */
ZDDSCORE_EXPORT char* ORXCdrType_copyStringExWMemoryManager(char** destination,
    REDAInlineMemory** memoryManager, const char* source, ORX_UINT32 maximumLength, int allocateMemory);

ZDDS_END_C

#endif
