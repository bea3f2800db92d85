// The tables of metrics, made while compiling from one line per metric, and the dispatch on class ids.
#include "src/dataModel/MetricCatalogue.h"

#include <algorithm>
#include <array>
#include <span>

#include "orxmonitoring2d/class_outlines.hpp"
#include "orxmonitoring2d/metric_groups.h"
#include "src/dataModel/IdHash.hpp"
#include "src/dataModel/MetricTable.hpp"
#include "src/log/Log.hpp"

// Declared only: calling one while compiling is the error message.
namespace orx::dataModel::compileError {
void aMetricNamesNoGroupOfItsClass();
void aMetricNamesNoMemberOfItsClass();
} // namespace orx::dataModel::compileError

namespace {

namespace compileError = orx::dataModel::compileError;
namespace metrics = orx::dataModel::metrics;
namespace outline = orx::dataModel::outline;
using Texts = std::span<const std::string_view>;

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;

struct Path {
    std::array<char, 256> buffer{};
    std::size_t length = 0;

    consteval void append(std::string_view text) {
        std::ranges::copy(text, buffer.begin() + static_cast<std::ptrdiff_t>(length));
        length += text.size();
    }
    consteval std::string_view text(std::size_t start = 0) const {
        return {buffer.data() + start, length - start};
    }
};

consteval std::string_view withoutSuffix(std::string_view group) {
    return group.ends_with("_1") || group.ends_with("_2") ? group.substr(0, group.size() - 2) : group;
}

consteval ORX_Monitoring_MetricInfo metricInfo(const metrics::Row& row, std::string_view className,
    Texts groups, std::uint32_t eventGroupCount, Texts paths) {
    const auto index = static_cast<std::uint32_t>(std::ranges::find(groups, row.group) - groups.begin());
    if (index == groups.size()) {
        compileError::aMetricNamesNoGroupOfItsClass();
    }
    Path path;
    path.append(className);
    path.append("_");
    path.append(withoutSuffix(row.group));
    path.append(row.leaf.empty() ? "" : "_");
    path.append(row.leaf);
    if (std::ranges::find(paths, path.text(className.size() + 1)) == paths.end()) {
        compileError::aMetricNamesNoMemberOfItsClass();
    }
    return {row.name, orx::dataModel::idHash(path.text()), index,
        index < eventGroupCount ? DDS_OBSERVABLE_ON_CHANGE_DISTRIBUTION_KIND
                                : DDS_OBSERVABLE_PERIODIC_DISTRIBUTION_KIND};
}

// One element at least, so that a class without metrics has a table too.
template <std::size_t N>
consteval auto metricTable(const std::array<metrics::Row, N>& rows, std::string_view className, Texts groups,
    std::uint32_t eventGroupCount, Texts paths) {
    std::array<ORX_Monitoring_MetricInfo, std::max<std::size_t>(N, 1)> table{};
    for (std::size_t i = 0; i < N; ++i) {
        table[i] = metricInfo(rows[i], className, groups, eventGroupCount, paths);
    }
    return table;
}

} // namespace

#define ORX_FOR_EACH_CLASS(X)                                                                                \
    X(RegisteredType, TYPE)                                                                                  \
    X(Topic, TOPIC)                                                                                          \
    X(DataWriter, DATA_WRITER)                                                                               \
    X(Publisher, PUBLISHER)                                                                                  \
    X(DataReader, DATA_READER)                                                                               \
    X(Subscriber, SUBSCRIBER)                                                                                \
    X(Participant, PARTICIPANT)                                                                              \
    X(Application, APPLICATION)

#define ORX_DEFINE_TABLES(Name, NAME)                                                                        \
    static_assert(outline::Name::classId == ORX_MONITORING_##NAME##_CLASS_ID);                               \
    const ORX_Monitoring_MetricInfo* DDS_Monitoring_##Name##_get_metric_info(void) {                         \
        static constexpr auto table = metricTable(metrics::Name, outline::Name::className,                   \
            outline::Name::groups, outline::Name::eventGroupCount, outline::Name::paths);                    \
        return table.data();                                                                                 \
    }                                                                                                        \
    const ORX_Monitoring_ResourceInfo* DDS_Monitoring_##Name##_get_resource_info(void) {                     \
        static constexpr ORX_Monitoring_ResourceInfo info{                                                   \
            .periodicMetricGroupCount = std::size(outline::Name::groups) - outline::Name::eventGroupCount,   \
            .eventMetricGroupCount = outline::Name::eventGroupCount,                                         \
            .metricCount = metrics::Name.size()};                                                            \
        return &info;                                                                                        \
    }
ORX_FOR_EACH_CLASS(ORX_DEFINE_TABLES)

#define ORX_CASE_GROUPS(Name, NAME)                                                                          \
    case ORX_MONITORING_##NAME##_CLASS_ID:                                                                   \
        return DDS_Monitoring_##Name##_get_metric_group_info();
#define ORX_CASE_METRICS(Name, NAME)                                                                         \
    case ORX_MONITORING_##NAME##_CLASS_ID:                                                                   \
        return DDS_Monitoring_##Name##_get_metric_info();
#define ORX_CASE_RESOURCE(Name, NAME)                                                                        \
    case ORX_MONITORING_##NAME##_CLASS_ID:                                                                   \
        return DDS_Monitoring_##Name##_get_resource_info();

const ORX_Monitoring_MetricGroupInfo* ORX_Monitoring_getMetricGroupInfo(DDS_UnsignedLong classId) {
    switch (classId) {
        ORX_FOR_EACH_CLASS(ORX_CASE_GROUPS)
    default:
        return ORX_PRECONDITION_FAILED("\n");
    }
}

const ORX_Monitoring_MetricInfo* ORX_Monitoring_getMetricInfo(DDS_UnsignedLong classId) {
    switch (classId) {
        ORX_FOR_EACH_CLASS(ORX_CASE_METRICS)
    default:
        return ORX_PRECONDITION_FAILED("\n");
    }
}

const ORX_Monitoring_ResourceInfo* ORX_Monitoring_getResourceInfo(DDS_UnsignedLong classId) {
    switch (classId) {
        ORX_FOR_EACH_CLASS(ORX_CASE_RESOURCE)
    default:
        return ORX_PRECONDITION_FAILED("\n");
    }
}

#undef ORX_FOR_EACH_CLASS
#undef ORX_DEFINE_TABLES
#undef ORX_CASE_GROUPS
#undef ORX_CASE_METRICS
#undef ORX_CASE_RESOURCE
