// The producers' side of the logging collector: what runs on the threads that log.
#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>

#include "src/log/Log.hpp"
#include "src/logging/CompactMessage.hpp"
#include "src/taskExecutor/ReservedTask.hpp"
#include "zddscore/text.h"
#include "zddscore/thread.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

using namespace orx::logging;
using orx::taskExecutor::Queue;
using ReservedMessage = orx::taskExecutor::ReservedTask<CompactMessage>;

constexpr size_t categorySize = 36;

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
bool isDeaf(ORX_MonitoringLogging& self, ORX_MonitoringGlobals* globals, ORX_UINT64 threadId) {
    if (globals == nullptr ||
        std::atomic_ref(globals->monitoringClass).load(std::memory_order_acquire) == nullptr)
        return true;
    // Relaxed: a message that comes at the same time as the end may find either, and the logger waits for
    // those inside.
    return std::atomic_ref(self.activityKind).load(std::memory_order_relaxed) ==
               ORX_MONITORING_LOGGING_DISABLING_ACTIVITY_KIND ||
           std::atomic_ref(self.executor->threadId).load(std::memory_order_relaxed) == threadId;
}

// One thread always takes the same queue, so that its messages keep their order. A thread's id fits 32 bits
// everywhere, where a remainder costs a fraction of what it costs in 64.
DDS_UnsignedLong indexOf(ORX_UINT64 threadId, const ORX_MonitoringGlobals& globals) {
    const DDS_UnsignedLong level = globals.loggingConcurrency.level;
    if (level == 0)
        return 0;
    return threadId <= UINT32_MAX ? static_cast<DDS_UnsignedLong>(threadId) % level
                                  : static_cast<DDS_UnsignedLong>(threadId % level);
}

