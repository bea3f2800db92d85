// The pace at which the worker writes snapshots.
//
// A late reader of a large tree is owed more samples than the writer's queue holds, and all at once. So a
// snapshot finds half of the queue free, or the worker waits for that: a reader that keeps up loses nothing,
// and what changes meanwhile has the other half. The wait has two ends. A queue from which nothing leaves for
// a while has a reader that stalls; and however slowly it moves, the worker waits for so long at most until
// the queue has been empty again. Past either, snapshots are written at once, and the queue drops and counts
// what it has no room for. A stop of the worker ends a wait too.
//
// What changes while the worker waits gathers in the arenas of the event queues. So there is no wait either
// while as many changes have gathered as fill a quarter of the other half of the writer's queue: as tasks
// they take several times the memory that they take as samples. Nobody but the worker waits, and it holds no
// lock.
#ifndef ORX_SNAPSHOT_PACE_HPP
#define ORX_SNAPSHOT_PACE_HPP

#include "src/eventMetrics/EventTaskExecutor.h"

namespace orx::event {

// Takes the bounds of the writer's queue. False, with a line of log, when its QoS cannot be had.
bool initializePace(ORX_MonitoringEventSnapshotPace& pace, DDS_DataWriter& writer);
// Worker, before it writes a snapshot.
void waitForRoom(ORX_MonitoringEventTaskExecutor& self);

} // namespace orx::event

#endif
