#include "src/resource/ResourceMemory.hpp"

#include <cstddef>

#include "zddscore/fast_buffer_pool.h"

namespace {

// What there are many of, writers and readers, has that many at most.
constexpr DDS_UnsignedLong groupsBeside = 8;

struct Buffer {
    ORX_MonitoringResource resource; // first
    DDS_UnsignedLong periodicGroups[groupsBeside];
};

// A program with few entities needs no more; a chunk has some dozens of pages.
constexpr int firstBuffers = 32;
constexpr int buffersOfChunk = 128;

} // namespace

REDAFastBufferPool* orx::resource::newResourcePool() {
    REDAFastBufferPoolProperty property{};
    property.growth = {firstBuffers, REDA_FAST_BUFFER_POOL_UNLIMITED, buffersOfChunk};
    property.zeroBufferContent = 1;
    return REDAFastBufferPool_newWithParams(sizeof(Buffer), alignof(Buffer), nullptr, nullptr, nullptr,
        nullptr, &property, "struct ORX_MonitoringResource", 0);
}

ORX_MonitoringResource* orx::resource::takeResource(ORX_MonitoringResourceRegistry& registry) {
    auto* buffer = static_cast<Buffer*>(REDAFastBufferPool_getBufferWithSize(registry.resourcePool, -1));
    if (buffer == nullptr)
        return nullptr;
    buffer->resource.registry = &registry;
    return &buffer->resource;
}

void orx::resource::returnResource(ORX_MonitoringResource& resource) {
    REDAFastBufferPool_returnBuffer(resource.registry->resourcePool, &resource);
}

bool orx::resource::makePeriodicGroups(ORX_MonitoringResource& resource, DDS_UnsignedLong maximum) {
    DDS_UnsignedLongSeq* groups = &resource.monitoredPeriodicMetricGroupIndex;
    const auto room = static_cast<DDS_Long>(maximum);
    if (maximum == 0 || maximum > groupsBeside)
        return DDS_UnsignedLongSeq_set_maximum(groups, room);
    return DDS_UnsignedLongSeq_loan_contiguous(
        groups, reinterpret_cast<Buffer&>(resource).periodicGroups, 0, room);
}
