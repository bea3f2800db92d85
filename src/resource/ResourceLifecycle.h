/* How resources come to be and end.
 *
 * Threads: assert and delete change the tree and are serialized by the caller, who holds the library lock;
 * pins, walks with pins and pauses may run beside them. Blocking: a deletion waits until nobody has the
 * resource pinned; posting takes metric mutexes. Errors: null and a line of the log; a failed deletion is a
 * line of the log alone. */
#ifndef ORX_MONITORING_RESOURCE_LIFECYCLE_H
#define ORX_MONITORING_RESOURCE_LIFECYCLE_H

#include "src/resource/MonitoringResourceRegistry.h"

ZDDS_BEGIN_C

/* The only way that a resource comes to exist. userResourceGuid may be null if resourceName is not empty, and
 * the other way round; parentResource is null for a root; forwarder may be null. A non-zero
 * postEventResourceMetricUpdate posts the creation and the first values, and needs applicationResource and
 * eventTaskExecutor. An entity that is known already gives its resource, unchanged, and posts nothing. On
 * failure nothing is left but, if it was the last post that failed, the creation that was posted. */
ORX_MonitoringResource* ORX_MonitoringResourceRegistry_assertResource(ORX_MonitoringResourceRegistry* self,
    const DDS_GUID_t* userResourceGuid, DDS_UnsignedLong classId, const char* resourceName,
    void* userResource, ORX_MonitoringResource* parentResource,
    const ORX_MonitoringResourceForwarder* forwarder, int postEventResourceMetricUpdate,
    const ORX_MonitoringResource* applicationResource,
    struct ORX_MonitoringEventTaskExecutor* eventTaskExecutor);

/* Deletes the resource with everything below it; only the removal of the resource itself is posted. When that
 * post fails the resource is out of the tree and its memory is left. */
void ORX_MonitoringResourceRegistry_deleteResource(ORX_MonitoringResourceRegistry* self,
    ORX_MonitoringResource* resource, int postEventResourceMetricUpdate,
    const ORX_MonitoringResource* applicationResource,
    struct ORX_MonitoringEventTaskExecutor* eventTaskExecutor);
/* Deletes everything below the resource and posts the removal of its direct children. */
void ORX_MonitoringResourceRegistry_deleteResourceChildren(ORX_MonitoringResourceRegistry* self,
    ORX_MonitoringResource* resource, int postEventResourceMetricUpdate,
    const ORX_MonitoringResource* applicationResource,
    struct ORX_MonitoringEventTaskExecutor* eventTaskExecutor);

/* Delete what is left in the registry, and the registry. Null is a no-op for delete. */
void ORX_MonitoringResourceRegistry_finalize(ORX_MonitoringResourceRegistry* self);
void ORX_MonitoringResourceRegistry_delete(ORX_MonitoringResourceRegistry* self);

ZDDS_END_C

#endif
