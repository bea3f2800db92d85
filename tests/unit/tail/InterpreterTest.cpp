#include "tail/Interpreter.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "src/dataModel/MetricCatalogue.h"
#include "tail/Printer.hpp"

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

struct Named {
    unsigned char number;
    unsigned char owner;
    DDS_UnsignedLong classId;
    const char* name;
};

// The registry of the application 1, as its snapshot tells it.
void tellRegistry(tail::Interpreter& interpreter, std::initializer_list<Named> resources) {
    Event event;
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    setGuid(event->info.root_resource_guid, 1);
    setGuid(event->resource_guid, 1);
    event->info.is_snapshot = DDS_BOOLEAN_TRUE;
    auto* registry = DDS_Monitoring_ResourceRegistryPluginSupport_create_data();
    ASSERT_NE(registry, nullptr);
    event->value._u.application.resource_registry = registry;
    auto& references = registry->resources;
    ASSERT_TRUE(
        DDS_Monitoring_ResourceReferenceSeq_set_length(&references, static_cast<DDS_Long>(resources.size())));
    DDS_Long index = 0;
    for (const Named& each : resources) {
        auto*& resource = *DDS_Monitoring_ResourceReferenceSeq_get_reference(&references, index++);
        if (resource == nullptr)
            resource = DDS_Monitoring_ResourcePluginSupport_create_data();
        setGuid(resource->guid, each.number);
        if (each.owner != 0)
            setGuid(resource->owner_guid, each.owner);
        resource->class_id = static_cast<DDS_Monitoring_ResourceClassId>(each.classId);
        ASSERT_NE(DDS_String_replace(&resource->name, each.name), nullptr);
    }
    interpreter.event(*event, infoOf(7));
}

void tellTopicName(tail::Interpreter& interpreter, unsigned char topic) {
    Event event;
    setGuid(event->info.root_resource_guid, 1);
    setGuid(event->resource_guid, topic);
    event->info.is_snapshot = DDS_BOOLEAN_TRUE;
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_TOPIC_CLASS_ID);
    ASSERT_NE(DDS_String_replace(&event->value._u.topic.topic_name, "square"), nullptr);
    interpreter.event(*event, infoOf(7));
}

