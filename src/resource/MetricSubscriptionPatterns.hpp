// Which metrics of a class the patterns of a selection name: asked once for a class, and not for each of its
// resources.
//
// Threads: the caller's. Nothing is allocated; the table is borrowed.
#ifndef ORX_MONITORING_METRIC_SUBSCRIPTION_PATTERNS_HPP
#define ORX_MONITORING_METRIC_SUBSCRIPTION_PATTERNS_HPP

#include <bit>

#include "src/dataModel/MetricCatalogue.h"
#include "src/resource/MetricSubscription.h"

namespace orx::resource {

// A set of rows of a class's table of metrics.
class MetricSet {
public:
    bool contains(DDS_UnsignedLong metric) const { return (words_[metric / 64] >> (metric % 64) & 1U) != 0; }
    void add(DDS_UnsignedLong metric) { words_[metric / 64] |= ORX_UINT64{1} << (metric % 64); }
    void remove(DDS_UnsignedLong metric) { words_[metric / 64] &= ~(ORX_UINT64{1} << (metric % 64)); }

    bool operator==(const MetricSet&) const = default;

    // Calls with each row in ascending order that is in this set, and in `others` just if `inOthers`; false
    // as soon as a call is. The call may change `others`.
    template <typename Call> bool forEach(const MetricSet& others, bool inOthers, Call call) const {
        for (DDS_UnsignedLong word = 0; word < wordCount; ++word) {
            const ORX_UINT64 mask = inOthers ? others.words_[word] : ~others.words_[word];
            for (ORX_UINT64 left = words_[word] & mask; left != 0; left &= left - 1)
                if (!call(word * 64 + static_cast<DDS_UnsignedLong>(std::countr_zero(left))))
                    return false;
        }
        return true;
    }

private:
    static constexpr DDS_UnsignedLong wordCount = (ORX_MONITORING_RESOURCE_MAX_METRICS + 63) / 64;
    ORX_UINT64 words_[wordCount] = {};
};

// The names of a class's metrics; at most ORX_MONITORING_RESOURCE_MAX_METRICS, and all of them differ.
class MetricNames {
public:
    MetricNames() = default;
    MetricNames(const ORX_Monitoring_MetricInfo* table, DDS_UnsignedLong count);
    // A pattern without wildcards costs one look into the index, another is held against each name that no
    // pattern before it matched. No pattern is null.
    MetricSet named(const DDS_StringSeq& patterns) const;

private:
    static constexpr unsigned slotCount = 512;
    static_assert(
        slotCount > 2 * ORX_MONITORING_RESOURCE_MAX_METRICS && ORX_MONITORING_RESOURCE_MAX_METRICS < 255);

    static unsigned slotOf(const char* name);
    void addLiteral(MetricSet& set, const char* name) const;

    const ORX_Monitoring_MetricInfo* table_ = nullptr;
    DDS_UnsignedLong count_ = 0;
    ORX_UINT8 slots_[slotCount] = {}; /* row + 1 */
};

} // namespace orx::resource

#endif
