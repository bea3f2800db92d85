// Counts what was received and what was not, for the end.
//
// A loss shows as a gap: of a writer's sequence numbers on each topic, of an application's epochs on the
// event and the logging topic, of the serial numbers of its log messages by facility. What was sent before
// this program came is no loss. Everything comes from remote: the number of writers, applications and
// facilities is bounded, and what is beyond is counted by topic alone. Threads: one owner.
#ifndef TAIL_STATISTICS_HPP
#define TAIL_STATISTICS_HPP

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tail/ResourceTree.hpp"

namespace tail {

// Numbers that grow by one with each sample of a source, in order.
class Gaps {
public:
    // The number at hand, and by how much it may have grown since the last one.
    // Gives how many are missing between the two.
    std::uint64_t add(std::uint64_t number, std::uint64_t step = 1);
    std::uint64_t lost() const { return lost_; }

private:
    std::optional<std::uint64_t> last_;
    std::uint64_t lost_ = 0;
};

// Numbers of a source that come in about their order, each once but for repetitions.
class SerialNumbers {
public:
    static constexpr std::uint64_t remembered = 4096;

    // False when the number is known, or so far behind the highest one that it is not remembered.
    bool add(std::uint64_t number);
    std::uint64_t count() const { return count_; }
    // The numbers between the first and the last one that did not come.
    std::uint64_t lost() const;

private:
    std::bitset<remembered> recent_; // of the numbers up to the last one, by remainder
    std::uint64_t first_ = 0;
    std::uint64_t last_ = 0;
    std::uint64_t count_ = 0;
};

struct TopicCounts {
    std::uint64_t received = 0;
    std::uint64_t snapshots = 0; // of them
    // By the writers' sequence numbers, once something behind the gap has come. What came and was not decoded
    // or not kept is a gap too.
    std::uint64_t lost = 0;
    std::uint64_t undecodable = 0;
    std::uint64_t notCached = 0; // came faster than they were read
};

struct ApplicationCounts {
    std::string name;
    Guid guid{};
    std::uint64_t resourceEpochsLost = 0;
    std::uint64_t metricEpochsLost = 0;
    std::uint64_t logEpochsLost = 0;
    std::uint64_t logMessages = 0;
    std::uint64_t logMessagesLost = 0;
    bool isGone = false;
};

class Statistics {
public:
    static constexpr std::array<const char*, 3> topics{"event", "periodic", "logging"};

    // How many are missing before this one.
    std::uint64_t received(
        const std::string& topic, const Guid& writer, std::uint64_t sequenceNumber, bool isSnapshot);
    // Totals of the reader.
    void undecodable(const std::string& topic, std::uint64_t count) { topics_[topic].undecodable = count; }
    void notCached(const std::string& topic, std::uint64_t count) { topics_[topic].notCached = count; }
    // Which of the two epochs the sample moved: none, the resources', the metrics'.
    enum class Moved { none, resource, metric };
    // How many changes of the resources are missing before this one.
    std::uint64_t eventEpochs(
        const Guid& application, std::uint64_t resource, std::uint64_t metric, Moved moved);
    void logEpoch(const Guid& application, std::uint64_t epoch, bool isSnapshot);
    // False for a message that came before.
    bool logMessage(const Guid& application, unsigned facility, std::uint64_t serialNumber);
    void name(const Guid& application, const std::string& name);
    // Keeps its counts.
    void gone(const Guid& application);

    TopicCounts topic(const std::string& topic) const;
    std::vector<ApplicationCounts> applications() const;

private:
    static constexpr std::size_t maximalSources = 10'000;
    static constexpr std::size_t maximalFacilities = 8; // four are in use

    struct Application {
        std::string name;
        Gaps resourceEpochs, metricEpochs, logEpochs;
        std::map<unsigned, SerialNumbers> messages; // by facility
        bool isGone = false;
    };
    Application* find(const Guid& application);

    std::map<std::string, TopicCounts> topics_;
    std::map<std::pair<std::string, Guid>, Gaps> writers_;
    std::map<Guid, Application> applications_;
};

} // namespace tail

#endif
