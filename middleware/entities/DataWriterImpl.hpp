// A writer from the inside.
//
// A sample is serialized on the thread that writes. An asynchronous writer queues the bytes for the
// participant's flusher; a synchronous one calls the engine itself. Either way the bytes lie in the writer's
// queue memory.
#ifndef ZDDSC_ENTITIES_DATA_WRITER_IMPL_HPP
#define ZDDSC_ENTITIES_DATA_WRITER_IMPL_HPP

#include <atomic>

#include "middleware/entities/InstanceTable.hpp"
#include "middleware/entities/MatchedEndpoints.hpp"
#include "middleware/entities/ParticipantImpl.hpp"
#include "middleware/entities/WriterQueue.hpp"

namespace zdds {
class DirectedWriter;
}

struct DDS_DataWriterImpl : DDS_EntityImpl {
    DDS_DataWriterImpl(DDS_PublisherImpl& owner, DDS_TopicImpl& writtenTopic);
    ~DDS_DataWriterImpl();

    bool isAsynchronous() const { return qos.publish_mode.kind == DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS; }

    // What the engine tells. Its threads only count and wake.
    struct Sink final : zdds::engine::WriterSink {
        explicit Sink(DDS_DataWriterImpl& owner) : writer(owner) {}
        void onMatched(const zdds::engine::RemoteEndpoint& reader) override { count(reader, true); }
        void onUnmatched(const zdds::engine::RemoteEndpoint& reader) override { count(reader, false); }
        void count(const zdds::engine::RemoteEndpoint& reader, bool isMatch);
        DDS_DataWriterImpl& writer;
    };
    struct Target final : zdds::FlushTarget {
        explicit Target(DDS_DataWriterImpl& owner) : writer(owner) {}
        Outcome flush(unsigned limit) override;
        DDS_DataWriterImpl& writer;
    };

    // Relaxed: counters that nothing is ordered by.
    struct Counters {
        using Counter = std::atomic<uint64_t>;
        // Here and in the sum over all writers.
        void count(Counter Counters::*which, uint64_t amount = 1) {
            (this->*which).fetch_add(amount, std::memory_order_relaxed);
            (ofAllWriters.*which).fetch_add(amount, std::memory_order_relaxed);
        }
        void copyTo(DDS_DataWriterCountersI& result) const;
        static Counters ofAllWriters;

        std::atomic<uint64_t> written{0};
        std::atomic<uint64_t> writtenBytes{0};
        std::atomic<uint64_t> droppedQueueFull{0};
        std::atomic<uint64_t> droppedEngine{0};
        std::atomic<uint64_t> droppedEncoding{0};
        std::atomic<uint64_t> droppedNoMemory{0};
        std::atomic<uint64_t> droppedTimeout{0};
        std::atomic<uint64_t> droppedDeadline{0};
        std::atomic<uint64_t> refused{0}; // by the engine, for whatever cause
    };

    DDS_PublisherImpl* const publisher;
    DDS_TopicImpl* const topic;
    DDS_DataWriterQos qos{};
    DDS_UnsignedShort representation = DDS_XCDR2_DATA_REPRESENTATION;
    zdds::engine::Writer* engineWriter = nullptr; // written before isEnabled is released
    zdds::DirectedWriter* directed = nullptr;     // of a built-in writer, which has no engine writer itself
    zdds::WriterQueue queue;
    Target target{*this};
    Sink sink{*this};
    Counters counters;
    std::atomic<bool> isFull{false};    // the last write found the queue full
    std::atomic<int64_t> fullTold{0};   // the second in which the log told so last
    mutable zdds::Mutex instancesMutex; // guards the one below
    zdds::InstanceTable instances;      // of a keyed topic: those registered or written and not unregistered
    mutable zdds::Mutex statusMutex;    // guards the two below
    DDS_PublicationMatchedStatus matchedStatus{};
    zdds::MatchedEndpoints matched;
};

namespace zdds {

void countWritten(DDS_DataWriterImpl& writer, size_t bytes);
// A sample that the engine did not take, by its cause.
void countRefused(DDS_DataWriterImpl& writer, engine::Status status);

// The tree mutex is held.
DDS_ReturnCode_t enableWriter(DDS_DataWriterImpl& writer);
// Stops and frees a writer that is out of the tree. What is queued is dropped. Takes at most one engine call.
void destroyWriter(DDS_DataWriterImpl& writer);
// The instance of a sample of a keyed topic: the writer has it from now on (`alive`) or no longer. Nil when
// memory is out, or there are too many instances.
DDS_InstanceHandle_t noteInstance(DDS_DataWriterImpl& writer, const void* sample, bool alive);

// Null and the invalid time are now. False for a time before 1970 or too far ahead to count.
bool toNanoseconds(const DDS_Time_t* time, int64_t* nanoseconds);
// The time of write parameters, where 0 is now.
bool toNanoseconds(const DDS_WriteParams_t& params, int64_t* nanoseconds);

// Encodes one sample, or its key alone for a dispose or unregister, and hands it on; see the functions of
// entities.h for the results.
DDS_ReturnCode_t writeSample(DDS_DataWriterImpl& writer, const void* sample, engine::SampleKind kind,
    int64_t sourceTimeNs, int64_t* sequenceNumber);

} // namespace zdds

#endif
