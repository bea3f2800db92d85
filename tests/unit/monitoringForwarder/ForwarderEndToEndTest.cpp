// The library as a host runs it, and a forwarder that reads it, over both engines.
#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "tests/unit/monitoringClass/Library.hpp"
#include "tests/unit/monitoringForwarder/ForwarderWorld.hpp"

namespace {

class ForwarderEndToEnd : public testing::TestWithParam<EngineKind> {
protected:
    ForwarderEndToEnd() {
        // The library has an engine of its own for tests; here both have the one under test.
        zdds::engine::setInstance(GetParam() == EngineKind::loopback ? &engine.loopback : nullptr);
        library.property.domain_id = engine.domain;
        library.property.periodic.polling_period = {0, 1'000'000};
        library.property.logging.publication_period = {0, 1'000'000};
        library.select("//*", "*");
    }
    ~ForwarderEndToEnd() override {
        EXPECT_TRUE(library.stop());
        ZDDS_Config_Logger_finalize_instance();
        forwarder.drop();
    }
    void SetUp() override {
        ASSERT_TRUE(forwarder.make()) << log.text();
        events = std::make_unique<Taken<EventTopic>>(forwarder.self->entities->event_reader);
    }
    const DDS_Octet* rootGuid() { return library.table->rootResource->base.guid; }
    std::string rootGuidText() {
        char text[ORX_MONITORING_GUID_TEXT_SIZE];
        DDS_Monitoring_GUID_toStr(rootGuid(), text);
        return text;
    }
    bool isOfRoot(const DDS_Octet* guid) { return std::memcmp(guid, rootGuid(), 16) == 0; }
    bool startAndAppear() {
        return library.start() && eventually([&] { return forwarder.applications() == "/applications/app"; });
    }
    DDS_InstanceHandle_t handleOfWriter(DDS_DataWriter* writer) {
        return DDS_Entity_get_instance_handle(DDS_DataWriter_as_entity(writer));
    }
    std::string loggingOf(bool isForwarding, DDS_Octet facility) {
        ORX_MonitoringForwarder_lock_application_registry(forwarder.self);
        const auto* application = ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(
            forwarder.registry(), nullptr, rootGuid());
        std::string text;
        if (application != nullptr) {
            const auto& list = isForwarding ? application->loggingConfig.logging_forwarding
                                            : application->loggingConfig.logging_collection;
            for (DDS_Long i = 0; i < DDS_Monitoring_LoggingSettingSeq_get_length(&list); ++i) {
                const auto* one = DDS_Monitoring_LoggingSettingSeq_get_reference(&list, i);
                if (one->facility == facility)
                    text = std::to_string(static_cast<int>(one->verbosity));
            }
        }
        ORX_MonitoringForwarder_unlock_application_registry(forwarder.self);
        return text;
    }

    TestEngine engine{GetParam()};
    LogCapture log;
    Library library;
    Forwarder forwarder{engine.domain};
    std::unique_ptr<Taken<EventTopic>> events;
};
INSTANTIATE_TEST_SUITE_P(
    Engines, ForwarderEndToEnd, testing::Values(EngineKind::loopback, EngineKind::cyclone), engineName);

TEST_P(ForwarderEndToEnd, AnApplicationAppearsWithItsEventsInItsWritersName) {
    ASSERT_TRUE(startAndAppear());
    const DDS_InstanceHandle_t writer = handleOfWriter(library.impl().entities->eventWriter);
    auto* participant = library.participant("domain 1");
    ASSERT_NE(participant, nullptr);
    EXPECT_TRUE(eventually([&] {
        return events->has([&](const DDS_Monitoring_Event& event, const DDS_SampleInfo&) {
            return std::memcmp(event.resource_guid, participant->base.guid, 16) == 0;
        });
    }));
    for (size_t i = 0; i < events->size(); ++i) {
        EXPECT_TRUE(DDS_InstanceHandle_equals(&events->info(i).publication_handle, &writer)) << i;
        EXPECT_GT(events->info(i).source_timestamp.sec, 1'000'000'000);
        EXPECT_GT(events->info(i).publication_sequence_number.low, 0U);
        if (i > 0) {
            EXPECT_GT(events->info(i).publication_sequence_number.low,
                events->info(i - 1).publication_sequence_number.low);
        }
    }
    EXPECT_TRUE(events->has([&](const DDS_Monitoring_Event& event, const DDS_SampleInfo&) {
        return isOfRoot(event.resource_guid) && event.value._u.application.resource_registry != nullptr;
    }));
}

TEST_P(ForwarderEndToEnd, PeriodicSamplesAndLogMessagesComeInTheirWritersName) {
    library.property.logging.forwarding_level.user = ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG;
    ASSERT_TRUE(startAndAppear());
    Taken<PeriodicTopic> periodic(forwarder.self->entities->periodic_reader);
    ASSERT_TRUE(periodic.reaches(2));
    const DDS_InstanceHandle_t periodicWriter = handleOfWriter(library.impl().entities->periodicWriter);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&periodic.info(0).publication_handle, &periodicWriter));
    EXPECT_TRUE(isOfRoot(periodic[0].resource_guid));
    // Until the writer of messages is matched they go nowhere.
    ASSERT_TRUE(
        eventually([&] { return FakeApplication::isMatched(library.impl().entities->loggingWriter); }));
    ASSERT_TRUE(eventually([&] { return Forwarder::queues(forwarder.self->entities->logging_reader) == 1; }));
    Taken<LoggingTopic> logs(forwarder.self->entities->logging_reader);
    ASSERT_TRUE(ZDDS_Config_Logger_log(ZDDS_Config_Logger_get_instance(), ZDDS_CONFIG_LOG_FACILITY_USER,
        ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 7, nullptr, "ERROR said by the application"));
    const DDS_InstanceHandle_t loggingWriter = handleOfWriter(library.impl().entities->loggingWriter);
    EXPECT_TRUE(eventually([&] {
        return logs.has([&](const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info) {
            if (!DDS_InstanceHandle_equals(&info.publication_handle, &loggingWriter))
                return false;
            const auto* update = sample.update;
            for (DDS_Long i = 0; update != nullptr && i < DDS_Monitoring_LogReferenceSeq_get_length(update);
                 ++i) {
                char line[256];
                ORX_MonitoringForwarder_log_message_to_string(
                    *DDS_Monitoring_LogReferenceSeq_get_reference(update, i), line, sizeof line);
                if (std::string(line).find("said by the application") != std::string::npos)
                    return true;
            }
            return false;
        });
    }));
}

