#include "src/resource/MonitoringResource.h"

#include <string>
#include <type_traits>

#include "src/resource/IndexSequence.h"
#include "src/resource/ResourcePin.h"
#include "src/utils/PathMatcher.h"
#include "tests/unit/resource/ResourceFixture.hpp"

namespace {

using MonitoringResource = ResourceFixture;

std::string childrenGuids(const ORX_MonitoringResource& parent) {
    std::string letters;
    for (DDS_Long i = 0; i < DDS_Monitoring_GUID_tSeq_get_length(&parent.base.children_guids); ++i)
        letters +=
            static_cast<char>((*DDS_Monitoring_GUID_tSeq_get_reference(&parent.base.children_guids, i))[0]);
    return letters;
}

const ORX_MonitoringOpaqueResource* opaque(const ORX_MonitoringResource* resource) {
    return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(resource);
}

// A parent with bare children, each with a letter for a GUID.
struct Family {
    explicit Family(const char* letters) {
        for (size_t i = 0; letters[i] != '\0'; ++i) {
            children[i].base.guid[0] = static_cast<DDS_Octet>(letters[i]);
            children[i].parent = &parent;
            EXPECT_EQ(ORX_MonitoringResource_addResourceToParentChildrenList(&children[i]), 1);
        }
    }
    ~Family() { DDS_Monitoring_GUID_tSeq_finalize(&parent.base.children_guids); }
    ORX_MonitoringResource parent{};
    ORX_MonitoringResource children[8]{};
};

} // namespace

static_assert(std::is_standard_layout_v<ORX_MonitoringResource>);
static_assert(offsetof(ORX_MonitoringResource, base) == 0);
static_assert(offsetof(DDS_Monitoring_Resource, guid) == 0);
static_assert(offsetof(ORX_MonitoringOpaqueResourceAccessor, getNextSiblingFunction) == 0);
static_assert(sizeof(ORX_MonitoringResourceInternalStatistics) == 24);

TEST(ResourceChildren, GuidsAreKeptInOrderOfAddition) {
    Family family("abc");
    EXPECT_EQ(childrenGuids(family.parent), "abc");
}

TEST(ResourceChildren, LastGuidComesToThePlaceOfOneRemoved) {
    Family family("abcd");
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&family.children[1]), 1);
    EXPECT_EQ(childrenGuids(family.parent), "adc");
    // Of the moved one the noted position is stale, as no registry knows it.
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&family.children[3]), 1);
    EXPECT_EQ(childrenGuids(family.parent), "ac");
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&family.children[2]), 1);
    EXPECT_EQ(childrenGuids(family.parent), "a");
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&family.children[0]), 1);
    EXPECT_EQ(childrenGuids(family.parent), "");
}

TEST(ResourceChildren, RemovalOfOneThatIsNotThereSucceeds) {
    Family family("ab");
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&family.children[0]), 1);
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&family.children[0]), 1);
    EXPECT_EQ(childrenGuids(family.parent), "b");
    ORX_MonitoringResource root{};
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&root), 1);
}

TEST(ResourceChildren, FirstOfEqualGuidsIsRemoved) {
    Family family("abaca");
    EXPECT_EQ(ORX_MonitoringResource_deleteResourceFromParentChildrenList(&family.children[0]), 1);
    EXPECT_EQ(childrenGuids(family.parent), "abac");
}

TEST(ResourceChildren, AddingReportsExhaustedMemory) {
    Family family("");
    FailingHeap heap;
    LogCapture log;
    heap.failAt(1, 1000);
    family.children[0].parent = &family.parent;
    EXPECT_EQ(ORX_MonitoringResource_addResourceToParentChildrenList(&family.children[0]), 0);
    EXPECT_TRUE(log.has("Monitoring resource children sequence length 1\n", "FAILED_TO_SET"));
}

