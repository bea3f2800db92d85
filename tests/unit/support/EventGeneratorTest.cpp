#include "zddscore/event_generator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/support/TestHeap.hpp"
#include "zddscore/heap.h"
#include "zddscore/semaphore.h"

namespace {

constexpr ORXNtpTime bound{60, 0};
constexpr ORXNtpTime zero = ORX_NTP_TIME_ZERO;
constexpr ORXNtpTime infinite = ORX_NTP_TIME_INFINITE;

struct Signal {
    Signal() : handle(ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_COUNTING, nullptr)) {}
    ~Signal() { ORXOsapiSemaphore_delete(handle); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    void give() { ORXOsapiSemaphore_give(handle); }
    bool take() { return ORXOsapiSemaphore_take(handle, &bound) == ORX_OSAPI_SEMAPHORE_STATUS_OK; }
    bool isEmpty() { return ORXOsapiSemaphore_take(handle, &zero) == ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT; }
    ORXOsapiSemaphore* handle;
};

// A clock that the test moves, and that counts how often it is read.
struct FakeClock {
    ORXClock clock{getTime, nullptr, nullptr, nullptr}; // first member
    std::mutex mutex;
    ORXNtpTime now{1000, 0};
    std::atomic<int> reads{0};

    static int getTime(ORXClock* self, ORXNtpTime* time) {
        auto& fake = *reinterpret_cast<FakeClock*>(self);
        ++fake.reads;
        std::lock_guard lock(fake.mutex);
        *time = fake.now;
        return 1;
    }
    void set(ORX_INT64 sec) {
        std::lock_guard lock(mutex);
        now = {sec, 0};
    }
    // Until the generator has looked twice, it may not have seen the present time.
    void waitForLooks() {
        const int before = reads;
        while (reads < before + 2)
            std::this_thread::yield();
    }
};

ORXEventActiveGeneratorProperty usualProperty() {
    ORXEventActiveGeneratorProperty property{};
    property.parent.growth = {100, -1, -1};
    property.parent.eventTimeThreshold = {0xFFFFFFFFLL, 0};
    property.active.priority = ORX_OSAPI_THREAD_PRIORITY_DEFAULT;
    property.active.stackSize = ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT;
    for (int i = 0; i < 5; ++i)
        property.threadParticipantId[i] = '#';
    property.maxEventInterval = infinite;
    return property;
}

// A generator with a fake clock, stopped and deleted at the end.
struct Fixture : testing::Test {
    void SetUp() override {
        factory = REDAWorkerFactory_new();
        timer = ORXEventSmartTimer_new();
        start(&fake.clock);
    }
    void TearDown() override {
        stop();
        EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory), 0);
        ORXEventSmartTimer_delete(timer);
        REDAWorkerFactory_delete(factory);
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), 0U);
    }
    void start(ORXClock* clock) {
        ORXEventActiveGeneratorListener listener{};
        listener.parent = {
            [](void*, void* param, REDAWorker*) { static_cast<Fixture*>(param)->onStopped(); }, this};
        const auto property = usualProperty();
        const ORXOsapiRtpsGuidPrefix prefix{1, 2, 3};
        generator = ORXEventActiveGenerator_new(
            "oMo###Test", factory, clock, timer, &listener, &property, nullptr, &prefix, nullptr);
        ASSERT_NE(generator, nullptr);
    }
    void onStopped() {
        stoppedRuns = runs.load();
        ++stopCount;
        stopped.give();
    }
    void stop() {
        if (generator == nullptr)
            return;
        EXPECT_TRUE(ORXEventActiveGenerator_shutdown(generator, nullptr));
        EXPECT_TRUE(stopped.take());
        ORXEventActiveGenerator_delete(generator, nullptr);
        generator = nullptr;
        EXPECT_EQ(runs, stoppedRuns) << "no event runs after onStopped";
    }
    bool post(ORX_INT64 sec, const ORXEventGeneratorListener& listener, void* field = nullptr) {
        auto* interface = reinterpret_cast<ORXEventGenerator*>(generator);
        const ORXNtpTime time{sec, 0};
        const ORXEventGeneratorListenerStorage storage{{this, field}};
        return interface->postEvent(interface, &time, &zero, &listener, &storage, 0, nullptr) != 0;
    }
    void note(std::intptr_t value) {
        std::lock_guard lock(mutex);
        order.push_back(value);
    }
    std::vector<std::intptr_t> noted() {
        std::lock_guard lock(mutex);
        return order;
    }

    FakeClock fake;
    REDAWorkerFactory* factory = nullptr;
    ORXEventSmartTimer* timer = nullptr;
    ORXEventActiveGenerator* generator = nullptr;
    Signal ran;
    Signal stopped;
    std::atomic<int> runs{0};
    std::atomic<int> stoppedRuns{-1};
    std::atomic<int> stopCount{0};
    std::mutex mutex;
    std::vector<std::intptr_t> order;
};

