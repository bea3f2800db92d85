// The catalogue: counts, ids, order of groups, dispatch; and the three functions of every group.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "RandomValue.hpp"
#include "orxmonitoring2d/metric_groups.h"
#include "orxmonitoring2d/schema_types.h"
#include "src/dataModel/IdHash.hpp"
#include "src/dataModel/MetricCatalogue.h"
#include "src/dataModel/MetricTable.hpp"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"

namespace {

struct ClassFacts {
    const char* name;
    DDS_UnsignedLong id;
    const char* structure;
    DDS_UnsignedLong eventGroups, periodicGroups, metrics;
    const DDS_TypeDescriptor* event;
    const DDS_TypeDescriptor* periodic;
};

const ClassFacts classes[] = {
    {"type", 46964057, "RegisteredType", 1, 0, 0, &DDS_Monitoring_RegisteredTypeEvent_g_type,
        &DDS_Monitoring_RegisteredTypePeriodic_g_type},
    {"topic", 208182173, "Topic", 4, 0, 1, &DDS_Monitoring_TopicEvent_g_type,
        &DDS_Monitoring_TopicPeriodic_g_type},
    {"data_writer", 142415660, "DataWriter", 9, 8, 59, &DDS_Monitoring_DataWriterEvent_g_type,
        &DDS_Monitoring_DataWriterPeriodic_g_type},
    {"publisher", 116239698, "Publisher", 1, 0, 0, &DDS_Monitoring_PublisherEvent_g_type,
        &DDS_Monitoring_PublisherPeriodic_g_type},
    {"data_reader", 179666769, "DataReader", 10, 6, 58, &DDS_Monitoring_DataReaderEvent_g_type,
        &DDS_Monitoring_DataReaderPeriodic_g_type},
    {"subscriber", 94988179, "Subscriber", 1, 0, 0, &DDS_Monitoring_SubscriberEvent_g_type,
        &DDS_Monitoring_SubscriberPeriodic_g_type},
    {"domain_participant", 99258059, "Participant", 4, 39, 65, &DDS_Monitoring_ParticipantEvent_g_type,
        &DDS_Monitoring_ParticipantPeriodic_g_type},
    {"application", 265647670, "Application", 6, 34, 57, &DDS_Monitoring_ApplicationEvent_g_type,
        &DDS_Monitoring_ApplicationPeriodic_g_type},
};

std::uint32_t idOf(const std::string& text) {
    return orx::dataModel::md5::firstWord(text) & orx::dataModel::idMask;
}

// The members that are groups, in order: of events, then periodic ones.
std::vector<const DDS_TypeMember*> groupMembers(const ClassFacts& facts) {
    std::vector<const DDS_TypeMember*> members;
    for (const auto* type : {facts.event, facts.periodic}) {
        for (const auto& member : std::span(type->members, type->memberCount)) {
            if (std::strcmp(member.name, "__empty_dummy") != 0)
                members.push_back(&member);
        }
    }
    return members;
}

size_t indexOf(const ClassFacts& facts, const std::string& group) {
    const auto members = groupMembers(facts);
    for (size_t i = 0; i < members.size(); ++i) {
        if (group == members[i]->name)
            return i;
    }
    return members.size();
}

const ClassFacts& classOf(const char* name) {
    for (const auto& facts : classes) {
        if (std::strcmp(facts.name, name) == 0)
            return facts;
    }
    std::abort();
}

std::span<const ORX_Monitoring_MetricInfo> metricsOf(const ClassFacts& facts) {
    return {ORX_Monitoring_getMetricInfo(facts.id), facts.metrics};
}

const DDS_TypeDescriptor& target(const DDS_TypeDescriptor& type) {
    return type.kind == DDS_TYPE_ALIAS ? target(*type.element) : type;
}

// Every metric against an independent account (metrics.txt): what a collector knows by name and id.
TEST(MetricCatalogue, IsWhatTheAccountTells) {
    std::ostringstream account;
    account << std::ifstream{METRICS_TEXT_FILE}.rdbuf();
    std::ostringstream tables;
    for (const auto& facts : classes) {
        const auto* info = ORX_Monitoring_getResourceInfo(facts.id);
        tables << facts.name << " " << facts.id << " event " << info->eventMetricGroupCount << " periodic "
               << info->periodicMetricGroupCount << "\n";
        const auto members = groupMembers(facts);
        for (const auto& metric : std::span(ORX_Monitoring_getMetricInfo(facts.id), info->metricCount)) {
            ASSERT_LT(metric.metricGroupIndex, members.size()) << metric.name;
            tables << "  " << metric.name << " id " << metric.metricId << " group " << metric.metricGroupIndex
                   << " " << members[metric.metricGroupIndex]->name << "\n";
        }
    }
    EXPECT_EQ(tables.str(), account.str());
}

TEST(MetricCatalogue, CountsOfEachClass) {
    size_t groups = 0, metrics = 0;
    for (const auto& facts : classes) {
        const auto* info = ORX_Monitoring_getResourceInfo(facts.id);
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->eventMetricGroupCount, facts.eventGroups) << facts.name;
        EXPECT_EQ(info->periodicMetricGroupCount, facts.periodicGroups) << facts.name;
        EXPECT_EQ(info->metricCount, facts.metrics) << facts.name;
        EXPECT_EQ(groupMembers(facts).size(), facts.eventGroups + facts.periodicGroups) << facts.name;
        groups += facts.eventGroups + facts.periodicGroups;
        metrics += facts.metrics;
    }
    EXPECT_EQ(groups, 123U);
    EXPECT_EQ(metrics, 240U);
}

