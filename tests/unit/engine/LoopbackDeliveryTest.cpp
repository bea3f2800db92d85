// Steps of the loopback engine under the test's control.
#include "tests/unit/engine/LoopbackFixture.hpp"

namespace contract {
namespace {

using eng::LoopbackEngine;
using eng::Status;

TEST(LoopbackDelivery, InlineDeliversBeforeWriteReturns) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    EXPECT_EQ(pair.write("x"), Status::ok);
    EXPECT_EQ(pair.readerSink.bodies(), Bodies{"x"});
    EXPECT_EQ(engine.waitingSteps(), 0);
}

TEST(LoopbackDelivery, PumpedNothingHappensByItself) {
    LoopbackEngine engine({.pumped = true});
    LoopbackPair pair(engine);
    EXPECT_EQ(pair.write("one"), Status::ok);
    EXPECT_EQ(pair.write("two"), Status::ok);
    EXPECT_TRUE(pair.readerSink.events().empty());
    EXPECT_EQ(engine.waitingSteps(), 4) << "two matches and two samples";
    EXPECT_EQ(pair.writer->waitForAcknowledgments(second), Status::timeout);
    EXPECT_EQ(engine.pump(3), 3);
    EXPECT_EQ(pair.readerSink.bodies(), Bodies{"one"});
    EXPECT_EQ(engine.pump(), 1);
    EXPECT_EQ(engine.pump(), 0);
    EXPECT_EQ(pair.readerSink.bodies(), (Bodies{"one", "two"}));
    EXPECT_EQ(pair.writer->waitForAcknowledgments(0), Status::ok);
}

TEST(LoopbackDelivery, GoingInlineRunsWhatWaits) {
    LoopbackEngine engine({.pumped = true});
    LoopbackPair pair(engine);
    EXPECT_EQ(pair.write("x"), Status::ok);
    engine.setPumped(false);
    EXPECT_EQ(pair.readerSink.bodies(), Bodies{"x"});
}

TEST(LoopbackDelivery, LastSamplesArriveBeforeTheEndOfTheirWriter) {
    LoopbackEngine engine({.pumped = true});
    LoopbackPair pair(engine);
    EXPECT_EQ(pair.write("last"), Status::ok);
    pair.writer.reset();
    engine.pump();
    const auto events = pair.readerSink.events();
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[1].received.body(), "last");
    EXPECT_EQ(events[2].kind, Event::Kind::unmatched);
}

TEST(LoopbackDelivery, NothingReachesADeletedReader) {
    LoopbackEngine engine({.pumped = true});
    LoopbackPair pair(engine);
    EXPECT_EQ(pair.write("x"), Status::ok);
    pair.reader.reset();
    engine.pump();
    EXPECT_TRUE(pair.readerSink.events().empty());
    EXPECT_EQ(pair.writerSink.events().size(), 2U) << "the writer hears of the match and of its end";
    EXPECT_EQ(engine.waitingSteps(), 0);
}

TEST(LoopbackDelivery, TimeIsTheTests) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    engine.setTime(42);
    EXPECT_EQ(pair.write("x"), Status::ok);
    EXPECT_EQ(pair.readerSink.samples()[0].sourceTimeNs, 42);
}

TEST(LoopbackDelivery, TransportsAreTheTests) {
    LoopbackEngine engine;
    LoopbackPair pair(engine);
    EXPECT_FALSE(pair.participant->isTransportEnabled(1));
    engine.setTransportEnabled(1, true);
    EXPECT_TRUE(pair.participant->isTransportEnabled(1));
    EXPECT_FALSE(pair.participant->isTransportEnabled(2));
    EXPECT_FALSE(pair.participant->isTransportEnabled(0));
    EXPECT_FALSE(pair.participant->isTransportEnabled(99));
}

TEST(LoopbackDelivery, HistoryOfAWriterWithAMemoryIsBounded) {
    LoopbackEngine engine;
    const ParticipantPointer participant{
        engine.createParticipant({.domainId = 50, .name = nullptr, .peers = {}})};
    DDS_DataWriterQos qos = writerQos({.transientLocal = true});
    qos.history = {DDS_KEEP_LAST_HISTORY_QOS, 2};
    const std::string topic = "Memory";
    const WriterPointer writer{participant->createWriter(topicInfo(topic, true), qos, {}, nullptr)};
    for (const char* body : {"1", "2", "3"}) {
        EXPECT_EQ(write(*writer, keyedSample("instance", body)), Status::ok);
        EXPECT_EQ(write(*writer, keyedSample("another!", body)), Status::ok);
    }
    ReaderRecorder sink;
    const ReaderPointer reader = makeReader(*participant, topic, &sink, {.transientLocal = true}, {}, true);
    EXPECT_EQ(sink.bodies(), (Bodies{"instance2", "another!2", "instance3", "another!3"}));
}

} // namespace
} // namespace contract
