/* Everything that is done with values of a type, over its descriptor. Generated code is one call into this
 * header for each of its functions.
 *
 * Threads: a value belongs to its caller; the engine's own records are made once, by whichever thread comes
 * first. Ownership: strings, sequences, optional members and references lie on the heap of zddscore/heap.h,
 * or in the caller's arena in the *_w_memory_manager forms; a value must be finalized in the form that made
 * it. Errors: false or null; only memory can run out, unless a function says more. A value that was
 * initialized stays so after any failure, and can be finalized.
 *
 * Memory of zeros is a valid value of every type, but with discriminator 0 in unions, absent strings (taken
 * for "") and null references (which do not serialize).
 *
 * References: copied like what they refer to, but in a sequence whose element pointers are not allocated
 * (X_set_element_pointers_allocation), which belong to somebody else: there the pointers themselves are
 * copied.
 *
 * Unions: copying, comparing and serializing look at the arm that the discriminator selects and at no other.
 * When a copy or deserialization changes the discriminator of its destination, the arm selected before goes
 * back to its defaults; other arms stay. */
#ifndef ZDDSC_TYPE_ENGINE_H
#define ZDDSC_TYPE_ENGINE_H

#include "zddsc/sequence.h"
#include "zddsc/type_descriptor.h"
#include "zddsc/type_plugin.h"

ZDDS_BEGIN_C

/* ---- Type object ---- */

/* Fills on the first call, and returns, the access record of a structure or union; null for other kinds. */
ZDDSC_EXPORT const ORXXCdrSampleAccessInfo* DDS_Type_get_sample_access_info(const DDS_TypeDescriptor* type);
/* Makes the type's programs now instead of at first use, so that no later operation has to. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_prepare(const DDS_TypeDescriptor* type);
/* The programs, made when needed: an opaque constant object. Null on failure. */
ZDDSC_EXPORT const struct DDS_TypePrograms* DDS_Type_get_programs(const DDS_TypeDescriptor* type);
/* Frees the programs of all types; they are made again when needed. No other thread may be inside the engine.
 */
ZDDSC_EXPORT void DDS_Type_finalize_programs(void);

/* ---- Life of a value ---- */

ZDDSC_EXPORT DDS_Boolean DDS_Type_initialize(const DDS_TypeDescriptor* type, void* value);
/* allocateMemory false: the value has been initialized before; it gets its defaults and keeps memory it has.
 */
ZDDSC_EXPORT DDS_Boolean DDS_Type_initialize_ex(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean allocatePointers, DDS_Boolean allocateMemory);
ZDDSC_EXPORT DDS_Boolean DDS_Type_initialize_w_params(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeAllocationParams_t* params);
/* Finalizing twice is harmless: pointers become null. deletePointers false leaves references alone. */
ZDDSC_EXPORT void DDS_Type_finalize(const DDS_TypeDescriptor* type, void* value);
ZDDSC_EXPORT void DDS_Type_finalize_ex(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers);
ZDDSC_EXPORT void DDS_Type_finalize_w_params(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeDeallocationParams_t* params);
ZDDSC_EXPORT DDS_Boolean DDS_Type_finalize_w_return(const DDS_TypeDescriptor* type, void* value);
/* Frees the optional members, at every level that is not itself behind a sequence, and makes them absent. */
ZDDSC_EXPORT void DDS_Type_finalize_optional_members(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers);
/* destination is initialized; memory that it has is used again where it suffices. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_copy(const DDS_TypeDescriptor* type, void* destination, const void* source);
/* Same members, same selected arms, same elements; floats compare as numbers. Never fails. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_equals(const DDS_TypeDescriptor* type, const void* left, const void* right);

/* The same with all memory from an arena. The finalize forms release buffer by buffer, from anywhere in an
 * arena. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_initialize_w_memory_manager(
    const DDS_TypeDescriptor* type, void* value, struct REDAInlineMemory** memoryManager);
ZDDSC_EXPORT DDS_Boolean DDS_Type_initialize_ex_w_memory_manager(const DDS_TypeDescriptor* type, void* value,
    struct REDAInlineMemory** memoryManager, DDS_Boolean allocatePointers, DDS_Boolean allocateMemory);
ZDDSC_EXPORT DDS_Boolean DDS_Type_initialize_w_params_w_memory_manager(const DDS_TypeDescriptor* type,
    void* value, struct REDAInlineMemory** memoryManager, const DDS_TypeAllocationParams_t* params);
ZDDSC_EXPORT void DDS_Type_finalize_w_memory_manager(const DDS_TypeDescriptor* type, void* value);
ZDDSC_EXPORT void DDS_Type_finalize_ex_w_memory_manager(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers);
ZDDSC_EXPORT void DDS_Type_finalize_w_params_w_memory_manager(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeDeallocationParams_t* params);
ZDDSC_EXPORT DDS_Boolean DDS_Type_copy_w_memory_manager(const DDS_TypeDescriptor* type, void* destination,
    struct REDAInlineMemory** memoryManager, const void* source);

/* ---- Plug-in support: values on the heap ---- */

