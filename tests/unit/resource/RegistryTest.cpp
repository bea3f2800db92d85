#include "src/resource/MonitoringResourceRegistry.h"

#include "src/resource/ResourcePin.h"
#include "tests/unit/resource/ResourceFixture.hpp"

namespace {

using Registry = ResourceFixture;

Names sampleNames(const ORX_MonitoringResourceRegistry& registry) {
    Names names;
    const auto* resources = &registry.base.resources;
    for (DDS_Long i = 0; i < DDS_Monitoring_ResourceReferenceSeq_get_length(resources); ++i)
        names.emplace_back(DDS_Monitoring_ResourceReferenceSeq_get(resources, i)->name);
    return names;
}

} // namespace

TEST_F(Registry, PutsLaterSiblingsFirstWithTheirSubtrees) {
    auto* p = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
    auto* c1 = add(p, ORX_MONITORING_PUBLISHER_CLASS_ID, "c1");
    add(p, ORX_MONITORING_PUBLISHER_CLASS_ID, "c2");
    EXPECT_EQ(deepFirst(), (Names{"app", "p", "c2", "c1"}));
    add(c1, ORX_MONITORING_DATA_WRITER_CLASS_ID, "d");
    EXPECT_EQ(deepFirst(), (Names{"app", "p", "c2", "c1", "d"}));
    EXPECT_EQ(children(p), (Names{"c1", "c2"})); /* in order of creation */
    add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "other");
    EXPECT_EQ(deepFirst(), (Names{"other", "app", "p", "c2", "c1", "d"}));
    expectSoundTree();
}

TEST_F(Registry, FindsByGuidAlone) {
    auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    EXPECT_EQ(ORX_MonitoringResourceRegistry_findResource(registry, topic->base.guid), topic);
    EXPECT_EQ(ORX_MonitoringResourceRegistry_findResource(registry, topic->base.user_resource_guid), nullptr);
    DDS_Monitoring_GUID_t near;
    std::memcpy(near, topic->base.guid, sizeof near);
    near[15] ^= 1;
    EXPECT_EQ(ORX_MonitoringResourceRegistry_findResource(registry, near), nullptr);
}

TEST(RegistryCompare, OrdersByGuid) {
    ORX_MonitoringResource left{};
    ORX_MonitoringResource right{};
    EXPECT_EQ(ORX_MonitoringResourceRegistry_compareNode(&left, &right), 0);
    right.base.guid[15] = 1;
    EXPECT_LT(ORX_MonitoringResourceRegistry_compareNode(&left, &right), 0);
    left.base.guid[0] = 0xFF;
    EXPECT_GT(ORX_MonitoringResourceRegistry_compareNode(&left, &right), 0);
}

