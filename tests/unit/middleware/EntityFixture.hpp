// Entities over the loopback engine, and what tests do with them again and again.
#ifndef ORX_TESTS_MIDDLEWARE_ENTITY_FIXTURE_HPP
#define ORX_TESTS_MIDDLEWARE_ENTITY_FIXTURE_HPP

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "tests/unit/middleware/FailingHeap.hpp"
#include "tests/unit/middleware/LogCapture.hpp"
#include "tests/unit/middleware/TestType.hpp"
#include "zddsc/conditions.h"
#include "zddsc/entities.h"
#include "zddscore/thread.h"

constexpr DDS_Duration_t generous{30, 0};

inline DDS_DomainParticipantFactory* factory() {
    return DDS_DomainParticipantFactory_get_instance();
}

struct WriterQos : DDS_DataWriterQos {
    WriterQos() {
        DDS_DataWriterQos_initialize(this);
        history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    }
    ~WriterQos() { DDS_DataWriterQos_finalize(this); }
    WriterQos(const WriterQos&) = delete;
    WriterQos& operator=(const WriterQos&) = delete;
    WriterQos& asynchronous(DDS_UnsignedLong samples = 0, DDS_UnsignedLong bytes = 0) {
        publish_mode = {DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS, samples, bytes};
        return *this;
    }
};

struct ReaderQos : DDS_DataReaderQos {
    ReaderQos() {
        DDS_DataReaderQos_initialize(this);
        reliability.kind = DDS_RELIABLE_RELIABILITY_QOS;
        history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    }
    ~ReaderQos() { DDS_DataReaderQos_finalize(this); }
    ReaderQos(const ReaderQos&) = delete;
    ReaderQos& operator=(const ReaderQos&) = delete;
};

// A read or take by loan, returned at the end.
class Loan {
public:
    Loan(DDS_DataReader* reader, bool take, DDS_Long maxSamples = DDS_LENGTH_UNLIMITED,
        DDS_SampleStateMask sampleStates = DDS_ANY_SAMPLE_STATE,
        DDS_ViewStateMask viewStates = DDS_ANY_VIEW_STATE)
        : reader_(reader), result(DDS_DataReader_read_or_take_untypedI(reader, samples.base(), &infos,
                               maxSamples, sampleStates, viewStates, DDS_ANY_INSTANCE_STATE, take)) {}
    ~Loan() {
        EXPECT_EQ(DDS_DataReader_return_loan_untypedI(reader_, samples.base(), &infos), DDS_RETCODE_OK);
    }
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;

    std::vector<int> numbers() const {
        std::vector<int> all;
        for (DDS_Long i = 0; i < samples.length(); ++i)
            all.push_back(samples[i].number);
        return all;
    }
    const DDS_SampleInfo& info(DDS_Long index) const {
        return *DDS_SampleInfoSeq_get_reference(&infos, index);
    }

private:
    DDS_DataReader* const reader_;

public:
    test_type::Samples samples{};
    DDS_SampleInfoSeq infos{};
    const DDS_ReturnCode_t result;
};

class LoopbackEntities : public ::testing::Test {
protected:
    LoopbackEntities() { zdds::engine::setInstance(&engine); }
    ~LoopbackEntities() override {
        EXPECT_EQ(engine.liveObjects(), 0);
        zdds::engine::setInstance(nullptr);
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threadsBefore);
    }

    DDS_DomainParticipant* createParticipant(bool enabled = true) {
        DDS_DomainParticipant* participant =
            enabled
                ? DDS_DomainParticipantFactory_create_participant(factory(), 3, nullptr, nullptr, 0)
                : DDS_DomainParticipantFactory_create_participant_disabled(factory(), 3, nullptr, nullptr, 0);
        EXPECT_NE(participant, nullptr);
        EXPECT_EQ(
            DDS_DomainParticipant_register_typeI(participant, "Test", &test_type::plugin), DDS_RETCODE_OK);
        return participant;
    }
    static void deleteParticipant(DDS_DomainParticipant* participant) {
        EXPECT_EQ(DDS_DomainParticipant_delete_contained_entities(participant), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
    }
    static DDS_Topic* createTopic(DDS_DomainParticipant* participant, const char* name = "Topic") {
        return DDS_DomainParticipant_create_topic(participant, name, "Test", nullptr, nullptr, 0);
    }

    zdds::engine::LoopbackEngine engine;
    LogCapture log;
    const ORX_UINT32 threadsBefore = ORXOsapiThread_getLiveThreadCount();
};

// One writer and one reader of one topic, each with a participant of its own.
class WriterAndReader : public LoopbackEntities {
protected:
    // Before the members of derived fixtures go: listeners may still be called.
    void TearDown() override {
        if (writing != nullptr)
            deleteParticipant(writing);
        if (reading != nullptr)
            deleteParticipant(reading);
    }
    void makeWriter(const DDS_DataWriterQos& qos) {
        writing = createParticipant();
        publisher = DDS_DomainParticipant_create_publisher(writing, nullptr, nullptr, 0);
        writer = DDS_Publisher_create_datawriter(publisher, createTopic(writing), &qos, nullptr, 0);
        ASSERT_NE(writer, nullptr);
    }
    void makeReader(const DDS_DataReaderQos& qos, const DDS_DataReaderListener* listener = nullptr,
        DDS_StatusMask mask = DDS_STATUS_MASK_NONE) {
        reading = createParticipant();
        subscriber = DDS_DomainParticipant_create_subscriber(reading, nullptr, nullptr, 0);
        reader = DDS_Subscriber_create_datareader(subscriber, createTopic(reading), &qos, listener, mask);
        ASSERT_NE(reader, nullptr);
    }
    void makeBoth() {
        makeWriter(WriterQos());
        makeReader(ReaderQos());
    }
    DDS_ReturnCode_t write(int number, const char* text = "text") {
        const TestSample sample{number, const_cast<char*>(text)};
        return DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL);
    }
    DDS_DataWriterCountersI writerCounters() const {
        DDS_DataWriterCountersI counters;
        DDS_DataWriter_get_countersI(writer, &counters);
        return counters;
    }
    DDS_DataReaderCountersI readerCounters() const {
        DDS_DataReaderCountersI counters;
        DDS_DataReader_get_countersI(reader, &counters);
        return counters;
    }
    DDS_GUID_t guidOfReader() const {
        DDS_GUID_t guid{};
        EXPECT_EQ(DDS_Entity_get_guid(DDS_DataReader_as_entity(reader), &guid), DDS_RETCODE_OK);
        return guid;
    }
    DDS_GUID_t guidOfWriter() const {
        DDS_GUID_t guid{};
        EXPECT_EQ(DDS_Entity_get_guid(DDS_DataWriter_as_entity(writer), &guid), DDS_RETCODE_OK);
        return guid;
    }

    DDS_DomainParticipant* writing = nullptr;
    DDS_DomainParticipant* reading = nullptr;
    DDS_Publisher* publisher = nullptr;
    DDS_Subscriber* subscriber = nullptr;
    DDS_DataWriter* writer = nullptr;
    DDS_DataReader* reader = nullptr;
};

#endif
