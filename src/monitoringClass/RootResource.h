/* The application's own resource, the root of the tree. */
#ifndef ORX_MONITORING_ROOT_RESOURCE_H
#define ORX_MONITORING_ROOT_RESOURCE_H

#include "src/monitoringClass/MonitoringClassImpl.h"

ZDDS_BEGIN_C

/* Asserts the root in the object's registry, with concurrency index 0 and a GUID of its own at each call;
 * posts nothing. applicationName may be null. The registry owns the result; null on failure. */
struct ORX_MonitoringResource* ORX_MonitoringResource_createRoot(
    ORX_MonitoringClassImpl* monitoringClass, const char* applicationName);

ZDDS_END_C

#endif
