#include "src/eventMetrics/SnapshotPace.hpp"

#include <atomic>
#include <ctime>

#include "src/log/Log.hpp"
#include "zddsc/qos.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using Pace = ORX_MonitoringEventSnapshotPace;

constexpr DDS_Duration_t look{0, 5'000'000U}; // how long at most until the queue is looked at again
constexpr ORX_INT64 allowanceNs = 5'000'000'000;
constexpr ORX_INT64 patienceNs = 500'000'000;

ORX_INT64 monotonicNs() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return ORX_INT64{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

DDS_DataWriterCountersI countersOf(const ORX_MonitoringEventTaskExecutor& self) {
    DDS_DataWriterCountersI counters{};
    DDS_DataWriter_get_countersI(self.writer, &counters);
    return counters;
}

bool hasRoom(const Pace& pace, const DDS_DataWriterCountersI& counters) {
    return counters.queued < pace.queuedSamplesLimit && counters.queued_bytes < pace.queuedBytesLimit;
}

// Changes that wait in the event queues; about, as others post meanwhile.
ORX_INT64 gatheredChanges(ORX_MonitoringEventTaskExecutor& self) {
    ORX_UINT64 posted = 0;
    ORX_MonitoringTaskExecutor& executor = *self.taskExecutor;
    for (ORX_UINT32 i = 0; i < executor.property.concurrencyLevel; ++i)
        posted += std::atomic_ref(executor.queues[i].postedTasks).load(std::memory_order_relaxed);
    posted -= std::atomic_ref(self.snapshotPace.snapshotsPosted).load(std::memory_order_relaxed);
    return static_cast<ORX_INT64>(posted) - self.snapshotPace.changesRun;
}

// Samples that have left the queue one way or the other.
DDS_UnsignedLongLong goneFrom(const DDS_DataWriterCountersI& counters) {
    return counters.written + counters.dropped_engine + counters.dropped_no_memory;
}

bool isRunning(ORX_MonitoringEventTaskExecutor& self) {
    return std::atomic_ref(self.taskExecutor->status).load(std::memory_order_relaxed) ==
           ORX_MONITORING_EXECUTOR_THREAD_RUNNING;
}

} // namespace

bool orx::event::initializePace(Pace& pace, DDS_DataWriter& writer) {
    DDS_DataWriterQos qos{};
    const bool isKnown = DDS_DataWriterQos_initialize(&qos) == DDS_RETCODE_OK &&
                         DDS_DataWriter_get_qos(&writer, &qos) == DDS_RETCODE_OK;
    pace.queuedSamplesLimit = qos.publish_mode.max_queued_samples / 2;
    pace.gatheredLimit = pace.queuedSamplesLimit / 4;
    pace.queuedBytesLimit = qos.publish_mode.max_queued_bytes / 2;
    (void)DDS_DataWriterQos_finalize(&qos);
    if (!isKnown)
        return ORX_ERROR(FAILED_TO_GET, "Event DataWriter QoS\n");
    pace.allowanceNs = allowanceNs;
    pace.patienceNs = patienceNs;
    pace.leftNs = allowanceNs;
    return true;
}

void orx::event::waitForRoom(ORX_MonitoringEventTaskExecutor& self) {
    Pace& pace = self.snapshotPace;
    DDS_DataWriterCountersI counters = countersOf(self);
    if (counters.queued == 0)
        pace.leftNs = pace.allowanceNs;
    ORX_INT64 now = monotonicNs();
    while (!hasRoom(pace, counters) && pace.leftNs > 0 && isRunning(self) &&
           gatheredChanges(self) < pace.gatheredLimit) {
        std::atomic_ref(pace.waits).fetch_add(1, std::memory_order_release);
        (void)DDS_DataWriter_flushI(self.writer, &look);
        counters = countersOf(self);
        const ORX_INT64 before = now;
        now = monotonicNs();
        pace.leftNs -= now - before;
        pace.idleNs += now - before;
        if (goneFrom(counters) != pace.gone) {
            pace.gone = goneFrom(counters);
            pace.idleNs = 0;
        } else if (pace.idleNs >= pace.patienceNs) {
            pace.leftNs = 0;
        }
    }
}
