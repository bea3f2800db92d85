// From a sample of the channel to a command on the list, on the thread that delivers the channel.
#include <cstring>

#include "src/log/Log.hpp"
#include "src/remoteAdministration/CommandDispatcher.h"
#include "src/remoteAdministration/CommandExecution.h"
#include "src/remoteAdministration/CommandHelper.h"
#include "src/remoteAdministration/CommandProcessing.h"
#include "src/remoteAdministration/CommandText.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using Dispatcher = ORX_MonitoringCommandDispatcher;
using EventData = ORX_MonitoringCommandDispatcherEventData;

constexpr ORX_UINT32 serviceRequestReaderObjectId = 0x00020087;

// Behind the writer that sent the command stands the reader that its participant takes replies with.
void deriveReader(DDS_InstanceHandle_t& reader, const DDS_InstanceHandle_t& writer) {
    DDS_GUID_t guid;
    ORXOsapiRtpsGuid words;
    DDS_InstanceHandle_to_guid(&writer, &guid);
    DDS_GUID_copy_to_pres_guid(&guid, &words);
    words.objectId = serviceRequestReaderObjectId;
    DDS_GUID_copy_from_pres_guid(&guid, &words);
    DDS_InstanceHandle_from_guid(&reader, &guid);
}

bool fill(
    EventData& eventData, Dispatcher* self, const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
    ORX_STATUS(PROCESSING, "Command with SN %d %d, ", info.publication_sequence_number.high,
        static_cast<DDS_Long>(info.publication_sequence_number.low));
    if (!ORX_MonitoringCommandHelper_octetSeqToRequest(&eventData.command, &sample.request_body))
        return false;
    deriveReader(eventData.remoteReaderHandle, info.publication_handle);
    eventData.commandDispatcher = self;
    if (!ORX_MonitoringCommandDispatcherEventData_initializeProcessCommandsFunctions(&eventData))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Unsupported Monitoring Command");
    return ORX_MonitoringCommandDispatcher_postEvent(self, &eventData) != 0;
}

// A command that was accepted, or null. It is not on the list yet.
EventData* accept(Dispatcher* self, const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
    auto* eventData = static_cast<EventData*>(REDAFastBufferPool_getBufferWithSize(self->eventDataPool, -1));
    if (eventData == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Event data from the pool");
    std::memset(eventData, 0, sizeof *eventData);
    REDAInlineListNode_init(&eventData->node);
    eventData->commandUuid = sample.instance_id;
    if (DDS_Monitoring_MonitoringService_Request_initialize(&eventData->command)) {
        if (fill(*eventData, self, sample, info))
            return eventData;
        DDS_Monitoring_MonitoringService_Request_finalize(&eventData->command);
    } else {
        ORX_ERROR(FAILED_TO_INITIALIZE, "Command sample");
    }
    REDAFastBufferPool_returnBuffer(self->eventDataPool, eventData);
    return nullptr;
}

} // namespace

int ORX_MonitoringCommandDispatcher_postEvent(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringCommandDispatcherEventData* eventData) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(eventData == ORX_NULL);
    static constexpr ORXEventGeneratorListener listener{ORX_MonitoringCommandDispatcher_applyCommandEvent};
    constexpr ORXNtpTime noSnooze = ORX_NTP_TIME_ZERO;
    ORXNtpTime now;
    if (!self->clock->getTime(self->clock, &now))
        return ORX_ERROR(FAILED_TO_GET, "Current time");
    ORXEventGeneratorListenerStorage storage{};
    storage.field[0] = eventData;
    auto* generator = reinterpret_cast<ORXEventGenerator*>(self->generator);
    if (!generator->postEvent(generator, &now, &noSnooze, &listener, &storage, 0, nullptr)) {
        return ORX_ERROR(FAILED_TO_POST,
            "Event to process monitoring command with hash: '%d' and UUID: " ORX_UUID_FORMAT,
            ORX_COMMAND_ARGUMENTS(*eventData));
    }
    return 1;
}

// The thread may run the event at once: to take the command off the list it needs the participant's lock,
// which the caller holds until the command is on it.
int ORX_MonitoringCommandDispatcher_dispatchCommand(
    ORX_MonitoringCommandDispatcher* self, const DDS_ServiceRequest* sample, const DDS_SampleInfo* info) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(sample == ORX_NULL);
    ORX_FAIL_IF(info == ORX_NULL);
    ORX_FAIL_IF(sample->service_id != 4);
    if (!info->valid_data)
        return 1;
    EventData* eventData = accept(self, *sample, *info);
    if (eventData == nullptr)
        return 0;
    REDAInlineList_addNodeToBackEA(&self->pendingCommandList, &eventData->node);
    return 1;
}
