// The schema as the generator knows it: types in the order of the IDL text, and their names in C.
//
// Names. A type's C name is its scoped name with "_" for "::" (DDS_Monitoring_Event, dds_rpc_RequestHeader).
// An enumerator is <type>_<literal>, but stands alone when the literal already begins with the module's name
// in capitals (DDS_MONITORING_COMMAND_NO_ERROR). A sequence of T is TSeq; sequences of primitives and of
// strings, also under an alias, are those of zddsc/sequence.h. An alias whose name ends in "Reference" is a
// pointer to its target.
#ifndef SCHEMAGEN_SCHEMA_HPP
#define SCHEMAGEN_SCHEMA_HPP

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SchemaBuilder.h"

enum class Kind { Primitive, String, Sequence, Array, Struct, Union, Enum, Alias };

struct Member {
    std::string name{};
    std::uint32_t id = 0;
    const Type* type = nullptr;
    bool isOptional = false;
    std::string observable{}; // enumerator's name, or empty
    std::vector<std::int64_t> labels{};
};

struct Literal {
    std::string name{};
    std::int32_t value = 0;
};

struct Resource {
    std::string className, owner;
    bool isRoot = false;
};

struct Type {
    Kind kind = Kind::Primitive;
    PrimitiveKind primitive = PRIMITIVE_OCTET;
    const Type* element = nullptr; // of a sequence or array; target of an alias
    std::uint32_t bound = 0;
    std::string unit{}, name{}, flatName{}; // empty for an anonymous type
    std::string modulePrefix{};             // "DDS_Monitoring_"
    Extensibility extensibility = EXTENSIBILITY_FINAL;
    AutoId autoId = AUTO_ID_SEQUENTIAL;
    const Type* discriminator = nullptr;
    std::vector<Member> members{}; // or arms
    std::vector<Literal> literals{};
    std::string observable{};
    std::optional<Resource> resource{};

    bool isNamed() const { return !name.empty(); }
    bool isAggregate() const { return kind == Kind::Struct || kind == Kind::Union; }
    bool isReference() const { return kind == Kind::Alias && name.ends_with("Reference"); }
    // What an alias stands for in the end; the type itself otherwise.
    const Type& target() const { return kind == Kind::Alias ? element->target() : *this; }
    bool isText() const { return target().kind == Kind::String; }
};

struct Schema {
    std::vector<std::unique_ptr<Type>> types; // named and anonymous
    std::vector<const Type*> named;           // in order
    std::vector<std::string> units;           // in order
    std::map<std::string, const Type*, std::less<>> byName;
    std::vector<std::string> errors;
    Type* current = nullptr;

    const Type* find(std::string_view name) const {
        const auto found = byName.find(name);
        return found == byName.end() ? nullptr : found->second;
    }
};

// Facts about a type that the IDL does not tell.
bool isTopicType(const Type& type);
bool hasMemoryManagerForms(const Type& type);
// The id hash of a text: the low 28 bits of its 32-bit hash.
std::uint32_t idHash(std::string_view text);
// First four octets of the MD5 digest, little endian.
std::uint32_t hash32(std::string_view text);

// Names in C.
std::string cName(const Type& type);            // of a value: "DDS_Octet", "char *", "DDS_Monitoring_Event"
std::string cSequenceName(const Type& element); // empty: there is none
std::string cLiteralName(const Type& enumeration, const Literal& literal);
// A declaration such as "DDS_Octet value[24]" or "DDS_Monitoring_GUID_t *dds_guid".
std::string cDeclaration(const Type& type, const std::string& name, bool isOptional);

// Appends what is wrong with the schema as a whole to its errors.
void checkSchema(Schema& schema);

#endif
