// Who meets whom, under which names, and in which order sinks hear of it.
#include <set>

#include "tests/contract/EngineContract.hpp"

namespace contract {
namespace {

using eng::Status;

class Matching : public EngineContract {
protected:
    // Whether a writer and a reader of these terms meet; a later pair that does meet shows when to stop
    // waiting.
    bool meet(const Quality& writerQuality, const Quality& readerQuality, Partitions writerPartitions = {},
        Partitions readerPartitions = {}) {
        const std::string topic = uniqueName("matching");
        ParticipantPointer here = participant();
        WriterRecorder writerSink;
        ReaderRecorder readerSink, witnessSink;
        WriterPointer writer = makeWriter(*here, topic, &writerSink, writerQuality, writerPartitions);
        ReaderPointer reader = makeReader(*here, topic, &readerSink, readerQuality, readerPartitions);
        WriterPointer later = makeWriter(*here, topic + "_witness", nullptr);
        ReaderPointer witness = makeReader(*here, topic + "_witness", &witnessSink);
        EXPECT_TRUE(writer && reader && later && witness);
        EXPECT_TRUE(witnessSink.waitForMatches(1));
        return readerSink.matches() == 1;
    }
};

TEST_P(Matching, GuidsAreFinalAtCreationAndDiffer) {
    ParticipantPointer one = participant(), two = participant();
    ASSERT_TRUE(one && two);
    const std::string topic = uniqueName("guids");
    WriterPointer writers[] = {
        makeWriter(*one, topic, nullptr), makeWriter(*one, topic, nullptr), makeWriter(*two, topic, nullptr)};
    ReaderPointer readers[] = {makeReader(*one, topic, nullptr), makeReader(*two, topic, nullptr)};
    std::set<DDS_GUID_t> all{one->guid(), two->guid()};
    for (const auto& writer : writers)
        all.insert(writer->guid());
    for (const auto& reader : readers)
        all.insert(reader->guid());
    EXPECT_EQ(all.size(), 7U);
    EXPECT_EQ(all.count(DDS_GUID_t{}), 0U);
    for (const auto& writer : writers)
        EXPECT_EQ(all.count(writer->guid()), 1U);
    EXPECT_EQ(one->guid().value[15], 0xc1) << "the kind of a participant";
    EXPECT_EQ(std::memcmp(writers[0]->guid().value, one->guid().value, 12), 0)
        << "endpoints share the prefix";
}

TEST_P(Matching, BothSidesNameTheSameEndpoints) {
    ParticipantPointer sending = participant(), receiving = participant();
    WriterRecorder writerSink;
    ReaderRecorder readerSink;
    const std::string topic = uniqueName("names");
    WriterPointer writer = makeWriter(*sending, topic, &writerSink);
    ReaderPointer reader = makeReader(*receiving, topic, &readerSink);
    ASSERT_TRUE(writerSink.waitForMatches(1));
    ASSERT_TRUE(readerSink.waitForMatches(1));
    EXPECT_EQ(writerSink.events()[0].remote, (eng::RemoteEndpoint{reader->guid(), receiving->guid()}));
    EXPECT_EQ(readerSink.events()[0].remote, (eng::RemoteEndpoint{writer->guid(), sending->guid()}));
}

TEST_P(Matching, MatchesComeInEitherOrderOfCreation) {
    for (const bool readerFirst : {true, false}) {
        ParticipantPointer sending = participant(), receiving = participant();
        WriterRecorder writerSink;
        ReaderRecorder readerSink;
        const std::string topic = uniqueName("order");
        WriterPointer writer;
        ReaderPointer reader;
        if (readerFirst)
            reader = makeReader(*receiving, topic, &readerSink);
        writer = makeWriter(*sending, topic, &writerSink);
        if (!readerFirst)
            reader = makeReader(*receiving, topic, &readerSink);
        EXPECT_TRUE(writerSink.waitForMatches(1)) << readerFirst;
        EXPECT_TRUE(readerSink.waitForMatches(1)) << readerFirst;
    }
}

TEST_P(Matching, EndOfTheReaderIsTold) {
    ParticipantPointer sending = participant(), receiving = participant();
    WriterRecorder writerSink;
    const std::string topic = uniqueName("end");
    WriterPointer writer = makeWriter(*sending, topic, &writerSink);
    ReaderPointer reader = makeReader(*receiving, topic, nullptr);
    ASSERT_TRUE(writerSink.waitForMatches(1));
    const eng::RemoteEndpoint expected{reader->guid(), receiving->guid()};
    reader.reset();
    ASSERT_TRUE(writerSink.waitForUnmatches(1));
    EXPECT_EQ(writerSink.events()[1].remote, expected);
}

TEST_P(Matching, EndOfTheWriterIsTold) {
    ParticipantPointer sending = participant(), receiving = participant();
    ReaderRecorder readerSink;
    const std::string topic = uniqueName("end");
    WriterPointer writer = makeWriter(*sending, topic, nullptr);
    ReaderPointer reader = makeReader(*receiving, topic, &readerSink);
    ASSERT_TRUE(readerSink.waitForMatches(1));
    const eng::RemoteEndpoint expected{writer->guid(), sending->guid()};
    ASSERT_EQ(write(*writer, sample("last")), Status::ok);
    writer.reset();
    ASSERT_TRUE(readerSink.waitForUnmatches(1));
    const auto events = readerSink.events();
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[1].kind, Event::Kind::sample) << "the last sample came before the end";
    EXPECT_EQ(events[2].remote, expected);
}

TEST_P(Matching, ItIsToldOfEveryPairOnce) {
    ParticipantPointer here = participant();
    const std::string topic = uniqueName("pairs");
    constexpr int count = 8;
    WriterRecorder writerSinks[count];
    ReaderRecorder readerSinks[count];
    std::vector<WriterPointer> writers;
    std::vector<ReaderPointer> readers;
    for (int i = 0; i < count; ++i) {
        writers.push_back(makeWriter(*here, topic, &writerSinks[i]));
        readers.push_back(makeReader(*here, topic, &readerSinks[i]));
    }
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(writerSinks[i].waitForMatches(count));
        ASSERT_TRUE(readerSinks[i].waitForMatches(count));
    }
    writers.clear();
    for (auto& sink : readerSinks) {
        ASSERT_TRUE(sink.waitForUnmatches(count));
        std::set<DDS_GUID_t> matched, unmatched;
        for (const Event& event : sink.events())
            (event.kind == Event::Kind::matched ? matched : unmatched).insert(event.remote.endpoint);
        EXPECT_EQ(matched.size(), size_t{count});
        EXPECT_EQ(matched, unmatched);
        EXPECT_EQ(sink.events().size(), size_t{2 * count});
    }
}