TEST(IndexSequence, HoldsEachElementOnce) {
    DDS_UnsignedLongSeq sequence{};
    for (DDS_UnsignedLong element : {5u, 7u, 5u, 9u, 7u})
        EXPECT_EQ(DDS_UnsignedLongSeq_assertElement(&sequence, element), 1);
    EXPECT_EQ(toVector(sequence), (std::vector<DDS_UnsignedLong>{5, 7, 9}));
    EXPECT_EQ(DDS_UnsignedLongSeq_removeElement(&sequence, 5), 1);
    EXPECT_EQ(toVector(sequence), (std::vector<DDS_UnsignedLong>{9, 7}));
    EXPECT_EQ(DDS_UnsignedLongSeq_removeElement(&sequence, 5), 1);
    EXPECT_EQ(DDS_UnsignedLongSeq_removeElement(&sequence, 7), 1);
    EXPECT_EQ(DDS_UnsignedLongSeq_removeElement(&sequence, 9), 1);
    EXPECT_EQ(toVector(sequence), std::vector<DDS_UnsignedLong>{});
    DDS_UnsignedLongSeq_finalize(&sequence);
}

TEST(IndexSequence, ReportsExhaustedMemory) {
    DDS_UnsignedLongSeq sequence{};
    FailingHeap heap;
    LogCapture log;
    heap.failAt(1, 1000);
    EXPECT_EQ(DDS_UnsignedLongSeq_assertElement(&sequence, 1), 0);
    EXPECT_TRUE(log.has("Sequence length and maximum to 1", "FAILED_TO_SET"));
}

TEST(ResourcePointer, IsABarePointer) {
    ORX_MonitoringResource resource{};
    ORX_MonitoringResourcePtr pointer = &resource;
    ORX_MonitoringResourcePtr copy = nullptr;
    EXPECT_EQ(ORX_MonitoringResourcePtr_copy(&copy, &pointer), 1);
    EXPECT_EQ(copy, &resource);
    EXPECT_EQ(ORX_MonitoringResourcePtr_finalize(&copy), 1);
    EXPECT_EQ(copy, nullptr);
    copy = &resource;
    EXPECT_EQ(ORX_MonitoringResourcePtr_initialize(&copy), 1);
    EXPECT_EQ(copy, nullptr);

    ORX_MonitoringResourcePtrSeq sequence{};
    ASSERT_TRUE(ORX_MonitoringResourcePtrSeq_ensure_length(&sequence, 2, 2));
    EXPECT_EQ(ORX_MonitoringResourcePtrSeq_get(&sequence, 0), nullptr);
    *ORX_MonitoringResourcePtrSeq_get_reference(&sequence, 1) = &resource;
    ORX_MonitoringResourcePtrSeq second{};
    ASSERT_NE(ORX_MonitoringResourcePtrSeq_copy(&second, &sequence), nullptr);
    EXPECT_EQ(ORX_MonitoringResourcePtrSeq_get(&second, 1), &resource);
    ORX_MonitoringResourcePtrSeq_finalize(&sequence);
    ORX_MonitoringResourcePtrSeq_finalize(&second);
}

TEST_F(MonitoringResource, AccessorShowsTheTree) {
    auto* p1 = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p1");
    auto* p2 = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p2");
    ORX_MonitoringOpaqueResourceAccessor accessor;
    ASSERT_EQ(ORX_MonitoringResource_getOpaqueResourceAccessor(&accessor), 1);
    EXPECT_EQ(accessor.getFirstChildFunction(opaque(root)), opaque(p1));
    EXPECT_EQ(accessor.getNextSiblingFunction(opaque(p1)), opaque(p2));
    EXPECT_EQ(accessor.getNextSiblingFunction(opaque(p2)), nullptr);
    EXPECT_EQ(accessor.getFirstChildFunction(opaque(p2)), nullptr);
    EXPECT_EQ(accessor.getParentFunction(opaque(p2)), opaque(root));
    EXPECT_EQ(accessor.getParentFunction(opaque(root)), nullptr);
    EXPECT_EQ(accessor.findByGuidFunction(opaque(p1), p2->base.guid), opaque(p2)); /* from any resource */
    const DDS_UInt8 unknown[16] = {};
    EXPECT_EQ(accessor.findByGuidFunction(opaque(root), unknown), nullptr);
    EXPECT_EQ(ORX_MonitoringResource_getFirstChild(root), p1);
    EXPECT_EQ(ORX_MonitoringResource_getNextSibling(p1), p2);
}

