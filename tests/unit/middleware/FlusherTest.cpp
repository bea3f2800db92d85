// The flusher and the queue beneath it, with targets that the test writes.
#include "middleware/entities/Flusher.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <future>
#include <mutex>
#include <vector>

#include "middleware/entities/MatchedEndpoints.hpp"
#include "middleware/entities/WriterQueue.hpp"
#include "tests/unit/middleware/FailingHeap.hpp"

namespace {

using namespace std::chrono_literals;
using zdds::Deadline;
using zdds::Flusher;
using zdds::PendingSample;
using zdds::WriterQueue;
using Outcome = zdds::FlushTarget::Outcome;

// Answers with a script, then with `idle`; may be held inside its turn.
struct Target final : zdds::FlushTarget {
    explicit Target(std::vector<Outcome> outcomes = {}) : script(std::move(outcomes)) {}
    Outcome flush(unsigned) override {
        std::unique_lock lock(mutex);
        ++turns;
        changed.notify_all();
        changed.wait(lock, [this] { return !isHeld; });
        if (script.empty())
            return Outcome::idle;
        const Outcome outcome = script.front();
        script.erase(script.begin());
        return outcome;
    }
    bool waitForTurns(int count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 30s, [&] { return turns >= count; });
    }
    void hold(bool value) {
        std::lock_guard lock(mutex);
        isHeld = value;
        changed.notify_all();
    }
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Outcome> script;
    int turns = 0;
    bool isHeld = false;
};

TEST(FlusherThread, IsMadeOnceAndEndsWhenItWasNotNeeded) {
    Flusher idle;
    EXPECT_TRUE(idle.stop());
    Flusher flusher;
    EXPECT_TRUE(flusher.start());
    EXPECT_TRUE(flusher.start());
    EXPECT_TRUE(flusher.stop());
}

TEST(FlusherThread, GivesFurtherTurnsUntilATargetIsIdle) {
    Flusher flusher;
    ASSERT_TRUE(flusher.start());
    Target target({Outcome::more, Outcome::stalled, Outcome::more});
    flusher.schedule(target);
    EXPECT_TRUE(target.waitForTurns(4));
    flusher.remove(target);
    EXPECT_EQ(target.turns, 4);
    EXPECT_TRUE(flusher.stop());
}

