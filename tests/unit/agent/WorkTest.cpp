// The agent thread's work against a monitoring library that the test plays.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "agent/Agent.hpp"
#include "agent/MetricGroups.hpp"
#include "agent/Push.hpp"
#include "agent/StatusKinds.hpp"
#include "zddscore/log.h"

struct ORX_MonitoringResource {
    const void* userResource = nullptr;
    ORX_MonitoringResource* parent = nullptr;
};

namespace {

using namespace orx::agent;

struct Push {
    ORX_MonitoringResource* resource;
    DDS_UnsignedLong group;
    DDS_Long total;
};

// The library: what it was asked, and what it does while it asserts.
struct Library {
    ORX_MonitoringClass table{};
    ORX_MonitoringResource root;
    std::vector<ORX_MonitoringResource*> alive;
    std::vector<Push> pushes;
    std::function<void(void* userResource)> whileAsserting;
    std::function<void()> whilePushing;
    bool refuses = false;
};
Library* library = nullptr;

ORX_MonitoringResource* assertResource(ORX_MonitoringClass*, DDS_UnsignedLong* index, const DDS_GUID_t*,
    DDS_UnsignedLong, const char*, void* userResource, ORX_MonitoringResource* parent,
    const ORX_MonitoringResourceForwarder*) {
    if (library->whileAsserting)
        library->whileAsserting(userResource);
    if (library->refuses)
        return nullptr;
    *index = 1;
    library->alive.push_back(new ORX_MonitoringResource{userResource, parent});
    return library->alive.back();
}

// With all its descendants.
void deleteResource(ORX_MonitoringClass* self, ORX_MonitoringResource* resource) {
    for (size_t i = library->alive.size(); i-- > 0;) {
        if (i < library->alive.size() && library->alive[i]->parent == resource)
            deleteResource(self, library->alive[i]);
    }
    EXPECT_EQ(std::erase(library->alive, resource), 1u);
    delete resource;
}

DDS_Boolean pushMetric(
    ORX_MonitoringClass*, void* group, ORX_MonitoringResource* resource, DDS_UnsignedLong index) {
    // Every status begins with its total.
    library->pushes.push_back({resource, index, *static_cast<DDS_Long*>(group)});
    if (library->whilePushing)
        library->whilePushing();
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean prefinalize(ORX_MonitoringClass*) {
    return DDS_BOOLEAN_TRUE;
}
void deleteClass(ORX_MonitoringClass*) {}

ORX_MonitoringClass* create(DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t*) {
    library->table.factory = factory;
    library->table.rootResource = &library->root;
    library->table.prefinalizeFunction = prefinalize;
    library->table.deleteFunction = deleteClass;
    library->table.assertResourceFunction = assertResource;
    library->table.deleteResourceFunction = deleteResource;
    library->table.pushEventMetricFunction = pushMetric;
    return &library->table;
}

class WorkTest : public testing::Test {
protected:
    WorkTest() {
        library = &played;
        setMetricGroupRegistry(registry);
        EXPECT_TRUE(ORX_MonitoringHost_set_create_function(create));
        ORX_MonitoringProperty_t property;
        EXPECT_TRUE(ORX_MonitoringProperty_t_initialize(&property));
        EXPECT_NE(ORX_MonitoringHost_start(&property), nullptr);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    }
    ~WorkTest() override {
        if (ORX_MonitoringHost_is_enabled())
            endAll();
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        library = nullptr;
    }
    Observed* make(Kind kind, Observed* parent) {
        Observed* observed = createObserved(kind);
        observed->handle = ++lastHandle_;
        EXPECT_TRUE(registry.insert(observed, parent));
        if (parent == nullptr)
            participants_.push_back(observed);
        return observed;
    }
    void endAll() {
        for (Observed* participant : participants_)
            registry.end(*participant);
        participants_.clear();
        EXPECT_TRUE(processWork(registry, SIZE_MAX));
        EXPECT_TRUE(played.alive.empty());
    }
    // What a listener does with a status.
    static void matched(Observed& writer, uint32_t total) {
        DDS_Entity_lock(writer.standIn);
        dds_publication_matched_status_t status{};
        status.total_count = total;
        status.current_count = total;
        PublicationMatched::copy(writer, status);
        ++writer.generations[PublicationMatched::slot];
        pushGroup(writer, PublicationMatched::group, &PublicationMatched::copyOf(writer));
        DDS_Entity_unlock(writer.standIn);
    }
    Library played;
    Registry registry;

private:
    dds_entity_t lastHandle_ = 0;
    std::vector<Observed*> participants_;
};

TEST_F(WorkTest, StatusesArePushedWhileThereIsAResource) {
    Observed* writer = make(Kind::writer, make(Kind::participant, nullptr));
    matched(*writer, 1);
    EXPECT_TRUE(played.pushes.empty()) << "no resource yet: the library looks at the status when it asserts";
    ASSERT_TRUE(processWork(registry, SIZE_MAX));
    EXPECT_TRUE(played.pushes.empty()) << "nothing changed since the library looked";
    matched(*writer, 2);
    ASSERT_EQ(played.pushes.size(), 1u);
    EXPECT_EQ(played.pushes[0].resource, writer->resource);
    EXPECT_EQ(played.pushes[0].group, 5u);
    EXPECT_EQ(played.pushes[0].total, 2);
    detachResource(*writer);
    matched(*writer, 3);
    EXPECT_EQ(played.pushes.size(), 1u);
}

// The library has looked at the groups, and its result is not back yet: just then a status changes.
TEST_F(WorkTest, AStatusThatChangesDuringAnAssertionIsNotLost) {
    Observed* writer = make(Kind::writer, make(Kind::participant, nullptr));
    matched(*writer, 1);
    played.whileAsserting = [&](void* userResource) {
        if (userResource == writer->standIn)
            std::thread([&] { matched(*writer, 2); }).join();
    };
    ASSERT_TRUE(processWork(registry, SIZE_MAX));
    ASSERT_EQ(played.pushes.size(), 1u) << "the group that changed, and no other";
    EXPECT_EQ(played.pushes[0].total, 2);
    EXPECT_EQ(played.pushes[0].group, 5u);
}

TEST_F(WorkTest, PushesHoldTheEntityLockAndTheMetricMutex) {
    Observed* writer = make(Kind::writer, make(Kind::participant, nullptr));
    ASSERT_TRUE(processWork(registry, SIZE_MAX));
    ORX_MonitoringLockResult metric = ORX_MONITORING_LOCK_RESULT_OK;
    ORX_MonitoringLockResult libraryLock = ORX_MONITORING_LOCK_RESULT_ERROR;
    played.whilePushing = [&] {
        std::thread([&] {
            const DDS_Duration_t none = {0, 0};
            metric =
                ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, writer->concurrencyIndex, 1, 1, &none);
            libraryLock = ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, &none);
            if (libraryLock == ORX_MONITORING_LOCK_RESULT_OK)
                ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
        }).join();
    };
    matched(*writer, 1);
    EXPECT_EQ(metric, ORX_MONITORING_LOCK_RESULT_TIMEOUT);
    EXPECT_EQ(libraryLock, ORX_MONITORING_LOCK_RESULT_OK) << "a thread of the program never takes it";
    EXPECT_EQ(writer->concurrencyIndex, 1u);
}

