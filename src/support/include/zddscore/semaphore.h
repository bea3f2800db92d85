/* Semaphores: binary, counting, and a recursive mutex. Time-outs run on the monotonic clock. */
#ifndef ZDDSCORE_SEMAPHORE_H
#define ZDDSCORE_SEMAPHORE_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

struct ORXOsapiSemaphore;
typedef struct ORXOsapiSemaphore ORXOsapiSemaphore;

typedef enum ORXOsapiSemaphoreKind {
    ORX_OSAPI_SEMAPHORE_KIND_BINARY = 33685512,
    ORX_OSAPI_SEMAPHORE_KIND_COUNTING = 33685513, /* starts at 0 */
    ORX_OSAPI_SEMAPHORE_KIND_MUTEX = 33685514     /* recursive for the thread that holds it */
} ORXOsapiSemaphoreKind;

typedef enum ORXOsapiSemaphoreStatus {
    ORX_OSAPI_SEMAPHORE_STATUS_OK = 33685752,
    ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT = 33685753,
    ORX_OSAPI_SEMAPHORE_STATUS_ERROR = 33685759
} ORXOsapiSemaphoreStatus;

/* Binary and counting semaphores start empty. `reserved` is null. Null on failure. */
ZDDSCORE_EXPORT ORXOsapiSemaphore* ORXOsapiSemaphore_new(ORXOsapiSemaphoreKind kind, const void* reserved);
/* Nobody may wait on it or hold it. Null is a no-op. Non-zero on success. */
ZDDSCORE_EXPORT int ORXOsapiSemaphore_delete(ORXOsapiSemaphore* self);
/* timeout null or infinite waits for ever; zero tries. */
ZDDSCORE_EXPORT ORXOsapiSemaphoreStatus ORXOsapiSemaphore_take(
    ORXOsapiSemaphore* self, const ORXNtpTime* timeout);
/* A mutex may be given by its holder alone, otherwise ERROR. */
ZDDSCORE_EXPORT ORXOsapiSemaphoreStatus ORXOsapiSemaphore_give(ORXOsapiSemaphore* self);

/* Rank of a mutex in the process's lock order, with a name for reports: lower ranks are taken first.
 * Builds with ZDDS_LOCK_ORDER_CHECK abort with both names when a thread takes a mutex whose rank is
 * below one that it holds; mutexes of rank 0 (the default) are not checked. */
ZDDSCORE_EXPORT void ORXOsapiSemaphore_setRank(ORXOsapiSemaphore* self, int rank, const char* name);

ZDDS_END_C

#endif
