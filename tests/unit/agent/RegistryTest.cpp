#include "agent/Registry.hpp"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/Wait.hpp"
#include "zddscore/log.h"

namespace {

using namespace orx::agent;

dds_entity_t lastHandle = 0;

Observed* made(Registry& registry, Kind kind, Observed* parent) {
    Observed* observed = createObserved(kind);
    observed->handle = ++lastHandle;
    return registry.insert(observed, parent) ? observed : nullptr;
}

Observed* participant(Registry& registry) {
    return made(registry, Kind::participant, nullptr);
}

// Does all work that there is, and tells it as "+handle" and "-handle".
std::vector<std::string> doWork(Registry& registry) {
    std::vector<std::string> done;
    while (true) {
        const Registry::Task task = registry.takeWork();
        if (!task.observed)
            return done;
        done.push_back((task.isDeletion ? "-" : "+") + std::to_string(task.observed->handle));
        if (task.isDeletion)
            registry.deleted(*task.observed);
    }
}

std::string plus(const Observed* observed) {
    return "+" + std::to_string(observed->handle);
}
std::string minus(dds_entity_t handle) {
    return "-" + std::to_string(handle);
}

class RegistryTest : public testing::Test {
protected:
    RegistryTest() : buffersBefore_(ORXOsapiHeap_getLiveBufferCount()) {
        ORXLog_setStderrEnabled(0);
        registry = std::make_unique<Registry>();
    }
    // What is listed still is the process's to keep; tests end everything.
    ~RegistryTest() override {
        registry.reset();
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffersBefore_) << "nothing is left behind";
        ORXLog_setStderrEnabled(1);
    }
    std::unique_ptr<Registry> registry;

private:
    uint64_t buffersBefore_;
};

TEST_F(RegistryTest, FindsByHandleAndByStandIn) {
    Observed* one = participant(*registry);
    EXPECT_EQ(registry->find(one->handle).get(), one);
    EXPECT_EQ(registry->findByStandIn(one->standIn), one);
    EXPECT_FALSE(registry->find(one->handle + 1));
    const dds_entity_t handle = one->handle;
    EXPECT_TRUE(registry->end(*one));
    EXPECT_FALSE(registry->find(handle)) << "the program has ended it";
    EXPECT_EQ(registry->findByStandIn(one->standIn), one) << "its resource may still be asked for groups";
    doWork(*registry);
}

TEST_F(RegistryTest, WorkComesInTheOrderOfTheProgram) {
    Observed* one = participant(*registry);
    Observed* publisher = made(*registry, Kind::publisher, one);
    Observed* writer = made(*registry, Kind::writer, publisher);
    EXPECT_EQ(doWork(*registry), (std::vector<std::string>{plus(one), plus(publisher), plus(writer)}));
    const dds_entity_t writerHandle = writer->handle;
    const dds_entity_t publisherHandle = publisher->handle;
    const dds_entity_t handle = one->handle;
    registry->end(*writer);
    Observed* topic = made(*registry, Kind::topic, one);
    const std::string topicMade = plus(topic);
    registry->end(*publisher);
    registry->end(*one);
    EXPECT_EQ(doWork(*registry),
        (std::vector<std::string>{minus(writerHandle), topicMade, minus(publisherHandle), minus(handle)}))
        << "the topic goes with its participant";
    EXPECT_EQ(registry->listed(), 0u);
}

TEST_F(RegistryTest, WhatEndsUnseenIsAnnouncedAllTheSame) {
    Observed* one = participant(*registry);
    Observed* publisher = made(*registry, Kind::publisher, one);
    Observed* writer = made(*registry, Kind::writer, publisher);
    const std::vector<std::string> expected = {plus(one), plus(publisher), plus(writer),
        minus(writer->handle), minus(publisher->handle), minus(one->handle)};
    registry->end(*writer);
    registry->end(*publisher);
    registry->end(*one);
    EXPECT_EQ(doWork(*registry), expected);
}

