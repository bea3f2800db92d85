// The producers' side of the logging collector: what runs on the threads that log.
#include <atomic>
#include <cstring>

#include "src/log/Log.hpp"
#include "src/logging/LoggingPayload.h"
#include "zddscore/text.h"
#include "zddscore/thread.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

constexpr size_t categorySize = 36;
constexpr char noCategory[] = "N/A";
constexpr char securityCategory[] = "Security";
constexpr char categoryMark[] = "|LC:";

// The logging mutex of an index, while it lives.
class LoggingLock {
public:
    explicit LoggingLock(DDS_UnsignedLong index) : index_{index} {
        const auto result = ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, index, 1, 1, nullptr);
        held_ = result == ORX_MONITORING_LOCK_RESULT_OK;
        // A library that is being stopped takes nothing, and that is no failure.
        if (!held_ && result != ORX_MONITORING_LOCK_RESULT_NOT_ENABLED)
            ORX_ERROR(FAILED_TO_LOCK, "Taking Monitoring logging mutex with index %u\n", index);
    }
    ~LoggingLock() {
        if (held_ && ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, index_, 1) != 0)
            ORX_ERROR(FAILED_TO_LOCK, "Giving Monitoring logging mutex with index %u\n", index_);
    }
    LoggingLock(const LoggingLock&) = delete;
    LoggingLock& operator=(const LoggingLock&) = delete;
    explicit operator bool() const { return held_; }

private:
    const DDS_UnsignedLong index_;
    bool held_;
};

// Whether the device does nothing at all. The worker's own output is not collected: a failing write would
// make a message for every message.
bool isDeaf(ORX_MonitoringLogging& self, ORX_MonitoringGlobals* globals) {
    if (globals == nullptr ||
        std::atomic_ref(globals->monitoringClass).load(std::memory_order_acquire) == nullptr)
        return true;
    // Relaxed: a message that comes at the same time as the end may find either, and the logger waits for
    // those inside.
    return std::atomic_ref(self.activityKind).load(std::memory_order_relaxed) ==
               ORX_MONITORING_LOGGING_DISABLING_ACTIVITY_KIND ||
           std::atomic_ref(self.executor->threadId).load(std::memory_order_relaxed) ==
               ORXOsapiThread_getCurrentThreadID();
}

// One thread always takes the same queue, so that its messages keep their order. A thread's id fits 32 bits
// everywhere, where a remainder costs a fraction of what it costs in 64.
DDS_UnsignedLong indexOfThisThread(const ORX_MonitoringGlobals& globals) {
    const DDS_UnsignedLong level = globals.loggingConcurrency.level;
    if (level == 0)
        return 0;
    const ORX_UINT64 id = ORXOsapiThread_getCurrentThreadID();
    return id <= UINT32_MAX ? static_cast<DDS_UnsignedLong>(id) % level
                            : static_cast<DDS_UnsignedLong>(id % level);
}

// Leaves the payload to the queue, or deletes it.
bool post(const ORX_MonitoringLogging& self, DDS_UnsignedLong index, ORX_MonitoringLoggingPayload* payload) {
    int isPosted = 0;
    const int result = ORX_MonitoringTaskExecutor_postTask(
        self.executor, &isPosted, index, payload, ORX_MonitoringLoggingPayload_delete);
    if (!result && !isPosted)
        (void)ORX_MonitoringLoggingPayload_delete(payload);
    return result != 0;
}

