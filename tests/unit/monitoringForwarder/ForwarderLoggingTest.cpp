// The registry's copies of logging configurations.
#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/monitoringForwarder/ForwarderWorld.hpp"

namespace {

using Verbosity = DDS_Monitoring_SyslogVerbosity;

constexpr Verbosity verbosity(int value) {
    return static_cast<Verbosity>(value);
}
constexpr DDS_Octet middleware = 23;
constexpr DDS_Octet user = 1;
constexpr uint64_t forEver = uint64_t{1} << 40;

TEST(CollectionVerbosity, IsWhatAnApplicationMakesOfARequest) {
    const std::pair<int, int> expected[] = {
        {0, 0}, {1, 15}, {3, 15}, {7, 15}, {15, 15}, {31, 31}, {63, 127}, {127, 127}, {255, 255}};
    for (const auto& [requested, assigned] : expected) {
        EXPECT_EQ(ORX_MonitoringForwarder_collection_verbosity_requested_to_assigned(verbosity(requested)),
            verbosity(assigned))
            << requested;
    }
}

class LoggingSettings : public testing::Test {
protected:
    LoggingSettings() { DDS_Monitoring_LoggingSettingSeq_initialize(&settings); }
    ~LoggingSettings() override { DDS_Monitoring_LoggingSettingSeq_finalize(&settings); }
    bool set(DDS_Octet facility, int value, bool isForwarding) {
        const DDS_Monitoring_LoggingSetting setting{verbosity(value), facility};
        return ORX_MonitoringForwarder_setVerbosityToLoggingSettingSeq(&settings, &setting, isForwarding);
    }
    DDS_Long count() const { return DDS_Monitoring_LoggingSettingSeq_get_length(&settings); }
    int at(DDS_Long i) const {
        return DDS_Monitoring_LoggingSettingSeq_get_reference(&settings, i)->verbosity;
    }

