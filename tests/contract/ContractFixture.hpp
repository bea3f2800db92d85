// What the contract tests share: sinks that remember, QoS, ready bytes, and the engines under test.
#ifndef TESTS_CONTRACT_CONTRACT_FIXTURE_HPP
#define TESTS_CONTRACT_CONTRACT_FIXTURE_HPP

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "middleware/engine/Engine.hpp"
#include "tests/helpers/TestDomain.hpp"

namespace zdds::engine {

inline bool operator==(const RemoteEndpoint& left, const RemoteEndpoint& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

} // namespace zdds::engine

inline bool operator==(const DDS_GUID_t& left, const DDS_GUID_t& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}
inline bool operator<(const DDS_GUID_t& left, const DDS_GUID_t& right) {
    return std::memcmp(&left, &right, sizeof left) < 0;
}

namespace contract {

namespace eng = zdds::engine;

constexpr std::chrono::seconds patience{30}; // a generous bound, never an expectation
constexpr int64_t second = 1'000'000'000;

using Bytes = std::vector<uint8_t>;

// Little-endian XCDR 2 of an appendable type, as far as an engine can tell.
inline Bytes sample(const std::string& body, uint8_t encapsulation = 0x09) {
    const size_t used = 4 + body.size();
    const size_t padding = (4 - used % 4) % 4;
    Bytes result(used + padding);
    result[1] = encapsulation;
    result[3] = static_cast<uint8_t>(padding);
    std::copy(body.begin(), body.end(), result.begin() + 4);
    return result;
}
inline std::string bodyOf(const Bytes& bytes) {
    if (bytes.size() < 4)
        return "(short)";
    const size_t padding = bytes[3] & 3U;
    return std::string(reinterpret_cast<const char*>(bytes.data()) + 4, bytes.size() - 4 - padding);
}
// A final type with a key of 8 bytes before the rest.
constexpr uint32_t keyBytes = 8;
inline Bytes keyedSample(const std::string& key, const std::string& body = "") {
    return sample(key + body, 0x07);
}

struct Received {
    Bytes bytes;
    DDS_GUID_t writer;
    int64_t sequenceNumber;
    int64_t sourceTimeNs;
    eng::SampleKind kind;

