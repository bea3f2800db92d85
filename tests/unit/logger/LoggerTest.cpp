// Messages of programs: what the logger takes, drops and hands on, and whom a change of verbosity is told.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <future>
#include <map>
#include <thread>

#include "tests/helpers/HeapCount.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/Wait.hpp"
#include "tests/unit/logger/RecordingDevice.hpp"
#include "zddsc/monitoring.h"
#include "zddscore/thread.h"

namespace {

using namespace std::chrono_literals;

constexpr auto user = ZDDS_CONFIG_LOG_FACILITY_USER;
constexpr auto service = ZDDS_CONFIG_LOG_FACILITY_SERVICE;
constexpr auto security = ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT;
constexpr auto middleware = ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE;
constexpr auto warning = ZDDS_CONFIG_SYSLOG_LEVEL_WARNING;

class Logger : public ::testing::Test {
protected:
    ~Logger() override { ZDDS_Config_Logger_finalize_instance(); }
    int log(ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogLevel level, const char* text,
        const char* category = nullptr) {
        return ZDDS_Config_Logger_log(logger, facility, level, 7, category, text);
    }
    int set(ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogVerbosity verbosity, int notify = 1) {
        return ZDDS_Config_Logger_set_verbosity_by_facilityI(
            logger, facility, ZDDS_Config_LogVerbosity_from_syslog_verbosity(verbosity), notify);
    }
    LogCapture lines;
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
};

TEST_F(Logger, IsOneAndMadeByTheFirstWhoAsks) {
    EXPECT_TRUE(ZDDS_Config_Logger_is_initialized());
    EXPECT_EQ(ZDDS_Config_Logger_get_instance(), logger);
    ZDDS_Config_Logger_finalize_instance();
    EXPECT_FALSE(ZDDS_Config_Logger_is_initialized());
}

TEST_F(Logger, VerbositiesStartAtWarningAndAreOneForEachFacility) {
    for (const auto facility : {user, service, security, middleware})
        EXPECT_EQ(ZDDS_Config_Logger_get_verbosity_by_facility(logger, facility), 31U);
    EXPECT_TRUE(set(service, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG));
    EXPECT_EQ(ZDDS_Config_Logger_get_verbosity_by_facility(logger, service), 255U);
    EXPECT_EQ(ZDDS_Config_Logger_get_verbosity_by_facility(logger, user), 31U);
    EXPECT_FALSE(set(static_cast<ZDDS_Config_LogFacility>(5), ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG));
    EXPECT_EQ(
        ZDDS_Config_Logger_get_verbosity_by_facility(logger, static_cast<ZDDS_Config_LogFacility>(5)), 0U);
}

TEST_F(Logger, AMessageReachesTheDevicesWithItsLevelsWordInFront) {
    RecordingDevice device;
    EXPECT_TRUE(log(service, warning, "text"));
    ASSERT_EQ(device.messages().size(), 1U);
    const auto message = device.messages()[0];
    EXPECT_EQ(message.text, "WARNING text");
    EXPECT_EQ(message.level, ZDDS_CONFIG_LOG_LEVEL_WARNING);
    EXPECT_EQ(message.id, 7U);
    EXPECT_EQ(message.facility, service);
    EXPECT_FALSE(message.isSecurity);
}

TEST_F(Logger, EveryLevelHasItsWord) {
    RecordingDevice device;
    set(service, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    for (int level = ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY; level <= ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG; ++level)
        log(service, static_cast<ZDDS_Config_SyslogLevel>(level), "");
    EXPECT_EQ(device.texts(), (std::vector<std::string>{"EMERGENCY ", "ALERT ", "CRITICAL ", "ERROR ",
                                  "WARNING ", "NOTICE ", "INFORMATIONAL ", "DEBUG "}));
}

TEST_F(Logger, WhatNobodyCollectsIsNoError) {
    RecordingDevice device;
    EXPECT_TRUE(log(service, ZDDS_CONFIG_SYSLOG_LEVEL_NOTICE, "text"));
    EXPECT_TRUE(device.messages().empty());
}

TEST_F(Logger, BadArgumentsFail) {
    EXPECT_FALSE(ZDDS_Config_Logger_log(nullptr, user, warning, 0, nullptr, ""));
    EXPECT_FALSE(log(user, warning, nullptr));
    EXPECT_FALSE(log(static_cast<ZDDS_Config_LogFacility>(2), warning, "x"));
    if (ORX_TESTS_COUNT_MALLOC) { // a sanitizer lets no C++ program have such a value
        EXPECT_FALSE(log(user, std::bit_cast<ZDDS_Config_SyslogLevel>(8), "x"));
    }
    EXPECT_FALSE(log(user, warning, "x", std::string(36, 'c').c_str()));
    EXPECT_FALSE(log(user, warning, "x", "a]b"));
    EXPECT_TRUE(log(user, warning, "", std::string(35, 'c').c_str()));
}

TEST_F(Logger, ACategoryStandsInAnActivityContextInFront) {
    RecordingDevice device;
    EXPECT_TRUE(log(middleware, warning, "text", "Discovery"));
    EXPECT_TRUE(log(middleware, warning, "text", ""));
    EXPECT_EQ(device.texts(), (std::vector<std::string>{"WARNING [|LC:Discovery]text", "WARNING text"}));
}

TEST_F(Logger, ALongTextIsCutAtACharacter) {
    RecordingDevice device;
    const std::string most(4000, 'a');
    log(service, warning, most.c_str());
    log(service, warning, (most + "b").c_str());
    log(service, warning, (most.substr(1) + "\xC3\xA4").c_str());
    log(service, warning,
        (most.substr(2) + "\xE2\x82\xAC"
                          "b")
            .c_str(),
        "C");
    log(service, warning, std::string(4100, '\x80').c_str());
    const std::string word = "WARNING ";
    EXPECT_EQ(device.texts(), (std::vector<std::string>{word + most, word + most, word + most.substr(1),
                                  word + "[|LC:C]" + most.substr(2), word + std::string(4000, '\x80')}));
}

TEST_F(Logger, UserAndSecurityMessagesReachNoDevice) {
    RecordingDevice device;
    EXPECT_TRUE(log(user, warning, "x"));
    EXPECT_TRUE(log(security, warning, "x"));
    EXPECT_TRUE(device.messages().empty());
}

TEST_F(Logger, NoMessageCallsTheHeap) {
    if (!ORX_TESTS_COUNT_MALLOC)
        GTEST_SKIP() << "a sanitizer has a heap of its own";
    static int written = 0;
    ZDDS_Config_LoggerDevice device{nullptr, [](auto*, const auto*) { ++written; }, nullptr};
    ASSERT_TRUE(ADVLOGLogger_setDevice(2, ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), 0, 0));
    log(service, warning, "warm");
    const uint64_t before = heapCallsOfThisThread();
    for (int i = 0; i < 100; ++i)
        log(service, warning, std::to_string(i).c_str(), "Category");
    EXPECT_EQ(heapCallsOfThisThread(), before);
    EXPECT_EQ(written, 101);
    EXPECT_TRUE(ADVLOGLogger_setDevice(2, nullptr, 0, 0));
}

// ---- The listener ----

struct Told {
    static void tell(void* context, ZDDS_Config_LogFacility facility, ZDDS_Config_LogVerbosity verbosity) {
        auto& self = *static_cast<Told*>(context);
        std::lock_guard lock(self.mutex);
        ++self.count;
        self.last[facility] = verbosity;
    }
    std::mutex mutex;
    int count = 0;
    std::map<ZDDS_Config_LogFacility, ZDDS_Config_LogVerbosity> last;
};

TEST_F(Logger, TheListenerHearsOfChangesAlone) {
    Told told;
    ZDDS_Config_Logger_set_verbosity_listener(logger, &Told::tell, &told);
    set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING);
    EXPECT_EQ(told.count, 0);
    set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    set(security, ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT, 0);
    EXPECT_EQ(told.count, 2);
    EXPECT_EQ(told.last[user], 255U);
    EXPECT_EQ(told.last[security], 0U);
    ZDDS_Config_Logger_set_verbosity_listener(logger, nullptr, nullptr);
    set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_ERROR);
    EXPECT_EQ(told.count, 2);
}