    LogCapture log;
    DDS_Monitoring_LoggingSettingSeq settings{};
};

TEST_F(LoggingSettings, AKnownFacilityTakesTheVerbosityMappedForCollectionAlone) {
    ASSERT_TRUE(set(middleware, 0, true));
    EXPECT_TRUE(set(middleware, 7, true));
    EXPECT_EQ(at(0), 7);
    EXPECT_TRUE(set(middleware, 7, false));
    EXPECT_EQ(at(0), 15);
    EXPECT_TRUE(set(middleware, 63, false));
    EXPECT_EQ(at(0), 127);
    EXPECT_EQ(count(), 1);
}

TEST_F(LoggingSettings, AnUnknownFacilityIsAddedIfItIsTheMiddlewaresAsItIs) {
    EXPECT_TRUE(set(user, 7, false));
    EXPECT_EQ(count(), 0);
    EXPECT_TRUE(set(middleware, 7, false));
    ASSERT_EQ(count(), 1);
    EXPECT_EQ(at(0), 7); // a new entry is not mapped
    EXPECT_EQ(DDS_Monitoring_LoggingSettingSeq_get_reference(&settings, 0)->facility, middleware);
}

TEST_F(LoggingSettings, WithoutMemoryNothingChanges) {
    FailingHeap heap;
    heap.failAt(1, forEver);
    EXPECT_FALSE(set(middleware, 7, true));
    heap.failNoMore();
    EXPECT_EQ(count(), 0);
    EXPECT_TRUE(set(middleware, 7, true));
}

class LoggingLevelChange : public testing::TestWithParam<EngineKind> {
protected:
    LoggingLevelChange() {
        DDS_Monitoring_LoggingGroupSeq_initialize(&groups);
        made = forwarder.make();
    }
    ~LoggingLevelChange() override { DDS_Monitoring_LoggingGroupSeq_finalize(&groups); }
    void SetUp() override {
        ASSERT_TRUE(made);
        application.enableAll();
        ASSERT_TRUE(eventually([&] { return forwarder.knowsParticipant(application); }));
        ASSERT_TRUE(eventually([&] { return isReadByForwarder(); }));
        // Nobody else answers requests of this application: it is played.
        for (uint8_t i = 1; i <= 2; ++i) {
            application.announce(i, i == 1 ? "one" : "two");
            ASSERT_TRUE(eventually([&] { return forwarder.application(i) != nullptr; }));
            ApplicationEvent event;
            event.setLogging(i, user);
            application.write(event);
            ASSERT_TRUE(eventually([&] { return forwardingOf(i) == 1; }));
        }
    }
    // By the one that there is now: what the writer knows of an earlier one does not count.
    bool isReadByForwarder() {
        const DDS_InstanceHandle_t reader =
            DDS_Entity_get_instance_handle(DDS_DataReader_as_entity(forwarder.entities().builtinEventReader));
        DDS_InstanceHandleSeq handles{};
        DDS_DataWriter_get_matched_subscriptions(application.entities->eventWriter, &handles);
        bool isFound = false;
        for (DDS_Long i = 0; i < DDS_InstanceHandleSeq_get_length(&handles); ++i)
            isFound = isFound ||
                      DDS_InstanceHandle_equals(DDS_InstanceHandleSeq_get_reference(&handles, i), &reader);
        DDS_InstanceHandleSeq_finalize(&handles);
        return isFound;
    }
    DDS_Long forwardingOf(uint8_t number) {
        ORX_MonitoringForwarder_lock_application_registry(forwarder.self);
        const DDS_Long length = DDS_Monitoring_LoggingSettingSeq_get_length(
            &forwarder.application(number)->loggingConfig.logging_forwarding);
        ORX_MonitoringForwarder_unlock_application_registry(forwarder.self);
        return length;
    }
    void addGroup(const char* selector, DDS_Octet facility, int value) {
        const DDS_Long length = DDS_Monitoring_LoggingGroupSeq_get_length(&groups);
        DDS_Monitoring_LoggingGroupSeq_ensure_length(&groups, length + 1, length + 1);
        auto* group = DDS_Monitoring_LoggingGroupSeq_get_reference(&groups, length);
        DDS_String_replace(&group->application_selector, selector);
        DDS_Monitoring_LoggingSettingSeq_ensure_length(&group->logging_settings, 1, 1);
        *DDS_Monitoring_LoggingSettingSeq_get_reference(&group->logging_settings, 0) = {
            verbosity(value), facility};
    }
    static std::string guidText(uint8_t number) {
        DDS_Octet guid[16]{};
        guid[15] = number;
        char text[ORX_MONITORING_GUID_TEXT_SIZE];
        DDS_Monitoring_GUID_toStr(guid, text);
        return text;
    }
    bool apply(bool isForwarding) {
        return ORX_MonitoringForwarder_applyLoggingLevelChange(forwarder.self, &groups, isForwarding);
    }
    // "facility=verbosity" of each entry, with blanks between.
    std::string settingsOf(uint8_t number, bool isForwarding) {
        ORX_MonitoringForwarder_lock_application_registry(forwarder.self);
        const auto& config = forwarder.application(number)->loggingConfig;
        const auto& list = isForwarding ? config.logging_forwarding : config.logging_collection;
        std::string text;
        for (DDS_Long i = 0; i < DDS_Monitoring_LoggingSettingSeq_get_length(&list); ++i) {
            const auto* one = DDS_Monitoring_LoggingSettingSeq_get_reference(&list, i);
            text += (text.empty() ? "" : " ") + std::to_string(one->facility) + "=" +
                    std::to_string(static_cast<int>(one->verbosity));
        }
        ORX_MonitoringForwarder_unlock_application_registry(forwarder.self);
        return text;
    }

