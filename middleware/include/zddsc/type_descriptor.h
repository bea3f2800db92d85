/* Types as constant data. The schema generator emits one DDS_TypeDescriptor for each type; every operation on
 * a value (zddsc/type_engine.h) reads it. Plain C, fit for static initializers of C11 and C++20: the fields
 * are to be given in order, and what a kind does not use stays 0.
 *
 * How values lie in memory:
 * - primitives as the DDS_* typedef; an enumeration as 4 bytes (DDS_Enum); a string as `DDS_Char *` on the
 * heap, never null in an initialized value (operations take null for the empty text all the same);
 * - an array in place, several dimensions as one array of all elements; a sequence as its
 * DDS_SEQUENCE_FIELDS;
 * - a structure as the C structure of its members; an optional member as a pointer to the value, null when
 *   absent; an optional string is its `DDS_Char *` itself;
 * - a union as { discriminator _d; struct { all arms side by side } _u; }: arms are not overlaid;
 * - an alias as its target, or, with DDS_TYPE_FLAG_REFERENCE, as a pointer to the target
 * (DDS_Monitoring_LogReference is `DDS_Monitoring_LoggingMessage *`); on the wire there is no difference.
 * Types are not recursive, and nest at most DDS_TYPE_MAXIMUM_NESTING deep: operations on others fail.
 * Threads: constant, but for the runtime record, which the engine alone touches. */
#ifndef ZDDSC_TYPE_DESCRIPTOR_H
#define ZDDSC_TYPE_DESCRIPTOR_H

#include "zddsc/basic_types.h"

ZDDS_BEGIN_C

#define DDS_TYPE_MAXIMUM_NESTING 32
#define DDS_TYPE_MAXIMUM_MEMBERS 256 /* of one structure or union */

typedef enum DDS_TypeKind {
    DDS_TYPE_BOOLEAN = 1,
    DDS_TYPE_OCTET = 2,
    DDS_TYPE_CHAR = 3,
    DDS_TYPE_SHORT = 4,
    DDS_TYPE_USHORT = 5,
    DDS_TYPE_LONG = 6,
    DDS_TYPE_ULONG = 7,
    DDS_TYPE_LONGLONG = 8,
    DDS_TYPE_ULONGLONG = 9,
    DDS_TYPE_FLOAT = 10,
    DDS_TYPE_DOUBLE = 11,
    DDS_TYPE_ENUM = 12,
    DDS_TYPE_STRING = 13,
    DDS_TYPE_STRUCT = 14,
    DDS_TYPE_UNION = 15,
    DDS_TYPE_ALIAS = 16,
    DDS_TYPE_ARRAY = 17,
    DDS_TYPE_SEQUENCE = 18
} DDS_TypeKind;

typedef enum DDS_TypeExtensibility {
    DDS_TYPE_FINAL = 0,
    DDS_TYPE_APPENDABLE = 1,
    DDS_TYPE_MUTABLE = 2 /* structures only */
} DDS_TypeExtensibility;

/* The @observable annotation. A numbering of its own: it is none of the schema's or of the metric tables'. */
typedef enum DDS_TypeObservable {
    DDS_TYPE_OBSERVABLE_NONE = 0, /* not annotated */
    DDS_TYPE_OBSERVABLE_UNSPECIFIED = 1,
    DDS_TYPE_OBSERVABLE_PERIODIC = 2,
    DDS_TYPE_OBSERVABLE_ON_CHANGE = 3
} DDS_TypeObservable;

/* The @resource annotation of a structure. */
struct DDS_TypeResource {
    const char* className;
    const char* owner; /* null on the root */
    DDS_Boolean isRoot;
};
typedef struct DDS_TypeResource DDS_TypeResource;

struct DDS_TypeDescriptor;

/* Flags of a member. */
#define DDS_MEMBER_FLAG_OPTIONAL 0x1U
#define DDS_MEMBER_FLAG_MUST_UNDERSTAND 0x2U
#define DDS_MEMBER_FLAG_DEFAULT_ARM 0x4U /* the arm of every discriminator value that is no label */

