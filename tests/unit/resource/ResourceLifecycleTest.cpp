#include "src/resource/ResourceLifecycle.h"

#include <functional>
#include <future>
#include <map>
#include <random>
#include <thread>

#include "src/monitoringClass/ApplicationMetricGroups.h"
#include "src/monitoringClass/RootResource.h"
#include "src/resource/ResourcePin.h"
#include "tests/helpers/Wait.hpp"
#include "tests/unit/resource/ResourceFixture.hpp"

namespace {

class Lifecycle : public ResourceFixture {
protected:
    Lifecycle() : posted(*root) {}

    // Made and removed with posts.
    ORX_MonitoringResource* post(ORX_MonitoringResource* parent, DDS_UnsignedLong classId, const char* name,
        const ORX_MonitoringResourceForwarder* forwarder = &noGroups) {
        const DDS_GUID_t guid = makeGuid(++guidCount);
        return ORX_MonitoringResourceRegistry_assertResource(
            registry, &guid, classId, name, nullptr, parent, forwarder, 1, root, posted.executor);
    }
    void removePosting(ORX_MonitoringResource* resource) {
        ORX_MonitoringResourceRegistry_deleteResource(registry, resource, 1, root, posted.executor);
    }
    size_t removals() const { return posted.count(ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL); }
    size_t creations() const { return posted.count(ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION); }
    size_t snapshots(const ORX_MonitoringResource* of = nullptr) const {
        return posted.count(ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT, of);
    }

    static DDS_Boolean getOtherGroup(void** group, const void*, DDS_UnsignedLong) {
        *group = nullptr;
        return DDS_BOOLEAN_FALSE;
    }
    static constexpr ORX_MonitoringResourceForwarder otherGroups = {&getOtherGroup, nullptr};
    PostedEvents posted;
};

// A line that begins and ends so.
bool hasLine(const LogCapture& log, const std::string& begin, const std::string& end) {
    for (const auto& line : log.lines())
        if (line.subject.starts_with(begin) && line.subject.ends_with(end))
            return true;
    return false;
}

} // namespace

// Where posts are made the resources are applications: other classes have an entity, which a post locks.
TEST_F(Lifecycle, AssertingAgainChangesNothing) {
    const DDS_GUID_t guid = makeGuid(77);
    const auto assertIt = [&](const ORX_MonitoringResourceForwarder* forwarder) {
        return ORX_MonitoringResourceRegistry_assertResource(registry, &guid,
            ORX_MONITORING_APPLICATION_CLASS_ID, "a", nullptr, root, forwarder, 1, root, posted.executor);
    };
    auto* first = assertIt(&noGroups);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(creations(), 1u);
    EXPECT_EQ(snapshots(first), 1u);
    EXPECT_EQ(assertIt(&otherGroups), first);
    EXPECT_EQ(first->forwarder.get_metric_group_function, noGroups.get_metric_group_function);
    EXPECT_EQ(creations(), 1u);
    EXPECT_EQ(snapshots(first), 1u);
    EXPECT_EQ(children(root), Names{"a"});
}

TEST_F(Lifecycle, HandleTellsEntitiesApart) {
    const DDS_GUID_t guid = makeGuid(77);
    int entities[2] = {};
    const auto assertIt = [&](void* entity) {
        return ORX_MonitoringResourceRegistry_assertResource(
            registry, &guid, ORX_MONITORING_TOPIC_CLASS_ID, "T", entity, root, nullptr, 0, nullptr, nullptr);
    };
    auto* first = assertIt(&entities[0]);
    auto* second = assertIt(&entities[1]);
    EXPECT_NE(first, second);
    EXPECT_EQ(assertIt(&entities[0]), first);
    EXPECT_EQ(first->userResource, &entities[0]);
    EXPECT_EQ(children(root), (Names{"T", "T"}));
    // The same entity made again has the GUID that it had.
    DDS_Monitoring_GUID_t before;
    std::memcpy(before, first->base.guid, sizeof before);
    remove(first);
    EXPECT_EQ(std::memcmp(assertIt(&entities[0])->base.guid, before, sizeof before), 0);
}

