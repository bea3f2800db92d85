/* A reentrant mutex over a plain one: the forwarder's operations call each other freely while they hold it.
 *
 * Threads: any. Errors: non-zero or a pointer for success; a failure is a line of the log. */
#ifndef ORX_MONITORING_REENTRANT_MUTEX_H
#define ORX_MONITORING_REENTRANT_MUTEX_H

#include "zddscore/semaphore.h"

ZDDS_BEGIN_C

struct ORX_MonitoringForwarderMutex {
    struct ORXOsapiSemaphore* mutex;
    ORX_UINT32 counter; /* times that the owner holds it; the owner's alone */
    ORX_UINT64 owner;   /* thread id, 0 for none; written by the owner, compared by anybody */
};
typedef struct ORX_MonitoringForwarderMutex ORX_MonitoringForwarderMutex;

ORX_MonitoringForwarderMutex* ORX_MonitoringForwarderMutex_new(void);
/* Nobody holds it or waits for it. Null is a no-op. */
void ORX_MonitoringForwarderMutex_delete(ORX_MonitoringForwarderMutex* self);
/* Waits without end. */
int ORX_MonitoringForwarderMutex_lock(ORX_MonitoringForwarderMutex* self);
/* Fails for a thread that does not hold it. */
int ORX_MonitoringForwarderMutex_unlock(ORX_MonitoringForwarderMutex* self);

ZDDS_END_C

#endif