using EventGenerator = Fixture;

Fixture& fixtureOf(const ORXEventGeneratorListenerStorage* storage) {
    return *static_cast<Fixture*>(storage->field[0]);
}

// Runs once.
const ORXEventGeneratorListener once{
    [](const ORXEventGeneratorListener*, ORXNtpTime*, ORXNtpTime*, const ORXNtpTime*, const ORXNtpTime*,
        const ORXNtpTime*, const ORXEventGeneratorListenerStorage* storage, REDAWorker*) {
        Fixture& fixture = fixtureOf(storage);
        ++fixture.runs;
        fixture.note(reinterpret_cast<std::intptr_t>(storage->field[1]));
        fixture.ran.give();
        return 0;
    }};

// Runs every ten seconds.
const ORXEventGeneratorListener periodic{
    [](const ORXEventGeneratorListener*, ORXNtpTime* newTime, ORXNtpTime*, const ORXNtpTime*,
        const ORXNtpTime* time, const ORXNtpTime*, const ORXEventGeneratorListenerStorage* storage,
        REDAWorker*) {
        Fixture& fixture = fixtureOf(storage);
        ++fixture.runs;
        fixture.note(time->sec);
        const ORXNtpTime period{10, 0};
        ORXNtpTime_add(newTime, time, &period);
        fixture.ran.give();
        return 1;
    }};

TEST_F(EventGenerator, EventOfNowRunsAtOnce) {
    ASSERT_TRUE(post(1000, once));
    EXPECT_TRUE(ran.take());
}

TEST_F(EventGenerator, EventThatEndsRunsOnceAndStopStillComes) {
    ASSERT_TRUE(post(1000, once));
    ASSERT_TRUE(ran.take());
    fake.set(100000);
    ASSERT_TRUE(post(1000, once)) << "a second event, so that the generator looks at the clock";
    ASSERT_TRUE(ran.take());
    stop();
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(stopCount, 1);
}

TEST_F(EventGenerator, EventWaitsForItsTime) {
    ASSERT_TRUE(post(1001, once));
    fake.waitForLooks();
    EXPECT_EQ(runs, 0);
    fake.set(1001);
    EXPECT_TRUE(ran.take());
}

TEST_F(EventGenerator, KeptEventRunsAgainAtItsNewTime) {
    ASSERT_TRUE(post(1000, periodic));
    ASSERT_TRUE(ran.take());
    fake.waitForLooks();
    EXPECT_EQ(runs, 1);
    fake.set(1009);
    fake.waitForLooks();
    EXPECT_EQ(runs, 1);
    fake.set(1010);
    ASSERT_TRUE(ran.take());
    fake.set(1035);
    ASSERT_TRUE(ran.take());
    ASSERT_TRUE(ran.take());
    EXPECT_EQ(noted(), (std::vector<std::intptr_t>{1000, 1010, 1020, 1030}));
}

