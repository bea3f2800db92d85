// All producers of the monitoring at once, for a while: pushes, log messages of every facility, also under
// the library's own locks, asserts, deletes, pauses, collectors that come and go, snapshots of the log,
// changes of levels, and commands of every kind. The sanitizers look for races and misuse; the test itself
// for calls that fail, commands without their reply, producers that starve, and messages that beget messages.
//
// ORX_STRESS_SECONDS is the length, 10 by default.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>

#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/logging/MonitoringLogging.h"
#include "src/monitoringClass/LoggingConfiguration.h"
#include "tests/unit/monitoringClass/Library.hpp"
#include "tests/unit/remoteAdministration/CommandWorld.hpp"
#include "zddsc/logger.h"
#include "zddscore/inline_memory.h"
#include "zddscore/log.h"
#include "zddscore/semaphore.h"
#include "zddscore/thread.h"
#include "gtest/gtest.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr DDS_UnsignedLong inconsistentTopicGroup = 3;
constexpr size_t fixedTopics = 4;
constexpr size_t passingTopics = 8;

double stressSeconds() {
    const char* text = std::getenv("ORX_STRESS_SECONDS");
    return text != nullptr ? std::atof(text) : 10;
}

class Stress : public testing::Test {
protected:
    explicit Stress(DDS_Duration_t polling = {0, 5'000'000}) : polling_(polling) {}
    void SetUp() override {
        library.property.event.initial_memory_size = 1024;
        library.property.event.gc_threshold = 3;
        library.property.event.publication_period = {0, 1'000'000};
        library.property.event.snapshot_delay = {0, 5'000'000};
        library.property.periodic.polling_period = polling_;
        library.property.logging.publication_period = {0, 1'000'000};
        library.property.logging.concurrency_level = 2;
        library.property.logging.max_historical_logs = 8;
        library.property.logging.max_logs_per_update = 16;
        library.select("//topics/*", "*");
        library.select("//domain_participants/*", "*");
        // The library's own lines are messages of the middleware, those of its workers too.
        ORXLog_setStderrEnabled(0);
        ORX_MonitoringLog_setBitmaps(~0U, ~0U);
        logger = ZDDS_Config_Logger_get_instance();
        ASSERT_NE(logger, nullptr);
        ASSERT_TRUE(library.start());
        sender = std::make_unique<Sender>(Library::domain);
        participant = library.participant("p");
        for (size_t i = 0; i < fixedTopics; ++i)
            topics[i] = library.topic(("fixed" + std::to_string(i)).c_str(), participant);
        for (DDS_Entity*& entity : passing)
            entity = library.newEntity(DDS_TOPIC_ENTITY_KIND);
    }
    void TearDown() override {
        ORX_MonitoringLog_setBitmaps(~0U, ORX_LOG_BIT_PRECONDITION | ORX_LOG_BIT_ERROR | ORX_LOG_BIT_WARNING);
        ORXLog_setStderrEnabled(1);
    }

    // A producer: called again and again until the end, with the number of the call.
    void add(const char* name, std::function<bool(unsigned)> produce) {
        counts.emplace_back(std::make_unique<std::atomic<unsigned>>(0));
        names.emplace_back(name);
        threads.emplace_back([this, name, produce, count = counts.back().get()] {
            for (unsigned round = 0; !ends; ++round) {
                if (!produce(round)) {
                    ADD_FAILURE() << name << " failed in round " << round;
                    return;
                }
                ++*count;
            }
        });
    }

