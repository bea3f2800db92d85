#include "agent/Figures.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "agent/DataBlocks.hpp"
#include "agent/MetricGroups.hpp"
#include "agent/Registry.hpp"
#include "zddscore/heap.h"

namespace {

using namespace orx::agent;

int64_t valueOf(const DDS_Monitoring_SequenceNumber_t& number) {
    return (static_cast<int64_t>(number.high) << 32) + number.low;
}

TEST(WriterFigures, StartEmptyWithUnknownSequenceNumbers) {
    WriterFigures figures;
    startFigures(figures);
    EXPECT_EQ(figures.protocol.pushed_sample_count, 0);
    EXPECT_EQ(figures.protocol.last_available_sequence_number.high, -1);
    EXPECT_EQ(figures.protocol.last_available_sequence_number.low, 0u);
    EXPECT_EQ(figures.protocol.first_available_sample_virtual_sequence_number.high, -1);
}

TEST(WriterFigures, ChangesCountFromTheLastCopy) {
    WriterFigures figures;
    startFigures(figures);
    OrxWriterFigures engine{};
    engine.throttles = 3;
    updateFigures(figures, engine, {10, 0, 0, 1, 1});
    updateFigures(figures, engine, {20, 0, 0, 2, 1});
    EXPECT_EQ(takeProtocol(figures).pushed_sample_count_change, 23) << "two looks, and one copy";
    updateFigures(figures, engine, {21, 0, 0, 2, 1});
    const auto copy = takeProtocol(figures);
    EXPECT_EQ(copy.pushed_sample_count, 24);
    EXPECT_EQ(copy.pushed_sample_count_change, 1);
    EXPECT_EQ(takeProtocol(figures).pushed_sample_count_change, 0);
    EXPECT_EQ(takeReliableCache(figures).full_reliable_writer_cache_count_change, 3);
    EXPECT_EQ(takeReliableCache(figures).full_reliable_writer_cache_count_change, 0);
}

TEST(WriterFigures, BytesAreTheKnownOnes) {
    WriterFigures figures;
    startFigures(figures);
    OrxWriterFigures engine{};
    const OrxDataCounters counters = {10, 4, 100, 5, 6};
    updateFigures(figures, engine, counters);
    EXPECT_EQ(figures.protocol.pushed_sample_bytes, 100) << "a type whose samples differ";
    engine.sampleBytes = 12;
    updateFigures(figures, engine, counters);
    EXPECT_EQ(figures.protocol.pushed_sample_bytes, 100 + 6 * 12);
    // A count that was read a moment before its companion.
    updateFigures(figures, engine, {3, 4, 100, 0, 0});
    EXPECT_EQ(figures.protocol.pushed_sample_bytes, 100);
}

TEST(WriterFigures, AnEmptyHistoryIsToldAsHeartbeatsDo) {
    WriterFigures figures;
    startFigures(figures);
    OrxWriterFigures engine{};
    engine.hasInnerFigures = true;
    engine.lastSequenceNumber = engine.acknowledged = 0x1FFFFFFFFLL;
    updateFigures(figures, engine, {});
    EXPECT_EQ(valueOf(figures.protocol.first_available_sequence_number), 0x200000000LL);
    EXPECT_EQ(valueOf(figures.protocol.last_available_sequence_number), 0x1FFFFFFFFLL);
    EXPECT_EQ(valueOf(figures.protocol.first_unacknowledged_sample_sequence_number), 0x200000000LL);
    EXPECT_EQ(figures.reliableCache.unacknowledged_sample_count, 0);
    engine.firstKept = engine.acknowledged = 5;
    engine.lastKept = 9;
    engine.lastSequenceNumber = 9;
    updateFigures(figures, engine, {});
    EXPECT_EQ(valueOf(figures.protocol.first_available_sequence_number), 5);
    EXPECT_EQ(valueOf(figures.protocol.last_available_sequence_number), 9);
    EXPECT_EQ(valueOf(figures.protocol.first_unacknowledged_sample_sequence_number), 6);
    EXPECT_EQ(figures.reliableCache.unacknowledged_sample_count, 4);
}

TEST(WriterFigures, PeaksStayAndNarrowCountsEndAtTheirHighest) {
    WriterFigures figures;
    startFigures(figures);
    OrxWriterFigures engine{};
    engine.hasInnerFigures = true;
    engine.keptSamples = 9;
    engine.lastSequenceNumber = uint64_t{1} << 40;
    engine.throttles = 0xFFFFFFFFU;
    updateFigures(figures, engine, {});
    EXPECT_EQ(figures.reliableCache.unacknowledged_sample_count, 0x7FFFFFFF);
    EXPECT_EQ(figures.reliableCache.full_reliable_writer_cache_count, 0x7FFFFFFF);
    engine.keptSamples = 2;
    engine.lastSequenceNumber = 1;
    updateFigures(figures, engine, {});
    EXPECT_EQ(figures.cache.sample_count, 2);
    EXPECT_EQ(figures.cache.sample_count_peak, 9);
    EXPECT_EQ(figures.reliableCache.unacknowledged_sample_count, 1);
    EXPECT_EQ(figures.reliableCache.unacknowledged_sample_count_peak, 0x7FFFFFFF);
}

// ---- The groups ----

class FigureGroups : public testing::Test {
protected:
    FigureGroups() {
        setMetricGroupRegistry(registry);
        participant = make(Kind::participant, nullptr);
    }
    ~FigureGroups() override {
        registry.end(*participant);
        for (Registry::Task task = registry.takeWork(); task.observed; task = registry.takeWork()) {
            if (task.isDeletion)
                registry.deleted(*task.observed);
        }
    }
    Observed* make(Kind kind, Observed* parent) {
        Observed* observed = createObserved(kind);
        observed->handle = ++lastHandle_;
        EXPECT_TRUE(registry.insert(observed, parent));
        return observed;
    }
    static void* group(const Observed& observed, DDS_UnsignedLong index) {
        void* value = nullptr;
        const bool isThere =
            resourceForwarder().get_metric_group_function(&value, observed.standIn, index) != 0;
        EXPECT_EQ(isThere, value != nullptr);
        return value;
    }
    Registry registry;
    Observed* participant = nullptr;

private:
    dds_entity_t lastHandle_ = 0;
};

TEST_F(FigureGroups, WhatTheEngineDoesNotTellIsAbsentAndNotZero) {
    Observed* writer = make(Kind::writer, participant);
    Observed* reader = make(Kind::reader, participant);
    EXPECT_NE(group(*writer, 11), nullptr);
    updateFigures(writer->figures.writer, {}, {}); // without inner figures
    updateFigures(reader->figures.reader, {}, {});
    for (const DDS_UnsignedLong index : {9u, 10u, 11u, 15u, 16u, 17u})
        EXPECT_EQ(group(*writer, index), nullptr) << index;
    for (const DDS_UnsignedLong index : {12u, 13u, 14u})
        EXPECT_NE(group(*writer, index), nullptr) << "the program's own calls are known: " << index;
    for (const DDS_UnsignedLong index : {10u, 11u, 12u, 16u})
        EXPECT_EQ(group(*reader, index), nullptr) << index;
    EXPECT_NE(group(*reader, 15), nullptr);
    for (DDS_UnsignedLong index = 4; index < 43; ++index)
        EXPECT_EQ(group(*participant, index), nullptr) << index;
}

// The thread that publishes copies while the sampler refreshes: each copy is of one moment.
TEST_F(FigureGroups, CopiesAreOfOneMoment) {
    Observed* writer = make(Kind::writer, participant);
    constexpr uint64_t rounds = 20'000;
    std::thread sampler([&] {
        for (uint64_t i = 1; i <= rounds; ++i) {
            OrxWriterFigures engine{};
            engine.hasInnerFigures = true;
            engine.keptSamples = engine.lastSequenceNumber = i;
            engine.acks = engine.nacks = static_cast<uint32_t>(i);
            Guard guard(writer->figuresMutex);
            updateFigures(writer->figures.writer, engine, {i, 0, 0, 0, 0});
        }
    });
    int64_t last = 0;
    while (last < static_cast<int64_t>(rounds)) {
        const auto& protocol =
            *static_cast<const DDS_Monitoring_DataWriterProtocolStatus*>(group(*writer, 14));
        EXPECT_EQ(protocol.pushed_sample_count, protocol.received_ack_count);
        EXPECT_EQ(protocol.received_ack_count, protocol.received_nack_count);
        EXPECT_GE(protocol.pushed_sample_count, last);
        last = protocol.pushed_sample_count;
    }
    sampler.join();
}

// ---- Counters ----

std::vector<OrxDataEntry*> attached;
void noteAttached(OrxDataEntry* entry) {
    attached.push_back(entry);
}
void noteDetached(OrxDataEntry* entry) {
    EXPECT_EQ(std::erase(attached, entry), 1u);
}

int64_t testTime = 0;
int64_t testClock() {
    return testTime;
}

class DataBlocks : public testing::Test {
protected:
    DataBlocks() {
        setDataEntryFunctions(noteAttached, noteDetached);
        setDataBlockClock(testClock);
    }
    ~DataBlocks() override {
        EXPECT_TRUE(attached.empty());
        setDataEntryFunctions([](OrxDataEntry*) {}, [](OrxDataEntry*) {});
        setDataBlockClock(nullptr);
    }
    DataBlockPool pool;
};

TEST_F(DataBlocks, ConditionsCountForTheirReader) {
    DataBlock* reader = nullptr;
    DataBlock* first = pool.attach(10, reader);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(reader, first);
    DataBlock* one = pool.attach(11, reader);
    DataBlock* two = pool.attach(12, reader);
    ASSERT_EQ(attached.size(), 3u);
    EXPECT_EQ(one->entry.counters, &first->counters);
    EXPECT_EQ(two->entry.counters, &first->counters);
    EXPECT_FALSE(pool.detachCondition(10)) << "the reader itself is none";
    EXPECT_TRUE(pool.detachCondition(11));
    EXPECT_FALSE(pool.detachCondition(11));
    EXPECT_EQ(attached.size(), 2u);
    pool.detachAll(reader);
    EXPECT_EQ(reader, nullptr);
    EXPECT_FALSE(pool.detachCondition(12)) << "gone with its reader";
}

TEST_F(DataBlocks, AreUsedAgainOnlyWhenNobodyCanStandOnThem) {
    DataBlock* owner = nullptr;
    DataBlock* first = pool.attach(1, owner);
    first->counters.samples = 5;
    pool.detachAll(owner);
    testTime += DataBlockPool::quarantineNs - 1;
    DataBlock* second = pool.attach(2, owner);
    EXPECT_NE(second, first);
    pool.detachAll(owner);
    EXPECT_EQ(first->entry.handle, 1) << "a walk may still look at it";
    testTime += 1;
    DataBlock* third = pool.attach(3, owner);
    EXPECT_EQ(third, first);
    EXPECT_EQ(third->counters.samples, 0u);
    EXPECT_EQ(third->entry.handle, 3);
    pool.detachAll(owner);
}

TEST_F(DataBlocks, MemoryFollowsWhatLives) {
    const uint64_t before = ORXOsapiHeap_getLiveBufferCount();
    DataBlock* owner = nullptr;
    for (int i = 0; i < 1000; ++i) {
        pool.attach(i, owner);
        pool.detachAll(owner);
        testTime += DataBlockPool::quarantineNs;
    }
    EXPECT_LE(ORXOsapiHeap_getLiveBufferCount() - before, 2u);
}

} // namespace