TEST_F(RegistryTest, AnEntityEndsOnce) {
    Observed* one = participant(*registry);
    Observed* topic = made(*registry, Kind::topic, one);
    retain(*topic);
    EXPECT_TRUE(registry->end(*one));
    EXPECT_FALSE(registry->end(*topic)) << "it went with its parent";
    EXPECT_FALSE(registry->end(*one));
    release(topic);
    doWork(*registry);
}

TEST_F(RegistryTest, NothingIsMadeUnderWhatHasEnded) {
    Observed* one = participant(*registry);
    retain(*one);
    registry->end(*one);
    EXPECT_EQ(made(*registry, Kind::topic, one), nullptr);
    doWork(*registry);
    release(one);
}

TEST_F(RegistryTest, EndsDuringAnAssertionComeAfterIt) {
    Observed* one = participant(*registry);
    {
        const Registry::Task task = registry->takeWork();
        ASSERT_EQ(task.observed.get(), one);
        registry->end(*one);
        const Registry::Task next = registry->takeWork();
        EXPECT_TRUE(next.isDeletion);
        registry->deleted(*next.observed);
        EXPECT_EQ(task.observed->references.load(), 2u) << "whoever works on it keeps it";
    }
    EXPECT_TRUE(doWork(*registry).empty());
}

// A second between any two looks at the clock.
int64_t fastClock() {
    static int64_t now = 0;
    return now += 1'000'000'000;
}

TEST_F(RegistryTest, MemoryFollowsWhatLives) {
    setDataBlockClock(fastClock);
    Observed* one = participant(*registry);
    const uint64_t before = ORXOsapiHeap_getLiveBufferCount();
    constexpr uint32_t rounds = maximumEndedUnseen * 3;
    for (uint32_t i = 0; i < rounds; ++i) {
        Observed* publisher = made(*registry, Kind::publisher, one);
        Observed* writer = made(*registry, Kind::writer, publisher);
        if (i % 2 == 0)
            registry->end(*writer);
        registry->end(*publisher);
    }
    EXPECT_LT(ORXOsapiHeap_getLiveBufferCount() - before, maximumEndedUnseen * 4u);
    EXPECT_GT(registry->forgotten(), 0u);
    // What is kept is whole: ends only of what was made, and every parent before its children.
    std::set<std::string> known;
    const std::vector<std::string> work = doWork(*registry);
    EXPECT_LE(work.size(), 1u + maximumEndedUnseen * 2u);
    for (const std::string& step : work) {
        if (step[0] == '+') {
            known.insert(step.substr(1));
        } else {
            EXPECT_TRUE(known.contains(step.substr(1))) << step;
        }
    }
    // Once it is done there is room again.
    Observed* publisher = made(*registry, Kind::publisher, one);
    const std::vector<std::string> expected = {plus(publisher), minus(publisher->handle)};
    registry->end(*publisher);
    EXPECT_EQ(doWork(*registry), expected);
    registry->end(*one);
    doWork(*registry);
    setDataBlockClock(nullptr);
}

TEST_F(RegistryTest, AfterAStopNothingIsKept) {
    Observed* one = participant(*registry);
    Observed* topic = made(*registry, Kind::topic, one);
    Observed* ended = made(*registry, Kind::publisher, one);
    registry->end(*ended);
    registry->stopWork();
    EXPECT_FALSE(registry->isWorking());
    EXPECT_TRUE(doWork(*registry).empty());
    EXPECT_EQ(registry->find(topic->handle).get(), topic) << "what lives stays, for its listeners";
    Observed* later = made(*registry, Kind::publisher, one);
    EXPECT_TRUE(registry->find(later->handle));
    EXPECT_TRUE(registry->end(*later));
    EXPECT_TRUE(registry->end(*one));
    EXPECT_TRUE(doWork(*registry).empty());
    EXPECT_EQ(registry->listed(), 0u);
}

