// An engine inside one process, without threads of its own, for tests: what happens, and when, is the test's
// choice.
//
// Participants of one LoopbackEngine meet by domain; endpoints by topic name, type name, key, partitions
// (with the wildcards of DDS) and those policies that DDS compares.
//
// Delivery is a list of steps in the order in which they were caused: a match, an unmatch or a sample for one
// endpoint. Inline (the default) every operation runs the steps that it caused before it returns; pumped,
// nothing happens until pump(). Steps that are held up (a stalled reader, a delayed sample) keep their order
// per pair of writer and reader.
//
// Time never passes by itself: a write that would block and a wait for acknowledgments that would wait give
// Status::timeout at once; only a wait without end waits, for another thread of the test. The source time is
// the system's clock until setTime.
//
// Threads: any. Sinks are called under the engine's one mutex, so they come one at a time, and must not call
// the engine; a caller must hold no lock that its sinks take. Ownership: everything that the engine made is
// deleted before it. All memory is of zddscore/heap.h.
#ifndef ZDDSC_ENGINE_LOOPBACK_ENGINE_HPP
#define ZDDSC_ENGINE_LOOPBACK_ENGINE_HPP

#include <condition_variable>
#include <mutex>

#include "middleware/engine/Engine.hpp"

namespace zdds::engine {

namespace loopback {
class ParticipantObject;
class WriterObject;
class ReaderObject;
struct Match;
struct Step;
} // namespace loopback

class LoopbackEngine final : public Engine {
public:
    struct Options {
        int64_t failAt = 0;  // the call of this number fails, counted from 1; 0 is none
        bool pumped = false; // else inline
        // Samples of a reliable writer that one reader has not acknowledged; with more, write gives
        // Status::timeout.
        int64_t maximumUnacknowledged = 1024;
    };

    LoopbackEngine() : LoopbackEngine(Options{}) {}
    explicit LoopbackEngine(const Options& options) : options_(options) {}
    ~LoopbackEngine() override;
    LoopbackEngine(const LoopbackEngine&) = delete;
    LoopbackEngine& operator=(const LoopbackEngine&) = delete;

    const char* name() const override { return "loopback"; }
    Participant* createParticipant(const ParticipantInfo& info) override;

    // ---- faults ----
    // The n-th call from now on fails, and that one alone; 0 is none. Calls that count are those that can
    // fail: the factories, write, and the wait for acknowledgments. A failing factory gives null, the others
    // Status::error.
    void failAt(int64_t call);
    // The next samples, each to all its readers, are lost: the readers hear of it by onSampleLost.
    void dropNext(int64_t samples);
    // The next samples stay on the way until releaseDelayed.
    void delayNext(int64_t samples);
    void releaseDelayed();
    // A stalled reader takes nothing: samples of reliable writers wait (and their writers run into their
    // limit), others are lost.
    void stall(const DDS_GUID_t& reader, bool stalled = true);
    // The reader takes samples and acknowledges none; what it took is acknowledged once this ends.
    void withholdAcknowledgments(const DDS_GUID_t& reader, bool withheld = true);
    // Parts a matched pair as a lost connection does, with what was on the way; false when they are not
    // matched. They do not find each other again before rematch.
    bool unmatch(const DDS_GUID_t& writer, const DDS_GUID_t& reader);
    bool rematch(); // false when memory is out

    // ---- delivery ----
    void setPumped(bool pumped); // going inline runs what waits
    // Runs at most `maximum` steps; the number that ran.
    int64_t pump(int64_t maximum = INT64_MAX);
    int64_t waitingSteps() const;

    // ---- surroundings ----
    void setTime(int64_t nanosecondsSince1970);
    void setTransportEnabled(int transport, bool enabled); // 1 UDPv4, 2 UDPv6; off at first

    // ---- counts ----
    int64_t liveObjects() const; // participants, writers and readers
    int64_t calls() const;       // of those that count for failAt
    int64_t matches() const;     // pairs

private:
    friend class loopback::ParticipantObject;
    friend class loopback::WriterObject;
    friend class loopback::ReaderObject;

    // All of these are called with mutex_ held.
    bool failsNow();
    DDS_GUID_t nextGuid(const DDS_GUID_t& participant, uint8_t kind);

    // Pairs. Finding the pairs of a new endpoint fails whole, when memory is out.
    bool add(loopback::WriterObject& writer);
    bool add(loopback::ReaderObject& reader);
    void remove(loopback::WriterObject& writer);
    void remove(loopback::ReaderObject& reader);
    bool match(loopback::WriterObject& writer, loopback::ReaderObject& reader);
    bool greet(loopback::Match& pair);
    bool replay(loopback::Match& pair);
    void part(loopback::Match& pair);
    void forget(loopback::Match& pair);
    loopback::ReaderObject* findReader(const DDS_GUID_t& guid) const;

    // Steps.
    void append(loopback::Step& step);
    void unlink(loopback::Step& step);
    loopback::Step* firstReady();
    void run(loopback::Step& step);
    int64_t runSteps(int64_t maximum);
    void settle();
    template <class Condition> void dropSteps(Condition condition);
    void releaseAcknowledgments(const loopback::ReaderObject& reader);

    // Samples.
    Status send(loopback::WriterObject& writer, std::span<const uint8_t> bytes, SampleKind kind,
        int64_t sourceTimeNs, int64_t* sequenceNumber);
    bool mayAppend(const loopback::WriterObject& writer) const;
    bool isAcknowledged(const loopback::WriterObject& writer) const;
    Status acknowledgmentOf(
        const loopback::WriterObject& writer, const DDS_GUID_t& participant, int64_t sequenceNumber) const;
    Status awaitAcknowledgments(
        loopback::WriterObject& writer, std::unique_lock<std::mutex>& lock, int64_t timeoutNs);

    mutable std::mutex mutex_;
    std::condition_variable acknowledged_;
    Options options_;
    int64_t calls_ = 0;
    int64_t dropNext_ = 0;
    int64_t delayNext_ = 0;
    int64_t time_ = now; // now: the system's clock
    bool transports_[3] = {};
    uint32_t participantsMade_ = 0;
    uint32_t endpointsMade_ = 0;
    int64_t participants_ = 0;
    loopback::WriterObject* writers_ = nullptr;
    loopback::ReaderObject* readers_ = nullptr;
    loopback::Match* matches_ = nullptr;
    loopback::Step* firstStep_ = nullptr;
    loopback::Step* lastStep_ = nullptr;
};

} // namespace zdds::engine

#endif
