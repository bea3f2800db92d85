#include "collector/model/Catalogue.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "orxmonitoring2d/data_model.h"
#include "orxmonitoring2d/metric_catalogue.h"
#include "orxmonitoring2d/path_tokenizer.h"
#include "reading/Leaves.hpp"
#include "src/dataModel/MetricTable.hpp"
#include "zddsc/type_descriptor.h"

namespace collector {

namespace {

using reading::resolved;
namespace tables = orx::dataModel::metrics;

struct ClassRow {
    std::uint32_t id;
    const char* name;
};
constexpr std::array<ClassRow, resourceClassCount> classes{{
    {ORX_MONITORING_APPLICATION_CLASS_ID, "application"},
    {ORX_MONITORING_PARTICIPANT_CLASS_ID, "domain_participant"},
    {ORX_MONITORING_TYPE_CLASS_ID, "type"},
    {ORX_MONITORING_TOPIC_CLASS_ID, "topic"},
    {ORX_MONITORING_PUBLISHER_CLASS_ID, "publisher"},
    {ORX_MONITORING_DATA_WRITER_CLASS_ID, "data_writer"},
    {ORX_MONITORING_SUBSCRIBER_CLASS_ID, "subscriber"},
    {ORX_MONITORING_DATA_READER_CLASS_ID, "data_reader"},
}};

std::span<const tables::Row> rowsOf(ResourceClass resourceClass) {
    switch (resourceClass) {
    case ResourceClass::application:
        return tables::Application;
    case ResourceClass::participant:
        return tables::Participant;
    case ResourceClass::topic:
        return tables::Topic;
    case ResourceClass::dataWriter:
        return tables::DataWriter;
    case ResourceClass::dataReader:
        return tables::DataReader;
    default:
        return {};
    }
}

// The structure of a class in one of the two unions.
const DDS_TypeDescriptor* branchOf(const DDS_TypeDescriptor& unionType, std::uint32_t classId) {
    const DDS_TypeDescriptor& type = resolved(unionType);
    for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i) {
        const DDS_TypeMember& arm = type.members[i];
        for (DDS_UnsignedLong label = 0; label < arm.labelCount; ++label) {
            if (static_cast<std::uint32_t>(arm.labels[label]) == classId)
                return &resolved(*arm.type);
        }
    }
    return nullptr;
}

// Where a number lies in a group's value.
struct Place {
    std::size_t offset = 0;
    DDS_TypeKind kind = DDS_TYPE_LONG;
};

// The leaf is the path of members, joined by underscores, which may stand in the names too.
std::optional<Place> placeOf(const DDS_TypeDescriptor& declared, std::string_view leaf, std::size_t offset) {
    const DDS_TypeDescriptor& type = resolved(declared);
    if (leaf.empty())
        return Place{offset, type.kind};
    if (type.kind != DDS_TYPE_STRUCT)
        return std::nullopt;
    for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i) {
        const DDS_TypeMember& member = type.members[i];
        const std::string_view name = member.name;
        if (!leaf.starts_with(name) || (member.flags & DDS_MEMBER_FLAG_OPTIONAL) != 0)
            continue;
        std::string_view rest = leaf.substr(name.size());
        if (!rest.empty() && rest.front() != '_')
            continue;
        rest.remove_prefix(rest.empty() ? 0 : 1);
        if (const auto place = placeOf(*member.type, rest, offset + member.offset))
            return place;
    }
    return std::nullopt;
}

std::optional<ValueKind> valueKindOf(DDS_TypeKind kind) {
    switch (kind) {
    case DDS_TYPE_LONG:
    case DDS_TYPE_LONGLONG:
        return ValueKind::integer;
    case DDS_TYPE_OCTET:
    case DDS_TYPE_ULONG:
    case DDS_TYPE_ULONGLONG:
        return ValueKind::natural;
    case DDS_TYPE_FLOAT:
        return ValueKind::real;
    default:
        return std::nullopt;
    }
}

struct ClassTable {
    std::vector<Metric> metrics;
    std::vector<Place> places; // by metric
    std::vector<MetricGroup> groups;
    std::array<std::vector<std::optional<std::size_t>>, 2> groupAtMember; // of events, of periodic values
    std::vector<std::pair<std::uint32_t, std::size_t>> byId;              // ascending
};

// A catalogue that does not fit the types is a defect of the build; a test would have told it.
[[noreturn]] void doesNotFit() {
    std::abort();
}

void addMetric(ClassTable& table, const tables::Row& row, const ORX_Monitoring_MetricInfo& info,
    const DDS_TypeDescriptor& branch, std::size_t member, bool isPeriodic) {
    auto& group = table.groupAtMember[isPeriodic ? 1 : 0][member];
    const std::size_t metric = table.metrics.size();
    if (!group) {
        group = table.groups.size();
        table.groups.push_back({branch.members[member].name, isPeriodic, metric, 0, {}});
    }
    MetricGroup& own = table.groups[*group];
    const auto place = placeOf(*branch.members[member].type, row.leaf, 0);
    const auto kind = place ? valueKindOf(place->kind) : std::nullopt;
    if (!kind || *group + 1 != table.groups.size() || metric >= MetricSet::capacity ||
        *group >= maximalGroups)
        doesNotFit();
    table.metrics.push_back({info.name, info.metricId, *kind, static_cast<std::uint8_t>(*group),
        static_cast<std::uint8_t>(own.metricCount)});
    table.places.push_back(*place);
    ++own.metricCount;
    own.metrics.add(metric);
}

