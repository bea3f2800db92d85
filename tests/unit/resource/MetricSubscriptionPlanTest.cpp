// A plan gives each resource what the plain way gives it: random trees and selections hold the two against
// each other.
#include "src/resource/MetricSubscriptionPlan.hpp"

#include <random>

#include "tests/unit/resource/ResourceFixture.hpp"

namespace {

using orx::resource::SelectionPlan;
using Random = std::mt19937;

constexpr const char* expressions[] = {"//*", "//T", "//*/T", "//topics/*", "//t?", "//data_*/T",
    "//publishers/*", "/applications/app", "/applications/app/domain_participants/*",
    "//domain_participants/p//*", "//[a-T]*", "//none", "//topics/T",
    "//GUID(00000000.00000000.00000000.00000003)",
    "/applications/GUID(00000000.00000000.00000000.00000001)//topics/T", "//GUID(nonsense", "/applications"};
constexpr const char* patterns[] = {"*", "dds_*", "nothing", "dds_topic_inconsistent_total", "*_total",
    "*change*", "dds_data_writer_cache_samples", "dds_data_writer_*", "dds_data_reader_[a-l]*",
    "?*samples?peak", "\\dds_*", "dds_application_process_memory_usage_resident_memory_bytes", ""};
constexpr DDS_UnsignedLong classes[] = {ORX_MONITORING_PARTICIPANT_CLASS_ID,
    ORX_MONITORING_PUBLISHER_CLASS_ID, ORX_MONITORING_TOPIC_CLASS_ID, ORX_MONITORING_DATA_WRITER_CLASS_ID,
    ORX_MONITORING_DATA_READER_CLASS_ID};

class SelectionPlanTest : public ResourceFixture {
protected:
    // In GUID order of their making: the root is the first.
    void makeTree(Random& random) {
        all = {root};
        constexpr const char* names[] = {"T", "t1", "p", "a", "other"};
        while (all.size() < 12)
            all.push_back(add(all[random() % all.size()], classes[random() % std::size(classes)],
                names[random() % std::size(names)]));
    }
    void select(Random& random, SelectionList& list) {
        const auto some = [&](DDS_StringSeq& texts) {
            const auto count = static_cast<DDS_Long>(random() % 3);
            DDS_StringSeq_ensure_length(&texts, count, count);
            for (DDS_Long i = 0; i < count; ++i)
                DDS_String_replace(
                    DDS_StringSeq_get_reference(&texts, i), patterns[random() % std::size(patterns)]);
        };
        const bool hasBad = random() % 8 == 0;
        for (size_t count = random() % 8; count > 0; --count) {
            list.add(expressions[random() % (std::size(expressions) - (hasBad ? 0 : 2))], {});
            auto& selection =
                reinterpret_cast<ORX_MonitoringMetricSelectionNode*>(REDAInlineList_getLast(&list.list))
                    ->metricSelection;
            some(selection.enabled_metrics_selection);
            some(selection.disabled_metrics_selection);
        }
    }
    static void put(ORX_MonitoringResource& resource, const std::vector<DDS_UnsignedLong>& metrics) {
        const auto count = static_cast<DDS_Long>(metrics.size());
        ASSERT_TRUE(DDS_UnsignedLongSeq_ensure_length(&resource.monitoredMetricInfoIndex, count, count));
        for (DDS_Long i = 0; i < count; ++i)
            *DDS_UnsignedLongSeq_get_reference(&resource.monitoredMetricInfoIndex, i) =
                metrics[static_cast<size_t>(i)];
    }

