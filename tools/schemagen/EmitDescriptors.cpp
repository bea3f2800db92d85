// The constant descriptors (zddsc/type_descriptor.h), in C.
#include <algorithm>
#include <array>
#include <map>

#include "Emit.hpp"
#include "Schema.hpp"

namespace {

constexpr std::array<const char*, PRIMITIVE_COUNT> primitiveDescriptors{"DDS_g_type_boolean",
    "DDS_g_type_octet", "DDS_g_type_char", "DDS_g_type_short", "DDS_g_type_ushort", "DDS_g_type_long",
    "DDS_g_type_ulong", "DDS_g_type_longlong", "DDS_g_type_ulonglong", "DDS_g_type_float",
    "DDS_g_type_double"};
constexpr std::array extensibilities{"DDS_TYPE_FINAL", "DDS_TYPE_APPENDABLE", "DDS_TYPE_MUTABLE"};

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string observableOf(const std::string& kind) {
    return "DDS_TYPE_OBSERVABLE_" + (kind.empty() ? "NONE" : kind);
}

// LLONG_MIN has no literal; labels are 32 bits wide.
std::string integer(std::int64_t value) {
    return std::to_string(value) + "LL";
}

class UnitWriter {
public:
    UnitWriter(Schema& schema, const std::string& unit, const std::string& folder)
        : out(schema, folder + std::string(sourceFolder) + unit + "_types.c") {
        out << "#include <stddef.h>\n\n#include \"orxmonitoring2d/schema_types.h\"\n\n";
    }

    void write(const Type& type) {
        describeNeeded(type);
        switch (type.kind) {
        case Kind::Alias:
            writeAlias(type);
            break;
        case Kind::Enum:
            writeEnum(type);
            break;
        default:
            writeAggregate(type);
            break;
        }
        out << fill(
            "const DDS_TypePlugin $T_g_typePlugin = {&$T_g_type, \"$N\", PRES_TYPEPLUGIN_NO_KEY};\n\n",
            {{'T', type.flatName}, {'N', type.name}});
    }

private:
    // The expression for a type's descriptor.
    std::string reference(const Type& type) {
        if (type.isNamed()) {
            return type.flatName + "_g_type";
        }
        if (type.kind == Kind::Primitive) {
            return primitiveDescriptors[type.primitive];
        }
        return type.kind == Kind::String && type.bound == 0 ? "DDS_g_type_string" : anonymous.at(keyOf(type));
    }

    std::string keyOf(const Type& type) {
        return std::to_string(static_cast<int>(type.kind)) + "," + std::to_string(type.bound) + "," +
               (type.element ? reference(*type.element) : "");
    }

    void describeAnonymous(const Type* type) {
        if (type == nullptr || type->isNamed() || type->kind == Kind::Primitive ||
            (type->kind == Kind::String && type->bound == 0)) {
            return;
        }
        describeAnonymous(type->element);
        const auto name = "anonymous_" + std::to_string(anonymous.size());
        if (!anonymous.emplace(keyOf(*type), name).second) {
            return;
        }
        out << "static const DDS_TypeDescriptor " << name << " = {\n    .name = \"\",\n";
        if (type->kind == Kind::String) {
            out << "    .kind = DDS_TYPE_STRING,\n    .size = sizeof(char *),\n    .alignment = "
                   "_Alignof(char *),\n";
        } else if (type->kind == Kind::Sequence) {
            out << "    .kind = DDS_TYPE_SEQUENCE,\n    .size = sizeof(struct DDS_SequenceBase),\n"
                   "    .alignment = _Alignof(struct DDS_SequenceBase),\n";
        } else {
            const auto element = cName(*type->element);
            out << "    .kind = DDS_TYPE_ARRAY,\n    .size = " << std::to_string(type->bound) << " * sizeof("
                << element << "),\n    .alignment = _Alignof(" << element << "),\n";
        }
        if (type->element != nullptr) {
            out << "    .element = &" << reference(*type->element) << ",\n";
        }
        out << "    .representationMask = 5U,\n    .bound = " << std::to_string(type->bound) << "U};\n";
    }

