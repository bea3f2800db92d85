/* A resource seen through an accessor, so that path matching runs alike over any kind of resource tree.
 *
 * Threads: an accessor's functions take no lock; whoever matches keeps the tree still.
 * Ownership: everything here is borrowed. */
#ifndef ORX_MONITORING_OPAQUE_RESOURCE_H
#define ORX_MONITORING_OPAQUE_RESOURCE_H

#include "orxmonitoring2d/export.h"
#include "zddsc/sequence.h"

ZDDS_BEGIN_C

/* The schema's type; declared again so that matching needs no more of the schema. */
typedef DDS_Octet DDS_Monitoring_GUID_t[16];

/* Incomplete on purpose. */
typedef struct ORX_MonitoringOpaqueResource ORX_MonitoringOpaqueResource;

#define ORX_MONITORING_OPAQUE_RESOURCE_NAME_SIZE 256

struct ORX_MonitoringOpaqueResourceInfo {
    char name[ORX_MONITORING_OPAQUE_RESOURCE_NAME_SIZE]; /* a longer name is cut */
    DDS_Monitoring_GUID_t guid;
    DDS_UnsignedLong classId;
};
typedef struct ORX_MonitoringOpaqueResourceInfo ORX_MonitoringOpaqueResourceInfo;

/* Each gives the neighbour, or null. */
typedef const ORX_MonitoringOpaqueResource* (*ORX_MonitoringOpaqueResource_GetFunction)(
    const ORX_MonitoringOpaqueResource* resource);
/* The resource with that GUID, or null. */
typedef const ORX_MonitoringOpaqueResource* (*ORX_MonitoringOpaqueResource_FindByGuidFunction)(
    const ORX_MonitoringOpaqueResource* root, const DDS_UInt8 guid[16]);
typedef void (*ORX_MonitoringOpaqueResource_GetInfoFunction)(
    const ORX_MonitoringOpaqueResource* resource, ORX_MonitoringOpaqueResourceInfo* info);

struct ORX_MonitoringOpaqueResourceAccessor {
    ORX_MonitoringOpaqueResource_GetFunction getNextSiblingFunction;
    ORX_MonitoringOpaqueResource_GetFunction getFirstChildFunction;
    ORX_MonitoringOpaqueResource_GetFunction getParentFunction;
    /* Null: this kind of resource has no lookup by GUID. Otherwise the GUIDs of a tree are unique, which is
     * what an index by GUID takes. */
    ORX_MonitoringOpaqueResource_FindByGuidFunction findByGuidFunction;
    ORX_MonitoringOpaqueResource_GetInfoFunction getInfoFunction;
};
typedef struct ORX_MonitoringOpaqueResourceAccessor ORX_MonitoringOpaqueResourceAccessor;

/* Borrowed pointers; the same resource may stand in it more than once. */
typedef ORX_MonitoringOpaqueResource* ORX_MonitoringOpaqueResourcePtr;
DDS_SEQUENCE_DECLARE(ORX_EXPORT, ORX_MonitoringOpaqueResourceSeq, ORX_MonitoringOpaqueResourcePtr);

ZDDS_END_C

#endif