    std::vector<ORX_MonitoringResource*> all;
};

TEST_F(SelectionPlanTest, AgreesWithThePlainWay) {
    LogCapture quiet;
    size_t changed = 0;
    size_t failed = 0;
    for (unsigned seed = 1; seed <= 1000; ++seed) {
        Random random(seed);
        makeTree(random);
        SelectionList list;
        select(random, list);
        SelectionPlan plan(list.list);
        for (auto* resource : all) {
            // Also over what an earlier list has left, in its order.
            const auto before = toVector(resource->monitoredMetricInfoIndex);
            const bool plain = ORX_MonitoringResource_computeMetricInfoIndexList(resource, &list.list) != 0;
            const auto expected = toVector(resource->monitoredMetricInfoIndex);
            put(*resource, before);
            ASSERT_EQ(plan.compute(*resource), plain) << "seed " << seed << " " << resource->base.name;
            ASSERT_EQ(toVector(resource->monitoredMetricInfoIndex), expected)
                << "seed " << seed << " " << resource->base.name;
            changed += expected != before;
            failed += plain ? 0 : 1;
        }
        if (seed % 4 == 0) // the others begin with what this list has left
            for (auto* child = ORX_MonitoringResource_getFirstChild(root); child != nullptr;
                 child = ORX_MonitoringResource_getFirstChild(root))
                remove(child);
        quiet.clear();
    }
    EXPECT_GT(changed, 400u);
    EXPECT_GT(failed, 20u);
}

TEST_F(SelectionPlanTest, WithoutMemoryItIsThePlainWay) {
    auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    SelectionList list;
    list.add("//T", {"*"});
    LogCapture log;
    for (uint64_t n = 1; n <= 12; ++n) {
        ASSERT_TRUE(DDS_UnsignedLongSeq_set_length(&topic->monitoredMetricInfoIndex, 0));
        FailingHeap heap;
        heap.failAt(n);
        SelectionPlan plan(list.list);
        ASSERT_TRUE(plan.compute(*topic)) << n;
        EXPECT_EQ(toVector(topic->monitoredMetricInfoIndex).size(), 1u) << n;
    }
}

TEST_F(SelectionPlanTest, HasTheMessagesOfThePlainWay) {
    SelectionList list;
    list.add("//*", {"*"}, {"nothing"});
    list.add("//app", {}, {"*_total", "*"});
    list.add("//none", {"*"});
    const auto subjects = [](const LogCapture& log) {
        std::vector<std::string> texts;
        for (const auto& line : log.lines())
            texts.push_back(line.subject);
        return texts;
    };
    const ORX_UINT32 mask = ORX_MonitoringLog_g_instrumentationMask;
    ORX_MonitoringLog_setBitmaps(~0U, mask | ORX_LOG_BIT_STATUS);
    LogCapture log;
    SelectionPlan plan(list.list);
    for (int round = 0; round < 2; ++round) { // the second time the answer is known
        ASSERT_TRUE(DDS_UnsignedLongSeq_set_length(&root->monitoredMetricInfoIndex, 0));
        log.clear();
        EXPECT_TRUE(plan.compute(*root));
        const auto planned = subjects(log);
        ASSERT_TRUE(DDS_UnsignedLongSeq_set_length(&root->monitoredMetricInfoIndex, 0));
        log.clear();
        EXPECT_TRUE(ORX_MonitoringResource_computeMetricInfoIndexList(root, &list.list));
        EXPECT_EQ(planned, subjects(log));
        EXPECT_GT(planned.size(), 10u);
    }
    ORX_MonitoringLog_setBitmaps(~0U, mask);
}

TEST(MetricPatterns, NamesAreFoundAsThePatternsFindThem) {
    for (const DDS_UnsignedLong classId : classes) {
        const auto* table = ORX_Monitoring_getMetricInfo(classId);
        const DDS_UnsignedLong count = ORX_Monitoring_getResourceInfo(classId)->metricCount;
        const orx::resource::MetricNames names(table, count);
        DDS_StringSeq one{};
        ASSERT_TRUE(DDS_StringSeq_ensure_length(&one, 1, 1));
        std::vector<std::string> texts(std::begin(patterns), std::end(patterns));
        for (DDS_UnsignedLong i = 0; i < count; ++i)
            texts.emplace_back(table[i].name);
        for (const std::string& text : texts) {
            DDS_String_replace(DDS_StringSeq_get_reference(&one, 0), text.c_str());
            const auto set = names.named(one);
            for (DDS_UnsignedLong i = 0; i < count; ++i)
                EXPECT_EQ(set.contains(i), REDAString_fnmatch(text.c_str(), table[i].name, 0) == 0)
                    << text << " " << table[i].name;
        }
        DDS_StringSeq_finalize(&one);
    }
}

} // namespace
