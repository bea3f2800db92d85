// Batches, the ring, and snapshots: what the worker publishes.
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logging/LoggingWorld.hpp"

namespace {

using Texts = std::vector<std::string>;

class LoggingSample : public ::testing::Test {
protected:
    void start() { ASSERT_TRUE(world.start()) << log.text(); }
    void writeMany(int from, int to) {
        for (int i = from; i < to; ++i)
            world.write(std::to_string(i).c_str());
    }
    LogCapture log;
    LoggingWorld world;
};

TEST_F(LoggingSample, ABatchIsOneUpdate) {
    start();
    writeMany(0, 3);
    const auto samples = world.run();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0].texts(), (Texts{"0", "1", "2"}));
    EXPECT_EQ(samples[0].epoch, 1U);
    EXPECT_FALSE(samples[0].isSnapshot);
    EXPECT_TRUE(samples[0].hasUpdate);
    EXPECT_FALSE(samples[0].hasSnapshot);
    const auto* root = world.table->rootResource->base.guid;
    EXPECT_EQ(samples[0].root, std::vector<DDS_Octet>(root, root + 16));
    EXPECT_EQ(world.liveBuffers(), 0U);
}

TEST_F(LoggingSample, AFullUpdateIsSentFirst) {
    world.property.logging.max_logs_per_update = 2;
    start();
    writeMany(0, 5);
    const auto samples = world.run();
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_EQ(samples[0].texts(), (Texts{"0", "1"}));
    EXPECT_EQ(samples[1].texts(), (Texts{"2", "3"}));
    EXPECT_EQ(samples[2].texts(), (Texts{"4"}));
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(samples[i].epoch, i + 1);
    EXPECT_EQ(world.results, std::vector<int>(5, 1));
}

TEST_F(LoggingSample, ASnapshotHasTheLastMessagesInTheOrderOfTheRing) {
    start();
    writeMany(0, 3);
    (void)world.run();
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    auto samples = world.run();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_TRUE(samples[0].isSnapshot);
    EXPECT_TRUE(samples[0].hasSnapshot);
    EXPECT_FALSE(samples[0].hasUpdate);
    EXPECT_EQ(samples[0].epoch, 1U) << "of the last update";
    EXPECT_EQ(samples[0].texts(), (Texts{"0", "1", "2"}));
    EXPECT_EQ(samples[0].messages[0].category(), "N/A");
    writeMany(3, 6);
    (void)world.run();
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    samples = world.run();
    EXPECT_EQ(samples.at(0).texts(), (Texts{"4", "5", "2", "3"}));
    EXPECT_EQ(samples[0].epoch, 2U);
    EXPECT_EQ(world.liveBuffers(), 0U);
}

TEST_F(LoggingSample, OnlyTheLastMessagesOfALargeUpdateEnterTheRing) {
    start();
    writeMany(0, 10);
    (void)world.run();
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    EXPECT_EQ(world.run().at(0).texts(), (Texts{"6", "7", "8", "9"}));
}

TEST_F(LoggingSample, ARingOfOneKeepsTheLastMessage) {
    world.property.logging.max_historical_logs = 1;
    start();
    for (int i = 0; i < 3; ++i) {
        writeMany(2 * i, 2 * i + 2);
        (void)world.run();
    }
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    EXPECT_EQ(world.run().at(0).texts(), Texts{"5"});
}

TEST_F(LoggingSample, WithoutARingASnapshotIsRefused) {
    world.property.logging.max_historical_logs = 0;
    start();
    writeMany(0, 2);
    EXPECT_EQ(world.run().size(), 1U);
    EXPECT_FALSE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    EXPECT_TRUE(log.has("A logging snapshot was requested but "
                        "ORX_MonitoringLoggingProperty_t::max_historical_logs is 0.\n",
        "CONFIG_FAILURE"));
    for (const auto& sample : world.run())
        EXPECT_FALSE(sample.isSnapshot);
}

TEST_F(LoggingSample, ASnapshotOfAnEmptyRingIsEmpty) {
    start();
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    const auto samples = world.run();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_TRUE(samples[0].isSnapshot);
    EXPECT_TRUE(samples[0].messages.empty());
    EXPECT_EQ(samples[0].epoch, 0U);
}

TEST_F(LoggingSample, ASnapshotIsPostedToAllQueuesAndSentOnce) {
    world.property.logging.concurrency_level = 3;
    world.property.logging.publication_period = LoggingWorld::atOnce;
    start();
    world.write("x");
    std::vector<LogMessageValue> messages;
    ASSERT_TRUE(world.reader->takeMessages(messages, 1));
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    world.write("y");
    int snapshots = 0;
    const auto end = std::chrono::steady_clock::now() + waitBound;
    for (bool isOver = false; !isOver && std::chrono::steady_clock::now() < end;) {
        for (const auto& sample : world.received()) {
            snapshots += sample.isSnapshot;
            isOver |= sample.hasUpdate && sample.texts() == Texts{"y"} && snapshots > 0;
        }
    }
    EXPECT_EQ(snapshots, 1);
}