TEST(FlusherThread, AStalledTargetLeavesTurnsToOthers) {
    Flusher flusher;
    ASSERT_TRUE(flusher.start());
    Target stalled(std::vector<Outcome>(100'000, Outcome::stalled));
    Target other(std::vector<Outcome>(50, Outcome::more));
    flusher.schedule(stalled);
    flusher.schedule(other);
    EXPECT_TRUE(other.waitForTurns(51));
    flusher.remove(stalled);
    flusher.remove(other);
    EXPECT_TRUE(flusher.stop());
}

TEST(FlusherThread, RemovalWaitsForTheTurnAndTheTargetIsNotTouchedAgain) {
    Flusher flusher;
    ASSERT_TRUE(flusher.start());
    auto target = std::make_unique<Target>(std::vector<Outcome>{Outcome::more, Outcome::more});
    Target after;
    target->hold(true);
    flusher.schedule(*target);
    ASSERT_TRUE(target->waitForTurns(1));
    auto removal = std::async(std::launch::async, [&] { flusher.remove(*target); });
    EXPECT_EQ(removal.wait_for(20ms), std::future_status::timeout);
    target->hold(false);
    removal.get();
    EXPECT_EQ(target->turns, 1);
    flusher.schedule(*target);
    target.reset();
    flusher.schedule(after);
    EXPECT_TRUE(after.waitForTurns(1));
    flusher.remove(after);
    EXPECT_TRUE(flusher.stop());
}

TEST(FlusherThread, RemovesFromAnywhereInTheLine) {
    for (int removed = 0; removed < 3; ++removed) {
        Flusher flusher;
        ASSERT_TRUE(flusher.start());
        Target first, line[3], last;
        first.hold(true);
        flusher.schedule(first);
        ASSERT_TRUE(first.waitForTurns(1));
        for (Target& target : line)
            flusher.schedule(target);
        flusher.remove(line[removed]);
        flusher.schedule(last);
        first.hold(false);
        EXPECT_TRUE(last.waitForTurns(1));
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(line[i].turns, i == removed ? 0 : 1);
        EXPECT_TRUE(flusher.stop());
    }
}

// ---- the queue ----

TEST(WriterQueueMemory, IsBoundedInSamplesAndBytes) {
    WriterQueue queue;
    ASSERT_TRUE(queue.initialize(3, 100));
    EXPECT_EQ(queue.reserve(101), nullptr);
    PendingSample* big = queue.reserve(90);
    ASSERT_NE(big, nullptr);
    EXPECT_EQ(queue.reserve(11), nullptr);
    PendingSample* small = queue.reserve(10);
    PendingSample* empty = queue.reserve(0);
    ASSERT_NE(small, nullptr);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(queue.reserve(0), nullptr) << "the fourth";
    queue.release(*big);
    EXPECT_NE(big = queue.reserve(90), nullptr);
    for (PendingSample* sample : {big, small, empty})
        queue.release(*sample);
}

TEST(WriterQueueMemory, GivesSamplesInOrderAndTellsWhenItIsIdle) {
    WriterQueue queue;
    ASSERT_TRUE(queue.initialize(10, 1000));
    EXPECT_TRUE(queue.waitUntilEmpty(Deadline::in(int64_t{0})));
    int64_t position = 0;
    for (char c = 'a'; c < 'd'; ++c) {
        PendingSample* sample = queue.reserve(1);
        *sample->bytes() = c;
        EXPECT_EQ(queue.push(*sample, &position), c == 'a') << "idle before the first alone";
        EXPECT_EQ(position, c - 'a' + 1);
    }
    EXPECT_FALSE(queue.waitUntilEmpty(Deadline::in(int64_t{0})));
    EXPECT_EQ(queue.queued(), 3U);
    for (char c = 'a'; c < 'd'; ++c) {
        ASSERT_NE(queue.front(), nullptr);
        EXPECT_EQ(*queue.front()->bytes(), c);
        queue.pop();
    }
    EXPECT_TRUE(queue.waitUntilEmpty(Deadline::in(int64_t{0})));
    PendingSample* sample = queue.reserve(1);
    EXPECT_FALSE(queue.push(*sample, &position)) << "the consumer has not seen the end yet";
    queue.pop();
    EXPECT_EQ(queue.front(), nullptr);
    EXPECT_TRUE(queue.push(*queue.reserve(1), &position));
    EXPECT_EQ(queue.queuedPeak(), 3U);
}

TEST(WriterQueueMemory, StaysWithinTwiceItsBoundUnderAnyMixOfSizes) {
    FailingHeap heap;
    {
        WriterQueue queue;
        ASSERT_TRUE(queue.initialize(64, 64 * 1024));
        unsigned random = 1;
        int64_t position = 0;
        int refused = 0;
        for (int i = 0; i < 20'000; ++i) {
            random = random * 1664525 + 1013904223;
            PendingSample* sample = queue.reserve((random >> 8) % 4000);
            refused += sample == nullptr;
            if (sample != nullptr)
                queue.push(*sample, &position);
            if (sample == nullptr || random % 16 == 0)
                for (int n = 0; n < 8 && queue.front() != nullptr; ++n)
                    queue.pop();
        }
        EXPECT_GT(refused, 0);
        EXPECT_GT(position, 10'000);
    }
    EXPECT_EQ(heap.live(), 0);
}

// ---- matched endpoints ----

TEST(MatchedEndpointsTable, ListsAtMostItsMaximum) {
    zdds::MatchedEndpoints matched;
    zdds::engine::RemoteEndpoint endpoint{};
    size_t added = 0;
    for (uint32_t i = 0; i < 20'000; ++i) {
        std::memcpy(endpoint.endpoint.value, &i, sizeof i);
        added += matched.add(endpoint);
    }
    EXPECT_EQ(added, zdds::MatchedEndpoints::maximum);
    EXPECT_EQ(matched.count(), zdds::MatchedEndpoints::maximum);
    matched.remove(endpoint);
    EXPECT_EQ(matched.count(), zdds::MatchedEndpoints::maximum) << "it was not listed";
    std::memset(&endpoint, 0, sizeof endpoint);
    matched.remove(endpoint);
    EXPECT_EQ(matched.count(), zdds::MatchedEndpoints::maximum - 1);
}

} // namespace
