#include "src/logging/MonitoringLogging.h"

#include <atomic>
#include <cstring>

#include "orxmonitoring2d/dds_logging_support.h"
#include "src/log/Log.hpp"
#include "src/logging/LoggingSample.h"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

using Collector = ORX_MonitoringLogging;

constexpr int loggerSlot = 5;
constexpr REDAInlineMemorySize maximalArenaSize = 2147483647;
constexpr ORX_UINT32 arenaIncrementPercent = 50;

void setActivity(Collector& self, ORX_MonitoringLoggingActivityKind kind) {
    std::atomic_ref(self.activityKind).store(kind, std::memory_order_relaxed);
}

bool createSample(Collector& self, const DDS_Octet rootResourceGuid[16]) {
    self.sample = DDS_Monitoring_LoggingTypeSupport_create_data();
    if (self.sample == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Logging sample\n");
    std::memcpy(
        self.sample->info.root_resource_guid, rootResourceGuid, sizeof self.sample->info.root_resource_guid);
    self.sample->info.epoch = 0;
    return true;
}

bool createMemoryManager(Collector& self) {
    const REDAInlineMemoryProperty property{
        .initial = self.properties.initial_memory_size,
        .maximal = maximalArenaSize,
        .increment = arenaIncrementPercent,
        .forceContiguousMemory = 0,
        .initializeBuffersToZero = 0,
        .lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
        .lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree,
        .lowerLevelAllocatorData = nullptr,
    };
    self.memoryManager = REDAInlineMemory_new(&property);
    if (self.memoryManager == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Logging memory manager\n");
    return true;
}

bool createUpdate(Collector& self) {
    if (!DDS_Monitoring_LogReferenceSeq_initialize(&self.update))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Logging update sequence\n");
    if (!DDS_Monitoring_LogReferenceSeq_set_element_pointers_allocation(&self.update, DDS_BOOLEAN_FALSE)) {
        return ORX_ERROR(FAILED_TO_SET, "Element pointer allocation to false in update sequence.");
    }
    const DDS_Long maximum = self.properties.max_logs_per_update;
    if (maximum <= 0 || !DDS_Monitoring_LogReferenceSeq_new_buffer_and_loan_w_memory_manager(
                            &self.update, &self.memoryManager, 0, maximum)) {
        return ORX_ERROR(FAILED_TO_LOAN, "Logging update sequence buffer for %d elements.", maximum);
    }
    return true;
}

bool createSnapshot(Collector& self) {
    if (!DDS_Monitoring_LoggingMessageSeq_initialize(&self.snapshot))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Logging snapshot sequence\n");
    const DDS_Long maximum = self.properties.max_historical_logs;
    if (maximum > 0 && !DDS_Monitoring_LoggingMessageSeq_new_buffer_and_loan_w_memory_manager(
                           &self.snapshot, &self.memoryManager, 0, maximum)) {
        return ORX_ERROR(FAILED_TO_LOAN, "Logging snapshot sequence buffer for %d elements.", maximum);
    }
    return true;
}

bool startExecutor(
    Collector& self, const char* threadName, const ORX_MonitoringGlobalsConcurrency& concurrencyModel) {
    ORX_MonitoringTaskExecutorProperty_t property;
    ORX_MonitoringTaskExecutorProperty_t_initialize(&property);
    property.concurrencyLevel = concurrencyModel.level;
    property.mutexPool = concurrencyModel.mutexPool;
    property.initialMemoryManagerSize = self.properties.initial_memory_size;
    property.wakeUpPeriod = self.properties.publication_period;
    property.gcTaskThreshold = self.properties.gc_threshold;
    const ORX_MonitoringTaskExecutorListener listener{
        &self, ORX_MonitoringLogging_onTaskAvailable, ORX_MonitoringLogging_onAfterProcessedQueue};
    if (!DDS_ThreadSettings_t_copy(&property.threadSettings, &self.properties.thread_setting)) {
        ORX_ERROR(FAILED_TO_COPY, "Logging thread settings\n");
    } else {
        self.executor = ORX_MonitoringTaskExecutor_new(&property, &listener, threadName);
        if (self.executor == nullptr)
            ORX_ERROR(FAILED_TO_CREATE, "Logging executor\n");
    }
    ORX_MonitoringTaskExecutorProperty_t_finalize(&property);
    return self.executor != nullptr;
}

// From here on messages flow.
bool attachDevice(Collector& self) {
    if (!ORXOsapiHeap_allocateStructure(&self.loggerDevice, struct ZDDS_Config_LoggerDevice)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ZDDS_Config_LoggerDevice' with size %u\n",
            static_cast<unsigned>(sizeof *self.loggerDevice));
    }
    *self.loggerDevice = {
        .device_data = &self, .write = ORX_MonitoringLogging_loggerDeviceWrite, .close = nullptr};
    ADVLOGLoggerDevice* device = ZDDS_Config_Logger_createADVLOGLoggerDevice(self.loggerDevice);
    if (device == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring ADVLOG device\n");
    if (!ADVLOGLogger_setDevice(loggerSlot, device, 0, 0))
        return ORX_ERROR(FAILED_TO_SET, "Monitoring logger device\n");
    return true;
}

bool build(Collector& self, const char* threadName, const ORX_MonitoringLoggingProperty_t& property,
    DDS_DataWriter* writer, const ORX_MonitoringGlobalsConcurrency& concurrencyModel,
    const DDS_Octet rootResourceGuid[16]) {
    if (!ZDDS_Config_Logger_is_initialized())
        return ORX_ERROR(FAILED_TO_GET, "Logger not initialized\n");
    if (!ORX_MonitoringLoggingProperty_t_copy(&self.properties, &property))
        return ORX_ERROR(FAILED_TO_COPY, "ORX_MonitoringLoggingProperty_t.\n");
    self.writer = writer;
    setActivity(self, ORX_MONITORING_LOGGING_OTHER_ACTIVITY_KIND);
    return createSample(self, rootResourceGuid) && createMemoryManager(self) && createUpdate(self) &&
           createSnapshot(self) && startExecutor(self, threadName, concurrencyModel) && attachDevice(self);
}

bool deleteExecutor(Collector& self) {
    if (self.executor == nullptr)
        return true;
    if (!ORX_MonitoringTaskExecutor_finalize(self.executor))
        return false;
    ORX_MonitoringTaskExecutor_delete(self.executor);
    self.executor = nullptr;
    return true;
}

void deleteSample(Collector& self) {
    if (self.sample == nullptr)
        return;
    // A write that failed may have left the sequences of the collector in it.
    self.sample->update = nullptr;
    self.sample->snapshot = nullptr;
    (void)DDS_Monitoring_LoggingTypeSupport_delete_data(self.sample);
    self.sample = nullptr;
}

} // namespace

ORX_MonitoringLogging* ORX_MonitoringLogging_new(const char* threadName,
    const ORX_MonitoringLoggingProperty_t* loggingProperty, DDS_DataWriter* loggingWriter,
    const ORX_MonitoringGlobalsConcurrency* concurrencyModel, const DDS_Octet rootResourceGuid[16]) {
    Collector* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringLogging)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringLogging' with size %u\n",
            static_cast<unsigned>(sizeof *self));
    }
    if (!ORX_MonitoringLogging_initialize(
            self, threadName, loggingProperty, loggingWriter, concurrencyModel, rootResourceGuid)) {
        // A device or a worker that could not be taken away still refers to the object.
        if (self->loggerDevice == nullptr && self->executor == nullptr)
            ORXOsapiHeap_freeStructure(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "ORX_MonitoringLogging.\n");
    }
    return self;
}