// Under the mutex of the index.
bool postFromDevice(ORX_MonitoringLogging& self, const ZDDS_Config_LogMessage& message,
    ZDDS_Config_SyslogLevel level, DDS_UnsignedLong index) {
    REDAInlineMemory** memoryManager = ORX_MonitoringTaskExecutor_getMemoryManager(self.executor, index);
    if (memoryManager == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Logging executor memory manager at index %u\n", index);
    if (message.facility == ZDDS_CONFIG_LOG_FACILITY_USER ||
        message.facility == ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT)
        return true; // these come through postMessage
    char category[categorySize];
    if (!ORX_MonitoringLogging_getCategoryFromLogMessage(category, categorySize, &message))
        return ORX_ERROR(FAILED_TO_GET, "Category from log message");
    ORX_MonitoringLoggingPayload* payload = ORX_MonitoringLoggingPayload_createUpdate(&self, memoryManager,
        message.text, level, message.message_id, &message.timestamp, message.facility, nullptr, category);
    if (payload == nullptr)
        return ORX_FLOOD_ERROR(FAILED_TO_CREATE, "Monitoring logging message\n");
    if (!post(self, index, payload))
        return ORX_ERROR(FAILED_TO_POST, "Logging message to executor\n");
    return true;
}

const ZDDS_Config_SyslogVerbosity* verbosityOf(
    const ORX_MonitoringLoggingVerbositySetting_t& setting, ZDDS_Config_LogFacility facility) {
    switch (facility) {
    case ZDDS_CONFIG_LOG_FACILITY_USER:
        return &setting.user;
    case ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT:
        return &setting.security_event;
    case ZDDS_CONFIG_LOG_FACILITY_SERVICE:
        return &setting.service;
    case ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE:
        return &setting.middleware;
    }
    return nullptr;
}

bool copyMarkedCategory(char* buffer, ORX_UINT32 bufferSize, const char* mark) {
    const char* begin = mark + sizeof categoryMark - 1;
    const char* end = std::strchr(begin, ']');
    if (end == nullptr)
        return ORX_ERROR(FAILED_TO_FIND, "End of activity context category string");
    if (ORXOsapiUtility_strncpy(buffer, bufferSize - 1, begin, static_cast<size_t>(end - begin)) == nullptr)
        return ORX_ERROR(FAILED_TO_COPY, "Activity context category string to output buffer");
    return true;
}

bool addSecurityCategory(char* buffer, ORX_UINT32 bufferSize) {
    if (std::strstr(buffer, securityCategory) != nullptr)
        return true;
    if (*buffer != '\0' && ORXOsapiUtility_strcat(buffer, bufferSize - 1, ",") == nullptr)
        return ORX_ERROR(FAILED_TO_COPY, "Category separator string to output buffer");
    if (ORXOsapiUtility_strcat(buffer, bufferSize - 1, securityCategory) == nullptr)
        return ORX_ERROR(FAILED_TO_COPY, "'%s' category string to output buffer", securityCategory);
    return true;
}

} // namespace

int ORX_MonitoringLogging_shouldLogMessage(
    const ORX_MonitoringLogging* self, ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogLevel level) {
    ORX_FAIL_IF(self == ORX_NULL);
    const ZDDS_Config_SyslogVerbosity* verbosity = verbosityOf(self->properties.forwarding_level, facility);
    if (verbosity == nullptr)
        return ORX_PRECONDITION_FAILED("\n");
    const auto mask =
        static_cast<unsigned>(std::atomic_ref(const_cast<ZDDS_Config_SyslogVerbosity&>(*verbosity))
                                  .load(std::memory_order_relaxed));
    return (ORXSyslog_getInstrumentBitFromSyslogLevel(level) & mask) != 0;
}

int ORX_MonitoringLogging_setForwardingLevel(
    ORX_MonitoringLogging* self, const ORX_MonitoringLoggingVerbositySetting_t* level) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(level == ORX_NULL);
    ORX_MonitoringLoggingVerbositySetting_t& own = self->properties.forwarding_level;
    std::atomic_ref(own.middleware).store(level->middleware, std::memory_order_relaxed);
    std::atomic_ref(own.security_event).store(level->security_event, std::memory_order_relaxed);
    std::atomic_ref(own.service).store(level->service, std::memory_order_relaxed);
    std::atomic_ref(own.user).store(level->user, std::memory_order_relaxed);
    return 1;
}

