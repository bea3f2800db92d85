#include "src/monitoringClass/MetricSelectionStore.h"

#include "src/log/Log.hpp"
#include "src/monitoringClass/MetricSelectionBound.hpp"
#include "src/resource/MonitoringResource.h"
#include "src/utils/PathMatcher.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;
using Node = ORX_MonitoringMetricSelectionNode;

using orx::selection::allResources;
using orx::selection::isDisableAll;

bool isEqual(const char* left, const char* right) {
    return REDAString_compare(left, right) == 0;
}

Node* toNode(REDAInlineListNode* node) {
    return reinterpret_cast<Node*>(node);
}
Node* toNode(const REDASkiplistNode* node) {
    return static_cast<Node*>(node->userData);
}

// A selection that a sender made long must not stay with its buffer.
void giveBack(ORX_MonitoringClassImpl* self, Node* node) {
    DDS_MonitoringMetricSelection_finalize(&node->metricSelection);
    REDAFastBufferPool_returnBuffer(self->metricSelectionPool, node);
}

int compareLengths(const DDS_StringSeq& left, const DDS_StringSeq& right) {
    const DDS_Long leftLength = DDS_StringSeq_get_length(&left);
    const DDS_Long rightLength = DDS_StringSeq_get_length(&right);
    return leftLength == rightLength ? 0 : leftLength < rightLength ? -1 : 1;
}

// Of the same length.
int compareElements(const DDS_StringSeq& left, const DDS_StringSeq& right) {
    const DDS_Long length = DDS_StringSeq_get_length(&left);
    for (DDS_Long i = 0; i < length; ++i)
        if (const int order = REDAString_compare(DDS_StringSeq_get(&left, i), DDS_StringSeq_get(&right, i)))
            return order;
    return 0;
}

int compareSelections(const DDS_MonitoringMetricSelection& left, const DDS_MonitoringMetricSelection& right) {
    if (const int order = REDAString_compare(left.resource_selection, right.resource_selection))
        return order;
    if (const int order = compareLengths(left.enabled_metrics_selection, right.enabled_metrics_selection))
        return order;
    if (const int order = compareLengths(left.disabled_metrics_selection, right.disabled_metrics_selection))
        return order;
    if (const int order = compareElements(left.enabled_metrics_selection, right.enabled_metrics_selection))
        return order;
    return compareElements(left.disabled_metrics_selection, right.disabled_metrics_selection);
}

// A copy of the selection that disables all, for the expression that it has now, ahead of the list.
bool addDisableNode(ORX_MonitoringClassImpl* self, REDAInlineList* persistList) {
    auto* node = static_cast<Node*>(REDAFastBufferPool_getBufferWithSize(self->metricSelectionPool, -1));
    if (node == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "metricSelectionNode from the pool");
    REDAInlineListNode_init(&node->inlineListNode);
    if (!DDS_MonitoringMetricSelection_copy(&node->metricSelection, &self->disableSelection)) {
        giveBack(self, node);
        return ORX_ERROR(FAILED_TO_COPY, "disable metric selection");
    }
    REDAInlineList_addNodeToFrontEA(persistList, &node->inlineListNode);
    return true;
}

// What is left of a command.
void discard(ORX_MonitoringClassImpl* self, REDAInlineList* persistList) {
    while (REDAInlineListNode* node = REDAInlineList_getFirst(persistList)) {
        REDAInlineList_removeNodeEA(persistList, node);
        giveBack(self, toNode(node));
    }
    REDAInlineList_init(persistList);
}

ORX_INT32 persist(ORX_MonitoringClassImpl* self, REDAInlineList* persistList, DDS_Boolean isUpdate) {
    constexpr ORX_INT32 stored = 1;
    constexpr ORX_INT32 nothingToStore = 0;
    constexpr ORX_INT32 failed = -1;
    if (!ORX_Monitoring_populatePersistMetricSelection(self, persistList)) {
        (void)ORX_ERROR(FAILED_TO_PROCESS, "persistList");
        return failed;
    }
    if (REDAInlineList_getFirst(persistList) == nullptr)
        return nothingToStore;
    if (!isUpdate && !ORX_Monitoring_addSetMetricSelectionDisable(self, persistList)) {
        (void)ORX_ERROR(FAILED_TO_PROCESS, "Metric Selection to persist as a \"set\" command");
        return failed;
    }
    if (!orx::selection::fits(*self, *persistList)) {
        (void)ORX_ERROR(FAILED_TO_ADD,
            "Metric Selection: the store would hold more than %d selections, %zu patterns or %zu bytes",
            orx::selection::maximumSelections, orx::selection::maximumPatterns, orx::selection::maximumBytes);
        return failed;
    }
    if (!ORX_Monitoring_updateMetricSelectionListAndIndex(self, persistList)) {
        (void)ORX_ERROR(FAILED_TO_PROCESS, "Metric Selection expressions to persist");
        return failed;
    }
    return stored;
}

} // namespace

