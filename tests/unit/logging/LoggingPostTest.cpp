// From a thread that logs to the queue: what is taken, dropped, and numbered; and how the collector comes and
// goes.
#include "src/logging/MonitoringLogging.h"

#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "tests/helpers/HeapCount.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logging/LoggingWorld.hpp"
#include "zddscore/thread.h"

namespace {

using Texts = std::vector<std::string>;

constexpr auto user = ZDDS_CONFIG_LOG_FACILITY_USER;
constexpr auto service = ZDDS_CONFIG_LOG_FACILITY_SERVICE;
constexpr auto security = ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT;
constexpr auto middleware = ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE;

class LoggingPost : public ::testing::Test {
protected:
    void start() { ASSERT_TRUE(world.start()) << log.text(); }
    std::vector<LogMessageValue> published() {
        std::vector<LogMessageValue> all;
        for (const auto& sample : world.run())
            all.insert(all.end(), sample.messages.begin(), sample.messages.end());
        return all;
    }
    LogCapture log;
    LoggingWorld world;
};

TEST_F(LoggingPost, AMessageOfEachFacilityIsPublished) {
    start();
    EXPECT_TRUE(LoggingWorld::log("of a service", service));
    EXPECT_TRUE(LoggingWorld::log("of the middleware", middleware, "Discovery"));
    EXPECT_TRUE(LoggingWorld::log("of a user", user, "Mine"));
    EXPECT_TRUE(LoggingWorld::log("of security", security));
    const auto messages = published();
    ASSERT_EQ(messages.size(), 4U) << log.text();
    EXPECT_EQ(messages[0].message, "ERROR of a service");
    EXPECT_EQ(messages[0].facility, 22);
    EXPECT_EQ(messages[0].severity, DDS_Monitoring_LoggingLevel_ERROR_LEVEL);
    EXPECT_EQ(messages[0].msgid, "7");
    EXPECT_EQ(messages[0].category(), "N/A");
    EXPECT_GT(messages[0].seconds, 1'600'000'000);
    EXPECT_EQ(messages[1].message, "ERROR [|LC:Discovery]of the middleware");
    EXPECT_EQ(messages[1].category(), "Discovery");
    EXPECT_EQ(messages[1].facility, 23);
    EXPECT_EQ(messages[2].message, "of a user");
    EXPECT_EQ(messages[2].category(), "Mine");
    EXPECT_EQ(messages[2].facility, 1);
    EXPECT_EQ(messages[3].facility, 10);
    EXPECT_EQ(messages[3].category(), "N/A");
    for (const auto& message : messages) {
        EXPECT_EQ(message.sn, 0U) << "the first of its facility";
        EXPECT_FALSE(message.hasHeader);
    }
}

TEST_F(LoggingPost, TheDeviceDropsUserAndSecurityMessagesInSilence) {
    start();
    world.write("x", false, user);
    world.write("x", true, security);
    EXPECT_EQ(world.queued(), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LoggingPost, ASecurityMessageOfTheMiddlewareIsMarked) {
    start();
    world.write("text", true);
    world.write("[|LC:Discovery]text", true);
    const auto messages = published();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].category(), "Security");
    EXPECT_EQ(messages[1].category(), "Discovery,Security");
}

TEST_F(LoggingPost, AMessageIsOneBufferOfTheQueue) {
    start();
    const auto live = world.liveBuffers();
    EXPECT_TRUE(LoggingWorld::log("of a service", service));
    EXPECT_TRUE(LoggingWorld::log("of a user", user, "Mine"));
    EXPECT_EQ(world.liveBuffers(), live + 2);
}

TEST_F(LoggingPost, ATextIsWholeWhateverIsInItThatIsNoCategory) {
    start();
    const std::string text = "a|b [|L" + std::string(3000, 'x') + "|";
    EXPECT_TRUE(LoggingWorld::log(text.c_str(), service));
    EXPECT_TRUE(LoggingWorld::log("", service));
    const auto messages = published();
    ASSERT_EQ(messages.size(), 2U) << log.text();
    EXPECT_EQ(messages[0].message, "ERROR " + text);
    EXPECT_EQ(messages[0].category(), "N/A");
    EXPECT_EQ(messages[1].message, "ERROR ");
    EXPECT_EQ(messages[1].category(), "N/A");
}

TEST_F(LoggingPost, AMessageWithoutACategoryThatCanBeFormedIsDropped) {
    start();
    LoggingWorld::log("[|LC:Discovery text", service);
    EXPECT_TRUE(log.has("End of activity context category string")) << log.text();
    EXPECT_TRUE(log.has("Category from log message", "FAILED_TO_GET"));
    EXPECT_EQ(world.queued(), 0)
        << "nor do the lines about it become messages: they are logged in the device";
}

TEST_F(LoggingPost, TheForwardingLevelOfTheFacilityDecides) {
    world.property.logging.forwarding_level = {ZDDS_CONFIG_SYSLOG_VERBOSITY_ERROR,
        ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG,
        ZDDS_CONFIG_SYSLOG_VERBOSITY_EMERGENCY};
    start();
    const auto passes = [&](ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogLevel level) {
        return ORX_MonitoringLogging_shouldLogMessage(&world.logging(), facility, level) != 0;
    };
    EXPECT_TRUE(passes(middleware, ZDDS_CONFIG_SYSLOG_LEVEL_ERROR));
    EXPECT_FALSE(passes(middleware, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING));
    EXPECT_FALSE(passes(security, ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY));
    EXPECT_TRUE(passes(service, ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG));
    EXPECT_TRUE(passes(user, ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY));
    EXPECT_FALSE(passes(user, ZDDS_CONFIG_SYSLOG_LEVEL_ALERT));
    world.write("x", false, middleware, ZDDS_CONFIG_LOG_LEVEL_WARNING);
    EXPECT_TRUE(world.post("x", security));
    EXPECT_EQ(world.queued(), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_FALSE(passes(static_cast<ZDDS_Config_LogFacility>(5), ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY));
    EXPECT_TRUE(log.has("\n", "PRECONDITION"));
}

TEST_F(LoggingPost, APostedMessageBringsStructuredData) {
    start();
    DDS_Monitoring_StructuredDataMapEntrySeq data{};
    ASSERT_TRUE(DDS_Monitoring_StructuredDataMapEntrySeq_set_length(&data, 1));
    DDS_String_replace(&DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&data, 0)->key, "origin");
    EXPECT_TRUE(world.post("text", security, &data, "Access"));
    const auto messages = published();
    ASSERT_EQ(messages.size(), 1U) << log.text();
    EXPECT_EQ(messages[0].structuredData.count("origin"), 1U);
    EXPECT_EQ(messages[0].category(), "Access");
    EXPECT_EQ(messages[0].msgid, "9");
    EXPECT_EQ(messages[0].seconds, 56);
    EXPECT_EQ(world.liveBuffers(), 0U);
    (void)DDS_Monitoring_StructuredDataMapEntrySeq_finalize(&data);
}

TEST_F(LoggingPost, AnIndexBeyondTheLevelFails) {
    start();
    const DDS_Duration_t time{1, 2};
    EXPECT_FALSE(world.table->postLogMessage(
        world.table, "x", ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 0, &time, user, nullptr, nullptr, 1));
    EXPECT_TRUE(log.has("Logging executor memory manager at index 1\n", "FAILED_TO_GET")) << log.text();
}

TEST_F(LoggingPost, TheIndexIsTheThreadsRemainder) {
    world.property.logging.concurrency_level = 4;
    start();
    const auto queueOf = [&](ORX_UINT64 id) { return &world.logging().executor->queues[id % 4]; };
    auto* queue = queueOf(ORXOsapiThread_getCurrentThreadID());
    LoggingWorld::log("x", service);
    LoggingWorld::log("x", user);
    EXPECT_EQ(REDAInlineList_getSize(&queue->tasks), 2);
    std::thread([&] {
        auto* other = queueOf(ORXOsapiThread_getCurrentThreadID());
        const int before = REDAInlineList_getSize(&other->tasks);
        world.write("x");
        EXPECT_EQ(REDAInlineList_getSize(&other->tasks), before + 1);
    }).join();
}

TEST_F(LoggingPost, ALineOfTheMiddlewareBecomesAMessage) {
    start();
    ORXLogMessageParamString_printWithParams(-1, ORX_LOG_BIT_WARNING, ORX_LOG_MODULE_DDS, __FILE__, __LINE__,
        __func__, &ORX_LOG_FAILED_TO_CREATE_TEMPLATE, "%s", "a thing\n");
    const auto messages = published();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].message, "WARNING [|LC:DDS]failed to create: a thing");
    EXPECT_EQ(messages[0].category(), "DDS");
    EXPECT_EQ(messages[0].severity, DDS_Monitoring_LoggingLevel_WARNING_LEVEL);
    EXPECT_EQ(messages[0].facility, 23);
}