TEST(MetricCatalogue, AClassIdIsTheHashOfItsName) {
    for (const auto& facts : classes)
        EXPECT_EQ(facts.id, idOf(facts.name)) << facts.name;
}

TEST(MetricCatalogue, GroupsStandInTheOrderOfTheMembersWithTheirHashedIds) {
    for (const auto& facts : classes) {
        const auto members = groupMembers(facts);
        const auto* groups = ORX_Monitoring_getMetricGroupInfo(facts.id);
        for (size_t i = 0; i < members.size(); ++i) {
            EXPECT_EQ(groups[i].groupId, idOf(members[i]->name)) << facts.name << " " << members[i]->name;
            EXPECT_NE(groups[i].mapAppToDistMetricGroupFunction, nullptr);
            EXPECT_NE(groups[i].setDistMetricGroupIntoSample, nullptr);
            EXPECT_NE(groups[i].deleteDistMetricGroupFunction, nullptr);
        }
    }
    const auto& application = classOf("application");
    EXPECT_EQ(ORX_Monitoring_getMetricGroupInfo(application.id)[8].groupId, 250036411U);
    EXPECT_EQ(ORX_Monitoring_getMetricGroupInfo(classOf("topic").id)[0].groupId, 87401667U);
}

TEST(MetricCatalogue, MetricIdsAreHashesOfPathsAndUniqueAsAreNames) {
    std::set<std::uint32_t> ids;
    std::set<std::string> names;
    for (const auto& facts : classes) {
        for (const auto& metric : metricsOf(facts)) {
            EXPECT_TRUE(ids.insert(metric.metricId).second) << metric.name;
            EXPECT_TRUE(names.insert(metric.name).second) << metric.name;
            EXPECT_EQ(std::string(metric.name).rfind(std::string("dds_") + facts.name + "_", 0), 0U)
                << metric.name;
        }
    }
    EXPECT_EQ(ids.size(), 240U);
    for (const auto& metric : metricsOf(classOf("data_reader"))) {
        if (std::strcmp(metric.name, "dds_data_reader_cache_samples_peak") == 0) {
            EXPECT_EQ(metric.metricId, 232919466U);
            EXPECT_EQ(metric.metricGroupIndex, 12U);
        }
    }
}