int ORX_MonitoringMetricSelectionNode_initialize(void* node, void* /*param*/) {
    ORX_FAIL_IF(node == ORX_NULL);
    auto* self = static_cast<Node*>(node);
    REDAInlineListNode_init(&self->inlineListNode);
    if (!DDS_MonitoringMetricSelection_initialize(&self->metricSelection))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Metric Selection");
    return 1;
}

void ORX_MonitoringMetricSelectionNode_finalize(void* node, void* /*param*/) {
    ORX_LEAVE_IF(node == ORX_NULL);
    DDS_MonitoringMetricSelection_finalize(&static_cast<Node*>(node)->metricSelection);
}

int ORX_MonitoringMetricSelectionNode_compare(const void* left, const void* right) {
    if (left == nullptr) {
        (void)ORX_PRECONDITION_FAILED("\"left == ((void *)0)\"\n");
        return -1;
    }
    if (right == nullptr) {
        (void)ORX_PRECONDITION_FAILED("\"right == ((void *)0)\"\n");
        return 1;
    }
    return compareSelections(
        static_cast<const Node*>(left)->metricSelection, static_cast<const Node*>(right)->metricSelection);
}

ORX_INT32 ORX_Monitoring_persistMetricSelection(
    ORX_MonitoringClassImpl* self, REDAInlineList* persistList, DDS_Boolean isUpdate) {
    if (self == nullptr || persistList == nullptr) {
        (void)ORX_PRECONDITION_FAILED(
            self == nullptr ? "\"self == ((void *)0)\"\n" : "\"persistList == ((void *)0)\"\n");
        return -1;
    }
    const ORX_INT32 result = persist(self, persistList, isUpdate);
    discard(self, persistList);
    return result;
}

int ORX_Monitoring_shouldPersistMetricSelection(
    ORX_MonitoringClassImpl* self, const DDS_MonitoringMetricSelection* metricSelection) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(metricSelection == ORX_NULL);
    const char* expression = metricSelection->resource_selection;
    if (ORX_Monitoring_isLastTokenGuid(expression))
        return 0;
    ORX_MonitoringOpaqueResourceAccessor accessor;
    if (!ORX_MonitoringResource_getOpaqueResourceAccessor(&accessor))
        return 0;
    const auto* root = reinterpret_cast<const ORX_MonitoringOpaqueResource*>(self->parent.rootResource);
    int isMatching = 0;
    if (!ORX_Monitoring_isMatchingApplicationToPathExpression(&isMatching, expression, &accessor, root))
        return ORX_ERROR(FAILED_TO_PROCESS,
            "resource_selection \"%s\". It was not possible to determine if it matches any existing "
            "application resource",
            expression);
    if (!isMatching)
        return 0;
    if (!ORX_Monitoring_matchAllGuidInExpression(&isMatching, expression, &accessor, root))
        return ORX_ERROR(FAILED_TO_PROCESS,
            "resource_selection \"%s\". It was not possible to determine if there are GUIDs in the "
            "expression that match "
            "existing resources",
            expression);
    return isMatching;
}

int ORX_Monitoring_populatePersistMetricSelection(
    ORX_MonitoringClassImpl* self, REDAInlineList* metricSelectionList) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(metricSelectionList == ORX_NULL);
    REDAInlineListNode* next = nullptr;
    for (REDAInlineListNode* node = REDAInlineList_getFirst(metricSelectionList); node != nullptr;
         node = next) {
        next = REDAInlineListNode_getNext(node);
        if (ORX_Monitoring_shouldPersistMetricSelection(self, &toNode(node)->metricSelection))
            continue;
        REDAInlineList_removeNodeEA(metricSelectionList, node);
        giveBack(self, toNode(node));
    }
    return 1;
}

// S1..Sn becomes D1..Dn S1..Sn. The first D to be added stands right before S1, and so is where the walk back
// ends.
int ORX_Monitoring_addSetMetricSelectionDisable(ORX_MonitoringClassImpl* self, REDAInlineList* persistList) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(persistList == ORX_NULL);
    ORX_FAIL_IF((persistList)->_size == 0);
    if (REDAInlineList_getFirst(&self->currentMetricSelectionList) == nullptr)
        return 1;
    const REDAInlineListNode* firstNode = REDAInlineList_getFirst(persistList);
    REDAInlineListNode* persistNode = REDAInlineList_getLast(persistList);
    bool isDone = true;
    while (isDone && persistNode != REDAInlineListNode_getPrev(firstNode)) {
        self->disableSelection.resource_selection = toNode(persistNode)->metricSelection.resource_selection;
        isDone = addDisableNode(self, persistList);
        persistNode = REDAInlineListNode_getPrev(persistNode);
    }
    self->disableSelection.resource_selection = nullptr; /* it was borrowed */
    return isDone;
}

