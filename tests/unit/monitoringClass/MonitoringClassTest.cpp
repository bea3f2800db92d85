#include "src/monitoringClass/MonitoringClass.h"

#include <chrono>

#include "src/monitoringClass/CommandEntry.h"
#include "src/monitoringClass/LoggingConfiguration.h"
#include "src/monitoringClass/ResourceOperations.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "gtest/gtest.h"

namespace {

TEST(MonitoringClass, InitializeRegistersCreate) {
    LogCapture log;
    ORX_MonitoringHost_finalize();
    ASSERT_EQ(ORX_MonitoringGlobals_get_instance(), nullptr);
    ORX_Monitoring_initialize();
    EXPECT_TRUE(log.has("\"monitoringGlobals == ((void *)0)\"\n", "PRECONDITION")) << log.text();
    ASSERT_TRUE(ORX_MonitoringHost_initialize());
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->createFunction, nullptr);
    ORX_Monitoring_initialize();
    EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->createFunction, &ORX_Monitoring_create);
    ORX_MonitoringHost_finalize();
}

TEST(MonitoringClass, CreateWithoutArgumentsAllocatesNothing) {
    Library library;
    LogCapture log;
    auto* factory = DDS_DomainParticipantFactory_get_instance();
    const auto allocations = ORXOsapiHeap_getAllocationCount();
    EXPECT_EQ(ORX_Monitoring_create(nullptr, &library.property), nullptr);
    EXPECT_TRUE(log.has("\"factory == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_Monitoring_create(factory, nullptr), nullptr);
    EXPECT_TRUE(log.has("\"property == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORXOsapiHeap_getAllocationCount(), allocations);
}

TEST(MonitoringClass, DeletingNothingDoesNothing) {
    LogCapture log;
    ORX_Monitoring_delete(nullptr);
    EXPECT_FALSE(ORX_Monitoring_prefinalize(nullptr));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST(MonitoringClass, TheTableIsComplete) {
    LogCapture log;
    Library library;
    ASSERT_TRUE(library.start()) << log.text();
    const ORX_MonitoringClass& table = *library.table;
    EXPECT_EQ(table.factory, DDS_DomainParticipantFactory_get_instance());
    ASSERT_NE(table.rootResource, nullptr);
    EXPECT_STREQ(table.rootResource->base.name, "app");
    EXPECT_EQ(table.rootResource->concurrencyIndex, 0U);
    EXPECT_EQ(table.prefinalizeFunction, &ORX_Monitoring_prefinalize);
    EXPECT_EQ(table.deleteFunction, &ORX_Monitoring_delete);
    EXPECT_EQ(table.isSharedLibraryFunction, &ORX_Monitoring_is_shared_library);
    EXPECT_EQ(table.assertResourceFunction, &ORX_Monitoring_assertResource);
    EXPECT_EQ(table.deleteResourceFunction, &ORX_Monitoring_deleteResource);
    EXPECT_EQ(table.deleteResourceChildrenFunction, &ORX_Monitoring_deleteResourceChildren);
    EXPECT_EQ(table.pushEventMetricFunction, &ORX_Monitoring_pushEventMetric);
    EXPECT_EQ(table.onLoggingCollectionChange, &ORX_Monitoring_onLoggingCollectionChange);
    EXPECT_EQ(table.getPropertyFunction, &ORX_Monitoring_getProperty);
    EXPECT_EQ(table.dispatchCommandFunction, &ORX_Monitoring_dispatchCommand);
    EXPECT_EQ(table.pauseResourceMetricsFunction, &ORX_Monitoring_pauseResourceMetrics);
    EXPECT_EQ(table.pauseResourceChildrenMetricsFunction, &ORX_Monitoring_pauseResourceChildrenMetrics);
    EXPECT_EQ(table.resumeResourceMetricsFunction, &ORX_Monitoring_resumeResourceMetrics);
    EXPECT_EQ(table.postLogMessage, &ORX_Monitoring_postLogMessage);
    EXPECT_TRUE(table.isSharedLibraryFunction());
    const ORX_MonitoringProperty_t* copy = table.getPropertyFunction(library.table);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, &library.property);
    EXPECT_STREQ(copy->application_name, "app");
    EXPECT_NE(copy->application_name, library.property.application_name);
    EXPECT_EQ(library.impl().status, ORX_MONITORING_STATE_ENABLED);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST(MonitoringClass, CommandsAndLogMessagesAreTaken) {
    LogCapture log;
    Library library;
    ASSERT_TRUE(library.start());
    DDS_ServiceRequest request{};
    request.service_id = 4; // of commands; without data it asks for nothing
    DDS_SampleInfo info{};
    EXPECT_TRUE(library.table->dispatchCommandFunction(library.table, &request, &info));
    EXPECT_TRUE(library.table->onLoggingCollectionChange(library.table));
    const DDS_Duration_t time{1, 0};
    const auto post = [&](const char* text, const DDS_Duration_t* timestamp) {
        return library.table->postLogMessage(library.table, text, ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 0,
            timestamp, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, nullptr, nullptr, 0);
    };
    EXPECT_TRUE(post("text", &time));
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_FALSE(post(nullptr, &time));
    EXPECT_FALSE(post("text", nullptr));
    EXPECT_TRUE(log.has("\"timestamp == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(library.table->dispatchCommandFunction(library.table, nullptr, &info));
    EXPECT_TRUE(ORX_Monitoring_prefinalize(library.table));
    EXPECT_TRUE(library.table->dispatchCommandFunction(library.table, &request, &info));
}

TEST(MonitoringClass, SelectionsOfThePropertyAreStoredAsGiven) {
    LogCapture log;
    Library library;
    ASSERT_TRUE(library.start());
    EXPECT_EQ(REDAInlineList_getSize(&library.impl().currentMetricSelectionList), 0);
    EXPECT_EQ(REDASkiplist_getNodeCount(library.impl().metricSelectionIndex), 0);
    ASSERT_TRUE(library.stop());
    library.select("//topics/*", "*");
    library.select("//data_writers/*", "dds_data_writer_cache*");
    ASSERT_TRUE(library.start()) << log.text();
    EXPECT_EQ(REDAInlineList_getSize(&library.impl().currentMetricSelectionList), 2);
    EXPECT_EQ(REDASkiplist_getNodeCount(library.impl().metricSelectionIndex), 2);
    const auto* topic = library.topic("t", library.participant("p"));
    ASSERT_NE(topic, nullptr) << log.text();
    EXPECT_EQ(DDS_UnsignedLongSeq_get_length(&topic->base.metric_ids), 1);
}

TEST(MonitoringClass, AReaderLearnsOfTheApplicationWhateverTheTimeItComes) {
    LogCapture log;
    Library library;
    ASSERT_TRUE(library.start());
    EventReader reader{Library::domain};
    EventSamples samples;
    // The tree, and the application's groups.
    ASSERT_TRUE(reader.takeUntil(samples, 2)) << log.text();
    ASSERT_NE(samples[0]->value._u.application.resource_registry, nullptr);
    const auto& application = samples[1]->value._u.application;
    ASSERT_NE(application.hostname, nullptr);
    ASSERT_NE(application.process_id, nullptr);
    EXPECT_EQ(*application.process_id, static_cast<DDS_UnsignedLongLong>(getpid()));
    ASSERT_NE(application.logging, nullptr);
    const auto& forwarding = application.logging->logging_forwarding;
    ASSERT_EQ(DDS_Monitoring_LoggingSettingSeq_get_length(&forwarding), 4);
    constexpr DDS_Octet facilities[] = {23, 10, 22, 1};
    for (DDS_Long i = 0; i < 4; ++i) {
        EXPECT_EQ(DDS_Monitoring_LoggingSettingSeq_get_reference(&forwarding, i)->facility, facilities[i]);
        EXPECT_EQ(DDS_Monitoring_LoggingSettingSeq_get_reference(&application.logging->logging_collection, i)
                      ->facility,
            facilities[i]);
    }
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U) << log.text();
}

TEST(MonitoringClass, AReaderThatIsThereBeforeTheStartGetsItAllToo) {
    LogCapture log;
    Library library;
    EventReader reader{Library::domain};
    ASSERT_TRUE(library.start());
    EventSamples samples;
    ASSERT_TRUE(reader.takeUntil(samples, 2)) << log.text();
    EXPECT_NE(samples[0]->value._u.application.resource_registry, nullptr);
}

TEST(MonitoringClass, ALongSnapshotDelayDoesNotHoldUpTheStop) {
    LogCapture log;
    Library library;
    library.property.event.snapshot_delay = {3600, 0};
    ASSERT_TRUE(library.start());
    EventReader reader{Library::domain};
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(library.stop());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{60});
}

TEST(MonitoringClass, StartsAndStopsAgainAndAgain) {
    LogCapture log;
    Library library;
    ASSERT_TRUE(library.start());
    ASSERT_TRUE(library.stop());
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(library.start()) << log.text();
        ASSERT_NE(library.participant("p"), nullptr);
        ASSERT_TRUE(library.stop());
        EXPECT_EQ(library.engine.liveObjects(), 0);
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads);
    }
    // The entity that stands for each participant is the test's, and its lock.
    EXPECT_LE(ORXOsapiHeap_getLiveBufferCount(), buffers + 10);
}

TEST(MonitoringClass, WhatIsQueuedAtTheStopIsDropped) {
    LogCapture log;
    Library library;
    library.property.event.publication_period = {3600, 0};
    ASSERT_TRUE(library.start());
    EventReader reader{Library::domain};
    ASSERT_NE(library.participant("p"), nullptr);
    EXPECT_TRUE(library.stop());
    EXPECT_TRUE(reader.takeNow().empty());
}

} // namespace
