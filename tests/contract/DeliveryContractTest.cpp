// Samples: content, order, numbers, times, kinds, quality of service.
#include "tests/contract/EngineContract.hpp"

namespace contract {
namespace {

using eng::SampleKind;
using eng::Status;

// A writer and a reader of two participants of this process, matched.
class Delivery : public EngineContract {
protected:
    void connect(const Quality& writerQuality = {}, const Quality& readerQuality = {},
        Partitions writerPartitions = {}, Partitions readerPartitions = {}, bool keyed = false) {
        sending_ = participant();
        receiving_ = participant();
        ASSERT_TRUE(sending_ && receiving_);
        writer_ = makeWriter(*sending_, topic_, &writerSink_, writerQuality, writerPartitions, keyed);
        reader_ = makeReader(*receiving_, topic_, &readerSink_, readerQuality, readerPartitions, keyed);
        ASSERT_TRUE(writer_ && reader_);
        ASSERT_TRUE(writerSink_.waitForMatches(1));
        ASSERT_TRUE(readerSink_.waitForMatches(1));
    }
    Status write(const std::string& body) { return contract::write(*writer_, sample(body)); }

    const std::string topic_ = uniqueName("delivery");
    WriterRecorder writerSink_;
    ReaderRecorder readerSink_;
    ParticipantPointer sending_, receiving_;
    WriterPointer writer_;
    ReaderPointer reader_;
};

TEST_P(Delivery, BytesArriveAsTheyWereWritten) {
    connect();
    const std::vector<Bytes> written{
        sample(""), sample("a"), sample("abcd"), sample(std::string(70'000, 'x'))};
    for (const Bytes& bytes : written)
        ASSERT_EQ(contract::write(*writer_, bytes), Status::ok);
    ASSERT_TRUE(readerSink_.waitForSamples(4));
    const auto received = readerSink_.samples();
    for (size_t i = 0; i < written.size(); ++i)
        EXPECT_EQ(received[i].bytes, written[i]) << i;
}

TEST_P(Delivery, NumbersCountFromOneAndOrderHolds) {
    connect();
    constexpr int count = 500;
    for (int i = 1; i <= count; ++i) {
        int64_t number = 0;
        ASSERT_EQ(contract::write(*writer_, sample(std::to_string(i)), SampleKind::data, eng::now, &number),
            Status::ok);
        ASSERT_EQ(number, i);
    }
    ASSERT_TRUE(readerSink_.waitForSamples(count));
    const auto received = readerSink_.samples();
    ASSERT_EQ(received.size(), size_t{count});
    for (int i = 1; i <= count; ++i) {
        const Received& one = received[static_cast<size_t>(i - 1)];
        EXPECT_EQ(one.sequenceNumber, i);
        EXPECT_EQ(one.body(), std::to_string(i));
        EXPECT_EQ(one.writer, writer_->guid());
        EXPECT_EQ(one.kind, SampleKind::data);
    }
}

TEST_P(Delivery, SourceTimeIsTheWritersChoice) {
    connect();
    ASSERT_EQ(
        contract::write(*writer_, sample("x"), SampleKind::data, 1'234'567'890'123'456'000), Status::ok);
    ASSERT_TRUE(readerSink_.waitForSamples(1));
    // A time on the wire has a resolution of 2^-32 s.
    EXPECT_NEAR(static_cast<double>(readerSink_.samples()[0].sourceTimeNs - 1'234'567'890'123'456'000), 0, 1);
}

TEST_P(Delivery, SourceTimeIsTakenNowWhenAskedFor) {
    connect();
    const auto clock = [] {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const int64_t before = clock();
    ASSERT_EQ(write("x"), Status::ok);
    const int64_t after = clock();
    ASSERT_TRUE(readerSink_.waitForSamples(1));
    EXPECT_GE(readerSink_.samples()[0].sourceTimeNs, before - 1);
    EXPECT_LE(readerSink_.samples()[0].sourceTimeNs, after + 1);
}

TEST_P(Delivery, KeyedSamplesAreDisposedAndUnregistered) {
    connect({}, {}, {}, {}, true);
    ASSERT_EQ(contract::write(*writer_, keyedSample("instance", "body")), Status::ok);
    ASSERT_EQ(contract::write(*writer_, keyedSample("another!", "else")), Status::ok);
    ASSERT_EQ(contract::write(*writer_, keyedSample("instance"), SampleKind::dispose), Status::ok);
    ASSERT_EQ(contract::write(*writer_, keyedSample("another!"), SampleKind::unregister), Status::ok);
    ASSERT_TRUE(readerSink_.waitForSamples(4));
    const auto received = readerSink_.samples();
    EXPECT_EQ(received[0].body(), "instancebody");
    EXPECT_EQ(received[2].kind, SampleKind::dispose);
    EXPECT_EQ(received[2].body(), "instance");
    EXPECT_EQ(received[2].sequenceNumber, 3);
    EXPECT_EQ(received[3].kind, SampleKind::unregister);
    EXPECT_EQ(received[3].body(), "another!");
    EXPECT_EQ(received[3].sequenceNumber, 4);
}

TEST_P(Delivery, ManyInstancesComeAndGo) {
    connect({}, {}, {}, {}, true);
    constexpr int count = 300;
    for (int i = 0; i < count; ++i) {
        char key[keyBytes + 1];
        snprintf(key, sizeof key, "key%05d", i);
        ASSERT_EQ(contract::write(*writer_, keyedSample(key, "x")), Status::ok);
        ASSERT_EQ(contract::write(*writer_, keyedSample(key), SampleKind::unregister), Status::ok);
    }
    EXPECT_TRUE(readerSink_.waitForSamples(2 * count));
}

TEST_P(Delivery, WrongBytesAreRefused) {
    connect();
    EXPECT_EQ(contract::write(*writer_, {}), Status::badParameter);
    EXPECT_EQ(contract::write(*writer_, {0, 9, 0}), Status::badParameter);
    EXPECT_EQ(contract::write(*writer_, sample("x", 0x07)), Status::badParameter)
        << "plain bytes of an appendable type";
    EXPECT_EQ(contract::write(*writer_, sample("x", 0x0b)), Status::badParameter) << "a parameter list";
    EXPECT_EQ(contract::write(*writer_, sample("body"), SampleKind::dispose), Status::badParameter)
        << "no key to dispose";
    EXPECT_EQ(write("good"), Status::ok);
    ASSERT_TRUE(readerSink_.waitForSamples(1));
    EXPECT_EQ(readerSink_.samples()[0].sequenceNumber, 1) << "what was refused has no number";
}

TEST_P(Delivery, KeyedBytesNeedTheirKey) {
    connect({}, {}, {}, {}, true);
    EXPECT_EQ(contract::write(*writer_, keyedSample("half")), Status::badParameter);
    EXPECT_EQ(contract::write(*writer_, keyedSample("instance", "and more"), SampleKind::dispose),
        Status::badParameter);
}

TEST_P(Delivery, BestEffortDelivers) {
    connect({.reliable = false}, {.reliable = false});
    ASSERT_EQ(write("one"), Status::ok);
    ASSERT_EQ(write("two"), Status::ok);
    ASSERT_TRUE(readerSink_.waitForSamples(2));
    EXPECT_EQ(readerSink_.bodies(), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(writer_->waitForAcknowledgments(0), Status::ok)
        << "nobody acknowledges, so there is nothing to wait for";
}

TEST_P(Delivery, ReliableWriterServesBestEffortReader) {
    connect({}, {.reliable = false});
    ASSERT_EQ(write("one"), Status::ok);
    EXPECT_TRUE(readerSink_.waitForSamples(1));
}

TEST_P(Delivery, VolatileReaderMissesWhatWasBeforeIt) {
    connect();
    ASSERT_EQ(write("early"), Status::ok);
    ASSERT_TRUE(readerSink_.waitForSamples(1));
    ReaderRecorder lateSink;
    ReaderPointer late = makeReader(*receiving_, topic_, &lateSink);
    ASSERT_TRUE(lateSink.waitForMatches(1));
    ASSERT_TRUE(writerSink_.waitForMatches(2));
    ASSERT_EQ(write("late"), Status::ok);
    ASSERT_TRUE(lateSink.waitForSamples(1));
    EXPECT_EQ(lateSink.bodies(), std::vector<std::string>{"late"});
    EXPECT_EQ(lateSink.samples()[0].sequenceNumber, 2);
}

TEST_P(Delivery, TransientLocalReaderGetsWhatWasBeforeIt) {
    const Quality kept{.transientLocal = true};
    connect(kept, kept);
    ASSERT_EQ(write("one"), Status::ok);
    ASSERT_EQ(write("two"), Status::ok);
    ReaderRecorder lateSink;
    ReaderPointer late = makeReader(*receiving_, topic_, &lateSink, kept);
    ASSERT_TRUE(lateSink.waitForSamples(2));
    EXPECT_EQ(lateSink.bodies(), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(lateSink.events()[0].kind, Event::Kind::matched);
    EXPECT_EQ(lateSink.samples()[1].sequenceNumber, 2);
    EXPECT_EQ(lateSink.matches(), 1);
}

TEST_P(Delivery, EachReaderGetsItsOwn) {
    connect();
    ReaderRecorder second;
    ReaderPointer other = makeReader(*sending_, topic_, &second); // of the writer's own participant
    ASSERT_TRUE(second.waitForMatches(1));
    ASSERT_EQ(write("both"), Status::ok);
    EXPECT_TRUE(readerSink_.waitForSamples(1));
    EXPECT_TRUE(second.waitForSamples(1));
}

TEST_P(Delivery, AcknowledgmentsComeAfterDelivery) {
    connect();
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(write("x"), Status::ok);
    ASSERT_EQ(writer_->waitForAcknowledgments(eng::infinite), Status::ok);
    EXPECT_EQ(readerSink_.samples().size(), 100U);
}

TEST_P(Delivery, NobodyMatchedIsAcknowledged) {
    sending_ = participant();
    writer_ = makeWriter(*sending_, topic_, nullptr);
    ASSERT_TRUE(writer_);
    int64_t number = 0;
    EXPECT_EQ(contract::write(*writer_, sample("x"), SampleKind::data, eng::now, &number), Status::ok);
    EXPECT_EQ(number, 1) << "numbers do not wait for readers";
    EXPECT_EQ(writer_->waitForAcknowledgments(0), Status::ok);
}

TEST_P(Delivery, AcknowledgmentOfOneParticipantIsItsOwn) {
    connect();
    int64_t number = 0;
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(contract::write(*writer_, sample("x"), SampleKind::data, eng::now, &number), Status::ok);
    EXPECT_EQ(writer_->waitForAcknowledgmentOf(receiving_->guid(), number, eng::infinite), Status::ok);
    EXPECT_EQ(readerSink_.samples().size(), 20U);
    EXPECT_EQ(writer_->waitForAcknowledgmentOf(sending_->guid(), number, 0), Status::notMatched)
        << "a participant without a reader";
    reader_.reset();
    ASSERT_TRUE(writerSink_.waitForUnmatches(1));
    EXPECT_EQ(
        writer_->waitForAcknowledgmentOf(receiving_->guid(), number, eng::infinite), Status::notMatched);
}

TEST_P(Delivery, SinksMayBeAbsent) {
    sending_ = participant();
    writer_ = makeWriter(*sending_, topic_, nullptr);
    reader_ = makeReader(*sending_, topic_, nullptr);
    ASSERT_TRUE(writer_ && reader_);
    EXPECT_EQ(write("x"), Status::ok);
    EXPECT_EQ(writer_->waitForAcknowledgments(10 * second), Status::ok);
}

TEST_P(Delivery, TopicsOfTheMonitoringNamesWork) {
    for (const char* name :
        {"DCPSEventStatusMonitoring", "DCPSPeriodicStatusMonitoring", "DCPSLoggingStatusMonitoring"}) {
        ParticipantPointer here = participant(testDomain(1));
        WriterRecorder writerSink;
        ReaderRecorder readerSink;
        WriterPointer writer = makeWriter(*here, name, &writerSink);
        ReaderPointer reader = makeReader(*here, name, &readerSink);
        ASSERT_TRUE(writer && reader) << name;
        ASSERT_TRUE(writerSink.waitForMatches(1));
        ASSERT_EQ(contract::write(*writer, sample(name)), Status::ok);
        ASSERT_TRUE(readerSink.waitForSamples(1));
        EXPECT_EQ(readerSink.samples()[0].body(), name);
    }
}

INSTANTIATE_TEST_SUITE_P(Engine, Delivery, allEngines, engineName);

} // namespace
} // namespace contract
