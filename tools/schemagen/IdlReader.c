/* The part of the generator that idlc loads: walks its tree and tells the schema. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "SchemaBuilder.h"
#include "idlc/generator.h"

static void fail(Schema* self, const idl_node_t* node, const char* what) {
    char where[512];
    const idl_location_t* location = idl_location(node);
    snprintf(where, sizeof where, "%s:%u", location->first.file ? location->first.file->name : "?",
        (unsigned)location->first.line);
    Schema_addError(self, where, what);
}

/* ---- Names ---- */

/* "DDS::Monitoring::Event", from the node's own name and those of the modules around it. */
static void scopedName(const idl_node_t* node, char* buffer, size_t size) {
    const char* identifier = idl_identifier(node);
    const idl_node_t* parent = node;
    buffer[0] = '\0';
    do {
        parent = idl_parent(parent);
    } while (parent != NULL && !idl_is_module(parent));
    if (parent != NULL) {
        scopedName(parent, buffer, size);
    }
    size_t used = strlen(buffer);
    snprintf(buffer + used, size - used, "%s%s", used > 0 ? "::" : "", identifier ? identifier : "?");
}

/* The name of the file in which a node stands, without folder and suffix. */
static void unitName(const idl_node_t* node, char* buffer, size_t size) {
    const idl_location_t* location = idl_location(node);
    const char* path = location->first.source->path->name;
    const char* slash = strrchr(path, '/');
    snprintf(buffer, size, "%s", slash ? slash + 1 : path);
    char* dot = strrchr(buffer, '.');
    if (dot != NULL) {
        *dot = '\0';
    }
}

/* ---- Types ---- */

static const struct {
    idl_type_t type;
    PrimitiveKind kind;
} primitives[] = {{IDL_BOOL, PRIMITIVE_BOOLEAN}, {IDL_OCTET, PRIMITIVE_OCTET}, {IDL_UINT8, PRIMITIVE_OCTET},
    {IDL_CHAR, PRIMITIVE_CHAR}, {IDL_SHORT, PRIMITIVE_SHORT}, {IDL_INT16, PRIMITIVE_SHORT},
    {IDL_USHORT, PRIMITIVE_USHORT}, {IDL_UINT16, PRIMITIVE_USHORT}, {IDL_LONG, PRIMITIVE_LONG},
    {IDL_INT32, PRIMITIVE_LONG}, {IDL_ULONG, PRIMITIVE_ULONG}, {IDL_UINT32, PRIMITIVE_ULONG},
    {IDL_LLONG, PRIMITIVE_LONGLONG}, {IDL_INT64, PRIMITIVE_LONGLONG}, {IDL_ULLONG, PRIMITIVE_ULONGLONG},
    {IDL_UINT64, PRIMITIVE_ULONGLONG}, {IDL_FLOAT, PRIMITIVE_FLOAT}, {IDL_DOUBLE, PRIMITIVE_DOUBLE}};

static const Type* readType(Schema* self, const idl_node_t* user, const idl_type_spec_t* spec) {
    char name[512];
    if (idl_is_sequence(spec)) {
        const idl_sequence_t* sequence = spec;
        return Schema_sequence(self, readType(self, user, sequence->type_spec), sequence->maximum);
    }
    if (idl_is_string(spec)) {
        return Schema_string(self, ((const idl_string_t*)spec)->maximum);
    }
    /* A typedef's node is its declarator. */
    if (idl_is_declarator(spec) || idl_is_constr_type(spec)) {
        scopedName(spec, name, sizeof name);
        return Schema_named(self, name);
    }
    for (size_t i = 0; i < sizeof primitives / sizeof *primitives; ++i) {
        if (idl_type(spec) == primitives[i].type) {
            return Schema_primitive(self, primitives[i].kind);
        }
    }
    fail(self, user, "a type that the generator does not know");
    return NULL;
}

static const Type* readDeclarator(
    Schema* self, const idl_declarator_t* declarator, const idl_type_spec_t* spec) {
    const Type* type = readType(self, &declarator->node, spec);
    return idl_is_array(declarator) && type != NULL ? Schema_array(self, type, idl_array_size(declarator))
                                                    : type;
}

static Extensibility extensibilityOf(idl_extensibility_t value) {
    switch (value) {
    case IDL_FINAL:
        return EXTENSIBILITY_FINAL;
    case IDL_MUTABLE:
        return EXTENSIBILITY_MUTABLE;
    default:
        return EXTENSIBILITY_APPENDABLE;
    }
}

/* ---- Annotations of the schema's own ---- */

static const idl_const_expr_t* parameterOf(const idl_annotation_appl_t* annotation, const char* name) {
    const idl_annotation_appl_param_t* parameter;
    IDL_FOREACH(parameter, annotation->parameters) {
        if (strcmp(idl_identifier(parameter->member->declarator), name) == 0) {
            return parameter->const_expr;
        }
    }
    return NULL;
}

static const char* textOf(const idl_const_expr_t* expression) {
    return expression != NULL && idl_is_literal(expression) ? ((const idl_literal_t*)expression)->value.str
                                                            : NULL;
}