TEST_F(Logger, TheListenerMayLogAndChangeAVerbosity) {
    RecordingDevice device;
    static ZDDS_Config_Logger* theLogger;
    theLogger = logger;
    ZDDS_Config_Logger_set_verbosity_listener(
        logger,
        [](void*, ZDDS_Config_LogFacility facility, ZDDS_Config_LogVerbosity) {
            ZDDS_Config_Logger_log(theLogger, service, warning, 0, nullptr, "told");
            ZDDS_Config_Logger_set_verbosity_by_facilityI(theLogger, facility, 15, 0);
        },
        nullptr);
    set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, 0);
    EXPECT_EQ(ZDDS_Config_Logger_get_verbosity_by_facility(logger, user), 15U);
    EXPECT_EQ(device.texts(), (std::vector<std::string>{"WARNING told", "WARNING told"}))
        << "once for each value";
}

TEST_F(Logger, TheListenerEndsUpWithTheValueThatStands) {
    Told told;
    ZDDS_Config_Logger_set_verbosity_listener(logger, &Told::tell, &told);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 3; ++i)
        threads.emplace_back([this, i] {
            for (unsigned n = 0; n < 2000; ++n)
                ZDDS_Config_Logger_set_verbosity_by_facilityI(logger, user, (n * 3 + i) & 0xFF, 0);
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(told.last[user], ZDDS_Config_Logger_get_verbosity_by_facility(logger, user));
}

// ---- The library ----

struct StubLibrary {
    static inline ORX_MonitoringClass object{};
    static inline std::function<void()> onPost;
    static inline std::function<void()> onChange;
    static inline std::vector<std::string> posts;
    static inline std::vector<DDS_UnsignedLong> indexes;
    static inline int changes = 0;

    static ORX_MonitoringClass* create(DDS_DomainParticipantFactory*, const ORX_MonitoringProperty_t*) {
        object = {};
        object.prefinalizeFunction = [](ORX_MonitoringClass*) { return DDS_BOOLEAN_TRUE; };
        object.deleteFunction = [](ORX_MonitoringClass*) {};
        object.postLogMessage = &post;
        object.onLoggingCollectionChange = [](ORX_MonitoringClass*) {
            ++changes;
            if (onChange)
                onChange();
            return DDS_BOOLEAN_TRUE;
        };
        return &object;
    }
    static DDS_Boolean post(ORX_MonitoringClass*, const char* text, ZDDS_Config_SyslogLevel severity,
        DDS_UnsignedLong messageId, const DDS_Duration_t* timestamp, ZDDS_Config_LogFacility facility,
        const void* structuredData, const char* category, DDS_UnsignedLong index) {
        EXPECT_EQ(structuredData, nullptr);
        EXPECT_GT(timestamp->sec, 1'600'000'000);
        posts.push_back(std::to_string(facility) + " " + std::to_string(severity) + " " +
                        std::to_string(messageId) + " " + (category != nullptr ? category : "-") + " " +
                        text);
        indexes.push_back(index);
        if (onPost)
            onPost();
        return DDS_BOOLEAN_TRUE;
    }
};

class LoggerAndLibrary : public Logger {
protected:
    LoggerAndLibrary() {
        StubLibrary::onPost = StubLibrary::onChange = nullptr;
        StubLibrary::posts.clear();
        StubLibrary::indexes.clear();
        StubLibrary::changes = 0;
        EXPECT_TRUE(ORX_MonitoringProperty_t_initialize(&property));
        property.logging.concurrency_level = 4;
        EXPECT_TRUE(ORX_MonitoringHost_set_create_function(&StubLibrary::create));
        EXPECT_NE(ORX_MonitoringHost_start(&property), nullptr);
    }
    ~LoggerAndLibrary() override {
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        ORX_MonitoringHost_finalize();
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    }
    ORX_MonitoringProperty_t property;
};

TEST_F(LoggerAndLibrary, UserAndSecurityMessagesArePostedWithTheIndexOfTheirThread) {
    EXPECT_TRUE(log(user, warning, "hello"));
    EXPECT_TRUE(log(security, ZDDS_CONFIG_SYSLOG_LEVEL_ALERT, "intruder", "Access"));
    EXPECT_EQ(StubLibrary::posts, (std::vector<std::string>{"1 4 7 - hello", "10 1 7 Access intruder"}));
    const auto index = static_cast<DDS_UnsignedLong>(ORXOsapiThread_getCurrentThreadID() % 4);
    EXPECT_EQ(StubLibrary::indexes, (std::vector<DDS_UnsignedLong>{index, index}));
}

TEST_F(LoggerAndLibrary, ALongTextIsCutForALibraryToo) {
    log(user, warning, std::string(4001, 'a').c_str());
    EXPECT_EQ(StubLibrary::posts, std::vector<std::string>{"1 4 7 - " + std::string(4000, 'a')});
}

TEST_F(LoggerAndLibrary, APostHoldsTheLoggingMutexOfItsIndex) {
    StubLibrary::onPost = [] {
        const DDS_UnsignedLong index = StubLibrary::indexes.back();
        const DDS_Duration_t none{0, 0};
        EXPECT_EQ(
            std::async(std::launch::async,
                [&] { return ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, index, 1, 1, &none); })
                .get(),
            ORX_MONITORING_LOCK_RESULT_TIMEOUT);
    };
    log(user, warning, "x");
    EXPECT_EQ(StubLibrary::posts.size(), 1U);
}

TEST_F(LoggerAndLibrary, AProgramsThreadNeverWaitsForTheLibraryLock) {
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    std::async(std::launch::async, [&] {
        log(user, warning, "x");
        set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    }).get();
    ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
    EXPECT_EQ(StubLibrary::posts.size(), 1U);
    EXPECT_EQ(StubLibrary::changes, 1);
}

TEST_F(LoggerAndLibrary, AMessageLoggedUnderTheThreadsOwnLoggingMutexIsPosted) {
    const auto index = static_cast<DDS_UnsignedLong>(ORXOsapiThread_getCurrentThreadID() % 4);
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, index, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    log(user, warning, "x");
    EXPECT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, index, 1), 0);
    EXPECT_EQ(StubLibrary::posts.size(), 1U);
}

