#include "tail/Interpreter.hpp"

#include <gtest/gtest.h>

#include <cstring>

#include "src/dataModel/MetricCatalogue.h"

namespace {

using tail::Change;
using tail::ChangeKind;

// A sample on the heap that is finalized with its scope.
class Event {
public:
    Event() : sample_(DDS_Monitoring_EventPluginSupport_create_data()) {}
    ~Event() { DDS_Monitoring_EventPluginSupport_destroy_data(sample_); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    DDS_Monitoring_Event* operator->() { return sample_; }
    DDS_Monitoring_Event& operator*() { return *sample_; }

private:
    DDS_Monitoring_Event* sample_;
};

void setGuid(DDS_Monitoring_GUID_t& guid, unsigned char number) {
    std::memset(guid, 0, sizeof guid);
    guid[0] = number;
}

DDS_SampleInfo infoOf(unsigned char writer) {
    DDS_SampleInfo info{};
    info.valid_data = 1;
    info.publication_handle.keyHash[0] = writer;
    return info;
}

struct Interpreting : testing::Test {
    std::vector<Change> changes;
    tail::Interpreter interpreter{[this](const Change& change) { changes.push_back(change); }};

    // The sample's own copy of an update; finalized with the sample.
    DDS_Monitoring_ResourceUpdate* updateOf(Event& event, DDS_Monitoring_ResourceUpdateKind kind) {
        event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
        setGuid(event->info.root_resource_guid, 1);
        setGuid(event->resource_guid, 1);
        auto* update = DDS_Monitoring_ResourceUpdatePluginSupport_create_data();
        update->_d = kind;
        event->value._u.application.resource_update = update;
        return update;
    }

    void create(unsigned char number, unsigned char owner, DDS_UnsignedLong classId, const char* name) {
        Event event;
        auto* update = updateOf(event, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND);
        setGuid(update->_u.new_resource.guid, number);
        if (owner != 0)
            setGuid(update->_u.new_resource.owner_resource_guid, owner);
        update->_u.new_resource.class_id = classId;
        DDS_String_replace(&update->_u.new_resource.name, name);
        interpreter.event(*event, infoOf(7));
    }

    void createSmallTree() {
        create(1, 0, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
        create(2, 1, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
        create(3, 2, ORX_MONITORING_TOPIC_CLASS_ID, "t");
        changes.clear();
    }
};

TEST_F(Interpreting, CreationIsToldOnceWithItsPath) {
    createSmallTree();
    create(4, 2, ORX_MONITORING_TOPIC_CLASS_ID, "u");
    create(4, 2, ORX_MONITORING_TOPIC_CLASS_ID, "u");
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].kind, ChangeKind::created);
    EXPECT_EQ(changes[0].path, "/applications/app/domain_participants/p/topics/u");
    EXPECT_EQ(changes[0].application, "app");
}

TEST_F(Interpreting, DeletingAParticipantTellsTheEndOfItsTopicsFirst) {
    createSmallTree();
    Event event;
    auto* update = updateOf(event, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND);
    setGuid(update->_u.delete_resource.guid, 2);
    interpreter.event(*event, infoOf(7));
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].path, "/applications/app/domain_participants/p/topics/t");
    EXPECT_EQ(changes[1].path, "/applications/app/domain_participants/p");
    EXPECT_EQ(changes[1].kind, ChangeKind::deleted);
    EXPECT_EQ(interpreter.tree().size(), 1U);
}

TEST_F(Interpreting, GroupsOfASampleAreToldOneByOneWithTheirLeaves) {
    createSmallTree();
    Event event;
    setGuid(event->info.root_resource_guid, 1);
    setGuid(event->resource_guid, 3);
    event->info.epoch_metric = 9;
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_TOPIC_CLASS_ID);
    event->value._u.topic.topic_name = DDS_String_dup("square");
    event->value._u.topic.status_inconsistent_topic =
        DDS_Monitoring_InconsistentTopicStatusPluginSupport_create_data();
    event->value._u.topic.status_inconsistent_topic->total_count = 5;
    interpreter.event(*event, infoOf(7));
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].group, "topic_name");
    EXPECT_EQ(changes[0].values.at(0).text, "square");
    EXPECT_EQ(changes[1].group, "status_inconsistent_topic");
    EXPECT_EQ(changes[1].values.at(0).path, "total_count");
    EXPECT_EQ(changes[1].values.at(0).text, "5");
    EXPECT_EQ(changes[1].epochs->second, 9U);
    EXPECT_EQ(changes[1].path, "/applications/app/domain_participants/p/topics/t");
}