TEST_F(Registry, RefreshRefersToAllInOrder) {
    auto* p = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
    auto* c1 = add(p, ORX_MONITORING_PUBLISHER_CLASS_ID, "c1");
    ASSERT_EQ(ORX_MonitoringResourceRegistry_refreshSampleSequence(registry), 1);
    EXPECT_EQ(sampleNames(*registry), (Names{"app", "p", "c1"}));
    EXPECT_EQ(DDS_Monitoring_ResourceReferenceSeq_get(&registry->base.resources, 2), &c1->base); /* no copy */
    for (int i = 0; i < 100; ++i)
        add(p, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    remove(c1);
    ASSERT_EQ(ORX_MonitoringResourceRegistry_refreshSampleSequence(registry), 1);
    EXPECT_EQ(sampleNames(*registry), deepFirst());
    EXPECT_EQ(DDS_Monitoring_ResourceReferenceSeq_get_length(&registry->base.resources), 102);
}

TEST_F(Registry, RefreshReportsExhaustedMemoryAndRecovers) {
    ASSERT_EQ(ORX_MonitoringResourceRegistry_refreshSampleSequence(registry), 1);
    add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    {
        FailingHeap heap;
        LogCapture log;
        heap.failAt(1, 1000);
        EXPECT_EQ(ORX_MonitoringResourceRegistry_refreshSampleSequence(registry), 0);
        EXPECT_TRUE(log.has("Monitoring resource registry base sequence length 2\n", "FAILED_TO_SET"));
    }
    EXPECT_EQ(ORX_MonitoringResourceRegistry_refreshSampleSequence(registry), 1);
    EXPECT_EQ(sampleNames(*registry), deepFirst());
}

TEST(RegistryLife, RefreshOfNothingIsAPrecondition) {
    REDAInlineList list;
    REDAInlineList_init(&list);
    auto* registry = ORX_MonitoringResourceRegistry_new(&list);
    ASSERT_NE(registry, nullptr);
    EXPECT_EQ(registry->snapshotEpoch, 0u);
    EXPECT_EQ(registry->metricSelectionList, &list);
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringResourceRegistry_refreshSampleSequence(registry), 0);
    EXPECT_TRUE(log.has("\"length <= 0\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringResourceRegistry_getFirstResource(registry, 0, 0), nullptr);
    ORX_MonitoringResourceRegistry_delete(registry);
}

TEST(RegistryLife, EveryAllocationMayFail) {
    REDAInlineList list;
    REDAInlineList_init(&list);
    bool isDone = false;
    std::set<std::string> reasons;
    for (uint64_t n = 1; !isDone && n < 100; ++n) {
        const ORX_UINT64 live = ORXOsapiHeap_getLiveBufferCount();
        {
            FailingHeap heap;
            LogCapture log;
            heap.failAt(n);
            auto* registry = ORX_MonitoringResourceRegistry_new(&list);
            isDone = registry != nullptr;
            EXPECT_EQ(isDone, !heap.hasFailed()) << n;
            EXPECT_EQ(isDone, log.lines().empty());
            for (const auto& line : log.lines())
                reasons.insert(line.identifier + " " + line.subject);
            ORX_MonitoringResourceRegistry_delete(registry);
        }
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live) << n;
    }
    EXPECT_TRUE(isDone);
    for (const std::string& reason :
        {"FAILED_TO_ALLOCATE 'struct ORX_MonitoringResourceRegistry' with size " +
                std::to_string(sizeof(ORX_MonitoringResourceRegistry)) + "\n",
            std::string("FAILED_TO_CREATE Resources mutex in the resource list"),
            std::string("FAILED_TO_CREATE Monitoring resource list description\n"),
            std::string("FAILED_TO_CREATE Monitoring resource list\n"),
            std::string("FAILED_TO_CREATE Monitoring resource pool\n"),
            std::string("FAILED_TO_INITIALIZE ORX_MonitoringResourceRegistry\n")})
        EXPECT_TRUE(reasons.contains(reason)) << reason;
}

TEST_F(Registry, WithoutItsMutexNothingIsPinnedOrPaused) {
    ORXOsapiSemaphore* mutex = registry->resourcesMutex;
    registry->resourcesMutex = nullptr;
    LogCapture log;
    constexpr auto bit = ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC;
    EXPECT_EQ(ORX_MonitoringResourceRegistry_getFirstResource(registry, 1, bit), nullptr);
    EXPECT_TRUE(log.has("Taking resources mutex", "FAILED_TO_LOCK")) << log.text();
    EXPECT_EQ(ORX_MonitoringResource_lock(root, bit, 0), 0);
    EXPECT_EQ(ORX_MonitoringResource_unlock(root, bit, 0), 0);
    EXPECT_EQ(log.count("Resources mutex", "FAILED_TO_LOCK"), 2u);
    EXPECT_EQ(ORX_MonitoringResource_pauseMetrics(root), 0);
    EXPECT_TRUE(log.has("Taking resources mutex in the resource list", "FAILED_TO_LOCK"));
    registry->resourcesMutex = mutex;
    EXPECT_EQ(root->lockCounter, 0u);
    EXPECT_EQ(ORX_MonitoringResource_isPaused(root), 0);
}

TEST_F(Registry, WalkPinsWhatItFinds) {
    auto* p = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
    constexpr auto bit = ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC;
    auto* first = ORX_MonitoringResourceRegistry_getFirstResource(registry, 1, bit);
    ASSERT_EQ(first, root);
    EXPECT_EQ(root->lockThreadMask, bit);
    auto* next = ORX_MonitoringResourceRegistry_getNextResource(registry, first, 1, bit);
    ASSERT_EQ(next, p);
    EXPECT_EQ(root->lockCounter, 1u); /* the caller unpins it */
    EXPECT_EQ(p->lockCounter, 1u);
    EXPECT_EQ(ORX_MonitoringResourceRegistry_getNextResource(registry, p, 1, bit), nullptr);
    LogCapture log;
    EXPECT_EQ(
        ORX_MonitoringResourceRegistry_getFirstResource(registry, 1, bit), nullptr); /* pinned already */
    EXPECT_TRUE(log.has("Monitoring Resource", "FAILED_TO_LOCK"));
    EXPECT_EQ(root->lockCounter, 1u);
    EXPECT_EQ(ORX_MonitoringResource_unlock(root, bit, 0), 1);
    EXPECT_EQ(ORX_MonitoringResource_unlock(p, bit, 0), 1);
}

TEST_F(Registry, WalkWithPinsNeedsABit) {
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringResourceRegistry_getFirstResource(registry, 1, 0), nullptr);
    EXPECT_EQ(ORX_MonitoringResourceRegistry_getNextResource(registry, root, 1, 0), nullptr);
    EXPECT_EQ(log.count("\"lockResource && lockThreadMask == (0x0U)\"\n", "PRECONDITION"), 2u);
    EXPECT_EQ(root->lockCounter, 0u);
}

TEST_F(Registry, RemovalOfOneThatIsNotListedSucceeds) {
    ORX_MonitoringResource stranger{};
    EXPECT_EQ(ORX_MonitoringResourceRegistry_deleteResourceFromResourceLists(registry, &stranger), 1);
    EXPECT_EQ(deepFirst(), Names{"app"});
}
