#include "src/resource/MetricSubscription.h"

#include <future>
#include <thread>

#include "orxmonitoring2d/data_model.h"
#include "src/resource/MetricSubscriptionSelect.hpp"
#include "src/resource/ResourcePin.h"
#include "tests/helpers/Wait.hpp"
#include "tests/unit/resource/ResourceFixture.hpp"
#include "zddsc/entities.h"

namespace {

using Indexes = std::vector<DDS_UnsignedLong>;

class MetricSubscription : public ResourceFixture {
protected:
    MetricSubscription() : posted(*root) {}

    ORX_MonitoringResource* addWriter(const char* name = "w") {
        return add(root, ORX_MONITORING_DATA_WRITER_CLASS_ID, name, nullptr);
    }
    static Names selected(const ORX_MonitoringResource& resource) {
        Names names;
        for (DDS_UnsignedLong index : toVector(resource.monitoredMetricInfoIndex))
            names.emplace_back(ORX_Monitoring_getMetricInfo(resource.base.class_id)[index].name);
        return names;
    }
    // What must hold of every resource whose selection is in force.
    static void expectConsistent(const ORX_MonitoringResource& resource) {
        const auto* table = ORX_Monitoring_getMetricInfo(resource.base.class_id);
        const Indexes metrics = toVector(resource.monitoredMetricInfoIndex);
        const Indexes ids = toVector(resource.base.metric_ids);
        Indexes periodic;
        Indexes event;
        ASSERT_EQ(ids.size(), metrics.size());
        for (size_t i = 0; i < metrics.size(); ++i) {
            const auto& metric = table[metrics[i]];
            EXPECT_EQ(ids[i], metric.metricId);
            Indexes& groups =
                metric.distributionKind == DDS_OBSERVABLE_PERIODIC_DISTRIBUTION_KIND ? periodic : event;
            if (std::find(groups.begin(), groups.end(), metric.metricGroupIndex) == groups.end())
                groups.push_back(metric.metricGroupIndex);
        }
        for (DDS_UnsignedLong label : labelsOf(resource.base.class_id))
            if (std::find(event.begin(), event.end(), label) == event.end())
                event.push_back(label);
        EXPECT_EQ(toVector(resource.monitoredPeriodicMetricGroupIndex), periodic);
        EXPECT_EQ(toVector(resource.monitoredEventMetricGroupIndex), event);
    }
    static Indexes labelsOf(DDS_UnsignedLong classId) {
        ORX_MonitoringResource plain{};
        plain.base.class_id = classId;
        ORX_MonitoringResource_registerLabelMetrics(&plain);
        const Indexes labels = toVector(plain.monitoredEventMetricGroupIndex);
        DDS_UnsignedLongSeq_finalize(&plain.monitoredEventMetricGroupIndex);
        return labels;
    }
    // A command on a live application resource, which needs no entity.
    int command(ORX_MonitoringResource* resource, const SelectionList& list, bool isUpdate) {
        return ORX_MonitoringResource_modifyMetricSelection(
            resource, posted.executor, &list.list, root, isUpdate);
    }
    size_t changes() const { return posted.count(ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CHANGE); }

    PostedEvents posted;
};

constexpr char missed[] = "dds_data_writer_deadline_missed_total";

} // namespace

TEST_F(MetricSubscription, WithoutSelectionsOnlyLabelsArePublished) {
    auto* writer = addWriter();
    EXPECT_EQ(selected(*writer), Names{});
    EXPECT_EQ(toVector(writer->monitoredPeriodicMetricGroupIndex), Indexes{});
    EXPECT_EQ(toVector(writer->monitoredEventMetricGroupIndex), (Indexes{0, 7, 8}));
    EXPECT_EQ(toVector(writer->base.metric_ids), Indexes{});
}