TEST(MetricCatalogue, AMetricIsDistributedAsItsGroup) {
    size_t onChange = 0, periodic = 0;
    for (const auto& facts : classes) {
        for (const auto& metric : metricsOf(facts)) {
            const bool isEvent = metric.metricGroupIndex < facts.eventGroups;
            EXPECT_LT(metric.metricGroupIndex, facts.eventGroups + facts.periodicGroups) << metric.name;
            EXPECT_EQ(metric.distributionKind, isEvent ? DDS_OBSERVABLE_ON_CHANGE_DISTRIBUTION_KIND
                                                       : DDS_OBSERVABLE_PERIODIC_DISTRIBUTION_KIND)
                << metric.name;
            ++(isEvent ? onChange : periodic);
        }
    }
    EXPECT_EQ(onChange, 20U);
    EXPECT_EQ(periodic, 220U);
}

// In a family X, X_1, X_2 only the last has metrics.
TEST(MetricCatalogue, MetricsNameTheHighestSuffixOfAFamily) {
    for (const auto& facts : classes) {
        const auto members = groupMembers(facts);
        for (const auto& metric : metricsOf(facts)) {
            const std::string group = members[metric.metricGroupIndex]->name;
            const bool isSuffixed = group.ends_with("_1") || group.ends_with("_2");
            const auto next = isSuffixed
                                  ? group.substr(0, group.size() - 1) + static_cast<char>(group.back() + 1)
                                  : group + "_1";
            EXPECT_EQ(indexOf(facts, next), members.size()) << metric.name;
        }
    }
}

TEST(MetricCatalogue, MetricsOfAClassStandInTheOrderOfTheirGroups) {
    for (const auto& facts : classes) {
        EXPECT_TRUE(
            std::ranges::is_sorted(metricsOf(facts), {}, &ORX_Monitoring_MetricInfo::metricGroupIndex));
    }
}

TEST(MetricCatalogue, ClassesWithoutMetricsHaveOneEventGroup) {
    for (const char* name : {"type", "publisher", "subscriber"}) {
        const auto* info = ORX_Monitoring_getResourceInfo(classOf(name).id);
        EXPECT_EQ(info->metricCount, 0U);
        EXPECT_EQ(info->periodicMetricGroupCount, 0U);
        EXPECT_EQ(info->eventMetricGroupCount, 1U);
        EXPECT_NE(ORX_Monitoring_getMetricInfo(classOf(name).id), nullptr);
    }
    EXPECT_STREQ(groupMembers(classOf("type"))[0]->name, "identifier");
    EXPECT_STREQ(groupMembers(classOf("publisher"))[0]->name, "dds_guid");
    EXPECT_STREQ(groupMembers(classOf("subscriber"))[0]->name, "dds_guid");
}

TEST(MetricCatalogue, TheTopicHasOneMetric) {
    const auto metrics = metricsOf(classOf("topic"));
    ASSERT_EQ(metrics.size(), 1U);
    EXPECT_STREQ(metrics[0].name, "dds_topic_inconsistent_total");
    EXPECT_EQ(metrics[0].metricGroupIndex, indexOf(classOf("topic"), "status_inconsistent_topic"));
}

TEST(MetricCatalogue, TheApplicationBeginsWithTheTreeAndHasItsOwnGroups) {
    const auto& application = classOf("application");
    EXPECT_EQ(indexOf(application, "resource_update"), ORX_MONITORING_APPLICATION_RESOURCE_UPDATE_GROUP);
    EXPECT_EQ(indexOf(application, "resource_registry"), ORX_MONITORING_APPLICATION_RESOURCE_REGISTRY_GROUP);
    EXPECT_EQ(indexOf(application, "hostname"), 2U);
    EXPECT_EQ(indexOf(application, "process_id"), 3U);
    EXPECT_EQ(indexOf(application, "logging"), 5U);
    EXPECT_EQ(indexOf(application, "process_utilization_memory_usage"), 26U);
    for (const auto& member :
        std::span(DDS_Monitoring_Application_g_type.members, DDS_Monitoring_Application_g_type.memberCount)) {
        EXPECT_STRNE(member.name, "resource_update");
        EXPECT_STRNE(member.name, "resource_registry");
    }
}