TEST_F(EventGenerator, EventsRunInTimeOrderAndEqualTimesInPostOrder) {
    std::mt19937 random(5);
    std::vector<std::pair<int, int>> expected; // time and post
    for (int i = 0; i < 500; ++i) {
        const int time = 2000 + static_cast<int>(random() % 50);
        expected.emplace_back(time, i);
        ASSERT_TRUE(post(time, once, reinterpret_cast<void*>(std::intptr_t{i})));
    }
    std::stable_sort(expected.begin(), expected.end(), [](auto& l, auto& r) { return l.first < r.first; });
    fake.set(3000);
    for (int i = 0; i < 500; ++i)
        ASSERT_TRUE(ran.take());
    const auto order_ = noted();
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(order_[i], expected[i].second) << i;
}

TEST_F(EventGenerator, CallbackSeesWhatWasPosted) {
    struct Seen {
        ORXNtpTime now, time, snooze, newTime, newSnooze;
        std::string name;
        const void* activity = nullptr;
        void* last = nullptr;
    } seen;
    static const ORXEventGeneratorListener listener{
        [](const ORXEventGeneratorListener* me, ORXNtpTime* newTime, ORXNtpTime* newSnooze,
            const ORXNtpTime* now, const ORXNtpTime* time, const ORXNtpTime* snooze,
            const ORXEventGeneratorListenerStorage* storage, REDAWorker* worker) {
            EXPECT_EQ(me, &listener);
            auto& result = *static_cast<Seen*>(storage->field[1]);
            result = {*now, *time, *snooze, *newTime, *newSnooze, REDAWorker_getName(worker),
                REDAWorker_getActivity(worker), storage->field[7]};
            fixtureOf(storage).ran.give();
            return 0;
        }};
    auto* interface = reinterpret_cast<ORXEventGenerator*>(generator);
    const ORXNtpTime time{900, 7};
    const ORXNtpTime snooze{3, 4};
    ORXEventGeneratorListenerStorage storage{
        {this, &seen, nullptr, nullptr, nullptr, nullptr, nullptr, this}};
    const ORXOsapiActivityContextStackEntry activity{
        ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_ACTIVITY, "testing", nullptr};
    ASSERT_TRUE(interface->postEvent(interface, &time, &snooze, &listener, &storage, 0, &activity));
    storage = {};
    ASSERT_TRUE(ran.take());
    EXPECT_EQ(seen.now.sec, 1000);
    EXPECT_EQ(ORXNtpTime_compare(&seen.time, &time), 0);
    EXPECT_EQ(ORXNtpTime_compare(&seen.newTime, &time), 0);
    EXPECT_EQ(ORXNtpTime_compare(&seen.snooze, &snooze), 0);
    EXPECT_EQ(ORXNtpTime_compare(&seen.newSnooze, &snooze), 0);
    EXPECT_EQ(seen.name, "oMo###Test#####@00000001.00000002.00000003");
    EXPECT_EQ(seen.activity, &activity);
    EXPECT_EQ(seen.last, this);
}

TEST_F(EventGenerator, EventThatKeepsItsTimeRunsAgainAtOnce) {
    static const ORXEventGeneratorListener thrice{
        [](const ORXEventGeneratorListener*, ORXNtpTime*, ORXNtpTime*, const ORXNtpTime*, const ORXNtpTime*,
            const ORXNtpTime*, const ORXEventGeneratorListenerStorage* storage, REDAWorker*) {
            Fixture& fixture = fixtureOf(storage);
            fixture.ran.give();
            return ++fixture.runs < 3 ? 1 : 0;
        }};
    ASSERT_TRUE(post(1000, thrice));
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(ran.take());
    stop();
    EXPECT_EQ(runs, 3);
}

