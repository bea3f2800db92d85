// Builds the schema from what the reader tells, and names things.
#include "Schema.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

#include "Emit.hpp"
#include "src/dataModel/IdHash.hpp"

namespace {

constexpr std::array topicTypes{"DDS::Monitoring::Event", "DDS::Monitoring::Periodic",
    "DDS::Monitoring::Logging", "DDS::Monitoring::MonitoringService_Request",
    "DDS::Monitoring::MonitoringService_Reply", "DDS::Monitoring::MonitoringService_Call",
    "DDS::Monitoring::MonitoringService_Return"};
// Commands are handled off the application's threads, on the heap.
constexpr std::array heapOnlyUnits{"orx_remote_administration", "rpc_types"};

struct PrimitiveNames {
    const char* type;
    const char* sequence;
};
constexpr std::array<PrimitiveNames, PRIMITIVE_COUNT> primitiveNames{{
    {"DDS_Boolean", "DDS_BooleanSeq"},
    {"DDS_Octet", "DDS_OctetSeq"},
    {"DDS_Char", "DDS_CharSeq"},
    {"DDS_Short", ""},
    {"DDS_UnsignedShort", ""},
    {"DDS_Long", "DDS_LongSeq"},
    {"DDS_UnsignedLong", "DDS_UnsignedLongSeq"},
    {"DDS_LongLong", "DDS_LongLongSeq"},
    {"DDS_UnsignedLongLong", "DDS_UnsignedLongLongSeq"},
    {"DDS_Float", "DDS_FloatSeq"},
    {"DDS_Double", ""},
}};

const Type* addAnonymous(Schema& schema, Type type) {
    schema.types.push_back(std::make_unique<Type>(std::move(type)));
    return schema.types.back().get();
}

void beginNamed(Schema& schema, const char* unit, const char* name, Type type) {
    type.unit = unit;
    type.name = name;
    for (std::string_view rest = type.name; !rest.empty();) {
        const auto colons = rest.find("::");
        type.flatName += rest.substr(0, colons);
        if (colons == rest.npos) {
            break;
        }
        type.flatName += '_';
        type.modulePrefix = type.flatName;
        rest.remove_prefix(colons + 2);
    }
    schema.types.push_back(std::make_unique<Type>(std::move(type)));
    schema.current = schema.types.back().get();
    schema.named.push_back(schema.current);
    schema.byName[name] = schema.current;
    if (std::ranges::find(schema.units, unit) == schema.units.end()) {
        schema.units.emplace_back(unit);
    }
}

std::string upperCase(std::string text) {
    std::ranges::transform(
        text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

} // namespace

bool isTopicType(const Type& type) {
    return std::ranges::find(topicTypes, type.name) != topicTypes.end();
}

bool hasMemoryManagerForms(const Type& type) {
    return std::ranges::find(heapOnlyUnits, type.unit) == heapOnlyUnits.end();
}

std::uint32_t idHash(std::string_view text) {
    return orx::dataModel::md5::firstWord(text) & orx::dataModel::idMask;
}
std::uint32_t hash32(std::string_view text) {
    return orx::dataModel::md5::firstWord(text);
}

std::string cSequenceName(const Type& element) {
    const Type& target = element.target();
    if (target.kind == Kind::Primitive) {
        return primitiveNames[target.primitive].sequence;
    }
    return target.kind == Kind::String ? "DDS_StringSeq" : element.flatName + "Seq";
}

std::string cName(const Type& type) {
    if (type.isNamed()) {
        return type.flatName;
    }
    switch (type.kind) {
    case Kind::Primitive:
        return primitiveNames[type.primitive].type;
    case Kind::String:
        return "char *";
    default:
        return cSequenceName(*type.element);
    }
}

std::string cLiteralName(const Type& enumeration, const Literal& literal) {
    return literal.name.starts_with(upperCase(enumeration.modulePrefix))
               ? literal.name
               : enumeration.flatName + "_" + literal.name;
}

std::string cDeclaration(const Type& type, const std::string& name, bool isOptional) {
    if (!type.isNamed() && type.kind == Kind::Array) {
        return cName(*type.element) + " " + name + "[" + std::to_string(type.bound) + "]";
    }
    const bool needsPointer = isOptional && !type.isText();
    const std::string text = cName(type);
    const bool endsInStar = text.ends_with('*');
    return text + (endsInStar ? "" : " ") + (needsPointer ? "*" : "") + name;
}

/* ---- What the reader calls ---- */

Schema* Schema_new(void) {
    return new Schema;
}
void Schema_delete(Schema* self) {
    delete self;
}

const Type* Schema_primitive(Schema* self, PrimitiveKind kind) {
    for (const auto& type : self->types) {
        if (type->kind == Kind::Primitive && type->primitive == kind) {
            return type.get();
        }
    }
    return addAnonymous(*self, {.kind = Kind::Primitive, .primitive = kind});
}

const Type* Schema_string(Schema* self, uint32_t bound) {
    return addAnonymous(*self, {.kind = Kind::String, .bound = bound});
}

const Type* Schema_sequence(Schema* self, const Type* element, uint32_t bound) {
    return element ? addAnonymous(*self, {.kind = Kind::Sequence, .element = element, .bound = bound})
                   : nullptr;
}

const Type* Schema_array(Schema* self, const Type* element, uint32_t size) {
    return element ? addAnonymous(*self, {.kind = Kind::Array, .element = element, .bound = size}) : nullptr;
}

const Type* Schema_named(Schema* self, const char* name) {
    const Type* type = self->find(name);
    if (type == nullptr) {
        Schema_addError(self, name, "not known here");
    }
    return type;
}

void Schema_beginStruct(Schema* self, const char* unit, const char* name, Extensibility extensibility) {
    beginNamed(*self, unit, name, {.kind = Kind::Struct, .extensibility = extensibility});
}

void Schema_beginUnion(Schema* self, const char* unit, const char* name, Extensibility extensibility,
    AutoId autoId, const Type* discriminator) {
    beginNamed(*self, unit, name,
        {.kind = Kind::Union,
            .extensibility = extensibility,
            .autoId = autoId,
            .discriminator = discriminator});
}

void Schema_beginEnum(Schema* self, const char* unit, const char* name, Extensibility extensibility) {
    beginNamed(*self, unit, name, {.kind = Kind::Enum, .extensibility = extensibility});
}

void Schema_addAlias(Schema* self, const char* unit, const char* name, const Type* target) {
    beginNamed(*self, unit, name,
        {.kind = Kind::Alias, .element = target, .extensibility = EXTENSIBILITY_APPENDABLE});
    if (target == nullptr) {
        Schema_addError(self, name, "an alias of nothing");
    }
}

void Schema_addMember(Schema* self, const char* name, uint32_t id, const Type* type, bool isOptional) {
    self->current->members.push_back({.name = name, .id = id, .type = type, .isOptional = isOptional});
    if (type == nullptr) {
        Schema_addError(self, name, "a member without a type");
    }
}

void Schema_addArm(Schema* self, const char* name, const Type* type) {
    // idlc gives no ids to arms; the discriminator counts as 0.
    auto& arms = self->current->members;
    const auto id =
        self->current->autoId == AUTO_ID_HASH ? idHash(name) : static_cast<uint32_t>(arms.size()) + 1;
    Schema_addMember(self, name, id, type, false);
}

void Schema_addLabel(Schema* self, int64_t value) {
    self->current->members.back().labels.push_back(value);
}

void Schema_addLiteral(Schema* self, const char* name, int32_t value) {
    self->current->literals.push_back({.name = name, .value = value});
}

void Schema_setTypeObservable(Schema* self, const char* kind) {
    self->current->observable = kind;
}
void Schema_setMemberObservable(Schema* self, const char* kind) {
    self->current->members.back().observable = kind;
}

void Schema_setResource(Schema* self, const char* className, const char* owner, bool isRoot) {
    self->current->resource = Resource{className ? className : "", owner ? owner : "", isRoot};
}

void Schema_addError(Schema* self, const char* where, const char* what) {
    self->errors.push_back(std::string(where ? where : "?") + ": " + what);
}

bool Schema_emit(Schema* self, const char* folder) {
    if (self->errors.empty()) {
        checkSchema(*self);
    }
    if (self->errors.empty()) {
        emitAll(*self, folder);
    }
    for (const auto& error : self->errors) {
        std::fprintf(stderr, "schemagen: %s\n", error.c_str());
    }
    return self->errors.empty();
}
