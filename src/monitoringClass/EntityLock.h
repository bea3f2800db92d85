/* The lock of the DDS entity behind a resource.
 *
 * Locks: taken under the library lock and before any metric mutex. Classes without an entity of their own
 * (application, registered type) have no lock: both functions succeed and do nothing. */
#ifndef ORX_ENTITY_LOCK_H
#define ORX_ENTITY_LOCK_H

#include "zddsc/basic_types.h"

ZDDS_BEGIN_C

struct ORX_MonitoringResource;

DDS_Boolean ORX_Monitoring_lockDdsEntityFromResource(const struct ORX_MonitoringResource* resource);
DDS_Boolean ORX_Monitoring_unlockDdsEntityFromResource(const struct ORX_MonitoringResource* resource);

ZDDS_END_C

#endif