// What the library itself takes back when it stops, or the forwarder when the writer just goes: a reader sees
// the application gone, and it comes back under another GUID or the same.
TEST_P(ForwarderEndToEnd, AnApplicationThatStopsIsDeletedAndMayReturn) {
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(startAndAppear());
        DDS_Octet guid[16];
        std::memcpy(guid, rootGuid(), sizeof guid);
        ASSERT_TRUE(library.stop());
        EXPECT_TRUE(eventually([&] { return forwarder.participants() == 0; }));
        EXPECT_EQ(forwarder.applications(), "");
        EXPECT_TRUE(eventually([&] {
            return events->has([&](const DDS_Monitoring_Event& event, const DDS_SampleInfo&) {
                return isDeletionOf(event, guid[15]) && std::memcmp(event.resource_guid, guid, 16) == 0;
            });
        }));
    }
}

TEST_P(ForwarderEndToEnd, AForwarderThatComesLateLearnsOfTheApplicationToo) {
    ASSERT_TRUE(startAndAppear());
    Forwarder late(engine.domain);
    ASSERT_TRUE(late.make());
    EXPECT_TRUE(eventually([&] { return late.applications() == "/applications/app"; }));
}

TEST_P(ForwarderEndToEnd, ALoggingCommandChangesTheApplicationAndTheRegistry) {
    ASSERT_TRUE(startAndAppear());
    ASSERT_TRUE(eventually([&] { return !loggingOf(true, 1).empty(); })); // the application's own report
    DDS_Monitoring_MonitoringCommandError exception;
    DDS_Monitoring_MonitoringCommandError_initialize(&exception);
    DDS_Monitoring_LoggingGroupSequence groups{};
    DDS_Monitoring_LoggingGroupSeq_ensure_length(&groups, 1, 1);
    auto* group = DDS_Monitoring_LoggingGroupSeq_get_reference(&groups, 0);
    DDS_String_replace(&group->application_selector, ("/applications/" + rootGuidText()).c_str());
    DDS_Monitoring_LoggingSettingSeq_ensure_length(&group->logging_settings, 1, 1);
    *DDS_Monitoring_LoggingSettingSeq_get_reference(&group->logging_settings, 0) = {
        DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_DEBUG, 1};
    ORX_MonitoringForwarder_set_logging_forwarding_level(forwarder.self, &exception, &groups);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_NO_ERROR) << exception.error_message;
    EXPECT_EQ(loggingOf(true, 1), "255");
    // A verbosity that the application maps when it collects.
    DDS_Monitoring_LoggingSettingSeq_get_reference(&group->logging_settings, 0)->verbosity =
        DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_NOTICE;
    ORX_MonitoringForwarder_set_logging_collection_level(forwarder.self, &exception, &groups);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_NO_ERROR) << exception.error_message;
    EXPECT_EQ(loggingOf(false, 1), "127");
    DDS_Monitoring_LoggingGroupSeq_finalize(&groups);
    DDS_Monitoring_MonitoringCommandError_finalize(&exception);
}

