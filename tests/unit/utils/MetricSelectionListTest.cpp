#include "src/utils/MetricSelectionList.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"

namespace {

int initializeNode(void* buffer, void*) {
    auto* node = static_cast<ORX_MonitoringMetricSelectionNode*>(buffer);
    REDAInlineListNode_init(&node->inlineListNode);
    return DDS_MonitoringMetricSelection_initialize(&node->metricSelection);
}
void finalizeNode(void* buffer, void*) {
    DDS_MonitoringMetricSelection_finalize(
        &static_cast<ORX_MonitoringMetricSelectionNode*>(buffer)->metricSelection);
}

class MetricSelectionList : public testing::Test {
protected:
    MetricSelectionList() {
        REDAInlineList_init(&list);
        constexpr REDAFastBufferPoolProperty property = {{2, -1, -1}, 0, 0, 0, 0};
        pool = REDAFastBufferPool_newWithParams(sizeof(ORX_MonitoringMetricSelectionNode), 8, initializeNode,
            nullptr, finalizeNode, nullptr, &property, "struct ORX_MonitoringMetricSelectionNode", 0);
    }
    ~MetricSelectionList() override {
        REDAFastBufferPool_delete(pool);
        DDS_MonitoringMetricSelectionSeq_finalize(&selections);
    }
    void add(const char* expression, const char* enabled) {
        const DDS_Long length = DDS_MonitoringMetricSelectionSeq_get_length(&selections);
        ASSERT_TRUE(DDS_MonitoringMetricSelectionSeq_ensure_length(&selections, length + 1, length + 1));
        auto* selection = DDS_MonitoringMetricSelectionSeq_get_reference(&selections, length);
        DDS_String_replace(&selection->resource_selection, expression);
        ASSERT_TRUE(DDS_StringSeq_ensure_length(&selection->enabled_metrics_selection, 1, 1));
        DDS_String_replace(DDS_StringSeq_get_reference(&selection->enabled_metrics_selection, 0), enabled);
    }
    std::vector<std::string> expressions() const {
        std::vector<std::string> all;
        for (auto* node = REDAInlineList_getFirst(&list); node != nullptr;
             node = REDAInlineListNode_getNext(node)) {
            const auto& selection =
                reinterpret_cast<ORX_MonitoringMetricSelectionNode*>(node)->metricSelection;
            all.push_back(std::string(selection.resource_selection) + " " +
                          DDS_StringSeq_get(&selection.enabled_metrics_selection, 0));
        }
        return all;
    }
    int inUse() const {
        REDAFastBufferPoolInfo info{};
        REDAFastBufferPool_getInfo(pool, &info);
        return info.bufferInUse;
    }

    REDAInlineList list;
    REDAFastBufferPool* pool = nullptr;
    DDS_MonitoringMetricSelectionSeq selections{};
};

} // namespace

TEST_F(MetricSelectionList, KeepsTheOrderOfTheSequence) {
    for (const char* expression : {"//a", "//b", "//a"})
        add(expression, "*");
    ASSERT_EQ(ORX_Monitoring_metricSelectionSeqToList(&selections, &list, pool), 1);
    EXPECT_EQ(expressions(), (std::vector<std::string>{"//a *", "//b *", "//a *"}));
    EXPECT_EQ(inUse(), 3);
    ORX_Monitoring_clearMetricSelectionList(&list, pool);
    EXPECT_EQ(REDAInlineList_getSize(&list), 0);
    EXPECT_EQ(inUse(), 0);
}

TEST_F(MetricSelectionList, OfNothingIsEmpty) {
    EXPECT_EQ(ORX_Monitoring_metricSelectionSeqToList(&selections, &list, pool), 1);
    EXPECT_EQ(REDAInlineList_getSize(&list), 0);
}

TEST_F(MetricSelectionList, UsesReturnedNodesAgain) {
    add("//first", "a*");
    ASSERT_EQ(ORX_Monitoring_metricSelectionSeqToList(&selections, &list, pool), 1);
    ORX_Monitoring_clearMetricSelectionList(&list, pool);
    DDS_MonitoringMetricSelectionSeq_set_length(&selections, 0);
    add("//second", "b*");
    ASSERT_EQ(ORX_Monitoring_metricSelectionSeqToList(&selections, &list, pool), 1);
    EXPECT_EQ(expressions(), std::vector<std::string>{"//second b*"});
    ORX_Monitoring_clearMetricSelectionList(&list, pool);
}

TEST_F(MetricSelectionList, MustBeEmptyBefore) {
    LogCapture log;
    add("//a", "*");
    ASSERT_EQ(ORX_Monitoring_metricSelectionSeqToList(&selections, &list, pool), 1);
    EXPECT_EQ(ORX_Monitoring_metricSelectionSeqToList(&selections, &list, pool), 0);
    EXPECT_TRUE(log.has("\"(metricSelectionList)->_size > 0\"\n", "PRECONDITION"));
    EXPECT_EQ(REDAInlineList_getSize(&list), 1);
    ORX_Monitoring_clearMetricSelectionList(&list, pool);
}

TEST_F(MetricSelectionList, IsEmptyAfterAFailure) {
    for (const char* expression : {"//a", "//b", "//c", "//d", "//e"})
        add(expression, "*");
    bool isDone = false;
    int outside = 0;
    for (uint64_t n = 1; !isDone && n < 100; ++n) {
        FailingHeap heap;
        LogCapture log;
        heap.failAt(n);
        isDone = ORX_Monitoring_metricSelectionSeqToList(&selections, &list, pool) != 0;
        EXPECT_EQ(isDone, !heap.hasFailed());
        if (isDone)
            break;
        EXPECT_EQ(REDAInlineList_getSize(&list), 0);
        // A node whose copy failed stays out of the pool until the pool's end; one that was never got does
        // not.
        outside += log.has("metric selection", "FAILED_TO_COPY") ? 1 : 0;
        EXPECT_TRUE(
            log.has("metric selection", "FAILED_TO_COPY") || log.has("buffer from pool", "FAILED_TO_GET"));
        EXPECT_EQ(inUse(), outside);
    }
    EXPECT_TRUE(isDone);
    ORX_Monitoring_clearMetricSelectionList(&list, pool);
}
