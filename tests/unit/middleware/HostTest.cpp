// The host's records and locks, with a library that is a stand-in.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>

#include "tests/unit/middleware/FailingHeap.hpp"
#include "tests/unit/middleware/LogCapture.hpp"
#include "zddsc/monitoring.h"

namespace {

using namespace std::chrono_literals;

// ---- a library that only remembers ----

struct StubLibrary {
    static inline ORX_MonitoringClass object{};
    static inline bool createFails = false;
    static inline bool prefinalizeFails = false;
    static inline int deletes = 0;
    static inline bool wasEnabledInCreate = false;
    static inline ORX_MonitoringLockResult lockResultOfOthersInCreate = ORX_MONITORING_LOCK_RESULT_OK;
    static inline DDS_UnsignedLong eventLevel = 0;
    static inline DDS_UnsignedLong loggingLevel = 0;

    static ORX_MonitoringClass* create(
        DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
        EXPECT_NE(factory, nullptr);
        EXPECT_NE(property, nullptr);
        wasEnabledInCreate = ORX_MonitoringHost_is_enabled();
        // A snapshot thread that looks for the library at this moment finds the lock busy.
        std::thread([] {
            const DDS_Duration_t shortly{0, 1'000'000U};
            lockResultOfOthersInCreate =
                ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 0, 0, &shortly);
        }).join();
        const ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
        EXPECT_EQ(globals.monitoringClass, nullptr);
        eventLevel = globals.eventConcurrency.level;
        loggingLevel = globals.loggingConcurrency.level;
        for (DDS_UnsignedLong i = 0; i < eventLevel; ++i)
            EXPECT_NE(globals.eventConcurrency.mutexPool[i], nullptr);
        for (DDS_UnsignedLong i = 0; i < loggingLevel; ++i)
            EXPECT_NE(globals.loggingConcurrency.mutexPool[i], nullptr);
        object.prefinalizeFunction = [](ORX_MonitoringClass*) -> DDS_Boolean { return !prefinalizeFails; };
        object.deleteFunction = [](ORX_MonitoringClass*) { ++deletes; };
        return createFails ? nullptr : &object;
    }
};

class Host : public ::testing::Test {
protected:
    Host() {
        StubLibrary::createFails = StubLibrary::prefinalizeFails = false;
        StubLibrary::deletes = 0;
        EXPECT_TRUE(ORX_MonitoringProperty_t_initialize(&property));
    }
    ~Host() override {
        StubLibrary::prefinalizeFails = false;
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        ORX_MonitoringHost_finalize();
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    }
    void start() {
        ASSERT_TRUE(ORX_MonitoringHost_set_create_function(&StubLibrary::create));
        ASSERT_EQ(ORX_MonitoringHost_start(&property), &StubLibrary::object);
    }
    static ORX_MonitoringLockResult lock(ORX_MonitoringLockKind kind, DDS_UnsignedLong index, int a, int b) {
        return ORX_Monitoring_lockI(kind, index, a, b, nullptr);
    }

    LogCapture log;
    ORX_MonitoringProperty_t property;
};

constexpr auto library = ORX_MONITORING_LOCK_KIND_LIBRARY;
constexpr auto metric = ORX_MONITORING_LOCK_KIND_METRIC;
constexpr auto logging = ORX_MONITORING_LOCK_KIND_LOGGING;

TEST_F(Host, GlobalsAreNullUntilInitializedAndMadeOnce) {
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance(), nullptr);
    ASSERT_TRUE(ORX_MonitoringHost_initialize());
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    ASSERT_NE(globals, nullptr);
    EXPECT_NE(globals->mutex, nullptr);
    ASSERT_NE(globals->eventClock, nullptr);
    ORXNtpTime time;
    EXPECT_TRUE(globals->eventClock->getTime(globals->eventClock, &time));
    EXPECT_TRUE(ORX_MonitoringHost_initialize());
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance(), globals);
}

