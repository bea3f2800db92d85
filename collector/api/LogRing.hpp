// The newest log messages of all applications, and the clients that follow them.
//
// Bounded by number and octets: the oldest go. Repetitions (a snapshot repeats what was told, for the sake of
// others) are recognised by their numbers and told once. Threads: any. A message that comes goes into the
// ring and to the followers under one lock, so a follower that opens with the newest misses none and sees
// none twice.
#ifndef COLLECTOR_API_LOG_RING_HPP
#define COLLECTOR_API_LOG_RING_HPP

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "collector/api/ApplicationFilter.hpp"
#include "collector/api/Json.hpp"
#include "collector/http/EventStream.hpp"
#include "reading/Guid.hpp"

namespace collector::api {

// Texts are valid UTF-8.
struct LogMessage {
    std::uint64_t id = 0; // given by the ring
    std::int64_t timeNs = 0;
    reading::Guid application{};
    std::string applicationName; // empty until it is told; messages may come before that
    reading::Guid resource{};
    std::uint8_t facility = 0;
    std::uint32_t severity = 0;
    std::uint64_t sequenceNumber = 0;
    std::string category;
    std::string message;
    std::string line;
    bool isSnapshot = false;
};
Json jsonOf(const LogMessage& message);

struct LogFilter {
    ApplicationFilter application;
    std::optional<std::uint8_t> facility;
    std::optional<std::uint32_t> severity; // this one and everything worse
    std::optional<std::string> category;   // as it is
    std::optional<std::string> contains;   // in the message
    std::uint64_t after = 0;               // messages with greater ids
    bool passes(const LogMessage& message) const;
};

class LogRing {
public:
    struct Limits {
        std::size_t messages = 10'000;
        std::size_t bytes = 8U << 20U;
        std::size_t sources = 10'000; // applications and facilities whose numbers are remembered
    };
    LogRing() : LogRing(Limits()) {}
    explicit LogRing(Limits limits) : limits_(limits) {}

    // False for a message of a snapshot that was told before.
    bool add(LogMessage message);
    // Applications of which there are messages without their name, and what they are called.
    std::set<reading::Guid> unnamed() const;
    void name(const reading::Guid& application, const std::string& name);
    // The numbers of applications that are not among these are forgotten.
    void forgetOthers(const std::set<reading::Guid>& applications);

    // The newest that pass, the oldest of them first.
    std::vector<LogMessage> newest(const LogFilter& filter, std::size_t limit) const;
    // The stream gets the newest that pass, and from then on each that passes.
    void follow(std::shared_ptr<http::EventStream> stream, LogFilter filter, std::size_t limit);

    struct Counts {
        std::size_t messages = 0;
        std::size_t bytes = 0;
        std::uint64_t received = 0;
        std::uint64_t repeated = 0; // of snapshots, known already
        std::uint64_t dropped = 0;  // from the ring, for its bounds
    };
    Counts counts() const;

private:
    // Serial numbers of a source: each once, in about their order.
    class Numbers {
    public:
        bool add(std::uint64_t number); // false when it is known, or far behind the last one

    private:
        static constexpr std::uint64_t remembered = 1024;
        std::bitset<remembered> recent_;
        std::uint64_t last_ = 0;
        bool isEmpty_ = true;
    };
    struct Follower {
        std::weak_ptr<http::EventStream> stream;
        LogFilter filter;
    };
    bool isNew(const LogMessage& message);
    std::vector<const LogMessage*> select(const LogFilter& filter, std::size_t limit) const;

    const Limits limits_;
    mutable std::mutex mutex_;
    std::deque<LogMessage> messages_;
    std::size_t bytes_ = 0;
    std::uint64_t lastId_ = 0;
    std::uint64_t repeated_ = 0;
    std::uint64_t dropped_ = 0;
    std::map<std::pair<reading::Guid, std::uint8_t>, Numbers> numbers_;
    std::vector<Follower> followers_;
};

} // namespace collector::api

#endif
