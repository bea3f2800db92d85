#include "src/eventMetrics/EventTask.h"

#include <cstring>
#include <new>

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "zddsc/sequence_define.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using Metric = ORX_MonitoringEventTaskExecutorSnapshotMetric;
using MetricSeq = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq;
using Task = ORX_MonitoringEventTask;

const DDS_SequenceElement metricElement = DDS_SEQUENCE_ELEMENT_PLAIN(Metric);

// The queue's arena, with the index that messages name.
struct Arena {
    REDAInlineMemory** memoryManager;
    ORX_UINT32 concurrencyIndex;

    void* reserve(size_t size, const char* what) const {
        void* buffer =
            REDAInlineMemory_reserveBufferI(memoryManager, static_cast<REDAInlineMemorySize>(size), 1);
        if (buffer == nullptr) {
            return ORX_FLOOD_ERROR(FAILED_TO_ALLOCATE,
                "'%s' with size %u, in the memory manager with index %u.\n", what,
                static_cast<unsigned>(size), concurrencyIndex);
        }
        return buffer;
    }
};

void* mapGroup(const Arena& arena, const ORX_Monitoring_MetricGroupInfo* groups, ORX_UINT32 index,
    const void* applicationMetricGroup) {
    void* memory = groups[index].mapAppToDistMetricGroupFunction(applicationMetricGroup, arena.memoryManager);
    if (memory == nullptr) {
        return ORX_FLOOD_ERROR(
            FAILED_TO_CONVERT_TYPE, "Map Distribution data for metric group index %u\n", index);
    }
    return memory;
}

int deleteSnapshot(MetricSeq* metrics, const ORX_Monitoring_MetricGroupInfo* groups) {
    const DDS_Long length = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_length(metrics);
    for (DDS_Long i = 0; i < length; ++i) {
        const Metric* metric = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_reference(metrics, i);
        if (metric->metricGroupMemory != nullptr) {
            groups[metric->index].deleteDistMetricGroupFunction(metric->metricGroupMemory);
        }
    }
    void* buffer = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_contiguous_buffer(metrics);
    int result = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_unloan(metrics);
    result &= ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_finalize(metrics);
    if (buffer != nullptr)
        result &= REDAInlineMemBuffer_release(buffer);
    return result & REDAInlineMemBuffer_release(metrics);
}

bool mapMetrics(const Arena& arena, const ORX_Monitoring_MetricGroupInfo* groups, const MetricSeq& source,
    MetricSeq& target) {
    const DDS_Long length = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_length(&source);
    for (DDS_Long i = 0; i < length; ++i) {
        const Metric* from = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_reference(&source, i);
        Metric* to = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_reference(&target, i);
        to->index = from->index;
        if (from->metricGroupMemory == nullptr)
            continue; // could not be fetched
        to->metricGroupMemory = mapGroup(arena, groups, from->index, from->metricGroupMemory);
        if (to->metricGroupMemory == nullptr)
            return false;
    }
    return true;
}

MetricSeq* mapSnapshot(
    const Arena& arena, const ORX_Monitoring_MetricGroupInfo* groups, const MetricSeq& source) {
    void* memory =
        arena.reserve(sizeof(MetricSeq), "struct ORX_MonitoringEventTaskExecutorSnapshotMetricSeq");
    if (memory == nullptr)
        return nullptr;
    auto* metrics = new (memory) MetricSeq{};
    const DDS_Long length = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_length(&source);
    void* elements = ORX_MonitoringEventTaskExecutorSnapshotMetric_newArray(
        arena.memoryManager, arena.concurrencyIndex, length);
    if (elements == nullptr) {
        (void)REDAInlineMemBuffer_release(metrics);
        return nullptr;
    }
    if (!ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_initialize(metrics) ||
        !ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_loan_contiguous(
            metrics, static_cast<Metric*>(elements), length, length)) {
        (void)REDAInlineMemBuffer_release(elements);
        (void)REDAInlineMemBuffer_release(metrics);
        return ORX_ERROR(FAILED_TO_LOAN, "ORX_MonitoringEventTaskExecutorSnapshotMetric array\n");
    }
    if (!mapMetrics(arena, groups, source, *metrics)) {
        (void)deleteSnapshot(metrics, groups);
        return nullptr;
    }
    return metrics;
}

} // namespace

DDS_SEQUENCE_DEFINE(ORX_MonitoringEventTaskExecutorSnapshotMetricSeq,
    ORX_MonitoringEventTaskExecutorSnapshotMetric, &metricElement)

