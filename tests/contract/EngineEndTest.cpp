// A program that ends the library under us, while we write.
#include <atomic>
#include <thread>

#include "tests/contract/ContractFixture.hpp"

extern "C" int32_t dds_delete(int32_t entity); // its header clashes with ours

namespace contract {
namespace {

constexpr int32_t everything = 0x7fff0000 + 256; // the library's own handle

// In a process of its own, which the end of the library may leave in any state but a broken one.
[[noreturn]] void endWhileWriting(bool keyed) {
    ParticipantPointer participant{
        eng::cyclone().createParticipant({.domainId = testDomain(), .name = "end", .peers = {}})};
    const std::string topic = uniqueName("end");
    WriterRecorder writerSink;
    ReaderRecorder readerSink;
    WriterPointer writer = makeWriter(*participant, topic, &writerSink, {}, {}, keyed);
    ReaderPointer reader = makeReader(*participant, topic, &readerSink, {}, {}, keyed);
    if (!writer || !reader || !writerSink.waitForMatches(1))
        _exit(2);
    const Bytes bytes = keyed ? keyedSample("instance", "body") : sample("body");
    std::atomic<bool> hasWritten{false};
    eng::Status last = eng::Status::ok;
    std::thread writing([&] {
        while (last == eng::Status::ok) {
            last = write(*writer, bytes);
            hasWritten = true;
        }
    });
    while (!hasWritten)
        std::this_thread::yield();
    dds_delete(everything);
    writing.join();
    if (writer->waitForAcknowledgments(0) == eng::Status::ok)
        _exit(3);
    if (writer->waitForAcknowledgmentOf(participant->guid(), 1, 0) == eng::Status::ok)
        _exit(4);
    writer.reset();
    reader.reset();
    participant.reset();
    _exit(last == eng::Status::ok ? 5 : 0);
}

TEST(EngineEnd, AWriterFailsWhenTheProgramEndsTheLibrary) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(endWhileWriting(false), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(endWhileWriting(true), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace contract
