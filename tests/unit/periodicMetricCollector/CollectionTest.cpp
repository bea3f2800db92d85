// What a periodic event collects and publishes, and when it runs next.
#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "src/resource/MetricSubscription.h"
#include "src/resource/ResourcePin.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/HeapCount.hpp"
#include "tests/unit/periodicMetricCollector/PeriodicWorld.hpp"

namespace {

using World = PeriodicWorld;

constexpr DDS_Monitoring_DataWriterCacheStatus cache{9, 5, 0, 0, 0, 0, 0, 0};
constexpr char someText[] = "GUID: 0x"; // in the text of a group that cannot be fetched

// A worker of a generator that is otherwise idle, for events that the test runs on its own thread.
class Worker {
public:
    Worker() {
        ORXEventActiveGeneratorProperty property{};
        property.parent.growth = {1, REDA_FAST_BUFFER_POOL_UNLIMITED, -1};
        property.active.priority = ORX_OSAPI_THREAD_PRIORITY_DEFAULT;
        property.active.stackSize = ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT;
        ORXEventActiveGeneratorListener listener{};
        listener.onStarted = [](void*, void* param, REDAWorker* worker) {
            static_cast<std::promise<REDAWorker*>*>(param)->set_value(worker);
        };
        std::promise<REDAWorker*> promise;
        listener.onStartedParam = &promise;
        generator_ = ORXEventActiveGenerator_new("testWorker", World::factory(), clock_.handle(), nullptr,
            &listener, &property, nullptr, nullptr, nullptr);
        worker_ = promise.get_future().get();
    }
    ~Worker() { ORXEventActiveGenerator_delete(generator_, nullptr); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    REDAWorker* handle() { return worker_; }

private:
    MovedClock clock_;
    ORXEventActiveGenerator* generator_ = nullptr;
    REDAWorker* worker_ = nullptr;
};

struct Ran {
    int result;
    ORXNtpTime newTime;
};
constexpr ORXNtpTime untouched{-77, 7};

// One event on this thread; the collector's own is idle, as its clock stands still.
Ran runEvent(World& world, Worker& worker, const ORXNtpTime& now = {2000, 0}) {
    Ran ran{0, untouched};
    ORXNtpTime snooze{};
    const ORXEventGeneratorListenerStorage storage{{world.collector, world.registry}};
    const ORXEventGeneratorListener listener{ORX_MonitoringPeriodicMetricCollector_collectAndPublish};
    ran.result =
        listener.onEvent(&listener, &ran.newTime, &snooze, &now, &now, &snooze, &storage, worker.handle());
    return ran;
}

std::pair<ORX_INT64, ORX_UINT32> fields(const ORXNtpTime& time) {
    return {time.sec, time.frac};
}

bool isOf(const DDS_Monitoring_Periodic& sample, const ORX_MonitoringResource& resource) {
    return std::memcmp(sample.resource_guid, resource.base.guid, 16) == 0;
}

TEST(PeriodicCollection, EventKeepsItsPeriodWithoutReadingBeforeItRuns) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.addWriter("w", behind);
    world.start();
    world.pass();
    world.pass();
    EXPECT_EQ(behind.fetched.value(), 0U);
    world.setState(World::running);
    EXPECT_EQ(behind.fetched.value(), 0U);
    world.pass();
    EXPECT_EQ(behind.fetched.value(), 1U);
}

TEST(PeriodicCollection, EachResourceWithGroupsIsOneSample) {
    World world;
    constexpr DDS_Monitoring_DataWriterProtocolStatus protocol{};
    Behind both{.groups = {{World::writerCache, &cache}, {World::writerProtocol, &protocol}}};
    Behind none;
    Behind one{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    auto* second = world.addWriter("second", one);
    world.addWriter("silent", none, {});
    auto* first = world.addWriter("first", both, {World::writerCache, World::writerProtocol});
    world.run();
    world.pass();
    const auto samples = world.received();
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_TRUE(isOf(*samples[0], *first)) << "the order is that of the registry's walk";
    EXPECT_TRUE(isOf(*samples[1], *second));
    for (const auto& sample : samples) {
        EXPECT_EQ(sample->value._d, static_cast<DDS_Long>(ORX_MONITORING_DATA_WRITER_CLASS_ID));
        ASSERT_NE(sample->value._u.data_writer.status_cache, nullptr);
        EXPECT_EQ(sample->value._u.data_writer.status_cache->sample_count, 5);
        EXPECT_EQ(sample->value._u.data_writer.status_cache->sample_count_peak, 9);
    }
    EXPECT_NE(samples[0]->value._u.data_writer.status_protocol, nullptr);
    EXPECT_EQ(samples[1]->value._u.data_writer.status_protocol, nullptr) << "nothing is kept of the first";
    EXPECT_EQ(both.fetched.value(), 2U);
    EXPECT_EQ(both.returned.value(), 2U);
    world.pass();
    EXPECT_EQ(world.received().size(), 2U) << "a value that did not change is published again";
}

TEST(PeriodicCollection, EmptyRegistryWritesNothingAndTheEventGoesOn) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.run();
    world.pass();
    EXPECT_TRUE(world.received().empty());
    world.addRoot();
    world.addWriter("w", behind);
    world.pass();
    EXPECT_EQ(world.received().size(), 1U);
}

TEST(PeriodicCollection, ResourceWhoseGroupsAllFailWritesNothing) {
    World world;
    Behind failing;
    Behind sound{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.addWriter("sound", sound);
    world.addWriter("failing", failing, {World::writerCache, World::writerProtocol});
    world.run();
    LogCapture log;
    world.pass();
    const auto samples = world.received();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(failing.fetched.value(), 2U);
    EXPECT_EQ(failing.returned.value(), 0U);
    for (const char* index : {"9", "12"}) {
        const auto lines = log.lines();
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                      [&](const LogCapture::Line& line) {
                          return line.identifier == "FAILED_TO_GET" &&
                                 line.subject.starts_with(std::string("Metric group with index ") + index +
                                                          ". For resource (" + someText) &&
                                 line.subject.ends_with(") \n");
                      }),
            1)
            << log.text();
    }
}

