// The metric groups: three functions and one row of a table for each optional member of the Event and
// Periodic structures, and the outline of each class from which the metric tables are made.
#include <algorithm>

#include "Emit.hpp"
#include "MetricGroups.hpp"

namespace {

std::string functionStem(const ResourceClass& resourceClass, const Group& group) {
    return resourceClass.structure->flatName + "_" + group.member->name;
}

void declareFunctions(Output& out, const ResourceClass& resourceClass) {
    for (const auto& group : resourceClass.groups) {
        out << fill(
            "ORX_SCHEMA_EXPORT void *$S_map_to_dist(\n"
            "    const void *appMetricGroup, struct REDAInlineMemory **memoryManager);\n"
            "ORX_SCHEMA_EXPORT void $S_set_dist_into_sample(void *sampleParam, void *distMetricGroup);\n"
            "ORX_SCHEMA_EXPORT void $S_delete_dist(void *distMetricGroup);\n",
            {{'S', functionStem(resourceClass, group)}});
    }
    out << fill(
        "ORX_SCHEMA_EXPORT const struct ORX_Monitoring_MetricGroupInfo *$T_get_metric_group_info(void);\n"
        "ORX_SCHEMA_EXPORT const struct ORX_Monitoring_MetricInfo *$T_get_metric_info(void);\n"
        "ORX_SCHEMA_EXPORT const struct ORX_Monitoring_ResourceInfo *$T_get_resource_info(void);\n\n",
        {{'T', resourceClass.structure->flatName}});
}

std::string pointerTo(const Type& type) {
    return type.isText() ? "char *" : cName(type) + " *";
}

// Whether the bytes are the value.
bool isPlain(const Type& type) {
    if (type.isReference())
        return false;
    const Type& target = type.target();
    switch (target.kind) {
    case Kind::Primitive:
    case Kind::Enum:
        return true;
    case Kind::Array:
        return isPlain(*target.element);
    case Kind::Struct:
        return std::all_of(target.members.begin(), target.members.end(),
            [](const Member& member) { return !member.isOptional && isPlain(*member.type); });
    default:
        return false;
    }
}

void defineFunctions(Output& out, const ResourceClass& resourceClass, const Group& group) {
    const Type& type = *group.member->type;
    const Type& target = type.target();
    std::string map, remove;
    if (target.kind == Kind::String) {
        map = "mapText(appMetricGroup, memoryManager)";
        remove = "deletePlain(distMetricGroup)";
    } else if (isPlain(type)) {
        map = "mapPlain(sizeof(" + cName(type) + "), appMetricGroup, memoryManager)";
        remove = "deletePlain(distMetricGroup)";
    } else {
        map = "mapValue(" + type.flatName + "_g_type, appMetricGroup, memoryManager)";
        remove = "deleteValue(" + type.flatName + "_g_type, distMetricGroup)";
    }
    out << fill("void *$S_map_to_dist(const void *appMetricGroup, REDAInlineMemory **memoryManager) {\n"
                "    return $M;\n}\n"
                "void $S_set_dist_into_sample(void *sampleParam, void *distMetricGroup) {\n"
                "    auto *sample = static_cast<$U *>(sampleParam);\n"
                "    sample->value._d = $I;\n"
                "    sample->value._u.$A.$N = static_cast<$P>(distMetricGroup);\n}\n"
                "void $S_delete_dist(void *distMetricGroup) { $R; }\n",
        {{'S', functionStem(resourceClass, group)}, {'M', map}, {'U', group.sample->flatName},
            {'I', std::to_string(resourceClass.classId)}, {'A', resourceClass.className},
            {'N', group.member->name}, {'P', pointerTo(type)}, {'R', remove}});
}

void defineTable(Output& out, const ResourceClass& resourceClass) {
    out << "static constexpr ORX_Monitoring_MetricGroupInfo " << resourceClass.structure->flatName
        << "_groups[] = {\n";
    for (const auto& group : resourceClass.groups) {
        out << fill(
            "    {idHash(\"$N\"), $S_map_to_dist,\n        $S_set_dist_into_sample, $S_delete_dist},\n",
            {{'N', group.member->name}, {'S', functionStem(resourceClass, group)}});
    }
    out << fill(
        "};\nconst ORX_Monitoring_MetricGroupInfo *$T_get_metric_group_info(void) { return $T_groups; }\n\n",
        {{'T', resourceClass.structure->flatName}});
}

// How the values of each event group are held, for whoever copies them by itself.
void defineForms(Output& out, const ResourceClass& resourceClass) {
    out << "static constexpr ValueForm " << resourceClass.structure->flatName << "_forms[] = {\n";
    for (std::size_t i = 0; i < resourceClass.eventGroupCount; ++i) {
        const Type& type = *resourceClass.groups[i].member->type;
        if (type.target().kind == Kind::String) {
            out << "    {0, nullptr},\n";
        } else if (isPlain(type)) {
            out << "    {sizeof(" << cName(type) << "), nullptr},\n";
        } else {
            out << "    {0, &" << type.flatName << "_g_type},\n";
        }
    }
    out << "};\n";
}

void defineFormsOfClass(Output& out, const std::vector<ResourceClass>& classes) {
    out << "std::span<const ValueForm> orx::dataModel::eventValueForms(DDS_UnsignedLong classId) {\n"
           "    switch (classId) {\n";
    for (const auto& resourceClass : classes) {
        out << fill("    case $I:\n        return $T_forms;\n",
            {{'I', std::to_string(resourceClass.classId)}, {'T', resourceClass.structure->flatName}});
    }
    out << "    default:\n        return {};\n    }\n}\n";
}

void listTexts(Output& out, const char* name, const std::vector<std::string>& texts) {
    out << "inline constexpr std::string_view " << name << "[] = {\n";
    for (const auto& text : texts) {
        out << "    \"" << text << "\",\n";
    }
    out << "};\n";
}

void outline(Output& out, const ResourceClass& resourceClass) {
    const auto& name = resourceClass.structure->name;
    std::vector<std::string> groups;
    std::ranges::transform(resourceClass.groups, std::back_inserter(groups),
        [](const Group& group) { return group.member->name; });
    out << fill("namespace $T {\ninline constexpr std::string_view className = \"$C\";\n"
                "inline constexpr std::uint32_t classId = $I;\n"
                "inline constexpr std::uint32_t eventGroupCount = $E;\n",
        {{'T', name.substr(name.rfind(':') + 1)}, {'C', resourceClass.className},
            {'I', std::to_string(resourceClass.classId)},
            {'E', std::to_string(resourceClass.eventGroupCount)}});
    listTexts(out, "groups", groups);
    out << "// Every leaf of the structure, flattened.\n";
    listTexts(out, "paths", leafPaths(*resourceClass.structure));
    out << "}\n\n";
}

} // namespace

