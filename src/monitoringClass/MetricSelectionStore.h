/* The selections that also apply to resources which do not exist yet.
 *
 * The same nodes stand in a list, in order of application, and in an index by content, which finds
 * repetitions and all selections of one expression. A node is in the list exactly when it is in the index,
 * and no two are equal. Threads: create, before anybody sees the object; then the command thread, under the
 * library lock. Ownership: nodes belong to the object's metricSelectionPool. Errors: 0, null or -1, and a
 * line of the log. */
#ifndef ORX_METRIC_SELECTION_STORE_H
#define ORX_METRIC_SELECTION_STORE_H

#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/utils/MetricSelectionList.h"

ZDDS_BEGIN_C

/* For the pool: once when it makes a buffer, and once when it destroys it. */
int ORX_MonitoringMetricSelectionNode_initialize(void* node, void* param);
void ORX_MonitoringMetricSelectionNode_finalize(void* node, void* param);
/* Order of the index: expression, then the two counts of patterns, then the patterns. So all nodes of one
 * expression are neighbours, and a key without patterns stands before them. */
int ORX_MonitoringMetricSelectionNode_compare(const void* left, const void* right);

/* The only entry for commands. persistList holds nodes of the pool and is empty afterwards, whatever happens.
 * With isUpdate false the list is a new beginning for every expression in it. 1: stored, 0: nothing to store,
 * -1: error; the store may then hold a part, but nothing of a list that is too much for it (see
 * MetricSelectionBound.hpp). */
ORX_INT32 ORX_Monitoring_persistMetricSelection(
    ORX_MonitoringClassImpl* self, REDAInlineList* persistList, DDS_Boolean isUpdate);
/* Whether a selection can apply to later resources: its expression ends in no GUID, concerns this
 * application, and its GUIDs still address something. */
int ORX_Monitoring_shouldPersistMetricSelection(
    ORX_MonitoringClassImpl* self, const DDS_MonitoringMetricSelection* metricSelection);
/* Drops from the list what should not persist. */
int ORX_Monitoring_populatePersistMetricSelection(
    ORX_MonitoringClassImpl* self, REDAInlineList* metricSelectionList);
/* Puts a selection that disables all ahead of the list for each selection in it, unless the store is empty.
 */
int ORX_Monitoring_addSetMetricSelectionDisable(ORX_MonitoringClassImpl* self, REDAInlineList* persistList);
/* Merges the list into the store. A selection that disables all first forgets what the store has for its
 * expression; for the expression of every resource, that is everything. On failure the rest stays on
 * persistList. */
int ORX_Monitoring_updateMetricSelectionListAndIndex(
    ORX_MonitoringClassImpl* self, REDAInlineList* persistList);
/* Makes *node the newest of the store; one with the same content takes its place, and *node goes back to the
 * pool. */
int ORX_Monitoring_assertMetricSelectionNode(
    ORX_MonitoringClassImpl* self, ORX_MonitoringMetricSelectionNode** node);
/* First index node of the expression, or null. */
const struct REDASkiplistNode* ORX_Monitoring_getFirstNodeForResourceSelection(
    ORX_MonitoringClassImpl* self, const char* resourceSelection);
/* Out of index and list, back to the pool: one, all of an expression, all. */
void ORX_Monitoring_removeMetricSelectionNode(
    ORX_MonitoringClassImpl* self, ORX_MonitoringMetricSelectionNode* node);
void ORX_Monitoring_removeMetricSelectionNodeWithResourceSelection(
    ORX_MonitoringClassImpl* self, const char* resourceSelection);
void ORX_Monitoring_removeAllMetricSelectionNodes(ORX_MonitoringClassImpl* self);

ZDDS_END_C

#endif