// Null, with a line of log, for an index beyond the level.
Queue* queueOf(const ORX_MonitoringLogging& self, DDS_UnsignedLong index) {
    if (index >= self.executor->property.concurrencyLevel &&
        ORX_MonitoringTaskExecutor_getMemoryManager(self.executor, index) == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Logging executor memory manager at index %u\n", index);
    return &self.executor->queues[index];
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

// The payload owns nothing: it goes with its node.
int deleteReservedPayload(void*) {
    return 1;
}

// For writing: a line that another processor has read comes over alone, not as a copy to be given up yet.
void fetchForWriting(std::uintptr_t address) {
    const auto* line = reinterpret_cast<const char*>(address);
#if defined(__x86_64__)
    asm volatile("prefetchw %0" : : "m"(*line));
#else
    __builtin_prefetch(line, 1);
#endif
}

// The worker has read the lines that the next messages will lie in, most often on another processor, and who
// writes them would wait for each. Buffers of the arena follow each other, and messages are about alike in
// length, so what lies behind the next one is asked for.
void fetchAhead(const void* buffer, std::size_t size) {
    constexpr std::size_t line = 64;
    constexpr std::size_t most = 8 * line;
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(buffer) + 2 * size;
    for (std::size_t i = 0; i < std::min(size, most); i += line)
        fetchForWriting(begin + i);
}

// Node and message in one buffer. False, with nothing posted and without a line of log, when memory is out.
bool postInOnePiece(ORX_MonitoringLogging& self, Queue& queue, const Source& source) {
    const size_t extra = bytesBehind(source);
    if (extra > INT_MAX - sizeof(ReservedMessage))
        return false;
    auto* reserved = orx::taskExecutor::reserveTask<CompactMessage>(queue, static_cast<ORX_UINT32>(extra));
    if (reserved == nullptr)
        return false;
    fetchAhead(reserved, sizeof(ReservedMessage) + extra);
    fillCompact(reserved->payload, self, source);
    if (orx::taskExecutor::linkReservedTask(queue, *reserved, deleteReservedPayload)) [[likely]]
        return true;
    (void)REDAInlineMemBuffer_release(reserved);
    return false;
}

enum class Posted { done, notCreated, notPosted };

// In buffers of their own: with structured data of the caller's, and where the one buffer could not be had,
// since smaller ones may be, and each failure has its message.
[[gnu::noinline]] Posted postInPieces(ORX_MonitoringLogging& self, Queue& queue, const Source& source,
    const DDS_Monitoring_StructuredDataMapEntrySeq* structuredData) {
    ORX_MonitoringLoggingPayload* payload = ORX_MonitoringLoggingPayload_createUpdate(&self,
        &queue.memoryManager, source.text, source.severity, source.messageId, source.timestamp,
        source.facility, structuredData, source.category != nullptr ? source.category : noCategory);
    if (payload == nullptr)
        return Posted::notCreated;
    return post(self, queue.concurrencyIndex, payload) ? Posted::done : Posted::notPosted;
}

// Under the mutex of the queue.
Posted postSource(ORX_MonitoringLogging& self, Queue& queue, const Source& source,
    const DDS_Monitoring_StructuredDataMapEntrySeq* structuredData) {
    if (structuredData != nullptr || !postInOnePiece(self, queue, source))
        return postInPieces(self, queue, source, structuredData);
    return orx::taskExecutor::signalNewTask(*self.executor) ? Posted::done : Posted::notPosted;
}

// The text's length and category; the category goes into the buffer, which lives as long as the source. The
// most usual text has no mark of a category, not even its first character: one look at it tells that and its
// length.
bool readText(Source& source, char (&buffer)[categorySize], const ZDDS_Config_LogMessage& message) {
    const char* end = message.text != nullptr ? strchrnul(message.text, '|') : nullptr;
    if (end != nullptr && *end == '\0' && !message.is_security_message) {
        source.textLength = static_cast<size_t>(end - message.text);
        return true;
    }
    if (!ORX_MonitoringLogging_getCategoryFromLogMessage(buffer, categorySize, &message))
        return ORX_ERROR(FAILED_TO_GET, "Category from log message");
    source.textLength = static_cast<size_t>(end - message.text) + std::strlen(end);
    source.category = buffer;
    source.categoryLength = std::strlen(buffer);
    return true;
}

// Under the mutex of the index.
bool postFromDevice(ORX_MonitoringLogging& self, const ZDDS_Config_LogMessage& message,
    ZDDS_Config_SyslogLevel level, DDS_UnsignedLong index) {
    Queue* queue = queueOf(self, index);
    if (queue == nullptr)
        return false;
    if (message.facility == ZDDS_CONFIG_LOG_FACILITY_USER ||
        message.facility == ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT)
        return true; // these come through postMessage
    char category[categorySize];
    Source source{.text = message.text,
        .textLength = 0,
        .severity = level,
        .messageId = message.message_id,
        .timestamp = &message.timestamp,
        .facility = message.facility,
        .category = nullptr,
        .categoryLength = 0};
    if (!readText(source, category, message))
        return false;
    switch (postSource(self, *queue, source, nullptr)) {
    case Posted::done:
        break;
    case Posted::notCreated:
        return ORX_FLOOD_ERROR(FAILED_TO_CREATE, "Monitoring logging message\n");
    case Posted::notPosted:
        return ORX_ERROR(FAILED_TO_POST, "Logging message to executor\n");
    }
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

void ORX_MonitoringLogging_loggerDeviceWrite(
    ZDDS_Config_LoggerDevice* device, const ZDDS_Config_LogMessage* msg) {
    ORX_LEAVE_IF(device == ORX_NULL);
    ORX_LEAVE_IF(msg == ORX_NULL);
    auto& self = *static_cast<ORX_MonitoringLogging*>(device->device_data);
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    const ORX_UINT64 threadId = ORXOsapiThread_getCurrentThreadID();
    if (isDeaf(self, globals, threadId))
        return;
    const ZDDS_Config_SyslogLevel level = ZDDS_Config_SyslogLevel_from_log_level(msg->level);
    if (!ORX_MonitoringLogging_shouldLogMessage(&self, msg->facility, level))
        return;
    const DDS_UnsignedLong index = indexOf(threadId, *globals);
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
    Queue* queue = queueOf(*self, concurrencyIndex);
    if (queue == nullptr)
        return 0;
    const Source source = sourceOf(text, severity, message_id, timestamp, facility, category);
    switch (postSource(*self, *queue, source,
        static_cast<const DDS_Monitoring_StructuredDataMapEntrySeq*>(structured_data))) {
    case Posted::done:
        break;
    case Posted::notCreated:
        return ORX_FLOOD_ERROR(FAILED_TO_CREATE, "Monitoring logging message");
    case Posted::notPosted:
        return ORX_ERROR(FAILED_TO_POST, "Security event message to executor");
    }
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