TEST_F(MetricSubscription, AllMeansEveryMetricOfTheClass) {
    selections.add("//data_writers/*", {"*"});
    auto* writer = addWriter();
    EXPECT_EQ(selected(*writer).size(), 59u);
    EXPECT_EQ(toVector(writer->monitoredPeriodicMetricGroupIndex).size(), 3u);
    expectConsistent(*writer);
    expectConsistent(*add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T"));
}

TEST_F(MetricSubscription, LaterSelectionsDecide) {
    selections.add("//*", {"*"});
    selections.add("//*", {}, {missed});
    auto names = selected(*addWriter("off"));
    EXPECT_EQ(names.size(), 58u);
    EXPECT_EQ(std::count(names.begin(), names.end(), missed), 0);
    selections.clear();
    selections.add("//*", {}, {missed});
    selections.add("//*", {"*"});
    names = selected(*addWriter("on"));
    EXPECT_EQ(names.size(), 59u);
    EXPECT_EQ(std::count(names.begin(), names.end(), missed), 1);
}

TEST_F(MetricSubscription, DisablingBeatsEnablingWithinASelection) {
    selections.add("//*", {"*"}, {"*"});
    auto* writer = addWriter();
    EXPECT_EQ(selected(*writer), Names{});
    expectConsistent(*writer);
}

TEST_F(MetricSubscription, PatternsMatchTheWholeName) {
    selections.add("//*", {"deadline*", "dds_data_writer_deadline"});
    EXPECT_EQ(selected(*addWriter("none")), Names{});
    selections.add("//*", {"*deadline*", "dds_data_writer_incompatible_qos_?otal"});
    EXPECT_EQ(selected(*addWriter("two")), (Names{missed, "dds_data_writer_incompatible_qos_total"}));
}

TEST_F(MetricSubscription, SelectionOfOtherResourcesChangesNothing) {
    selections.add("//data_writers/other", {"*"});
    selections.add("//*", {missed});
    selections.add("/applications/*/data_readers/*", {}, {"*"});
    selections.add("//*", {});
    EXPECT_EQ(selected(*addWriter()), Names{missed});
}

TEST_F(MetricSubscription, ClassesWithoutMetricsHoldTheLabelAlone) {
    selections.add("//*", {"*"});
    for (DDS_UnsignedLong classId : {ORX_MONITORING_PUBLISHER_CLASS_ID, ORX_MONITORING_SUBSCRIBER_CLASS_ID}) {
        auto* resource = add(root, classId, "r");
        EXPECT_EQ(toVector(resource->monitoredEventMetricGroupIndex), Indexes{0});
        EXPECT_EQ(toVector(resource->monitoredPeriodicMetricGroupIndex), Indexes{});
        EXPECT_EQ(selected(*resource), Names{});
    }
}

TEST_F(MetricSubscription, UnsupportedMetricsStayOutAndAreNamed) {
    selections.add("//*", {"*"}, {"nothing"});
    const ORX_UINT32 before = ORX_MonitoringLog_g_instrumentationMask;
    ORX_MonitoringLog_setBitmaps(0xFFFFFFFF, before | ORX_LOG_BIT_STATUS);
    LogCapture log;
    auto* participant =
        add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p"); /* without an entity: no transports */
    ORX_MonitoringLog_setBitmaps(0xFFFFFFFF, before);
    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(selected(*participant), Names{}); /* all metrics of participants depend on something */
    for (const char* what : {"enabled", "disabled"})
        EXPECT_EQ(log.count("Metric 'dds_domain_participant_udpv4_usage_in_net_pkts_mean' is not supported "
                            "for resource 'p', so "
                            "it won't be " +
                                std::string(what) +
                                ". This can happen if your platform does not support the functionality for "
                                "getting the value "
                                "of that metric or if, for example, the metric is an UDPv4 metric and that "
                                "transport is not "
                                "enabled for your DDS Entity.",
                      "NOT_SUPPORTED"),
            1u);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_STATUS), 2u * 65u);
}

TEST_F(MetricSubscription, TransportsOfTheEntityDecide) {
    selections.add("//*", {"*"});
    const DDS_GUID_t guid{};
    DDS_Entity* entity = DDS_Entity_create_observedI(DDS_PARTICIPANT_ENTITY_KIND, &guid, 1);
    auto* participant = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p", entity);
    const Names names = selected(*participant);
    EXPECT_EQ(names.size(), 20u);
    for (const auto& name : names)
        EXPECT_NE(name.find("udpv4_usage"), std::string::npos);
    expectConsistent(*participant);
    remove(participant);
    DDS_Entity_delete_observedI(entity);
}