TEST(PeriodicCollection, GroupThatFailsCostsNoOther) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.addWriter("w", behind, {World::writerProtocol, World::writerCache});
    world.run();
    LogCapture log;
    world.pass();
    ASSERT_EQ(world.received().size(), 1U);
}

TEST(PeriodicCollection, ResourceWithoutForwarderCountsAsFailing) {
    World world;
    Behind behind;
    world.addRoot();
    world.add(ORX_MONITORING_DATA_WRITER_CLASS_ID, "w", behind, {World::writerCache}, &World::noForwarder);
    world.run();
    LogCapture log;
    world.pass();
    EXPECT_TRUE(world.received().empty());
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 1U) << log.text();
}

TEST(PeriodicCollection, PausedResourceIsSkippedAndCountedOncePerPeriod) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    auto* writer = world.addWriter("w", behind);
    auto* withoutGroups = world.addWriter("n", behind, {});
    ASSERT_TRUE(ORX_MonitoringResource_pauseMetrics(writer));
    ASSERT_TRUE(ORX_MonitoringResource_pauseMetrics(withoutGroups));
    world.run();
    for (int i = 0; i < 3; ++i)
        world.pass();
    EXPECT_TRUE(world.received().empty());
    ORX_MonitoringResource_setPaused(writer, 0);
    world.pass();
    EXPECT_EQ(world.received().size(), 1U);
    ASSERT_TRUE(world.stop());
    EXPECT_EQ(writer->stats.skippedPeriodicUpdates, 3U);
    EXPECT_EQ(withoutGroups->stats.skippedPeriodicUpdates, 4U);
    EXPECT_EQ(world.root->stats.skippedPeriodicUpdates, 0U);
}

TEST(PeriodicCollection, GroupThatCannotBeMappedEndsItsResourceAndIsNotReturned) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}, {World::writerProtocol, nullptr}}};
    Behind sound{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    auto* second = world.addWriter("second", sound);
    world.addWriter("first", behind, {World::writerCache, World::writerProtocol, World::writerCache + 1});
    world.run();
    LogCapture log;
    world.pass();
    const auto samples = world.received();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_TRUE(isOf(*samples[0], *second));
    EXPECT_EQ(behind.fetched.value(), 2U) << "the third is not fetched any more";
    EXPECT_EQ(behind.returned.value(), 1U) << "the first alone";
    EXPECT_TRUE(log.has("Map Distribution data for metric group index 12\n")) << log.text();
    EXPECT_TRUE(sound.returned.reaches(1));
}

TEST(PeriodicCollection, GroupThatIsNotTakenBackEndsItsResource) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}, {World::writerProtocol, &cache}},
        .notTakenBack = {World::writerCache}};
    Behind sound{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    auto* second = world.addWriter("second", sound);
    world.addWriter("first", behind, {World::writerCache, World::writerProtocol});
    world.run();
    LogCapture log;
    world.pass();
    const auto samples = world.received();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_TRUE(isOf(*samples[0], *second));
    EXPECT_EQ(behind.fetched.value(), 1U);
    EXPECT_TRUE(log.has("Metric group with index 9\n", "FAILED_TO_FINALIZE")) << log.text();
}

