/* One node of the tree that mirrors the application's DDS entities.
 *
 * A node is at once the published description of its entity, the library's bookkeeping for it, and a position
 * in the tree and in the indexes of its registry. Ownership: the registry owns every resource; the resource
 * owns its name and its sequences. Created and destroyed by ResourceLifecycle.h alone. Threads: tree links,
 * children's GUIDs and the selection change under the library lock. What else is shared tells its lock with
 * the field. Errors: non-zero or a pointer for success; each failure is a line of the log. */
#ifndef ORX_MONITORING_RESOURCE_H
#define ORX_MONITORING_RESOURCE_H

#include <atomic>

#include "orxmonitoring2d/monitoring_resource.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/utils/OpaqueResource.h"
#include "zddscore/inline_list.h"

ZDDS_BEGIN_C

/* Size of the buffer for a fully qualified name; a longer name loses components. */
#define ORX_MONITORING_RESOURCE_FULLY_QUALIFIED_NAME_SIZE 1024

/* A bit for each kind of thread that may hold a pin. */
typedef ORX_UINT32 ORX_MonitoringResourceLockThreadMask;
#define ORX_MONITORING_RESOURCE_LOCK_THREAD_MASK_NONE (0x0U)
#define ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC (0x1U)
#define ORX_MONITORING_RESOURCE_LOCK_THREAD_DISPATCHER (0x2U)

/* Event groups of a class that a push may find by one look at most; the others take a search. */
#define ORX_MONITORING_RESOURCE_QUICK_EVENT_GROUPS 16

/* Work that was skipped because the resource was paused. Each counter has one writer at a time: the first two
 * count under the metric mutex of the resource's index, the third on the periodic thread. */
struct ORX_MonitoringResourceInternalStatistics {
    ORX_UINT64 skippedEventUpdates;
    ORX_UINT64 skippedEventSnapshots;
    ORX_UINT64 skippedPeriodicUpdates;
};
typedef struct ORX_MonitoringResourceInternalStatistics ORX_MonitoringResourceInternalStatistics;

struct ORX_MonitoringResource {
    /* Published as it stands, by reference. First, since the registry's index compares the GUID at its head.
     */
    struct DDS_Monitoring_Resource base;
    /* What a push reads besides. `plainEventSizes` says of an event group by its index how many bytes its
     * value has, when it is in force and its value owns no memory; otherwise 0, which says nothing. It goes
     * with monitoredEventMetricGroupIndex. */
    int isPaused;                /* through the two functions below */
    ORX_UINT32 concurrencyIndex; /* of the event queue and the metric mutex; a root's is 0 */
    ORX_UINT8 plainEventSizes[ORX_MONITORING_RESOURCE_QUICK_EVENT_GROUPS];
    const void* userResource;              /* the entity's handle; null once deleted, and for the root */
    struct ORX_MonitoringResource* parent; /* null for a root */
    ORX_MonitoringResourceForwarder forwarder;
    ORX_INT32 indexInTheRegistrySequence;                /* 0, not used */
    ORX_UINT32 lockCounter;                              /* live pins; under resourcesMutex */
    ORX_MonitoringResourceLockThreadMask lockThreadMask; /* who holds them; under resourcesMutex */
    /* The metric groups in force. Rebuilt while the resource is paused; read under the metric mutex or a pin,
     * and only after isPaused was seen to be 0. */
    struct DDS_UnsignedLongSeq monitoredPeriodicMetricGroupIndex;
    struct DDS_UnsignedLongSeq monitoredEventMetricGroupIndex;
    struct DDS_UnsignedLongSeq monitoredMetricInfoIndex; /* the selection, as indexes of the metric table */
    REDAInlineListUserDataNode node; /* in the registry's deep-first list; under resourcesMutex */
    struct ORX_MonitoringResource* firstChild;
    struct ORX_MonitoringResource* lastChild;
    struct ORX_MonitoringResource* prevSibling;
    struct ORX_MonitoringResource* nextSibling;
    struct ORX_MonitoringResourceRegistry* registry;
    ORX_MonitoringResourceInternalStatistics stats;
    /* Where this GUID was last known to stand in the parent's children_guids; verified before use. It saves a
     * search of all siblings at a deletion. */
    DDS_Long positionInParent;
};
typedef struct ORX_MonitoringResource ORX_MonitoringResource;