TEST_P(Matching, DomainsAreApart) {
    ParticipantPointer here = participant(testDomain(0)), there = participant(testDomain(1));
    const std::string topic = uniqueName("domains");
    ReaderRecorder other, witness;
    ReaderPointer far = makeReader(*there, topic, &other);
    ReaderPointer near = makeReader(*here, topic, &witness);
    WriterPointer writer = makeWriter(*here, topic, nullptr);
    ASSERT_TRUE(witness.waitForMatches(1));
    EXPECT_EQ(other.matches(), 0);
}

TEST_P(Matching, TypeNamesMustAgree) {
    ParticipantPointer here = participant();
    const std::string topic = uniqueName("types");
    ReaderRecorder other, witness;
    const DDS_DataReaderQos qos = readerQos();
    ReaderPointer stranger{
        here->createReader({.topicName = topic.c_str(), .typeName = "contract::Other"}, qos, {}, &other)};
    ReaderPointer near = makeReader(*here, topic, &witness);
    WriterPointer writer = makeWriter(*here, topic, nullptr);
    ASSERT_TRUE(stranger);
    ASSERT_TRUE(witness.waitForMatches(1));
    EXPECT_EQ(other.matches(), 0);
}

TEST_P(Matching, ReliabilityIsOfferedAndRequested) {
    EXPECT_TRUE(meet({.reliable = true}, {.reliable = true}));
    EXPECT_TRUE(meet({.reliable = true}, {.reliable = false}));
    EXPECT_FALSE(meet({.reliable = false}, {.reliable = true}));
}

TEST_P(Matching, DurabilityIsOfferedAndRequested) {
    EXPECT_TRUE(meet({.transientLocal = true}, {.transientLocal = false}));
    EXPECT_FALSE(meet({.transientLocal = false}, {.transientLocal = true}));
}

TEST_P(Matching, PartitionsMeetByNameAndPattern) {
    EXPECT_TRUE(meet({}, {}, {"A"}, {"A"}));
    EXPECT_FALSE(meet({}, {}, {"A"}, {"B"}));
    EXPECT_FALSE(meet({}, {}, {"A"}, {})) << "none is the default partition";
    EXPECT_TRUE(meet({}, {}, {""}, {}));
    EXPECT_TRUE(meet({}, {}, {"A", "B"}, {"B", "C"}));
    EXPECT_TRUE(meet({}, {}, {"sensor/17"}, {"sensor*"}));
    EXPECT_TRUE(meet({}, {}, {"s?n"}, {"sun"}));
    EXPECT_FALSE(meet({}, {}, {"s?n"}, {"soon"}));
    EXPECT_FALSE(meet({}, {}, {"A*"}, {"?B"})) << "patterns do not meet patterns";
}

TEST_P(Matching, IncompleteTopicsAreRefused) {
    ParticipantPointer here = participant();
    const DDS_DataWriterQos qos = writerQos();
    const auto make = [&](const eng::TopicInfo& info) {
        return WriterPointer{here->createWriter(info, qos, {}, nullptr)};
    };
    EXPECT_FALSE(make({.topicName = nullptr, .typeName = "T"}));
    EXPECT_FALSE(make({.topicName = "T", .typeName = nullptr}));
    EXPECT_FALSE(make({.topicName = "T", .typeName = "T", .keyed = true, .keyBytes = 0}));
    EXPECT_FALSE(make({.topicName = "T", .typeName = "T", .keyed = false, .keyBytes = 4}));
}

INSTANTIATE_TEST_SUITE_P(Engine, Matching, allEngines, engineName);

} // namespace
} // namespace contract
