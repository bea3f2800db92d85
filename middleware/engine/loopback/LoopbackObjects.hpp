// The objects of the loopback engine. All fields are under the engine's mutex unless they are const.
#ifndef ZDDSC_ENGINE_LOOPBACK_OBJECTS_HPP
#define ZDDSC_ENGINE_LOOPBACK_OBJECTS_HPP

#include "middleware/engine/HeapObject.hpp"
#include "middleware/engine/loopback/LoopbackEngine.hpp"

namespace zdds::engine::loopback {

// A text of its own; null when there is none or memory is out.
class Text {
public:
    Text() = default;
    ~Text() { ORXOsapiHeap_freeMemoryInternal(text_); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    bool set(const char* text);
    const char* get() const { return text_; }
    bool operator==(const Text& other) const;

private:
    char* text_ = nullptr;
};

// What decides whether a writer and a reader meet.
class Terms {
public:
    // False when memory is out or the topic is not complete.
    bool set(const TopicInfo& topic, std::span<const char* const> partitions);
    template <class Qos> void setPolicies(const Qos& qos);

    bool isReliable() const { return reliable_; }
    bool isTransientLocal() const { return durability_ != DDS_VOLATILE_DURABILITY_QOS; }
    bool isKeyed() const { return keyBytes_ != 0; }
    uint32_t keyBytes() const { return keyBytes_; }
    bool accepts(std::span<const uint8_t> bytes, SampleKind kind) const;
    // How many of the last samples of an instance are kept for late readers; 0 is all.
    DDS_Long depth() const { return depth_; }

    static bool agree(const Terms& offered, const Terms& requested);

    Terms() = default;
    ~Terms();
    Terms(const Terms&) = delete;
    Terms& operator=(const Terms&) = delete;

private:
    static bool partitionsMeet(const Terms& left, const Terms& right);

    Text topic_;
    Text type_;
    Text* partitions_ = nullptr;
    std::size_t partitionCount_ = 0;
    uint32_t keyBytes_ = 0;
    TopicInfo::Extensibility extensibility_ = TopicInfo::Extensibility::appendable;
    bool reliable_ = false;
    DDS_DurabilityQosPolicyKind durability_ = DDS_VOLATILE_DURABILITY_QOS;
    DDS_LivelinessQosPolicyKind liveliness_ = DDS_AUTOMATIC_LIVELINESS_QOS;
    DDS_OwnershipQosPolicyKind ownership_ = DDS_SHARED_OWNERSHIP_QOS;
    DDS_DestinationOrderQosPolicyKind destinationOrder_ = DDS_BY_RECEPTION_TIMESTAMP_DESTINATIONORDER_QOS;
    int64_t deadlineNs_ = infinite;
    int64_t latencyNs_ = 0;
    int64_t leaseNs_ = infinite;
    DDS_Long depth_ = 0;
};

// A sample on the heap, shared by the steps and the history that hold it.
struct Sample {
    int references;
    SampleKind kind;
    DDS_GUID_t writer;
    int64_t sequenceNumber;
    int64_t sourceTimeNs;
    std::size_t size;
    uint8_t bytes[1]; // `size` of them

    static Sample* create(const IncomingSample& from); // one reference; null when memory is out
    static void release(Sample* self);
    IncomingSample view() const;
};

struct Match;

// Something that is to happen at one endpoint.
struct Step : HeapObject {
    enum class Kind { matched, unmatched, sample, lost };
    Step(Kind kindOfStep, Match* pair) : kind(kindOfStep), match(pair) {}
    ~Step() { Sample::release(sample); }
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

    const Kind kind;
    Match* match;                   // null once the pair has parted for good
    WriterObject* writer = nullptr; // where it happens: one of these two
    ReaderObject* reader = nullptr;
    RemoteEndpoint remote{};  // of matched and unmatched
    Sample* sample = nullptr; // of sample
    bool delayed = false;
    Step* next = nullptr;
    Step* previous = nullptr;
};

// A pair that has found each other.
struct Match : HeapObject {
    Match(WriterObject& writerOfPair, ReaderObject& readerOfPair)
        : writer(writerOfPair), reader(readerOfPair) {}
    ~Match();
    Match(const Match&) = delete;
    Match& operator=(const Match&) = delete;
    bool isReliable() const;