TEST_F(Lifecycle, FillsInTheDescription) {
    const DDS_GUID_t guid = makeGuid(5);
    auto* participant = ORX_MonitoringResourceRegistry_assertResource(registry, &guid,
        ORX_MONITORING_PARTICIPANT_CLASS_ID, "p", nullptr, root, &noGroups, 0, nullptr, nullptr);
    ASSERT_NE(participant, nullptr);
    EXPECT_STREQ(participant->base.name, "p");
    EXPECT_EQ(participant->base.class_id, ORX_MONITORING_PARTICIPANT_CLASS_ID);
    EXPECT_EQ(std::memcmp(participant->base.user_resource_guid, guid.value, 16), 0);
    EXPECT_EQ(std::memcmp(participant->base.owner_guid, root->base.guid, 16), 0);
    EXPECT_EQ(participant->parent, root);
    EXPECT_EQ(participant->registry, registry);
    EXPECT_EQ(participant->lockCounter, 0u);
    EXPECT_EQ(ORX_MonitoringResource_isPaused(participant), 0);
    EXPECT_EQ(participant->indexInTheRegistrySequence, 0);
    EXPECT_EQ(participant->forwarder.get_metric_group_function, noGroups.get_metric_group_function);
    EXPECT_EQ(participant->node.userData, participant);
    const auto* info = ORX_Monitoring_getResourceInfo(ORX_MONITORING_PARTICIPANT_CLASS_ID);
    EXPECT_GE(DDS_UnsignedLongSeq_get_maximum(&participant->base.metric_ids),
        static_cast<DDS_Long>(info->metricCount));
    const DDS_Monitoring_GUID_t zeros = {};
    EXPECT_EQ(std::memcmp(root->base.owner_guid, zeros, 16), 0);
}

TEST_F(Lifecycle, ResourceWithoutANameGoesByItsGuid) {
    const DDS_GUID_t guid = makeGuid(0x0A0B0C0D);
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        auto* topic = ORX_MonitoringResourceRegistry_assertResource(registry, &guid,
            ORX_MONITORING_TOPIC_CLASS_ID, none, nullptr, root, nullptr, 0, nullptr, nullptr);
        ASSERT_NE(topic, nullptr);
        EXPECT_STREQ(topic->base.name, "0x00000000,0x00000000,0x00000000:0x0A0B0C0D");
    }
    EXPECT_EQ(children(root).size(), 1u); /* no name and an empty one are the same */
}

TEST_F(Lifecycle, NameWithoutAGuidIsEnough) {
    auto* topic = ORX_MonitoringResourceRegistry_assertResource(
        registry, nullptr, ORX_MONITORING_TOPIC_CLASS_ID, "T", nullptr, root, nullptr, 0, nullptr, nullptr);
    ASSERT_NE(topic, nullptr);
    const DDS_Monitoring_GUID_t zeros = {};
    EXPECT_EQ(std::memcmp(topic->base.user_resource_guid, zeros, 16), 0);
}

TEST_F(Lifecycle, NeedsAGuidOrAName) {
    LogCapture log;
    for (const char* none : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(ORX_MonitoringResourceRegistry_assertResource(registry, nullptr,
                      ORX_MONITORING_TOPIC_CLASS_ID, none, nullptr, root, nullptr, 0, nullptr, nullptr),
            nullptr);
    EXPECT_EQ(
        log.count("\"userResourceGuid == ((void *)0) && (resourceName == ((void *)0) || *resourceName == "
                  "'\\\\0')\"\n",
            "PRECONDITION"),
        2u);
}

TEST_F(Lifecycle, PostingNeedsApplicationAndExecutor) {
    LogCapture log;
    const DDS_GUID_t guid = makeGuid(5);
    EXPECT_EQ(ORX_MonitoringResourceRegistry_assertResource(registry, &guid, ORX_MONITORING_TOPIC_CLASS_ID,
                  "T", nullptr, root, nullptr, 1, nullptr, posted.executor),
        nullptr);
    EXPECT_EQ(ORX_MonitoringResourceRegistry_assertResource(registry, &guid, ORX_MONITORING_TOPIC_CLASS_ID,
                  "T", nullptr, root, nullptr, 1, root, nullptr),
        nullptr);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 2u);
    EXPECT_EQ(deepFirst(), Names{"app"});
}

