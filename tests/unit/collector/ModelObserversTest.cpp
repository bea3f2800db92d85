// What observers are told.
#include <gtest/gtest.h>

#include "tests/unit/collector/ModelFixture.hpp"

namespace {

using namespace collector;
using collector_test::matched;
using collector_test::Modelling;

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
