// A forwarder, and takes from its cache readers, as a collector's user makes them.
// Threads: one for each reader. Errors: what fails ends the process.
#ifndef BENCH_FORWARDER_FORWARDED_HPP
#define BENCH_FORWARDER_FORWARDED_HPP

#include <cstddef>

#include "bench/forwarder/Plain.h"
#include "orxmonitoring2d/forwarder.h"
#include "zddsc/conditions.h"

namespace bench {

// Stands until the process ends.
ORX_MonitoringForwarder& makeForwarder(int domain);

class ForwardedReader {
public:
    // Events or periodic samples.
    ForwardedReader(const ORX_MonitoringForwarder& forwarder, PlainTopic topic);
    ForwardedReader(const ForwardedReader&) = delete;
    ForwardedReader& operator=(const ForwardedReader&) = delete;

    // As PlainReader_take; samples of data writers without the statuses of the plain ones are not counted.
    std::size_t take(Plain_Visit visit, void* context);

private:
    const bool isEvent_;
    DDS_DataReader* const reader_;
    DDS_WaitSet* const waitSet_;
};

} // namespace bench

#endif