ClassTable makeTable(ResourceClass resourceClass) {
    ClassTable table;
    const std::uint32_t classId = classIdOf(resourceClass);
    const auto rows = rowsOf(resourceClass);
    const ORX_Monitoring_MetricInfo* infos = ORX_Monitoring_getMetricInfo(classId);
    const ORX_Monitoring_ResourceInfo* counts = ORX_Monitoring_getResourceInfo(classId);
    const std::array<const DDS_TypeDescriptor*, 2> branches{
        branchOf(*DDS_Monitoring_EventUnion_get_typecode(), classId),
        branchOf(*DDS_Monitoring_PeriodicUnion_get_typecode(), classId)};
    if (counts->metricCount != rows.size() || branches[0] == nullptr || branches[1] == nullptr)
        doesNotFit();
    for (std::size_t i = 0; i < branches.size(); ++i)
        table.groupAtMember[i].resize(branches[i]->memberCount);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const bool isPeriodic = infos[i].metricGroupIndex >= counts->eventMetricGroupCount;
        const std::size_t member =
            infos[i].metricGroupIndex - (isPeriodic ? counts->eventMetricGroupCount : 0);
        addMetric(table, rows[i], infos[i], *branches[isPeriodic ? 1 : 0], member, isPeriodic);
        table.byId.emplace_back(infos[i].metricId, i);
    }
    std::sort(table.byId.begin(), table.byId.end());
    return table;
}

const ClassTable& tableOf(ResourceClass resourceClass) {
    static const auto made = [] {
        std::array<ClassTable, resourceClassCount> all;
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = makeTable(static_cast<ResourceClass>(i));
        return all;
    }();
    return made[static_cast<std::size_t>(resourceClass)];
}

template <typename T> T load(const void* value, std::size_t offset) {
    T result;
    std::memcpy(&result, static_cast<const char*>(value) + offset, sizeof result);
    return result;
}

std::uint64_t loadNumber(const void* value, const Place& place) {
    switch (place.kind) {
    case DDS_TYPE_OCTET:
        return load<DDS_Octet>(value, place.offset);
    case DDS_TYPE_LONG:
        return static_cast<std::uint64_t>(std::int64_t{load<DDS_Long>(value, place.offset)});
    case DDS_TYPE_ULONG:
    case DDS_TYPE_FLOAT:
        return load<std::uint32_t>(value, place.offset);
    default:
        return load<std::uint64_t>(value, place.offset);
    }
}

} // namespace

std::optional<ResourceClass> resourceClassOf(std::uint32_t classId) {
    for (std::size_t i = 0; i < classes.size(); ++i) {
        if (classes[i].id == classId)
            return static_cast<ResourceClass>(i);
    }
    return std::nullopt;
}

std::uint32_t classIdOf(ResourceClass resourceClass) {
    return classes[static_cast<std::size_t>(resourceClass)].id;
}

const char* resourceClassName(ResourceClass resourceClass) {
    return classes[static_cast<std::size_t>(resourceClass)].name;
}

const char* resourceClassIdentifier(ResourceClass resourceClass) {
    return ORX_Monitoring_resourceClassIdToIdentifierStr(classIdOf(resourceClass));
}

std::optional<ResourceClass> resourceClassNamed(std::string_view name) {
    for (std::size_t i = 0; i < classes.size(); ++i) {
        const auto resourceClass = static_cast<ResourceClass>(i);
        if (name == classes[i].name || name == resourceClassIdentifier(resourceClass))
            return resourceClass;
    }
    return std::nullopt;
}

std::span<const Metric> metricsOf(ResourceClass resourceClass) {
    return tableOf(resourceClass).metrics;
}

std::span<const MetricGroup> groupsOf(ResourceClass resourceClass) {
    return tableOf(resourceClass).groups;
}

std::optional<std::size_t> groupAt(ResourceClass resourceClass, bool isPeriodic, std::size_t member) {
    const auto& groups = tableOf(resourceClass).groupAtMember[isPeriodic ? 1 : 0];
    return member < groups.size() ? groups[member] : std::nullopt;
}

std::optional<std::size_t> metricWithId(ResourceClass resourceClass, std::uint32_t id) {
    const auto& byId = tableOf(resourceClass).byId;
    const auto found = std::lower_bound(byId.begin(), byId.end(), std::pair{id, std::size_t{0}});
    if (found == byId.end() || found->first != id)
        return std::nullopt;
    return found->second;
}

void readGroup(
    ResourceClass resourceClass, std::size_t group, const void* value, std::span<std::uint64_t> values) {
    const ClassTable& table = tableOf(resourceClass);
    const MetricGroup& own = table.groups[group];
    for (std::size_t i = 0; i < own.metricCount; ++i)
        values[i] = loadNumber(value, table.places[own.firstMetric + i]);
}

} // namespace collector