int ORX_MonitoringLogging_initialize(ORX_MonitoringLogging* self, const char* threadName,
    const ORX_MonitoringLoggingProperty_t* loggingProperty, DDS_DataWriter* loggingWriter,
    const ORX_MonitoringGlobalsConcurrency* concurrencyModel, const DDS_Octet rootResourceGuid[16]) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(threadName == ORX_NULL);
    ORX_FAIL_IF(loggingProperty == ORX_NULL);
    ORX_FAIL_IF(loggingWriter == ORX_NULL);
    ORX_FAIL_IF(concurrencyModel == ORX_NULL);
    ORX_FAIL_IF(rootResourceGuid == ORX_NULL);
    *self = {};
    if (build(*self, threadName, *loggingProperty, loggingWriter, *concurrencyModel, rootResourceGuid))
        return 1;
    if (ORX_MonitoringLogging_prefinalize(self))
        (void)ORX_MonitoringLogging_finalize(self);
    return 0;
}

int ORX_MonitoringLogging_prefinalize(ORX_MonitoringLogging* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    setActivity(*self, ORX_MONITORING_LOGGING_DISABLING_ACTIVITY_KIND);
    if (self->loggerDevice == nullptr)
        return 1;
    int result = 1;
    if (!ZDDS_Config_Logger_is_initialized())
        result = ORX_ERROR(FAILED_TO_GET, "Logger not initialized\n");
    else if (!ADVLOGLogger_setDevice(loggerSlot, nullptr, 0, 0))
        result = ORX_ERROR(FAILED_TO_SET, "Monitoring logger device to NULL\n");
    if (!result) {
        setActivity(*self, ORX_MONITORING_LOGGING_OTHER_ACTIVITY_KIND);
        return 0;
    }
    ORXOsapiHeap_freeStructure(self->loggerDevice);
    self->loggerDevice = nullptr;
    return 1;
}

int ORX_MonitoringLogging_finalize(ORX_MonitoringLogging* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (!deleteExecutor(*self))
        return 0;
    if (!DDS_Monitoring_LogReferenceSeq_unloan_and_finalize_w_memory_manager(&self->update))
        return ORX_ERROR(FAILED_TO_FINALIZE, "Logging update sequence\n");
    if (!DDS_Monitoring_LoggingMessageSeq_unloan_and_finalize_w_memory_manager(&self->snapshot))
        return ORX_ERROR(FAILED_TO_FINALIZE, "Logging snapshot sequence\n");
    REDAInlineMemory_delete(self->memoryManager);
    self->memoryManager = nullptr;
    deleteSample(*self);
    (void)ORX_MonitoringLoggingProperty_t_finalize(&self->properties);
    self->writer = nullptr;
    return 1;
}

int ORX_MonitoringLogging_delete(ORX_MonitoringLogging* self) {
    if (self == nullptr)
        return 1;
    const bool isDetached = self->loggerDevice == nullptr || ORX_MonitoringLogging_prefinalize(self);
    if (!isDetached || !ORX_MonitoringLogging_finalize(self))
        return ORX_ERROR(FAILED_TO_FINALIZE, "ORX_MonitoringLogging.\n");
    ORXOsapiHeap_freeStructure(self);
    return 1;
}