TEST_F(WorkTest, AssertionsHoldTheLibraryLockAndNoOther) {
    Observed* writer = make(Kind::writer, make(Kind::participant, nullptr));
    ORX_MonitoringLockResult libraryLock = ORX_MONITORING_LOCK_RESULT_OK;
    bool isEntityFree = false;
    bool isFound = false;
    played.whileAsserting = [&](void* userResource) {
        std::thread([&] {
            const DDS_Duration_t none = {0, 0};
            libraryLock = ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, &none);
            isEntityFree = static_cast<int>(DDS_Entity_lock(static_cast<DDS_Entity*>(userResource))) == 0;
            DDS_Entity_unlock(static_cast<DDS_Entity*>(userResource));
            isFound = static_cast<bool>(registry.find(writer->handle));
        }).join();
    };
    ASSERT_TRUE(processWork(registry, SIZE_MAX));
    EXPECT_EQ(libraryLock, ORX_MONITORING_LOCK_RESULT_TIMEOUT);
    EXPECT_TRUE(isEntityFree);
    EXPECT_TRUE(isFound) << "the program's threads go on";
}

TEST_F(WorkTest, GroupsOfARefusedResourceAreNotPushed) {
    Observed* participant = make(Kind::participant, nullptr);
    Observed* writer = make(Kind::writer, participant);
    played.refuses = true;
    ORXLog_setStderrEnabled(0);
    ASSERT_TRUE(processWork(registry, SIZE_MAX));
    ORXLog_setStderrEnabled(1);
    EXPECT_EQ(writer->resource, nullptr);
    matched(*writer, 1);
    EXPECT_TRUE(played.pushes.empty());
    played.refuses = false;
    make(Kind::topic, participant);
    ORXLog_setStderrEnabled(0);
    ASSERT_TRUE(processWork(registry, SIZE_MAX));
    ORXLog_setStderrEnabled(1);
    EXPECT_TRUE(played.alive.empty()) << "no parent, no resource";
}