TEST_F(LoggingPost, NoMessageCallsTheHeapOnceTheArenaHasGrown) {
    if (!ORX_TESTS_COUNT_MALLOC)
        GTEST_SKIP() << "a sanitizer has a heap of its own";
    start();
    const std::string text(100, 'x');
    const auto logAll = [&] {
        for (int i = 0; i < 200; ++i) {
            LoggingWorld::log(text.c_str(), service);
            LoggingWorld::log(text.c_str(), middleware, "Discovery");
            LoggingWorld::log(text.c_str(), user, "Mine");
        }
    };
    for (int i = 0; i < 4; ++i) {
        logAll();
        (void)world.run();
    }
    const uint64_t before = heapCallsOfThisThread();
    logAll();
    EXPECT_EQ(heapCallsOfThisThread(), before);
    EXPECT_EQ(world.queued(), 600);
}

// ---- Coming and going ----

TEST_F(LoggingPost, AfterPrefinalizeTheDeviceDoesNothing) {
    start();
    ORX_MonitoringLogging& logging = world.logging();
    ZDDS_Config_LoggerDevice device = *logging.loggerDevice;
    ASSERT_TRUE(ORX_MonitoringLogging_prefinalize(&logging));
    EXPECT_EQ(logging.loggerDevice, nullptr);
    EXPECT_EQ(logging.activityKind, ORX_MONITORING_LOGGING_DISABLING_ACTIVITY_KIND);
    const ZDDS_Config_LogMessage message{
        "x", ZDDS_CONFIG_LOG_LEVEL_ERROR, DDS_BOOLEAN_FALSE, 0, {0, 0}, middleware};
    ORX_MonitoringLogging_loggerDeviceWrite(&device, &message);
    LoggingWorld::log("x", service);
    EXPECT_EQ(world.queued(), 0);
    EXPECT_TRUE(ORX_MonitoringLogging_prefinalize(&logging)) << "again";
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LoggingPost, WithoutALoggerADeviceCannotBeDetached) {
    start();
    ORX_MonitoringLogging& logging = world.logging();
    ZDDS_Config_Logger_finalize_instance();
    EXPECT_FALSE(ORX_MonitoringLogging_prefinalize(&logging));
    EXPECT_EQ(logging.activityKind, ORX_MONITORING_LOGGING_OTHER_ACTIVITY_KIND);
    EXPECT_NE(logging.loggerDevice, nullptr);
    EXPECT_FALSE(ORX_MonitoringLogging_delete(&logging)) << "a thread may be inside";
    EXPECT_TRUE(log.has("ORX_MonitoringLogging.\n", "FAILED_TO_FINALIZE")) << log.text();
    ASSERT_NE(ZDDS_Config_Logger_get_instance(), nullptr);
}