TEST_F(Lifecycle, DeletionGoesOnWithoutWhatPostingNeeds) {
    auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    add(topic, ORX_MONITORING_TOPIC_CLASS_ID, "below");
    LogCapture log;
    ORX_MonitoringResourceRegistry_deleteResourceChildren(registry, topic, 1, nullptr, nullptr);
    EXPECT_EQ(deepFirst(), (Names{"app", "T"}));
    ORX_MonitoringResourceRegistry_deleteResource(registry, topic, 1, nullptr, nullptr);
    EXPECT_EQ(deepFirst(), Names{"app"});
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 2u);
    EXPECT_EQ(removals(), 0u);
}

TEST_F(Lifecycle, ConcurrencyIndexIsMadeFromTheGuid) {
    for (int i = 0; i < 20; ++i) {
        auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
        const auto& guid = topic->base.guid;
        EXPECT_EQ(topic->concurrencyIndex, (guid[0] + guid[1] + guid[2] + guid[3]) % 3u);
    }
    auto& level = ORX_MonitoringGlobals_get_instance()->eventConcurrency.level;
    const DDS_UnsignedLong before = level;
    level = 0;
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T")->concurrencyIndex, 0u);
    level = before;
}

TEST_F(Lifecycle, PostsOneRemovalForAWholeSubtree) {
    auto* parent = post(root, ORX_MONITORING_APPLICATION_CLASS_ID, "parent");
    auto* child = post(parent, ORX_MONITORING_APPLICATION_CLASS_ID, "child");
    post(child, ORX_MONITORING_APPLICATION_CLASS_ID, "grandchild");
    EXPECT_EQ(creations(), 3u);
    const std::string guid = guidOf(parent->base.guid);
    removePosting(parent);
    EXPECT_EQ(posted.removed(), std::multiset<std::string>{guid});
    EXPECT_EQ(deepFirst(), Names{"app"});
    EXPECT_EQ(children(root), Names{});
}

TEST_F(Lifecycle, DeletingChildrenPostsTheDirectOnes) {
    auto* parent = post(root, ORX_MONITORING_APPLICATION_CLASS_ID, "parent");
    std::multiset<std::string> direct;
    for (const char* name : {"a", "b", "c"}) {
        auto* child = post(parent, ORX_MONITORING_APPLICATION_CLASS_ID, name);
        post(child, ORX_MONITORING_APPLICATION_CLASS_ID, "below");
        direct.insert(guidOf(child->base.guid));
    }
    ORX_MonitoringResourceRegistry_deleteResourceChildren(registry, parent, 1, root, posted.executor);
    EXPECT_EQ(posted.removed(), direct);
    EXPECT_EQ(deepFirst(), (Names{"app", "parent"}));
    EXPECT_EQ(DDS_Monitoring_GUID_tSeq_get_length(&parent->base.children_guids), 0);
    EXPECT_EQ(post(parent, ORX_MONITORING_APPLICATION_CLASS_ID, "again")->parent,
        parent); /* it takes children again */
    expectSoundTree();
}

