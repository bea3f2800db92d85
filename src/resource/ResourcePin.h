/* Pins: what keeps a resource from disappearing, or from changing its metrics, under a reader.
 *
 * A pin never blocks the thread that takes it. Removal from the registry waits until no pin is left; a pause
 * of the metrics waits for the periodic thread's pin. Both wait by polling. Threads: counter and mask change
 * under the registry's resourcesMutex, taken here unless the caller holds it. */
#ifndef ORX_MONITORING_RESOURCE_PIN_H
#define ORX_MONITORING_RESOURCE_PIN_H

#include "src/resource/MonitoringResource.h"

ZDDS_BEGIN_C

/* Fails when the same kind of thread holds a pin already. When only the mutex could not be given, the pin is
 * set and the result is 0. */
int ORX_MonitoringResource_lock(
    ORX_MonitoringResource* self, ORX_MonitoringResourceLockThreadMask lockThreadBit, int mutexAlreadyTaken);
/* Does not check that the pin was held. */
int ORX_MonitoringResource_unlock(
    ORX_MonitoringResource* self, ORX_MonitoringResourceLockThreadMask lockThreadBit, int mutexAlreadyTaken);

/* One round of a wait for pins: gives the registry's mutex, which the caller holds, for some 23 ms. On
 * failure it is not held. */
int ORX_MonitoringResource_letPinsChangeI(struct ORXOsapiSemaphore* resourcesMutex);

ZDDS_END_C

#endif