TEST_P(ForwarderEndToEnd, MetricAndRegistryCommandsReachTheApplication) {
    ASSERT_TRUE(startAndAppear());
    DDS_Monitoring_MonitoringCommandError exception;
    DDS_Monitoring_MonitoringCommandError_initialize(&exception);
    DDS_Monitoring_MetricSelectorSequence metrics{};
    DDS_Monitoring_MetricSelectorSeq_ensure_length(&metrics, 1, 1);
    auto* selector = DDS_Monitoring_MetricSelectorSeq_get_reference(&metrics, 0);
    const std::string path = "/applications/" + rootGuidText();
    DDS_String_replace(&selector->resource_selector, path.c_str());
    ORX_MonitoringForwarder_set_metric_subscription_state(forwarder.self, &exception, &metrics);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_NO_ERROR) << exception.error_message;
    // Nothing is selected any more: the periodic samples end.
    EXPECT_EQ(DDS_UnsignedLongSeq_get_length(&library.table->rootResource->monitoredMetricInfoIndex), 0);
    DDS_StringSeq_ensure_length(&selector->subscribe_metric_selector, 1, 1);
    DDS_String_replace(DDS_StringSeq_get_reference(&selector->subscribe_metric_selector, 0), "*memory*");
    ORX_MonitoringForwarder_update_metric_subscription_state(forwarder.self, &exception, &metrics);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_NO_ERROR) << exception.error_message;
    EXPECT_GT(DDS_UnsignedLongSeq_get_length(&library.table->rootResource->monitoredMetricInfoIndex), 0);
    DDS_String_replace(&selector->resource_selector, "/applications/nobody");
    ORX_MonitoringForwarder_update_metric_subscription_state(forwarder.self, &exception, &metrics);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR);
    // The registry comes anew.
    const size_t before = events->size();
    DDS_Monitoring_ResourcePathExpressionSequence expressions{};
    DDS_StringSeq_ensure_length(&expressions, 1, 1);
    DDS_String_replace(DDS_StringSeq_get_reference(&expressions, 0), path.c_str());
    ORX_MonitoringForwarder_request_resource_registry(forwarder.self, &exception, &expressions);
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_NO_ERROR) << exception.error_message;
    EXPECT_TRUE(eventually([&] {
        for (size_t i = before; i < events->size(); ++i)
            if ((*events)[i].value._u.application.resource_registry != nullptr)
                return true;
        return false;
    }));
    DDS_StringSeq_finalize(&expressions);
    DDS_Monitoring_MetricSelectorSeq_finalize(&metrics);
    DDS_Monitoring_MonitoringCommandError_finalize(&exception);
}

// A caller that waits for a reply when the forwarder goes is told, and is out before the forwarder is gone.
TEST_P(ForwarderEndToEnd, ACommandUnderWayEndsWithTheForwarder) {
    FakeApplication silent(engine.domain);
    silent.enableAll();
    ASSERT_TRUE(eventually([&] { return FakeApplication::isMatched(silent.entities->eventWriter); }));
    silent.announce(1, "silent");
    ASSERT_TRUE(eventually([&] { return forwarder.application(1) != nullptr; }));
    DDS_Monitoring_MonitoringCommandError exception;
    DDS_Monitoring_MonitoringCommandError_initialize(&exception);
    auto* requests = DDS_ServiceRequestDataReader_narrow(DDS_Subscriber_lookup_datareader(
        DDS_DomainParticipant_get_builtin_subscriber(silent.participant()), DDS_SERVICE_REQUEST_TOPIC_NAME));
    const auto received = [&] {
        DDS_DataReaderCountersI counters{};
        DDS_DataReader_get_countersI(DDS_ServiceRequestDataReader_as_datareader(requests), &counters);
        return counters.received;
    };
    ASSERT_TRUE(eventually([&] { return received() >= 1; })); // the forwarder's own request
    std::thread caller([&] {
        DDS_Monitoring_ResourcePathExpressionSequence expressions{};
        DDS_StringSeq_ensure_length(&expressions, 1, 1);
        DDS_String_replace(DDS_StringSeq_get_reference(&expressions, 0), "/applications/*");
        ORX_MonitoringForwarder_request_resource_registry(forwarder.self, &exception, &expressions);
        DDS_StringSeq_finalize(&expressions);
    });
    ASSERT_TRUE(eventually([&] { return received() >= 2; }));
    forwarder.drop();
    caller.join();
    EXPECT_EQ(exception.ret_code, DDS_MONITORING_COMMAND_INTERNAL_ERROR);
    EXPECT_STREQ(exception.error_message, "Timedout");
    DDS_Monitoring_MonitoringCommandError_finalize(&exception);
}

} // namespace