TEST_F(LoggerAndLibrary, WhatIsLoggedInsideAPostMakesNoMessage) {
    RecordingDevice device;
    StubLibrary::onPost = [&] {
        log(user, warning, "again");
        log(service, warning, "again");
        ORXLogParamString_printWithParams(
            -1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_DDS, __FILE__, __LINE__, __func__, "%s", "trouble");
    };
    log(user, warning, "x");
    EXPECT_EQ(StubLibrary::posts.size(), 1U);
    EXPECT_TRUE(device.messages().empty());
    EXPECT_TRUE(lines.has("trouble"));
}

TEST_F(LoggerAndLibrary, WithoutAnEnabledLibraryAMessageIsDropped) {
    EXPECT_TRUE(ORX_MonitoringHost_stop());
    EXPECT_TRUE(log(user, warning, "x"));
    EXPECT_TRUE(StubLibrary::posts.empty());
    EXPECT_TRUE(set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG));
    EXPECT_EQ(StubLibrary::changes, 0);
}

TEST_F(LoggerAndLibrary, IsToldOfAChangeUnderTheMetricMutexOfIndexZero) {
    StubLibrary::onChange = [this] {
        const DDS_Duration_t none{0, 0};
        EXPECT_EQ(std::async(std::launch::async,
                      [&] {
                          // The logger's own state is free meanwhile.
                          EXPECT_TRUE(set(service, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, 0));
                          return ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, 0, 1, 1, &none);
                      })
                      .get(),
            ORX_MONITORING_LOCK_RESULT_TIMEOUT);
        EXPECT_EQ(ZDDS_Config_Logger_get_verbosity_by_facility(logger, user), 255U);
    };
    set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    EXPECT_EQ(StubLibrary::changes, 1);
}