ZDDSC_EXPORT void* DDS_Type_create_data(const DDS_TypeDescriptor* type);
ZDDSC_EXPORT void* DDS_Type_create_data_ex(const DDS_TypeDescriptor* type, DDS_Boolean allocatePointers);
ZDDSC_EXPORT void* DDS_Type_create_data_w_params(
    const DDS_TypeDescriptor* type, const DDS_TypeAllocationParams_t* params);
/* Null is a no-op. */
ZDDSC_EXPORT void DDS_Type_destroy_data(const DDS_TypeDescriptor* type, void* value);
ZDDSC_EXPORT void DDS_Type_destroy_data_ex(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers);
ZDDSC_EXPORT void DDS_Type_destroy_data_w_params(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeDeallocationParams_t* params);
/* Prints to the standard output: a line with the description (null: none), then one line for each leaf. */
ZDDSC_EXPORT void DDS_Type_print_data(
    const DDS_TypeDescriptor* type, const void* value, const char* description, DDS_UnsignedLong indent);

/* ---- Plug-in ---- */

/* The same text as one string. With a null text only *size is set, to the bytes needed with the terminator;
 * fails, with *size set so, when the text does not fit. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_data_to_string(
    const DDS_TypeDescriptor* type, const void* value, char* text, DDS_UnsignedLong* size);

/* Encapsulation header and CDR, native byte order, XCDR 2. With a null buffer only *length is set, to the
 * exact size; else *length is the room on entry and what was written on return. Fails for a string or
 * sequence beyond its bound, an enumerator that the type does not have, a null reference, and a buffer too
 * small. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_serialize_to_cdr_buffer(
    const DDS_TypeDescriptor* type, char* buffer, DDS_UnsignedLong* length, const void* value);
/* representation: DDS_XCDR_DATA_REPRESENTATION, DDS_XCDR2_DATA_REPRESENTATION or
 * DDS_AUTO_DATA_REPRESENTATION. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_serialize_to_cdr_buffer_ex(const DDS_TypeDescriptor* type, char* buffer,
    DDS_UnsignedLong* length, const void* value, DDS_UnsignedShort representation);
/* In one pass, into a buffer of zddscore/heap.h that grows as needed: *buffer (null at first) has *capacity
 * bytes. Both stay the caller's, to be used again or freed, after failure too. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_serialize_to_growing_buffer(const DDS_TypeDescriptor* type, char** buffer,
    size_t* capacity, size_t* length, const void* value, DDS_UnsignedShort representation);
/* See PRESTypePlugin_interpretedDeserialize. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_deserialize_from_cdr_buffer(
    const DDS_TypeDescriptor* type, void* value, const char* buffer, DDS_UnsignedLong length);
/* The same into a new value on the heap; null on failure. Its buffers share blocks of the heap, so that it
 * costs less than a new value that is read into. */
ZDDSC_EXPORT void* DDS_Type_create_data_from_cdr_buffer(
    const DDS_TypeDescriptor* type, const char* buffer, DDS_UnsignedLong length);
/* No type here has a key: gives the defaults. */
ZDDSC_EXPORT DDS_Boolean DDS_Type_deserialize_key(
    const DDS_TypeDescriptor* type, void* value, const char* buffer, DDS_UnsignedLong length);
/* Largest encoding with its header, 2147483647 when unbounded. */
ZDDSC_EXPORT DDS_UnsignedLong DDS_Type_get_serialized_sample_max_size(
    const DDS_TypeDescriptor* type, DDS_UnsignedShort representation);
/* 0: no type here has a key. */
ZDDSC_EXPORT DDS_UnsignedLong DDS_Type_get_serialized_key_max_size(
    const DDS_TypeDescriptor* type, DDS_UnsignedShort representation);
ZDDSC_EXPORT DDS_UnsignedLong DDS_Type_get_serialized_key_max_size_for_keyhash(
    const DDS_TypeDescriptor* type, DDS_UnsignedShort representation);
/* Encapsulation identifier of what the functions above write: 0x0009 for an appendable type in XCDR 2 on a
 * little-endian machine. 0xFFFF when the type does not allow the representation. */
ZDDSC_EXPORT DDS_UnsignedShort DDS_TypeCode_get_native_encapsulation(
    const DDS_TypeDescriptor* type, DDS_UnsignedShort representation);

/* ---- Sequences: see zddsc/sequence_define.h ---- */

ZDDS_END_C

#endif
