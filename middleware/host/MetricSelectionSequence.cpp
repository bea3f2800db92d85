#include "zddsc/monitoring_property.h"
#include "zddsc/sequence_define.h"

namespace {

DDS_MonitoringMetricSelection* asSelection(void* element) {
    return static_cast<DDS_MonitoringMetricSelection*>(element);
}

// Selections live on the heap: an arena is refused.
DDS_Boolean initializeSelection(
    void* element, const DDS_TypeAllocationParams_t*, REDAInlineMemory** memoryManager) {
    return memoryManager == nullptr && DDS_MonitoringMetricSelection_initialize(asSelection(element));
}

void finalizeSelection(void* element, const DDS_TypeDeallocationParams_t*, DDS_Boolean) {
    DDS_MonitoringMetricSelection_finalize(asSelection(element));
}

DDS_Boolean copySelection(void* destination, const void* source, REDAInlineMemory** memoryManager) {
    return memoryManager == nullptr && DDS_MonitoringMetricSelection_copy(asSelection(destination),
                                           static_cast<const DDS_MonitoringMetricSelection*>(source));
}

constexpr DDS_SequenceElement selectionElement = DDS_SEQUENCE_ELEMENT_WITH(
    DDS_MonitoringMetricSelection, initializeSelection, finalizeSelection, copySelection);

} // namespace

DDS_SEQUENCE_DEFINE(DDS_MonitoringMetricSelectionSeq, DDS_MonitoringMetricSelection, &selectionElement)