TEST_F(MetricSubscription, ATableMayHold200Metrics) {
    std::vector<std::string> names;
    std::vector<ORX_Monitoring_MetricInfo> table;
    for (int i = 0; i < 201; ++i)
        names.push_back("metric_" + std::to_string(i));
    for (auto& name : names)
        table.push_back({name.data(), 1, 0, DDS_OBSERVABLE_ON_CHANGE_DISTRIBUTION_KIND});
    SelectionList list;
    list.add("//*", {"*"});
    auto* writer = addWriter();
    LogCapture log;
    ORX_Monitoring_ResourceInfo info{0, 1, 201};
    EXPECT_FALSE(orx::resource::selectMetrics(*writer, list.list, table.data(), info));
    EXPECT_TRUE(log.has("\"resourceInfo->metricCount > 200\"\n", "PRECONDITION"));
    EXPECT_EQ(toVector(writer->monitoredMetricInfoIndex), Indexes{});
    info.metricCount = 200;
    EXPECT_TRUE(orx::resource::selectMetrics(*writer, list.list, table.data(), info));
    EXPECT_EQ(toVector(writer->monitoredMetricInfoIndex).size(), 200u);
    DDS_UnsignedLongSeq_set_length(&writer->monitoredMetricInfoIndex, 0);
}

TEST_F(MetricSubscription, ASequenceThatCannotGrowEndsTheComputation) {
    char name[] = "metric";
    const ORX_Monitoring_MetricInfo table[] = {{name, 1, 0, DDS_OBSERVABLE_ON_CHANGE_DISTRIBUTION_KIND}};
    ORX_MonitoringResource bare{};
    bare.base.class_id = ORX_MONITORING_APPLICATION_CLASS_ID;
    bare.base.name = name;
    bare.registry = registry;
    bare.parent = root;
    SelectionList list;
    list.add("//*", {"*"});
    LogCapture log;
    FailingHeap heap;
    heap.failAt(1, 1000);
    EXPECT_FALSE(orx::resource::selectMetrics(bare, list.list, table, {0, 1, 1}));
    EXPECT_TRUE(log.has("Metric index 0 into monitored metric info index sequence", "FAILED_TO_ASSERT"))
        << log.text();
}

TEST_F(MetricSubscription, APatternIsNeeded) {
    SelectionList list;
    list.add("//*", {"x"});
    auto& patterns = reinterpret_cast<ORX_MonitoringMetricSelectionNode*>(REDAInlineList_getFirst(&list.list))
                         ->metricSelection.enabled_metrics_selection;
    DDS_String_free(*DDS_StringSeq_get_reference(&patterns, 0));
    *DDS_StringSeq_get_reference(&patterns, 0) = nullptr;
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringResource_computeMetricInfoIndexList(addWriter(), &list.list), 0);
    EXPECT_TRUE(log.has("\"metricExpression == ((void *)0)\"\n", "PRECONDITION")) << log.text();
}

TEST_F(MetricSubscription, ARootAndAKnownClassAreNeeded) {
    SelectionList list;
    list.add("//*", {"*"});
    auto* writer = addWriter();
    LogCapture log;
    impl.parent.rootResource = nullptr;
    EXPECT_EQ(ORX_MonitoringResource_computeMetricInfoIndexList(writer, &list.list), 0);
    impl.parent.rootResource = root;
    EXPECT_TRUE(log.has("Root resource", "FAILED_TO_GET")) << log.text();
    writer->base.class_id = 4711;
    EXPECT_EQ(ORX_MonitoringResource_computeMetricInfoIndexList(writer, &list.list), 0);
    writer->base.class_id = ORX_MONITORING_DATA_WRITER_CLASS_ID;
    EXPECT_TRUE(log.has("Resource info", "FAILED_TO_GET")) << log.text();
    EXPECT_EQ(selected(*writer), Names{});
}

