// What the model takes for missed, and when it wants a registry again.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/collector/ModelFixture.hpp"

namespace {

using namespace collector;
using collector_test::allMetricIds;
using collector_test::FakeApplication;
using collector_test::FakeResource;
using collector_test::Modelling;

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

TEST_F(Modelling, ValuesOfAnUnknownResourceAreCountedAndWantARegistry) {
    app.tellRegistry();
    app.lose([&] { app.createSmallTree(); });
    app.tellMatched(5, 1);
    EXPECT_EQ(dropped(DropCause::unknownResource), 1U);
    EXPECT_EQ(model.takeIncomplete().size(), 1U);
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

} // namespace