int ORX_Monitoring_updateMetricSelectionListAndIndex(
    ORX_MonitoringClassImpl* self, REDAInlineList* persistList) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(persistList == ORX_NULL);
    while (REDAInlineListNode* listNode = REDAInlineList_getFirst(persistList)) {
        Node* node = toNode(listNode);
        if (isDisableAll(node->metricSelection)) {
            const char* expression = node->metricSelection.resource_selection;
            if (isEqual(expression, allResources))
                ORX_Monitoring_removeAllMetricSelectionNodes(self);
            else
                ORX_Monitoring_removeMetricSelectionNodeWithResourceSelection(self, expression);
        }
        REDAInlineList_removeNodeEA(persistList, listNode);
        if (!ORX_Monitoring_assertMetricSelectionNode(self, &node))
            return ORX_ERROR(FAILED_TO_ADD, "Metric Selection");
    }
    // One that disables all at the head has nothing before it to disable. Behind others it stays: expressions
    // overlap.
    while (REDAInlineListNode* first = REDAInlineList_getFirst(&self->currentMetricSelectionList)) {
        if (!isDisableAll(toNode(first)->metricSelection))
            break;
        ORX_Monitoring_removeMetricSelectionNode(self, toNode(first));
        if (REDAInlineList_getFirst(&self->currentMetricSelectionList) == first)
            break; /* reported */
    }
    return 1;
}

int ORX_Monitoring_assertMetricSelectionNode(
    ORX_MonitoringClassImpl* self, ORX_MonitoringMetricSelectionNode** node) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(node == ORX_NULL);
    ORX_FAIL_IF(*node == ORX_NULL);
    int alreadyExists = 0;
    const REDASkiplistNode* indexNode =
        REDASkiplist_assertNodeEA(self->metricSelectionIndex, &alreadyExists, *node, 0, 0);
    if (indexNode == nullptr) {
        giveBack(self, *node);
        return ORX_ERROR(FAILED_TO_ASSERT, "metricSelectionNode to the index");
    }
    if (alreadyExists) {
        giveBack(self, *node);
        *node = toNode(indexNode);
        REDAInlineList_removeNodeEA(&self->currentMetricSelectionList, &(*node)->inlineListNode);
    }
    REDAInlineList_addNodeToBackEA(&self->currentMetricSelectionList, &(*node)->inlineListNode);
    return 1;
}

const REDASkiplistNode* ORX_Monitoring_getFirstNodeForResourceSelection(
    ORX_MonitoringClassImpl* self, const char* resourceSelection) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resourceSelection == ORX_NULL);
    Node key = {}; /* without patterns, so before all nodes of the expression; the text is borrowed */
    key.metricSelection.resource_selection = const_cast<char*>(resourceSelection);
    REDASkiplistNode* found = nullptr;
    if (!REDASkiplist_findNode(self->metricSelectionIndex, &found, nullptr, &key))
        return nullptr;
    return isEqual(toNode(found)->metricSelection.resource_selection, resourceSelection) ? found : nullptr;
}

void ORX_Monitoring_removeMetricSelectionNode(
    ORX_MonitoringClassImpl* self, ORX_MonitoringMetricSelectionNode* node) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(node == ORX_NULL);
    REDASkiplistNode* removedNode = REDASkiplist_removeNodeEA(self->metricSelectionIndex, node);
    ORX_LEAVE_IF(removedNode == ORX_NULL);
    REDASkiplist_deleteNode(self->metricSelectionIndex, removedNode);
    REDAInlineList_removeNodeEA(&self->currentMetricSelectionList, &node->inlineListNode);
    giveBack(self, node);
}

void ORX_Monitoring_removeMetricSelectionNodeWithResourceSelection(
    ORX_MonitoringClassImpl* self, const char* resourceSelection) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(resourceSelection == ORX_NULL);
    auto* iterator = const_cast<REDASkiplistNode*>(
        ORX_Monitoring_getFirstNodeForResourceSelection(self, resourceSelection));
    bool hasNode = iterator != nullptr;
    while (hasNode) {
        Node* node = toNode(iterator);
        hasNode =
            REDASkiplist_gotoNextNode(self->metricSelectionIndex, &iterator) != 0; /* before the node goes */
        if (!isEqual(node->metricSelection.resource_selection, resourceSelection))
            break;
        ORX_Monitoring_removeMetricSelectionNode(self, node);
    }
}

void ORX_Monitoring_removeAllMetricSelectionNodes(ORX_MonitoringClassImpl* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    REDASkiplist_clearEA(self->metricSelectionIndex);
    while (REDAInlineListNode* node = REDAInlineList_getFirst(&self->currentMetricSelectionList)) {
        REDAInlineList_removeNodeEA(&self->currentMetricSelectionList, node);
        giveBack(self, toNode(node));
    }
}
