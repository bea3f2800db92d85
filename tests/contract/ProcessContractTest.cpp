// The contract between two processes, over the network of the loopback device.
#include <thread>

#include "tests/contract/PeerProcess.hpp"
#include "zddscore/heap.h"

namespace contract {
namespace {

using eng::Status;

const DDS_DomainId_t domain = testDomain(3);

std::string identityOf(const DDS_GUID_t& endpoint, const DDS_GUID_t& participant) {
    return textOf(eng::RemoteEndpoint{endpoint, participant});
}

class TwoProcesses : public testing::Test {
protected:
    TwoProcesses()
        : participant_(eng::cyclone().createParticipant({.domainId = domain, .name = "test", .peers = {}})) {}

    PeerProcess peer(const std::string& role, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {role, std::to_string(domain), topic_});
        return PeerProcess{std::move(options)};
    }

    std::string topic_ = uniqueName("processes");
    WriterRecorder writerSink_;
    ReaderRecorder readerSink_;
    ParticipantPointer participant_;
    WriterPointer writer_;
    ReaderPointer reader_;
};

TEST_F(TwoProcesses, WriterHereReaderThere) {
    writer_ = makeWriter(*participant_, topic_, &writerSink_);
    PeerProcess reader = peer("reader");
    ASSERT_TRUE(reader.isUp());
    ASSERT_TRUE(writerSink_.waitForMatches(1));
    EXPECT_EQ(textOf(writerSink_.events()[0].remote), reader.identity());
    EXPECT_EQ(reader.expectLine("matched "), "matched " + identityOf(writer_->guid(), participant_->guid()));
    for (int i = 1; i <= 200; ++i) {
        int64_t number = 0;
        ASSERT_EQ(write(*writer_, sample(std::to_string(i)), eng::SampleKind::data, i * second, &number),
            Status::ok);
        ASSERT_EQ(number, i);
    }
    for (int i = 1; i <= 200; ++i)
        ASSERT_EQ(reader.expectLine("sample "), "sample " + textOf(writer_->guid()) + " " +
                                                    std::to_string(i) + " " + std::to_string(i * second) +
                                                    " 0 " + std::to_string(i));
    EXPECT_EQ(writer_->waitForAcknowledgments(eng::infinite), Status::ok);
    EXPECT_EQ(reader.end(), 0);
    EXPECT_TRUE(writerSink_.waitForUnmatches(1));
    EXPECT_EQ(textOf(writerSink_.events()[1].remote), reader.identity());
}

TEST_F(TwoProcesses, ReaderHereWriterThere) {
    reader_ = makeReader(*participant_, topic_, &readerSink_);
    PeerProcess writer = peer("writer");
    ASSERT_TRUE(writer.isUp());
    ASSERT_TRUE(readerSink_.waitForMatches(1));
    EXPECT_EQ(textOf(readerSink_.events()[0].remote), writer.identity());
    EXPECT_EQ(writer.expectLine("matched "), "matched " + identityOf(reader_->guid(), participant_->guid()));
    for (int i = 1; i <= 200; ++i)
        ASSERT_EQ(writer.obey("write " + std::to_string(i)), "ok");
    ASSERT_TRUE(readerSink_.waitForSamples(200));
    const auto samples = readerSink_.samples();
    for (int i = 1; i <= 200; ++i) {
        const Received& one = samples[static_cast<size_t>(i - 1)];
        ASSERT_EQ(one.sequenceNumber, i);
        ASSERT_EQ(one.body(), std::to_string(i));
        ASSERT_EQ(textOf(one.writer), writer.identity().substr(0, 32));
    }
    EXPECT_EQ(writer.obey("acknowledged 10000"), "ok");
    EXPECT_EQ(writer.end(), 0);
    EXPECT_TRUE(readerSink_.waitForUnmatches(1));
}

TEST_F(TwoProcesses, LargeSamplesTravelInFragments) {
    reader_ = makeReader(*participant_, topic_, &readerSink_);
    writer_ = makeWriter(*participant_, topic_ + "_back", &writerSink_);
    PeerProcess writer = peer("writer");
    const std::string realTopic = topic_;
    topic_ += "_back";
    PeerProcess reader = peer("reader");
    ASSERT_TRUE(writer.isUp() && reader.isUp());
    ASSERT_FALSE(writer.expectLine("matched ").empty());
    ASSERT_TRUE(writerSink_.waitForMatches(1));
    for (const size_t size : {1000UL, 1'501UL, 64'000UL, 300'003UL, 1'000'000UL}) {
        std::string body(size, ' ');
        for (size_t i = 0; i < size; ++i)
            body[i] = static_cast<char>('a' + i * i % 26);
        ASSERT_EQ(write(*writer_, sample(body)), Status::ok);
        const std::string told = reader.expectLine("sample ");
        EXPECT_EQ(told.substr(told.rfind(' ') + 1), toldBody(body));
        writer.send("write " + body);
    }
    ASSERT_TRUE(readerSink_.waitForSamples(5));
    EXPECT_EQ(readerSink_.samples()[4].bytes.size(), 1'000'004U);
    EXPECT_EQ(readerSink_.samples()[4].sequenceNumber, 5);
}

TEST_F(TwoProcesses, KeyedSamplesAreDisposedAndUnregistered) {
    writer_ = makeWriter(*participant_, topic_, &writerSink_, {}, {}, true);
    PeerProcess reader = peer("reader", {"keyed"});
    ASSERT_TRUE(reader.isUp());
    ASSERT_TRUE(writerSink_.waitForMatches(1));
    ASSERT_EQ(write(*writer_, keyedSample("instance", "body"), eng::SampleKind::data, 7), Status::ok);
    ASSERT_EQ(write(*writer_, keyedSample("instance"), eng::SampleKind::dispose, 8 * second), Status::ok);
    ASSERT_EQ(write(*writer_, keyedSample("instance"), eng::SampleKind::unregister, 9 * second), Status::ok);
    const std::string start = "sample " + textOf(writer_->guid());
    reader.expectLine("sample ");
    EXPECT_EQ(reader.expectLine("sample "), start + " 2 8000000000 1 instance");
    EXPECT_EQ(reader.expectLine("sample "), start + " 3 9000000000 2 instance");
}

TEST_F(TwoProcesses, TopicsOfTheMonitoringNamesWork) {
    topic_ = "DCPSEventStatusMonitoring";
    reader_ = makeReader(*participant_, topic_, &readerSink_);
    PeerProcess writer = peer("writer");
    ASSERT_TRUE(writer.isUp());
    ASSERT_FALSE(writer.expectLine("matched ").empty());
    ASSERT_EQ(writer.obey("write x"), "ok");
    EXPECT_TRUE(readerSink_.waitForSamples(1));
}

TEST_F(TwoProcesses, BestEffortDelivers) {
    reader_ = makeReader(*participant_, topic_, &readerSink_, {.reliable = false});
    PeerProcess writer = peer("writer", {"besteffort"});
    ASSERT_TRUE(writer.isUp());
    ASSERT_FALSE(writer.expectLine("matched ").empty());
    ASSERT_TRUE(readerSink_.waitForMatches(1));
    // The first ones may be lost, even all that are written within a few milliseconds.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (readerSink_.samples().empty() && std::chrono::steady_clock::now() < deadline)
        ASSERT_EQ(writer.obey("write x"), "ok");
    EXPECT_TRUE(readerSink_.waitForSamples(1));
    EXPECT_EQ(writer.obey("acknowledged 0"), "ok");
}

TEST_F(TwoProcesses, PartitionsMeetByName) {
    ReaderRecorder otherSink;
    reader_ = makeReader(*participant_, topic_, &readerSink_, {}, {"one"});
    ReaderPointer other = makeReader(*participant_, topic_, &otherSink, {}, {"two"});
    PeerProcess writer = peer("writer", {"partition=one"});
    ASSERT_TRUE(writer.isUp());
    ASSERT_FALSE(writer.expectLine("matched ").empty());
    ASSERT_TRUE(readerSink_.waitForMatches(1));
    ASSERT_EQ(writer.obey("write x"), "ok");
    EXPECT_TRUE(readerSink_.waitForSamples(1));
    EXPECT_EQ(otherSink.matches(), 0);
}

TEST_F(TwoProcesses, VolatileReaderMissesWhatWasBeforeIt) {
    writer_ = makeWriter(*participant_, topic_, &writerSink_);
    for (int i = 0; i < 5; ++i)
        ASSERT_EQ(write(*writer_, sample("early")), Status::ok);
    PeerProcess reader = peer("reader");
    ASSERT_TRUE(writerSink_.waitForMatches(1));
    ASSERT_EQ(write(*writer_, sample("late"), eng::SampleKind::data, second), Status::ok);
    EXPECT_EQ(reader.expectLine("sample "), "sample " + textOf(writer_->guid()) + " 6 1000000000 0 late");
}

TEST_F(TwoProcesses, MatchComesBeforeDataOfShortLivedWriters) {
    reader_ = makeReader(*participant_, topic_, &readerSink_);
    PeerProcess writer = peer("writer");
    ASSERT_TRUE(writer.isUp());
    constexpr int rounds = 20;
    for (int i = 1; i <= rounds; ++i) {
        ASSERT_FALSE(writer.expectLine("matched ").empty()) << i;
        for (int n = 0; n < 5; ++n)
            ASSERT_EQ(writer.obey("write x"), "ok");
        ASSERT_EQ(writer.obey("renew"), "ok");
    }
    ASSERT_TRUE(readerSink_.waitForUnmatches(rounds));
    ASSERT_TRUE(readerSink_.waitForMatches(rounds + 1));
    EXPECT_EQ(expectMatchesAround(readerSink_.events()), rounds + 1);
}

// A stopped reader costs bounded memory and bounded time, and nothing is lost when it goes on.
TEST_F(TwoProcesses, StalledReaderBoundsMemoryAndTime) {
    writer_ = makeWriter(
        *participant_, topic_, &writerSink_, {.reliable = true, .maxBlockingTime = {0, 100'000'000}});
    PeerProcess reader = peer("reader");
    ASSERT_TRUE(reader.isUp());
    ASSERT_TRUE(writerSink_.waitForMatches(1));
    reader.signal(SIGSTOP);
    const Bytes bytes = sample(std::string(10'000, 'x'));
    const ORX_UINT64 before = ORXOsapiHeap_getLiveBufferCount();
    int accepted = 0;
    Status status = Status::ok;
    while (accepted < 1000 && (status = write(*writer_, bytes)) == Status::ok)
        ++accepted;
    EXPECT_EQ(status, Status::timeout);
    EXPECT_LT(accepted, 100) << "about a megabyte at most";
    EXPECT_LE(ORXOsapiHeap_getLiveBufferCount() - before, static_cast<ORX_UINT64>(accepted) + 2);
    EXPECT_EQ(writer_->waitForAcknowledgments(50'000'000), Status::timeout);
    reader.signal(SIGCONT);
    EXPECT_EQ(writer_->waitForAcknowledgments(30 * second), Status::ok);
    int64_t number = 0;
    ASSERT_EQ(write(*writer_, sample("on"), eng::SampleKind::data, eng::now, &number), Status::ok);
    EXPECT_EQ(number, accepted + 1) << "what was refused has no number";
    for (int i = 1; i <= number; ++i)
        ASSERT_NE(reader.expectLine("sample ").find(" " + std::to_string(i) + " "), std::string::npos);
}

// A match that is told while a write is blocked must not wait for that write.
TEST_F(TwoProcesses, MatchesAreToldWhileAWriteIsBlocked) {
    writer_ = makeWriter(*participant_, topic_, &writerSink_, {.reliable = true, .maxBlockingTime = {60, 0}});
    PeerProcess stopped = peer("reader");
    ASSERT_TRUE(writerSink_.waitForMatches(1));
    stopped.signal(SIGSTOP);
    std::atomic<int> accepted{0};
    std::atomic<bool> stop{false};
    std::thread flow([&] {
        const Bytes bytes = sample(std::string(10'000, 'x'));
        while (!stop && write(*writer_, bytes) == Status::ok)
            ++accepted;
    });
    PeerProcess another = peer("reader");
    EXPECT_TRUE(another.isUp());
    EXPECT_TRUE(writerSink_.waitForMatches(2));
    EXPECT_FALSE(another.expectLine("matched ").empty());
    stop = true;
    stopped.signal(SIGCONT);
    flow.join();
    EXPECT_EQ(writer_->waitForAcknowledgments(30 * contract::second), Status::ok);
}

TEST_F(TwoProcesses, KilledPeerIsUnmatchedWhenItsLeaseEnds) {
    reader_ = makeReader(*participant_, topic_, &readerSink_);
    PeerProcess writer = peer("writer", {"lease=1"});
    ASSERT_TRUE(writer.isUp());
    ASSERT_TRUE(readerSink_.waitForMatches(1));
    // Longer than a lease: a silent participant shows that it lives.
    poll(nullptr, 0, 2500);
    EXPECT_EQ(readerSink_.count(Event::Kind::unmatched), 0);
    const auto start = std::chrono::steady_clock::now();
    writer.signal(SIGKILL);
    EXPECT_TRUE(readerSink_.waitForUnmatches(1));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8)) << "the default is 10";
    EXPECT_EQ(textOf(readerSink_.events()[1].remote), writer.identity());
}

} // namespace
} // namespace contract