TEST_F(EventGenerator, EventOfInfiniteTimeNeverRuns) {
    auto* interface = reinterpret_cast<ORXEventGenerator*>(generator);
    const ORXEventGeneratorListenerStorage storage{{this}};
    ASSERT_TRUE(interface->postEvent(interface, &infinite, &zero, &once, &storage, 0, nullptr));
    fake.set(ORX_NTP_TIME_MAX_SEC + 10);
    fake.waitForLooks();
    stop();
    EXPECT_EQ(runs, 0);
}

TEST_F(EventGenerator, CallbackMayPost) {
    static const ORXEventGeneratorListener chain{
        [](const ORXEventGeneratorListener* me, ORXNtpTime*, ORXNtpTime*, const ORXNtpTime*,
            const ORXNtpTime*, const ORXNtpTime*, const ORXEventGeneratorListenerStorage* storage,
            REDAWorker*) {
            Fixture& fixture = fixtureOf(storage);
            if (++fixture.runs < 5) {
                EXPECT_TRUE(fixture.post(1000, *me));
            }
            fixture.ran.give();
            return 0;
        }};
    ASSERT_TRUE(post(1000, chain));
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(ran.take());
}

TEST_F(EventGenerator, NothingRunsAfterShutdownAndPostsAreRefused) {
    Signal inside;
    Signal goOn;
    struct Gate {
        Signal& inside;
        Signal& goOn;
    } gate{inside, goOn};
    static const ORXEventGeneratorListener blocking{
        [](const ORXEventGeneratorListener*, ORXNtpTime* newTime, ORXNtpTime*, const ORXNtpTime*,
            const ORXNtpTime*, const ORXNtpTime*, const ORXEventGeneratorListenerStorage* storage,
            REDAWorker*) {
            auto& signals = *static_cast<Gate*>(storage->field[1]);
            ++fixtureOf(storage).runs;
            signals.inside.give();
            EXPECT_TRUE(signals.goOn.take());
            *newTime = {0, 0};
            return 1;
        }};
    ASSERT_TRUE(post(1000, blocking, &gate));
    ASSERT_TRUE(inside.take());
    ASSERT_TRUE(post(1000, once));
    ASSERT_TRUE(ORXEventActiveGenerator_shutdown(generator, nullptr)) << "returns while the event runs";
    EXPECT_TRUE(stopped.isEmpty());
    EXPECT_FALSE(post(1000, once));
    goOn.give();
    stop(); // asks again, which is no failure
    EXPECT_EQ(runs, 1);
}

TEST_F(EventGenerator, DeleteAloneStopsTheThread) {
    ASSERT_TRUE(post(5000, once));
    ORXEventActiveGenerator_delete(generator, nullptr);
    generator = nullptr;
    EXPECT_EQ(stopCount, 1);
    EXPECT_EQ(runs, 0);
    ORXEventActiveGenerator_delete(nullptr, nullptr);
}

TEST_F(EventGenerator, WrongPostsAreRefused) {
    auto* interface = reinterpret_cast<ORXEventGenerator*>(generator);
    const ORXEventGeneratorListener empty{};
    EXPECT_FALSE(interface->postEvent(nullptr, &zero, &zero, &once, nullptr, 0, nullptr));
    EXPECT_FALSE(interface->postEvent(interface, nullptr, &zero, &once, nullptr, 0, nullptr));
    EXPECT_FALSE(interface->postEvent(interface, &zero, &zero, nullptr, nullptr, 0, nullptr));
    EXPECT_FALSE(interface->postEvent(interface, &zero, &zero, &empty, nullptr, 0, nullptr));
}

TEST_F(EventGenerator, RunsByTheRealMonotonicClock) {
    stop();
    ORXClock* clock = ORXMonotonicClock_new();
    start(clock);
    ORXNtpTime now{};
    ASSERT_TRUE(clock->getTime(clock, &now));
    auto* interface = reinterpret_cast<ORXEventGenerator*>(generator);
    const ORXNtpTime delay{0, ORXNtpTime_fractionFromMilliseconds(30)};
    ORXNtpTime due{};
    ORXNtpTime_add(&due, &now, &delay);
    const ORXEventGeneratorListenerStorage storage{{this}};
    ASSERT_TRUE(interface->postEvent(interface, &due, &zero, &once, &storage, 0, nullptr));
    ASSERT_TRUE(ran.take());
    ORXNtpTime after{};
    ASSERT_TRUE(clock->getTime(clock, &after));
    EXPECT_GE(ORXNtpTime_compare(&after, &due), 0);
    stop();
    ORXMonotonicClock_delete(clock);
}