TEST_F(Interpreting, AnUnknownDiscriminatorTellsNothing) {
    Event event;
    event->value._d = 12345;
    interpreter.event(*event, infoOf(7));
    EXPECT_TRUE(changes.empty());
}

TEST_F(Interpreting, AChangeOfMetricsOfAnUnknownResourceIsToldByItsGuid) {
    Event event;
    auto* update = updateOf(event, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND);
    setGuid(update->_u.change_resource.guid, 99);
    interpreter.event(*event, infoOf(7));
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].kind, ChangeKind::selection);
    EXPECT_TRUE(changes[0].path.empty());
    EXPECT_EQ(changes[0].guid[0], 99);
}

TEST_F(Interpreting, TheEndOfAWriterEndsItsApplication) {
    createSmallTree();
    tail::Guid writer{};
    writer[0] = 7;
    interpreter.writerLeft(writer, 0);
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].kind, ChangeKind::gone);
    EXPECT_EQ(changes[0].path, "/applications/app");
    EXPECT_EQ(interpreter.tree().size(), 0U);
    interpreter.writerLeft(writer, 0);
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(Interpreting, UndecodableSamplesAreToldByTheirGrowth) {
    interpreter.undecodable("event", 0, 0);
    interpreter.undecodable("event", 2, 0);
    interpreter.undecodable("event", 2, 0);
    interpreter.undecodable("event", 5, 0);
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].values.at(0).text, "2");
    EXPECT_EQ(changes[1].values.at(0).text, "3");
}

// A group of the application, as a change or as a snapshot of it.
void tellHostname(tail::Interpreter& interpreter, const char* name, bool isSnapshot) {
    Event event;
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    setGuid(event->info.root_resource_guid, 1);
    setGuid(event->resource_guid, 1);
    event->info.is_snapshot = isSnapshot ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
    ASSERT_NE(DDS_String_replace(&event->value._u.application.hostname, name), nullptr);
    interpreter.event(*event, infoOf(7));
}

TEST_F(Interpreting, ASnapshotOfValuesThatWereShownIsNotShownAgain) {
    createSmallTree();
    tellHostname(interpreter, "a", true);
    tellHostname(interpreter, "a", true);
    EXPECT_EQ(changes.size(), 1U);
    tellHostname(interpreter, "a", false);
    EXPECT_EQ(changes.size(), 2U) << "a change is shown";
    tellHostname(interpreter, "b", true);
    EXPECT_EQ(changes.size(), 3U);
    interpreter.writerLeft(tail::Guid{7}, 0);
    createSmallTree();
    tellHostname(interpreter, "b", true);
    EXPECT_EQ(changes.size(), 1U) << "a new application has shown nothing";
}

struct Patient : Interpreting {
    Patient() {
        interpreter = tail::Interpreter{[this](const Change& change) { changes.push_back(change); }, 100};
    }
};

TEST_F(Patient, ChangesWaitForTheNameOfTheirApplication) {
    interpreter.tick(1000);
    create(2, 1, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
    interpreter.tick(1099);
    EXPECT_TRUE(changes.empty());
    create(1, 0, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].path, "/applications/app");
    EXPECT_EQ(changes[1].path, "/applications/app/domain_participants/p");
    EXPECT_EQ(changes[1].application, "app");
}

TEST_F(Patient, ChangesDoNotWaitForEver) {
    interpreter.tick(1000);
    create(2, 1, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
    interpreter.tick(1100);
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_NE(changes[0].path.find("/?/GUID("), std::string::npos);
    create(3, 2, ORX_MONITORING_TOPIC_CLASS_ID, "t");
    interpreter.flush();
    EXPECT_EQ(changes.size(), 2U);
    create(4, 2, ORX_MONITORING_TOPIC_CLASS_ID, "u");
    interpreter.writerLeft(tail::Guid{7}, 0);
    ASSERT_EQ(changes.size(), 4U) << "what waits is told before the end";
    EXPECT_EQ(changes[3].kind, ChangeKind::gone);
}

} // namespace