    void describeNeeded(const Type& type) {
        describeAnonymous(type.element);
        std::ranges::for_each(
            type.members, [this](const Type* member) { describeAnonymous(member); }, &Member::type);
    }

    void beginDescriptor(const Type& type, const char* kind) {
        out << fill("static DDS_TypeRuntime $T_runtime;\n"
                    "const DDS_TypeDescriptor $T_g_type = {\n    .kind = $K,\n    .name = \"$N\",\n"
                    "    .size = sizeof($T),\n    .alignment = _Alignof($T),\n    .extensibility = $E,\n"
                    "    .representationMask = 5U,\n    .observable = $O,\n    .runtime = &$T_runtime,\n",
            {{'T', type.flatName}, {'K', kind}, {'N', type.name}, {'E', extensibilities[type.extensibility]},
                {'O', observableOf(type.observable)}});
    }

    void writeAlias(const Type& type) {
        beginDescriptor(type, "DDS_TYPE_ALIAS");
        if (type.isReference()) {
            out << "    .flags = DDS_TYPE_FLAG_REFERENCE,\n";
        }
        out << "    .element = &" << reference(*type.element) << "};\n";
    }

    void writeEnum(const Type& type) {
        out << "static const DDS_TypeLiteral " << type.flatName << "_literals[] = {\n";
        for (const auto& literal : type.literals) {
            out << "    {" << quoted(literal.name) << ", " << std::to_string(literal.value) << "},\n";
        }
        out << "};\n_Static_assert(sizeof(" << type.flatName << ") == sizeof(DDS_Enum), \"32 bits\");\n";
        beginDescriptor(type, "DDS_TYPE_ENUM");
        out << "    .literals = " << type.flatName
            << "_literals,\n    .literalCount = " << std::to_string(type.literals.size()) << "U};\n";
    }

    void writeMember(const Type& type, const Member& member) {
        const auto place = (type.kind == Kind::Union ? "_u." : "") + member.name;
        out << "    {.name = " << quoted(member.name) << ", .id = " << std::to_string(member.id)
            << "U, .offset = offsetof(" << type.flatName << ", " << place << "), .type = &"
            << reference(*member.type);
        if (member.isOptional) {
            out << ", .flags = DDS_MEMBER_FLAG_OPTIONAL";
        }
        if (!member.observable.empty()) {
            out << ", .observable = " << observableOf(member.observable);
        }
        if (!member.labels.empty()) {
            out << ", .labels = (const DDS_LongLong[]){";
            for (const auto label : member.labels) {
                out << (label == member.labels.front() ? "" : ", ") << integer(label);
            }
            out << "}, .labelCount = " << std::to_string(member.labels.size()) << "U";
        }
        out << "},\n";
    }

    void writeAggregate(const Type& type) {
        const bool isUnion = type.kind == Kind::Union;
        const auto count = std::to_string(type.members.size());
        const auto accessCount = std::to_string(type.members.size() + (isUnion ? 1 : 0));
        out << "static const DDS_TypeMember " << type.flatName << "_members[] = {\n";
        for (const auto& member : type.members) {
            writeMember(type, member);
        }
        out << "};\nstatic ORXXCdrMemberAccessInfo " << type.flatName << "_access[" << accessCount << "];\n";
        if (type.resource) {
            const auto& resource = *type.resource;
            out << "static const DDS_TypeResource " << type.flatName << "_resource = {"
                << quoted(resource.className) << ", "
                << (resource.owner.empty() ? "0" : quoted(resource.owner)) << ", "
                << (resource.isRoot ? "DDS_BOOLEAN_TRUE" : "DDS_BOOLEAN_FALSE") << "};\n";
        }
        beginDescriptor(type, isUnion ? "DDS_TYPE_UNION" : "DDS_TYPE_STRUCT");
        if (type.resource) {
            out << "    .resource = &" << type.flatName << "_resource,\n";
        }
        if (isUnion) {
            std::int64_t lowest = type.members.front().labels.front();
            for (const auto& arm : type.members) {
                lowest = std::min(lowest, std::ranges::min(arm.labels));
            }
            out << "    .discriminatorOffset = offsetof(" << type.flatName << ", _d),\n    .discriminator = &"
                << reference(*type.discriminator) << ",\n    .defaultDiscriminator = " << integer(lowest)
                << ",\n";
        }
        out << "    .members = " << type.flatName << "_members,\n    .memberCount = " << count
            << "U,\n    .access = " << type.flatName << "_access};\n";
    }