TEST_F(EventGenerator, ThreadsPostWhileEventsRun) {
    constexpr int each = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([this] {
            for (int i = 0; i < each; ++i)
                ASSERT_TRUE(post(1000, once));
        });
    }
    for (int i = 0; i < 3 * each; ++i)
        ASSERT_TRUE(ran.take());
    for (auto& thread : threads)
        thread.join();
    stop();
    EXPECT_EQ(runs, 3 * each);
}

// onStarted comes before every event, and onStopped after.
TEST(EventGeneratorLifecycle, ListenersFrameTheEvents) {
    FakeClock fake;
    REDAWorkerFactory* factory = REDAWorkerFactory_new();
    Signal done;
    ORXEventActiveGeneratorListener listener{};
    const auto give = [](void* object, void* param, REDAWorker* worker) {
        EXPECT_NE(object, nullptr);
        EXPECT_NE(worker, nullptr);
        static_cast<Signal*>(param)->give();
    };
    listener.parent = {give, &done};
    listener.onStarted = give;
    listener.onStartedParam = &done;
    const auto property = usualProperty();
    auto* generator = ORXEventActiveGenerator_new(
        "oMo###Test", factory, &fake.clock, nullptr, &listener, &property, nullptr, nullptr, nullptr);
    ASSERT_NE(generator, nullptr);
    EXPECT_TRUE(done.take());
    EXPECT_TRUE(done.isEmpty());
    EXPECT_TRUE(ORXEventActiveGenerator_shutdown(generator, nullptr));
    EXPECT_TRUE(done.take());
    ORXEventActiveGenerator_delete(generator, nullptr);
    REDAWorkerFactory_delete(factory);
}

TEST(EventGeneratorLifecycle, CreationSurvivesFailedAllocation) {
    FakeClock fake;
    const auto property = usualProperty();
    EXPECT_GE(testing_support::walkAllocationFailures([&] {
        REDAWorkerFactory* factory = REDAWorkerFactory_new();
        ORXEventSmartTimer* timer = ORXEventSmartTimer_new();
        ORXEventActiveGenerator* generator = ORXEventActiveGenerator_new(
            "oMo###Test", factory, &fake.clock, timer, nullptr, &property, nullptr, nullptr, nullptr);
        const bool created = generator != nullptr && timer != nullptr;
        ORXEventActiveGenerator_delete(generator, nullptr);
        ORXEventSmartTimer_delete(timer);
        REDAWorkerFactory_delete(factory);
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), 0U);
        return created;
    }),
        8);
}

TEST(EventGeneratorLifecycle, WrongArgumentsAreRefused) {
    FakeClock fake;
    REDAWorkerFactory* factory = REDAWorkerFactory_new();
    const auto property = usualProperty();
    EXPECT_EQ(ORXEventActiveGenerator_new(
                  "t", factory, nullptr, nullptr, nullptr, &property, nullptr, nullptr, nullptr),
        nullptr);
    EXPECT_EQ(ORXEventActiveGenerator_new(
                  "t", factory, &fake.clock, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
        nullptr);
    EXPECT_EQ(ORXEventActiveGenerator_new(
                  "t", nullptr, &fake.clock, nullptr, nullptr, &property, nullptr, nullptr, nullptr),
        nullptr);
    EXPECT_FALSE(ORXEventActiveGenerator_shutdown(nullptr, nullptr));
    REDAWorkerFactory_delete(factory);
}

} // namespace
