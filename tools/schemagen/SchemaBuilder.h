/* How the reader of idlc's tree (C, since its headers are C alone) tells the generator (C++) about a schema.
 *
 * Calls come in the order of the IDL text: a type is known before it is named. A reference to a type stays
 * valid as long as the schema. Names are scoped, such as "DDS::Monitoring::Event". Errors are remembered and
 * told by Schema_emit, which prints them to the standard error. */
#ifndef SCHEMAGEN_SCHEMA_BUILDER_H
#define SCHEMAGEN_SCHEMA_BUILDER_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct Schema Schema;
typedef struct Type Type;

typedef enum PrimitiveKind {
    PRIMITIVE_BOOLEAN,
    PRIMITIVE_OCTET,
    PRIMITIVE_CHAR,
    PRIMITIVE_SHORT,
    PRIMITIVE_USHORT,
    PRIMITIVE_LONG,
    PRIMITIVE_ULONG,
    PRIMITIVE_LONGLONG,
    PRIMITIVE_ULONGLONG,
    PRIMITIVE_FLOAT,
    PRIMITIVE_DOUBLE,
    PRIMITIVE_COUNT
} PrimitiveKind;

typedef enum Extensibility {
    EXTENSIBILITY_FINAL,
    EXTENSIBILITY_APPENDABLE,
    EXTENSIBILITY_MUTABLE
} Extensibility;
typedef enum AutoId { AUTO_ID_SEQUENTIAL, AUTO_ID_HASH } AutoId;

Schema* Schema_new(void);
void Schema_delete(Schema* self);

/* Types that have no name. A bound of 0 means that there is none. */
const Type* Schema_primitive(Schema* self, PrimitiveKind kind);
const Type* Schema_string(Schema* self, uint32_t bound);
const Type* Schema_sequence(Schema* self, const Type* element, uint32_t bound);
const Type* Schema_array(Schema* self, const Type* element, uint32_t size);
/* Null, and an error, when there is no such type. */
const Type* Schema_named(Schema* self, const char* name);

/* Each of these begins a type; what follows belongs to it. unit is the name of its file without suffix. */
void Schema_beginStruct(Schema* self, const char* unit, const char* name, Extensibility extensibility);
void Schema_beginUnion(Schema* self, const char* unit, const char* name, Extensibility extensibility,
    AutoId autoId, const Type* discriminator);
void Schema_beginEnum(Schema* self, const char* unit, const char* name, Extensibility extensibility);
void Schema_addAlias(Schema* self, const char* unit, const char* name, const Type* target);

void Schema_addMember(Schema* self, const char* name, uint32_t id, const Type* type, bool isOptional);
void Schema_addArm(Schema* self, const char* name, const Type* type);
void Schema_addLabel(Schema* self, int64_t value);
void Schema_addLiteral(Schema* self, const char* name, int32_t value);

/* Annotations of the schema's own, on the current type, or on its last member. kind is the enumerator's name.
 */
void Schema_setTypeObservable(Schema* self, const char* kind);
void Schema_setMemberObservable(Schema* self, const char* kind);
void Schema_setResource(Schema* self, const char* className, const char* owner, bool isRoot);

void Schema_addError(Schema* self, const char* where, const char* what);

/* Checks the schema and writes all files below folder. False when there was any error. */
bool Schema_emit(Schema* self, const char* folder);

#ifdef __cplusplus
}
#endif

#endif