int ORX_MonitoringLogging_getCategoryFromLogMessage(
    char* buffer, ORX_UINT32 bufferSize, const ZDDS_Config_LogMessage* msg) {
    ORX_FAIL_IF(buffer == ORX_NULL);
    ORX_FAIL_IF(bufferSize < sizeof noCategory);
    ORX_FAIL_IF(msg == ORX_NULL);
    ORX_FAIL_IF(msg->text == ORX_NULL);
    *buffer = '\0';
    bool categoryEmpty = true;
    // Few texts have the mark's first character, and that is found much faster than a text in a text.
    const char* mark = std::strchr(msg->text, categoryMark[0]);
    if (mark != nullptr)
        mark = std::strstr(mark, categoryMark);
    if (mark != nullptr) {
        if (!copyMarkedCategory(buffer, bufferSize, mark))
            return 0;
        categoryEmpty = false;
    }
    if (msg->is_security_message) {
        if (!addSecurityCategory(buffer, bufferSize))
            return 0;
        categoryEmpty = false;
    }
    if (categoryEmpty)
        std::memcpy(buffer, noCategory, sizeof noCategory);
    return 1;
}

void ORX_MonitoringLogging_loggerDeviceWrite(
    ZDDS_Config_LoggerDevice* device, const ZDDS_Config_LogMessage* msg) {
    ORX_LEAVE_IF(device == ORX_NULL);
    ORX_LEAVE_IF(msg == ORX_NULL);
    auto& self = *static_cast<ORX_MonitoringLogging*>(device->device_data);
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    if (isDeaf(self, globals))
        return;
    const ZDDS_Config_SyslogLevel level = ZDDS_Config_SyslogLevel_from_log_level(msg->level);
    if (!ORX_MonitoringLogging_shouldLogMessage(&self, msg->facility, level))
        return;
    const DDS_UnsignedLong index = indexOfThisThread(*globals);
    if (const LoggingLock lock{index})
        (void)postFromDevice(self, *msg, level, index);
}

int ORX_MonitoringLogging_postMessage(ORX_MonitoringLogging* self, const char* text,
    ZDDS_Config_SyslogLevel severity, DDS_UnsignedLong message_id, const DDS_Duration_t* timestamp,
    ZDDS_Config_LogFacility facility, const void* structured_data, const char* category,
    DDS_UnsignedLong concurrencyIndex) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(text == ORX_NULL);
    ORX_FAIL_IF(timestamp == ORX_NULL);
    if (!ORX_MonitoringLogging_shouldLogMessage(self, facility, severity))
        return 1;
    REDAInlineMemory** memoryManager =
        ORX_MonitoringTaskExecutor_getMemoryManager(self->executor, concurrencyIndex);
    if (memoryManager == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Logging executor memory manager at index %u\n", concurrencyIndex);
    ORX_MonitoringLoggingPayload* payload =
        ORX_MonitoringLoggingPayload_createUpdate(self, memoryManager, text, severity, message_id, timestamp,
            facility, static_cast<const DDS_Monitoring_StructuredDataMapEntrySeq*>(structured_data),
            category != nullptr ? category : noCategory);
    if (payload == nullptr)
        return ORX_FLOOD_ERROR(FAILED_TO_CREATE, "Monitoring logging message");
    if (!post(*self, concurrencyIndex, payload))
        return ORX_ERROR(FAILED_TO_POST, "Security event message to executor");
    return 1;
}

int ORX_MonitoringLogging_postSnapshot(const ORX_MonitoringLogging* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    constexpr DDS_UnsignedLong index = 0;
    if (self->properties.max_historical_logs <= 0) {
        return ORX_ERROR(CONFIG_FAILURE,
            "A logging snapshot was requested but ORX_MonitoringLoggingProperty_t::max_historical_logs is "
            "%d.\n",
            self->properties.max_historical_logs);
    }
    const LoggingLock lock{index};
    if (!lock)
        return 0;
    REDAInlineMemory** memoryManager = ORX_MonitoringTaskExecutor_getMemoryManager(self->executor, index);
    if (memoryManager == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Logging executor memory manager at index %u\n", index);
    ORX_MonitoringLoggingPayload* payload = ORX_MonitoringLoggingPayload_createSnapshot(memoryManager);
    if (payload == nullptr)
        return 0;
    int isPosted = 0;
    const int result = ORX_MonitoringTaskExecutor_postTaskAllQueues(
        self->executor, &isPosted, index, payload, ORX_MonitoringLoggingPayload_delete);
    if (!result && !isPosted)
        (void)ORX_MonitoringLoggingPayload_delete(payload);
    return result ? 1 : ORX_ERROR(FAILED_TO_POST, "Logging snapshot to executor\n");
}