    WriterObject& writer;
    ReaderObject& reader;
    Match* next = nullptr;
    // Made with the pair, since a parting must not fail.
    Step* farewells[2] = {};
    int64_t unacknowledged = 0; // of a reliable pair: on the way, or taken and not acknowledged
    int64_t waiting = 0;        // of these, on the way
    bool parted = false;        // by a fault, until rematch
    bool heldUp = false;        // scratch of a walk over the steps
};

class ParticipantObject final : public Participant, public HeapObject {
public:
    ParticipantObject(LoopbackEngine& engine, DDS_DomainId_t domain, const DDS_GUID_t& guid)
        : engine_(engine), domain_(domain), guid_(guid) {}
    ~ParticipantObject() override;

    DDS_GUID_t guid() const override { return guid_; }
    Writer* createWriter(const TopicInfo& topic, const DDS_DataWriterQos& qos,
        std::span<const char* const> partitions, WriterSink* sink) override;
    Reader* createReader(const TopicInfo& topic, const DDS_DataReaderQos& qos,
        std::span<const char* const> partitions, ReaderSink* sink) override;
    bool isTransportEnabled(int transport) const override;
    DDS_DomainId_t domain() const { return domain_; }

private:
    // One shape for both kinds: makes the object, its terms and its matches; null when any of it fails.
    template <class Object, class Qos, class Sink>
    Object* createEndpoint(
        const TopicInfo& topic, const Qos& qos, std::span<const char* const> partitions, Sink* sink);

    LoopbackEngine& engine_;
    const DDS_DomainId_t domain_;
    const DDS_GUID_t guid_;
};

class WriterObject final : public Writer, public HeapObject {
public:
    WriterObject(LoopbackEngine& ownEngine, const ParticipantObject& parent, WriterSink* ownSink)
        : engine(ownEngine), domain(parent.domain()), participant(parent.guid()), sink(ownSink) {}
    ~WriterObject() override;

    DDS_GUID_t guid() const override { return identity; }
    Status write(std::span<const uint8_t> bytes, SampleKind kind, int64_t sourceTimeNs,
        int64_t* sequenceNumber) override;
    Status waitForAcknowledgments(int64_t timeoutNs) override;
    Status waitForAcknowledgmentOf(
        const DDS_GUID_t& participant, int64_t sequenceNumber, int64_t timeoutNs) override;

    // Keeps a sample for late readers, in the bounds of the history; false when memory is out.
    bool remember(Sample& sample);
    static constexpr uint8_t guidKind(bool keyed) { return keyed ? 0x02 : 0x03; }

    LoopbackEngine& engine;
    const DDS_DomainId_t domain;
    const DDS_GUID_t participant;
    WriterSink* const sink; // may be null
    DDS_GUID_t identity{};
    Terms terms;
    int64_t lastSequenceNumber = 0;
    HeapArray<Sample*> history{"struct Sample*"};
    WriterObject* next = nullptr;
};

class ReaderObject final : public Reader, public HeapObject {
public:
    ReaderObject(LoopbackEngine& ownEngine, const ParticipantObject& parent, ReaderSink* ownSink)
        : engine(ownEngine), domain(parent.domain()), participant(parent.guid()), sink(ownSink) {}
    ~ReaderObject() override;

    DDS_GUID_t guid() const override { return identity; }
    static constexpr uint8_t guidKind(bool keyed) { return keyed ? 0x07 : 0x04; }

    LoopbackEngine& engine;
    const DDS_DomainId_t domain;
    const DDS_GUID_t participant;
    ReaderSink* const sink; // may be null
    DDS_GUID_t identity{};
    Terms terms;
    bool stalled = false;
    bool withholding = false;
    ReaderObject* next = nullptr;
};

} // namespace zdds::engine::loopback

#endif