TEST_F(MonitoringResource, AccessorGivesTheResourcesOwnGuid) {
    auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    ORX_MonitoringOpaqueResourceInfo info;
    ORX_MonitoringResource_getOpaqueInfo(opaque(topic), &info);
    EXPECT_STREQ(info.name, "T");
    EXPECT_EQ(info.classId, ORX_MONITORING_TOPIC_CLASS_ID);
    EXPECT_EQ(std::memcmp(info.guid, topic->base.guid, 16), 0);
    EXPECT_NE(std::memcmp(info.guid, topic->base.user_resource_guid, 16), 0);
}

TEST_F(MonitoringResource, AccessorCutsLongNames) {
    const std::string name = std::string(255, 'a') + "b";
    auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, name.c_str());
    ORX_MonitoringOpaqueResourceInfo info;
    ORX_MonitoringResource_getOpaqueInfo(opaque(topic), &info);
    EXPECT_EQ(info.name, name.substr(0, 255));
    auto* fits = add(root, ORX_MONITORING_TOPIC_CLASS_ID, name.substr(1).c_str());
    ORX_MonitoringResource_getOpaqueInfo(opaque(fits), &info);
    EXPECT_EQ(info.name, name.substr(1));
}

TEST_F(MonitoringResource, MatcherFindsRealResources) {
    auto* participant = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p1");
    auto* topic = add(participant, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    ORX_MonitoringOpaqueResourceAccessor accessor;
    ORX_MonitoringResource_getOpaqueResourceAccessor(&accessor);
    char guid[ORX_MONITORING_GUID_TEXT_SIZE];
    DDS_Monitoring_GUID_toStr(topic->base.guid, guid);
    for (const std::string& expression :
        {std::string("//topics/T"), std::string("/applications/app/*/p1/*/T"), "//" + std::string(guid)}) {
        int isMatching = 0;
        ORX_MonitoringOpaqueResourceSeq matches{};
        EXPECT_EQ(ORX_Monitoring_isResourceMatchingPathExpression(
                      &isMatching, opaque(topic), expression.c_str(), &accessor, opaque(root)),
            1);
        EXPECT_EQ(isMatching, 1) << expression;
        EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(
                      &matches, expression.c_str(), &accessor, opaque(root)),
            1);
        ASSERT_EQ(ORX_MonitoringOpaqueResourceSeq_get_length(&matches), 1);
        EXPECT_EQ(ORX_MonitoringOpaqueResourceSeq_get(&matches, 0), opaque(topic));
        ORX_MonitoringOpaqueResourceSeq_finalize(&matches);
    }
}

TEST_F(MonitoringResource, PinIsOnePerKindOfThread) {
    EXPECT_EQ(ORX_MonitoringResource_lock(root, 0x1, 0), 1);
    EXPECT_EQ(root->lockCounter, 1u);
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringResource_lock(root, 0x1, 0), 0);
    EXPECT_TRUE(log.has("Resource. The resource is already locked by the current thread", "FAILED_TO_LOCK"));
    EXPECT_EQ(root->lockCounter, 1u);
    EXPECT_EQ(ORX_MonitoringResource_lock(root, 0x2, 0), 1);
    EXPECT_EQ(root->lockCounter, 2u);
    EXPECT_EQ(root->lockThreadMask, 0x3u);
    EXPECT_EQ(ORX_MonitoringResource_unlock(root, 0x1, 0), 1);
    EXPECT_EQ(root->lockCounter, 1u);
    EXPECT_EQ(root->lockThreadMask, 0x2u);
    EXPECT_EQ(ORX_MonitoringResource_unlock(root, 0x2, 0), 1);
    EXPECT_EQ(root->lockCounter, 0u);
    EXPECT_EQ(root->lockThreadMask, 0u);
}