TEST_F(RegistryTest, ListsLeavesWithReferences) {
    Observed* one = participant(*registry);
    Observed* other = participant(*registry);
    std::set<Observed*> leaves;
    for (int i = 0; i < 100; ++i)
        leaves.insert(made(*registry, Kind::topic, one));
    Observed* publisher = made(*registry, Kind::publisher, one);
    leaves.insert(made(*registry, Kind::writer, publisher));
    Observed* elsewhere = made(*registry, Kind::topic, other);
    const auto wanted = [](const Observed& observed) { return isLeaf(observed.kind); };
    {
        const EntityList within(*registry, one, wanted);
        EXPECT_EQ(std::set<Observed*>(within.begin(), within.end()), leaves);
        const EntityList all(*registry, nullptr, wanted);
        EXPECT_EQ(static_cast<size_t>(all.end() - all.begin()), leaves.size() + 1);
        const EntityList below(*registry, publisher, wanted);
        EXPECT_EQ(static_cast<size_t>(below.end() - below.begin()), 1u);
        registry->end(*one);
        doWork(*registry);
        for (Observed* leaf : within)
            EXPECT_GE(leaf->references.load(), 1u) << "kept by the list";
    }
    EXPECT_TRUE(registry->find(elsewhere->handle));
    registry->end(*other);
    doWork(*registry);
}

TEST_F(RegistryTest, IdsOfAParticipantDiffer) {
    Observed* one = participant(*registry);
    EXPECT_NE(registry->makeId(*one), registry->makeId(*one));
    registry->end(*one);
    doWork(*registry);
}

// Random lives against a model: an entity is asserted once, after its parent and before it is deleted; it is
// deleted once, itself or with an ancestor; and nothing is left.
TEST_F(RegistryTest, RandomLivesKeepTheRules) {
    std::mt19937 random(3);
    struct Life {
        Observed* observed;
        dds_entity_t parent;
        bool lives;
    };
    std::map<dds_entity_t, Life> lives;
    std::set<dds_entity_t> asserted;
    std::set<dds_entity_t> gone;
    const auto work = [&](size_t steps) {
        for (size_t i = 0; i < steps; ++i) {
            const Registry::Task task = registry->takeWork();
            if (!task.observed)
                return;
            const dds_entity_t handle = task.observed->handle;
            const dds_entity_t parent = lives.at(handle).parent;
            if (!task.isDeletion) {
                EXPECT_TRUE(asserted.insert(handle).second);
                EXPECT_TRUE(parent == 0 || (asserted.contains(parent) && !gone.contains(parent)));
                continue;
            }
            EXPECT_TRUE(asserted.contains(handle) && !gone.contains(handle));
            Registry::walk(*task.observed, [&](Observed& at) { EXPECT_TRUE(gone.insert(at.handle).second); });
            registry->deleted(*task.observed);
        }
    };
    std::vector<dds_entity_t> order;
    for (int round = 0; round < 20000; ++round) {
        const auto choice = random() % 10;
        if (choice < 5 || order.empty()) {
            const dds_entity_t parent =
                order.empty() || random() % 8 == 0 ? 0 : order[random() % order.size()];
            if (parent != 0 && !lives.at(parent).lives)
                continue;
            Observed* observed = made(*registry, parent == 0 ? Kind::participant : Kind::publisher,
                parent == 0 ? nullptr : lives.at(parent).observed);
            ASSERT_NE(observed, nullptr);
            lives[observed->handle] = {observed, parent, true};
            order.push_back(observed->handle);
        } else if (choice < 8) {
            Life& life = lives.at(order[random() % order.size()]);
            if (!life.lives)
                continue;
            Registry::walk(*life.observed, [&](Observed& at) { lives.at(at.handle).lives = false; });
            EXPECT_TRUE(registry->end(*life.observed));
        } else {
            work(random() % 20);
        }
    }
    for (auto& [handle, life] : lives) {
        if (life.lives && life.parent == 0) {
            Registry::walk(*life.observed, [&](Observed& at) { lives.at(at.handle).lives = false; });
            registry->end(*life.observed);
        }
    }
    work(SIZE_MAX);
    EXPECT_EQ(asserted.size(), lives.size());
    EXPECT_EQ(gone.size(), lives.size());
    EXPECT_EQ(registry->listed(), 0u);
}

