#include "src/utils/MetricSelectionList.h"

#include "src/log/Log.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::utils;

bool appendCopy(
    const DDS_MonitoringMetricSelection* selection, REDAInlineList* list, REDAFastBufferPool* pool) {
    auto* node =
        static_cast<ORX_MonitoringMetricSelectionNode*>(REDAFastBufferPool_getBufferWithSize(pool, -1));
    if (node == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "buffer from pool");
    if (!DDS_MonitoringMetricSelection_copy(&node->metricSelection, selection))
        return ORX_ERROR(FAILED_TO_COPY, "metric selection");
    REDAInlineList_addNodeToBackEA(list, &node->inlineListNode);
    return true;
}

} // namespace

int ORX_Monitoring_metricSelectionSeqToList(DDS_MonitoringMetricSelectionSeq* metricSelectionSeq,
    REDAInlineList* metricSelectionList, REDAFastBufferPool* bufferPool) {
    ORX_FAIL_IF(metricSelectionSeq == ORX_NULL);
    ORX_FAIL_IF(metricSelectionList == ORX_NULL);
    ORX_FAIL_IF(bufferPool == ORX_NULL);
    ORX_FAIL_IF((metricSelectionList)->_size > 0);
    const DDS_Long count = DDS_MonitoringMetricSelectionSeq_get_length(metricSelectionSeq);
    for (DDS_Long i = 0; i < count; ++i) {
        if (appendCopy(DDS_MonitoringMetricSelectionSeq_get_reference(metricSelectionSeq, i),
                metricSelectionList, bufferPool))
            continue;
        ORX_Monitoring_clearMetricSelectionList(metricSelectionList, bufferPool);
        return 0;
    }
    return 1;
}

void ORX_Monitoring_clearMetricSelectionList(
    REDAInlineList* metricSelectionList, REDAFastBufferPool* bufferPool) {
    ORX_LEAVE_IF(metricSelectionList == ORX_NULL);
    ORX_LEAVE_IF(bufferPool == ORX_NULL);
    while (REDAInlineListNode* node = REDAInlineList_getFirst(metricSelectionList)) {
        REDAInlineList_removeNodeEA(metricSelectionList, node);
        REDAFastBufferPool_returnBuffer(bufferPool, node);
    }
    REDAInlineList_init(metricSelectionList);
}
