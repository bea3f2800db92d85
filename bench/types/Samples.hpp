// Four samples as applications publish them.
#ifndef BENCH_TYPES_SAMPLES_HPP
#define BENCH_TYPES_SAMPLES_HPP

#include "orxmonitoring2d/data_model.h"

namespace bench {

// Made on the heap; the caller gives them back with the family's destroy_data. Null when memory is out.
DDS_Monitoring_Event* makeMetricEvent();     // a writer's publication-matched status
DDS_Monitoring_Event* makeCreationEvent();   // a new writer, with its name and 20 metric ids
DDS_Monitoring_Logging* makeLoggingUpdate(); // 8 messages with host, process and one structured datum
DDS_Monitoring_Periodic* makePeriodic();     // a writer's protocol and cache statuses

} // namespace bench

#endif
