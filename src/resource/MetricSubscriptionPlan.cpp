#include "src/resource/MetricSubscriptionPlan.hpp"

#include <cstring>
#include <new>

#include "src/log/Log.hpp"
#include "src/resource/IndexSequence.h"
#include "src/resource/MetricSubscription.h"
#include "src/resource/MetricSubscriptionSelect.hpp"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;
using namespace orx::resource;

bool hasNull(const DDS_StringSeq& texts) {
    const DDS_Long count = DDS_StringSeq_get_length(&texts);
    for (DDS_Long i = 0; i < count; ++i)
        if (DDS_StringSeq_get(&texts, i) == nullptr)
            return true;
    return false;
}

const DDS_MonitoringMetricSelection& selectionOf(const REDAInlineListNode* node) {
    return reinterpret_cast<const ORX_MonitoringMetricSelectionNode*>(node)->metricSelection;
}

} // namespace

SelectionPlan::SelectionPlan(const REDAInlineList& selections) : list_(selections) {
    const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    if (globals != nullptr && globals->monitoringClass != nullptr)
        root_ = globals->monitoringClass->rootResource;
    if (root_ != nullptr && !prepare()) {
        ORXOsapiHeap_freeArray(selections_);
        selections_ = nullptr;
    }
}

SelectionPlan::~SelectionPlan() {
    for (unsigned i = 0; i < classCount_; ++i) {
        ORXOsapiHeap_freeArray(classes_[i].answers);
        ORXOsapiHeap_freeArray(classes_[i].memory.matches);
    }
    ORXOsapiHeap_freeArray(classes_);
    ORXOsapiHeap_freeArray(matches_);
    ORXOsapiHeap_freeArray(selections_);
}

bool SelectionPlan::prepare() {
    const int size = REDAInlineList_getSize(&list_);
    if (size < 1 || !ORX_MonitoringResource_getOpaqueResourceAccessor(&accessor_) ||
        !ORXOsapiHeap_allocateArray(&selections_, static_cast<size_t>(size), const Selection*) ||
        !ORXOsapiHeap_allocateArray(&matches_, static_cast<size_t>(size), ORX_UINT32) ||
        !ORXOsapiHeap_allocateArray(&classes_, size_t{maximumClasses}, Class))
        return false;
    for (const REDAInlineListNode* node = REDAInlineList_getFirst(&list_); node != nullptr;
         node = REDAInlineListNode_getNext(node)) {
        const Selection& selection = selectionOf(node);
        if (hasNull(selection.enabled_metrics_selection) || hasNull(selection.disabled_metrics_selection))
            return false;
        selections_[count_++] = &selection;
    }
    const auto textAt = [](const void* texts, ORX_UINT32 index) -> const char* {
        return static_cast<const Selection* const*>(texts)[index]->resource_selection;
    };
    return expressions_.prepare(
        count_, textAt, selections_, accessor_, reinterpret_cast<const ORX_MonitoringOpaqueResource*>(root_));
}

SelectionPlan::Class* SelectionPlan::classOf(
    DDS_UnsignedLong id, const ORX_Monitoring_MetricInfo* table, DDS_UnsignedLong metricCount) {
    for (unsigned i = 0; i < classCount_; ++i)
        if (classes_[i].id == id)
            return &classes_[i];
    Answer* answers = nullptr;
    ORX_UINT32* matches = nullptr;
    if (classCount_ == maximumClasses || !ORXOsapiHeap_allocateArray(&answers, size_t{count_}, Answer))
        return nullptr;
    if (!ORXOsapiHeap_allocateArray(&matches, size_t{count_}, ORX_UINT32)) {
        ORXOsapiHeap_freeArray(answers);
        return nullptr;
    }
    return new (&classes_[classCount_++])
        Class{.id = id, .names = {table, metricCount}, .answers = answers, .memory = {.matches = matches}};
}

const SelectionPlan::Answer& SelectionPlan::answerOf(Class& metrics, ORX_UINT32 selection) {
    Answer& answer = metrics.answers[selection];
    if (!answer.isKnown) {
        answer.enabled = metrics.names.named(selections_[selection]->enabled_metrics_selection);
        answer.disabled = metrics.names.named(selections_[selection]->disabled_metrics_selection);
        answer.isKnown = true;
    }
    return answer;
}

