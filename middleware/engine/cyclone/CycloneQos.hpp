// QoS of the DDS operations, told to Cyclone DDS.
//
// Durations of zero where zero makes no sense (deadline, lifespan, lease) count as infinite, so that a zeroed
// policy is harmless.
#ifndef ZDDSC_ENGINE_CYCLONE_QOS_HPP
#define ZDDSC_ENGINE_CYCLONE_QOS_HPP

#include "middleware/engine/cyclone/CycloneHeaders.hpp" // before all others

#include <memory>
#include <span>

#include "zddsc/qos.h"

namespace zdds::engine {

struct QosDelete {
    void operator()(dds_qos_t* qos) const { dds_delete_qos(qos); }
};
using QosPointer = std::unique_ptr<dds_qos_t, QosDelete>;

struct ListenerDelete {
    void operator()(dds_listener_t* listener) const { dds_delete_listener(listener); }
};
using ListenerPointer = std::unique_ptr<dds_listener_t, ListenerDelete>;

// Null when memory is out.
QosPointer writerQos(const DDS_DataWriterQos& qos);
QosPointer readerQos(const DDS_DataReaderQos& qos);
QosPointer partitionQos(std::span<const char* const> partitions);
QosPointer participantQos(const char* name, int64_t leaseNs);

} // namespace zdds::engine

#endif
