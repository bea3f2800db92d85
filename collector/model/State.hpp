// The inside of a model: the tree with its lock, and the feed with its own. Floors: below Model.hpp's users.
//
// Locks, outermost first: `feed`, held for a sample and while its observers are called; `lock`, held for
// short work on the tree. Readers take `lock` alone.
#ifndef COLLECTOR_MODEL_STATE_HPP
#define COLLECTOR_MODEL_STATE_HPP

#include <atomic>
#include <mutex>

#include "collector/model/Model.hpp"
#include "collector/model/Tree.hpp"

namespace collector {

using Observers = std::vector<std::shared_ptr<ModelObserver>>;

struct Model::State {
    State(const ModelLimits& givenLimits, Clock givenClock);

    void drop(DropCause cause, std::uint64_t count = 1) {
        statistics.dropped[static_cast<std::size_t>(cause)] += count;
    }
    std::shared_ptr<const Observers> currentObservers();

    const ModelLimits limits;
    const Clock clock;

    std::mutex feed;
    std::vector<ModelEvent> events; // of the sample at hand, under `feed`

    std::mutex lock;
    Tree tree;                  // under `lock`, as what follows
    ModelStatistics statistics; // but the sizes, which the tree knows

    std::mutex observersLock; // a leaf
    std::shared_ptr<const Observers> observers;
    std::atomic<bool> isObserved{false}; // a hint: spares the leaf where nobody listens
};

// The value of a metric from its octets.
MetricValue metricValue(ValueKind kind, std::uint64_t octets);

} // namespace collector

#endif