TEST(MetricCatalogue, AccessorsGiveTheSameTablesAsTheDispatch) {
    EXPECT_EQ(
        DDS_Monitoring_Participant_get_metric_group_info(), ORX_Monitoring_getMetricGroupInfo(99258059));
    EXPECT_EQ(DDS_Monitoring_Participant_get_metric_info(), ORX_Monitoring_getMetricInfo(99258059));
    EXPECT_EQ(DDS_Monitoring_Participant_get_resource_info(), ORX_Monitoring_getResourceInfo(99258059));
    EXPECT_EQ(DDS_Monitoring_RegisteredType_get_resource_info(), ORX_Monitoring_getResourceInfo(46964057));
}

TEST(MetricCatalogue, AnUnknownClassIsAPreconditionFailure) {
    LogCapture log;
    EXPECT_EQ(ORX_Monitoring_getMetricGroupInfo(0), nullptr);
    EXPECT_EQ(ORX_Monitoring_getMetricInfo(265647671), nullptr);
    EXPECT_EQ(ORX_Monitoring_getResourceInfo(0xFFFFFFFF), nullptr);
    EXPECT_EQ(log.count("\n", "PRECONDITION"), 3U) << log.text();
}

// A value of each group, in its application form.
class ApplicationValue {
public:
    ApplicationValue(const DDS_TypeDescriptor& type, unsigned seed)
        : type_(target(type).kind == DDS_TYPE_STRING ? target(type) : type) {
        storage_.resize(type_.size);
        if (type_.runtime != nullptr) {
            EXPECT_TRUE(DDS_Type_initialize(&type_, storage_.data()));
        }
        RandomValue random(seed);
        random.allPresent = true;
        EXPECT_TRUE(random.fill(type_, storage_.data()));
    }
    ~ApplicationValue() {
        if (type_.kind == DDS_TYPE_STRING) {
            DDS_String_free(text());
        } else if (type_.runtime != nullptr) {
            DDS_Type_finalize(&type_, storage_.data());
        }
    }
    ApplicationValue(const ApplicationValue&) = delete;
    ApplicationValue& operator=(const ApplicationValue&) = delete;

    const void* group() {
        return type_.kind == DDS_TYPE_STRING ? text() : static_cast<const void*>(storage_.data());
    }
    bool equals(const void* mapped) {
        if (type_.kind == DDS_TYPE_STRING)
            return std::strcmp(text(), static_cast<const char*>(mapped)) == 0;
        if (type_.runtime == nullptr)
            return std::memcmp(storage_.data(), mapped, type_.size) == 0;
        return DDS_Type_equals(&type_, storage_.data(), mapped);
    }

private:
    char* text() {
        char* value;
        std::memcpy(&value, storage_.data(), sizeof value);
        return value;
    }

    const DDS_TypeDescriptor& type_;
    std::vector<char> storage_; // from operator new, aligned for anything
};

template <typename Visit> void forEachGroup(Visit visit) {
    for (const auto& facts : classes) {
        const auto members = groupMembers(facts);
        for (size_t i = 0; i < members.size(); ++i) {
            visit(facts, i, *members[i], ORX_Monitoring_getMetricGroupInfo(facts.id)[i]);
        }
    }
}

TEST(DistributionMapping, CopiesEveryGroupAndReturnsItToTheArena) {
    TestArena arena;
    forEachGroup([&](const ClassFacts& facts, size_t index, const DDS_TypeMember& member, const auto& group) {
        ApplicationValue value(*member.type, static_cast<unsigned>(index));
        void* mapped = group.mapAppToDistMetricGroupFunction(value.group(), arena.get());
        ASSERT_NE(mapped, nullptr) << facts.name << " " << member.name;
        EXPECT_TRUE(value.equals(mapped)) << facts.name << " " << member.name;
        group.deleteDistMetricGroupFunction(mapped);
        EXPECT_EQ(arena.liveBuffers(), 0U) << facts.name << " " << member.name;
    });
}