    std::string body() const { return bodyOf(bytes); }
};

// Calls of a sink, in order: "match", "unmatch" or a sample.
struct Event {
    enum class Kind { matched, unmatched, sample } kind;
    eng::RemoteEndpoint remote; // of a match
    Received received;          // of a sample
};

class Recorder {
public:
    bool waitFor(const std::function<bool(const std::vector<Event>&)>& condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [&] { return condition(events_); });
    }
    std::vector<Event> events() {
        std::lock_guard lock(mutex_);
        return events_;
    }
    std::vector<Received> samples() {
        std::vector<Received> result;
        for (const Event& event : events())
            if (event.kind == Event::Kind::sample)
                result.push_back(event.received);
        return result;
    }
    std::vector<std::string> bodies() {
        std::vector<std::string> result;
        for (const Received& received : samples())
            result.push_back(received.body());
        return result;
    }
    int count(Event::Kind kind) {
        const auto all = events();
        return static_cast<int>(
            std::count_if(all.begin(), all.end(), [&](const Event& e) { return e.kind == kind; }));
    }
    bool waitForCount(Event::Kind kind, int wanted) {
        return waitFor([&](const std::vector<Event>& all) {
            return std::count_if(all.begin(), all.end(), [&](const Event& e) { return e.kind == kind; }) >=
                   wanted;
        });
    }
    bool waitForMatches(int wanted) { return waitForCount(Event::Kind::matched, wanted); }
    bool waitForUnmatches(int wanted) { return waitForCount(Event::Kind::unmatched, wanted); }
    bool waitForSamples(int wanted) { return waitForCount(Event::Kind::sample, wanted); }
    int matches() { return count(Event::Kind::matched); }

protected:
    void add(Event event) {
        // Notified under the mutex: the sink may be gone as soon as a waiter has seen the event.
        std::lock_guard lock(mutex_);
        events_.push_back(std::move(event));
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Event> events_;
};

class ReaderRecorder final : public Recorder, public eng::ReaderSink {
public:
    void onSample(const eng::IncomingSample& s) override {
        add({Event::Kind::sample, {},
            {{s.bytes.begin(), s.bytes.end()}, s.writer, s.sequenceNumber, s.sourceTimeNs, s.kind}});
    }
    void onMatched(const eng::RemoteEndpoint& writer) override { add({Event::Kind::matched, writer, {}}); }
    void onUnmatched(const eng::RemoteEndpoint& writer) override {
        add({Event::Kind::unmatched, writer, {}});
    }
    void onSampleLost(uint64_t count) override { lost_ += count; }
    uint64_t lost() const { return lost_; }

private:
    std::atomic<uint64_t> lost_{0};
};

class WriterRecorder final : public Recorder, public eng::WriterSink {
public:
    void onMatched(const eng::RemoteEndpoint& reader) override { add({Event::Kind::matched, reader, {}}); }
    void onUnmatched(const eng::RemoteEndpoint& reader) override {
        add({Event::Kind::unmatched, reader, {}});
    }
};

// Each writer is matched once, then come its samples, then its unmatch, and nothing else. Returns their
// number.
inline int expectMatchesAround(const std::vector<Event>& events) {
    std::map<DDS_GUID_t, int> phases; // 0 unknown, 1 matched, 2 unmatched
    for (const Event& event : events) {
        const bool isSample = event.kind == Event::Kind::sample;
        int& phase = phases[isSample ? event.received.writer : event.remote.endpoint];
        EXPECT_EQ(phase, event.kind == Event::Kind::matched ? 0 : 1);
        if (!isSample)
            ++phase;
    }
    return static_cast<int>(phases.size());
}

struct Quality {
    bool reliable = true;
    bool transientLocal = false;
    DDS_Duration_t maxBlockingTime{10, 0};
};

inline DDS_DataWriterQos writerQos(const Quality& quality = {}) {
    DDS_DataWriterQos qos{};
    qos.reliability.kind = quality.reliable ? DDS_RELIABLE_RELIABILITY_QOS : DDS_BEST_EFFORT_RELIABILITY_QOS;
    qos.reliability.max_blocking_time = quality.maxBlockingTime;
    qos.durability.kind =
        quality.transientLocal ? DDS_TRANSIENT_LOCAL_DURABILITY_QOS : DDS_VOLATILE_DURABILITY_QOS;
    qos.history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    qos.resource_limits = {DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED};
    return qos;
}
inline DDS_DataReaderQos readerQos(const Quality& quality = {}) {
    DDS_DataReaderQos qos{};
    qos.reliability.kind = quality.reliable ? DDS_RELIABLE_RELIABILITY_QOS : DDS_BEST_EFFORT_RELIABILITY_QOS;
    qos.reliability.max_blocking_time = quality.maxBlockingTime;
    qos.durability.kind =
        quality.transientLocal ? DDS_TRANSIENT_LOCAL_DURABILITY_QOS : DDS_VOLATILE_DURABILITY_QOS;
    qos.history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    qos.resource_limits = {DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED};
    return qos;
}

using ParticipantPointer = std::unique_ptr<eng::Participant>;
using WriterPointer = std::unique_ptr<eng::Writer>;
using ReaderPointer = std::unique_ptr<eng::Reader>;
using Partitions = std::initializer_list<const char*>;

// Topics of different tests, and of programs that run at the same time, never meet.
inline std::string uniqueName(const std::string& base) {
    static std::atomic<int> counter{0};
    return base + "_" + std::to_string(getpid()) + "_" + std::to_string(++counter);
}

inline eng::TopicInfo topicInfo(const std::string& topic, bool keyed) {
    return {.topicName = topic.c_str(),
        .typeName = "contract::Type",
        .keyed = keyed,
        .keyBytes = keyed ? keyBytes : 0,
        .extensibility =
            keyed ? eng::TopicInfo::Extensibility::final : eng::TopicInfo::Extensibility::appendable};
}

inline WriterPointer makeWriter(eng::Participant& participant, const std::string& topic,
    eng::WriterSink* sink, const Quality& quality = {}, Partitions partitions = {}, bool keyed = false) {
    const eng::TopicInfo info = topicInfo(topic, keyed);
    const DDS_DataWriterQos qos = writerQos(quality);
    return WriterPointer{participant.createWriter(info, qos, {partitions.begin(), partitions.size()}, sink)};
}
inline ReaderPointer makeReader(eng::Participant& participant, const std::string& topic,
    eng::ReaderSink* sink, const Quality& quality = {}, Partitions partitions = {}, bool keyed = false) {
    const eng::TopicInfo info = topicInfo(topic, keyed);
    const DDS_DataReaderQos qos = readerQos(quality);
    return ReaderPointer{participant.createReader(info, qos, {partitions.begin(), partitions.size()}, sink)};
}

inline eng::Status write(eng::Writer& writer, const Bytes& bytes,
    eng::SampleKind kind = eng::SampleKind::data, int64_t sourceTimeNs = eng::now,
    int64_t* sequenceNumber = nullptr) {
    return writer.write(bytes, kind, sourceTimeNs, sequenceNumber);
}

// Keeps the library to the loopback device, without multicast.
inline void useLoopbackDevice() {
    setenv("CYCLONEDDS_URI",
        "<CycloneDDS><Domain id=\"any\"><General><Interfaces><NetworkInterface name=\"lo\"/></Interfaces>"
        "<AllowMulticast>false</AllowMulticast></General><Discovery><ParticipantIndex>auto</ParticipantIndex>"
        "<MaxAutoParticipantIndex>40</MaxAutoParticipantIndex><SPDPInterval>1s</SPDPInterval><Peers><Peer "
        "Address=\"127.0.0.1\"/></Peers>"
        "</Discovery></Domain></CycloneDDS>",
        1);
}

} // namespace contract

#endif