static void readAnnotations(Schema* self, const idl_node_t* node, bool isMember) {
    const idl_annotation_appl_t* annotation;
    IDL_FOREACH(annotation, node->annotations) {
        const char* name = annotation->annotation->name->identifier;
        if (strcmp(name, "observable") == 0) {
            const idl_const_expr_t* kind = parameterOf(annotation, "kind");
            const char* text = kind != NULL && idl_is_enumerator(kind) ? idl_identifier(kind) : "UNSPECIFIED";
            (isMember ? Schema_setMemberObservable : Schema_setTypeObservable)(self, text);
        } else if (strcmp(name, "resource") == 0) {
            const idl_literal_t* isRoot = parameterOf(annotation, "isRoot");
            Schema_setResource(self, textOf(parameterOf(annotation, "class")),
                textOf(parameterOf(annotation, "owner")), isRoot != NULL && isRoot->value.bln);
        }
    }
}

/* ---- Definitions ---- */

static idl_retcode_t onStruct(
    const idl_pstate_t* state, bool revisit, const idl_path_t* path, const void* node, void* data) {
    Schema* self = data;
    const idl_struct_t* structure = node;
    const idl_member_t* member;
    char unit[256], name[512];
    (void)state, (void)revisit, (void)path;
    unitName(node, unit, sizeof unit);
    scopedName(node, name, sizeof name);
    Schema_beginStruct(self, unit, name, extensibilityOf(structure->extensibility.value));
    readAnnotations(self, &structure->node, false);
    if (structure->inherit_spec != NULL) {
        fail(self, node, "the generator knows no inheritance");
    }
    IDL_FOREACH(member, structure->members) {
        const idl_declarator_t* declarator;
        if (member->key.value) {
            fail(self, &member->node, "no type of the schema has a key");
        }
        IDL_FOREACH(declarator, member->declarators) {
            Schema_addMember(self, idl_identifier(declarator), declarator->id.value,
                readDeclarator(self, declarator, member->type_spec), member->optional.value);
            readAnnotations(self, &member->node, true);
        }
    }
    return IDL_RETCODE_OK;
}

static idl_retcode_t onUnion(
    const idl_pstate_t* state, bool revisit, const idl_path_t* path, const void* node, void* data) {
    Schema* self = data;
    const idl_union_t* unionNode = node;
    const idl_case_t* arm;
    char unit[256], name[512];
    (void)state, (void)revisit, (void)path;
    unitName(node, unit, sizeof unit);
    scopedName(node, name, sizeof name);
    Schema_beginUnion(self, unit, name, extensibilityOf(unionNode->extensibility.value),
        unionNode->autoid.value == IDL_HASH ? AUTO_ID_HASH : AUTO_ID_SEQUENTIAL,
        readType(self, node, unionNode->switch_type_spec->type_spec));
    readAnnotations(self, &unionNode->node, false);
    IDL_FOREACH(arm, unionNode->cases) {
        const idl_case_label_t* label;
        Schema_addArm(
            self, idl_identifier(arm->declarator), readDeclarator(self, arm->declarator, arm->type_spec));
        IDL_FOREACH(label, arm->labels) {
            Schema_addLabel(self, idl_case_label_intvalue(label));
        }
        if (idl_is_default_case(arm)) {
            fail(self, &arm->node, "the generator knows no default case");
        }
    }
    return IDL_RETCODE_OK;
}

static idl_retcode_t onEnum(
    const idl_pstate_t* state, bool revisit, const idl_path_t* path, const void* node, void* data) {
    Schema* self = data;
    const idl_enum_t* enumeration = node;
    const idl_enumerator_t* literal;
    char unit[256], name[512];
    (void)state, (void)revisit, (void)path;
    unitName(node, unit, sizeof unit);
    scopedName(node, name, sizeof name);
    Schema_beginEnum(self, unit, name, extensibilityOf(enumeration->extensibility.value));
    IDL_FOREACH(literal, enumeration->enumerators) {
        Schema_addLiteral(self, idl_identifier(literal), (int32_t)literal->value.value);
    }
    return IDL_RETCODE_OK;
}

static idl_retcode_t onTypedef(
    const idl_pstate_t* state, bool revisit, const idl_path_t* path, const void* node, void* data) {
    Schema* self = data;
    const idl_typedef_t* alias = node;
    const idl_declarator_t* declarator;
    char unit[256], name[512];
    (void)state, (void)revisit, (void)path;
    unitName(node, unit, sizeof unit);
    IDL_FOREACH(declarator, alias->declarators) {
        scopedName(&declarator->node, name, sizeof name);
        Schema_addAlias(self, unit, name, readDeclarator(self, declarator, alias->type_spec));
    }
    return IDL_RETCODE_OK;
}

__attribute__((visibility("default"))) int generate(
    const idl_pstate_t* state, const idlc_generator_config_t* config) {
    Schema* schema = Schema_new();
    idl_visitor_t visitor;
    memset(&visitor, 0, sizeof visitor);
    visitor.visit = IDL_STRUCT | IDL_UNION | IDL_ENUM | IDL_TYPEDEF;
    visitor.accept[IDL_ACCEPT_STRUCT] = &onStruct;
    visitor.accept[IDL_ACCEPT_UNION] = &onUnion;
    visitor.accept[IDL_ACCEPT_ENUM] = &onEnum;
    visitor.accept[IDL_ACCEPT_TYPEDEF] = &onTypedef;
    visitor.recurse = IDL_VISIT_RECURSE_BY_DEFAULT;
    idl_retcode_t result = idl_visit(state, state->root, &visitor, schema);
    bool ok = result == IDL_RETCODE_OK &&
              Schema_emit(schema, config->output_dir && *config->output_dir ? config->output_dir : ".");
    Schema_delete(schema);
    return ok ? 0 : -1;
}
