// Reports from inside a callback of an event generator, where a third mask counts: the categories of what
// workers are at, ORXLog_g_categoryMask. The category of a worker is the bit of its activity's kind, that of
// ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_EMPTY without an activity.
//     if (groups == nullptr) return ORX_WORKER_ERROR(worker, FAILED_TO_GET, "Metric group info");
// Threads: the worker's own.
#ifndef ORX_LOG_WORKER_LOG_HPP
#define ORX_LOG_WORKER_LOG_HPP

#include "src/log/Log.hpp"
#include "zddscore/event_generator.h"

namespace orx::log {

inline bool isWorkerEnabled(const REDAWorker* worker) {
    const ORXOsapiActivityContextStackEntry* activity =
        worker != nullptr ? REDAWorker_getActivity(worker) : nullptr;
    const auto kind = activity != nullptr ? activity->kind : ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_EMPTY;
    // Relaxed, as with the other masks.
    return (std::atomic_ref(ORXLog_g_categoryMask).load(std::memory_order_relaxed) & (1U << kind)) != 0;
}

} // namespace orx::log

#define ORX_WORKER_ERROR(worker, TEMPLATE, ...)                                                              \
    (::orx::log::isWorkerEnabled(worker) ? ORX_ERROR(TEMPLATE, __VA_ARGS__) : ::orx::log::failed())
#define ORX_WORKER_WARNING(worker, TEMPLATE, ...)                                                            \
    (::orx::log::isWorkerEnabled(worker) ? ORX_WARNING(TEMPLATE, __VA_ARGS__) : ::orx::log::failed())
#define ORX_WORKER_FLOOD_WARNING(worker, TEMPLATE, ...)                                                      \
    (::orx::log::isWorkerEnabled(worker) ? ORX_FLOOD_WARNING(TEMPLATE, __VA_ARGS__) : ::orx::log::failed())

#endif
