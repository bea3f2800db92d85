/* Heap of the support layer: allocation by type name, zero-filled, never aborting.
 *
 * Every allocation of the three libraries passes here, so that one hook sees them all: a host can
 * bring its own allocator, and a test can make the n-th allocation fail.
 * Threads: every function may be called from any thread at any time. */
#ifndef ZDDSCORE_HEAP_H
#define ZDDSCORE_HEAP_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

/* Allocates or resizes. *memory is null for a new buffer. size is in bytes; alignment is a power of
 * two and at least that of malloc's result when it is smaller. When zero is non-zero, all bytes that
 * the buffer did not have before are 0 (its earlier size is known to the heap).
 * typeName is the text for diagnostics, such as "struct ORX_MonitoringClassImpl"; it must outlive the
 * process's use of the heap (a literal).
 * On success *memory is the new buffer and the result is non-zero. On failure *memory is unchanged
 * and the result is 0. A size of 0 gives a distinct buffer that must be freed. */
ZDDSCORE_EXPORT int ORXOsapiHeap_reallocateMemoryInternal(
    void** memory, size_t size, size_t alignment, int zero, const char* typeName);

/* Frees what the function above gave. Null is a no-op. */
ZDDSCORE_EXPORT void ORXOsapiHeap_freeMemoryInternal(void* memory);

/* Zero-filled buffer for one `type` into *pointer; non-zero on success, else *pointer is null. */
#define ORXOsapiHeap_allocateStructure(pointer, type)                                                        \
    (*(pointer) = 0,                                                                                         \
        ORXOsapiHeap_reallocateMemoryInternal((void**)(pointer), sizeof(type), _Alignof(type), 1, #type))
#define ORXOsapiHeap_freeStructure(pointer) ORXOsapiHeap_freeMemoryInternal(pointer)
/* The same for `count` elements; fails when the size overflows. */
#define ORXOsapiHeap_allocateArray(pointer, count, type)                                                     \
    (*(pointer) = 0, ORXOsapiHeap_allocateArrayInternal((void**)(pointer), (count), sizeof(type), #type))
#define ORXOsapiHeap_freeArray(pointer) ORXOsapiHeap_freeMemoryInternal(pointer)

ZDDSCORE_EXPORT int ORXOsapiHeap_allocateArrayInternal(
    void** memory, size_t count, size_t elementSize, const char* typeName);

/* Buffers that are made one after the other, and mostly die together, such as those of one decoded value:
 * they share one block of the heap, so that each costs little. Each is a buffer like any other, to be resized
 * and freed alone, on any thread; the block goes back with the last of them. The counters below count the
 * block. A batch belongs to one thread; a batch of zeros is a closed one. */
typedef struct ORXOsapiHeapBatch {
    char* next;
    char* end;
    void* block;
    size_t taken;
} ORXOsapiHeapBatch;

/* The batch is not open; size is of all buffers, with 48 bytes more for each. 0 on failure: it stays closed.
 */
ZDDSCORE_EXPORT int ORXOsapiHeap_openBatch(ORXOsapiHeapBatch* batch, size_t size, const char* typeName);
/* Not cleared. Null when there is no room left, or the batch is closed. */
ZDDSCORE_EXPORT void* ORXOsapiHeap_takeFromBatch(ORXOsapiHeapBatch* batch, size_t size, size_t alignment);
/* No more buffers will be taken. Until then no other thread has got any of them. */
ZDDSCORE_EXPORT void ORXOsapiHeap_closeBatch(ORXOsapiHeapBatch* batch);

/* Buffers that are freed one after the other: those of one block in one go. Begin with zeros. */
typedef struct ORXOsapiHeapFrees {
    void* block;
    size_t count;
} ORXOsapiHeapFrees;

/* Any buffer of the heap, of a batch or not. It may live on until the end, but is nobody's any more. */
ZDDSCORE_EXPORT void ORXOsapiHeap_freeTogether(ORXOsapiHeapFrees* frees, void* memory);
ZDDSCORE_EXPORT void ORXOsapiHeap_endFrees(ORXOsapiHeapFrees* frees);

/* Where memory comes from. allocate returns null on exhaustion; free takes what allocate gave. */
typedef struct ORXOsapiHeapAllocator {
    void* (*allocate)(void* context, size_t size, size_t alignment, const char* typeName);
    void (*free)(void* context, void* memory);
    void* context;
} ORXOsapiHeapAllocator;

/* Replaces the allocator for all later allocations; null restores malloc. Buffers remember which
 * allocator made them, so a change while buffers live is safe as long as the old allocator's
 * functions stay callable. The structure is copied. */
ZDDSCORE_EXPORT void ORXOsapiHeap_setAllocator(const ORXOsapiHeapAllocator* allocator);

/* Buffers alive now, and allocations made since the process began (relaxed counters). */
ZDDSCORE_EXPORT ORX_UINT64 ORXOsapiHeap_getLiveBufferCount(void);
ZDDSCORE_EXPORT ORX_UINT64 ORXOsapiHeap_getAllocationCount(void);

ZDDS_END_C

/* C++ has no _Alignof. */
#if defined(__cplusplus) && !defined(_Alignof)
#define _Alignof(type) alignof(type)
#endif

#endif
