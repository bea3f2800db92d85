/* Pool of equal buffers. Threads: no lock unless multiThreadedAccess is set; callers serialize. */
#ifndef ZDDSCORE_FAST_BUFFER_POOL_H
#define ZDDSCORE_FAST_BUFFER_POOL_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

struct REDAFastBufferPool;
typedef struct REDAFastBufferPool REDAFastBufferPool;

#define REDA_FAST_BUFFER_POOL_UNLIMITED (-1)

struct REDAFastBufferPoolGrowthProperty {
    int initial;   /* buffers made at once when the pool is created */
    int maximal;   /* bound on all buffers; -1 is none */
    int increment; /* buffers made when the pool is empty; -1 doubles the pool */
};
typedef struct REDAFastBufferPoolGrowthProperty REDAFastBufferPoolGrowthProperty;

struct REDAFastBufferPoolProperty {
    REDAFastBufferPoolGrowthProperty growth;
    int multiThreadedAccess; /* non-zero: the pool locks itself */
    int zeroBufferContent;   /* non-zero: a buffer is cleared at each get */
    int ignoreMaximal;       /* non-zero: maximal is only reported, never enforced */
    int dynamicAlloc;        /* non-zero: a returned buffer goes back to the heap */
};
typedef struct REDAFastBufferPoolProperty REDAFastBufferPoolProperty;

struct REDAFastBufferPoolInfo {
    int id;
    size_t bufferSize;      /* bytes */
    size_t bufferAlignment; /* bytes */
    int bufferAllocated;
    int bufferInUse;
    int bufferCountLimit; /* growth.maximal */
};
typedef struct REDAFastBufferPoolInfo REDAFastBufferPoolInfo;

/* Runs once for each buffer when the pool makes it; non-zero on success. */
typedef int (*REDAFastBufferPoolBufferInitializeFunction)(void* buffer, void* param);
/* Runs once for each buffer when the pool destroys it, not at each get and return. */
typedef void (*REDAFastBufferPoolBufferFinalizeFunction)(void* buffer, void* param);

/* Null on failure, also when an initializer fails. The functions may be null. */
ZDDSCORE_EXPORT REDAFastBufferPool* REDAFastBufferPool_newWithParams(size_t bufferSize, size_t alignment,
    REDAFastBufferPoolBufferInitializeFunction initFunction, void* initParam,
    REDAFastBufferPoolBufferFinalizeFunction finalizeFunction, void* finalizeParam,
    const REDAFastBufferPoolProperty* property, const char* typeName, int reserved);
/* Destroys every buffer of the pool, also those not returned. Null is a no-op. */
ZDDSCORE_EXPORT void REDAFastBufferPool_delete(REDAFastBufferPool* self);
/* size is -1 for the pool's own. Null when the maximum is reached or memory is out. */
ZDDSCORE_EXPORT void* REDAFastBufferPool_getBufferWithSize(REDAFastBufferPool* self, int size);
ZDDSCORE_EXPORT void REDAFastBufferPool_returnBuffer(REDAFastBufferPool* self, void* buffer);
ZDDSCORE_EXPORT void REDAFastBufferPool_getInfo(const REDAFastBufferPool* self, REDAFastBufferPoolInfo* info);

ZDDS_END_C

#endif
