// Writes to exactly one reader: what stands behind a participant's built-in service-request writer.
//
// The engine knows no send to one reader. So each reader listens in a partition that is named after its GUID,
// and each destination that is written to gets an engine writer of its own in that partition: its
// acknowledgments are the destination's. The engine writers are a bounded cache: the one that was used
// longest ago makes room, but never one with work outstanding. Samples wait here, in order, until their
// destination is matched, or for `holdNs`.
//
// Threads: send and wait by any; all calls of the engine but the wait for an acknowledgment come from the
// participant's flusher. Sinks only count and schedule. One mutex guards everything; it is a leaf but for
// that of the flusher, and no call of the engine is made under it. Ownership: destinations and their samples
// belong to this; it goes after the flusher has ended.
#ifndef ZDDSC_ENTITIES_DIRECTED_WRITER_HPP
#define ZDDSC_ENTITIES_DIRECTED_WRITER_HPP

#include <atomic>

#include "middleware/engine/Engine.hpp"
#include "middleware/entities/Flusher.hpp"
#include "middleware/entities/Sync.hpp"

struct DDS_DataWriterImpl;

namespace zdds {

// The partition of the reader with that GUID.
struct PartitionName {
    explicit PartitionName(const DDS_GUID_t& reader);
    char text[2 * sizeof(DDS_GUID_t) + 1];
};

// A participant's GUID from that of any of its endpoints, and the other way round.
DDS_GUID_t participantOf(const DDS_GUID_t& endpoint);
DDS_GUID_t endpointOf(const DDS_GUID_t& participant, DDS_UnsignedLong objectId);

class DirectedWriter {
public:
    struct Limits {
        unsigned engineWriters = 128;
        unsigned destinations = 4096;
        unsigned samples = 1024; // of one destination
        size_t bytes = 4U << 20; // of one destination
        size_t allBytes = 64U << 20;
        int64_t holdNs = 10'000'000'000;
        int64_t leastIdleNs = 250'000'000; // before an engine writer may make room
    };

    explicit DirectedWriter(DDS_DataWriterImpl& writer);
    ~DirectedWriter();
    DirectedWriter(const DirectedWriter&) = delete;
    DirectedWriter& operator=(const DirectedWriter&) = delete;

    // One encoded sample on the heap.
    struct Sample {
        Sample* next;
        int64_t sourceTimeNs;
        int64_t expiresNs;
        int64_t position; // among those of its destination, from 1
        uint32_t size;
        engine::SampleKind kind;
        uint8_t* bytes() { return reinterpret_cast<uint8_t*>(this + 1); }
        std::span<const uint8_t> view() { return {bytes(), size}; }

        static Sample* create(size_t size, engine::SampleKind kind, int64_t sourceTimeNs);
        static void destroy(Sample* sample);
    };

    // Takes the sample in any case. DDS_RETCODE_OUT_OF_RESOURCES when it does not fit.
    DDS_ReturnCode_t send(const DDS_GUID_t& destination, Sample* sample);
    // Of the last sample that was sent to the destination; see zddsc/service_request.h.
    DDS_ReturnCode_t waitForAcknowledgment(const DDS_GUID_t& destination, Deadline deadline);
    // Of the last sample that the calling thread sent; DDS_RETCODE_OK when it sent none.
    DDS_ReturnCode_t waitForOwnAcknowledgment(Deadline deadline);
    // Until nothing is queued any more. False when the deadline came first.
    bool waitUntilEmpty(Deadline deadline);

    unsigned queued() const;
    unsigned queuedPeak() const;
    unsigned engineWriters() const;
    // Before anything is sent.
    void setLimits(const Limits& limits) { limits_ = limits; }

private:
    struct Destination final : FlushTarget, engine::WriterSink {
        Destination(DirectedWriter& directedWriter, const DDS_GUID_t& readerGuid);
        ~Destination();
        Outcome flush(unsigned limit) override { return owner.flush(*this, limit); }
        void onMatched(const engine::RemoteEndpoint& remote) override { owner.countMatch(*this, remote, 1); }
        void onUnmatched(const engine::RemoteEndpoint& remote) override {
            owner.countMatch(*this, remote, -1);
        }

        DirectedWriter& owner;
        const DDS_GUID_t reader;
        const DDS_GUID_t participant;
        Destination* next = nullptr; // used last first
        engine::Writer* engineWriter = nullptr;
        Sample* first = nullptr;
        Sample* last = nullptr;
        unsigned samples = 0;
        size_t bytes = 0;
        int64_t sent = 0;           // position of the last sample that came
        int64_t settled = 0;        // of the last that went to the engine, or was dropped
        int64_t acknowledged = 0;   // of the last that is known to be
        int64_t lostFrom = 0;       // the last samples that were lost
        int64_t lostTo = 0;         //
        int64_t sequenceNumber = 0; // the engine's, of the last sample that it took
        int64_t usedNs = 0;
        int matches = 0;
        unsigned users = 0;       // threads that wait, or look
        bool isScheduled = false; // the flusher looks after it
        bool isRetired = false;   // out of the list
    };

    FlushTarget::Outcome flush(Destination& to, unsigned limit);
    void countMatch(Destination& to, const engine::RemoteEndpoint& reader, int change);
    // All of these are called with the mutex held, by `guard` where it is given up in between.
    Destination* find(const DDS_GUID_t& reader);
    Destination* findOrMake(const DDS_GUID_t& reader);
    bool schedules(Destination& to);
    void append(Destination& to, Sample& sample);
    void settleFirst(Destination& to, bool isLost);
    void dropOverdue(Destination& to);
    void dropOverdueOfIdle();
    FlushTarget::Outcome writeFirst(Destination& to, Guard& guard);
    enum class Connection { made, noRoom, refused };
    Connection connect(Destination& to, Guard& guard);
    bool makeRoom(Guard& guard);
    bool isIdle(const Destination& one) const;
    bool hasOutstanding(Destination& one, Guard& guard);
    void retire(Destination& one, Guard& guard);
    void endWriters();
    DDS_ReturnCode_t awaitSample(Destination& to, int64_t position, Deadline deadline, Guard& guard);

    DDS_DataWriterImpl& writer_;
    const uint64_t id_; // of this among all that ever were
    Limits limits_;
    mutable Mutex mutex_;
    Condition changed_;
    Destination* destinations_ = nullptr;
    unsigned destinationCount_ = 0;
    unsigned engineWriters_ = 0;
    unsigned queued_ = 0;
    unsigned queuedPeak_ = 0;
    size_t bytes_ = 0;
    int64_t sweptNs_ = 0;
};

} // namespace zdds

#endif