void SelectionPlan::Metrics::take(const DDS_UnsignedLongSeq& sequence) {
    length = static_cast<ORX_UINT32>(DDS_UnsignedLongSeq_get_length(&sequence));
    for (ORX_UINT32 i = 0; i < length; ++i)
        rows[i] = static_cast<ORX_UINT8>(DDS_UnsignedLongSeq_get(&sequence, static_cast<DDS_Long>(i)));
}

bool SelectionPlan::Metrics::give(DDS_UnsignedLongSeq& sequence) const {
    const auto count = static_cast<DDS_Long>(length);
    if (!DDS_UnsignedLongSeq_ensure_length(&sequence, count, count))
        return false;
    for (DDS_Long i = 0; i < count; ++i)
        *DDS_UnsignedLongSeq_get_reference(&sequence, i) = rows[i];
    return true;
}

bool SelectionPlan::Metrics::operator==(const Metrics& other) const {
    return length == other.length && std::memcmp(rows, other.rows, length) == 0;
}

bool SelectionPlan::applyMatches(Selector& selector, Class& metrics, ORX_UINT32 matchCount) {
    for (ORX_UINT32 i = 0; i < matchCount; ++i) {
        const Answer& answer = answerOf(metrics, matches_[i]);
        if (!selector.enable(answer.enabled) || !selector.disable(answer.disabled))
            return false;
    }
    return true;
}

// The lines that each selection has, pass by pass, wherever its metrics come from.
void SelectionPlan::reportUnsupported(Selector& selector, ORX_UINT32 matchCount) const {
    for (ORX_UINT32 i = 0; i < matchCount; ++i) {
        const Selection& selection = *selections_[matches_[i]];
        if (DDS_StringSeq_get_length(&selection.enabled_metrics_selection) > 0)
            selector.reportUnsupported(Selector::Pass::enable);
        if (DDS_StringSeq_get_length(&selection.disabled_metrics_selection) > 0)
            selector.reportUnsupported(Selector::Pass::disable);
    }
}

bool SelectionPlan::applyTo(ORX_MonitoringResource& self, Class& metrics, path::Branch& branch) {
    using Matches = path::ExpressionSet::Matches;
    Selector selector(self, ORX_Monitoring_getMetricInfo(metrics.id),
        ORX_Monitoring_getResourceInfo(metrics.id)->metricCount);
    Matches all(expressions_, reinterpret_cast<const ORX_MonitoringOpaqueResource*>(&self), branch);
    ORX_UINT32 found = 0;
    ORX_INT32 index = all.next();
    for (; index >= 0; index = all.next())
        matches_[found++] = static_cast<ORX_UINT32>(index);
    if (orx::log::isEnabled(ORX_LOG_BIT_STATUS, orxLogSubmodule))
        reportUnsupported(selector, found);
    if (index == Matches::failed)
        return applyMatches(selector, metrics, found) && reportUnprocessedExpression();

    Memory& memory = metrics.memory;
    Metrics before;
    before.take(self.monitoredMetricInfoIndex);
    const MetricSet supported = selector.supported();
    if (memory.isSet && memory.matchCount == found && memory.supported == supported &&
        memory.before == before && std::memcmp(memory.matches, matches_, found * sizeof *matches_) == 0 &&
        memory.after.give(self.monitoredMetricInfoIndex))
        return true;
    if (!applyMatches(selector, metrics, found))
        return false;
    std::memcpy(memory.matches, matches_, found * sizeof *matches_);
    memory.matchCount = found;
    memory.supported = supported;
    memory.before = before;
    memory.after.take(self.monitoredMetricInfoIndex);
    memory.isSet = true;
    return true;
}

bool SelectionPlan::compute(ORX_MonitoringResource& self) {
    const ORX_Monitoring_MetricInfo* table = ORX_Monitoring_getMetricInfo(self.base.class_id);
    const ORX_Monitoring_ResourceInfo* info = ORX_Monitoring_getResourceInfo(self.base.class_id);
    if (selections_ != nullptr && expressions_.isPrepared() && table != nullptr && info != nullptr &&
        info->metricCount <= ORX_MONITORING_RESOURCE_MAX_METRICS) {
        path::Branch branch(reinterpret_cast<const ORX_MonitoringOpaqueResource*>(&self),
            reinterpret_cast<const ORX_MonitoringOpaqueResource*>(root_), accessor_);
        Class* metrics =
            branch.isComplete() ? classOf(self.base.class_id, table, info->metricCount) : nullptr;
        if (metrics != nullptr)
            return applyTo(self, *metrics, branch);
    }
    return ORX_MonitoringResource_computeMetricInfoIndexList(&self, &list_) != 0;
}
