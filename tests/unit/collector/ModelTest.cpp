#include "collector/model/Model.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "orxmonitoring2d/metric_catalogue.h"
#include "tests/unit/collector/FakeApplication.hpp"

namespace {

using namespace collector;
using collector_test::allMetricIds;
using collector_test::FakeApplication;
using collector_test::FakeResource;
using collector_test::fullEvent;
using collector_test::fullPeriodic;

struct Modelling : testing::Test {
    std::int64_t nowNs = 1;
    Model model{{}, [this] { return nowNs; }};
    FakeApplication app{model, 1, "app"};

    std::uint64_t dropped(DropCause cause, const Model& of) const {
        return of.statistics().dropped[static_cast<std::size_t>(cause)];
    }
    std::uint64_t dropped(DropCause cause) const { return dropped(cause, model); }

    std::optional<MetricReading> metric(const Guid& guid, const std::string& name) const {
        const auto view = model.resource(guid);
        if (!view)
            return std::nullopt;
        for (const MetricReading& reading : view->metrics) {
            if (reading.name == name)
                return reading;
        }
        return std::nullopt;
    }
    std::vector<std::string> pathsOf(const char* expression) const {
        std::vector<std::string> paths;
        const auto page = model.resources(expression, false, 1000);
        for (const ResourceView& view : page->resources)
            paths.push_back(view.path);
        return paths;
    }
};

constexpr const char* matched = "dds_data_writer_publication_matched_current_count";
constexpr const char* pushed = "dds_data_writer_protocol_pushed_samples_total";

// ---- The tree ----

TEST_F(Modelling, ARegistryMakesTheApplicationAndAllItNamesWhateverTheirOrder) {
    app.lose([&] { app.createSmallTree(); });
    app.tellRegistry([](auto& told) { std::reverse(told.begin(), told.end()); });
    const auto view = model.application(app.guid());
    ASSERT_TRUE(view);
    EXPECT_EQ(view->name, "app");
    EXPECT_EQ(view->participant, app.participant());
    EXPECT_EQ(view->resources, 7U);
    EXPECT_EQ(model.resource(app.guidOf(5))->path,
        "/applications/app/domain_participants/p/publishers/pub/data_writers/w");
    EXPECT_EQ(model.resource(app.guidOf(1))->children.size(), 3U);
    EXPECT_EQ(model.resource(app.guidOf(1))->parent, app.guid());
}

TEST_F(Modelling, SamplesOfAnApplicationThatToldNoRegistryAreCounted) {
    app.lose([&] { app.tellRegistry(); });
    app.create(1, 0, ResourceClass::participant, "p");
    EXPECT_TRUE(model.applications().empty());
    EXPECT_EQ(dropped(DropCause::unknownApplication), 1U);
}

TEST_F(Modelling, ADeletionTakesEverythingBelow) {
    app.createSmallTree();
    app.tellMatched(5, 1);
    ASSERT_EQ(model.statistics().series, 3U);
    app.destroy(1);
    EXPECT_EQ(model.statistics().resources, 1U);
    EXPECT_EQ(model.statistics().series, 0U);
    EXPECT_FALSE(model.resource(app.guidOf(5)));
    EXPECT_TRUE(model.application(app.guid())->isComplete);
}

TEST_F(Modelling, AnApplicationThatVanishesTakesAllOfIt) {
    FakeApplication other(model, 2, "other");
    other.createSmallTree();
    app.createSmallTree();
    app.vanish();
    EXPECT_FALSE(model.application(app.guid()));
    EXPECT_EQ(model.statistics().resources, 7U);
    EXPECT_EQ(model.statistics().applications, 1U);
    EXPECT_TRUE(model.resource(other.guidOf(6)));
}

TEST_F(Modelling, AParticipantThatIsGoneTakesItsApplications) {
    FakeApplication other(model, 2, "other");
    other.createSmallTree();
    app.createSmallTree();
    Guid writer = app.participant();
    writer[15] = 0x02;
    model.participantGone(writer, 5);
    EXPECT_FALSE(model.application(app.guid()));
    EXPECT_TRUE(model.application(other.guid()));
    model.participantGone(writer, 5);
    EXPECT_EQ(model.statistics().applications, 1U);
}

TEST_F(Modelling, ARegistryEndsWhatItDoesNotName) {
    app.createSmallTree();
    app.tellMatched(5, 1);
    app.lose([&] {
        app.destroy(2);
        app.create(9, 3, ResourceClass::dataReader, "r9");
    });
    app.tellRegistry();
    EXPECT_FALSE(model.resource(app.guidOf(5)));
    EXPECT_TRUE(model.resource(app.guidOf(9)));
    EXPECT_EQ(model.statistics().resources, app.resources().size());
    EXPECT_EQ(model.statistics().series, 0U);
}

TEST_F(Modelling, ARegistryKeepsTheValuesOfWhatItNames) {
    app.createSmallTree();
    app.tellMatched(5, 3);
    app.tellRegistry();
    EXPECT_EQ(std::get<std::int64_t>(metric(app.guidOf(5), matched)->value), 3);
}

TEST_F(Modelling, AResourceThatWasMovedAndRenamedIsTakenAsTheRegistryTellsIt) {
    app.createSmallTree();
    app.lose([&] {
        app.create(7, 1, ResourceClass::publisher, "pub2");
        app.create(5, 7, ResourceClass::dataWriter, "moved");
    });
    app.tellRegistry([](auto& told) { std::reverse(told.begin(), told.end()); });
    EXPECT_EQ(model.resource(app.guidOf(5))->path,
        "/applications/app/domain_participants/p/publishers/pub2/data_writers/moved");
    EXPECT_EQ(model.statistics().resources, app.resources().size());
}

TEST_F(Modelling, AResourceBelowAnUnknownOneIsRefusedAndARegistryIsWanted) {
    app.tellRegistry();
    EXPECT_TRUE(model.takeIncomplete().empty());
    app.lose([&] { app.create(1, 0, ResourceClass::participant, "p"); });
    app.create(2, 1, ResourceClass::publisher, "pub");
    EXPECT_EQ(dropped(DropCause::unknownParent), 1U);
    EXPECT_FALSE(model.application(app.guid())->isComplete);
    EXPECT_EQ(model.takeIncomplete(), std::vector<Guid>{app.guid()});
    app.tellRegistry();
    EXPECT_TRUE(model.application(app.guid())->isComplete);
    EXPECT_EQ(model.statistics().resources, 3U);
}

TEST_F(Modelling, AnIncompleteApplicationIsToldAgainWhenItWasNotHealed) {
    app.tellRegistry();
    app.lose([&] { app.create(1, 0, ResourceClass::participant, "p"); });
    app.create(2, 1, ResourceClass::publisher, "pub");
    EXPECT_EQ(model.takeIncomplete(100).size(), 1U);
    EXPECT_TRUE(model.takeIncomplete(100).empty());
    nowNs += 100;
    EXPECT_EQ(model.takeIncomplete(100).size(), 1U);
}

TEST_F(Modelling, WhenSamplesOfWhomeverWereLostEveryApplicationIsInDoubt) {
    FakeApplication other(model, 2, "other");
    other.tellRegistry();
    app.createSmallTree();
    app.tellRegistry();
    app.lose([&] { app.create(7, 1, ResourceClass::publisher, "lost"); }); // the last that it does
    EXPECT_TRUE(model.takeIncomplete(100).empty()) << "nothing tells of it";
    model.doubtAll();
    EXPECT_EQ(model.statistics().incompleteApplications, 2U);
    EXPECT_EQ(model.takeIncomplete(100).size(), 2U);
    model.doubtAll();
    EXPECT_TRUE(model.takeIncomplete(100).empty()) << "they were asked a moment ago";
    app.tellRegistry();
    other.tellRegistry();
    EXPECT_TRUE(model.resource(app.guidOf(7)).has_value());
    EXPECT_EQ(model.statistics().incompleteApplications, 0U);
}

TEST_F(Modelling, AnApplicationWhoseEndWasLostCanBeEnded) {
    FakeApplication other(model, 2, "other");
    other.tellRegistry();
    app.createSmallTree();
    model.applicationGone(app.guid(), nowNs);
    EXPECT_FALSE(model.application(app.guid()).has_value());
    EXPECT_EQ(model.statistics().resources, 1U);
    model.applicationGone(app.guid(), nowNs); // again
    EXPECT_TRUE(model.application(other.guid()).has_value());
}

TEST_F(Modelling, ARegistryThatWasMadeBeforeACreationIsAskedForAgain) {
    app.createSmallTree();
    app.tellRegistry();
    EXPECT_TRUE(model.takeIncomplete().empty()) << "they agree";
    app.create(7, 1, ResourceClass::publisher, "late");
    app.tellRegistry([&](auto& told) {
        std::erase_if(told, [&](const auto* each) { return each->guid == app.guidOf(7); });
    });
    EXPECT_EQ(model.takeIncomplete(), std::vector<Guid>{app.guid()});
    app.tellRegistry();
    EXPECT_TRUE(model.resource(app.guidOf(7)).has_value());
    EXPECT_TRUE(model.application(app.guid())->isComplete);
}

TEST_F(Modelling, ARegistryThatWasMadeBeforeADeletionIsAskedForAgain) {
    app.createSmallTree();
    const FakeResource gone = app.resources().at(app.guidOf(5));
    app.destroy(5);
    app.tellRegistry([&](auto& told) { told.push_back(&gone); });
    EXPECT_EQ(model.takeIncomplete(), std::vector<Guid>{app.guid()});
    app.tellRegistry();
    EXPECT_FALSE(model.resource(app.guidOf(5)).has_value());
    EXPECT_TRUE(model.application(app.guid())->isComplete);
}

TEST_F(Modelling, AGapInEitherEpochMeansThatSomethingWasMissed) {
    app.createSmallTree();
    app.tellMatched(5, 1);
    app.select(5, allMetricIds(ResourceClass::dataWriter));
    app.tellMatched(5, 1, true);
    ASSERT_TRUE(model.application(app.guid())->isComplete);
    app.lose([&] { app.tellMatched(5, 2); });
    app.tellMatched(5, 3);
    EXPECT_FALSE(model.application(app.guid())->isComplete);
    app.tellRegistry();
    ASSERT_TRUE(model.application(app.guid())->isComplete);
    app.lose([&] { app.destroy(6); });
    app.tellMatched(5, 4);
    EXPECT_FALSE(model.application(app.guid())->isComplete);
    EXPECT_EQ(model.application(app.guid())->resourceEpoch, app.resourceEpoch);
    EXPECT_EQ(model.application(app.guid())->metricEpoch, app.metricEpoch);
}

TEST_F(Modelling, PeriodicValuesOfUnknownResourcesTellOnlyWhenTheyGoOn) {
    app.createSmallTree();
    app.destroy(5);
    app.tellWritten(5, 1); // was on its way
    EXPECT_TRUE(model.application(app.guid())->isComplete);
    for (int i = 0; i < 20; ++i)
        app.tellWritten(5, 1);
    EXPECT_FALSE(model.application(app.guid())->isComplete);
    EXPECT_EQ(dropped(DropCause::unknownResource), 21U);
}

TEST_F(Modelling, AnApplicationThatCameBackIsAnotherOneOfTheSameName) {
    app.createSmallTree();
    FakeApplication again(model, 1, "app", 1);
    again.createSmallTree();
    EXPECT_EQ(model.applicationsNamed("app").size(), 2U);
    app.vanish();
    EXPECT_EQ(model.applicationsNamed("app"), std::vector<Guid>{again.guid()});
    EXPECT_EQ(model.statistics().resources, 7U);
}

TEST_F(Modelling, ARegistryFromAnotherParticipantReplacesTheApplication) {
    app.createSmallTree();
    app.tellMatched(5, 1);
    // The same GUIDs, told by another writer.
    DDS_SampleInfo info = FakeApplication(model, 9, "").info();
    auto event = collector_test::Event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    auto* registry = DDS_Monitoring_ResourceRegistryPluginSupport_create_data();
    event->value._u.application.resource_registry = registry;
    collector_test::setGuid(event->info.root_resource_guid, app.guid());
    collector_test::setGuid(event->resource_guid, app.guid());
    DDS_Monitoring_ResourceReferenceSeq_ensure_length(&registry->resources, 1, 1);
    auto* root = *DDS_Monitoring_ResourceReferenceSeq_get_reference(&registry->resources, 0);
    collector_test::setGuid(root->guid, app.guid());
    root->class_id = ORX_MONITORING_APPLICATION_CLASS_ID;
    DDS_String_replace(&root->name, "moved");
    model.event(*event, info);

    EXPECT_EQ(model.statistics().resources, 1U);
    EXPECT_EQ(model.applicationName(app.guid()), "moved");
    // What the former participant still says counts no more: its end does not end the application.
    app.vanish();
    app.tellMatched(5, 2);
    EXPECT_EQ(model.statistics().applications, 1U);
    EXPECT_EQ(dropped(DropCause::conflict), 2U);
}

TEST_F(Modelling, AResourceOfAnotherApplicationIsNotTouched) {
    FakeApplication other(model, 2, "other");
    other.createSmallTree();
    app.createSmallTree();
    // Application `other` speaks of a resource of `app`.
    const auto told = [&](DDS_Monitoring_ResourceUpdateKind kind, auto fill) {
        auto event = collector_test::Event(DDS_Monitoring_EventPluginSupport_create_data());
        event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
        auto* update = DDS_Monitoring_ResourceUpdatePluginSupport_create_data();
        update->_d = kind;
        event->value._u.application.resource_update = update;
        fill(*update);
        collector_test::setGuid(event->info.root_resource_guid, other.guid());
        collector_test::setGuid(event->resource_guid, other.guid());
        model.event(*event, other.info());
    };
    told(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND,
        [&](auto& update) { collector_test::setGuid(update._u.delete_resource.guid, app.guidOf(1)); });
    told(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND,
        [&](auto& update) { collector_test::setGuid(update._u.change_resource.guid, app.guidOf(5)); });
    told(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND, [&](auto& update) {
        collector_test::setGuid(update._u.new_resource.guid, app.guidOf(5));
        collector_test::setGuid(update._u.new_resource.owner_resource_guid, other.guidOf(2));
        update._u.new_resource.class_id = ORX_MONITORING_DATA_WRITER_CLASS_ID;
    });
    EXPECT_EQ(dropped(DropCause::conflict), 3U);
    EXPECT_EQ(model.resource(app.guidOf(5))->application, app.guid());
    app.tellMatched(5, 1);
    EXPECT_TRUE(metric(app.guidOf(5), matched));
}

TEST_F(Modelling, AChainOfResourcesIsBounded) {
    app.tellRegistry();
    for (std::uint32_t number = 1; number < 40; ++number)
        app.create(number, number - 1, ResourceClass::publisher, "deep");
    EXPECT_EQ(model.statistics().resources, 8U);
    EXPECT_EQ(dropped(DropCause::depth), 1U);
    EXPECT_EQ(dropped(DropCause::unknownParent), 31U);
}

TEST_F(Modelling, ARingOfOwnersIsRefused) {
    app.tellRegistry();
    app.lose([&] {
        app.create(1, 2, ResourceClass::publisher, "one");
        app.create(2, 1, ResourceClass::publisher, "two");
        app.create(3, 3, ResourceClass::publisher, "itself");
    });
    app.tellRegistry();
    EXPECT_EQ(model.statistics().resources, 1U);
    EXPECT_EQ(dropped(DropCause::unknownParent), 3U);
}

TEST_F(Modelling, AResourceThatIsMovedBelowItselfEnds) {
    app.createSmallTree();
    app.create(1, 2, ResourceClass::participant, "p"); // 2 is below 1
    EXPECT_EQ(model.statistics().resources, 1U);
    EXPECT_EQ(dropped(DropCause::unknownParent), 1U);
}

TEST_F(Modelling, AnUnknownClassAndASecondRootAreRefused) {
    app.createSmallTree();
    app.create(8, 0, ResourceClass::application, "second");
    EXPECT_EQ(dropped(DropCause::conflict), 1U);
    auto event = collector_test::Event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    auto* update = DDS_Monitoring_ResourceUpdatePluginSupport_create_data();
    update->_u.new_resource.class_id = 4711;
    event->value._u.application.resource_update = update;
    collector_test::setGuid(event->info.root_resource_guid, app.guid());
    model.event(*event, app.info());
    EXPECT_EQ(dropped(DropCause::unknownClass), 1U);
    EXPECT_EQ(model.statistics().resources, 7U);
}

TEST_F(Modelling, SamplesWithoutDataAreCountedAndChangeNothing) {
    app.createSmallTree();
    DDS_SampleInfo info = app.info();
    info.valid_data = 0;
    model.event(*fullEvent(ResourceClass::dataWriter, 1), info);
    model.periodic(*fullPeriodic(ResourceClass::dataWriter, 1), info);
    EXPECT_EQ(dropped(DropCause::invalid), 2U);
    EXPECT_EQ(model.statistics().series, 0U);
}

// ---- Values ----

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

TEST_F(Modelling, ValuesOfAnUnknownResourceAreCountedAndWantARegistry) {
    app.tellRegistry();
    app.lose([&] { app.createSmallTree(); });
    app.tellMatched(5, 1);
    EXPECT_EQ(dropped(DropCause::unknownResource), 1U);
    EXPECT_EQ(model.takeIncomplete().size(), 1U);
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

// ---- Bounds ----

TEST_F(Modelling, ApplicationsAreBounded) {
    ModelLimits limits;
    limits.applications = 2;
    Model small(limits);
    for (std::uint32_t number = 0; number < 5; ++number)
        FakeApplication(small, number, "a").tellRegistry();
    EXPECT_EQ(small.statistics().applications, 2U);
    EXPECT_EQ(dropped(DropCause::applicationLimit, small), 3U);
}

TEST_F(Modelling, ResourcesOfAnApplicationAreBoundedAndARegistryIsNotWantedForThem) {
    ModelLimits limits;
    limits.resourcesPerApplication = 10;
    Model small(limits);
    FakeApplication big(small, 1, "big");
    FakeApplication other(small, 2, "other");
    big.tellRegistry();
    for (std::uint32_t number = 1; number <= 50; ++number)
        big.create(number, 0, ResourceClass::participant, "p");
    other.createSmallTree();
    big.create(60, 40, ResourceClass::topic, "t"); // below one that was refused
    EXPECT_EQ(small.application(big.guid())->resources, 10U);
    EXPECT_EQ(small.application(other.guid())->resources, 7U);
    EXPECT_EQ(dropped(DropCause::resourceLimit, small), 41U);
    EXPECT_TRUE(small.takeIncomplete().empty());
    big.destroy(1);
    big.create(61, 0, ResourceClass::participant, "again");
    EXPECT_TRUE(small.resource(big.guidOf(61)));
}

TEST_F(Modelling, AllResourcesTogetherAreBounded) {
    ModelLimits limits;
    limits.resources = 10;
    Model small(limits);
    FakeApplication first(small, 1, "first");
    FakeApplication second(small, 2, "second");
    FakeApplication third(small, 3, "third");
    first.createSmallTree();
    second.createSmallTree();
    third.tellRegistry();
    EXPECT_EQ(small.statistics().resources, 10U);
    EXPECT_EQ(small.statistics().applications, 2U);
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

TEST_F(Modelling, TextsAreValidUtf8AndBounded) {
    ModelLimits limits;
    limits.textLength = 8;
    Model small(limits);
    FakeApplication odd(small, 1, "\xFF\x01p");
    odd.createSmallTree();
    odd.tellTopic(5, "123456\xE2\x82\xAC", "12345\xE2\x82\xAC");
    EXPECT_EQ(small.applicationName(odd.guid()), "\xEF\xBF\xBD\x01p");
    EXPECT_EQ(small.resource(odd.guidOf(5))->topic, "123456");
    EXPECT_EQ(small.resource(odd.guidOf(5))->type, "12345\xE2\x82\xAC");
    EXPECT_EQ(dropped(DropCause::textLength, small), 1U);
}

// ---- Lookups ----

TEST_F(Modelling, ApplicationsAreListedByNameAndGuid) {
    FakeApplication b2(model, 5, "b");
    FakeApplication b1(model, 4, "b");
    FakeApplication a(model, 6, "a");
    b2.tellRegistry();
    b1.tellRegistry();
    a.tellRegistry();
    const auto list = model.applications();
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0].guid, a.guid());
    EXPECT_EQ(list[1].guid, b1.guid());
    EXPECT_EQ(list[2].guid, b2.guid());
}

TEST_F(Modelling, APathExpressionSelectsParentsBeforeChildren) {
    FakeApplication other(model, 2, "another");
    app.createSmallTree();
    other.createSmallTree();
    EXPECT_EQ(pathsOf("//data_*/*"),
        (std::vector<std::string>{"/applications/another/domain_participants/p/publishers/pub/data_writers/w",
            "/applications/another/domain_participants/p/subscribers/sub/data_readers/r",
            "/applications/app/domain_participants/p/publishers/pub/data_writers/w",
            "/applications/app/domain_participants/p/subscribers/sub/data_readers/r"}));
    EXPECT_EQ(pathsOf("//*").size(), 14U);
    EXPECT_EQ(pathsOf("//*").front(), "/applications/another");
    EXPECT_EQ(pathsOf("/applications/app/*/p"),
        std::vector<std::string>{"/applications/app/domain_participants/p"});
    EXPECT_EQ(pathsOf(("//" + reading::guidText(app.guidOf(4))).c_str()),
        std::vector<std::string>{"/applications/app/domain_participants/p/topics/t"});
    EXPECT_EQ(pathsOf(("/applications/" + reading::guidText(other.guid()) + "//t").c_str()),
        std::vector<std::string>{"/applications/another/domain_participants/p/topics/t"});
    // Twice selected, once told.
    EXPECT_EQ(pathsOf("//*/p//*/*//data_writers/w").size(), 2U);
    EXPECT_TRUE(pathsOf("/applications/nobody").empty());
}

TEST_F(Modelling, AMalformedExpressionIsToldApartFromOneThatSelectsNothing) {
    app.createSmallTree();
    EXPECT_FALSE(model.resources("///", false, 10));
    EXPECT_FALSE(model.resources(std::string(2000, 'a'), false, 10));
    EXPECT_FALSE(model.resources(std::string_view("//*\0", 4), false, 10));
    // Thirty-two tokens are the most: each "//a" is three.
    std::string deep;
    for (int i = 0; i < 10; ++i)
        deep += "//a";
    EXPECT_TRUE(model.resources("/a/b" + deep, false, 10));
    EXPECT_FALSE(model.resources("/a/b/c" + deep, false, 10));
    EXPECT_TRUE(model.resources(std::string(1000, 'a') + "/b", false, 10));
    ASSERT_TRUE(model.resources("/topics/t", false, 10));
    EXPECT_TRUE(model.resources("", false, 10)->resources.empty());
}

TEST_F(Modelling, ResourcesComeInPages) {
    app.createSmallTree();
    std::vector<std::string> names;
    Guid after{};
    std::size_t pages = 0;
    do {
        const auto page = model.resources("//*", true, 3, after);
        ASSERT_LE(page->resources.size(), 3U);
        for (const ResourceView& view : page->resources)
            names.push_back(view.name);
        after = page->next;
        ++pages;
    } while (after != noGuid);
    EXPECT_EQ(names, (std::vector<std::string>{"app", "p", "pub", "w", "sub", "r", "t"}));
    EXPECT_EQ(pages, 3U);
}

TEST_F(Modelling, ApplicationsAreFoundAsAPersonNamesThem) {
    FakeApplication ping(model, 2, "ping1");
    FakeApplication pong(model, 3, "ping2");
    app.tellRegistry();
    ping.tellRegistry();
    pong.tellRegistry();
    const std::vector<Guid> both{ping.guid(), pong.guid()};
    EXPECT_EQ(model.applicationsNamed("ping*"), both);
    EXPECT_EQ(model.applicationsNamed("/applications/ping?"), both);
    EXPECT_EQ(model.applicationsNamed("/applications/app"), std::vector<Guid>{app.guid()});
    EXPECT_EQ(model.applicationsNamed(reading::guidText(pong.guid())), std::vector<Guid>{pong.guid()});
    EXPECT_EQ(model.applicationsNamed(reading::guidDigits(pong.guid())), std::vector<Guid>{pong.guid()});
    EXPECT_TRUE(model.applicationsNamed("nobody").empty());
    EXPECT_TRUE(model.applicationsNamed("").empty());
}

// ---- Selectors ----

struct Selecting : Modelling {
    FakeApplication ping1{model, 2, "ping"};
    FakeApplication ping2{model, 3, "ping"};
    FakeApplication pong{model, 4, "pong"};
    void SetUp() override {
        ping1.createSmallTree();
        ping2.createSmallTree();
        pong.createSmallTree();
    }
    std::string g(const FakeApplication& application) const { return reading::guidText(application.guid()); }
    using Texts = std::vector<std::string>;
};

TEST_F(Selecting, ANameBecomesTheGuidOfEachApplicationOfThatName) {
    EXPECT_EQ(model.translateSelector("/applications/ping//data_writers/*"),
        (Texts{"/applications/" + g(ping1) + "//data_writers/*",
            "/applications/" + g(ping2) + "//data_writers/*"}));
    EXPECT_EQ(model.translateSelector("/applications/pong"), Texts{"/applications/" + g(pong)});
    EXPECT_EQ(model.translateSelector("applications/pong/"), Texts{"applications/" + g(pong) + "/"});
}

TEST_F(Selecting, APatternBecomesTheGuidsOfAllThatItMeets) {
    EXPECT_EQ(model.translateSelector("/applications/p*ng/domain_participants/p"),
        (Texts{"/applications/" + g(ping1) + "/domain_participants/p",
            "/applications/" + g(ping2) + "/domain_participants/p",
            "/applications/" + g(pong) + "/domain_participants/p"}));
    EXPECT_EQ(model.translateSelector("/*/pong"), Texts{"/*/" + g(pong)});
    EXPECT_EQ(model.translateSelector("//applications/po[mno]g//topics/*"),
        Texts{"//applications/" + g(pong) + "//topics/*"});
}

TEST_F(Selecting, WhatNamesNobodyAllOrAGuidStays) {
    const std::string long1 = "/applications/pong//data_writers/" + std::string(980, 'x');
    for (const std::string& text :
        {std::string("/applications/nobody//topics/*"), std::string("/applications/*//topics/*"),
            std::string("//*"), std::string("//ping"), std::string("//*/ping"), "/applications/" + g(ping1),
            std::string("/topics/ping"), std::string("/applications"), std::string("/applications//ping"),
            std::string(""), std::string("/"), std::string("//applications/pong/ping"), long1})
        EXPECT_EQ(model.translateSelector(text), Texts{text});
}

TEST_F(Selecting, ATranslatedSelectorSelectsTheSame) {
    for (const char* text : {"/applications/ping//data_*/*", "/applications/p?ng", "/*/pong//t",
             "//applications/ping/domain_participants/*"}) {
        Texts translated;
        for (const std::string& each : model.translateSelector(text)) {
            for (const std::string& path : pathsOf(each.c_str()))
                translated.push_back(path);
        }
        EXPECT_EQ(translated, pathsOf(text)) << text;
    }
}

// ---- Observers ----

struct Recorder : ModelObserver {
    std::vector<ModelEvent> events;
    std::function<void()> during;
    void onEvents(std::span<const ModelEvent> told) override {
        events.insert(events.end(), told.begin(), told.end());
        if (during)
            during();
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> result;
        for (const ModelEvent& event : events) {
            std::string text = std::string(modelEventName(event.kind)) + " " + event.path;
            if (event.metric != nullptr)
                text += std::string(" ") + event.metric;
            result.push_back(text + (event.isSnapshot ? " snapshot" : ""));
        }
        return result;
    }
};

struct Observing : Modelling {
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    void SetUp() override { model.addObserver(recorder); }
};

TEST_F(Observing, TheLifeOfATreeIsTold) {
    app.createSmallTree();
    app.destroy(2);
    app.vanish();
    const std::string p = "/applications/app/domain_participants/p";
    EXPECT_EQ(recorder->texts(),
        (std::vector<std::string>{"application_appeared /applications/app snapshot", "created " + p,
            "created " + p + "/publishers/pub", "created " + p + "/subscribers/sub",
            "created " + p + "/topics/t", "created " + p + "/publishers/pub/data_writers/w",
            "created " + p + "/subscribers/sub/data_readers/r",
            "deleted " + p + "/publishers/pub/data_writers/w", "deleted " + p + "/publishers/pub",
            "application_vanished /applications/app"}));
    EXPECT_EQ(recorder->events[1].applicationName, "app");
    EXPECT_EQ(recorder->events[1].guid, app.guidOf(1));
    EXPECT_EQ(recorder->events[1].timeNs, app.timeNs);
}

TEST_F(Observing, ValuesOfTheEventTopicAreToldWhenTheyChange) {
    app.createSmallTree();
    app.tellMatched(5, 0);
    recorder->events.clear();
    app.tellMatched(5, 2);
    app.tellMatched(5, 2);
    app.tellMatched(5, 2, true);
    app.tellWritten(5, 7);
    ASSERT_EQ(recorder->events.size(), 1U);
    EXPECT_STREQ(recorder->events[0].metric, matched);
    EXPECT_EQ(std::get<std::int64_t>(recorder->events[0].value), 2);
    EXPECT_EQ(recorder->events[0].resourceClass, ResourceClass::dataWriter);
}

TEST_F(Observing, TheFirstValuesAreToldEvenWhenTheyAreZero) {
    app.createSmallTree();
    recorder->events.clear();
    app.tellMatched(5, 0, true);
    EXPECT_EQ(recorder->events.size(), 3U);
    EXPECT_TRUE(recorder->events[0].isSnapshot);
}

TEST_F(Observing, ARegistryTellsWhatCameAndWhatWent) {
    app.createSmallTree();
    app.lose([&] {
        app.destroy(6);
        app.create(9, 1, ResourceClass::topic, "new");
    });
    recorder->events.clear();
    app.tellRegistry();
    EXPECT_EQ(recorder->texts(),
        (std::vector<std::string>{
            "deleted /applications/app/domain_participants/p/subscribers/sub/data_readers/r snapshot",
            "created /applications/app/domain_participants/p/topics/new snapshot"}));
}

TEST_F(Observing, AnObserverMayReadTheModelAndLeave) {
    recorder->during = [&] {
        EXPECT_GE(model.statistics().resources, 1U);
        model.removeObserver(recorder.get());
    };
    app.createSmallTree();
    EXPECT_EQ(recorder->events.size(), 1U);
}

} // namespace
