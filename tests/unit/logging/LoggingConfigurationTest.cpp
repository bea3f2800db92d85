// The logging configuration: settings and their sequences, the metric, and the events of its changes.
#include "src/monitoringClass/LoggingConfiguration.h"

#include "src/eventMetrics/EventSample.hpp"
#include "tests/helpers/EventReader.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logging/LoggingWorld.hpp"

namespace {

using Setting = ORX_MonitoringLoggingVerbositySetting_t;

constexpr auto error = ZDDS_CONFIG_SYSLOG_VERBOSITY_ERROR;
constexpr auto warning = ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING;
constexpr auto debug = ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG;
constexpr auto silent = ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT;

class Settings : public ::testing::Test {
protected:
    ~Settings() override { (void)DDS_Monitoring_LoggingSettingSeq_finalize(&sequence); }
    void add(int facility, ZDDS_Config_SyslogVerbosity verbosity) {
        const DDS_Long length = DDS_Monitoring_LoggingSettingSeq_get_length(&sequence);
        ASSERT_TRUE(DDS_Monitoring_LoggingSettingSeq_set_length(&sequence, length + 1));
        auto* added = DDS_Monitoring_LoggingSettingSeq_get_reference(&sequence, length);
        added->facility = static_cast<DDS_Octet>(facility);
        added->verbosity = static_cast<DDS_Monitoring_SyslogVerbosity>(verbosity);
    }
    int from() { return ORX_MonitoringLoggingVerbositySetting_t_fromLoggingSettingSeq(&setting, &sequence); }
    bool is(ZDDS_Config_SyslogVerbosity middleware, ZDDS_Config_SyslogVerbosity security,
        ZDDS_Config_SyslogVerbosity service, ZDDS_Config_SyslogVerbosity user) const {
        const Setting expected{middleware, security, service, user};
        return ORX_MonitoringLoggingVerbositySetting_t_equals(&setting, &expected) != 0;
    }
    LogCapture log;
    DDS_Monitoring_LoggingSettingSeq sequence{};
    Setting setting{warning, warning, warning, warning};
};

TEST_F(Settings, FromASequenceTakesWhatItNames) {
    add(22, debug);
    add(10, silent);
    EXPECT_TRUE(from());
    EXPECT_TRUE(is(warning, silent, debug, warning));
}

TEST_F(Settings, TheLastOfAFacilityCounts) {
    add(1, debug);
    add(23, error);
    add(1, silent);
    EXPECT_TRUE(from());
    EXPECT_TRUE(is(error, warning, warning, silent));
}

TEST_F(Settings, AnUnknownFacilityChangesNothing) {
    add(1, debug);
    add(5, debug);
    EXPECT_FALSE(from());
    EXPECT_TRUE(is(warning, warning, warning, warning));
    EXPECT_TRUE(log.has("verbosity for facility 5. Unexpected facility", "FAILED_TO_SET")) << log.text();
}

TEST_F(Settings, AnEmptySequenceChangesNothing) {
    EXPECT_TRUE(from());
    EXPECT_TRUE(is(warning, warning, warning, warning));
}

TEST_F(Settings, ToASequenceGivesFourInOrder) {
    add(5, debug); // whatever it had
    setting = {silent, error, warning, debug};
    ASSERT_TRUE(ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(&setting, &sequence));
    ASSERT_EQ(DDS_Monitoring_LoggingSettingSeq_get_length(&sequence), 4);
    const int facilities[] = {23, 10, 22, 1};
    const int verbosities[] = {0, 15, 31, 255};
    for (int i = 0; i < 4; ++i) {
        const auto* one = DDS_Monitoring_LoggingSettingSeq_get_reference(&sequence, i);
        EXPECT_EQ(one->facility, facilities[i]);
        EXPECT_EQ(one->verbosity, verbosities[i]);
    }
}

// ---- In the live library ----

class LoggingConfiguration : public ::testing::Test {
protected:
    LoggingConfiguration() {
        world.property.event.publication_period = LoggingWorld::asleep;
        world.property.event.snapshot_delay = LoggingWorld::asleep;
        world.property.event.concurrency_level = 1;
        world.select("/applications/app*", "*");
    }
    void start() {
        ASSERT_TRUE(world.start()) << log.text();
        events = std::make_unique<EventReader>(LoggingWorld::loggingDomain);
        (void)take();
    }
    ~LoggingConfiguration() override { events.reset(); }
    // Configurations in the events since the last call.
    std::vector<std::string> take() {
        const DDS_Duration_t bound{60, 0};
        runEvents();
        (void)DDS_DataWriter_flushI(world.impl().entities->eventWriter, &bound);
        std::vector<std::string> all;
        for (const auto& sample : events->takeNow()) {
            if (sample->value._d != ORX_MONITORING_APPLICATION_CLASS_ID || sample->info.is_snapshot)
                continue;
            if (const auto* config = sample->value._u.application.logging)
                all.push_back(text(*config));
        }
        return all;
    }
    // The worker's part, on this thread: the worker is asleep.
    void runEvents() {
        auto& executor = *world.impl().eventTaskExecutor;
        auto& queue = executor.taskExecutor->queues[0];
        while (auto* node = REDAInlineList_getFirst(&queue.tasks)) {
            auto* task = reinterpret_cast<ORX_MonitoringTaskExecutorTask*>(node);
            EXPECT_TRUE(ORX_MonitoringEventTaskExecutor_onTaskAvailable(&executor, task));
            ORX_MonitoringEventTaskExecutor_onAfterProcessedQueue(&executor);
            REDAInlineList_removeNodeEA(&queue.tasks, node);
            if (task->state != nullptr) {
                EXPECT_TRUE(REDAInlineMemBuffer_release(task->state));
            }
            EXPECT_TRUE(task->deletePayloadFunction(task->payload));
            EXPECT_TRUE(REDAInlineMemBuffer_release(task));
        }
    }
    static std::string text(const DDS_Monitoring_LoggingConfig& config) {
        std::string all;
        for (const auto* settings : {&config.logging_collection, &config.logging_forwarding}) {
            for (DDS_Long i = 0; i < DDS_Monitoring_LoggingSettingSeq_get_length(settings); ++i)
                all +=
                    std::to_string(DDS_Monitoring_LoggingSettingSeq_get_reference(settings, i)->verbosity) +
                    " ";
            all += "/ ";
        }
        return all;
    }
    int collect(ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogVerbosity verbosity, int notify = 1) {
        return ZDDS_Config_Logger_set_verbosity_by_facilityI(LoggingWorld::logger(), facility,
            ZDDS_Config_LogVerbosity_from_syslog_verbosity(verbosity), notify);
    }
    void forward(const Setting& level) {
        ORX_Monitoring_setLoggingForwardingLevelFromProperty(world.table, &level);
    }

