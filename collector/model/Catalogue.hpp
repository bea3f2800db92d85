// The metric catalogue as the collector uses it: classes and metrics by dense numbers, and where the value of
// each metric lies in a sample.
//
// Made once from the library's tables and the type descriptors of the samples. Threads: any; constant data.
#ifndef COLLECTOR_CATALOGUE_HPP
#define COLLECTOR_CATALOGUE_HPP

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "reading/Guid.hpp"

namespace collector {

using reading::Guid;
using reading::noGuid;

// In the order of the class table; parents before children.
enum class ResourceClass : std::uint8_t {
    application,
    participant,
    type,
    topic,
    publisher,
    dataWriter,
    subscriber,
    dataReader
};
constexpr std::size_t resourceClassCount = 8;

std::optional<ResourceClass> resourceClassOf(std::uint32_t classId);
std::uint32_t classIdOf(ResourceClass resourceClass);
// "data_writer", "domain_participant", ...
const char* resourceClassName(ResourceClass resourceClass);
// The class in paths: "data_writers", ...
const char* resourceClassIdentifier(ResourceClass resourceClass);
// Either of the two names.
std::optional<ResourceClass> resourceClassNamed(std::string_view name);

// Metrics of one class by their number in its table.
class MetricSet {
public:
    static constexpr std::size_t capacity = 128;

    void add(std::size_t metric) { words_[metric / 64] |= std::uint64_t{1} << metric % 64; }
    bool has(std::size_t metric) const { return (words_[metric / 64] >> metric % 64 & 1U) != 0; }
    std::size_t size() const {
        return static_cast<std::size_t>(std::popcount(words_[0]) + std::popcount(words_[1]));
    }
    // Members below the metric.
    std::size_t rank(std::size_t metric) const {
        std::size_t count = 0;
        for (std::size_t word = 0; word < metric / 64; ++word)
            count += static_cast<std::size_t>(std::popcount(words_[word]));
        const std::uint64_t below = (std::uint64_t{1} << metric % 64) - 1;
        return count + static_cast<std::size_t>(std::popcount(words_[metric / 64] & below));
    }
    bool empty() const { return (words_[0] | words_[1]) == 0; }
    template <typename Visit> void forEach(Visit visit) const {
        for (std::size_t word = 0; word < words_.size(); ++word) {
            for (std::uint64_t bits = words_[word]; bits != 0; bits &= bits - 1)
                visit(word * 64 + static_cast<std::size_t>(std::countr_zero(bits)));
        }
    }
    MetricSet operator&(const MetricSet& other) const {
        MetricSet result;
        for (std::size_t word = 0; word < words_.size(); ++word)
            result.words_[word] = words_[word] & other.words_[word];
        return result;
    }
    MetricSet& operator|=(const MetricSet& other) {
        for (std::size_t word = 0; word < words_.size(); ++word)
            words_[word] |= other.words_[word];
        return *this;
    }
    void remove(const MetricSet& other) {
        for (std::size_t word = 0; word < words_.size(); ++word)
            words_[word] &= ~other.words_[word];
    }
    bool operator==(const MetricSet&) const = default;

private:
    std::array<std::uint64_t, capacity / 64> words_{};
};

enum class ValueKind : std::uint8_t {
    integer, // 64 bits, signed
    natural, // 64 bits, unsigned
    real     // the octets of a float, in the low half
};

struct Metric {
    const char* name = nullptr;
    std::uint32_t id = 0; // as in the metric ids of a resource
    ValueKind kind = ValueKind::integer;
    std::uint8_t group = 0;   // into the groups of the class
    std::uint8_t inGroup = 0; // its place among the metrics of the group
};

constexpr std::size_t maximalGroups = 16; // of one class

// A group with metrics of the catalogue: an optional member of the class's event or periodic structure.
struct MetricGroup {
    const char* member = nullptr;
    bool isPeriodic = false;
    std::size_t firstMetric = 0; // metrics of a group stand side by side
    std::size_t metricCount = 0;
    MetricSet metrics;
};

std::span<const Metric> metricsOf(ResourceClass resourceClass);
std::span<const MetricGroup> groupsOf(ResourceClass resourceClass);
// The number of the group at this member of the class's event or periodic structure.
std::optional<std::size_t> groupAt(ResourceClass resourceClass, bool isPeriodic, std::size_t member);
// The number of the metric with this id, as in a resource's metric_ids.
std::optional<std::size_t> metricWithId(ResourceClass resourceClass, std::uint32_t id);
// Reads the values of a group, in the order of its metrics. `value` is the group's own structure or number.
void readGroup(
    ResourceClass resourceClass, std::size_t group, const void* value, std::span<std::uint64_t> values);

} // namespace collector

#endif
