// Memory of the engine over Cyclone DDS: failures of it, and how much a write takes.
#include "tests/contract/ContractFixture.hpp"
#include "tests/helpers/FailingHeap.hpp"
#include "zddscore/heap.h"

namespace contract {
namespace {

using eng::Status;

const DDS_DomainId_t domain = testDomain(5);

// Everything that can be called once; true when all of it worked.
bool useAll(bool keyed) {
    const char* peer = "127.0.0.1";
    const ParticipantPointer participant{
        eng::cyclone().createParticipant({.domainId = domain, .name = "memory", .peers = {&peer, 1}})};
    if (!participant)
        return false;
    WriterRecorder writerSink;
    ReaderRecorder readerSink;
    const WriterPointer writer = makeWriter(*participant, "Memory", &writerSink, {}, {}, keyed);
    const ReaderPointer reader = makeReader(*participant, "Memory", &readerSink, {}, {}, keyed);
    if (!writer || !reader)
        return false;
    if (write(*writer, keyed ? keyedSample("instance", "x") : sample("x")) != Status::ok)
        return false;
    if (keyed && write(*writer, keyedSample("instance"), eng::SampleKind::dispose) != Status::ok)
        return false;
    // Without memory for its match an endpoint works on, and says so in the log: its sink hears nothing of
    // that one.
    return readerSink.matches() == 1 && writerSink.matches() == 1 && !readerSink.samples().empty();
}

void walkAllocations(bool keyed) {
    const ORX_UINT64 buffers = ORXOsapiHeap_getLiveBufferCount();
    FailingHeap heap;
    bool done = false, failed = true;
    uint64_t allocation = 1;
    for (; failed && allocation < 300; ++allocation) {
        heap.failAt(allocation);
        done = useAll(keyed); // some failures are made good: a match by its first sample, the copy of a key
        failed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << allocation;
    }
    EXPECT_TRUE(done);
    EXPECT_GT(allocation, 10U);
}

TEST(CycloneMemory, EveryAllocationMayFailAndLeavesNothingBehind) {
    walkAllocations(false);
}

TEST(CycloneMemory, EveryAllocationMayFailWithAKeyToo) {
    walkAllocations(true);
}

// What is written and acknowledged is given back at once, and not left to a collector that could fall behind.
TEST(CycloneMemory, WritesOfAKeylessTopicTakeOneBufferAndGiveItBack) {
    const ParticipantPointer participant{
        eng::cyclone().createParticipant({.domainId = domain, .name = "memory", .peers = {}})};
    ReaderRecorder sink;
    const WriterPointer writer = makeWriter(*participant, "Memory", nullptr);
    const ReaderPointer reader = makeReader(*participant, "Memory", &sink);
    ASSERT_EQ(write(*writer, sample("warm")), Status::ok);
    FailingHeap heap;
    const ORX_UINT64 buffers = ORXOsapiHeap_getLiveBufferCount();
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(write(*writer, sample("x")), Status::ok);
    EXPECT_EQ(heap.count(), 1000U);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

} // namespace
} // namespace contract
