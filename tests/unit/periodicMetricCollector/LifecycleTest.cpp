// Start and stop of the periodic collector.
#include <gtest/gtest.h>
#include <pthread.h>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/periodicMetricCollector/PeriodicWorld.hpp"

namespace {

using World = PeriodicWorld;

constexpr DDS_Monitoring_DataWriterCacheStatus cache{};

TEST(PeriodicLifecycle, RunsOnAThreadOfThatName) {
    World world;
    std::string name;
    Behind behind{.groups = {{World::writerCache, &cache}}, .onFetch = [&] {
                      char text[32] = "";
                      pthread_getname_np(pthread_self(), text, sizeof text);
                      name = text;
                  }};
    world.addRoot();
    world.addWriter("w", behind);
    const int workers = REDAWorkerFactory_getWorkerCount(World::factory());
    world.run();
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(World::factory()), workers + 1);
    world.pass();
    EXPECT_TRUE(world.stop());
    EXPECT_EQ(name, "oMo###Periodic");
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(World::factory()), workers);
}

TEST(PeriodicLifecycle, NewIsInitializedAndDeleteOfNullIsDone) {
    World world;
    world.start();
    EXPECT_EQ(ORX_MonitoringPeriodicMetricCollector_getState(world.collector), World::initialized);
    EXPECT_EQ(world.collector->pollingPeriod.sec, 1);
    EXPECT_EQ(ORX_MonitoringPeriodicMetricCollector_delete(nullptr), 1);
}

TEST(PeriodicLifecycle, NullArgumentsAreRefused) {
    World world;
    LogCapture log;
    const auto& property = world.property.periodic;
    auto* writer = world.entities->periodicWriter;
    const auto create = ORX_MonitoringPeriodicMetricCollector_new;
    EXPECT_EQ(create(nullptr, "n", writer, World::factory(), &World::prefix, world.registry), nullptr);
    EXPECT_EQ(create(&property, nullptr, writer, World::factory(), &World::prefix, world.registry), nullptr);
    EXPECT_EQ(create(&property, "n", nullptr, World::factory(), &World::prefix, world.registry), nullptr);
    EXPECT_EQ(create(&property, "n", writer, nullptr, &World::prefix, world.registry), nullptr);
    EXPECT_EQ(create(&property, "n", writer, World::factory(), nullptr, world.registry), nullptr);
    EXPECT_EQ(create(&property, "n", writer, World::factory(), &World::prefix, nullptr), nullptr);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 6U) << log.text();
    const ORXEventGeneratorListenerStorage storage{};
    EXPECT_EQ(ORX_MonitoringPeriodicMetricCollector_postEvent(nullptr, &storage), 0);
    ORX_MonitoringPeriodicMetricCollector_onStopGenerator(nullptr, nullptr, nullptr);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 8U) << log.text();
}

TEST(PeriodicLifecycle, ThreadSettingsThatNoThreadCanHaveAreRefused) {
    World world;
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    LogCapture log;
    world.property.periodic.thread_setting.mask = 0x80000000U;
    EXPECT_EQ(world.newCollector(), nullptr);
    EXPECT_TRUE(log.has("\"property->thread_setting.mask > 2147483647\"\n", "PRECONDITION")) << log.text();
    world.property.periodic.thread_setting.mask = 0;
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
    DDS_LongSeq_ensure_length(&world.property.periodic.thread_setting.cpu_list, 1, 1);
    *DDS_LongSeq_get_reference(&world.property.periodic.thread_setting.cpu_list, 0) = -3;
    EXPECT_EQ(world.newCollector(), nullptr);
    EXPECT_TRUE(log.has("CPU bitmap\n", "FAILED_TO_INITIALIZE")) << log.text();
}

TEST(PeriodicLifecycle, ClockThatIsMissingOrFailsIsReported) {
    World world;
    LogCapture log;
    ORX_MonitoringGlobals_get_instance()->eventClock = nullptr;
    EXPECT_EQ(world.newCollector(), nullptr);
    EXPECT_TRUE(log.has("Clock\n", "FAILED_TO_INITIALIZE")) << log.text();
    ORX_MonitoringGlobals_get_instance()->eventClock = world.clock.handle();
    world.clock.failFromNowOn();
    EXPECT_EQ(world.newCollector(), nullptr);
    EXPECT_TRUE(log.has("Time\n", "FAILED_TO_GET")) << log.text();
    EXPECT_TRUE(log.has("Event\n", "FAILED_TO_POST")) << log.text();
}

TEST(PeriodicLifecycle, NothingIsLeftOfAnyFailedStart) {
    World world;
    world.addRoot();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    uint64_t n = 0;
    bool created = false;
    while (!created && n < 100) {
        LogCapture log;
        FailingHeap heap;
        heap.failAt(++n);
        world.collector = world.newCollector();
        created = world.collector != nullptr && !heap.hasFailed();
        heap.failNoMore();
        EXPECT_TRUE(world.stop());
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << "allocation " << n;
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n << "\n" << log.text();
    }
    EXPECT_TRUE(created);
    EXPECT_GT(n, 5U);
}

// Ten seconds of the real clock: the time that a stop gives to the thread.
TEST(PeriodicLifecycle, StopGivesUpOnAThreadThatDoesNotEnd) {
    World world;
    Gate gate;
    Behind behind{.groups = {{World::writerCache, &cache}}, .onFetch = [&] { gate.pass(); }};
    world.addRoot();
    world.addWriter("w", behind);
    world.run();
    ORXNtpTime time = world.clock.now();
    time.sec += 1;
    std::thread mover([&] { EXPECT_TRUE(world.clock.moveAndSettle(time)); });
    ASSERT_TRUE(gate.isReached());
    LogCapture log;
    EXPECT_FALSE(world.stop());
    EXPECT_TRUE(log.has("Taking failure after timeout (10)\n", "FAILED_TO_LOCK")) << log.text();
    EXPECT_NE(world.collector->sample, nullptr) << "the thread still works with it";
    gate.open();
    EXPECT_TRUE(world.stop()) << "once the thread has come back";
    EXPECT_EQ(behind.fetched.value(), 1U);
    // The mover waits for a generator to look at the clock, and there is none any more.
    world.start();
    mover.join();
}

} // namespace
