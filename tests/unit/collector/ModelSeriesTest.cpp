// Values of metrics, as series of the resources that they were selected on.
#include <gtest/gtest.h>

#include "orxmonitoring2d/metric_catalogue.h"
#include "tests/unit/collector/ModelFixture.hpp"

namespace {

using namespace collector;
using collector_test::allMetricIds;
using collector_test::FakeApplication;
using collector_test::fullEvent;
using collector_test::fullPeriodic;
using collector_test::matched;
using collector_test::Modelling;
using collector_test::pushed;

TEST_F(Modelling, AValueIsKeptWithItsTimeAndTopic) {
    app.createSmallTree();
    app.timeNs = 5'000'000'007;
    app.tellMatched(5, 4);
    app.timeNs = 6'000'000'000;
    app.tellWritten(5, 99);
    const auto event = metric(app.guidOf(5), matched);
    ASSERT_TRUE(event);
    EXPECT_EQ(std::get<std::int64_t>(event->value), 4);
    EXPECT_EQ(event->timeNs, 5'000'000'007);
    EXPECT_FALSE(event->isPeriodic);
    const auto periodic = metric(app.guidOf(5), pushed);
    ASSERT_TRUE(periodic);
    EXPECT_EQ(std::get<std::int64_t>(periodic->value), 99);
    EXPECT_EQ(periodic->timeNs, 6'000'000'000);
    EXPECT_TRUE(periodic->isPeriodic);
}

TEST_F(Modelling, AFloatReadsAsTheDecimalThatItStandsFor) {
    app.createSmallTree();
    auto periodic = collector_test::Periodic(DDS_Monitoring_PeriodicPluginSupport_create_data());
    periodic->value._d = static_cast<DDS_Long>(ORX_MONITORING_PARTICIPANT_CLASS_ID);
    auto* stat = DDS_Monitoring_FloatStatPluginSupport_create_data();
    stat->mean = 0.1F;
    periodic->value._u.domain_participant.receive_latency_ms_2 = stat;
    app.send(std::move(periodic), 1);
    EXPECT_EQ(
        std::get<double>(metric(app.guidOf(1), "dds_domain_participant_receive_latency_ms_mean")->value),
        0.1);
}

TEST_F(Modelling, OnlySelectedMetricsAreSeries) {
    const auto ids = allMetricIds(ResourceClass::dataWriter);
    app.createSmallTree();
    app.tellMatched(5, 4);
    app.tellWritten(5, 1);
    const std::size_t all = model.application(app.guid())->series;
    EXPECT_EQ(all, 3U + 36U);
    // The total of the group is selected, the two counts are not.
    app.select(5, {ids[3]});
    EXPECT_FALSE(metric(app.guidOf(5), matched));
    EXPECT_TRUE(metric(app.guidOf(5), "dds_data_writer_publication_matched_total"));
    EXPECT_FALSE(metric(app.guidOf(5), pushed));
    EXPECT_EQ(model.application(app.guid())->series, 1U);
    // Of a group that was not selected any more nothing is left; of one that was, the value is.
    app.select(5, ids);
    EXPECT_TRUE(metric(app.guidOf(5), matched));
    EXPECT_FALSE(metric(app.guidOf(5), pushed));
    app.tellWritten(5, 2);
    EXPECT_EQ(model.application(app.guid())->series, all);
    EXPECT_EQ(model.statistics().series, all);
}

TEST_F(Modelling, ValuesOfAGroupThatIsNotSelectedAreNotKept) {
    app.createSmallTree();
    app.select(5, {});
    app.tellMatched(5, 4);
    app.select(5, allMetricIds(ResourceClass::dataWriter));
    EXPECT_FALSE(metric(app.guidOf(5), matched));
}

TEST_F(Modelling, ValuesOfAnotherClassAreRefused) {
    app.createSmallTree();
    app.send(fullEvent(ResourceClass::dataReader, 1), 5);
    app.send(fullPeriodic(ResourceClass::participant, 1), 6);
    EXPECT_GE(dropped(DropCause::unknownClass), 2U);
    EXPECT_EQ(model.statistics().series, 0U);
}

TEST_F(Modelling, AttributesAreKept) {
    app.createSmallTree();
    app.tellTopic(5, "square", "Shape");
    app.tellDomain(1, -7);
    auto event = collector_test::Event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    auto& groups = event->value._u.application;
    groups.hostname = DDS_String_dup("robot7");
    auto* config = DDS_Monitoring_LoggingConfigPluginSupport_create_data();
    DDS_Monitoring_LoggingSettingSeq_ensure_length(&config->logging_collection, 1, 1);
    auto* setting = DDS_Monitoring_LoggingSettingSeq_get_reference(&config->logging_collection, 0);
    setting->facility = 23;
    setting->verbosity = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING;
    groups.logging = config;
    app.send(std::move(event), 0);

    const auto writer = model.resource(app.guidOf(5));
    EXPECT_EQ(writer->topic, "square");
    EXPECT_EQ(writer->type, "Shape");
    EXPECT_EQ(writer->domain, -7);
    EXPECT_FALSE(model.resource(app.guidOf(6))->topic);
    const auto view = model.application(app.guid());
    EXPECT_EQ(view->host, "robot7");
    EXPECT_FALSE(view->processId);
    ASSERT_EQ(view->loggingCollection.size(), 1U);
    EXPECT_EQ(view->loggingCollection[0].facility, 23);
    EXPECT_EQ(view->loggingCollection[0].verbosity, 31U);
    EXPECT_TRUE(view->loggingForwarding.empty());
}

TEST_F(Modelling, EverySampleOfAnApplicationTellsThatItLives) {
    app.createSmallTree();
    nowNs += 2'000'000'000;
    EXPECT_DOUBLE_EQ(model.application(app.guid())->lastSampleSecondsAgo, 2.0);
    app.tellWritten(5, 1);
    EXPECT_DOUBLE_EQ(model.application(app.guid())->lastSampleSecondsAgo, 0.0);
    nowNs += 1'000'000'000;
    auto* logging = DDS_Monitoring_LoggingPluginSupport_create_data();
    collector_test::setGuid(logging->info.root_resource_guid, app.guid());
    model.logging(*logging, app.info(0x04));
    DDS_Monitoring_LoggingPluginSupport_destroy_data(logging);
    EXPECT_DOUBLE_EQ(model.application(app.guid())->lastSampleSecondsAgo, 0.0);
    EXPECT_EQ(model.statistics().loggingSamples, 1U);
    EXPECT_EQ(model.statistics().periodicSamples, 1U);
    EXPECT_EQ(model.statistics().eventSamples, 7U);
}

TEST_F(Modelling, SeriesOfAnApplicationAreBoundedByTheGroup) {
    ModelLimits limits;
    limits.seriesPerApplication = 40;
    Model small(limits);
    FakeApplication big(small, 1, "big");
    big.createSmallTree();
    big.tellWritten(5, 1); // 36 series
    big.tellMatched(5, 1); // 3 more
    big.send(fullEvent(ResourceClass::dataReader, 1), 6);
    const auto view = small.application(big.guid());
    EXPECT_EQ(view->series, 40U); // one of the reader's groups has one series
    EXPECT_EQ(dropped(DropCause::seriesLimit, small), 9U - 1U);
    // What is there goes on.
    big.tellWritten(5, 2);
    const auto writer = small.resource(big.guidOf(5));
    EXPECT_EQ(writer->metrics.size(), 39U);
    big.destroy(5);
    big.send(fullEvent(ResourceClass::dataReader, 1), 6);
    EXPECT_EQ(small.application(big.guid())->series, 9U);
}

TEST_F(Modelling, AWiderSelectionDoesNotPassTheBoundOfSeries) {
    ModelLimits limits;
    limits.seriesPerApplication = 5;
    Model small(limits);
    FakeApplication big(small, 1, "big");
    big.createSmallTree();
    const auto ids = allMetricIds(ResourceClass::dataWriter);
    big.select(5, {ids[16]});
    big.tellWritten(5, 1);
    EXPECT_EQ(small.statistics().series, 1U);
    big.select(5, ids);
    EXPECT_EQ(small.statistics().series, 0U);
    EXPECT_EQ(dropped(DropCause::seriesLimit, small), 35U);
}

} // namespace