TEST(PeriodicCollection, GroupOfAResourceThatTakesNothingBackIsPublished) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.add(ORX_MONITORING_DATA_WRITER_CLASS_ID, "w", behind, {World::writerCache},
        &World::forwarderWithoutReturn);
    world.run();
    world.pass();
    EXPECT_EQ(world.received().size(), 1U);
    EXPECT_EQ(behind.returned.value(), 0U);
}

TEST(PeriodicCollection, ResourceOfAnUnknownClassIsPassedOver) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.addWriter("second", behind);
    world.addWriter("first", behind)->base.class_id = 5;
    world.run();
    LogCapture log;
    world.pass();
    EXPECT_EQ(world.received().size(), 1U);
    EXPECT_TRUE(log.has("Metric group info of classId 5", "FAILED_TO_GET")) << log.text();
}

TEST(PeriodicCollection, SampleThatIsNotTakenIsAWarningAndTheWalkGoesOn) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.addWriter("second", behind);
    world.addWriter("first", behind);
    world.run();
    DDS_DataWriterQos qos{};
    DDS_DataWriterQos_initialize(&qos);
    // Another writer with a queue that nothing fits into.
    ASSERT_EQ(DDS_DataWriter_get_qos(world.entities->periodicWriter, &qos), DDS_RETCODE_OK);
    qos.publish_mode.max_queued_bytes = 1;
    auto* narrow = DDS_Publisher_create_datawriter(
        world.entities->periodicPublisher, world.entities->periodicTopic, &qos, nullptr, 0);
    DDS_DataWriterQos_finalize(&qos);
    ASSERT_NE(narrow, nullptr);
    Worker worker;
    std::swap(world.collector->writer, narrow);
    LogCapture log;
    EXPECT_EQ(runEvent(world, worker).result, 1);
    EXPECT_EQ(log.count("Periodic sample\n", "FAILED_TO_SEND"), 2U) << log.text();
    std::swap(world.collector->writer, narrow);
    EXPECT_EQ(DDS_Publisher_delete_datawriter(world.entities->periodicPublisher, narrow), DDS_RETCODE_OK);
    EXPECT_EQ(behind.fetched.value(), 2U);
}

TEST(PeriodicCollection, StopDuringAWalkEndsItAtTheNextResource) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    auto* second = world.addWriter("second", behind);
    auto* first = world.addWriter("first", behind);
    world.run();
    behind.onFetch = [&] { world.setState(World::stopped); };
    Worker worker;
    const Ran ran = runEvent(world, worker);
    EXPECT_EQ(ran.result, 1);
    EXPECT_EQ(fields(ran.newTime), fields(untouched));
    EXPECT_EQ(behind.fetched.value(), 1U);
    EXPECT_EQ(world.received().size(), 1U) << "the one at hand is finished";
    for (const auto* resource : {first, second, world.root}) {
        EXPECT_EQ(resource->lockCounter, 0U);
        EXPECT_EQ(resource->lockThreadMask, 0U);
    }
    EXPECT_EQ(fields(runEvent(world, worker).newTime), fields(untouched));
    EXPECT_EQ(behind.fetched.value(), 1U) << "a stopped collector collects nothing";
}

TEST(PeriodicCollection, EveryResourceIsPinnedWhileItIsRead) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    auto* writer = world.addWriter("w", behind);
    ORX_UINT32 pins = 0;
    ORX_UINT32 mask = 0;
    behind.onFetch = [&] {
        pins = writer->lockCounter;
        mask = writer->lockThreadMask;
    };
    world.run();
    Worker worker;
    (void)runEvent(world, worker);
    EXPECT_EQ(pins, 1U);
    EXPECT_EQ(mask, 1U);
    EXPECT_EQ(writer->lockCounter, 0U);
}

TEST(PeriodicCollection, DeletionWaitsForTheResourceAndNotForTheWalk) {
    World world;
    Gate gate;
    std::atomic<bool> hasLeft{false};
    Behind behind{.groups = {{World::writerCache, &cache}}};
    Behind held{.groups = {{World::writerCache, &cache}}, .onFetch = [&] {
                    gate.pass();
                    hasLeft = true;
                }};
    world.addRoot();
    auto* other = world.addWriter("other", behind);
    auto* writer = world.addWriter("held", held);
    world.run();
    ORXNtpTime time = world.clock.now();
    time.sec += 1;
    auto walk = std::async(std::launch::async, [&] { return world.clock.moveAndSettle(time); });
    ASSERT_TRUE(gate.isReached());
    world.remove(other); // which the walk has not come to
    EXPECT_FALSE(hasLeft);
    auto deletion = std::async(std::launch::async, [&] {
        world.remove(writer);
        return hasLeft.load();
    });
    EXPECT_EQ(deletion.wait_for(std::chrono::milliseconds(60)), std::future_status::timeout);
    gate.open();
    EXPECT_TRUE(deletion.get());
    EXPECT_TRUE(walk.get());
    EXPECT_EQ(behind.fetched.value(), 0U);
}

