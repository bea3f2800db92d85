// What the agent fills, against the list that it documents.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <set>
#include <span>
#include <sstream>
#include <string>

#include "agent/Agent.hpp"
#include "agent/MetricGroups.hpp"
#include "agent/MetricSources.hpp"
#include "agent/Settings.hpp"
#include "agent/StatusKinds.hpp"
#include "orxmonitoring2d/schema_types.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/dataModel/MetricTable.hpp"
#include "src/resource/MetricSupport.h"

namespace {

using namespace orx::agent;
namespace metrics = orx::dataModel::metrics;

struct ClassFacts {
    DDS_UnsignedLong id;
    std::span<const metrics::Row> rows;
    const DDS_TypeDescriptor* event;
    const DDS_TypeDescriptor* periodic;
};

const ClassFacts topicClass = {ORX_MONITORING_TOPIC_CLASS_ID, metrics::Topic,
    &DDS_Monitoring_TopicEvent_g_type, &DDS_Monitoring_TopicPeriodic_g_type};
const ClassFacts writerClass = {ORX_MONITORING_DATA_WRITER_CLASS_ID, metrics::DataWriter,
    &DDS_Monitoring_DataWriterEvent_g_type, &DDS_Monitoring_DataWriterPeriodic_g_type};
const ClassFacts readerClass = {ORX_MONITORING_DATA_READER_CLASS_ID, metrics::DataReader,
    &DDS_Monitoring_DataReaderEvent_g_type, &DDS_Monitoring_DataReaderPeriodic_g_type};
const ClassFacts participantClass = {ORX_MONITORING_PARTICIPANT_CLASS_ID, metrics::Participant,
    &DDS_Monitoring_ParticipantEvent_g_type, &DDS_Monitoring_ParticipantPeriodic_g_type};
const ClassFacts applicationClass = {ORX_MONITORING_APPLICATION_CLASS_ID, metrics::Application,
    &DDS_Monitoring_ApplicationEvent_g_type, &DDS_Monitoring_ApplicationPeriodic_g_type};
const ClassFacts* const classes[] = {
    &topicClass, &writerClass, &readerClass, &participantClass, &applicationClass};

const DDS_TypeMember* memberOf(const DDS_TypeDescriptor& type, const std::string& name) {
    for (const DDS_TypeMember& member : std::span(type.members, type.memberCount)) {
        if (name == member.name)
            return &member;
    }
    return nullptr;
}

const DDS_TypeDescriptor* groupType(const ClassFacts& facts, const std::string& group) {
    const DDS_TypeMember* member = memberOf(*facts.event, group);
    return (member != nullptr ? member : memberOf(*facts.periodic, group))->type;
}

int64_t numberAt(const void* place, const DDS_TypeDescriptor& type) {
    const auto read = [place]<typename Number>(Number number) {
        std::memcpy(&number, place, sizeof number);
        return static_cast<int64_t>(number);
    };
    switch (type.kind) {
    case DDS_TYPE_LONG:
        return read(DDS_Long{});
    case DDS_TYPE_ULONG:
        return read(DDS_UnsignedLong{});
    case DDS_TYPE_LONGLONG:
        return read(DDS_LongLong{});
    default:
        ADD_FAILURE() << "a kind that no status has: " << type.kind;
        return 0;
    }
}

// The value of a metric in its group. A sequence number's two halves are metrics of their own.
int64_t valueOf(const ClassFacts& facts, const metrics::Row& row, const void* group) {
    const DDS_TypeDescriptor& type = *groupType(facts, std::string(row.group));
    const auto* bytes = static_cast<const char*>(group);
    std::string leaf(row.leaf);
    if (const DDS_TypeMember* member = memberOf(type, leaf))
        return numberAt(bytes + member->offset, *member->type);
    const std::string half = leaf.substr(leaf.rfind('_') + 1);
    const DDS_TypeMember* number = memberOf(type, leaf.substr(0, leaf.rfind('_')));
    EXPECT_NE(number, nullptr) << row.name;
    const DDS_TypeMember* member = memberOf(*number->type, half);
    EXPECT_NE(member, nullptr) << row.name;
    return numberAt(bytes + number->offset + member->offset, *member->type);
}

// What a metric has that nobody fills.
int64_t emptyValueOf(const metrics::Row& row) {
    return row.leaf.ends_with("_number_high") ? -1 : 0;
}

class MetricsTest : public testing::Test {
protected:
    MetricsTest() { setMetricGroupRegistry(registry); }
    Observed* make(Kind kind, Observed* parent) {
        Observed* observed = createObserved(kind);
        observed->handle = ++lastHandle_;
        EXPECT_TRUE(registry.insert(observed, parent));
        return observed;
    }
    // Every metric that is listed as served has a value, and no other has.
    void expectFilledAsListed(const ClassFacts& facts, const Observed& observed) {
        const ORX_Monitoring_MetricInfo* infos = ORX_Monitoring_getMetricInfo(facts.id);
        for (size_t i = 0; i < facts.rows.size(); ++i) {
            const metrics::Row& row = facts.rows[i];
            ASSERT_STREQ(infos[i].name, row.name);
            void* group = nullptr;
            ASSERT_TRUE(resourceForwarder().get_metric_group_function(
                &group, observed.standIn, infos[i].metricGroupIndex))
                << row.name;
            const bool isFilled = valueOf(facts, row, group) != emptyValueOf(row);
            EXPECT_EQ(isFilled, sourceOf(row.name).coverage != Coverage::none) << row.name;
        }
    }
    void endAll(Observed& participant) {
        registry.end(participant);
        for (Registry::Task task = registry.takeWork(); task.observed; task = registry.takeWork()) {
            if (task.isDeletion)
                registry.deleted(*task.observed);
        }
    }
    Registry registry;

private:
    dds_entity_t lastHandle_ = 0;
};

// Everything that the engine can tell, and all of it different from 0.
template <typename Status> typename Status::EngineStatus fullStatus() {
    typename Status::EngineStatus status;
    std::memset(&status, 0, sizeof status);
    if constexpr (requires { status.alive_count; }) {
        status.alive_count = 3;
        status.not_alive_count = 4;
    } else {
        status.total_count = 5;
    }
    if constexpr (requires { status.current_count; })
        status.current_count = 6;
    return status;
}

void fillStatuses(Observed& observed) {
    forEachStatus(observed.kind, [&]<typename Status>() { Status::copy(observed, fullStatus<Status>()); });
    if (observed.kind == Kind::writer)
        observed.statuses.writer.reliableActivityChanged = {1, 2, 1, 2, {}};
}

constexpr uint64_t large = uint64_t{5} << 32; // a sequence number with both halves

OrxWriterFigures fullWriter() {
    OrxWriterFigures figures{};
    figures.resentBytes = 1;
    figures.throttles = 2;
    figures.hasInnerFigures = true;
    figures.lastSequenceNumber = large + 30;
    figures.firstKept = large + 10;
    figures.lastKept = large + 20;
    figures.keptSamples = 11;
    figures.acknowledged = large + 15;
    figures.heartbeats = 3;
    figures.acks = 4;
    figures.nacks = 5;
    figures.resentSamples = 6;
    figures.sampleBytes = 16;
    return figures;
}

TEST_F(MetricsTest, WhatIsListedAsServedIsFilledAndNothingElse) {
    Observed* participant = make(Kind::participant, nullptr);
    Observed* topic = make(Kind::topic, participant);
    Observed* writer = make(Kind::writer, participant);
    Observed* reader = make(Kind::reader, participant);
    for (Observed* observed : {topic, writer, reader})
        fillStatuses(*observed);
    const OrxDataCounters counters = {7, 2, 60, 3, 4};
    updateFigures(writer->figures.writer, fullWriter(), counters);
    updateFigures(reader->figures.reader, {9, true, true, 8, 16}, counters);
    expectFilledAsListed(topicClass, *topic);
    expectFilledAsListed(writerClass, *writer);
    expectFilledAsListed(readerClass, *reader);
    endAll(*participant);
}

TEST_F(MetricsTest, WhatIsNotSupportedIsNotServedAndTheOtherWayRound) {
    Observed* participant = make(Kind::participant, nullptr);
    const auto* standIn = reinterpret_cast<const DDS_DomainParticipant*>(participant->standIn);
    ORX_MonitoringResourceSupportedFeatures features{};
    features.classId = ORX_MONITORING_PARTICIPANT_CLASS_ID;
    features.Features.participant = {DDS_DomainParticipant_is_transport_enabled(standIn, 1),
        DDS_DomainParticipant_is_transport_enabled(standIn, 2)};
    EXPECT_FALSE(features.Features.participant.udpv4Transport) << "the engine has no counters by transport";
    EXPECT_FALSE(features.Features.participant.udpv6Transport);
    ORX_MonitoringResourceSupportedFeatures application{};
    application.classId = ORX_MONITORING_APPLICATION_CLASS_ID;
    application.Features.application.memInfo = 1;
    for (const auto& [facts, supported] :
        {std::pair(&participantClass, &features), std::pair(&applicationClass, &application)}) {
        const ORX_Monitoring_MetricInfo* infos = ORX_Monitoring_getMetricInfo(facts->id);
        for (size_t i = 0; i < facts->rows.size(); ++i) {
            const bool isSupported =
                ORX_MonitoringResourceSupportedFeatures_isMetricSupported(supported, &infos[i]) != 0;
            EXPECT_EQ(isSupported, sourceOf(infos[i].name).coverage != Coverage::none) << infos[i].name;
        }
    }
    endAll(*participant);
}

TEST(MetricsPage, IsWhatTheCodeMakes) {
    std::ifstream file(METRICS_PAGE);
    std::ostringstream text;
    text << file.rdbuf();
    EXPECT_TRUE(text.str() == metricsPage()) << "run agent_metrics_page > docs/metrics.md";
}

TEST(MetricsPage, ListsEveryMetricOnceAndKnowsItsUnit) {
    const std::string page = metricsPage();
    std::set<std::string> names;
    for (const ClassFacts* facts : classes) {
        for (const metrics::Row& row : facts->rows) {
            EXPECT_TRUE(names.insert(row.name).second);
            EXPECT_NE(page.find("| `" + std::string(row.name) + "` |"), std::string::npos);
            EXPECT_STRNE(unitOf(row.name), "") << row.name;
        }
    }
    EXPECT_EQ(names.size(), 240u);
    for (const MetricSource& source : servedMetrics()) {
        EXPECT_TRUE(names.contains(source.name)) << source.name;
        EXPECT_NE(source.coverage, Coverage::none) << source.name;
    }
}

TEST(MetricsPage, DefaultSelectionsAreTheServedMetrics) {
    const Selection parts = splitSelection(defaultSelections());
    EXPECT_EQ(parts.expression, "//*");
    for (const ClassFacts* facts : classes) {
        for (const metrics::Row& row : facts->rows) {
            bool isSelected = false;
            Pattern pattern{};
            for (std::string_view rest = parts.patterns; nextPattern(rest, pattern);) {
                EXPECT_TRUE(pattern.enables);
                isSelected = isSelected || fnmatch(std::string(pattern.text).c_str(), row.name, 0) == 0;
            }
            EXPECT_EQ(isSelected, sourceOf(row.name).coverage != Coverage::none) << row.name;
        }
    }
}

} // namespace