/* Sequence of bare pointers: elements start as null, and neither copying nor finalizing touches what they
 * point to. */
typedef ORX_MonitoringResource* ORX_MonitoringResourcePtr;
int ORX_MonitoringResourcePtr_initialize(ORX_MonitoringResourcePtr* self);
int ORX_MonitoringResourcePtr_initialize_ex(
    ORX_MonitoringResourcePtr* self, DDS_Boolean allocatePointers, DDS_Boolean allocateMemory);
int ORX_MonitoringResourcePtr_finalize(ORX_MonitoringResourcePtr* self);
int ORX_MonitoringResourcePtr_finalize_ex(ORX_MonitoringResourcePtr* self, DDS_Boolean deletePointers);
int ORX_MonitoringResourcePtr_copy(ORX_MonitoringResourcePtr* self, const ORX_MonitoringResourcePtr* source);
DDS_SEQUENCE_DECLARE(, ORX_MonitoringResourcePtrSeq, ORX_MonitoringResourcePtr);

/* Null at the end. The caller keeps the tree still (library lock). */
ORX_MonitoringResource* ORX_MonitoringResource_getFirstChild(ORX_MonitoringResource* self);
ORX_MonitoringResource* ORX_MonitoringResource_getNextSibling(ORX_MonitoringResource* self);

/* The accessor over these resources, and its five functions. What a matcher sees as the GUID is the
 * resource's own, never the entity's. */
int ORX_MonitoringResource_getOpaqueResourceAccessor(ORX_MonitoringOpaqueResourceAccessor* accessor);
const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getFirstOpaqueChild(
    const ORX_MonitoringOpaqueResource* self);
const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getNextOpaqueSibling(
    const ORX_MonitoringOpaqueResource* self);
const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getOpaqueParent(
    const ORX_MonitoringOpaqueResource* self);
/* Looks in the registry of the resource given, which may be any of the tree. */
const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getResourceByGuid(
    const ORX_MonitoringOpaqueResource* self, const DDS_UInt8 guid[16]);
void ORX_MonitoringResource_getOpaqueInfo(
    const ORX_MonitoringOpaqueResource* self, ORX_MonitoringOpaqueResourceInfo* info);

/* Appends the resource's GUID to its parent's children_guids, in amortized constant time. Not for a root. */
int ORX_MonitoringResource_addResourceToParentChildrenList(ORX_MonitoringResource* resource);
/* Takes it out: the last GUID of the list comes to its place, so the order of the rest is not kept. Success
 * without a parent, and when it is not there. Costs one lookup in the registry, and a search only where the
 * resource's noted position is stale. */
int ORX_MonitoringResource_deleteResourceFromParentChildrenList(ORX_MonitoringResource* resource);

/* Adds the groups that every resource of the class publishes whatever is selected, since they identify the
 * entity. Fails for a class that has none. */
int ORX_MonitoringResource_registerLabelMetrics(ORX_MonitoringResource* self);

ZDDS_END_C

/* A rebuilding of the group sequences is ordered by this flag: the release of the 0 publishes what was
 * rebuilt to whoever reads the 0 with acquire. A 1 is stored under resourcesMutex and the metric mutex, so
 * that whoever looks under either of them is not at work on the sequences when the rebuilding starts. */
inline int ORX_MonitoringResource_isPaused(const ORX_MonitoringResource* self) {
    return std::atomic_ref(const_cast<int&>(self->isPaused)).load(std::memory_order_acquire);
}
inline void ORX_MonitoringResource_setPaused(ORX_MonitoringResource* self, int isPaused) {
    std::atomic_ref(self->isPaused).store(isPaused, std::memory_order_release);
}

#endif
