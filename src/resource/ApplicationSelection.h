/* Which applications a path expression concerns, of those that the forwarder knows.
 *
 * To the path matching an application is a lone node of the class "applications", named by its fully
 * qualified name. Threads, errors: as the application registry. */
#ifndef ORX_MONITORING_APPLICATION_SELECTION_H
#define ORX_MONITORING_APPLICATION_SELECTION_H

#include "src/resource/ApplicationRegistry.h"

ZDDS_BEGIN_C

/* ---- How path matching sees an application ---- */

/* Always null: nothing is beside, below or above it. */
const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_getNextSibling(
    const ORX_MonitoringOpaqueResource* resource);
const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_getFirstChild(
    const ORX_MonitoringOpaqueResource* resource);
const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_getParent(
    const ORX_MonitoringOpaqueResource* resource);
/* Any application of the registry that `resource` is in. */
const ORX_MonitoringOpaqueResource* ORX_MonitoringForwarderApplicationResource_findByGuid(
    const ORX_MonitoringOpaqueResource* resource, const DDS_UInt8 guid[16]);
/* The name is cut to the room that it has. */
void ORX_MonitoringForwarderApplicationResource_getInfo(
    const ORX_MonitoringOpaqueResource* resource, ORX_MonitoringOpaqueResourceInfo* info);
/* Lets path matching walk applications. */
void ORX_MonitoringForwarderApplicationResource_getOpaqueResourceAccessor(
    ORX_MonitoringOpaqueResourceAccessor* accessor);

/* ---- Which applications ---- */

/* Adds where commands for the applications concerned go, each destination once. An expression that reaches
 * below the applications without naming any concerns all of them. */
int ORX_MonitoringForwarderApplicationRegistry_assertMatchingDestinations(
    ORX_MonitoringForwarderApplicationRegistry* self, DDS_InstanceHandleSeq* destinationSeq,
    const char* resourceNameExpr);
/* The applications that match, into an initialized sequence; to be read while the caller holds the mutex. */
int ORX_MonitoringForwarderApplicationRegistry_findMatchingApplications(
    ORX_MonitoringForwarderApplicationRegistry* self,
    ORX_MonitoringForwarderApplicationResourcePtrSeq* appSeq, const char* resourceNameExpr);

ZDDS_END_C

#endif