TEST_F(WorkTest, WorkIsDoneInPieces) {
    Observed* participant = make(Kind::participant, nullptr);
    for (int i = 0; i < 9; ++i)
        make(Kind::topic, participant);
    ASSERT_TRUE(processWork(registry, 4));
    EXPECT_EQ(played.alive.size(), 4u);
    ASSERT_TRUE(processWork(registry, 4));
    ASSERT_TRUE(processWork(registry, 4));
    EXPECT_EQ(played.alive.size(), 10u);
}

TEST_F(WorkTest, EndsWithTheLibrary) {
    Observed* participant = make(Kind::participant, nullptr);
    Observed* writer = make(Kind::writer, participant);
    ASSERT_TRUE(processWork(registry, SIZE_MAX));
    registry.end(*writer);
    EXPECT_TRUE(ORX_MonitoringHost_stop());
    EXPECT_FALSE(processWork(registry, SIZE_MAX));
    registry.stopWork();
    registry.end(*participant);
    for (ORX_MonitoringResource* resource : played.alive)
        delete resource;
}

TEST_F(WorkTest, GroupsAreFoundByTheStandIn) {
    Observed* participant = make(Kind::participant, nullptr);
    Observed* reader = make(Kind::reader, participant);
    const ORX_MonitoringResourceForwarder& forwarder = resourceForwarder();
    void* group = nullptr;
    EXPECT_TRUE(forwarder.get_metric_group_function(&group, reader->standIn, 7));
    EXPECT_EQ(group, &reader->statuses.reader.subscriptionMatched);
    EXPECT_TRUE(forwarder.get_metric_group_function(&group, reader->standIn, 6))
        << "the copy without metrics";
    EXPECT_EQ(group, &reader->statuses.reader.subscriptionMatched);
    EXPECT_TRUE(forwarder.get_metric_group_function(&group, reader->standIn, 0));
    EXPECT_EQ(group, &reader->guid);
    EXPECT_FALSE(forwarder.get_metric_group_function(&group, reader->standIn, 16)) << "beyond the last";
    EXPECT_EQ(group, nullptr);
    EXPECT_FALSE(forwarder.get_metric_group_function(&group, &played, 0)) << "nobody's";
    EXPECT_EQ(forwarder.return_metric_group_function, nullptr) << "nothing is copied";
}

TEST_F(WorkTest, PoliciesAreCounted) {
    Observed* writer = make(Kind::writer, make(Kind::participant, nullptr));
    const auto report = [&](uint32_t total, uint32_t policy) {
        dds_offered_incompatible_qos_status_t status{};
        status.total_count = total;
        status.last_policy_id = policy;
        OfferedIncompatibleQos::copy(*writer, status);
    };
    report(1, 11);
    report(2, 4);
    report(4, 11);
    report(4, 11);
    const auto& status = OfferedIncompatibleQos::copyOf(*writer);
    ASSERT_EQ(status.policies._length, 2u);
    EXPECT_EQ(status.policies._contiguous_buffer[0].policy_id, 11);
    EXPECT_EQ(status.policies._contiguous_buffer[0].count, 3);
    EXPECT_EQ(status.policies._contiguous_buffer[1].policy_id, 4);
    EXPECT_EQ(status.policies._contiguous_buffer[1].count, 1);
    for (uint32_t i = 0; i < 100; ++i)
        report(5 + i, 100 + i);
    EXPECT_EQ(status.policies._length, PolicyCounts::maximum) << "bounded, whatever the engine reports";
    EXPECT_EQ(status.total_count, 104);
}

} // namespace
