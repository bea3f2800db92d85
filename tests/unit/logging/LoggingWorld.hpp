// The library with its logging collector. The worker sleeps unless a test asks for a short period: the test
// runs the queues itself, on its own thread.
#ifndef ORX_TESTS_LOGGING_WORLD_HPP
#define ORX_TESTS_LOGGING_WORLD_HPP

#include <atomic>
#include <memory>

#include "src/entities/LibraryEntities.h"
#include "src/logging/LoggingPayload.h"
#include "src/logging/LoggingSample.h"
#include "tests/unit/logging/LoggingReader.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "gtest/gtest.h"

class LoggingWorld : public Library {
public:
    static constexpr DDS_DomainId_t loggingDomain = 90;
    static constexpr DDS_Duration_t asleep{3600, 0};
    static constexpr DDS_Duration_t atOnce{0, 0};

    LoggingWorld() {
        property.domain_id = loggingDomain;
        property.logging.publication_period = asleep;
        property.logging.concurrency_level = 1;
        property.logging.max_historical_logs = 4;
        property.periodic.polling_period = asleep;
    }
    ~LoggingWorld() {
        reader.reset();
        (void)stop();
        ZDDS_Config_Logger_finalize_instance();
    }

    bool start() { return Library::start() && (reader = std::make_unique<LoggingReader>(loggingDomain)); }
    ORX_MonitoringLogging& logging() { return *impl().logging; }
    static ZDDS_Config_Logger* logger() { return ZDDS_Config_Logger_get_instance(); }

    static int log(const char* text, ZDDS_Config_LogFacility facility = ZDDS_CONFIG_LOG_FACILITY_SERVICE,
        const char* category = nullptr) {
        return ZDDS_Config_Logger_log(logger(), facility, ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 7, category, text);
    }
    // To the device itself.
    void write(const char* text, bool isSecurity = false,
        ZDDS_Config_LogFacility facility = ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE,
        ZDDS_Config_LogLevel level = ZDDS_CONFIG_LOG_LEVEL_ERROR) {
        const ZDDS_Config_LogMessage message{text, level, isSecurity, 42, {12, 34}, facility};
        ORX_MonitoringLogging_loggerDeviceWrite(logging().loggerDevice, &message);
    }
    int post(const char* text, ZDDS_Config_LogFacility facility, const void* structuredData = nullptr,
        const char* category = nullptr) {
        const DDS_Duration_t time{56, 78};
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1, 1, nullptr);
        const int result = table->postLogMessage(
            table, text, ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 9, &time, facility, structuredData, category, 0);
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1);
        return result;
    }

    // What is queued as one batch. Only with a worker that sleeps and one queue.
    void runQueue() {
        // This thread is the worker meanwhile: what it logs is not collected.
        std::atomic_ref threadId(logging().executor->threadId);
        const ORX_UINT64 worker = threadId.exchange(ORXOsapiThread_getCurrentThreadID());
        auto& queue = logging().executor->queues[0];
        bool any = false;
        for (auto* node = REDAInlineList_getFirst(&queue.tasks); node != nullptr;
             node = REDAInlineListNode_getNext(node)) {
            any = true;
            results.push_back(ORX_MonitoringLogging_onTaskAvailable(
                &logging(), reinterpret_cast<ORX_MonitoringTaskExecutorTask*>(node)));
        }
        if (any)
            ORX_MonitoringLogging_onAfterProcessedQueue(&logging());
        collect();
        threadId.store(worker);
    }
    // What a collection does.
    void collect() {
        auto& queue = logging().executor->queues[0];
        while (auto* node = REDAInlineList_getFirst(&queue.tasks)) {
            REDAInlineList_removeNodeEA(&queue.tasks, node);
            auto* task = reinterpret_cast<ORX_MonitoringTaskExecutorTask*>(node);
            if (task->state != nullptr) {
                EXPECT_TRUE(REDAInlineMemBuffer_release(task->state));
            }
            EXPECT_TRUE(task->deletePayloadFunction(task->payload));
            EXPECT_TRUE(REDAInlineMemBuffer_release(task));
        }
    }
    int queued() { return REDAInlineList_getSize(&logging().executor->queues[0].tasks); }
    ORX_UINT32 liveBuffers() {
        REDAInlineMemoryInfo info{};
        REDAInlineMemory_getInfo(logging().executor->queues[0].memoryManager, &info);
        return info.liveBuffers;
    }
    std::vector<LoggingSampleValue> received() {
        const DDS_Duration_t bound{60, 0};
        (void)DDS_DataWriter_flushI(impl().entities->loggingWriter, &bound);
        return reader->takeNow();
    }
    std::vector<LoggingSampleValue> run() {
        runQueue();
        return received();
    }

    std::unique_ptr<LoggingReader> reader;
    std::vector<int> results;
};

#endif
