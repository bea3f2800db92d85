/* Metric selections in a list, in order of application, oldest first.
 *
 * Ownership: nodes come from a pool, whose owner is told with each type of list; a node keeps its selection's
 * memory when it goes back, so that the next copy into it can use the node again. Threads: callers serialize
 * the list and the pool. */
#ifndef ORX_MONITORING_METRIC_SELECTION_LIST_H
#define ORX_MONITORING_METRIC_SELECTION_LIST_H

#include "orxmonitoring2d/export.h"
#include "zddsc/monitoring_property.h"
#include "zddscore/fast_buffer_pool.h"
#include "zddscore/inline_list.h"

ZDDS_BEGIN_C

struct ORX_MonitoringMetricSelectionNode {
    struct REDAInlineListNode inlineListNode; /* first: a node of the list is the selection node */
    struct DDS_MonitoringMetricSelection metricSelection;
};
typedef struct ORX_MonitoringMetricSelectionNode ORX_MonitoringMetricSelectionNode;

/* Copies the selections into nodes of the pool, behind each other, on a list that must be empty. On failure
 * the list is empty again; the node whose own copy failed stays out of the pool until the pool ends. */
ORX_EXPORT int ORX_Monitoring_metricSelectionSeqToList(DDS_MonitoringMetricSelectionSeq* metricSelectionSeq,
    REDAInlineList* metricSelectionList, REDAFastBufferPool* bufferPool);
/* Gives every node back to the pool. */
ORX_EXPORT void ORX_Monitoring_clearMetricSelectionList(
    REDAInlineList* metricSelectionList, REDAFastBufferPool* bufferPool);

ZDDS_END_C

#endif