TEST_F(MetricSubscription, UpdateChangesAndSetReplaces) {
    selections.add("//*", {"dds_application_process_memory*"});
    auto* app = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    ASSERT_EQ(selected(*app).size(), 2u);
    SelectionList list;
    list.add("//*", {}, {"*resident*"});
    EXPECT_EQ(command(app, list, true), 1);
    EXPECT_EQ(selected(*app), Names{"dds_application_process_memory_usage_virtual_memory_bytes"});
    expectConsistent(*app);
    EXPECT_EQ(command(app, list, false), 1);
    EXPECT_EQ(selected(*app), Names{});
    expectConsistent(*app);
    EXPECT_EQ(changes(), 2u);
    EXPECT_EQ(posted.count(ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT, app), 2u); /* after each resume */
    EXPECT_EQ(ORX_MonitoringResource_isPaused(app), 0);
}

TEST_F(MetricSubscription, FailedComputationLeavesWhatIsPublished) {
    selections.add("//*", {"dds_application_process_memory*"});
    auto* app = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    const Indexes ids = toVector(app->base.metric_ids);
    SelectionList list;
    list.add("a///b", {"*"});
    LogCapture log;
    EXPECT_EQ(command(app, list, false), 0);
    EXPECT_TRUE(log.has("Metric info index list", "FAILED_TO_PROCESS"));
    EXPECT_EQ(toVector(app->base.metric_ids), ids);
    EXPECT_EQ(ORX_MonitoringResource_isPaused(app), 0);
    EXPECT_EQ(changes(), 0u);
}

TEST_F(MetricSubscription, FailedPostStillResumes) {
    auto* writer = addWriter(); /* without an entity, which the snapshot would lock */
    SelectionList list;
    list.add("//*", {missed});
    LogCapture log;
    EXPECT_EQ(command(writer, list, true), 0);
    EXPECT_TRUE(log.has("Event metric snapshot task", "FAILED_TO_POST"));
    EXPECT_TRUE(log.has("Resume resource", "FAILED_TO_PROCESS"));
    EXPECT_EQ(ORX_MonitoringResource_isPaused(writer), 0);
    EXPECT_EQ(selected(*writer), Names{missed});
    expectConsistent(*writer);

    writer->concurrencyIndex = 4711;
    log.clear();
    EXPECT_EQ(command(writer, list, true), 0);
    EXPECT_TRUE(log.has("Monitoring event metric lock with concurrency index 4711", "FAILED_TO_LOCK"));
    EXPECT_TRUE(log.has("Pause resource", "FAILED_TO_PROCESS"));
    EXPECT_FALSE(log.has("Resume resource"));
    writer->concurrencyIndex = 0;
}

TEST_F(MetricSubscription, FailedRebuildingStillResumes) {
    auto* app = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    SelectionList list;
    list.add("//*", {"*"});
    app->base.class_id = ORX_MONITORING_TYPE_CLASS_ID; /* which has no labels */
    LogCapture log;
    EXPECT_EQ(command(app, list, true), 0);
    EXPECT_TRUE(log.has("Metric subscription sequences", "FAILED_TO_UPDATE")) << log.text();
    EXPECT_FALSE(log.has("Pause resource"));
    EXPECT_EQ(ORX_MonitoringResource_isPaused(app), 0);
    EXPECT_EQ(changes(), 0u);
    app->base.class_id = ORX_MONITORING_APPLICATION_CLASS_ID;
}

TEST_F(MetricSubscription, PauseHasNoDepth) {
    auto* app = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    EXPECT_EQ(ORX_MonitoringResource_pauseMetrics(app), 1);
    EXPECT_EQ(ORX_MonitoringResource_pauseMetrics(app), 1);
    EXPECT_NE(ORX_MonitoringResource_isPaused(app), 0);
    EXPECT_EQ(ORX_MonitoringResource_resumeMetrics(app, posted.executor), 1);
    EXPECT_EQ(ORX_MonitoringResource_isPaused(app), 0);
}