    // No more than workers keep up with that share the machine with all producers, under a sanitizer at a
    // tenth of their speed: what they are behind stays in memory, up to gigabytes, and is published before
    // the end.
    void pace(unsigned round) {
        if (round % 128 != 127)
            return;
        constexpr size_t mostWaiting = 16U << 20U;
        do
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        while (!ends && waitingBytes() > mostWaiting);
    }
    // What lies in the queues of the workers.
    size_t waitingBytes() {
        return bytesOf(*library.impl().eventTaskExecutor->taskExecutor) +
               bytesOf(*library.impl().logging->executor);
    }
    static size_t bytesOf(const ORX_MonitoringTaskExecutor& executor) {
        size_t sum = 0;
        for (ORX_UINT32 i = 0; i < executor.queueCount; ++i) {
            const auto& queue = executor.queues[i];
            REDAInlineMemoryInfo info{};
            ORXOsapiSemaphore_take(queue.mutex, nullptr);
            REDAInlineMemory_getInfo(queue.memoryManager, &info);
            ORXOsapiSemaphore_give(queue.mutex);
            sum += info.usedBytes;
        }
        return sum;
    }
    bool logPaced(ZDDS_Config_LogFacility facility, unsigned round) {
        pace(round);
        return logAs(facility, round);
    }
    bool logAs(ZDDS_Config_LogFacility facility, unsigned round) {
        const auto level = static_cast<ZDDS_Config_SyslogLevel>(round % 8);
        return ZDDS_Config_Logger_log(logger, facility, level, round, round % 2 == 0 ? "Stress" : nullptr,
                   "a message under stress") != 0;
    }

    // Under the mutex that the message's own queue has, and under those of the events.
    bool logUnderLocks(unsigned round) {
        pace(round);
        const auto index = static_cast<DDS_UnsignedLong>(
            ORXOsapiThread_getCurrentThreadID() % library.property.logging.concurrency_level);
        const auto kind = round % 2 == 0 ? ORX_MONITORING_LOCK_KIND_LOGGING : ORX_MONITORING_LOCK_KIND_METRIC;
        if (ORX_Monitoring_lockI(kind, index, 1, 1, nullptr) != ORX_MONITORING_LOCK_RESULT_OK)
            return false;
        const bool isLogged =
            logAs(ZDDS_CONFIG_LOG_FACILITY_SERVICE, round) && logAs(ZDDS_CONFIG_LOG_FACILITY_USER, round);
        return ORX_Monitoring_unlockI(kind, index, 1) == 0 && isLogged;
    }

    bool assertAndDelete(unsigned round) {
        pace(round);
        DDS_Entity* entity = passing[round % passingTopics];
        auto* topic = library.assertResource(
            ORX_MONITORING_TOPIC_CLASS_ID, ("passing" + std::to_string(round)).c_str(), participant, entity);
        if (topic == nullptr)
            return false;
        const DDS_Monitoring_InconsistentTopicStatus status{1, 1};
        const bool isPushed = library.push(topic, inconsistentTopicGroup, &status);
        library.deleteResource(topic);
        return isPushed;
    }

    bool pauseAndResume(unsigned round) {
        pace(round);
        auto* topic = topics[round % fixedTopics];
        Library::lockLibrary();
        const bool isDone = library.table->pauseResourceMetricsFunction(library.table, topic) != 0 &&
                            library.table->resumeResourceMetricsFunction(library.table, topic) != 0;
        Library::unlockLibrary();
        return isDone;
    }

    bool changeLevels(unsigned round) {
        constexpr ZDDS_Config_SyslogVerbosity verbosities[] = {ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT,
            ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG};
        const auto verbosity = verbosities[round % 3];
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // other producers have the stage
        return ZDDS_Config_Logger_set_verbosity_by_facilityI(
                   logger, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, verbosity, 1) != 0;
    }

    // One command after the other, each with the reply that it is due. Requests of the registry are paced.
    bool command(unsigned round) {
        constexpr auto warning = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING;
        constexpr auto debug = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_DEBUG;
        const auto level = round % 16 < 8 ? warning : debug;
        switch (round % 8) {
        case 0:
            return isDone(SetMetrics({{"//topics/*", {"*"}}}));
        case 1:
            return isDone(UpdateMetrics({{"//domain_participants/*", {}, {"*"}}}));
        case 2:
            return isDone(SetMetrics({{"//topics/passing*", {"dds_*"}}, {"//topics/fixed1", {}}}));
        case 3:
            return isDone(SetForwarding({{"//applications/*", {{23, level}, {22, level}, {1, level}}}}));
        case 4:
            return isDone(SetCollection({{"/applications/app", {{22, level}, {1, debug}}}}));
        case 5:
            return codeOf(Command(operation::unsubscribe)) == DDS_MONITORING_COMMAND_INTERNAL_ERROR;
        case 6:
            return round % 128 != 6 || isDone(RequestRegistry({"/applications/app"}));
        default:
            return isDone(UpdateMetrics({{"//*", {"*"}}}));
        }
    }
    bool isDone(const Command& command) { return codeOf(command) == DDS_MONITORING_COMMAND_NO_ERROR; }
    int codeOf(const Command& command) {
        const auto answer = sender->ask(library.impl().entities->participant, command);
        return answer ? answer->code : -1;
    }