TEST(PeriodicCollection, NothingIsCollectedBeforeTheLibraryStandsInTheGlobals) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    auto* writer = world.addWriter("w", behind);
    world.run();
    ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
    auto* library = globals.monitoringClass;
    globals.monitoringClass = nullptr;
    Worker worker;
    const Ran ran = runEvent(world, worker);
    globals.monitoringClass = library;
    EXPECT_EQ(ran.result, 1);
    EXPECT_EQ(fields(ran.newTime), fields(ORXNtpTime{2001, 0})) << "the event goes on";
    EXPECT_EQ(behind.fetched.value(), 0U);
    EXPECT_EQ(writer->lockCounter, 0U);
    (void)runEvent(world, worker);
    EXPECT_EQ(behind.fetched.value(), 1U);
}

TEST(PeriodicCollection, PeriodCountsFromTheTimeThatTheEventWasGiven) {
    World world;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.addWriter("w", behind);
    world.run();
    Worker worker;
    EXPECT_EQ(fields(runEvent(world, worker, {5000, 10}).newTime), fields(ORXNtpTime{5001, 10}));
    world.setState(World::initialized);
    EXPECT_EQ(fields(runEvent(world, worker, {7000, 10}).newTime), fields(ORXNtpTime{7001, 10}));
}

TEST(PeriodicCollection, NextTimeSaturates) {
    World world;
    world.start();
    Worker worker;
    constexpr ORX_INT64 most = 0xFFFFFFFFLL;
    constexpr ORX_UINT32 full = 0xFFFFFFFFU;
    const struct {
        ORXNtpTime now, period, next;
    } cases[] = {
        {{10, 0}, {5, 0}, {15, 0}},
        {{10, 0x80000000U}, {0, 0x7FFFFFFFU}, {10, full}},
        {{10, 0x80000000U}, {0, 0x80000000U}, {11, 0}},
        {{10, full}, {0, full}, {11, full - 1}},
        {{10, 0}, {most, 0}, {most, full}},
        {{10, 0}, {most + 5, 3}, {most, full}},
        {{most, 0}, {1, 0}, {most, full}},
        {{most - 1, 0}, {1, 0}, {most, 0}},
        {{most - 1, full}, {1, 1}, {most, full}},
        {{most - 1, 5}, {most - 1, 6}, {most, 11}},
        {{most - 1, full}, {0, 1}, {most, 0}},
        {{-most, 0}, {-5, 0}, {-most, 0}},
        {{-most, full}, {-5, 1}, {-most + 1, 0}},
        {{0, 0}, {0, 0}, {0, 0}},
    };
    for (const auto& each : cases) {
        world.collector->pollingPeriod = each.period;
        const Ran ran = runEvent(world, worker, each.now);
        EXPECT_EQ(ran.result, 1);
        EXPECT_EQ(fields(ran.newTime), fields(each.next))
            << each.now.sec << " + " << each.period.sec << " gives " << ran.newTime.sec << " "
            << ran.newTime.frac;
    }
}

TEST(PeriodicCollection, InfinitePeriodEndsCollectionWithTheFirstEvent) {
    World world;
    world.property.periodic.polling_period = DDS_DURATION_INFINITE;
    Behind behind{.groups = {{World::writerCache, &cache}}};
    world.addRoot();
    world.addWriter("w", behind);
    world.run();
    EXPECT_TRUE(ORXNtpTime_isInfinite(&world.collector->pollingPeriod));
    ASSERT_TRUE(world.clock.moveAndSettle({0xFFFFFFFELL, 0}));
    EXPECT_EQ(behind.fetched.value(), 0U);
}

