// Writers and participants that come and go.
#include "src/log/Log.hpp"
#include "src/monitoringForwarder/MonitoringForwarder.h"
#include "src/resource/ApplicationRegistryLock.hpp"
#include "zddsc/builtin_topics.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

using Forwarder = ORX_MonitoringForwarderImpl;

bool isEventReader(const ORX_MonitoringForwarder& self, const DDS_DataReader* reader) {
    return reader ==
           reinterpret_cast<const ORX_MonitoringForwarderEntitiesImpl*>(self.entities)->builtinEventReader;
}

const char* topicOf(DDS_DataReader* reader) {
    return DDS_TopicDescription_get_name(DDS_DataReader_get_topicdescription(reader));
}

DDS_GUID_t participantOf(const DDS_InstanceHandle_t& publicationHandle) {
    DDS_InstanceHandle_t participant;
    DDS_Entity_instance_handle_to_participant_instance_handle(&participant, &publicationHandle);
    DDS_GUID_t guid;
    DDS_GUID_from_instance_handle(&guid, &participant);
    return guid;
}

// The participant goes first: the deletions of its applications come from this writer.
void onUnmatched(ORX_MonitoringForwarder* self, DDS_DataReader* reader, const DDS_InstanceHandle_t& writer) {
    if (isEventReader(*self, reader))
        (void)ORX_MonitoringForwarder_deleteMonitoringParticipant(self, &writer);
    if (!ORX_MonitoringForwarderEntities_deleteWriterFromCacheReader(self->entities, reader, &writer))
        ORX_ERROR(FAILED_TO_DELETE, "Remote writer from cache reader of %s", topicOf(reader));
}

void onMatched(ORX_MonitoringForwarder* self, DDS_DataReader* reader, const DDS_InstanceHandle_t& writer) {
    if (isEventReader(*self, reader) && !ORX_MonitoringForwarder_assertMonitoringParticipant(self, &writer))
        ORX_ERROR(FAILED_TO_ASSERT, "Monitoring Participant into the application registry");
    if (!ORX_MonitoringForwarderEntities_assertWriterToCacheReader(self->entities, reader, &writer))
        ORX_ERROR(FAILED_TO_ASSERT, "Remote writer from cache reader of %s", topicOf(reader));
}

} // namespace

void ORX_MonitoringForwarder_onSubscriptionMatched(
    void* listenerData, DDS_DataReader* reader, const DDS_SubscriptionMatchedStatus* status) {
    ORX_LEAVE_IF(listenerData == ORX_NULL);
    ORX_LEAVE_IF(reader == ORX_NULL);
    ORX_LEAVE_IF(status == ORX_NULL);
    // Each writer is told by itself; the log says so where one is not, and the last one counts.
    if (status->current_count_change != -1 && status->current_count_change != 1) {
        (void)ORX_PRECONDITION_FAILED(
            "\"status->current_count_change != -1 && status->current_count_change != 1\"\n");
    }
    auto* self = static_cast<ORX_MonitoringForwarder*>(listenerData);
    if (status->current_count_change < 0)
        onUnmatched(self, reader, status->last_publication_handle);
    else if (status->current_count_change > 0)
        onMatched(self, reader, status->last_publication_handle);
}

int ORX_MonitoringForwarder_assertMonitoringParticipant(
    ORX_MonitoringForwarder* self, const DDS_InstanceHandle_t* publicationHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(publicationHandle == ORX_NULL);
    auto* impl = reinterpret_cast<Forwarder*>(self);
    const DDS_GUID_t participant = participantOf(*publicationHandle);
    DDS_InstanceHandle_t destination = DDS_HANDLE_NIL;
    if (!ORX_MonitoringForwarderApplicationRegistry_assertParticipant(
            impl->applicationRegistry, &destination, &participant, publicationHandle))
        return 0;
    if (DDS_InstanceHandle_is_nil(&destination)) // known, and asked
        return 1;
    auto* condition = reinterpret_cast<DDS_GuardCondition*>(impl->requestResourceRegistryHandler->condition);
    if (DDS_GuardCondition_set_trigger_value(condition, DDS_BOOLEAN_TRUE) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_SET, "Request resource registry guard condition trigger value to true");
    return 1;
}

int ORX_MonitoringForwarder_deleteMonitoringParticipant(
    ORX_MonitoringForwarder* self, const DDS_InstanceHandle_t* publicationHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(publicationHandle == ORX_NULL);
    const DDS_GUID_t participant = participantOf(*publicationHandle);
    return ORX_MonitoringForwarderApplicationRegistry_removeParticipant(
        reinterpret_cast<Forwarder*>(self)->applicationRegistry, self->entities, &participant);
}

// Reset first: a participant that comes meanwhile triggers it again.
void ORX_MonitoringForwarder_onRequestResourceRegistryConditionTriggered(
    void* handlerData, DDS_Condition* condition) {
    ORX_LEAVE_IF(handlerData == ORX_NULL);
    ORX_LEAVE_IF(condition == ORX_NULL);
    Forwarder* self = static_cast<ORX_MonitoringForwarderConditionHandler*>(handlerData)->forwarder;
    if (DDS_GuardCondition_set_trigger_value(
            reinterpret_cast<DDS_GuardCondition*>(condition), DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_SET, "Request resource registry guard condition trigger value to false");
    if (!ORX_MonitoringForwarderApplicationRegistry_processParticipantsPendingRequest(
            self->applicationRegistry, &self->parent))
        ORX_ERROR(FAILED_TO_PROCESS, "DomainParticipants pending a resource registry request");
}

int ORX_MonitoringForwarderApplicationRegistry_processParticipantsPendingRequest(
    ORX_MonitoringForwarderApplicationRegistry* self, ORX_MonitoringForwarder* forwarder) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(forwarder == ORX_NULL);
    orx::forwarder::RegistryLock lock{self};
    if (!lock.isHeld())
        return 0;
    const REDAInlineList* pending = self->participantsPendingResourceRegistryRequestList;
    while (const REDAInlineListNode* first = REDAInlineList_getFirst(pending)) {
        auto* participant = static_cast<ORX_MonitoringForwarderMonitoringParticipant*>(
            reinterpret_cast<const REDAInlineListUserDataNode*>(first)->userData);
        (void)ORX_MonitoringForwarder_requestResourceRegistryFromDestination(
            forwarder, &participant->serviceRequestReaderHandle);
        ORX_MonitoringForwarderApplicationRegistry_forgetPendingRequest(self, participant);
    }
    return lock.unlock();
}