TEST_F(LoggingPost, PrefinalizeWaitsForAThreadInsideTheDevice) {
    start();
    ORX_MonitoringLogging& logging = world.logging();
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    std::promise<void> isLogging;
    auto thread = std::async(std::launch::async, [&] {
        isLogging.set_value();
        LoggingWorld::log("x", service); // waits for the mutex, inside the device
    });
    isLogging.get_future().get();
    auto detaching =
        std::async(std::launch::async, [&] { return ORX_MonitoringLogging_prefinalize(&logging); });
    EXPECT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1), 0);
    EXPECT_TRUE(detaching.get());
    thread.get();
}

TEST_F(LoggingPost, WithoutALoggerThereIsNoCollector) {
    ASSERT_TRUE(ORX_MonitoringHost_initialize());
    ZDDS_Config_Logger_finalize_instance();
    ASSERT_FALSE(world.Library::start());
    EXPECT_TRUE(log.has("Logger not initialized\n")) << log.text();
    EXPECT_TRUE(log.has("Monitoring logging thread with name oMo#####Logging", "FAILED_TO_CREATE"));
}

TEST_F(LoggingPost, AnUpdateOfNoMessagesIsRefused) {
    world.property.logging.max_logs_per_update = 0;
    EXPECT_FALSE(world.Library::start());
    EXPECT_TRUE(log.has("Logging update sequence buffer for 0 elements.", "FAILED_TO_LOAN")) << log.text();
}

TEST_F(LoggingPost, WhileTheLibraryStopsMessagesAreDroppedInSilence) {
    start();
    std::atomic<bool> isStopping{false};
    std::atomic<int> rounds{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] {
            while (!isStopping) {
                LoggingWorld::log("x", service);
                LoggingWorld::log("x", user);
                ++rounds;
            }
        });
    world.reader.reset();
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(world.stop());
        const int seen = rounds;
        while (rounds < seen + 4) // some without a library
            std::this_thread::yield();
        ASSERT_TRUE(world.Library::start());
    }
    isStopping = true;
    for (auto& thread : threads)
        thread.join();
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LoggingPost, AForkedChildDropsMessages) {
    start();
    std::promise<void> isHeld;
    std::promise<void> isOver;
    auto holder = std::async(std::launch::async, [&] { // a thread that the child does not have
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1, 1, nullptr);
        isHeld.set_value();
        isOver.get_future().get();
        EXPECT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1), 0);
    });
    isHeld.get_future().get();
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        LoggingWorld::log("x", service);
        LoggingWorld::log("x", user);
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    isOver.set_value();
    holder.get();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

} // namespace