// The ring's memory is used again and again.
TEST_F(LoggingSample, AFullRingDoesNotGrow) {
    start();
    const auto turnOver = [&] {
        for (int i = 0; i < 50; ++i) {
            writeMany(0, 8);
            (void)world.run();
        }
    };
    turnOver();
    REDAInlineMemoryInfo before{};
    REDAInlineMemory_getInfo(world.logging().memoryManager, &before);
    for (int i = 0; i < 10; ++i)
        turnOver();
    REDAInlineMemoryInfo after{};
    REDAInlineMemory_getInfo(world.logging().memoryManager, &after);
    EXPECT_EQ(after.liveBuffers, before.liveBuffers);
    EXPECT_EQ(after.blockBytes, before.blockBytes);
}

// ---- Failing writes ----

class LoggingWrite : public LoggingSample {
protected:
    void SetUp() override {
        world.property.logging.max_logs_per_update = 2;
        start();
    }
    // A message that no encoding has: its severity does not exist.
    void poison() {
        auto* node = REDAInlineList_getLast(&world.logging().executor->queues[0].tasks);
        auto* task = reinterpret_cast<ORX_MonitoringTaskExecutorTask*>(node);
        static_cast<ORX_MonitoringLoggingPayload*>(task->payload)->base->severity =
            static_cast<DDS_Monitoring_LoggingLevel>(99);
    }
};

TEST_F(LoggingWrite, AFailureRefusesTheMessageAtHandAndIsTriedAgain) {
    writeMany(0, 1);
    poison();
    writeMany(1, 4);
    EXPECT_TRUE(world.run().empty());
    EXPECT_EQ(world.results, (std::vector<int>{1, 1, 0, 0}));
    EXPECT_EQ(log.count("Logging update sample\n", "FAILED_TO_SEND"), 5U)
        << "two by the task, three by the send";
    EXPECT_EQ(world.logging().sample->info.epoch, 3U) << "two refusals and the end of the batch";
}

TEST_F(LoggingWrite, WhatCouldNotBeSentIsGoneWithItsBatch) {
    writeMany(0, 1);
    poison();
    EXPECT_TRUE(world.run().empty());
    EXPECT_EQ(DDS_Monitoring_LogReferenceSeq_get_length(&world.logging().update), 0);
    EXPECT_EQ(world.liveBuffers(), 0U);
    writeMany(1, 2);
    const auto samples = world.run();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0].texts(), Texts{"1"});
    EXPECT_EQ(samples[0].epoch, 2U);
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    EXPECT_EQ(world.run().at(0).texts(), Texts{"1"}) << "only what was sent enters the ring";
}

TEST_F(LoggingWrite, AFailedSnapshotDisturbsNoUpdate) {
    writeMany(0, 1);
    (void)world.run();
    DDS_Monitoring_LoggingMessageSeq_get_reference(&world.logging().snapshot, 0)->severity =
        static_cast<DDS_Monitoring_LoggingLevel>(99);
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    EXPECT_TRUE(world.run().empty());
    EXPECT_TRUE(log.has("Logging snapshot sample\n", "FAILED_TO_SEND")) << log.text();
    EXPECT_NE(world.logging().sample->snapshot, nullptr);
    writeMany(1, 2);
    const auto samples = world.run();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_TRUE(samples[0].hasUpdate);
    EXPECT_FALSE(samples[0].hasSnapshot);
}

TEST_F(LoggingSample, ARingThatCannotCopyLosesTheCopyAlone) {
    world.property.logging.initial_memory_size = 64;
    start();
    const std::string large(20'000, 'x');
    for (int round = 0; round < 8; ++round) { // of 4 slots: not full, and full
        world.write((std::to_string(round) + large).c_str());
        FailingHeap heap;
        REDAInlineMemoryInfo info{};
        REDAInlineMemory_getInfo(world.logging().memoryManager, &info);
        heap.failAt(1, 1'000'000);
        auto* task = reinterpret_cast<ORX_MonitoringTaskExecutorTask*>(
            REDAInlineList_getFirst(&world.logging().executor->queues[0].tasks));
        auto* message = static_cast<ORX_MonitoringLoggingPayload*>(task->payload)->base;
        const DDS_Long length = DDS_Monitoring_LoggingMessageSeq_get_length(&world.logging().snapshot);
        if (!ORX_MonitoringLogging_addLogToSnapshotSeq(&world.logging(), message)) {
            EXPECT_EQ(DDS_Monitoring_LoggingMessageSeq_get_length(&world.logging().snapshot), length);
        }
        heap.failNoMore();
        EXPECT_TRUE(ORX_MonitoringLogging_addLogToSnapshotSeq(&world.logging(), message));
        world.collect();
    }
    ASSERT_TRUE(ORX_MonitoringLogging_postSnapshot(&world.logging()));
    const auto samples = world.run();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0].messages.size(), 4U);
}

} // namespace
