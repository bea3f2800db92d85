// Faults of the loopback engine, and the walk over every failure of it.
#include <thread>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/engine/LoopbackFixture.hpp"

namespace contract {
namespace {

using eng::LoopbackEngine;
using eng::Status;

TEST(LoopbackFault, DroppedSamplesAreToldAsLost) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    engine.dropNext(2);
    for (const char* body : {"1", "2", "3"})
        EXPECT_EQ(pair.write(body), Status::ok);
    EXPECT_EQ(pair.readerSink.bodies(), Bodies{"3"});
    EXPECT_EQ(pair.readerSink.samples()[0].sequenceNumber, 3);
    EXPECT_EQ(pair.readerSink.lost(), 2U);
    EXPECT_EQ(pair.writer->waitForAcknowledgments(0), Status::ok);
}

TEST(LoopbackFault, DelayedSamplesHoldUpTheirPairAlone) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    const WriterPointer other = makeWriter(*pair.participant, "Pair", nullptr);
    engine.delayNext(1);
    EXPECT_EQ(pair.write("delayed"), Status::ok);
    EXPECT_EQ(pair.write("behind it"), Status::ok);
    EXPECT_EQ(write(*other, sample("aside")), Status::ok);
    EXPECT_EQ(pair.readerSink.bodies(), Bodies{"aside"});
    EXPECT_EQ(pair.writer->waitForAcknowledgments(second), Status::timeout);
    engine.releaseDelayed();
    EXPECT_EQ(pair.readerSink.bodies(), (Bodies{"aside", "delayed", "behind it"}));
}

TEST(LoopbackFault, StalledReaderStopsItsReliableWriterAtTheLimit) {
    LoopbackEngine engine({.maximumUnacknowledged = 3});
    LoopbackPair pair(engine);
    engine.stall(pair.reader->guid());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(pair.write("x"), Status::ok);
    EXPECT_EQ(pair.write("too much"), Status::timeout);
    EXPECT_EQ(pair.writer->waitForAcknowledgments(second), Status::timeout);
    EXPECT_TRUE(pair.readerSink.samples().empty());
    engine.stall(pair.reader->guid(), false);
    EXPECT_EQ(pair.readerSink.samples().size(), 3U);
    EXPECT_EQ(pair.writer->waitForAcknowledgments(0), Status::ok);
    EXPECT_EQ(pair.write("again"), Status::ok);
    EXPECT_EQ(pair.readerSink.samples().back().sequenceNumber, 4) << "what was refused has no number";
}

TEST(LoopbackFault, StalledBestEffortReaderCostsNothing) {
    LoopbackEngine engine({.maximumUnacknowledged = 3});
    LoopbackPair pair(engine, {}, {.reliable = false});
    engine.stall(pair.reader->guid());
    const ORX_UINT64 before = ORXOsapiHeap_getLiveBufferCount();
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(pair.write("x"), Status::ok);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before);
    engine.stall(pair.reader->guid(), false);
    EXPECT_TRUE(pair.readerSink.samples().empty());
}

TEST(LoopbackFault, WithheldAcknowledgmentsComeWhenTheyAreReleased) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    engine.withholdAcknowledgments(pair.reader->guid());
    EXPECT_EQ(pair.write("x"), Status::ok);
    EXPECT_EQ(pair.readerSink.samples().size(), 1U);
    EXPECT_EQ(pair.writer->waitForAcknowledgments(second), Status::timeout);
    std::thread waiter([&] { EXPECT_EQ(pair.writer->waitForAcknowledgments(eng::infinite), Status::ok); });
    engine.withholdAcknowledgments(pair.reader->guid(), false);
    waiter.join();
}

TEST(LoopbackFault, EndOfTheReaderEndsTheWaitForIt) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    engine.stall(pair.reader->guid());
    EXPECT_EQ(pair.write("x"), Status::ok);
    std::thread waiter([&] { EXPECT_EQ(pair.writer->waitForAcknowledgments(eng::infinite), Status::ok); });
    pair.reader.reset();
    waiter.join();
}