TEST_F(Host, StartHoldsTheLibraryLockUntilTheObjectStands) {
    start();
    EXPECT_FALSE(StubLibrary::wasEnabledInCreate);
    EXPECT_EQ(StubLibrary::lockResultOfOthersInCreate, ORX_MONITORING_LOCK_RESULT_TIMEOUT);
    EXPECT_TRUE(ORX_MonitoringHost_is_enabled());
    const ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
    EXPECT_EQ(globals.monitoringClass, &StubLibrary::object);
    EXPECT_EQ(globals.libraryEpoch, 1U);
    EXPECT_EQ(globals.eventConcurrency.level, 5U);
    EXPECT_EQ(globals.loggingConcurrency.level, 5U);
}

TEST_F(Host, LevelZeroStillHasOneQueue) {
    property.event.concurrency_level = 0;
    property.logging.concurrency_level = 3;
    start();
    EXPECT_EQ(StubLibrary::eventLevel, 1U);
    EXPECT_EQ(StubLibrary::loggingLevel, 3U);
    EXPECT_EQ(lock(metric, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
    EXPECT_EQ(ORX_Monitoring_unlockI(metric, 0, 1), 0);
}

TEST_F(Host, AnAbsurdLevelIsRefused) {
    property.event.concurrency_level = 1'000'000;
    ASSERT_TRUE(ORX_MonitoringHost_set_create_function(&StubLibrary::create));
    EXPECT_EQ(ORX_MonitoringHost_start(&property), nullptr);
    EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
}

TEST_F(Host, StartsOnceAndAgainAfterAStop) {
    start();
    EXPECT_EQ(ORX_MonitoringHost_start(&property), nullptr);
    EXPECT_TRUE(ORX_MonitoringHost_stop());
    EXPECT_EQ(StubLibrary::deletes, 1);
    EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->monitoringClass, nullptr);
    EXPECT_TRUE(ORX_MonitoringHost_stop());
    EXPECT_EQ(StubLibrary::deletes, 1);
    property.event.concurrency_level = 7;
    ASSERT_EQ(ORX_MonitoringHost_start(&property), &StubLibrary::object);
    EXPECT_EQ(StubLibrary::eventLevel, 7U);
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->libraryEpoch, 2U);
    EXPECT_TRUE(ORX_MonitoringHost_stop());
    property.event.concurrency_level = 2;
    ASSERT_EQ(ORX_MonitoringHost_start(&property), &StubLibrary::object);
    EXPECT_EQ(lock(metric, 2, 1, 1), ORX_MONITORING_LOCK_RESULT_ERROR);
}

TEST_F(Host, StartWithoutALibraryFails) {
    EXPECT_EQ(ORX_MonitoringHost_start(&property), nullptr);
    EXPECT_EQ(ORX_MonitoringHost_start(nullptr), nullptr);
}

TEST_F(Host, AThreadThatDoesNotEndKeepsItsObject) {
    start();
    StubLibrary::prefinalizeFails = true;
    EXPECT_FALSE(ORX_MonitoringHost_stop());
    EXPECT_EQ(StubLibrary::deletes, 0);
    EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->monitoringClass, &StubLibrary::object);
}

TEST_F(Host, AFailedStartLeavesNothing) {
    for (long n = 1; n < 100; ++n) {
        FailingHeap heap(n);
        StubLibrary::createFails = n % 2 == 0;
        const bool isReady = ORX_MonitoringHost_set_create_function(&StubLibrary::create);
        const bool isStarted = isReady && ORX_MonitoringHost_start(&property) != nullptr;
        EXPECT_EQ(isStarted, !heap.hasFailed() && !StubLibrary::createFails) << n;
        if (isReady && !isStarted) {
            const ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
            EXPECT_EQ(globals.monitoringClass, nullptr);
            EXPECT_EQ(globals.eventConcurrency.level, 0U);
            EXPECT_EQ(globals.eventConcurrency.mutexPool, nullptr);
            EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
        }
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        ORX_MonitoringHost_finalize();
        EXPECT_EQ(heap.live(), 0) << n;
        if (isStarted)
            break;
    }
}

