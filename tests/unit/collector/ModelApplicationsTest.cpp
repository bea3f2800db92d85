// Applications and their trees, as samples tell them.
#include <gtest/gtest.h>

#include <algorithm>

#include "orxmonitoring2d/metric_catalogue.h"
#include "tests/unit/collector/ModelFixture.hpp"

namespace {

using namespace collector;
using collector_test::FakeApplication;
using collector_test::fullEvent;
using collector_test::fullPeriodic;
using collector_test::matched;
using collector_test::Modelling;

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

TEST_F(Modelling, ApplicationsAreBounded) {
    ModelLimits limits;
    limits.applications = 2;
    Model small(limits);
    for (std::uint32_t number = 0; number < 5; ++number)
        FakeApplication(small, number, "a").tellRegistry();
    EXPECT_EQ(small.statistics().applications, 2U);
    EXPECT_EQ(dropped(DropCause::applicationLimit, small), 3U);
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

} // namespace
