#include "collector/model/Catalogue.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "orxmonitoring2d/metric_catalogue.h"
#include "reading/Leaves.hpp"
#include "reading/Samples.hpp"
#include "src/dataModel/MetricTable.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

namespace {

using namespace collector;

constexpr std::array allClasses{ResourceClass::application, ResourceClass::participant, ResourceClass::type,
    ResourceClass::topic, ResourceClass::publisher, ResourceClass::dataWriter, ResourceClass::subscriber,
    ResourceClass::dataReader};

TEST(Catalogue, HasEveryMetricOfTheLibraryUnderItsIdAndName) {
    std::size_t count = 0;
    for (const ResourceClass resourceClass : allClasses) {
        const std::uint32_t classId = classIdOf(resourceClass);
        const auto* infos = ORX_Monitoring_getMetricInfo(classId);
        const auto metrics = metricsOf(resourceClass);
        ASSERT_EQ(metrics.size(), ORX_Monitoring_getResourceInfo(classId)->metricCount);
        for (std::size_t i = 0; i < metrics.size(); ++i) {
            EXPECT_STREQ(metrics[i].name, infos[i].name);
            EXPECT_EQ(metrics[i].id, infos[i].metricId);
            EXPECT_EQ(metricWithId(resourceClass, infos[i].metricId), i);
            EXPECT_EQ(groupsOf(resourceClass)[metrics[i].group].isPeriodic,
                infos[i].distributionKind == DDS_OBSERVABLE_PERIODIC_DISTRIBUTION_KIND);
        }
        count += metrics.size();
        EXPECT_FALSE(metricWithId(resourceClass, 1));
    }
    EXPECT_EQ(count, 240U);
}

TEST(Catalogue, GroupsOfAClassPartitionItsMetrics) {
    for (const ResourceClass resourceClass : allClasses) {
        MetricSet all;
        std::size_t next = 0;
        for (const MetricGroup& group : groupsOf(resourceClass)) {
            EXPECT_EQ(group.firstMetric, next);
            EXPECT_EQ(group.metrics.size(), group.metricCount);
            EXPECT_TRUE((all & group.metrics).empty());
            all |= group.metrics;
            next += group.metricCount;
        }
        EXPECT_EQ(next, metricsOf(resourceClass).size());
    }
}

TEST(Catalogue, ClassesAreKnownByIdAndByBothNames) {
    for (const ResourceClass resourceClass : allClasses) {
        EXPECT_EQ(resourceClassOf(classIdOf(resourceClass)), resourceClass);
        EXPECT_EQ(resourceClassNamed(resourceClassName(resourceClass)), resourceClass);
        EXPECT_EQ(resourceClassNamed(resourceClassIdentifier(resourceClass)), resourceClass);
        EXPECT_STRNE(resourceClassIdentifier(resourceClass), "unknown");
    }
    EXPECT_FALSE(resourceClassOf(5));
    EXPECT_FALSE(resourceClassNamed("unknown"));
}

// Text of each metric's value in a sample, by way of the leaves of the groups.
std::map<std::string, std::string> textsOf(
    std::span<const orx::dataModel::metrics::Row> rows, const std::vector<reading::Group>& groups) {
    std::map<std::string, std::string> texts;
    for (const auto& row : rows) {
        for (const reading::Group& group : groups) {
            if (group.name != row.group)
                continue;
            std::vector<reading::Leaf> leaves;
            reading::appendLeaves(*group.type, group.value, "", leaves);
            for (reading::Leaf& leaf : leaves) {
                std::replace(leaf.path.begin(), leaf.path.end(), '.', '_');
                if (leaf.path == row.leaf)
                    texts[row.name] = leaf.text;
            }
        }
    }
    return texts;
}

struct Groups : reading::EventVisitor {
    std::vector<reading::Group> groups;
    void registry(std::span<const reading::Described>) override {}
    void created(const reading::Described&) override {}
    void deleted(const Guid&) override {}
    void selected(const Guid&, const DDS_UnsignedLongSeq&) override {}
    void group(const reading::Group& group) override { groups.push_back(group); }
};

std::string textOf(ValueKind kind, std::uint64_t octets) {
    if (kind == ValueKind::integer)
        return std::to_string(static_cast<std::int64_t>(octets));
    if (kind == ValueKind::natural)
        return std::to_string(octets);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.9g",
        static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(octets))));
    return text.data();
}

void expectValues(ResourceClass resourceClass, const std::vector<reading::Group>& groups, bool isPeriodic,
    std::span<const orx::dataModel::metrics::Row> rows) {
    const auto expected = textsOf(rows, groups);
    std::set<std::string> seen;
    for (const reading::Group& group : groups) {
        const auto number = groupAt(resourceClass, isPeriodic, group.member);
        ASSERT_TRUE(number) << group.name;
        const MetricGroup& own = groupsOf(resourceClass)[*number];
        std::vector<std::uint64_t> values(own.metricCount);
        readGroup(resourceClass, *number, group.value, values);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const Metric& metric = metricsOf(resourceClass)[own.firstMetric + i];
            ASSERT_TRUE(expected.contains(metric.name)) << metric.name;
            if (metric.kind == ValueKind::real)
                EXPECT_FLOAT_EQ(
                    std::stof(expected.at(metric.name)), std::stof(textOf(metric.kind, values[i])));
            else
                EXPECT_EQ(expected.at(metric.name), textOf(metric.kind, values[i])) << metric.name;
            seen.insert(metric.name);
        }
    }
    EXPECT_EQ(seen.size(), expected.size());
}

TEST(Catalogue, ReadsEveryMetricFromItsOwnPlace) {
    namespace tables = orx::dataModel::metrics;
    const std::map<ResourceClass, std::span<const tables::Row>> rows{
        {ResourceClass::application, tables::Application}, {ResourceClass::participant, tables::Participant},
        {ResourceClass::topic, tables::Topic}, {ResourceClass::dataWriter, tables::DataWriter},
        {ResourceClass::dataReader, tables::DataReader}};
    std::size_t read = 0;
    for (const auto& [resourceClass, own] : rows) {
        Groups visitor;
        const auto event = collector_test::fullEvent(resourceClass, 7);
        reading::visit(*event, visitor);
        expectValues(resourceClass, visitor.groups, false, own);
        const auto periodic = collector_test::fullPeriodic(resourceClass, 11);
        expectValues(resourceClass, reading::groupsOf(*periodic), true, own);
        read += textsOf(own, visitor.groups).size() + textsOf(own, reading::groupsOf(*periodic)).size();
    }
    EXPECT_EQ(read, 240U);
}

TEST(MetricSet, CountsAndWalksItsMembersAcrossWords) {
    MetricSet set;
    for (const std::size_t metric : {0U, 5U, 63U, 64U, 100U, 127U})
        set.add(metric);
    EXPECT_EQ(set.size(), 6U);
    std::vector<std::size_t> walked;
    set.forEach([&](std::size_t metric) { walked.push_back(metric); });
    EXPECT_EQ(walked, (std::vector<std::size_t>{0, 5, 63, 64, 100, 127}));
    for (std::size_t i = 0; i < walked.size(); ++i)
        EXPECT_EQ(set.rank(walked[i]), i);
    EXPECT_EQ(set.rank(99), 4U);
    MetricSet others;
    others.add(63);
    others.add(64);
    EXPECT_EQ((set & others), others);
    set.remove(others);
    EXPECT_FALSE(set.has(64));
    EXPECT_EQ(set.size(), 4U);
}

} // namespace