void emitMetricGroups(Schema& schema, const std::string& folder) {
    const auto classes = resourceClasses(schema);
    Output header(schema, folder + std::string(headerFolder) + "metric_groups.h");
    header << "/* The metric groups of each class: how a value is copied into an arena, put into a sample, "
              "and freed.\n"
              " * See MetricCatalogue.h. */\n#ifndef ORXMONITORING2D_METRIC_GROUPS_H\n"
              "#define ORXMONITORING2D_METRIC_GROUPS_H\n\n#include \"orxmonitoring2d/schema_base.h\"\n\n"
              "ZDDS_BEGIN_C\n\nstruct ORX_Monitoring_MetricGroupInfo;\nstruct ORX_Monitoring_MetricInfo;\n"
              "struct ORX_Monitoring_ResourceInfo;\n\n";
    Output outlines(schema, folder + "/private/orxmonitoring2d/class_outlines.hpp");
    outlines << "#ifndef ORXMONITORING2D_CLASS_OUTLINES_HPP\n#define ORXMONITORING2D_CLASS_OUTLINES_HPP\n\n"
                "#include <cstdint>\n#include <string_view>\n\nnamespace orx::dataModel::outline {\n\n";
    Output source(schema, folder + std::string(sourceFolder) + "metric_groups.cpp");
    source << "#include \"orxmonitoring2d/metric_groups.h\"\n#include \"orxmonitoring2d/schema_types.h\"\n"
              "#include \"src/dataModel/DistributionMapping.hpp\"\n#include \"src/dataModel/IdHash.hpp\"\n"
              "#include \"src/dataModel/MetricCatalogue.h\"\n\n"
              "using namespace orx::dataModel;\n\nextern \"C\" {\n\n";
    for (const auto& resourceClass : classes) {
        declareFunctions(header, resourceClass);
        outline(outlines, resourceClass);
        for (const auto& group : resourceClass.groups) {
            defineFunctions(source, resourceClass, group);
        }
        defineTable(source, resourceClass);
        defineForms(source, resourceClass);
    }
    header << "ZDDS_END_C\n\n#endif\n";
    outlines << "} // namespace orx::dataModel::outline\n\n#endif\n";
    source << "} // extern \"C\"\n\n";
    defineFormsOfClass(source, classes);
}
