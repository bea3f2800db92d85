// The engine seam: what libzddsc needs of a DDS implementation, and nothing more.
//
// Bytes come ready: an encoding with its 4 bytes of encapsulation header. All of DDS that can be told in
// terms of ready bytes (caches, states, conditions, listeners, typed samples, asynchronous publishing) lives
// above.
//
// Threads: every method may be called from any thread. Sinks are called on threads of the engine, and also on
// the thread that makes, deletes or writes when the other endpoint is in this process: even before the
// factory of their own endpoint has returned. They only queue, and never call the engine; whoever calls the
// engine holds no lock that a sink takes. The calls of one endpoint come one at a time. For one reader a
// match is told before the first sample of that writer, once, and nothing of that writer comes after its
// unmatch. A sink is not called any more once the destructor of its endpoint has returned, and a destructor
// must not be called from inside a sink, nor while another call of its object runs. The end of an endpoint is
// told to the others, not to its own sink. A sink may be null. Ownership: what a factory gives is deleted by
// its caller with `delete`, endpoints before their participant. Errors: factories return null, other
// operations a status; nothing throws. Units: nanoseconds, bytes.
#ifndef ZDDSC_ENGINE_ENGINE_HPP
#define ZDDSC_ENGINE_ENGINE_HPP

#include <cstddef>
#include <cstdint>
#include <span>

#include "zddsc/basic_types.h"
#include "zddsc/qos.h"

namespace zdds::engine {

enum class Status { ok, error, badParameter, outOfResources, timeout, unsupported, notMatched };

enum class SampleKind : uint8_t { data, dispose, unregister };

constexpr int64_t infinite = INT64_MAX; // a time-out without end
constexpr int64_t now = INT64_MIN;      // a source time that the engine is to take itself

struct IncomingSample {
    // Encapsulation header and encoding; of the key alone for dispose and unregister. From another process
    // there may be up to 3 bytes of padding at the end, which the header's options tell when the sender set
    // them.
    std::span<const uint8_t> bytes;
    DDS_GUID_t writer;
    int64_t sequenceNumber; // 1 is a writer's first
    int64_t sourceTimeNs;   // since 1970
    SampleKind kind;
};

struct RemoteEndpoint {
    DDS_GUID_t endpoint;
    DDS_GUID_t participant;
};

class ReaderSink {
public:
    virtual void onSample(const IncomingSample& sample) = 0; // the bytes live until the call returns
    virtual void onMatched(const RemoteEndpoint& writer) = 0;
    virtual void onUnmatched(const RemoteEndpoint& writer) = 0;
    virtual void onSampleLost(uint64_t /*count*/) {}

protected:
    ~ReaderSink() = default;
};

class WriterSink {
public:
    virtual void onMatched(const RemoteEndpoint& reader) = 0;
    virtual void onUnmatched(const RemoteEndpoint& reader) = 0;

protected:
    ~WriterSink() = default;
};

// What a topic endpoint is made of. Texts are borrowed for the call.
struct TopicInfo {
    const char* topicName; // names that begin with "DCPS" are fine
    const char* typeName;
    bool keyed = false;
    uint32_t keyBytes = 0; // of a keyed type: the fixed length of the key that every encoding begins with
    // Extensibility of the type decides the encapsulation that peers accept, and so that write accepts.
    enum class Extensibility : uint8_t {
        final,
        appendable,
        mutableType
    } extensibility = Extensibility::appendable;
};

class Writer {
public:
    virtual ~Writer() = default; // a reliable writer may linger about a second for what is unacknowledged
    virtual DDS_GUID_t guid() const = 0;
    // Bytes whose length is no multiple of 4 are padded on the way. *sequenceNumber (may be null) gets the
    // sample's number; a sample that was refused has none. May take as long as the network needs: never call
    // it on an application's thread. A reliable reader that stops acknowledging costs bounded memory: once
    // the bound of the engine is reached (Cyclone DDS: its watermark of 500 kB of unacknowledged samples per
    // writer, unless the environment's configuration says otherwise), write blocks, at most for
    // max_blocking_time of the writer's reliability, and then gives Status::timeout with the sample not
    // written. It goes on when the reader acknowledges, or is given up as gone. Other threads that write
    // through the same writer wait meanwhile. Encodings that do not fit the topic give Status::badParameter.
    virtual Status write(
        std::span<const uint8_t> bytes, SampleKind kind, int64_t sourceTimeNs, int64_t* sequenceNumber) = 0;
    // Waits until every matched reader has acknowledged all that was written before. Nobody matched: ok; best
    // effort: ok. It may run beside a write.
    virtual Status waitForAcknowledgments(int64_t timeoutNs) = 0;
    // Waits until the readers of that participant have acknowledged the sample of that number; readers of
    // others have no say. Status::notMatched when no reader of the participant is matched, or none is left.
    virtual Status waitForAcknowledgmentOf(
        const DDS_GUID_t& participant, int64_t sequenceNumber, int64_t timeoutNs) = 0;
};

class Reader {
public:
    virtual ~Reader() = default;
    virtual DDS_GUID_t guid() const = 0;
};

struct ParticipantInfo {
    DDS_DomainId_t domainId = 0;
    const char* name = nullptr;
    // How long others wait for a sign of life before they give this participant up; 0 is the engine's default
    // (Cyclone DDS: 10 s).
    int64_t leaseNs = 0;
    // Addresses to announce to, for hosts without multicast. A domain is configured by its first participant
    // in the process: later ones join it as it is, and their peers are reported as not honoured.
    std::span<const char* const> peers;
    // In a process that is about other things: what the environment tells the engine is meant for those. The
    // file that it names for tracing is left to their domains.
    bool isGuest = false;
};

class Participant {
public:
    virtual ~Participant() = default;    // every endpoint of it is gone before
    virtual DDS_GUID_t guid() const = 0; // final from creation on
    // partitions: those of the publisher or subscriber; none is the default partition.
    // A reader's sink gets every sample: ownership, lifespan, time-based filter and deadline decide about
    // matching at most, and what they say about samples is for the caller to do.
    virtual Writer* createWriter(const TopicInfo& topic, const DDS_DataWriterQos& qos,
        std::span<const char* const> partitions, WriterSink* sink) = 0;
    virtual Reader* createReader(const TopicInfo& topic, const DDS_DataReaderQos& qos,
        std::span<const char* const> partitions, ReaderSink* sink) = 0;
    // False when the transport (1 UDPv4, 2 UDPv6) is off, or the engine has no counters for it.
    virtual bool isTransportEnabled(int transport) const = 0;
};

class Engine {
public:
    virtual ~Engine() = default;
    virtual const char* name() const = 0;
    virtual Participant* createParticipant(const ParticipantInfo& info) = 0;
};

// The engine of the process: Cyclone DDS unless a test sets another before the first participant is made.
Engine& instance();
void setInstance(Engine* engine); // borrowed; null goes back to the default

// The real engine; one for the process. It makes no thread before its first participant.
Engine& cyclone();

} // namespace zdds::engine

#endif