TEST_F(RegistryTest, TheNthAllocationMayFail) {
    FailingHeap heap;
    bool succeeded = false;
    for (uint64_t n = 1; !succeeded && n < 100; ++n) {
        heap.failAt(n);
        Reference observed(createObserved(Kind::writer));
        succeeded = observed && setTexts(*observed, "name", "topic", "type");
        heap.failNoMore();
        if (succeeded) {
            EXPECT_STREQ(observed->name, "name");
            EXPECT_STREQ(observed->topicName, "topic");
            EXPECT_STREQ(observed->typeName, "type");
            EXPECT_EQ(observed->statuses.writer.publicationMatched.total_count, 0);
        }
    }
    EXPECT_TRUE(succeeded);
}

// Growth that fails costs speed alone.
TEST_F(RegistryTest, TablesThatCannotGrowStillFind) {
    FailingHeap heap;
    Observed* one = participant(*registry);
    std::vector<Observed*> topics;
    for (int i = 0; i < 300; ++i) {
        Observed* observed = createObserved(Kind::topic);
        observed->handle = ++lastHandle;
        heap.failAt(1, 1000000);
        EXPECT_TRUE(registry->insert(observed, one));
        heap.failNoMore();
        topics.push_back(observed);
    }
    for (Observed* topic : topics) {
        EXPECT_EQ(registry->find(topic->handle).get(), topic);
        EXPECT_EQ(registry->findByStandIn(topic->standIn), topic);
    }
    heap.failAt(1, 1000000);
    {
        const EntityList none(*registry, nullptr, [](const Observed&) { return true; });
        EXPECT_EQ(none.begin(), none.end());
    }
    heap.failNoMore();
    registry->end(*one);
    doWork(*registry);
}

TEST_F(RegistryTest, IdleIsReportedWhenAllWorkIsDone) {
    EXPECT_TRUE(registry->waitUntilIdle(Deadline::now() + 10'000'000'000));
    Observed* one = participant(*registry);
    EXPECT_FALSE(registry->waitUntilIdle(Deadline::now() + 1'000'000)) << "nobody does the work";
    std::thread worker([&] {
        while (registry->waitForWork())
            doWork(*registry);
    });
    EXPECT_TRUE(registry->waitUntilIdle(Deadline::now() + 60'000'000'000));
    registry->end(*one);
    EXPECT_TRUE(registry->waitUntilIdle(Deadline::now() + 60'000'000'000));
    registry->requestStop();
    worker.join();
}

// Two threads list and end entities while a third does the work and a fourth looks them up.
TEST_F(RegistryTest, ThreadsMayDoEverythingAtOnce) {
    Observed* one = participant(*registry);
    std::thread worker([&] {
        while (registry->waitForWork())
            doWork(*registry);
    });
    const auto churn = [&](dds_entity_t first) {
        for (dds_entity_t i = 0; i < 2000; ++i) {
            Observed* publisher = createObserved(Kind::publisher);
            publisher->handle = first + 2 * i;
            retain(*publisher);
            ASSERT_TRUE(registry->insert(publisher, one));
            Observed* writer = createObserved(Kind::writer);
            writer->handle = first + 2 * i + 1;
            ASSERT_TRUE(registry->insert(writer, publisher));
            if (i % 3 != 0)
                registry->end(*registry->find(first + 2 * i + 1));
            EXPECT_TRUE(registry->end(*publisher));
            release(publisher);
        }
    };
    std::thread first(churn, 1000000);
    std::thread second(churn, 2000000);
    std::thread reader([&] {
        for (int i = 0; i < 2000; ++i) {
            const EntityList leaves(
                *registry, nullptr, [](const Observed& observed) { return isLeaf(observed.kind); });
            for (Observed* leaf : leaves)
                EXPECT_EQ(leaf->kind, Kind::writer);
            (void)registry->find(1000000 + i);
        }
    });
    first.join();
    second.join();
    reader.join();
    registry->end(*one);
    EXPECT_TRUE(registry->waitUntilIdle(Deadline::now() + 60'000'000'000));
    registry->requestStop();
    worker.join();
    EXPECT_EQ(registry->listed(), 0u);
}

} // namespace