    TestEngine engine{GetParam()};
    LogCapture log;
    Forwarder forwarder{engine.domain};
    FakeApplication application{engine.domain};
    DDS_Monitoring_LoggingGroupSequence groups{};
    bool made = false;
};

INSTANTIATE_TEST_SUITE_P(
    Engines, LoggingLevelChange, testing::Values(EngineKind::loopback, EngineKind::cyclone), engineName);
// Over one engine, whose threads allocate nothing meanwhile.
class LoggingLevelMemory : public LoggingLevelChange {};
INSTANTIATE_TEST_SUITE_P(Engine, LoggingLevelMemory, testing::Values(EngineKind::loopback), engineName);

TEST_P(LoggingLevelChange, ReachesTheApplicationsThatAGroupNames) {
    addGroup("/applications/*", user, 31);
    addGroup(("/applications/" + guidText(2)).c_str(), middleware, 63);
    EXPECT_TRUE(apply(true));
    EXPECT_EQ(settingsOf(1, true), "1=31");
    EXPECT_EQ(settingsOf(2, true), "1=31 23=63");
    EXPECT_EQ(settingsOf(1, false), "");
    EXPECT_TRUE(apply(false));
    EXPECT_EQ(settingsOf(1, false), "");
    EXPECT_EQ(settingsOf(2, false), "23=63"); // new, and so as requested
    EXPECT_TRUE(apply(false));
    EXPECT_EQ(settingsOf(2, false), "23=127");
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_P(LoggingLevelChange, ASelectorThatCannotBeReadIsReported) {
    std::string tooDeep = "/applications";
    for (int i = 0; i < 400; ++i)
        tooDeep += "/a";
    addGroup(tooDeep.c_str(), user, 31);
    EXPECT_FALSE(apply(true));
    EXPECT_TRUE(log.has("Applications matching expression '" + tooDeep + "'", "FAILED_TO_GET")) << log.text();
    EXPECT_EQ(settingsOf(1, true), "1=0");
}

TEST_P(LoggingLevelMemory, WithoutMemoryAnApplicationKeepsItsConfigurationOrHasTheNewOne) {
    addGroup("/applications/*", middleware, 7);
    bool failed = true;
    for (uint64_t n = 1; failed; ++n) {
        ASSERT_LT(n, 300U);
        FailingHeap heap;
        heap.failAt(n, forEver); // growing tries a second time with less
        const bool result = apply(true);
        failed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_EQ(result, !failed) << n;
        for (uint8_t i = 1; i <= 2; ++i) {
            const std::string text = settingsOf(i, true);
            EXPECT_TRUE(text == "1=0" || text == "1=0 23=7") << text;
        }
    }
    EXPECT_EQ(settingsOf(2, true), "1=0 23=7");
}

// Nobody answers: the command fails, and the registry keeps what it has.
TEST_P(LoggingLevelChange, AFailedCommandChangesNothing) {
    forwarder.drop();
    forwarder.property.command_manager_timeout = {0, 1};
    ASSERT_TRUE(forwarder.make());
    SetUp();
    addGroup("/applications/*", user, 31);
    DDS_Monitoring_MonitoringCommandError exception;
    DDS_Monitoring_MonitoringCommandError_initialize(&exception);
    ORX_MonitoringForwarder_set_logging_forwarding_level(forwarder.self, &exception, &groups);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_INTERNAL_ERROR);
    EXPECT_STREQ(exception.error_message, "Timedout");
    EXPECT_EQ(settingsOf(1, true), "1=0");
    // Nor does one that finds nobody, with an exception that was a success before.
    DDS_String_replace(&DDS_Monitoring_LoggingGroupSeq_get_reference(&groups, 0)->application_selector,
        "/applications/none");
    exception.ret_code = DDS_MONITORING_COMMAND_NO_ERROR;
    ORX_MonitoringForwarder_set_logging_collection_level(forwarder.self, &exception, &groups);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR);
    EXPECT_TRUE(log.has("Command handler for set_logging_collection_level command", "FAILED_TO_GET"));
    DDS_Monitoring_MonitoringCommandError_finalize(&exception);
}

TEST_P(LoggingLevelChange, WithoutAnExceptionACommandDoesNothing) {
    addGroup("/applications/*", user, 31);
    DDS_Monitoring_MetricSelectorSequence metrics{};
    DDS_Monitoring_ResourcePathExpressionSequence expressions{};
    log.clear();
    ORX_MonitoringForwarder_set_logging_forwarding_level(forwarder.self, nullptr, &groups);
    ORX_MonitoringForwarder_set_logging_collection_level(forwarder.self, nullptr, &groups);
    ORX_MonitoringForwarder_set_metric_subscription_state(forwarder.self, nullptr, &metrics);
    ORX_MonitoringForwarder_update_metric_subscription_state(forwarder.self, nullptr, &metrics);
    ORX_MonitoringForwarder_request_resource_registry(forwarder.self, nullptr, &expressions);
    EXPECT_EQ(log.count("exception cannot be NULL", "BAD_PARAMETER_FAILURE"), 5U) << log.text();
    EXPECT_EQ(log.lines().size(), 5U) << log.text();
    EXPECT_EQ(settingsOf(1, true), "1=0");
    DDS_Monitoring_MonitoringCommandError exception{};
    ORX_MonitoringForwarder_set_logging_forwarding_level(forwarder.self, &exception, nullptr);
    EXPECT_TRUE(log.has("\"logging_groups == ((void *)0)\"\n", "PRECONDITION"));
    ORX_MonitoringForwarder_set_metric_subscription_state(nullptr, &exception, &metrics);
    EXPECT_TRUE(log.has("\"self == ((void *)0)\"\n", "PRECONDITION"));
}

} // namespace
