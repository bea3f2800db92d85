/* The operation of the class's table through which the host hands over what came on the service-request
 * channel. It stands above the other operations, since the dispatcher behind it uses them.
 *
 * Threads: the one that delivers the channel, which holds the entity lock of the library's participant. */
#ifndef ORX_COMMAND_ENTRY_H
#define ORX_COMMAND_ENTRY_H

#include "zddsc/monitoring.h"

ZDDS_BEGIN_C

/* Ignores the sample, and succeeds, once the dispatcher was stopped, and before it stands. */
DDS_Boolean ORX_Monitoring_dispatchCommand(struct ORX_MonitoringClass* monitoringClass,
    const DDS_ServiceRequest* sample, const DDS_SampleInfo* info);

ZDDS_END_C

#endif