TEST(PeriodicCollection, WalksWithoutTheHeapOnceWarm) {
    World world;
    constexpr DDS_Monitoring_DataWriterProtocolStatus protocol{};
    Behind behind{.groups = {{World::writerCache, &cache}, {World::writerProtocol, &protocol}}};
    world.addRoot();
    for (int i = 0; i < 20; ++i)
        world.addWriter(
            ("w" + std::to_string(i)).c_str(), behind, {World::writerCache, World::writerProtocol});
    world.run();
    Worker worker;
    for (int i = 0; i < 5; ++i) {
        (void)runEvent(world, worker);
        (void)world.received();
    }
    REDAInlineMemoryInfo before{};
    REDAInlineMemory_getInfo(world.collector->memoryManager, &before);
    const auto calls = heapCallsOfThisThread();
    (void)runEvent(world, worker);
    EXPECT_EQ(heapCallsOfThisThread(), calls);
    REDAInlineMemoryInfo after{};
    REDAInlineMemory_getInfo(world.collector->memoryManager, &after);
    EXPECT_EQ(after.liveBuffers, 0U);
    EXPECT_EQ(after.blockAllocations, before.blockAllocations);
}

TEST(PeriodicCollection, ExhaustedMemoryCostsResourcesAndNeverTheEvent) {
    // All groups of a writer: more than the arena's first block.
    static constexpr DDS_Monitoring_DataWriterProtocolStatus largest{};
    Behind behind;
    std::vector<DDS_UnsignedLong> groups;
    for (DDS_UnsignedLong group = World::writerCache; group < World::writerCache + 8; ++group) {
        groups.push_back(group);
        behind.groups[group] = &largest;
    }
    bool allPublished = false;
    int n = 0;
    while (!allPublished && n < 200) {
        World world;
        world.addRoot();
        for (int i = 0; i < 3; ++i)
            world.addWriter(("w" + std::to_string(i)).c_str(), behind, groups);
        world.run();
        Worker worker;
        LogCapture log;
        {
            FailingHeap heap;
            heap.failAt(static_cast<uint64_t>(++n));
            const Ran ran = runEvent(world, worker);
            EXPECT_EQ(ran.result, 1);
            EXPECT_EQ(fields(ran.newTime), fields(ORXNtpTime{2001, 0}));
            const bool failed = heap.hasFailed();
            heap.failNoMore();
            allPublished = !failed && world.received().size() == 3;
        }
        (void)runEvent(world, worker);
        EXPECT_GE(world.received().size(), 3U) << "after a failure of allocation " << n << "\n" << log.text();
    }
    EXPECT_TRUE(allPublished);
    EXPECT_GT(n, 1) << "the arena grows in the first walk";
}

TEST(PeriodicCollection, CategoriesOfWorkersSilenceTheCallback) {
    World world;
    Behind failing;
    world.addRoot();
    world.addWriter("w", failing);
    world.run();
    LogCapture log;
    std::atomic_ref(ORXLog_g_categoryMask)
        .store(~(1U << ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_ACTIVITY), std::memory_order_relaxed);
    world.pass();
    EXPECT_EQ(failing.fetched.value(), 1U);
    EXPECT_EQ(log.lines().size(), 0U) << log.text();
    std::atomic_ref(ORXLog_g_categoryMask).store(0xFFFFFFFFU, std::memory_order_relaxed);
    world.pass();
    EXPECT_EQ(log.lines().size(), 1U) << log.text();
}

TEST(PeriodicCollection, NullArgumentsEndTheEvent) {
    World world;
    world.run();
    Worker worker;
    LogCapture log;
    ORXNtpTime time{};
    const ORXNtpTime now{};
    const ORXEventGeneratorListenerStorage storage{{world.collector, world.registry}};
    const ORXEventGeneratorListenerStorage noCollector{{nullptr, world.registry}};
    const ORXEventGeneratorListenerStorage noRegistry{{world.collector, nullptr}};
    const auto onEvent = ORX_MonitoringPeriodicMetricCollector_collectAndPublish;
    EXPECT_EQ(onEvent(nullptr, nullptr, nullptr, &now, &now, &now, &storage, worker.handle()), 0);
    EXPECT_EQ(onEvent(nullptr, &time, nullptr, nullptr, &now, &now, &storage, worker.handle()), 0);
    EXPECT_EQ(onEvent(nullptr, &time, nullptr, &now, &now, &now, nullptr, worker.handle()), 0);
    EXPECT_EQ(onEvent(nullptr, &time, nullptr, &now, &now, &now, &storage, nullptr), 0);
    EXPECT_EQ(onEvent(nullptr, &time, nullptr, &now, &now, &now, &noCollector, worker.handle()), 0);
    EXPECT_EQ(onEvent(nullptr, &time, nullptr, &now, &now, &now, &noRegistry, worker.handle()), 0);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 6U) << log.text();
    EXPECT_TRUE(log.has("\"newTime == ((void *)0)\"\n"));
    EXPECT_TRUE(log.has("\"worker == ((void *)0)\"\n"));
}

} // namespace