// Who joins in the middle of a snapshot meant for another gets values before the registry.
TEST_F(Patient, WhatWaitedForARegistryIsToldWithThePathsThatItNames) {
    interpreter.tick(1000);
    tellTopicName(interpreter, 3);
    EXPECT_TRUE(changes.empty());
    tellRegistry(interpreter,
        {{1, 0, ORX_MONITORING_APPLICATION_CLASS_ID, "app"}, {2, 1, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p"},
            {3, 2, ORX_MONITORING_TOPIC_CLASS_ID, "t"}});
    ASSERT_EQ(changes.size(), 4U);
    for (const Change& change : changes)
        EXPECT_TRUE(change.path.starts_with("/applications/app")) << change.path;
    EXPECT_EQ(std::count_if(changes.begin(), changes.end(),
                  [](const Change& change) { return change.group == "topic_name"; }),
        1);
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

// A data writer's cache status, as the writer 7 of the application sends it.
void tellCache(tail::Interpreter& interpreter, unsigned char resource, long long count, long long peak,
    unsigned char writer = 7) {
    auto* sample = DDS_Monitoring_PeriodicPluginSupport_create_data();
    setGuid(sample->resource_guid, resource);
    sample->value._d = static_cast<DDS_Long>(ORX_MONITORING_DATA_WRITER_CLASS_ID);
    auto* cache = DDS_Monitoring_DataWriterCacheStatusPluginSupport_create_data();
    cache->sample_count = count;
    cache->sample_count_peak = peak;
    sample->value._u.data_writer.status_cache = cache;
    interpreter.periodic(*sample, infoOf(writer));
    DDS_Monitoring_PeriodicPluginSupport_destroy_data(sample);
}

TEST_F(Interpreting, OfPeriodicValuesThoseAreToldThatChanged) {
    createSmallTree();
    create(5, 2, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w");
    changes.clear();
    tellCache(interpreter, 5, 0, 0);
    EXPECT_TRUE(changes.empty()) << "before the first, values count as zero";
    tellCache(interpreter, 5, 3, 4);
    tellCache(interpreter, 5, 3, 4);
    tellCache(interpreter, 5, 2, 4);
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].topic, "periodic");
    EXPECT_EQ(changes[0].group, "status_cache");
    EXPECT_EQ(changes[0].application, "app");
    ASSERT_EQ(changes[0].values.size(), 2U);
    EXPECT_EQ(changes[0].values[0].path, "sample_count_peak");
    EXPECT_EQ(changes[0].values[0].text, "4");
    ASSERT_EQ(changes[1].values.size(), 1U);
    EXPECT_EQ(changes[1].values[0].path, "sample_count");
    EXPECT_EQ(changes[1].values[0].text, "2");
}

TEST_F(Interpreting, AllPeriodicValuesAreToldWhenAskedFor) {
    interpreter = tail::Interpreter{[this](const Change& change) { changes.push_back(change); }, 0, true};
    createSmallTree();
    create(5, 2, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w");
    changes.clear();
    tellCache(interpreter, 5, 0, 0);
    tellCache(interpreter, 5, 0, 0);
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[1].values.size(), 8U);
}

TEST_F(Interpreting, ValuesOfAResourceThatCameAgainAreNew) {
    createSmallTree();
    create(5, 2, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w");
    tellCache(interpreter, 5, 3, 3);
    interpreter.writerLeft(tail::Guid{7}, 0);
    createSmallTree();
    create(5, 2, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w");
    changes.clear();
    tellCache(interpreter, 5, 3, 3);
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(Patient, PeriodicValuesOfAStrangerWaitForItsTree) {
    interpreter.tick(1000);
    tellCache(interpreter, 5, 3, 3);
    interpreter.tick(1050);
    create(1, 0, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
    create(5, 1, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w");
    changes.clear();
    tellCache(interpreter, 5, 3, 3);
    ASSERT_EQ(changes.size(), 1U) << "what was held back is not taken for shown";
    EXPECT_EQ(changes[0].path, "/applications/app/data_writers/w");
    tellCache(interpreter, 6, 3, 3);
    interpreter.tick(99'000);
    tellCache(interpreter, 6, 3, 3);
    EXPECT_EQ(changes.size(), 1U) << "a resource that a known application does not have any more";
    tellCache(interpreter, 9, 3, 3, 8);
    interpreter.tick(99'100);
    EXPECT_EQ(changes.size(), 1U);
    tellCache(interpreter, 9, 3, 3, 8);
    EXPECT_EQ(changes.size(), 2U) << "an application that never tells a tree";
}

// Log messages of the application, in one sample.
class Logging {
public:
    explicit Logging(std::uint64_t epoch, bool isSnapshot = false)
        : sample_(DDS_Monitoring_LoggingPluginSupport_create_data()) {
        setGuid(sample_->info.root_resource_guid, 1);
        sample_->info.epoch = epoch;
        sample_->info.is_snapshot = isSnapshot ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
        DDS_Monitoring_LoggingMessageSeq_initialize(&messages_);
        DDS_Monitoring_LogReferenceSeq_initialize(&references_);
    }
    ~Logging() {
        sample_->update = nullptr;
        sample_->snapshot = nullptr;
        DDS_Monitoring_LogReferenceSeq_unloan(&references_);
        DDS_Monitoring_LoggingMessageSeq_finalize(&messages_);
        DDS_Monitoring_LoggingPluginSupport_destroy_data(sample_);
    }
    Logging(const Logging&) = delete;
    Logging& operator=(const Logging&) = delete;

    Logging& add(std::uint64_t sn, const char* text, unsigned char facility = 1,
        DDS_Monitoring_LoggingLevel severity = DDS_Monitoring_LoggingLevel_WARNING_LEVEL,
        const char* category = nullptr) {
        const DDS_Long length = DDS_Monitoring_LoggingMessageSeq_get_length(&messages_);
        DDS_Monitoring_LoggingMessageSeq_ensure_length(&messages_, length + 1, length + 1);
        auto& message = *DDS_Monitoring_LoggingMessageSeq_get_reference(&messages_, length);
        message.sn = sn;
        message.facility = facility;
        message.severity = severity;
        message.timestamp = {1'700'000'000, 123'456'789};
        DDS_String_replace(&message.message, text);
        if (category != nullptr) {
            DDS_Monitoring_StructuredDataMapEntrySeq_ensure_length(&message.structured_data, 1, 1);
            auto& entry =
                *DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&message.structured_data, 0);
            DDS_String_replace(&entry.key, "Zentrox");
            DDS_Monitoring_NameValuePairSeq_ensure_length(&entry.pairs, 2, 2);
            auto* pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry.pairs, 0);
            DDS_String_replace(&pair->name, "other");
            DDS_String_replace(&pair->value, "thing");
            pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry.pairs, 1);
            DDS_String_replace(&pair->name, "category");
            DDS_String_replace(&pair->value, category);
        }
        return *this;
    }
    const DDS_Monitoring_Logging& sample() {
        if (sample_->info.is_snapshot != 0) {
            sample_->snapshot = &messages_;
            return *sample_;
        }
        for (DDS_Long i = 0; i < DDS_Monitoring_LoggingMessageSeq_get_length(&messages_); ++i)
            pointers_.push_back(DDS_Monitoring_LoggingMessageSeq_get_reference(&messages_, i));
        const auto count = static_cast<DDS_Long>(pointers_.size());
        DDS_Monitoring_LogReferenceSeq_loan_contiguous(&references_, pointers_.data(), count, count);
        sample_->update = &references_;
        return *sample_;
    }

private:
    DDS_Monitoring_Logging* sample_;
    DDS_Monitoring_LoggingMessageSeq messages_{};
    DDS_Monitoring_LogReferenceSeq references_{};
    std::vector<DDS_Monitoring_LogReference> pointers_;
};

const std::string& leafOf(const Change& change, const char* path) {
    static const std::string none = "no such leaf";
    for (const tail::Leaf& leaf : change.values) {
        if (leaf.path == path)
            return leaf.text;
    }
    return none;
}

TEST_F(Interpreting, EachLogMessageIsAChangeOfItsOwn) {
    createSmallTree();
    Logging logging(3);
    logging.add(7, "ERROR disk is full\n", 23, DDS_Monitoring_LoggingLevel_ERROR_LEVEL, "Discovery");
    logging.add(8, "two", 77, static_cast<DDS_Monitoring_LoggingLevel>(9));
    interpreter.logging(logging.sample(), infoOf(9));
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].kind, ChangeKind::log);
    EXPECT_EQ(changes[0].application, "app");
    EXPECT_FALSE(changes[0].snapshot);
    EXPECT_EQ(changes[0].logEpoch, 3U);
    EXPECT_EQ(changes[0].timeNs, 1'700'000'000'123'456'789) << "the message's own time";
    EXPECT_EQ(leafOf(changes[0], "facility"), "middleware");
    EXPECT_EQ(leafOf(changes[0], "severity"), "ERROR");
    EXPECT_EQ(leafOf(changes[0], "sn"), "7");
    EXPECT_EQ(leafOf(changes[0], "category"), "Discovery");
    EXPECT_EQ(leafOf(changes[0], "message"), "disk is full");
    EXPECT_EQ(leafOf(changes[0], "structured_data.Zentrox.other"), "thing");
    EXPECT_EQ(leafOf(changes[1], "facility"), "facility_77");
    EXPECT_EQ(leafOf(changes[1], "severity"), "severity_9");
    EXPECT_EQ(leafOf(changes[1], "category"), "N/A");
}

TEST_F(Interpreting, ALoggingSnapshotTellsWhatWasNotTold) {
    createSmallTree();
    interpreter.logging(Logging(1).add(5, "five").add(6, "six").sample(), infoOf(9));
    interpreter.logging(Logging(1, true).add(4, "four").add(5, "five").add(6, "six").sample(), infoOf(9));
    ASSERT_EQ(changes.size(), 3U);
    EXPECT_TRUE(changes[2].snapshot);
    EXPECT_EQ(leafOf(changes[2], "message"), "four");
}

TEST_F(Interpreting, EmptyLoggingSampleTellsNothing) {
    DDS_Monitoring_Logging sample{};
    interpreter.logging(sample, infoOf(9));
    EXPECT_TRUE(changes.empty());
    EXPECT_EQ(interpreter.statistics().topic("logging").received, 1U);
}

DDS_SampleInfo numbered(unsigned char writer, unsigned number) {
    DDS_SampleInfo info = infoOf(writer);
    info.publication_sequence_number.low = number;
    return info;
}

TEST_F(Interpreting, GapsAreCountedAsLosses) {
    createSmallTree();
    interpreter.logging(Logging(1).add(0, "a").sample(), numbered(9, 1));
    interpreter.logging(Logging(4).add(1, "b").add(4, "c").sample(), numbered(9, 2));
    interpreter.logging(Logging(5, true).add(1, "b").sample(), numbered(9, 3));
    interpreter.logging(Logging(6).add(3, "d").sample(), numbered(9, 7));
    const auto topic = interpreter.statistics().topic("logging");
    EXPECT_EQ(topic.received, 4U);
    EXPECT_EQ(topic.snapshots, 1U);
    EXPECT_EQ(topic.lost, 3U) << "4, 5 and 6";
    const auto applications = interpreter.statistics().applications();
    ASSERT_EQ(applications.size(), 1U);
    EXPECT_EQ(applications[0].name, "app");
    EXPECT_EQ(applications[0].logMessages, 4U);
    EXPECT_EQ(applications[0].logMessagesLost, 1U) << "the message 2";
    EXPECT_EQ(applications[0].logEpochsLost, 3U) << "2 and 3, and 5, which the snapshot had seen";
    EXPECT_FALSE(applications[0].isGone);
}

TEST_F(Interpreting, EpochsOfEventsAreCountedByWhatMovedThem) {
    const auto tell = [&](std::uint64_t resource, std::uint64_t metric, bool isSnapshot, int kind) {
        Event event;
        event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
        setGuid(event->info.root_resource_guid, 1);
        setGuid(event->resource_guid, 1);
        if (kind >= 0)
            updateOf(event, static_cast<DDS_Monitoring_ResourceUpdateKind>(kind));
        event->info.epoch_resource = resource;
        event->info.epoch_metric = metric;
        event->info.is_snapshot = isSnapshot ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
        interpreter.event(*event, infoOf(7));
    };
    const int creation = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND;
    const int change = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND;
    const auto losses = [&] {
        const auto all = interpreter.statistics().applications();
        return std::pair{all.at(0).resourceEpochsLost, all.at(0).metricEpochsLost};
    };
    tell(5, 9, true, -1); // the first one seen
    tell(6, 9, false, creation);
    tell(6, 10, false, -1);
    tell(6, 10, false, change);
    tell(6, 10, true, -1);
    EXPECT_EQ(losses(), std::pair(std::uint64_t{0}, std::uint64_t{0}));
    tell(8, 10, false, creation);
    EXPECT_EQ(losses(), std::pair(std::uint64_t{1}, std::uint64_t{0}));
    tell(9, 14, false, -1);
    EXPECT_EQ(losses(), std::pair(std::uint64_t{2}, std::uint64_t{3}));
    tell(9, 15, true, -1);
    EXPECT_EQ(losses(), std::pair(std::uint64_t{2}, std::uint64_t{4})) << "a snapshot moves none itself";
    interpreter.writerLeft(tail::Guid{7}, 0);
    EXPECT_TRUE(interpreter.statistics().applications().at(0).isGone);
}

TEST_F(Interpreting, LostEventsAreToldByApplicationOnceASecondAtMost) {
    constexpr std::int64_t second = 1'000'000'000;
    createSmallTree();
    const auto tell = [&](std::uint64_t sequenceNumber, std::uint64_t resourceEpoch) {
        Event event;
        event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
        setGuid(event->info.root_resource_guid, 1);
        setGuid(event->resource_guid, 1);
        event->info.epoch_resource = resourceEpoch;
        event->info.is_snapshot = DDS_BOOLEAN_TRUE;
        interpreter.event(*event, numbered(7, static_cast<DDS_UnsignedLong>(sequenceNumber)));
    };
    tell(1, 0);
    interpreter.tick(second);
    EXPECT_EQ(changes.size(), 0U) << "what was sent before is no loss";
    tell(4, 2); // 2 and 3 were lost on the way
    interpreter.tick(2 * second);
    tell(5, 7); // the application dropped 5 changes
    interpreter.tick(2 * second + 1);
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].kind, ChangeKind::lost);
    EXPECT_EQ(changes[0].path, "/applications/app");
    EXPECT_EQ(changes[0].values[0].text, "2");
    interpreter.flush();
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[1].values[0].text, "5");
    EXPECT_NE(tail::Printer::personLine(changes[1])
                  .find("  app  /applications/app  lost  samples=5  the tree may be incomplete"),
        std::string::npos);
}

} // namespace