ORX_MonitoringEventTaskExecutorSnapshotMetric* ORX_MonitoringEventTaskExecutorSnapshotMetric_newArray(
    struct REDAInlineMemory** memoryManager, ORX_UINT32 concurrencyIndex, DDS_Long length) {
    const auto size = static_cast<uint64_t>(length) * sizeof(Metric);
    if (size > INT32_MAX) {
        return ORX_ERROR(FAILED_TO_ALLOCATE,
            "'ORX_MonitoringEventTaskExecutorSnapshotMetric array' with size %u, in the memory manager with "
            "index %u. The size exceeds the maximum size.\n",
            static_cast<unsigned>(size), concurrencyIndex);
    }
    const Arena arena{memoryManager, concurrencyIndex};
    void* buffer = arena.reserve(size, "ORX_MonitoringEventTaskExecutorSnapshotMetric array");
    if (buffer != nullptr)
        std::memset(buffer, 0, size);
    return static_cast<Metric*>(buffer);
}

ORX_MonitoringEventTask* ORX_MonitoringEventTask_new(struct REDAInlineMemory** memoryManager,
    ORX_UINT32 concurrencyIndex, const DDS_Octet resourceGuid[16], ORX_UINT32 metricGroupIndex,
    DDS_UnsignedLong resourceClassIdForMetricGroupInfo, const void* applicationMetricGroup,
    ORX_MonitoringEventTaskKind kind) {
    const ORX_Monitoring_MetricGroupInfo* groups =
        ORX_Monitoring_getMetricGroupInfo(resourceClassIdForMetricGroupInfo);
    if (groups == nullptr) {
        return ORX_ERROR(FAILED_TO_GET, "Metric group info of classId %u", resourceClassIdForMetricGroupInfo);
    }
    // Beyond the event groups stand those of another sample type.
    const bool isSnapshot = kind == ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT;
    ORX_FAIL_IF(!isSnapshot &&
                metricGroupIndex >=
                    ORX_Monitoring_getResourceInfo(resourceClassIdForMetricGroupInfo)->eventMetricGroupCount);
    Task* self = ORX_MonitoringEventTask_newAround(memoryManager, concurrencyIndex, resourceGuid,
        metricGroupIndex, resourceClassIdForMetricGroupInfo, nullptr, kind);
    if (self == nullptr)
        return nullptr;
    const Arena arena{memoryManager, concurrencyIndex};
    self->distributionMetricGroupMemory =
        isSnapshot ? mapSnapshot(arena, groups, *static_cast<const MetricSeq*>(applicationMetricGroup))
                   : mapGroup(arena, groups, metricGroupIndex, applicationMetricGroup);
    if (self->distributionMetricGroupMemory == nullptr) {
        (void)REDAInlineMemBuffer_release(self);
        return nullptr;
    }
    return self;
}

ORX_MonitoringEventTask* ORX_MonitoringEventTask_newAround(struct REDAInlineMemory** memoryManager,
    ORX_UINT32 concurrencyIndex, const DDS_Octet resourceGuid[16], ORX_UINT32 metricGroupIndex,
    DDS_UnsignedLong resourceClassIdForMetricGroupInfo, void* distributionMetricGroup,
    ORX_MonitoringEventTaskKind kind) {
    const Arena arena{memoryManager, concurrencyIndex};
    void* buffer = arena.reserve(sizeof(Task), "struct ORX_MonitoringEventTask");
    if (buffer == nullptr)
        return nullptr;
    auto* self = new (buffer) Task{};
    std::memcpy(self->resourceGuid, resourceGuid, sizeof self->resourceGuid);
    self->metricGroupIndex = metricGroupIndex;
    self->resourceClassIdForMetricGroupInfo = resourceClassIdForMetricGroupInfo;
    self->kind = kind;
    self->distributionMetricGroupMemory = distributionMetricGroup;
    return self;
}

int ORX_MonitoringEventTask_delete(ORX_MonitoringEventTask* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    const ORX_Monitoring_MetricGroupInfo* groups =
        ORX_Monitoring_getMetricGroupInfo(self->resourceClassIdForMetricGroupInfo);
    if (groups == nullptr) {
        return ORX_ERROR(
            FAILED_TO_GET, "Metric group info of classId %u", self->resourceClassIdForMetricGroupInfo);
    }
    int result = 1;
    if (self->distributionMetricGroupMemory == nullptr) {
        // Freed before.
    } else if (self->kind == ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT) {
        result = deleteSnapshot(static_cast<MetricSeq*>(self->distributionMetricGroupMemory), groups);
    } else {
        groups[self->metricGroupIndex].deleteDistMetricGroupFunction(self->distributionMetricGroupMemory);
    }
    return result & REDAInlineMemBuffer_release(self);
}

const char* ORX_MonitoringEventTaskKind_toString(ORX_MonitoringEventTaskKind kind) {
    switch (kind) {
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION:
        return "ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION";
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL:
        return "ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL";
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT:
        return "ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT";
    case ORX_MONITORING_EVENT_TASK_KIND_METRIC:
        return "ORX_MONITORING_EVENT_TASK_KIND_METRIC";
    case ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT:
        return "ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT";
    case ORX_MONITORING_EVENT_TASK_KIND_NONE:
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CHANGE:
        break;
    }
    return "ORX_MONITORING_EVENT_TASK_KIND_NONE";
}