TEST_F(MetricSubscription, PauseWaitsForThePeriodicThread) {
    auto* app = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    ASSERT_EQ(ORX_MonitoringResource_lock(app, ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC, 0), 1);
    Counter started;
    std::atomic<bool> isUnpinned = false;
    auto pause = std::async(std::launch::async, [&] {
        started.add();
        EXPECT_EQ(ORX_MonitoringResource_pauseMetrics(app), 1);
        return isUnpinned.load();
    });
    ASSERT_TRUE(started.reaches(1));
    for (int i = 0; i < 100; ++i) { /* as long as the pin is there the resource is not paused */
        ASSERT_EQ(ORX_MonitoringResource_isPaused(app), 0);
        std::this_thread::yield();
    }
    isUnpinned = true;
    ASSERT_EQ(ORX_MonitoringResource_unlock(app, ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC, 0), 1);
    ASSERT_EQ(pause.wait_for(waitBound), std::future_status::ready);
    EXPECT_TRUE(pause.get());
    EXPECT_NE(ORX_MonitoringResource_isPaused(app), 0);
}

TEST_F(MetricSubscription, PauseDoesNotWaitForTheDispatcher) {
    auto* app = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    ASSERT_EQ(ORX_MonitoringResource_lock(app, ORX_MONITORING_RESOURCE_LOCK_THREAD_DISPATCHER, 0), 1);
    EXPECT_EQ(ORX_MonitoringResource_pauseMetrics(app), 1);
    EXPECT_EQ(ORX_MonitoringResource_unlock(app, ORX_MONITORING_RESOURCE_LOCK_THREAD_DISPATCHER, 0), 1);
}

TEST_F(MetricSubscription, TellsWhatIsSubscribed) {
    selections.add("//*", {missed, "*cache_samples"});
    auto* writer = addWriter();
    EXPECT_NE(ORX_MonitoringResource_isSubscribedToEventMetric(writer, 2), 0); /* the selected event group */
    EXPECT_EQ(ORX_MonitoringResource_isSubscribedToEventMetric(writer, 1), 0);
    EXPECT_EQ(ORX_MonitoringResource_isSubscribedToEventMetric(writer, 11), 0); /* a periodic group */
    for (DDS_UnsignedLong label : {0u, 7u, 8u})
        EXPECT_NE(ORX_MonitoringResource_isSubscribedToEventMetric(writer, label), 0);
}

TEST_F(MetricSubscription, NotesTheSizesOfPlainEventGroupsInForce) {
    using orx::resource::plainEventSize;
    selections.add("//*", {missed});
    auto* writer = addWriter();
    EXPECT_EQ(plainEventSize(*writer, 0), sizeof(DDS_Monitoring_GUID_t)); /* a label */
    EXPECT_EQ(plainEventSize(*writer, 1), 0U);                            /* not selected */
    EXPECT_EQ(plainEventSize(*writer, 2), sizeof(DDS_Monitoring_OfferedDeadlineMissedStatus));
    EXPECT_EQ(plainEventSize(*writer, 7), 0U); /* a text */
    EXPECT_EQ(plainEventSize(*writer, ORX_MONITORING_RESOURCE_QUICK_EVENT_GROUPS), 0U);
    SelectionList list;
    list.add("//*", {}, {missed});
    ASSERT_EQ(ORX_MonitoringResource_applyMetricSelectionList(writer, &list.list), 1);
    EXPECT_EQ(plainEventSize(*writer, 2), 0U);
    EXPECT_EQ(plainEventSize(*writer, 0), sizeof(DDS_Monitoring_GUID_t));
}

TEST_F(MetricSubscription, EveryAllocationOfACommandMayFail) {
    auto* app = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    SelectionList list;
    list.add("//*", {"*"});
    bool isDone = false;
    bool isChangeReported = false;
    for (uint64_t n = 1; !isDone && n < 100; ++n) {
        FailingHeap heap;
        LogCapture log;
        heap.failAt(n, 1000);
        isDone = command(app, list, false) != 0;
        EXPECT_EQ(isDone, !heap.hasFailed()) << n << log.text();
        EXPECT_EQ(ORX_MonitoringResource_isPaused(app), 0);
        isChangeReported |= log.has("Resource change task", "FAILED_TO_POST");
    }
    EXPECT_TRUE(isDone);
    EXPECT_TRUE(isChangeReported);
    expectConsistent(*app);
}