TEST_F(Lifecycle, SelectionThatCannotBeAppliedLeavesNothing) {
    add(root, ORX_MONITORING_TOPIC_CLASS_ID, "before");
    selections.add("a///b", {"*"});
    LogCapture log;
    EXPECT_EQ(add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T"), nullptr);
    EXPECT_EQ(deepFirst(), (Names{"app", "before"}));
    EXPECT_EQ(children(root), Names{"before"});
    EXPECT_EQ(DDS_Monitoring_GUID_tSeq_get_length(&root->base.children_guids), 1);
    expectSoundTree();
    EXPECT_TRUE(
        log.has("It was not possible to check if the resource matches the resource_selection expression.",
            "FAILED_TO_PROCESS"));
    EXPECT_TRUE(hasLine(log,
        "It was not possible to compute the metric info index list for resource (GUID 0x", " , name: T)"));
    EXPECT_TRUE(hasLine(log, "Subscribed metrics for resource (GUID: 0x", ", name: T)"));
}

TEST_F(Lifecycle, ClassesWithoutTablesOrLabelsAreRefused) {
    LogCapture log;
    EXPECT_EQ(add(root, 4711, "x"), nullptr);
    EXPECT_TRUE(log.has("Resource info for class ID 4711ll.", "FAILED_TO_GET"));
    EXPECT_EQ(add(root, ORX_MONITORING_TYPE_CLASS_ID, "x"), nullptr);
    EXPECT_TRUE(log.has("Resource label metrics", "FAILED_TO_REGISTER"));
    EXPECT_TRUE(
        hasLine(log, "It was not possible to update the metric subscription sequences for resource (GUID 0x",
            " , name: x)"));
    EXPECT_EQ(deepFirst(), Names{"app"});
    expectSoundTree();
}

TEST_F(Lifecycle, EveryAllocationMayFail) {
    constexpr auto classId = ORX_MONITORING_APPLICATION_CLASS_ID; /* many groups of both kinds */
    selections.add("//*", {"*"});
    remove(add(root, classId, "warm")); /* the parent's list keeps its buffer */
    bool isDone = false;
    std::set<std::string> reasons;
    for (uint64_t n = 1; !isDone && n < 100; ++n) {
        const ORX_UINT64 live = ORXOsapiHeap_getLiveBufferCount();
        FailingHeap heap;
        LogCapture log;
        heap.failAt(n, 1000);
        auto* resource = add(root, classId, "w");
        isDone = resource != nullptr;
        for (const auto& line : log.lines())
            reasons.insert(line.identifier + " " + line.subject.substr(0, line.subject.find(" (GUID: 0x")));
        EXPECT_EQ(isDone, !heap.hasFailed()) << n;
        EXPECT_EQ(isDone, log.lines().empty()) << log.text();
        heap.failNoMore();
        if (isDone)
            remove(resource);
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live) << n;
        EXPECT_EQ(deepFirst(), Names{"app"});
        expectSoundTree();
    }
    EXPECT_TRUE(isDone);
    const auto* info = ORX_Monitoring_getResourceInfo(classId);
    const auto sequence = [](const char* what, DDS_UnsignedLong maximum) {
        return "FAILED_TO_SET Monitored " + std::string(what) + " sequence with maximum " +
               std::to_string(maximum) + ".";
    };
    for (const std::string& reason : {std::string("FAILED_TO_COPY Monitoring resource name 'w'\n"),
             sequence("periodic metric group index", info->periodicMetricGroupCount),
             sequence("event metric group index", info->eventMetricGroupCount),
             sequence("metric IDs", info->metricCount), sequence("metric info index", info->metricCount)})
        EXPECT_TRUE(reasons.contains(reason)) << reason;
}