TEST_F(Host, NotEnabledBeforeAndAfter) {
    ASSERT_TRUE(ORX_MonitoringHost_initialize());
    EXPECT_EQ(lock(library, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_NOT_ENABLED);
    EXPECT_EQ(lock(library, 0, 0, 0), ORX_MONITORING_LOCK_RESULT_NOT_ENABLED);
    EXPECT_EQ(lock(metric, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_NOT_ENABLED);
    EXPECT_EQ(lock(logging, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_NOT_ENABLED);
    start();
    EXPECT_EQ(lock(library, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
    EXPECT_EQ(ORX_Monitoring_unlockI(library, 0, 1), 0);
    EXPECT_TRUE(ORX_MonitoringHost_stop());
    EXPECT_EQ(lock(library, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_NOT_ENABLED);
    EXPECT_EQ(lock(metric, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_NOT_ENABLED);
}

TEST_F(Host, LocksAreRecursive) {
    start();
    for (const auto kind : {library, metric, logging}) {
        EXPECT_EQ(lock(kind, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
        EXPECT_EQ(lock(kind, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
        EXPECT_EQ(ORX_Monitoring_unlockI(kind, 0, 1), 0);
        EXPECT_EQ(ORX_Monitoring_unlockI(kind, 0, 1), 0);
        EXPECT_NE(ORX_Monitoring_unlockI(kind, 0, 1), 0) << "given once too often";
    }
}

TEST_F(Host, WrongIndexesAreErrors) {
    start();
    EXPECT_EQ(lock(library, 1, 1, 1), ORX_MONITORING_LOCK_RESULT_ERROR);
    EXPECT_EQ(lock(metric, 5, 1, 1), ORX_MONITORING_LOCK_RESULT_ERROR);
    EXPECT_EQ(lock(logging, 5, 1, 1), ORX_MONITORING_LOCK_RESULT_ERROR);
    EXPECT_NE(ORX_Monitoring_unlockI(metric, 5, 1), 0);
}

TEST_F(Host, ABusyLockTimesOut) {
    start();
    ASSERT_EQ(lock(library, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
    std::thread([] {
        const DDS_Duration_t shortly{0, 1'000'000U};
        EXPECT_EQ(ORX_Monitoring_lockI(library, 0, 0, 0, &shortly), ORX_MONITORING_LOCK_RESULT_TIMEOUT);
        EXPECT_EQ(ORX_Monitoring_lockI(library, 0, 1, 1, &shortly), ORX_MONITORING_LOCK_RESULT_TIMEOUT);
        const DDS_Duration_t zero = DDS_DURATION_ZERO;
        EXPECT_EQ(ORX_Monitoring_lockI(library, 0, 0, 0, &zero), ORX_MONITORING_LOCK_RESULT_TIMEOUT);
    }).join();
    EXPECT_EQ(ORX_Monitoring_unlockI(library, 0, 1), 0);
}

TEST_F(Host, WhoWaitsWhileTheLibraryStopsLearnsIt) {
    start();
    std::promise<void> holds, waits;
    auto holder = std::async(std::launch::async, [&] {
        EXPECT_EQ(lock(metric, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
        holds.set_value();
        while (ORX_MonitoringHost_is_enabled())
            std::this_thread::yield();
        // It found the library enabled, so nothing of it goes away before the lock is given.
        EXPECT_EQ(StubLibrary::deletes, 0);
        EXPECT_EQ(ORX_Monitoring_unlockI(metric, 0, 1), 0);
    });
    holds.get_future().wait();
    auto waiter = std::async(std::launch::async, [&] {
        waits.set_value();
        return lock(metric, 0, 1, 1);
    });
    waits.get_future().wait();
    ASSERT_TRUE(ORX_MonitoringHost_stop());
    holder.get();
    ASSERT_EQ(waiter.wait_for(60s), std::future_status::ready);
    EXPECT_EQ(waiter.get(), ORX_MONITORING_LOCK_RESULT_NOT_ENABLED);
    // Nobody holds it: the next library can.
    start();
    EXPECT_EQ(lock(metric, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
    EXPECT_EQ(ORX_Monitoring_unlockI(metric, 0, 1), 0);
}

TEST_F(Host, SeveralMetricLocksMayBeHeldAtOnce) {
    start();
    for (DDS_UnsignedLong i = 0; i < 5; ++i)
        EXPECT_EQ(lock(metric, i, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
    for (DDS_UnsignedLong i = 0; i < 5; ++i)
        EXPECT_EQ(ORX_Monitoring_unlockI(metric, i, 1), 0);
}

TEST_F(Host, LoadingWhatIsNotThereFails) {
    EXPECT_FALSE(ORX_MonitoringHost_load_library("/nonexistent/liborxmonitoring2d.so"));
    EXPECT_FALSE(ORX_MonitoringHost_load_library("libc.so.6")) << "no library of ours";
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->libraryHandle, nullptr);
    ASSERT_TRUE(ORX_MonitoringHost_set_create_function(&StubLibrary::create));
    EXPECT_TRUE(ORX_MonitoringHost_load_library(nullptr)) << "there is one already";
}

// Threads push while the library comes and goes: every lock that is got is given, and nobody hangs.
TEST_F(Host, LocksSurviveStartsAndStops) {
    ASSERT_TRUE(ORX_MonitoringHost_set_create_function(&StubLibrary::create));
    std::atomic<bool> ends{false};
    std::atomic<long> held{0};
    std::vector<std::thread> pushers;
    for (DDS_UnsignedLong i = 0; i < 2; ++i) {
        pushers.emplace_back([&, i] {
            while (!ends) {
                if (ORX_Monitoring_lockI(metric, i, 1, 1, nullptr) != ORX_MONITORING_LOCK_RESULT_OK)
                    continue;
                ++held;
                EXPECT_EQ(ORX_Monitoring_unlockI(metric, i, 1), 0);
            }
        });
    }
    for (int round = 0; round < 50 || held < 100; ++round) {
        ASSERT_NE(ORX_MonitoringHost_start(&property), nullptr);
        const long before = held;
        for (int spin = 0; spin < 1000 && held == before; ++spin)
            std::this_thread::yield();
        ASSERT_TRUE(ORX_MonitoringHost_stop());
        ASSERT_LT(round, 100'000);
    }
    ends = true;
    for (std::thread& pusher : pushers)
        pusher.join();
}

// The child ends with the number of the first check that failed.
TEST_F(Host, AForkedChildFindsTheLibraryNotEnabled) {
    start();
    ASSERT_EQ(lock(library, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
    ASSERT_EQ(lock(metric, 0, 1, 1), ORX_MONITORING_LOCK_RESULT_OK);
    const pid_t child = fork();
    if (child == 0) {
        const bool checks[] = {
            !ORX_MonitoringHost_is_enabled(),
            lock(metric, 0, 1, 1) == ORX_MONITORING_LOCK_RESULT_NOT_ENABLED,
            lock(library, 0, 0, 0) == ORX_MONITORING_LOCK_RESULT_NOT_ENABLED,
            !ORX_MonitoringHost_stop(),
            ORX_MonitoringHost_start(&property) == nullptr,
        };
        int failed = 0;
        for (int i = 0; failed == 0 && i < static_cast<int>(std::size(checks)); ++i)
            failed = checks[i] ? 0 : i + 1;
        _exit(failed);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(ORX_Monitoring_unlockI(metric, 0, 1), 0);
    EXPECT_EQ(ORX_Monitoring_unlockI(library, 0, 1), 0);
}

// ---- property records ----

void addText(DDS_StringSeq& texts, const char* text) {
    const DDS_Long length = DDS_StringSeq_get_length(&texts);
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&texts, length + 1, length + 1));
    ASSERT_NE(DDS_String_replace(DDS_StringSeq_get_reference(&texts, length), text), nullptr);
}

void fill(ORX_MonitoringProperty_t& property, DDS_DataWriterQos& writerQos) {
    ASSERT_NE(DDS_String_replace(&property.application_name, "application"), nullptr);
    property.event.writer_qos = &writerQos;
    addText(property.collector_initial_peers, "127.0.0.1");
    ASSERT_TRUE(DDS_MonitoringMetricSelectionSeq_ensure_length(&property.metric_selection_list, 2, 2));
    DDS_MonitoringMetricSelection* selection =
        DDS_MonitoringMetricSelectionSeq_get_reference(&property.metric_selection_list, 1);
    ASSERT_NE(DDS_String_replace(&selection->resource_selection, "//applications"), nullptr);
    addText(selection->enabled_metrics_selection, "*");
    ASSERT_TRUE(DDS_LongSeq_ensure_length(&property.event.thread_setting.cpu_list, 1, 1));
    property.event.gc_threshold = 77;
}

TEST(MonitoringProperty, Defaults) {
    ORX_MonitoringProperty_t p;
    ASSERT_TRUE(ORX_MonitoringProperty_t_initialize(&p));
    EXPECT_EQ(p.domain_id, 2);
    EXPECT_EQ(p.application_name, nullptr);
    EXPECT_EQ(p.event.publication_period.nanosec, 100'000'000U);
    EXPECT_EQ(p.event.concurrency_level, 5U);
    EXPECT_EQ(p.event.initial_memory_size, 10240);
    EXPECT_EQ(p.event.gc_threshold, 10U);
    EXPECT_EQ(p.event.snapshot_delay.sec, 1);
    EXPECT_EQ(p.periodic.polling_period.sec, 5);
    EXPECT_EQ(p.logging.max_logs_per_update, 512);
    EXPECT_EQ(p.logging.max_historical_logs, 128);
    EXPECT_EQ(p.logging.forwarding_level.user, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING);
    EXPECT_EQ(p.command_dispatcher.reply_timeout.sec, 5);
    EXPECT_EQ(p.command_dispatcher.lock_timeout.sec, 5);
    EXPECT_EQ(p.command_dispatcher.destruction_timeout.sec, 10);
    EXPECT_EQ(p.logging.thread_setting.priority, -9999999);
}

TEST(MonitoringProperty, CopyIsDeepOrSharesTheQos) {
    FailingHeap heap;
    DDS_DataWriterQos qos;
    DDS_DataWriterQos_initialize(&qos);
    qos.history.depth = 33;
    ORX_MonitoringProperty_t source;
    ASSERT_TRUE(ORX_MonitoringProperty_t_initialize(&source));
    fill(source, qos);
    for (const DDS_Boolean share : {DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE}) {
        ORX_MonitoringProperty_t copied{};
        ASSERT_TRUE(ORX_MonitoringProperty_t_copy_ex(&copied, &source, share));
        EXPECT_STREQ(copied.application_name, "application");
        EXPECT_NE(copied.application_name, source.application_name);
        EXPECT_EQ(copied.event.writer_qos == &qos, share != 0);
        EXPECT_EQ(copied.event.writer_qos->history.depth, 33);
        EXPECT_EQ(copied.event.gc_threshold, 77U);
        EXPECT_EQ(copied.event.snapshot_delay.sec, 1);
        EXPECT_EQ(DDS_LongSeq_get_length(&copied.event.thread_setting.cpu_list), 1);
        EXPECT_STREQ(DDS_MonitoringMetricSelectionSeq_get_reference(&copied.metric_selection_list, 1)
                         ->resource_selection,
            "//applications");
        EXPECT_STREQ(DDS_StringSeq_get(&copied.collector_initial_peers, 0), "127.0.0.1");
        ASSERT_TRUE(ORX_MonitoringProperty_t_copy_ex(&copied, &source, share)) << "over what is there";
        EXPECT_TRUE(ORX_MonitoringProperty_t_finalize_ex(&copied, share));
        EXPECT_TRUE(ORX_MonitoringProperty_t_finalize_ex(&copied, share));
    }
    EXPECT_TRUE(ORX_MonitoringProperty_t_finalize_ex(&source, DDS_BOOLEAN_TRUE));
    EXPECT_EQ(qos.history.depth, 33) << "shared QoS is not touched";
    DDS_DataWriterQos_finalize(&qos);
    EXPECT_EQ(heap.live(), 0);
}

TEST(MonitoringProperty, FailedCopyLeavesNothing) {
    LogCapture log;
    DDS_DataWriterQos qos;
    DDS_DataWriterQos_initialize(&qos);
    ORX_MonitoringProperty_t source;
    ASSERT_TRUE(ORX_MonitoringProperty_t_initialize(&source));
    fill(source, qos);
    bool isCopied = false;
    for (long n = 1; !isCopied && n < 100; ++n) {
        FailingHeap heap(n);
        ORX_MonitoringProperty_t copied{};
        isCopied = ORX_MonitoringProperty_t_copy_ex(&copied, &source, DDS_BOOLEAN_FALSE);
        EXPECT_NE(isCopied, heap.hasFailed());
        EXPECT_EQ(copied.domain_id, isCopied ? 2 : 0);
        ORX_MonitoringProperty_t_finalize_ex(&copied, DDS_BOOLEAN_FALSE);
        EXPECT_EQ(heap.live(), 0) << n;
    }
    EXPECT_TRUE(isCopied);
    ORX_MonitoringProperty_t_finalize_ex(&source, DDS_BOOLEAN_TRUE);
}

TEST(MetricSelection, CopiesIntoUsedAndFinalizedValues) {
    FailingHeap heap;
    DDS_MonitoringMetricSelection source, other;
    ASSERT_TRUE(DDS_MonitoringMetricSelection_initialize(&source));
    ASSERT_TRUE(DDS_MonitoringMetricSelection_initialize(&other));
    ASSERT_NE(DDS_String_replace(&source.resource_selection, "//a"), nullptr);
    addText(source.disabled_metrics_selection, "x*");
    ASSERT_TRUE(DDS_MonitoringMetricSelection_copy(&other, &source));
    ASSERT_TRUE(DDS_MonitoringMetricSelection_copy(&other, &source));
    EXPECT_STREQ(other.resource_selection, "//a");
    EXPECT_STREQ(DDS_StringSeq_get(&other.disabled_metrics_selection, 0), "x*");
    ASSERT_TRUE(DDS_MonitoringMetricSelection_finalize(&other));
    ASSERT_TRUE(DDS_MonitoringMetricSelection_copy(&other, &source));
    EXPECT_EQ(DDS_StringSeq_get_length(&other.disabled_metrics_selection), 1);
    DDS_String_replace(&source.resource_selection, nullptr);
    ASSERT_TRUE(DDS_MonitoringMetricSelection_copy(&other, &source));
    EXPECT_EQ(other.resource_selection, nullptr);
    DDS_MonitoringMetricSelection_finalize(&other);
    DDS_MonitoringMetricSelection_finalize(&source);
    EXPECT_EQ(heap.live(), 0);
}

TEST(VerbositySetting, StartsAtWarningAndComparesAllMembers) {
    ORX_MonitoringLoggingVerbositySetting_t left, right;
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_initialize(&left));
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_copy(&right, &left));
    EXPECT_EQ(left.middleware, ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING);
    EXPECT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_equals(&left, &right));
    for (auto member : {&ORX_MonitoringLoggingVerbositySetting_t::middleware,
             &ORX_MonitoringLoggingVerbositySetting_t::security_event,
             &ORX_MonitoringLoggingVerbositySetting_t::service,
             &ORX_MonitoringLoggingVerbositySetting_t::user}) {
        right = left;
        right.*member = ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG;
        EXPECT_FALSE(ORX_MonitoringLoggingVerbositySetting_t_equals(&left, &right));
    }
    EXPECT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_finalize(&left));
}

} // namespace
