#include "src/logging/LoggingSample.h"

#include "orxmonitoring2d/dds_logging_support.h"
#include "src/log/Log.hpp"
#include "src/logging/LoggingPayload.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

using Collector = ORX_MonitoringLogging;

bool write(Collector& self) {
    return DDS_Monitoring_LoggingDataWriter_write(DDS_Monitoring_LoggingDataWriter_narrow(self.writer),
               self.sample, &DDS_HANDLE_NIL) == DDS_RETCODE_OK;
}

// The newest messages of the update that the ring has room for.
void keepForSnapshot(Collector& self) {
    const DDS_Long count = DDS_Monitoring_LogReferenceSeq_get_length(&self.update);
    const DDS_Long room = self.properties.max_historical_logs;
    for (DDS_Long i = count > room ? count - room : 0; i < count; ++i) {
        if (!ORX_MonitoringLogging_addLogToSnapshotSeq(
                &self, DDS_Monitoring_LogReferenceSeq_get(&self.update, i)))
            ORX_WARNING(FAILED_TO_ADD, "Logging message to snapshot sequence\n");
    }
}

void clearUpdate(Collector& self) {
    (void)DDS_Monitoring_LogReferenceSeq_set_length(&self.update, 0);
    self.sample->update = nullptr;
}

} // namespace

int ORX_MonitoringLogging_onTaskAvailable(
    void* listenerData, const struct ORX_MonitoringTaskExecutorTask* task) {
    ORX_FAIL_IF(listenerData == ORX_NULL);
    ORX_FAIL_IF(task == ORX_NULL);
    auto& self = *static_cast<Collector*>(listenerData);
    const auto& payload = *static_cast<const ORX_MonitoringLoggingPayload*>(task->payload);
    if (payload.isSnapshot) {
        if (!ORX_MonitoringLogging_sendSnapshotSample(&self))
            return ORX_ERROR(FAILED_TO_SEND, "Logging snapshot sample\n");
        return 1;
    }
    if (DDS_Monitoring_LogReferenceSeq_get_length(&self.update) >= self.properties.max_logs_per_update &&
        !ORX_MonitoringLogging_sendUpdateSample(&self))
        return ORX_FLOOD_ERROR(FAILED_TO_SEND, "Logging update sample\n");
    const DDS_Long length = DDS_Monitoring_LogReferenceSeq_get_length(&self.update) + 1;
    if (!DDS_Monitoring_LogReferenceSeq_set_length(&self.update, length))
        return ORX_ERROR(FAILED_TO_SET, "Sequence length to %u\n", static_cast<unsigned>(length));
    DDS_Monitoring_LogReference* logPtr =
        DDS_Monitoring_LogReferenceSeq_get_reference(&self.update, length - 1);
    ORX_FAIL_IF(logPtr == ORX_NULL);
    *logPtr = payload.base;
    return 1;
}

// What even the second attempt could not send is given up: its memory is freed by the next collection.
void ORX_MonitoringLogging_onAfterProcessedQueue(void* listenerData) {
    ORX_LEAVE_IF(listenerData == ORX_NULL);
    auto& self = *static_cast<Collector*>(listenerData);
    if (DDS_Monitoring_LogReferenceSeq_get_length(&self.update) == 0)
        return;
    if (!ORX_MonitoringLogging_sendUpdateSample(&self))
        clearUpdate(self);
}

int ORX_MonitoringLogging_sendUpdateSample(ORX_MonitoringLogging* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(self->sample == ORX_NULL);
    ORX_FAIL_IF(self->writer == ORX_NULL);
    ORX_FAIL_IF(DDS_Monitoring_LogReferenceSeq_get_length(&self->update) == 0);
    self->sample->update = &self->update;
    self->sample->snapshot = nullptr;
    self->sample->info.is_snapshot = DDS_BOOLEAN_FALSE;
    ++self->sample->info.epoch;
    if (!write(*self))
        return ORX_FLOOD_ERROR(FAILED_TO_SEND, "Logging update sample\n");
    if (self->properties.max_historical_logs > 0)
        keepForSnapshot(*self);
    clearUpdate(*self);
    return 1;
}

int ORX_MonitoringLogging_sendSnapshotSample(ORX_MonitoringLogging* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(self->sample == ORX_NULL);
    ORX_FAIL_IF(self->writer == ORX_NULL);
    self->sample->update = nullptr;
    self->sample->snapshot = &self->snapshot;
    self->sample->info.is_snapshot = DDS_BOOLEAN_TRUE;
    if (!write(*self))
        return 0;
    self->sample->snapshot = nullptr;
    return 1;
}

// Which slot is next does not change on failure; a slot that has no message then is not counted, or is empty
// where the ring is full.
int ORX_MonitoringLogging_addLogToSnapshotSeq(ORX_MonitoringLogging* self, DDS_Monitoring_LogReference msg) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(msg == ORX_NULL);
    const DDS_Long maximum = self->properties.max_historical_logs;
    const DDS_Long length = DDS_Monitoring_LoggingMessageSeq_get_length(&self->snapshot);
    const bool isFull = length == maximum;
    if (!isFull && !DDS_Monitoring_LoggingMessageSeq_set_length(&self->snapshot, length + 1))
        return ORX_ERROR(FAILED_TO_SET, "Sequence length to %u\n", static_cast<unsigned>(length + 1));
    DDS_Monitoring_LoggingMessage* slot =
        DDS_Monitoring_LoggingMessageSeq_get_reference(&self->snapshot, self->snapshotCircularIndex);
    ORX_FAIL_IF(slot == ORX_NULL);
    if (isFull) {
        (void)DDS_Monitoring_StructuredDataMapEntrySeq_unloan_and_finalize_w_memory_manager(
            &slot->structured_data);
        (void)DDS_Monitoring_StructuredDataMapEntrySeq_initialize(&slot->structured_data);
    }
    if (!DDS_Monitoring_LoggingMessage_copy_w_memory_manager(slot, &self->memoryManager, msg)) {
        DDS_Monitoring_LoggingMessage_finalize_w_memory_manager(slot);
        if (!isFull)
            (void)DDS_Monitoring_LoggingMessageSeq_set_length(&self->snapshot, length);
        return ORX_ERROR(FAILED_TO_COPY, "Logging message into slot %d\n", self->snapshotCircularIndex);
    }
    self->snapshotCircularIndex = (self->snapshotCircularIndex + 1) % maximum;
    return 1;
}