TEST(DistributionMapping, PutsEveryGroupIntoItsOwnPlaceOfASample) {
    forEachGroup([&](const ClassFacts& facts, size_t index, const DDS_TypeMember& member, const auto& group) {
        const bool isEvent = index < facts.eventGroups;
        const auto& unionType =
            isEvent ? DDS_Monitoring_EventUnion_g_type : DDS_Monitoring_PeriodicUnion_g_type;
        union Sample {
            DDS_Monitoring_Event event;
            DDS_Monitoring_Periodic periodic;
        };
        std::vector<char> bytes(sizeof(Sample)), expected(sizeof(Sample));
        int group_ = 0;
        group.setDistMetricGroupIntoSample(bytes.data(), &group_);
        const size_t value =
            isEvent ? offsetof(DDS_Monitoring_Event, value) : offsetof(DDS_Monitoring_Periodic, value);
        for (const auto& arm : std::span(unionType.members, unionType.memberCount)) {
            if (arm.labels[0] != facts.id)
                continue;
            const void* pointer = &group_;
            std::memcpy(expected.data() + value + unionType.discriminatorOffset, &facts.id, sizeof facts.id);
            std::memcpy(expected.data() + value + arm.offset + member.offset, &pointer, sizeof pointer);
        }
        EXPECT_EQ(bytes, expected) << facts.name << " " << member.name;
    });
}

TEST(DistributionMapping, AMissingValueGivesNoneInSilence) {
    TestArena arena;
    LogCapture log;
    forEachGroup([&](const ClassFacts& facts, size_t, const DDS_TypeMember& member, const auto& group) {
        EXPECT_EQ(group.mapAppToDistMetricGroupFunction(nullptr, arena.get()), nullptr)
            << facts.name << member.name;
        group.deleteDistMetricGroupFunction(nullptr);
    });
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_EQ(arena.liveBuffers(), 0U);
}

// Arenas with more and more room until it suffices, so that each reservation is the one that fails: map gives
// null or a whole copy, and the arena takes everything back at its end.
TEST(DistributionMapping, FailsWithoutALineWhenMemoryIsOut) {
    size_t failures = 0, groupsThatFailed = 0;
    forEachGroup([&](const ClassFacts& facts, size_t index, const DDS_TypeMember& member, const auto& group) {
        ApplicationValue value(*member.type, static_cast<unsigned>(index));
        ASSERT_TRUE(member.type->runtime == nullptr || DDS_Type_prepare(member.type));
        const auto before = ORXOsapiHeap_getLiveBufferCount();
        LogCapture log;
        const auto failuresBefore = failures;
        bool done = false;
        for (REDAInlineMemorySize room = 0; !done && room < 60000; room += 16) {
            TestArena arena(65536, true);
            void* rest = REDAInlineMemory_reserveBufferI(arena.get(), 65536 - room, 1);
            if (rest == nullptr)
                continue;
            void* mapped = group.mapAppToDistMetricGroupFunction(value.group(), arena.get());
            done = mapped != nullptr;
            failures += !done;
            if (done) {
                EXPECT_TRUE(value.equals(mapped)) << facts.name << " " << member.name;
                group.deleteDistMetricGroupFunction(mapped);
                EXPECT_EQ(arena.liveBuffers(), 1U) << facts.name << " " << member.name;
            }
        }
        groupsThatFailed += failures > failuresBefore;
        EXPECT_TRUE(done) << facts.name << " " << member.name;
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before) << facts.name << " " << member.name;
        EXPECT_TRUE(log.lines().empty()) << log.text();
    });
    EXPECT_EQ(groupsThatFailed, 123U);
    EXPECT_GT(failures, 123U);
}

TEST(DistributionMapping, TextsOfAnyLengthPass) {
    TestArena arena;
    const std::string text(1000, 'x');
    void* mapped = DDS_Monitoring_Application_hostname_map_to_dist(text.c_str(), arena.get());
    ASSERT_NE(mapped, nullptr);
    EXPECT_EQ(text, static_cast<const char*>(mapped));
    DDS_Monitoring_Application_hostname_delete_dist(mapped);
}

} // namespace