    Output out;
    std::map<std::string, std::string> anonymous; // by kind, bound and element
};

void emitLists(Schema& schema, const std::string& path) {
    Output out(schema, path);
    out << "/* Lists of the schema's types: a macro is called with the name of each. MANAGED are those that "
           "have\n"
           " * memory-manager forms, TOPIC the topic types. */\n"
           "#ifndef ORXMONITORING2D_SCHEMA_LISTS_H\n#define ORXMONITORING2D_SCHEMA_LISTS_H\n\n";
    const auto list = [&](const char* macro, auto&& has) {
        out << "#define ORX_SCHEMA_LIST_" << macro << "(X)";
        for (const auto* type : schema.named) {
            if (has(*type)) {
                out << " \\\n    X(" << type->flatName << ")";
            }
        }
        out << "\n";
    };
    list("STRUCT", [](const Type& type) { return type.kind == Kind::Struct; });
    list("UNION", [](const Type& type) { return type.kind == Kind::Union; });
    list("ENUM", [](const Type& type) { return type.kind == Kind::Enum; });
    list("ALIAS", [](const Type& type) { return type.kind == Kind::Alias; });
    list("MANAGED", hasMemoryManagerForms);
    list("TOPIC", isTopicType);
    out << "\n#endif\n";
}

} // namespace

void emitDescriptors(Schema& schema, const std::string& unit, const std::string& folder) {
    UnitWriter writer(schema, unit, folder);
    for (const auto* type : schema.named) {
        if (type->unit == unit) {
            writer.write(*type);
        }
    }
}

// All descriptors by name and as a list, for the library itself and for tests.
void emitTypeList(Schema& schema, const std::string& folder) {
    const std::string privateFolder = folder + "/private/orxmonitoring2d/";
    Output header(schema, privateFolder + "schema_types.h");
    header << "/* The descriptors, inside the library. */\n#ifndef ORXMONITORING2D_SCHEMA_TYPES_H\n"
              "#define ORXMONITORING2D_SCHEMA_TYPES_H\n\n#include \"orxmonitoring2d/data_model.h\"\n"
              "#include \"orxmonitoring2d/schema_lists.h\"\n\nZDDS_BEGIN_C\n\n";
    for (const auto* type : schema.named) {
        header << fill(
            "extern const DDS_TypeDescriptor $T_g_type;\nextern const DDS_TypePlugin $T_g_typePlugin;\n",
            {{'T', type->flatName}});
    }
    header << "\n#define ORX_SCHEMA_TYPE_COUNT " << std::to_string(schema.named.size())
           << "U\nextern const DDS_TypePlugin *const orx_schema_types[ORX_SCHEMA_TYPE_COUNT];\n\n"
              "ZDDS_END_C\n\n#endif\n";
    emitLists(schema, privateFolder + "schema_lists.h");
    Output source(schema, folder + std::string(sourceFolder) + "schema_list.c");
    source << "#include \"orxmonitoring2d/schema_types.h\"\n\n"
              "const DDS_TypePlugin *const orx_schema_types[ORX_SCHEMA_TYPE_COUNT] = {\n";
    for (const auto* type : schema.named) {
        source << "    &" << type->flatName << "_g_typePlugin,\n";
    }
    source << "};\n";
}
