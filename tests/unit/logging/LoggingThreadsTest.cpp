// Several producers, the worker at work, and messages from places where a careless collector would loop or
// hang.
#include <array>
#include <atomic>
#include <future>
#include <set>
#include <thread>

#include "src/monitoringClass/LoggingConfiguration.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logging/LoggingWorld.hpp"

namespace {

using namespace std::chrono_literals;

constexpr auto user = ZDDS_CONFIG_LOG_FACILITY_USER;
constexpr auto service = ZDDS_CONFIG_LOG_FACILITY_SERVICE;
constexpr auto middleware = ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE;

class LoggingThreads : public ::testing::Test {
protected:
    LoggingThreads() {
        world.property.logging.publication_period = LoggingWorld::atOnce;
        world.property.logging.concurrency_level = 2;
        world.property.logging.max_logs_per_update = 16;
    }
    void start() { ASSERT_TRUE(world.start()) << log.text(); }
    LogCapture log;
    LoggingWorld world;
};

TEST_F(LoggingThreads, EveryMessageArrivesOnceAndInItsThreadsOrder) {
    constexpr int threadCount = 3;
    constexpr int messageCount = 400;
    start();
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < messageCount; ++i) {
                const std::string text = std::to_string(t) + " " + std::to_string(i);
                LoggingWorld::log(text.c_str(), i % 2 == 0 ? service : user);
                if (i % 20 == 19)
                    std::this_thread::yield();
            }
        });
    std::vector<LogMessageValue> messages;
    EXPECT_TRUE(world.reader->takeMessages(messages, threadCount * messageCount)) << messages.size();
    for (auto& thread : threads)
        thread.join();
    std::array<int, threadCount> next{};
    std::map<int, std::set<uint64_t>> numbers;
    for (const auto& message : messages) {
        const std::string text = message.facility == 22 ? message.message.substr(6) : message.message;
        const int thread = std::stoi(text); // behind the word of the level
        EXPECT_EQ(std::stoi(text.substr(2)), next.at(static_cast<size_t>(thread))++);
        EXPECT_TRUE(numbers[message.facility].insert(message.sn).second) << "a number is given once";
    }
    EXPECT_EQ(*numbers[22].rbegin(), threadCount * messageCount / 2 - 1U);
    EXPECT_EQ(*numbers[1].rbegin(), threadCount * messageCount / 2 - 1U);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LoggingThreads, LevelsAndSnapshotsChangeWhileThreadsLog) {
    start();
    std::atomic<bool> isStopping{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&isStopping] {
            while (!isStopping) {
                LoggingWorld::log("x", service);
                LoggingWorld::log("x", user);
                ORXLogParamString_printWithParams(
                    -1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_DDS, __FILE__, __LINE__, __func__, "%s", "line");
                std::this_thread::yield();
            }
        });
    for (int i = 0; i < 60; ++i) {
        const auto verbosity =
            i % 2 == 0 ? ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG : ZDDS_CONFIG_SYSLOG_VERBOSITY_ERROR;
        const ORX_MonitoringLoggingVerbositySetting_t level{verbosity, verbosity, verbosity, verbosity};
        ORX_Monitoring_setLoggingForwardingLevelFromProperty(world.table, &level);
        ZDDS_Config_Logger_set_verbosity_by_facilityI(
            LoggingWorld::logger(), service, ZDDS_Config_LogVerbosity_from_syslog_verbosity(verbosity), 1);
        EXPECT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
        (void)world.reader->takeNow();
    }
    isStopping = true;
    for (auto& thread : threads)
        thread.join();
}

// ---- No loop ----

