/* What identifies a resource: its GUID and its names.
 *
 * Threads: pure functions of their arguments, but for the root's generated name.
 * Errors: 0 and a line of the log. */
#ifndef ORX_MONITORING_RESOURCE_IDENTITY_H
#define ORX_MONITORING_RESOURCE_IDENTITY_H

#include "src/resource/MonitoringResource.h"

ZDDS_BEGIN_C

/* The MD5 digest of the entity's GUID, the bytes of the handle's value and the name; what is null takes no
 * part in it. So the same entity gives the same GUID again, and one that is made again at another address
 * another. */
int ORX_MonitoringResource_generateGuid(DDS_Monitoring_GUID_t* guid, const DDS_UInt8 userResourceGuid[16],
    const char* fullyQualifiedName, const void* userResource);

/* "/" class "/" name for every level from the root down, such as
 * "/applications/myapp/domain_participants/part1/data_writers/w1". A resource without a name goes by its
 * entity's GUID. What does not fit is left out, which is a line of the log. Both give the characters written,
 * 0 on failure. */
ORX_UINT32 ORX_MonitoringResource_getFullyQualifiedNameI(char* fullyQualifiedName,
    ORX_UINT32 fullyQualifiedNameMaxSize, const ORX_MonitoringResource* parentResource,
    const DDS_UInt8 userResourceGuid[16], const char* resourceName, ORX_UINT32 resourceClassId);
ORX_UINT32 ORX_MonitoringResource_getFullyQualifiedName(
    char* fullyQualifiedName, ORX_UINT32 fullyQualifiedNameMaxSize, const ORX_MonitoringResource* resource);

/* The application's name; without one, host name, process id and three random words, new at each call. */
int ORX_MonitoringResource_getRootResourceName(
    char* name, ORX_UINT32 nameMaxSize, const char* applicationName);

ZDDS_END_C

#endif
