// The worker's side of the event executor: tasks become samples. Both run with no lock held; see
// TaskExecutor.h for when. `userData` is the executor.
#ifndef ORX_EVENT_SAMPLE_HPP
#define ORX_EVENT_SAMPLE_HPP

#include "src/eventMetrics/EventTaskExecutor.h"

ZDDS_BEGIN_C

// Consecutive metric updates of one resource gather in the one sample; anything else sends what is cached
// first, and a snapshot leaves at once, alone. Zero when the task's own data could not be published.
int ORX_MonitoringEventTaskExecutor_onTaskAvailable(
    void* userData, const struct ORX_MonitoringTaskExecutorTask* task);
// Sends what is cached: nothing waits for the next wake-up, and no sample mixes the tasks of two queues.
void ORX_MonitoringEventTaskExecutor_onAfterProcessedQueue(void* userData);

ZDDS_END_C

#endif
