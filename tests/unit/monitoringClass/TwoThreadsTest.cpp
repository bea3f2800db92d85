// Threads of a program make and delete entities at once, while others push: nothing is lost, and everything
// is told in an order that a reader can follow.
#include <map>
#include <set>
#include <thread>

#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "gtest/gtest.h"

namespace {

constexpr DDS_UnsignedLong inconsistentTopicGroup = 3;
constexpr int creators = 2;
constexpr int rounds = 100;
constexpr int pushers = 2;
constexpr int pushes = 600;

using Guid = std::string;
Guid guidOf(const DDS_Monitoring_GUID_t& guid) {
    return {reinterpret_cast<const char*>(guid), sizeof guid};
}

// What a reader makes of the samples, and what it finds wrong.
struct Account {
    std::map<Guid, std::string> alive;
    std::map<std::string, int> created;
    std::map<std::string, int> removed;
    std::map<Guid, DDS_Long> lastValue;
    DDS_UnsignedLongLong epochs = 0;
    int strangers = 0;
    int backwards = 0;
    int gaps = 0;

    void take(const DDS_Monitoring_Event& sample) {
        const auto sum = sample.info.epoch_resource + sample.info.epoch_metric;
        if (sample.info.is_snapshot)
            return;
        if (sum != epochs + 1)
            ++gaps;
        epochs = sum;
        if (sample.value._d == ORX_MONITORING_TOPIC_CLASS_ID) {
            const Guid guid = guidOf(sample.resource_guid);
            if (alive.count(guid) == 0)
                ++strangers;
            const auto* status = sample.value._u.topic.status_inconsistent_topic;
            if (status == nullptr)
                return;
            if (status->total_count <= lastValue[guid])
                ++backwards;
            lastValue[guid] = status->total_count;
            return;
        }
        const auto* update = sample.value._u.application.resource_update;
        if (update == nullptr)
            return;
        if (update->_d == DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND) {
            const auto& resource = update->_u.new_resource;
            alive[guidOf(resource.guid)] = resource.name;
            ++created[resource.name];
        } else {
            const auto found = alive.find(guidOf(update->_u.delete_resource.guid));
            if (found == alive.end()) {
                ++strangers;
                return;
            }
            ++removed[found->second];
            alive.erase(found);
        }
    }
};

TEST(TwoThreads, CreateAndDeleteWhileOthersPush) {
    LogCapture log;
    Library library;
    library.property.event.gc_threshold = 3;
    library.property.event.initial_memory_size = 1024;
    library.select("//topics/*", "dds_topic_inconsistent_total");
    ASSERT_TRUE(library.start()) << log.text();
    EventReader reader{Library::domain};
    EventSamples samples;
    ASSERT_TRUE(reader.takeUntil(samples, 2)); // its own snapshots, before anything else happens
    samples.clear();
    auto* participant = library.participant("p");
    std::vector<ORX_MonitoringResource*> pushed;
    for (int i = 0; i < pushers; ++i) {
        pushed.push_back(library.topic(("pushed" + std::to_string(i)).c_str(), participant));
        ASSERT_NE(pushed.back(), nullptr);
    }
    std::vector<std::vector<DDS_Entity*>> entities(creators);
    for (auto& own : entities) {
        for (int i = 0; i < rounds; ++i)
            own.push_back(library.newEntity(DDS_TOPIC_ENTITY_KIND));
    }

    std::vector<std::thread> threads;
    for (int creator = 0; creator < creators; ++creator) {
        threads.emplace_back([&, creator] {
            for (int round = 0; round < rounds; ++round) {
                const auto name = "made" + std::to_string(creator) + "." + std::to_string(round);
                auto* topic = library.assertResource(ORX_MONITORING_TOPIC_CLASS_ID, name.c_str(), participant,
                    entities[static_cast<size_t>(creator)][static_cast<size_t>(round)]);
                ASSERT_NE(topic, nullptr);
                for (DDS_Long value = 1; value <= 2; ++value) {
                    const DDS_Monitoring_InconsistentTopicStatus status{value, 1};
                    EXPECT_TRUE(library.push(topic, inconsistentTopicGroup, &status));
                }
                library.deleteResource(topic);
            }
        });
    }
    for (int pusher = 0; pusher < pushers; ++pusher) {
        threads.emplace_back([&, pusher] {
            for (DDS_Long value = 1; value <= pushes; ++value) {
                const DDS_Monitoring_InconsistentTopicStatus status{value, 1};
                EXPECT_TRUE(
                    library.push(pushed[static_cast<size_t>(pusher)], inconsistentTopicGroup, &status));
            }
        });
    }
    for (auto& thread : threads)
        thread.join();

    Account account;
    size_t counted = 0;
    EXPECT_TRUE(reader.takeUntilThat(samples,
        [&] {
            for (; counted < samples.size(); ++counted)
                account.take(*samples[counted]);
            return account.removed.size() == creators * rounds &&
                   account.lastValue[guidOf(pushed[0]->base.guid)] == pushes &&
                   account.lastValue[guidOf(pushed[1]->base.guid)] == pushes;
        }))
        << account.removed.size() << " removed\n"
        << log.text();
    EXPECT_EQ(account.created.size(), creators * rounds + 1U + pushers);
    for (const auto& [name, times] : account.created)
        EXPECT_EQ(times, 1) << name;
    for (const auto& [name, times] : account.removed)
        EXPECT_EQ(times, 1) << name;
    EXPECT_EQ(account.strangers, 0) << "events of resources that were not announced, or were gone";
    EXPECT_EQ(account.backwards, 0);
    EXPECT_EQ(account.gaps, 0);
    EXPECT_EQ(account.alive.size(), 1U + pushers);
    for (const auto& [guid, value] : account.lastValue) {
        EXPECT_TRUE(value == 2 || value == pushes) << "the last update of a resource was lost";
    }
    EXPECT_EQ(account.lastValue.size(), static_cast<size_t>(creators * rounds + pushers));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U) << log.text();
}

// Pauses and resumes beside pushes: no deadlock, and no push that fails.
TEST(TwoThreads, PauseAndResumeWhileOthersPush) {
    LogCapture log;
    Library library;
    library.select("//topics/*", "dds_topic_inconsistent_total");
    ASSERT_TRUE(library.start());
    auto* topic = library.topic("t", library.participant("p"));
    ASSERT_NE(topic, nullptr);
    std::thread pauser{[&] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_TRUE(library.table->pauseResourceMetricsFunction(library.table, topic));
            EXPECT_TRUE(library.table->resumeResourceMetricsFunction(library.table, topic));
        }
    }};
    for (DDS_Long value = 1; value <= 2000; ++value) {
        const DDS_Monitoring_InconsistentTopicStatus status{value, 1};
        EXPECT_TRUE(library.push(topic, inconsistentTopicGroup, &status));
    }
    pauser.join();
    EXPECT_FALSE(ORX_MonitoringResource_isPaused(topic));
    EXPECT_LE(topic->stats.skippedEventUpdates, 2000U);
}

} // namespace
