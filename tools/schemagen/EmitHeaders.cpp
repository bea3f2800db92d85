// The C structures, and the headers that declare everything.
#include <algorithm>
#include <set>

#include "Emit.hpp"
#include "Families.hpp"

namespace {

std::string guardOf(const std::string& header) {
    std::string guard = "ORXMONITORING2D_" + header + "_H";
    std::ranges::transform(
        guard, guard.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return guard;
}

void beginHeader(Output& out, const std::string& header) {
    out << fill("#ifndef $G\n#define $G\n\n", {{'G', guardOf(header)}});
}

void include(Output& out, const std::string& header) {
    out << "#include \"orxmonitoring2d/" << header << ".h\"\n";
}

std::set<std::string> unitsUsedBy(const Schema& schema, const std::string& unit) {
    std::set<std::string> used;
    const auto note = [&](const Type* type) {
        for (; type != nullptr; type = type->isNamed() ? nullptr : type->element) {
            if (type->isNamed() && type->unit != unit) {
                used.insert(type->unit);
            }
        }
    };
    for (const auto* type : schema.named) {
        if (type->unit == unit) {
            note(type->element);
            note(type->discriminator);
            std::ranges::for_each(type->members, note, &Member::type);
        }
    }
    return used;
}

std::string boundComment(const Type& type) {
    if (type.bound == 0 || type.isNamed() || type.kind == Kind::Array) {
        return "";
    }
    return " /* at most " + std::to_string(type.bound) +
           (type.kind == Kind::String ? " characters */" : " elements */");
}

void declareMembers(Output& out, const Type& type, std::string_view indent) {
    for (const auto& member : type.members) {
        const std::string note = member.isOptional ? " /* optional */" : "";
        out << indent << cDeclaration(*member.type, member.name, member.isOptional) << ";"
            << boundComment(*member.type) << note << "\n";
    }
}

void declareAlias(Output& out, const Type& type) {
    const Type& target = *type.element;
    if (type.isReference()) {
        out << "/* By reference: the target lies elsewhere. */\ntypedef " << cName(target) << " *"
            << type.flatName << ";\n";
    } else {
        out << "typedef " << cDeclaration(target, type.flatName, false) << ";" << boundComment(target)
            << "\n";
    }
}

void declareType(Output& out, const Type& type) {
    switch (type.kind) {
    case Kind::Alias:
        declareAlias(out, type);
        break;
    case Kind::Enum:
        out << "typedef enum " << type.flatName << " ORX_ENUM_BASE {\n";
        for (const auto& literal : type.literals) {
            out << "    " << cLiteralName(type, literal) << " = " << std::to_string(literal.value)
                << (&literal == &type.literals.back() ? "\n" : ",\n");
        }
        out << "} " << type.flatName << ";\n";
        break;
    case Kind::Struct:
        out << "struct " << type.flatName << " {\n";
        declareMembers(out, type, "    ");
        out << fill("};\ntypedef struct $T $T;\n", {{'T', type.flatName}});
        break;
    default:
        out << "struct " << type.flatName << " {\n    " << cDeclaration(*type.discriminator, "_d", false)
            << ";\n    struct {\n";
        declareMembers(out, type, "        ");
        out << fill("    } _u; /* side by side */\n};\ntypedef struct $T $T;\n", {{'T', type.flatName}});
        break;
    }
}

void declareSequence(Output& out, const Type& type) {
    const Type& target = type.target();
    if (target.kind == Kind::Array && !type.isReference()) {
        out << fill("DDS_SEQUENCE_DECLARE_WITH_GET(ORX_SCHEMA_EXPORT, $TSeq, $T, $E *);\n",
            {{'T', type.flatName}, {'E', cName(*target.element)}});
    } else {
        out << fill("DDS_SEQUENCE_DECLARE(ORX_SCHEMA_EXPORT, $TSeq, $T);\n", {{'T', type.flatName}});
    }
}

void emitTypesHeader(Schema& schema, const std::string& unit, const std::string& folder) {
    Output out(schema, folder + std::string(headerFolder) + unit + ".h");
    beginHeader(out, unit);
    include(out, "schema_base");
    for (const auto& used : unitsUsedBy(schema, unit)) {
        include(out, used);
    }
    out << "\nZDDS_BEGIN_C\n\n";
    for (const auto* type : schema.named) {
        if (type->unit == unit) {
            declareType(out, *type);
            declareSequence(out, *type);
            declareFamilies(out, lifeFamilies(), *type);
        }
    }
    out << "ZDDS_END_C\n\n#endif\n";
}

void emitSupportHeader(Schema& schema, const std::string& unit, const std::string& folder) {
    Output out(schema, folder + std::string(headerFolder) + unit + "_support.h");
    beginHeader(out, unit + "_support");
    include(out, unit);
    out << "\nZDDS_BEGIN_C\n\n";
    for (const auto* type : schema.named) {
        if (type->unit != unit) {
            continue;
        }
        declareFamilies(out, pluginFamilies(), *type);
        if (isTopicType(*type)) {
            out << fill("typedef struct $TDataWriter $TDataWriter; /* a DDS_DataWriter of this type */\n"
                        "typedef struct $TDataReader $TDataReader;\n",
                {{'T', type->flatName}});
            declareFamilies(out, topicFamilies(), *type);
        }
    }
    out << "ZDDS_END_C\n\n#endif\n";
}

} // namespace

void emitUnitHeaders(Schema& schema, const std::string& unit, const std::string& folder) {
    emitTypesHeader(schema, unit, folder);
    emitSupportHeader(schema, unit, folder);
}

void emitCommonHeaders(Schema& schema, const std::string& folder) {
    Output base(schema, folder + std::string(headerFolder) + "schema_base.h");
    beginHeader(base, "schema_base");
    base << "#include \"zddsc/entities.h\"\n#include \"zddsc/sequence.h\"\n#include "
            "\"zddsc/type_descriptor.h\"\n"
            "#include \"zddsc/type_plugin.h\"\n#include \"zddscore/inline_memory.h\"\n\n"
            "#define ORX_SCHEMA_EXPORT __attribute__((visibility(\"default\")))\n\n"
            "/* Enumerations have 32 bits, signed where the language lets us say so. */\n"
            "#ifdef __cplusplus\n#define ORX_ENUM_BASE : DDS_Long\n#else\n#define ORX_ENUM_BASE\n#endif\n\n"
            "struct DDS_TypePrograms;\n\n#endif\n";
    Output all(schema, folder + std::string(headerFolder) + "data_model.h");
    all << "/* The whole schema. For values alone, the header of a unit is enough. */\n";
    beginHeader(all, "data_model");
    for (const auto& unit : schema.units) {
        include(all, unit + "_support");
    }
    all << "\n#endif\n";
}
