// What a stopped process costs the one that writes to it: its flusher, a bounded amount of memory, and
// samples that are counted.
#include <malloc.h>

#include <csignal>

#include "tests/contract/PeerProcess.hpp"
#include "tests/unit/middleware/EntityFixture.hpp"

namespace contract {
namespace {

constexpr DDS_UnsignedLong queueSamples = 200;
constexpr DDS_UnsignedLong queueBytes = 1U << 20;

class StalledReader : public testing::Test {
protected:
    StalledReader() {
        participant_ =
            DDS_DomainParticipantFactory_create_participant(factory(), domain_, nullptr, nullptr, 0);
        EXPECT_EQ(DDS_DomainParticipant_register_typeI(participant_, "contract::Type", &test_type::plugin),
            DDS_RETCODE_OK);
        publisher_ = DDS_DomainParticipant_create_publisher(participant_, nullptr, nullptr, 0);
        subscriber_ = DDS_DomainParticipant_create_subscriber(participant_, nullptr, nullptr, 0);
        writer_ = makeWriter(topic_);
    }
    ~StalledReader() override {
        EXPECT_EQ(DDS_DomainParticipant_delete_contained_entities(participant_), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant_), DDS_RETCODE_OK);
    }

    DDS_DataWriter* makeWriter(const std::string& topicName) {
        WriterQos qos;
        qos.asynchronous(queueSamples, queueBytes);
        qos.reliability.kind = DDS_RELIABLE_RELIABILITY_QOS;
        DDS_Topic* topic = DDS_DomainParticipant_create_topic(
            participant_, topicName.c_str(), "contract::Type", nullptr, nullptr, 0);
        return DDS_Publisher_create_datawriter(publisher_, topic, &qos, nullptr, 0);
    }
    PeerProcess stalling() { return PeerProcess{{"reader", std::to_string(domain_), topic_}}; }
    bool isMatched() {
        DDS_PublicationMatchedStatus status;
        return DDS_DataWriter_get_publication_matched_status(writer_, &status) == DDS_RETCODE_OK &&
               status.current_count > 0;
    }
    static bool eventually(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!condition() && std::chrono::steady_clock::now() < deadline)
            poll(nullptr, 0, 2);
        return condition();
    }
    DDS_ReturnCode_t write(DDS_DataWriter* writer, int number) {
        const TestSample sample{number, text_.data()};
        return DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL);
    }
    DDS_DataWriterCountersI counters() const {
        DDS_DataWriterCountersI counters;
        DDS_DataWriter_get_countersI(writer_, &counters);
        return counters;
    }
    // Writes until so many did not fit; the longest write.
    std::chrono::nanoseconds writeUntilDropped(DDS_UnsignedLongLong wanted) {
        std::chrono::nanoseconds longest{0};
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (counters().dropped_queue_full < wanted && std::chrono::steady_clock::now() < deadline) {
            const auto start = std::chrono::steady_clock::now();
            write(writer_, 0);
            longest = std::max<std::chrono::nanoseconds>(longest, std::chrono::steady_clock::now() - start);
        }
        return longest;
    }
    // Another writer of the participant reaches its reader here.
    void expectOthersFlow() {
        const std::string name = uniqueName("other");
        DDS_DataWriter* writer = makeWriter(name);
        ReaderQos qos;
        DDS_DataReader* reader = DDS_Subscriber_create_datareader(
            subscriber_, DDS_Topic_as_topicdescription(DDS_DataWriter_get_topic(writer)), &qos, nullptr, 0);
        constexpr int count = 50;
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(write(writer, i), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
        DDS_DataReaderCountersI seen;
        EXPECT_TRUE(eventually([&] {
            DDS_DataReader_get_countersI(reader, &seen);
            return seen.received == count;
        })) << seen.received;
    }

    const DDS_DomainId_t domain_ = testDomain(5);
    const std::string topic_ = uniqueName("stalled");
    std::string text_ = std::string(4000, 'x');
    DDS_DomainParticipant* participant_ = nullptr;
    DDS_Publisher* publisher_ = nullptr;
    DDS_Subscriber* subscriber_ = nullptr;
    DDS_DataWriter* writer_ = nullptr;
};

TEST_F(StalledReader, CostsBoundedMemoryAndCountedSamplesUntilItGoesOn) {
    PeerProcess reader = stalling();
    ASSERT_TRUE(reader.isUp());
    ASSERT_TRUE(eventually([&] { return isMatched(); }));
    ASSERT_EQ(write(writer_, 1), DDS_RETCODE_OK);
    ASSERT_FALSE(reader.expectLine("sample ").empty());
    reader.signal(SIGSTOP);

    EXPECT_LT(writeUntilDropped(1000), std::chrono::seconds(1)) << "no write waits for the reader";
    EXPECT_LE(counters().queued, queueSamples);
    EXPECT_LE(counters().queued_peak, queueSamples);
    const auto before = mallinfo2().uordblks;
    writeUntilDropped(20'000);
    EXPECT_LT(mallinfo2().uordblks, before + (8U << 20)) << "of 80 MB that did not fit";
    expectOthersFlow();

    reader.signal(SIGCONT);
    EXPECT_EQ(DDS_DataWriter_flushI(writer_, &generous), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer_, &generous), DDS_RETCODE_OK);
    EXPECT_EQ(write(writer_, 2), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer_, &generous), DDS_RETCODE_OK);
    const DDS_DataWriterCountersI after = counters();
    EXPECT_EQ(
        after.dropped_engine + after.dropped_timeout + after.dropped_no_memory + after.dropped_encoding, 0U)
        << "all losses have one cause";
    // Everything that was not counted as lost has arrived.
    for (DDS_UnsignedLongLong i = 1; i < after.written; ++i)
        ASSERT_FALSE(reader.expectLine("sample ").empty()) << i << " of " << after.written;
    EXPECT_EQ(reader.end(), 0);
}

TEST_F(StalledReader, HoldsUpTheDeletionOfItsWriterOnlyForAWhile) {
    PeerProcess reader = stalling();
    ASSERT_TRUE(reader.isUp());
    ASSERT_TRUE(eventually([&] { return isMatched(); }));
    reader.signal(SIGSTOP);
    writeUntilDropped(1);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(DDS_Publisher_delete_datawriter(publisher_, writer_), DDS_RETCODE_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    reader.signal(SIGCONT);
    reader.end();
}

TEST_F(StalledReader, IsGivenUpWhenItsLeaseEnds) {
    PeerProcess reader = stalling();
    ASSERT_TRUE(reader.isUp());
    ASSERT_TRUE(eventually([&] { return isMatched(); }));
    reader.signal(SIGSTOP);
    writeUntilDropped(100);
    EXPECT_TRUE(eventually([&] { return !isMatched(); }));
    EXPECT_EQ(DDS_DataWriter_flushI(writer_, &generous), DDS_RETCODE_OK) << "nobody is waited for any more";
    EXPECT_EQ(write(writer_, 2), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataWriter_flushI(writer_, &generous), DDS_RETCODE_OK);
    expectOthersFlow();
    reader.signal(SIGCONT);
    reader.end();
}

} // namespace
} // namespace contract
