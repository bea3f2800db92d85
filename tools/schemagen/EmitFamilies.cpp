// Declarations and definitions of the families.
#include <algorithm>
#include <array>

#include "Emit.hpp"
#include "Families.hpp"

namespace {

constexpr std::string_view cPrelude = "#include \"orxmonitoring2d/schema_types.h\"\n"
                                      "#include \"zddsc/sequence_define.h\"\n"
                                      "#include \"zddsc/type_engine.h\"\n\n";

constexpr std::string_view topicPrelude =
    "static inline DDS_ReturnCode_t outcome(DDS_Boolean ok) { return ok ? DDS_RETCODE_OK : "
    "DDS_RETCODE_ERROR; }\n"
    "static inline int isPluginOf(const DDS_TypePlugin *plugin, const DDS_TypeDescriptor *type) {\n"
    "    return plugin && plugin->type == type;\n}\n\n";

std::string expand(const char* pattern, const Type& type) {
    const auto descriptor = type.flatName + "_g_type";
    const auto plugin = type.flatName + "_g_typePlugin";
    return fill(pattern, {{'T', type.flatName}, {'D', descriptor}, {'P', plugin}, {'N', type.name}});
}

std::string signature(const Function& function, const Type& type) {
    const auto result = expand(function.result, type);
    return result + (result.ends_with('*') ? "" : " ") + expand(function.name, type) + "(" +
           expand(function.parameters, type) + ")";
}

void define(Output& out, std::span<const Family> families, const Type& type) {
    for (const auto& family : families) {
        if (!family.has(type)) {
            continue;
        }
        for (const auto& function : family.functions) {
            const auto body = expand(function.body, type);
            out << signature(function, type) << " {\n    " << body << (body.empty() ? "(void)0;" : "")
                << "\n}\n";
        }
        out << "\n";
    }
}

void defineSequence(Output& out, const Type& type) {
    const Type& target = type.target();
    const bool isArray = target.kind == Kind::Array && !type.isReference();
    out << fill(
        "static const DDS_SequenceElement $T_element = DDS_SEQUENCE_ELEMENT_OF_TYPE($T, &$T_g_type);\n",
        {{'T', type.flatName}});
    out << (isArray ? fill("DDS_SEQUENCE_DEFINE_WITH_GET($TSeq, $T, $E *, &$T_element)\n\n",
                          {{'T', type.flatName}, {'E', cName(*target.element)}})
                    : fill("DDS_SEQUENCE_DEFINE($TSeq, $T, &$T_element)\n\n", {{'T', type.flatName}}));
}

} // namespace

void declareFamilies(Output& out, std::span<const Family> families, const Type& type) {
    for (const auto& family : families) {
        if (!family.has(type)) {
            continue;
        }
        for (const auto& function : family.functions) {
            out << "ORX_SCHEMA_EXPORT " << signature(function, type) << ";\n";
        }
    }
    out << "\n";
}

void emitFamilies(Schema& schema, const std::string& unit, const std::string& folder) {
    const auto start = folder + std::string(sourceFolder) + unit;
    Output life(schema, start + "_life.c");
    Output sequences(schema, start + "_sequences.c");
    Output plugins(schema, start + "_plugins.c");
    Output topics(schema, start + "_topics.c");
    for (Output* out : std::array{&life, &sequences, &plugins, &topics}) {
        *out << cPrelude;
    }
    if (std::ranges::any_of(
            schema.named, [&](const Type* type) { return type->unit == unit && isTopicType(*type); })) {
        topics << topicPrelude;
    }
    for (const auto* type : schema.named) {
        if (type->unit == unit) {
            define(life, lifeFamilies(), *type);
            defineSequence(sequences, *type);
            define(plugins, pluginFamilies(), *type);
            define(topics, topicFamilies(), *type);
        }
    }
}