TEST_F(LoggerAndLibrary, IsNotToldWhatItDidItselfOrWhatIsNoChange) {
    set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG, 0);
    set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
    EXPECT_EQ(StubLibrary::changes, 0);
}

TEST_F(LoggerAndLibrary, StopWaitsForAThreadThatPosts) {
    Gate gate;
    std::atomic<bool> isInside{false};
    StubLibrary::onPost = [&] {
        isInside = true;
        EXPECT_TRUE(gate.pass());
        isInside = false;
    };
    auto logging = std::async(std::launch::async, [&] { log(user, warning, "x"); });
    ASSERT_TRUE(gate.isReached());
    auto stopping = std::async(std::launch::async, [&] {
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        return isInside.load();
    });
    EXPECT_EQ(stopping.wait_for(20ms), std::future_status::timeout);
    gate.open();
    ASSERT_EQ(stopping.wait_for(waitBound), std::future_status::ready);
    EXPECT_FALSE(stopping.get());
    logging.get();
}

TEST_F(LoggerAndLibrary, ThreadsLogWhileItComesAndGoes) {
    std::atomic<bool> isStopping{false};
    std::atomic<int> rounds{0};
    StubLibrary::onPost = [] { StubLibrary::posts.clear(); };
    EXPECT_TRUE(ORX_MonitoringHost_stop());
    property.logging.concurrency_level = 1; // the stub counts without a lock of its own
    ASSERT_NE(ORX_MonitoringHost_start(&property), nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] {
            while (!isStopping) {
                log(user, warning, "x");
                ++rounds;
            }
        });
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        ASSERT_NE(ORX_MonitoringHost_start(&property), nullptr);
    }
    isStopping = true;
    for (auto& thread : threads)
        thread.join();
}

TEST_F(LoggerAndLibrary, InAForkedChildAMessageIsDroppedWithoutALock) {
    Gate gate;
    StubLibrary::onPost = [&] { EXPECT_TRUE(gate.pass()); };
    property.logging.concurrency_level = 1;
    ORX_MonitoringHost_stop();
    ASSERT_NE(ORX_MonitoringHost_start(&property), nullptr);
    auto logging = std::async(std::launch::async, [&] { log(user, warning, "x"); });
    ASSERT_TRUE(gate.isReached());
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        const bool isFine = log(user, warning, "x") && log(service, warning, "x") &&
                            set(user, ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG);
        _exit(isFine ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    gate.open();
    logging.get();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

} // namespace