// Resources share their memory's pool, so that the heap has something to refuse only when all of it is used.
TEST_F(Lifecycle, AResourceThatFindsNoMemoryIsNotMade) {
    REDAFastBufferPoolInfo pool{};
    const auto isFull = [&] {
        REDAFastBufferPool_getInfo(registry->resourcePool, &pool);
        return pool.bufferInUse == pool.bufferAllocated;
    };
    while (!isFull())
        ASSERT_NE(add(root, ORX_MONITORING_PUBLISHER_CLASS_ID, "p"), nullptr);
    const Names before = deepFirst();
    const ORX_UINT64 live = ORXOsapiHeap_getLiveBufferCount();
    {
        FailingHeap heap;
        LogCapture log;
        heap.failAt(1);
        EXPECT_EQ(add(root, ORX_MONITORING_PUBLISHER_CLASS_ID, "p"), nullptr);
        EXPECT_TRUE(log.has("'struct ORX_MonitoringResource' with size " +
                                std::to_string(sizeof(ORX_MonitoringResource)) + "\n",
            "FAILED_TO_ALLOCATE"))
            << log.text();
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
    EXPECT_EQ(deepFirst(), before);
    EXPECT_NE(add(root, ORX_MONITORING_PUBLISHER_CLASS_ID, "p"), nullptr);
    EXPECT_FALSE(isFull());
    expectSoundTree();
}

// A deleted resource's place is the next one's, which finds nothing of it.
TEST_F(Lifecycle, APlaceIsUsedAgain) {
    selections.add("//*", {"*"});
    auto* first = add(root, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w", this);
    const auto groups = toVector(first->monitoredPeriodicMetricGroupIndex);
    EXPECT_FALSE(groups.empty());
    remove(first);
    auto* second = add(root, ORX_MONITORING_PUBLISHER_CLASS_ID, "p");
    EXPECT_EQ(second, first);
    EXPECT_EQ(second->userResource, nullptr);
    EXPECT_TRUE(toVector(second->monitoredPeriodicMetricGroupIndex).empty());
    EXPECT_EQ(second->lockCounter, 0U);
    expectSoundTree();
}

// When the parent's list of GUIDs or the index of the registry cannot grow, nothing is linked.
TEST_F(Lifecycle, AListThatCannotGrowTakesNoResource) {
    bool isOfParent = false;
    bool isOfIndex = false;
    for (int i = 0; i < 5000 && !(isOfParent && isOfIndex); ++i) {
        FailingHeap heap;
        LogCapture log;
        // Beyond the structure, the name and the four sequences: what a list needs in order to grow.
        for (uint64_t n = 1; n < 100; ++n) {
            heap.failAt(n, 1000);
            auto* resource = add(root, ORX_MONITORING_PUBLISHER_CLASS_ID, "c");
            if (resource != nullptr)
                break;
        }
        heap.failNoMore();
        isOfParent |= log.has("Resource to the list of children of the parent\n", "FAILED_TO_ADD");
        isOfIndex |=
            hasLine(log, "Monitoring resource (GUID: 0x", ", name: c), into the skiplist of resources.") &&
            hasLine(log, "Monitoring resource, (GUID: 0x", ", name: c), into the registry\n");
        ASSERT_EQ(static_cast<int>(children(root).size()), i + 1);
    }
    EXPECT_TRUE(isOfParent);
    EXPECT_TRUE(isOfIndex);
    expectSoundTree();
}

// When memory runs out in a post, the resource goes again; a creation that was posted stays alone.
TEST_F(Lifecycle, EveryAllocationOfAPostMayFail) {
    bool isDone = false;
    size_t before = 0;
    bool isCreationReported = false;
    for (uint64_t n = 1; !isDone && n < 200; ++n) {
        FailingHeap heap;
        LogCapture log;
        heap.failAt(n, 1000);
        auto* resource = post(root, ORX_MONITORING_APPLICATION_CLASS_ID, "w");
        isDone = resource != nullptr;
        heap.failNoMore();
        EXPECT_EQ(removals(), 0u);
        EXPECT_GE(creations(), before);
        EXPECT_LE(creations(), before + 1);
        before = creations();
        EXPECT_EQ(children(root), isDone ? Names{"w"} : Names{});
        expectSoundTree();
        isCreationReported |= log.has("Created resource update\n", "FAILED_TO_POST");
    }
    EXPECT_TRUE(isDone);
    EXPECT_TRUE(isCreationReported);
}

TEST_F(Lifecycle, FailedSnapshotTakesTheResourceAndLeavesItsCreation) {
    LogCapture log;
    EXPECT_EQ(post(root, ORX_MONITORING_TOPIC_CLASS_ID, "T"), nullptr); /* no entity to lock */
    EXPECT_TRUE(log.has("Initial event metric snapshot\n", "FAILED_TO_POST")) << log.text();
    EXPECT_EQ(creations(), 1u);
    EXPECT_EQ(removals(), 0u);
    EXPECT_EQ(deepFirst(), Names{"app"});
    EXPECT_EQ(children(root), Names{});
    expectSoundTree();
}

TEST_F(Lifecycle, FailedRemovalPostLeavesTheMemoryAlone) {
    auto* resource = post(root, ORX_MONITORING_APPLICATION_CLASS_ID, "r");
    ASSERT_NE(resource, nullptr);
    LogCapture log;
    resource->concurrencyIndex = 4711; /* of no queue: the post fails */
    removePosting(resource);
    EXPECT_TRUE(log.has("Removal resource update\n", "FAILED_TO_POST"));
    EXPECT_EQ(deepFirst(), Names{"app"});
    EXPECT_STREQ(resource->base.name, "r"); /* still there, in no list */
    resource->concurrencyIndex = 0;
    remove(resource);
}

// The resource stays listed, and a later deletion ends it.
TEST_F(Lifecycle, DeletionWithoutTheMutexLeavesTheResourceListed) {
    auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    ORXOsapiSemaphore* mutex = registry->resourcesMutex;
    registry->resourcesMutex = nullptr;
    LogCapture log;
    removePosting(topic);
    EXPECT_TRUE(log.has("Taking resources mutex in the resource list", "FAILED_TO_LOCK")) << log.text();
    EXPECT_TRUE(log.has("Resource node from resource lists.", "FAILED_TO_DELETE"));
    EXPECT_EQ(removals(), 0u);
    registry->resourcesMutex = mutex;
    EXPECT_EQ(deepFirst(), (Names{"app", "T"}));
    remove(topic);
    EXPECT_EQ(deepFirst(), Names{"app"});
}

TEST_F(Lifecycle, DeletionWaitsForThePin) {
    auto* topic = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    ASSERT_EQ(ORX_MonitoringResource_lock(topic, ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC, 0), 1);
    std::atomic<bool> isUnpinned = false;
    Counter started;
    auto deletion = std::async(std::launch::async, [&] {
        started.add();
        remove(topic);
        return isUnpinned.load();
    });
    ASSERT_TRUE(started.reaches(1));
    for (int i = 0; i < 200; ++i) { /* it stays listed and alive */
        ORXOsapiSemaphore_take(registry->resourcesMutex, nullptr);
        ASSERT_EQ(ORX_MonitoringResourceRegistry_findResource(registry, topic->base.guid), topic);
        ORXOsapiSemaphore_give(registry->resourcesMutex);
        std::this_thread::yield();
    }
    isUnpinned = true;
    ASSERT_EQ(ORX_MonitoringResource_unlock(topic, ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC, 0), 1);
    ASSERT_EQ(deletion.wait_for(waitBound), std::future_status::ready);
    EXPECT_TRUE(deletion.get());
    EXPECT_EQ(deepFirst(), Names{"app"});
}

TEST_F(Lifecycle, RegistryEndsWithWhatIsLeftInIt) {
    const ORX_UINT64 live = ORXOsapiHeap_getLiveBufferCount();
    auto* registryOfTest = ORX_MonitoringResourceRegistry_new(&selections.list);
    std::vector<ORX_MonitoringResource*> all{nullptr};
    std::mt19937 random(3);
    for (uint32_t i = 0; i < 200; ++i) {
        const DDS_GUID_t guid = makeGuid(1000 + i);
        all.push_back(ORX_MonitoringResourceRegistry_assertResource(registryOfTest, &guid,
            ORX_MONITORING_TOPIC_CLASS_ID, "x", nullptr, all[random() % all.size()], nullptr, 0, nullptr,
            nullptr));
        ASSERT_NE(all.back(), nullptr);
    }
    EXPECT_EQ(REDAInlineList_getSize(&registryOfTest->resourceDeepFirstList), 200);
    ORX_MonitoringResourceRegistry_delete(registryOfTest);
    ORX_MonitoringResourceRegistry_delete(nullptr);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

// Against a model: random growth and removal, with every way into the tree telling the same.
TEST_F(Lifecycle, TreeStaysSoundUnderRandomChanges) {
    struct Model {
        ORX_MonitoringResource* resource;
        std::vector<Model*> children;   /* in order of creation */
        std::vector<std::string> guids; /* as published */
    };
    std::vector<std::unique_ptr<Model>> alive;
    Model top{root, {}, {}};
    std::mt19937 random(11);
    const auto guidOf = [](const Model& model) {
        return std::string(reinterpret_cast<const char*>(model.resource->base.guid), 16);
    };
    const std::function<void(const Model&, Names&)> list = [&](const Model& model, Names& names) {
        names.emplace_back(model.resource->base.name);
        for (auto child = model.children.rbegin(); child != model.children.rend(); ++child)
            list(**child, names);
    };
    const std::function<void(Model*)> forget = [&](Model* model) {
        while (!model->children.empty()) {
            Model* child = model->children.back();
            model->children.pop_back();
            forget(child);
        }
        std::erase_if(alive, [&](const auto& owned) { return owned.get() == model; });
    };
    for (int step = 0; step < 1500; ++step) {
        if (alive.size() < 5 || random() % 5 < 3) {
            Model* parent = random() % 4 == 0 || alive.empty() ? &top : alive[random() % alive.size()].get();
            const std::string name = "n" + std::to_string(step);
            auto* resource = add(parent->resource, ORX_MONITORING_PUBLISHER_CLASS_ID, name.c_str());
            ASSERT_NE(resource, nullptr);
            alive.push_back(std::make_unique<Model>(Model{resource, {}, {}}));
            parent->children.push_back(alive.back().get());
            parent->guids.push_back(guidOf(*alive.back()));
        } else {
            Model* victim = alive[random() % alive.size()].get();
            Model* parent = &top;
            for (const auto& model : alive)
                if (model->resource == victim->resource->parent)
                    parent = model.get();
            // The last GUID comes to the place of the one that goes.
            auto place = std::find(parent->guids.begin(), parent->guids.end(), guidOf(*victim));
            ASSERT_NE(place, parent->guids.end());
            *place = parent->guids.back();
            parent->guids.pop_back();
            std::erase(parent->children, victim);
            remove(victim->resource);
            forget(victim);
        }
        if (step % 50 != 0)
            continue;
        Names expected;
        list(top, expected);
        ASSERT_EQ(deepFirst(), expected) << step;
        expectSoundTree();
        for (const auto& model : alive) {
            const auto& guids = model->resource->base.children_guids;
            ASSERT_EQ(
                DDS_Monitoring_GUID_tSeq_get_length(&guids), static_cast<DDS_Long>(model->guids.size()));
            for (size_t i = 0; i < model->guids.size(); ++i)
                EXPECT_EQ(
                    std::memcmp(*DDS_Monitoring_GUID_tSeq_get_reference(&guids, static_cast<DDS_Long>(i)),
                        model->guids[i].data(), 16),
                    0);
        }
    }
}

// Every sibling of many, in three orders: the noted positions hold, so that no removal searches them all.
TEST_F(Lifecycle, SiblingsGoInAnyOrder) {
    constexpr int count = 3000;
    for (int order = 0; order < 3; ++order) {
        std::vector<ORX_MonitoringResource*> siblings;
        for (int i = 0; i < count; ++i)
            siblings.push_back(add(root, ORX_MONITORING_PUBLISHER_CLASS_ID, "s"));
        if (order == 1)
            std::reverse(siblings.begin(), siblings.end());
        if (order == 2)
            std::shuffle(siblings.begin(), siblings.end(), std::mt19937(5));
        for (auto* sibling : siblings) {
            const auto& guids = root->base.children_guids;
            ASSERT_LT(sibling->positionInParent, DDS_Monitoring_GUID_tSeq_get_length(&guids));
            ASSERT_EQ(std::memcmp(*DDS_Monitoring_GUID_tSeq_get_reference(&guids, sibling->positionInParent),
                          sibling->base.guid, 16),
                0);
            remove(sibling);
        }
        EXPECT_EQ(children(root), Names{});
        EXPECT_EQ(DDS_Monitoring_GUID_tSeq_get_length(&root->base.children_guids), 0);
    }
}

TEST_F(Lifecycle, RootIsTheApplication) {
    auto* first = ORX_MonitoringResource_createRoot(&impl, "my app");
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->base.name, "my app");
    EXPECT_EQ(first->base.class_id, ORX_MONITORING_APPLICATION_CLASS_ID);
    EXPECT_EQ(first->parent, nullptr);
    EXPECT_EQ(first->userResource, nullptr);
    EXPECT_EQ(first->forwarder.get_metric_group_function, &ORX_Monitoring_getApplicationMetricGroup);
    EXPECT_EQ(first->forwarder.return_metric_group_function, &ORX_Monitoring_returnApplicationMetricGroup);
    EXPECT_EQ(std::memcmp(first->base.user_resource_guid + 12, "\0\0\0\0", 4), 0);
    for (int i = 0; i < 8; ++i) { /* whatever the GUID gives */
        auto* other = ORX_MonitoringResource_createRoot(&impl, "my app");
        ASSERT_NE(other, nullptr);
        EXPECT_NE(other, first);
        EXPECT_EQ(other->concurrencyIndex, 0u);
    }
    EXPECT_EQ(creations(), 0u);
}

TEST_F(Lifecycle, RootReportsWhatFails) {
    LogCapture log;
    ORX_MonitoringClassImpl without{};
    EXPECT_EQ(ORX_MonitoringResource_createRoot(&without, "x"), nullptr);
    EXPECT_TRUE(log.has("\"monitoringClass->resourceRegistry == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringResource_createRoot(&impl, std::string(1024, 'x').c_str()), nullptr);
    EXPECT_TRUE(log.has("Monitoring root resource name\n"));
    {
        FailingHeap heap;
        heap.failAt(1);
        EXPECT_EQ(ORX_MonitoringResource_createRoot(&impl, "x"), nullptr);
    }
    EXPECT_TRUE(log.has("Monitoring resource application root with name x\n", "FAILED_TO_CREATE"));
    auto* unnamed = ORX_MonitoringResource_createRoot(&impl, ""); /* taken as given: it goes by its GUID */
    ASSERT_NE(unnamed, nullptr);
    EXPECT_EQ(std::string(unnamed->base.name).substr(0, 2), "0x");
}
