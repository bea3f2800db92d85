/* Preparing a command: a handler from the pool, what all commands share, the destinations that the selectors
 * name, and the input.
 *
 * Each function gives a handler to be sent with ORX_MonitoringForwarderCommandManager_sendCommand, or null:
 * then nothing is left to be returned, and `exception`, if it is not null, says why: code 3 when no known
 * application matches, 2 otherwise. exception is required unless isSelfManaged, and then stays untouched by
 * the command itself; it receives the command's result, and lives until the handler is returned. isBlocking
 * and isSelfManaged exclude each other. The input is copied.
 *
 * Threads: any number at once; the registry is locked while destinations are looked up. Errors: null, and a
 * line of the log. */
#ifndef ORX_FORWARDER_COMMANDS_H
#define ORX_FORWARDER_COMMANDS_H

#include "src/remoteAdministration/ForwarderCommandManager.h"

ZDDS_BEGIN_C

ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getSetLoggingForwardingLevelHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_LoggingGroupSequence* loggingGroups, int isBlocking, int isSelfManaged);
ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getSetLoggingCollectionLevelHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_LoggingGroupSequence* loggingGroups, int isBlocking, int isSelfManaged);
/* To the applications, or, when destination is not null, to that one reader, for everything behind it. One of
 * the two is not null. */
ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_ResourcePathExpressionSequence* applications,
    const DDS_InstanceHandle_t* destination, int isBlocking, int isSelfManaged);
ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getSetMetricSubscriptionStateHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_MetricSelectorSequence* metrics, int isBlocking, int isSelfManaged);
ORX_MonitoringForwarderCommandHandler*
ORX_MonitoringForwarderCommandManager_getUpdateMetricSubscriptionStateHandler(
    ORX_MonitoringForwarderCommandManager* self, DDS_Monitoring_MonitoringCommandError* exception,
    const DDS_Monitoring_MetricSelectorSequence* metrics, int isBlocking, int isSelfManaged);

/* ---- Within the room ---- */

/* Everything that does not depend on the operation. On failure the handler owns no condition and no exception
 * of its own. */
int ORX_MonitoringForwarderCommandManager_populateCommonCommandHandlerFields(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    DDS_Long commandHash, DDS_Monitoring_MonitoringCommandError* exception, int isBlocking,
    int isSelfManaged);

/* Add the readers of the applications that the selectors name to commandDestinationSeq, each once. */
int ORX_MonitoringForwarderCommandManager_getDestinationsFromLoggingGroupSeq(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    const DDS_Monitoring_LoggingGroupSequence* loggingGroups);
int ORX_MonitoringForwarderCommandManager_getDestinationsFromMetricSelectorSeq(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    const DDS_Monitoring_MetricSelectorSequence* metrics);
int ORX_MonitoringForwarderCommandManager_getDestinationsFromResourcePathExpressionSeq(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler,
    const DDS_Monitoring_ResourcePathExpressionSequence* applications);

ZDDS_END_C

#endif
