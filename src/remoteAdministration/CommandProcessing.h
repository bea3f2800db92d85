/* What each served command does: two functions for an operation, one that selects the resources that the
 * command addresses, and one that acts on them. The dispatcher calls the first with the library lock held,
 * and the second with the resources pinned; for the logging commands it has given the library lock back by
 * then.
 *
 * The reply's error is written along the way: its code and message are the command's result. Resources that
 * were changed before a failure stay changed. Threads: the dispatcher's. */
#ifndef ORX_COMMAND_PROCESSING_H
#define ORX_COMMAND_PROCESSING_H

#include "src/remoteAdministration/CommandDispatcher.h"

ZDDS_BEGIN_C

/* Chooses the two functions by the command's operation. Null for operations that are answered as not
 * supported; 0 for those that are not answered at all. */
int ORX_MonitoringCommandDispatcherEventData_initializeProcessCommandsFunctions(
    ORX_MonitoringCommandDispatcherEventData* eventData);

/* Selection. An empty list of selectors is an error without a reply. */
#define ORX_DECLARE_SELECTION_(name)                                                                         \
    ORX_MonitoringCommandDispatcherReturnValue name(ORX_MonitoringCommandDispatcher* self,                   \
        ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringService_Reply* reply,              \
        DDS_Monitoring_MonitoringService_Request* command)
ORX_DECLARE_SELECTION_(ORX_MonitoringCommandDispatcher_getResourcesToRequestResourceRegistry);
ORX_DECLARE_SELECTION_(ORX_MonitoringCommandDispatcher_getResourcesToSetLoggingCollectionLevel);
ORX_DECLARE_SELECTION_(ORX_MonitoringCommandDispatcher_getResourcesToSetLoggingForwardingLevel);
/* That nothing matches is no failure of these two: the selection may still apply to later resources. */
ORX_DECLARE_SELECTION_(ORX_MonitoringCommandDispatcher_getResourcesToSetMetricSubscriptionState);
ORX_DECLARE_SELECTION_(ORX_MonitoringCommandDispatcher_getResourcesToUpdateMetricSubscriptionState);
#undef ORX_DECLARE_SELECTION_

#define ORX_DECLARE_PROCESSING_(name)                                                                        \
    ORX_MonitoringCommandDispatcherReturnValue name(ORX_MonitoringCommandDispatcher* self,                   \
        DDS_Monitoring_MonitoringService_Reply* reply, ORX_MonitoringResourcePtrSeq* resources,              \
        DDS_Monitoring_MonitoringService_Request* command)
ORX_DECLARE_PROCESSING_(ORX_MonitoringCommandDispatcher_processRequestResourceRegistry);
ORX_DECLARE_PROCESSING_(ORX_MonitoringCommandDispatcher_processSetLoggingCollectionLevel);
ORX_DECLARE_PROCESSING_(ORX_MonitoringCommandDispatcher_processSetLoggingForwardingLevel);
ORX_DECLARE_PROCESSING_(ORX_MonitoringCommandDispatcher_processSetMetricSubscriptionState);
ORX_DECLARE_PROCESSING_(ORX_MonitoringCommandDispatcher_processUpdateMetricSubscriptionState);
#undef ORX_DECLARE_PROCESSING_

/* What the functions above share. The root, if one of the groups' selectors matches it. */
ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_getResourcesFromLoggingGroupSeq(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringCommandError* commandError, const DDS_Monitoring_LoggingGroupSeq* loggingGroups);
/* Every resource that one of the selectors matches. With several selectors none stands twice; with one, it
 * may if the expression leads to it in two ways. */
ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_getResourcesFromMetricSelectorSequence(ORX_MonitoringCommandDispatcher* self,
    ORX_MonitoringResourcePtrSeq* resources, DDS_Monitoring_MonitoringCommandError* commandError,
    const DDS_Monitoring_MetricSelectorSeq* metrics);
ORX_MonitoringCommandDispatcherReturnValue
ORX_MonitoringCommandDispatcher_processSetOrUpdateMetricSubscriptionState(
    ORX_MonitoringCommandDispatcher* self, DDS_Monitoring_MonitoringCommandError* commandError,
    ORX_MonitoringResourcePtrSeq* resources, DDS_MonitoringMetricSelectionSeq* metricSelectionSequence,
    int isUpdate);

ZDDS_END_C

#endif
