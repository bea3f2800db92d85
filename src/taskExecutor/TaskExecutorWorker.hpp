// The worker of the task executor. `param` is the executor, which outlives the thread.
#ifndef ORX_TASK_EXECUTOR_WORKER_HPP
#define ORX_TASK_EXECUTOR_WORKER_HPP

#include "src/taskExecutor/TaskExecutor.h"

ZDDS_BEGIN_C

void* ORX_MonitoringTaskExecutor_run(void* param);
// Frees what the queue has processed. Runs on the worker only; zero ends the worker. A mutex that is busy for
// 500 ms puts it off until the next visit, and so does a cursor that stands nowhere: nothing has been
// processed then.
int ORX_MonitoringTaskExecutor_deleteTasksFromQueue(
    ORX_MonitoringTaskExecutor* self, ORX_UINT32 concurrencyIndex);

ZDDS_END_C

#endif