/* A member of a structure, or an arm of a union. */
struct DDS_TypeMember {
    const char* name;
    DDS_UnsignedLong id; /* 28 bits */
    size_t offset;       /* bytes from the start of the structure; of a union with _u: offsetof(U, _u.arm) */
    const struct DDS_TypeDescriptor* type;
    DDS_UnsignedLong flags; /* DDS_MEMBER_FLAG_* */
    DDS_TypeObservable observable;
    /* Arms: the labels that select it. */
    const DDS_LongLong* labels;
    DDS_UnsignedLong labelCount;
    /* Default value, by the kind of the type: integers, booleans, characters and enumerations; floats;
     * strings (null is ""). Members of other kinds have the defaults of their own members. */
    DDS_LongLong defaultInteger;
    DDS_Double defaultReal;
    const char* defaultText;
};
typedef struct DDS_TypeMember DDS_TypeMember;

struct DDS_TypeLiteral {
    const char* name;
    DDS_Long value;
};
typedef struct DDS_TypeLiteral DDS_TypeLiteral;

/* Where an in-memory value has its members, in order; of a union the discriminator first. */
struct ORXXCdrMemberAccessInfo {
    size_t offset;
    size_t size;           /* of what lies there: 8 for an optional member */
    DDS_Boolean isPointer; /* an optional member */
};
typedef struct ORXXCdrMemberAccessInfo ORXXCdrMemberAccessInfo;
struct ORXXCdrSampleAccessInfo {
    int isInitialized; /* 1 once filled */
    ORXXCdrMemberAccessInfo* memberAccessInfos;
    DDS_UnsignedLong memberCount;
    size_t sampleSize;
};
typedef struct ORXXCdrSampleAccessInfo ORXXCdrSampleAccessInfo;

/* What the engine keeps for a type; static and zero in the code that defines the descriptor. */
struct DDS_TypeRuntime {
    void* program; /* atomic: published once complete */
    struct DDS_TypeRuntime* next;
    ORXXCdrSampleAccessInfo access;
};
typedef struct DDS_TypeRuntime DDS_TypeRuntime;

/* Flags of a type. */
#define DDS_TYPE_FLAG_REFERENCE 0x1U /* an alias that is a pointer in memory */

struct DDS_TypeDescriptor {
    DDS_TypeKind kind;
    const char* name; /* with modules, such as "DDS::Monitoring::Event"; "" for an anonymous type */
    size_t size;      /* sizeof and alignof in memory */
    size_t alignment;
    DDS_TypeExtensibility extensibility;
    DDS_UnsignedLong representationMask; /* DDS_DATA_REPRESENTATION_MASK_*; 5 for every schema type */
    DDS_UnsignedLong flags;              /* DDS_TYPE_FLAG_* */
    DDS_TypeObservable observable;
    const DDS_TypeResource* resource; /* null without @resource */
    /* Structures: members in declaration order. Unions: arms in declaration order. */
    const DDS_TypeMember* members;
    DDS_UnsignedLong memberCount;
    /* Unions: _d. A new value has the default discriminator: the lowest label. */
    size_t discriminatorOffset;
    const struct DDS_TypeDescriptor*
        discriminator; /* integer, boolean, char, octet or enumeration (or alias) */
    DDS_LongLong defaultDiscriminator;
    /* Enumerations, ascending by value. */
    const DDS_TypeLiteral* literals;
    DDS_UnsignedLong literalCount;
    /* Target of an alias; element of an array or sequence. */
    const struct DDS_TypeDescriptor* element;
    /* Sequence: most elements; string: most characters; 0 is unbounded. Array: all elements. */
    DDS_UnsignedLong bound;
    /* Not null for every named type. An anonymous type may have null: it then only serves inside others. */
    DDS_TypeRuntime* runtime;
    /* Structures and unions: room for memberCount entries, one more in a union; static and zero. */
    ORXXCdrMemberAccessInfo* access;
};
typedef struct DDS_TypeDescriptor DDS_TypeDescriptor;

/* The types that need no declaration. */
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_boolean;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_octet;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_char;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_short;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_ushort;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_long;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_ulong;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_longlong;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_ulonglong;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_float;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_double;
ZDDSC_EXPORT extern const DDS_TypeDescriptor DDS_g_type_string; /* unbounded */

ZDDS_END_C

#endif
