/* Types at run time: descriptors, the interpreter over them, and the plug-in that a topic type brings.
 *
 * A type is data: a constant DDS_TypeDescriptor that the schema generator makes. Everything that is done with
 * a value of the type (initialize, copy, finalize, print, serialize, deserialize) is a walk of the flat
 * program that the interpreter makes from the descriptor once. Threads: descriptors and plug-ins are
 * constant; a value belongs to its caller. */
#ifndef ZDDSC_TYPE_PLUGIN_H
#define ZDDSC_TYPE_PLUGIN_H

#include "zddsc/sequence.h"

ZDDS_BEGIN_C

struct DDS_TypeDescriptor; /* zddsc/type_descriptor.h */
typedef struct DDS_TypeDescriptor DDS_TypeCode;

/* Representation identifiers, and the mask 5 = XCDR | XCDR2 that every schema type allows. */
#define DDS_XCDR_DATA_REPRESENTATION 0
#define DDS_XML_DATA_REPRESENTATION 1
#define DDS_XCDR2_DATA_REPRESENTATION 2
#define DDS_AUTO_DATA_REPRESENTATION ((DDS_UnsignedShort)0xFFFFU) /* XCDR2 where the type allows it */
#define DDS_DATA_REPRESENTATION_MASK_XCDR 0x1U
#define DDS_DATA_REPRESENTATION_MASK_XCDR2 0x4U

typedef enum PRESTypePluginKeyKind {
    PRES_TYPEPLUGIN_NO_KEY = 0,
    PRES_TYPEPLUGIN_GUID_KEY = 1,
    PRES_TYPEPLUGIN_USER_KEY = 2
} PRESTypePluginKeyKind;

/* What a topic type registers with a participant. */
struct DDS_TypePlugin {
    const struct DDS_TypeDescriptor* type;
    const char* schemaName; /* "DDS::Monitoring::Event" */
    PRESTypePluginKeyKind keyKind;
};
typedef struct DDS_TypePlugin DDS_TypePlugin;

/* A new value on the heap, initialized; null on failure. */
ZDDSC_EXPORT void* DDS_TypePlugin_create_sample(const DDS_TypePlugin* self);
/* The same of received bytes. */
ZDDSC_EXPORT void* DDS_TypePlugin_create_sample_from_cdr(
    const DDS_TypePlugin* self, const char* buffer, size_t length);
ZDDSC_EXPORT void DDS_TypePlugin_delete_sample(const DDS_TypePlugin* self, void* sample);
ZDDSC_EXPORT DDS_Boolean DDS_TypePlugin_copy_sample(
    const DDS_TypePlugin* self, void* destination, const void* source);
/* Bytes of one value in memory, for buffers of samples. */
ZDDSC_EXPORT size_t DDS_TypePlugin_get_sample_size(const DDS_TypePlugin* self);

/* Bytes with the 4 bytes of encapsulation header. */
/* Exact size of the encoding, 0 on failure (a string beyond its bound, say). */
ZDDSC_EXPORT size_t PRESTypePlugin_interpretedGetSerializedSampleSize(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation, const void* sample);
/* Writes at most *length bytes and sets *length to what was written. With a null buffer only *length is set.
 */
ZDDSC_EXPORT DDS_Boolean PRESTypePlugin_interpretedSerialize(const DDS_TypePlugin* self, char* buffer,
    size_t* length, DDS_UnsignedShort representation, const void* sample);
/* Reads XCDR 1 and 2 in either byte order into an initialized value, whose earlier content is replaced. The
 * bytes are hostile: on any defect the result is false and the value is left initialized and releasable. */
ZDDSC_EXPORT DDS_Boolean PRESTypePlugin_interpretedDeserialize(
    const DDS_TypePlugin* self, void* sample, const char* buffer, size_t length);
/* Largest possible encoding, 2147483647 when unbounded. */
ZDDSC_EXPORT DDS_UnsignedLong PRESTypePlugin_interpretedGetSerializedSampleMaxSize(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation);
/* No type of the schema has a key: the key's size is 0, and reading one gives the defaults. */
ZDDSC_EXPORT DDS_UnsignedLong PRESTypePlugin_interpretedGetSerializedKeyMaxSize(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation);
ZDDSC_EXPORT DDS_UnsignedLong PRESTypePlugin_interpretedGetSerializedKeyMaxSizeForKeyhash(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation);
ZDDSC_EXPORT DDS_Boolean PRESTypePlugin_interpretedDeserializeKey(
    const DDS_TypePlugin* self, void* sample, const char* buffer, size_t length);

ZDDS_END_C

#endif