TEST_F(MonitoringResource, PinUnderTheMutexDoesNotTakeItAgain) {
    ASSERT_EQ(ORXOsapiSemaphore_take(registry->resourcesMutex, nullptr), ORX_OSAPI_SEMAPHORE_STATUS_OK);
    EXPECT_EQ(ORX_MonitoringResource_lock(root, 0x2, 1), 1);
    EXPECT_EQ(ORX_MonitoringResource_unlock(root, 0x2, 1), 1);
    ASSERT_EQ(ORXOsapiSemaphore_give(registry->resourcesMutex), ORX_OSAPI_SEMAPHORE_STATUS_OK);
    EXPECT_EQ(root->lockCounter, 0u);
}

TEST(ResourcePin, NeedsALiveLibrary) {
    LogCapture log;
    ORX_MonitoringResource resource{};
    EXPECT_EQ(ORX_MonitoringResource_lock(&resource, 0x1, 0), 0);
    EXPECT_EQ(ORX_MonitoringResource_unlock(&resource, 0x1, 0), 0);
    EXPECT_EQ(log.count("Resource registry", "FAILED_TO_GET"), 2u);
    EXPECT_EQ(resource.lockCounter, 0u);
    EXPECT_EQ(ORX_MonitoringResource_lock(&resource, 0x1, 1), 1); /* the caller's mutex will do */
    EXPECT_EQ(resource.lockCounter, 1u);
}

TEST(ResourceLabels, AreTheGroupsThatIdentifyAnEntity) {
    using Indexes = std::vector<DDS_UnsignedLong>;
    const struct {
        DDS_UnsignedLong classId;
        Indexes expected;
    } classes[] = {{ORX_MONITORING_APPLICATION_CLASS_ID, {3, 2, 5}},
        {ORX_MONITORING_PARTICIPANT_CLASS_ID, {0, 1, 3, 2}}, {ORX_MONITORING_PUBLISHER_CLASS_ID, {0}},
        {ORX_MONITORING_SUBSCRIBER_CLASS_ID, {0}}, {ORX_MONITORING_TOPIC_CLASS_ID, {0, 1, 2}},
        {ORX_MONITORING_DATA_WRITER_CLASS_ID, {0, 7, 8}}, {ORX_MONITORING_DATA_READER_CLASS_ID, {0, 8, 9}}};
    for (const auto& [classId, expected] : classes) {
        ORX_MonitoringResource resource{};
        resource.base.class_id = classId;
        EXPECT_EQ(ORX_MonitoringResource_registerLabelMetrics(&resource), 1);
        EXPECT_EQ(toVector(resource.monitoredEventMetricGroupIndex), expected) << classId;
        EXPECT_EQ(ORX_MonitoringResource_registerLabelMetrics(&resource), 1); /* again: no repetitions */
        EXPECT_EQ(toVector(resource.monitoredEventMetricGroupIndex), expected) << classId;
        DDS_UnsignedLongSeq_finalize(&resource.monitoredEventMetricGroupIndex);
    }
}

TEST(ResourceLabels, OtherClassesHaveNone) {
    LogCapture log;
    for (DDS_UnsignedLong classId : {ORX_MONITORING_TYPE_CLASS_ID, 0u, 4711u}) {
        ORX_MonitoringResource resource{};
        resource.base.class_id = classId;
        EXPECT_EQ(ORX_MonitoringResource_registerLabelMetrics(&resource), 0);
    }
    EXPECT_EQ(log.count("Unknown self class ID", "BAD_PARAMETER_FAILURE"), 3u);
}

TEST(ResourceLabels, ReportExhaustedMemory) {
    FailingHeap heap;
    LogCapture log;
    heap.failAt(1, 1000);
    ORX_MonitoringResource resource{};
    resource.base.class_id = ORX_MONITORING_APPLICATION_CLASS_ID;
    EXPECT_EQ(ORX_MonitoringResource_registerLabelMetrics(&resource), 0);
    EXPECT_TRUE(
        log.has("Metric group index 3 into monitored event metric group index sequence", "FAILED_TO_ASSERT"));
}
