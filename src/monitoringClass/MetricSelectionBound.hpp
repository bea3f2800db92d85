// How much the store of selections may hold. Senders of commands make it grow, with selections that differ,
// and every new resource is held against each of them.
//
// Threads: the command thread, under the library lock.
#ifndef ORX_METRIC_SELECTION_BOUND_HPP
#define ORX_METRIC_SELECTION_BOUND_HPP

#include <cstddef>

#include "src/monitoringClass/MonitoringClassImpl.h"

namespace orx::selection {

constexpr int maximumSelections = 1024;
constexpr std::size_t maximumBytes = 1024 * 1024; // of selections and their texts
// Each may be held against the name of each metric when an application's thread creates an entity.
constexpr std::size_t maximumPatterns = 4096;

constexpr char allResources[] = "//*";
// Whether the selection turns off all metrics, and so makes the store forget what it has for the expression.
bool isDisableAll(const DDS_MonitoringMetricSelection& selection);

// Whether the store is within its bounds once the list is merged into it. What the list repeats is not
// counted twice, and what it replaces is not counted: a "set" of the same expressions always fits into a
// store that is full, and one of every resource empties it.
bool fits(const ORX_MonitoringClassImpl& self, const REDAInlineList& coming);

} // namespace orx::selection

#endif
