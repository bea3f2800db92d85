/* Replies to commands: one sample of the service-request channel each, to the one reader that asked.
 *
 * A reply is an instance of the channel, which is unregistered once it was acknowledged; one that was not
 * stays registered. Threads: the dispatcher's, with no lock held: waiting for the acknowledgment takes up to
 * reply_timeout. Errors: 0 and a line of the log. */
#ifndef ORX_COMMAND_REPLY_H
#define ORX_COMMAND_REPLY_H

#include "src/remoteAdministration/CommandDispatcher.h"

ZDDS_BEGIN_C

int ORX_MonitoringCommandDispatcher_sendReply(ORX_MonitoringCommandDispatcher* self,
    const DDS_GUID_t* replyUuid, const DDS_Monitoring_MonitoringService_Reply* reply,
    const DDS_InstanceHandle_t* remoteReaderHandle);
int ORX_MonitoringCommandDispatcher_unregisterCommand(ORX_MonitoringCommandDispatcher* self,
    const DDS_GUID_t* commandUuid, const DDS_InstanceHandle_t* remoteReaderHandle);
/* Both, with the acknowledgment between them. */
int ORX_MonitoringCommandDispatcher_sendReplyAndUnregister(ORX_MonitoringCommandDispatcher* self,
    const DDS_GUID_t* replyUuid, const DDS_Monitoring_MonitoringService_Reply* reply,
    const DDS_InstanceHandle_t* remoteReaderHandle);

/* Says to the sender that this library does not do what it asks. */
int ORX_MonitoringCommandDispatcher_sendUnsupportedCommandReply(ORX_MonitoringCommandDispatcher* self,
    DDS_Monitoring_MonitoringService_Reply* reply, const ORX_MonitoringCommandDispatcherEventData* eventData,
    REDAWorker* worker);

ZDDS_END_C

#endif