// The worker cannot send, says so, and what it says is no message.
TEST_F(LoggingThreads, WhatTheWorkerLogsIsNotCollected) {
    start();
    LoggingWorld::log("first", service);
    std::vector<LogMessageValue> messages;
    ASSERT_TRUE(world.reader->takeMessages(messages, 1));
    // The next snapshot has a message that no encoding has.
    std::promise<void> isPoisoned;
    (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1, 1, nullptr);
    auto** arena = ORX_MonitoringTaskExecutor_getMemoryManager(world.logging().executor, 0);
    const DDS_Duration_t time{1, 2};
    auto* payload = ORX_MonitoringLoggingPayload_createUpdate(
        &world.logging(), arena, "bad", ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 1, &time, service, nullptr, "N/A");
    payload->base->severity = static_cast<DDS_Monitoring_LoggingLevel>(99);
    int isPosted = 0;
    ASSERT_TRUE(ORX_MonitoringTaskExecutor_postTask(
        world.logging().executor, &isPosted, 0, payload, ORX_MonitoringLoggingPayload_delete));
    (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1);
    const auto end = std::chrono::steady_clock::now() + waitBound;
    while (!log.has("Logging update sample\n", "FAILED_TO_SEND") && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_TRUE(log.has("Logging update sample\n", "FAILED_TO_SEND")) << log.text();
    LoggingWorld::log("last", service);
    messages.clear();
    ASSERT_TRUE(world.reader->takeMessages(messages, 1));
    EXPECT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].message, "ERROR last") << "and nothing of facility middleware before it";
}

// Other workers are collected, and what follows from that ends by itself: one line, one message.
TEST_F(LoggingThreads, WhatAnotherWorkerLogsIsOneMessage) {
    start();
    std::thread([&] {
        ORXLogParamString_printWithParams(
            -1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_MONITORING, __FILE__, __LINE__, __func__, "%s", "worker");
    }).join();
    std::vector<LogMessageValue> messages;
    ASSERT_TRUE(world.reader->takeMessages(messages, 1));
    LoggingWorld::log("after", service);
    ASSERT_TRUE(world.reader->takeMessages(messages, 2));
    EXPECT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].message, "ERROR [|LC:Monitoring]worker");
    EXPECT_EQ(messages[1].message, "ERROR after");
}

// ---- No deadlock ----

TEST_F(LoggingThreads, AThreadThatHoldsEveryMutexOfItsKindMayLog) {
    start();
    world.lockLibrary();
    for (DDS_UnsignedLong i = 0; i < world.property.event.concurrency_level; ++i)
        Library::lockMetric(i);
    for (DDS_UnsignedLong i = 0; i < 2; ++i)
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, i, 1, 1, nullptr);
    LoggingWorld::log("service", service);
    LoggingWorld::log("user", user);
    ORXLogParamString_printWithParams(
        -1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_MONITORING, __FILE__, __LINE__, __func__, "%s", "line");
    for (DDS_UnsignedLong i = 0; i < 2; ++i)
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, i, 1);
    for (DDS_UnsignedLong i = 0; i < world.property.event.concurrency_level; ++i)
        Library::unlockMetric(i);
    world.unlockLibrary();
    std::vector<LogMessageValue> messages;
    EXPECT_TRUE(world.reader->takeMessages(messages, 3));
}

// Whoever logs waits for the mutex of its index and for nothing else: neither for DDS nor for the worker.
TEST_F(LoggingThreads, AThreadThatLogsDoesNotWaitForTheWorker) {
    start();
    // The worker waits at the writer.
    ASSERT_EQ(
        DDS_Entity_lock(DDS_DataWriter_as_entity(world.impl().entities->loggingWriter)), DDS_RETCODE_OK);
    auto logging = std::async(std::launch::async, [] {
        for (int i = 0; i < 2000; ++i)
            LoggingWorld::log("x", i % 2 == 0 ? service : user);
    });
    EXPECT_EQ(logging.wait_for(waitBound), std::future_status::ready);
    EXPECT_EQ(
        DDS_Entity_unlock(DDS_DataWriter_as_entity(world.impl().entities->loggingWriter)), DDS_RETCODE_OK);
    std::vector<LogMessageValue> messages;
    EXPECT_TRUE(world.reader->takeMessages(messages, 2000)) << messages.size();
}

// Two threads that log under each other's metric mutexes.
TEST_F(LoggingThreads, ThreadsLogUnderMetricMutexesOfEachOthersIndexes) {
    start();
    std::vector<std::thread> threads;
    for (DDS_UnsignedLong t = 0; t < 2; ++t)
        threads.emplace_back([t] {
            for (DDS_UnsignedLong i = 0; i < 300; ++i) {
                Library::lockMetric((i + t) % 3);
                LoggingWorld::log("x", i % 2 == 0 ? middleware : user);
                Library::unlockMetric((i + t) % 3);
            }
        });
    for (auto& thread : threads)
        thread.join();
    std::vector<LogMessageValue> messages;
    EXPECT_TRUE(world.reader->takeMessages(messages, 600)) << messages.size();
}

} // namespace