    // A collector comes, sees the snapshot of the root at least, and goes.
    bool collect(unsigned) {
        EventReader reader{Library::domain};
        EventSamples samples;
        return reader.takeUntil(samples, 1);
    }

    ORX_UINT64 messages() {
        ORX_UINT64 sum = 0;
        for (const ORX_UINT64 number : library.impl().logging->sequenceNumber)
            sum += number;
        return sum;
    }

    std::atomic<bool> ends{false};
    Library library;
    std::unique_ptr<Sender> sender; // of commands
    ZDDS_Config_Logger* logger = nullptr;
    ORX_MonitoringResource* participant = nullptr;
    ORX_MonitoringResource* topics[fixedTopics] = {};
    DDS_Entity* passing[passingTopics] = {};
    std::vector<std::unique_ptr<std::atomic<unsigned>>> counts;
    std::vector<std::string> names;
    std::vector<std::thread> threads;

private:
    const DDS_Duration_t polling_;
};

TEST_F(Stress, AllProducersTogether) {
    for (size_t i = 0; i < 2; ++i) {
        add("push", [this, i](unsigned round) {
            pace(round);
            const DDS_Monitoring_InconsistentTopicStatus status{static_cast<DDS_Long>(round), 1};
            return library.push(topics[(i + round) % fixedTopics], inconsistentTopicGroup, &status);
        });
    }
    add("user message", [this](unsigned round) { return logPaced(ZDDS_CONFIG_LOG_FACILITY_USER, round); });
    add("middleware message",
        [this](unsigned round) { return logPaced(ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, round); });
    add("message under locks", [this](unsigned round) { return logUnderLocks(round); });
    add("assert and delete", [this](unsigned round) { return assertAndDelete(round); });
    add("pause and resume", [this](unsigned round) { return pauseAndResume(round); });
    add("command", [this](unsigned round) { return command(round); });
    add("levels", [this](unsigned round) { return changeLevels(round); });
    add("snapshot of the log", [this](unsigned) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return ORX_MonitoringLogging_postSnapshot(library.impl().logging) != 0;
    });
    add("collector", [this](unsigned round) { return collect(round); });
    const auto end = Clock::now() + std::chrono::duration<double>(stressSeconds());
    while (Clock::now() < end && !HasFailure())
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ends = true;
    for (std::thread& thread : threads)
        thread.join();
    for (size_t i = 0; i < counts.size(); ++i) {
        EXPECT_GT(*counts[i], 0U) << names[i];
        std::printf("%-22s %u\n", names[i].c_str(), counts[i]->load());
    }
    EXPECT_TRUE(library.stop());
}

// Each pass of the periodic collector tells something.
class StressWithoutPolls : public Stress {
protected:
    StressWithoutPolls() : Stress({3600, 0}) {}
};

// What the workers log about their own work is no work for them: once nobody produces, the messages end.
TEST_F(StressWithoutPolls, MessagesBegetNoMessages) {
    ZDDS_Config_Logger_set_verbosity_by_facilityI(
        logger, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, 1);
    ORX_MonitoringLoggingVerbositySetting_t setting;
    ORX_MonitoringLoggingVerbositySetting_t_initialize(&setting);
    setting.user = setting.service = setting.middleware = ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG;
    ORX_Monitoring_setLoggingForwardingLevelFromProperty(library.table, &setting);
    for (unsigned round = 0; round < 1000; ++round)
        ASSERT_TRUE(logUnderLocks(round));
    // Two looks alike, a while apart; the workers wake up many times in between.
    ORX_UINT64 before = 0;
    bool isQuiet = false;
    for (int look = 0; look < 100 && !isQuiet; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        const ORX_UINT64 now = messages();
        isQuiet = now == before;
        before = now;
    }
    EXPECT_TRUE(isQuiet) << before;
    EXPECT_GE(before, 1000U);
    EXPECT_TRUE(library.stop());
}

} // namespace