TEST(LoopbackFault, UnmatchedPairsStayApartUntilRematch) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    EXPECT_EQ(engine.matches(), 1);
    ASSERT_TRUE(engine.unmatch(pair.writer->guid(), pair.reader->guid()));
    EXPECT_FALSE(engine.unmatch(pair.writer->guid(), pair.reader->guid())) << "they are apart already";
    EXPECT_EQ(engine.matches(), 0);
    EXPECT_EQ(pair.readerSink.count(Event::Kind::unmatched), 1);
    EXPECT_EQ(pair.writerSink.count(Event::Kind::unmatched), 1);
    EXPECT_EQ(pair.write("into the void"), Status::ok);
    ASSERT_TRUE(engine.rematch());
    EXPECT_EQ(pair.readerSink.matches(), 2);
    EXPECT_EQ(pair.writerSink.matches(), 2);
    EXPECT_EQ(pair.write("back"), Status::ok);
    EXPECT_EQ(pair.readerSink.bodies(), Bodies{"back"});
    EXPECT_EQ(pair.writer->waitForAcknowledgments(0), Status::ok);
}

TEST(LoopbackFault, EndpointsOfAPartedPairGoQuietly) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    ASSERT_TRUE(engine.unmatch(pair.writer->guid(), pair.reader->guid()));
    pair.writer.reset();
    EXPECT_EQ(pair.readerSink.count(Event::Kind::unmatched), 1) << "told once";
}

// Everything that can be called once; true when all of it worked.
bool useAll(LoopbackEngine& engine) {
    LoopbackPair pair(engine, {.transientLocal = true}, {.transientLocal = true});
    if (!pair.participant || !pair.writer || !pair.reader)
        return false;
    if (pair.write("one") != Status::ok || pair.write("two") != Status::ok)
        return false;
    if (pair.writer->waitForAcknowledgments(0) != Status::ok)
        return false;
    if (!engine.unmatch(pair.writer->guid(), pair.reader->guid()) || !engine.rematch())
        return false;
    ReaderRecorder lateSink;
    const ReaderPointer late = makeReader(*pair.participant, "Pair", &lateSink, {.transientLocal = true});
    return late && lateSink.samples().size() == 2;
}

TEST(LoopbackFault, EveryCallMayFailAndLeavesNothingBehind) {
    const ORX_UINT64 buffers = ORXOsapiHeap_getLiveBufferCount();
    bool done = false;
    int64_t call = 1;
    for (; !done && call < 100; ++call) {
        LoopbackEngine engine({.failAt = call});
        done = useAll(engine);
        EXPECT_EQ(engine.liveObjects(), 0) << "after call " << call;
        EXPECT_EQ(engine.matches(), 0) << "after call " << call;
        EXPECT_EQ(done, engine.calls() < call) << "the call of this number fails, and no other";
    }
    EXPECT_TRUE(done);
    EXPECT_EQ(call - 2, 7) << "calls that can fail";
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

TEST(LoopbackFault, EveryAllocationMayFailAndLeavesNothingBehind) {
    const ORX_UINT64 buffers = ORXOsapiHeap_getLiveBufferCount();
    FailingHeap heap;
    bool done = false;
    uint64_t allocation = 1;
    for (; !done && allocation < 500; ++allocation) {
        LoopbackEngine engine;
        heap.failAt(allocation);
        done = useAll(engine);
        EXPECT_EQ(done, !heap.hasFailed()) << "allocation " << allocation;
        heap.failNoMore();
        EXPECT_EQ(engine.liveObjects(), 0) << "allocation " << allocation;
    }
    EXPECT_TRUE(done);
    EXPECT_GT(allocation, 20U);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

TEST(LoopbackFault, CountingStartsAnewOnRequest) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    engine.failAt(2);
    EXPECT_EQ(pair.write("1"), Status::ok);
    EXPECT_EQ(pair.write("2"), Status::error);
    EXPECT_EQ(pair.write("3"), Status::ok);
}

} // namespace
} // namespace contract
