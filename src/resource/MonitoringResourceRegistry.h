/* All resources of one monitoring object: found by GUID, walked parents first, and published as a snapshot.
 *
 * Making and deleting resources is ResourceLifecycle.h.
 * Threads: resourcesMutex (rank 5) guards both lists and every resource's pin, for a few instructions each
 * time. findResource takes no lock, and neither does a walk without pins: the caller holds the library lock.
 * Ownership: the registry owns its resources and borrows the list of selections.
 * Errors: 0 or null and a line of the log. */
#ifndef ORX_MONITORING_RESOURCE_REGISTRY_H
#define ORX_MONITORING_RESOURCE_REGISTRY_H

#include "src/resource/MonitoringResource.h"
#include "zddscore/semaphore.h"
#include "zddscore/skiplist.h"

ZDDS_BEGIN_C

struct ORX_MonitoringResourceRegistry {
    struct DDS_Monitoring_ResourceRegistry base; /* the snapshot; refreshSampleSequence fills it */
    struct REDASkiplistDescription resourceListDesc;
    struct REDASkiplist* resourceList; /* by GUID; user data is the resource */
    struct ORXOsapiSemaphore* resourcesMutex;
    struct REDAInlineList resourceDeepFirstList; /* a parent stands before all of its descendants */
    /* Resource snapshots posted. Atomic: the snapshot thread reads it without a lock. */
    ORX_UINT64 snapshotEpoch;
    struct REDAInlineList* metricSelectionList;   /* borrowed; every new resource is held against it */
    DDS_Monitoring_ResourceReference* references; /* owned; what base.resources has on loan */
    ORX_INT32 referenceCapacity;
    struct REDAFastBufferPool* resourcePool; /* in which all resources lie (ResourceMemory.hpp) */
};
typedef struct ORX_MonitoringResourceRegistry ORX_MonitoringResourceRegistry;

/* Order by GUID of two resources, or of anything that begins with a GUID. */
int ORX_MonitoringResourceRegistry_compareNode(const void* left, const void* right);

ORX_MonitoringResourceRegistry* ORX_MonitoringResourceRegistry_new(REDAInlineList* metricSelectionList);
int ORX_MonitoringResourceRegistry_initialize(
    ORX_MonitoringResourceRegistry* self, REDAInlineList* metricSelectionList);

/* Frees what the registry holds besides resources, of which none may be left. Takes any half-built registry.
 */
void ORX_MonitoringResourceRegistry_finalizeContainersI(ORX_MonitoringResourceRegistry* self);

/* Null when there is none. */
ORX_MonitoringResource* ORX_MonitoringResourceRegistry_findResource(
    const ORX_MonitoringResourceRegistry* self, const DDS_UInt8 guid[16]);

/* A resource goes right behind its parent, and a root to the front: later siblings come first, each with its
 * subtree behind it. */
int ORX_MonitoringResourceRegistry_addResourceToResourceLists(
    ORX_MonitoringResourceRegistry* self, ORX_MonitoringResource* resource);
/* Waits, polling and without a limit, until nobody has the resource pinned. Success when it is in no list. */
int ORX_MonitoringResourceRegistry_deleteResourceFromResourceLists(
    ORX_MonitoringResourceRegistry* self, ORX_MonitoringResource* resource);

/* Refers to every resource in base.resources, in the order of the walk. The references hold until a resource
 * is deleted. Fails without resources. Under the library lock. */
int ORX_MonitoringResourceRegistry_refreshSampleSequence(ORX_MonitoringResourceRegistry* self);

/* The walk: null at the end and on failure. With lockResource each resource found is pinned for
 * lockThreadMask, and the caller unpins each; the resource passed in must still be listed. */
ORX_MonitoringResource* ORX_MonitoringResourceRegistry_getFirstResource(
    const ORX_MonitoringResourceRegistry* self, int lockResource,
    ORX_MonitoringResourceLockThreadMask lockThreadMask);
ORX_MonitoringResource* ORX_MonitoringResourceRegistry_getNextResource(
    const ORX_MonitoringResourceRegistry* self, const ORX_MonitoringResource* resource, int lockResource,
    ORX_MonitoringResourceLockThreadMask lockThreadMask);

ZDDS_END_C

#endif
