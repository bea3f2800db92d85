#include "src/monitoringClass/MetricSelectionBound.hpp"

#include <cstring>

#include "src/monitoringClass/MetricSelectionStore.h"
#include "zddscore/text.h"

namespace {

using Node = ORX_MonitoringMetricSelectionNode;

const Node& toNode(const REDAInlineListNode* node) {
    return *reinterpret_cast<const Node*>(node);
}

std::size_t bytesOf(const DDS_StringSeq& texts) {
    std::size_t bytes = 0;
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&texts); ++i)
        bytes += sizeof(char*) + std::strlen(DDS_StringSeq_get(&texts, i)) + 1;
    return bytes;
}

std::size_t bytesOf(const DDS_MonitoringMetricSelection& selection) {
    return sizeof(Node) + std::strlen(selection.resource_selection) + 1 +
           bytesOf(selection.enabled_metrics_selection) + bytesOf(selection.disabled_metrics_selection);
}

std::size_t patternsOf(const DDS_MonitoringMetricSelection& selection) {
    return static_cast<std::size_t>(DDS_StringSeq_get_length(&selection.enabled_metrics_selection)) +
           static_cast<std::size_t>(DDS_StringSeq_get_length(&selection.disabled_metrics_selection));
}

// Whether one of the list makes the store forget the expression.
bool isReplaced(const char* expression, const REDAInlineList& coming) {
    for (const auto* node = REDAInlineList_getFirst(&coming); node != nullptr;
         node = REDAInlineListNode_getNext(node)) {
        const DDS_MonitoringMetricSelection& selection = toNode(node).metricSelection;
        if (orx::selection::isDisableAll(selection) &&
            (REDAString_compare(selection.resource_selection, orx::selection::allResources) == 0 ||
                REDAString_compare(selection.resource_selection, expression) == 0))
            return true;
    }
    return false;
}

bool isStored(const ORX_MonitoringClassImpl& self, const Node& node) {
    REDASkiplistNode* found = nullptr;
    int preciseMatch = 0;
    return REDASkiplist_findNode(self.metricSelectionIndex, &found, &preciseMatch, &node) &&
           preciseMatch != 0;
}

} // namespace

bool orx::selection::isDisableAll(const DDS_MonitoringMetricSelection& selection) {
    const DDS_StringSeq* disabled = &selection.disabled_metrics_selection;
    return DDS_StringSeq_get_length(disabled) == 1 &&
           REDAString_compare(DDS_StringSeq_get(disabled, 0), "*") == 0;
}

bool orx::selection::fits(const ORX_MonitoringClassImpl& self, const REDAInlineList& coming) {
    if (REDAInlineList_getSize(&coming) > maximumSelections)
        return false; // and not worth the comparisons
    int selections = 0;
    std::size_t bytes = 0;
    std::size_t patterns = 0;
    const auto count = [&](const Node& node) {
        ++selections;
        bytes += bytesOf(node.metricSelection);
        patterns += patternsOf(node.metricSelection);
    };
    for (const auto* node = REDAInlineList_getFirst(&self.currentMetricSelectionList); node != nullptr;
         node = REDAInlineListNode_getNext(node)) {
        if (!isReplaced(toNode(node).metricSelection.resource_selection, coming))
            count(toNode(node));
    }
    for (const auto* node = REDAInlineList_getFirst(&coming); node != nullptr;
         node = REDAInlineListNode_getNext(node)) {
        if (isReplaced(toNode(node).metricSelection.resource_selection, coming) ||
            !isStored(self, toNode(node)))
            count(toNode(node));
    }
    return selections <= maximumSelections && bytes <= maximumBytes && patterns <= maximumPatterns;
}