    LogCapture log;
    LoggingWorld world;
    std::unique_ptr<EventReader> events;
};

using Events = std::vector<std::string>;

TEST_F(LoggingConfiguration, TheMetricHasTheLoggersVerbositiesAndTheForwardingLevel) {
    world.property.logging.forwarding_level = {error, silent, debug, warning};
    start();
    collect(ZDDS_CONFIG_LOG_FACILITY_SERVICE, debug, 0);
    DDS_Monitoring_LoggingConfig config;
    ASSERT_TRUE(ORX_Monitoring_getLoggingConfigMetric(&config)) << log.text();
    EXPECT_EQ(text(config), "31 31 255 31 / 15 0 255 31 / ");
    EXPECT_EQ(world.impl().loggingCollectionSetting.service, debug) << "the class has seen it now";
    DDS_Monitoring_LoggingConfig_finalize(&config);
}

TEST_F(LoggingConfiguration, AChangeOfTheLoggerMakesAnEvent) {
    start();
    EXPECT_TRUE(collect(ZDDS_CONFIG_LOG_FACILITY_USER, error));
    EXPECT_EQ(take(), Events{"31 31 31 15 / 31 31 31 31 / "});
    EXPECT_TRUE(collect(ZDDS_CONFIG_LOG_FACILITY_USER, error)) << "no change";
    EXPECT_TRUE(world.table->onLoggingCollectionChange(world.table)) << "nor this";
    EXPECT_EQ(take(), Events{});
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LoggingConfiguration, AChangeThatTheLibraryMakesIsToldByIt) {
    start();
    EXPECT_TRUE(collect(ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, debug, 0));
    EXPECT_EQ(take(), Events{});
    EXPECT_TRUE(ORX_Monitoring_onLoggingCollectionChange(world.table));
    EXPECT_EQ(take(), Events{"255 31 31 31 / 31 31 31 31 / "});
}

TEST_F(LoggingConfiguration, AChangeUnderTheMetricMutexIsFine) {
    start();
    EXPECT_TRUE(collect(ZDDS_CONFIG_LOG_FACILITY_USER, debug, 0));
    Library::lockMetric(0);
    EXPECT_TRUE(world.table->onLoggingCollectionChange(world.table));
    Library::unlockMetric(0);
    EXPECT_EQ(take().size(), 1U);
}

TEST_F(LoggingConfiguration, ANewForwardingLevelIsInForceAndMakesAnEvent) {
    start();
    forward({warning, warning, silent, debug});
    EXPECT_EQ(take(), Events{"31 31 31 31 / 31 31 0 255 / "});
    const auto* property = ORX_Monitoring_getLoggingProperty(world.table);
    ASSERT_EQ(property, &world.logging().properties);
    EXPECT_EQ(property->forwarding_level.user, debug);
    EXPECT_EQ(world.impl().property->logging.forwarding_level.user, debug);
    world.write("x", false, ZDDS_CONFIG_LOG_FACILITY_SERVICE);
    EXPECT_EQ(world.queued(), 0);
}

TEST_F(LoggingConfiguration, TheSameForwardingLevelMakesNoEventAndSaysSo) {
    start();
    forward({warning, warning, warning, warning});
    EXPECT_EQ(take(), Events{});
    EXPECT_TRUE(
        log.has("The new forwarding levels are the same as the current ones. The event won't be pushed",
            "FAILED_TO_PUSH"))
        << log.text();
}

TEST_F(LoggingConfiguration, ALibraryThatIsNotEnabledTakesNoForwardingLevel) {
    ORX_MonitoringClassImpl library{};
    ORX_MonitoringLogging logging{};
    library.logging = &logging;
    ASSERT_TRUE(ORX_MonitoringHost_initialize());
    const Setting level{debug, debug, debug, debug};
    ORX_Monitoring_setLoggingForwardingLevelFromProperty(&library.parent, &level);
    EXPECT_TRUE(log.has("The Monitoring Library is not enabled", "FAILED_TO_PUSH")) << log.text();
    EXPECT_NE(logging.properties.forwarding_level.user, debug);
}

TEST_F(LoggingConfiguration, AFailedPushLeavesTheNewLevelInForce) {
    start();
    world.table->pushEventMetricFunction = [](ORX_MonitoringClass*, void*, ORX_MonitoringResource*,
                                               DDS_UnsignedLong) { return DDS_BOOLEAN_FALSE; };
    forward({debug, debug, debug, debug});
    EXPECT_EQ(world.logging().properties.forwarding_level.middleware, debug);
    EXPECT_FALSE(ORX_Monitoring_onLoggingCollectionChange(world.table) &&
                 collect(ZDDS_CONFIG_LOG_FACILITY_USER, debug, 0) &&
                 ORX_Monitoring_onLoggingCollectionChange(world.table));
    EXPECT_EQ(log.count("DDS_Monitoring_LoggingConfig to the Monitoring Library", "FAILED_TO_PUSH"), 2U);
}

} // namespace
