/* Sequences. All have one memory layout, and so one implementation (middleware/types).
 *
 * - Memory of zeros is a valid empty sequence that owns its buffer; X_initialize makes the same.
 * - Lengths, maxima and indexes are DDS_Long, never negative. A wrong argument fails and changes nothing.
 * - set_length and ensure_length(length, maximum) grow a sequence that owns its buffer when length does not
 * fit, at least geometrically, so that appending one by one is constant time; a loaned buffer needs length <=
 * maximum.
 * - Growing keeps the elements; elements are initialized when they come to be within the maximum and
 *   finalized with the buffer.
 * - A loaned buffer is never freed or grown; unloan leaves an empty sequence that owns.
 * - The memory-manager forms take all memory, elements' strings included, from an arena
 *   (zddscore/inline_memory.h). Such a sequence is finalized with its arena or with the
 *   unloan_and_finalize form.
 * Threads: callers serialize. */
#ifndef ZDDSC_SEQUENCE_H
#define ZDDSC_SEQUENCE_H

#include "zddsc/basic_types.h"
#include "zddscore/inline_memory.h"

ZDDS_BEGIN_C

/* How the memory of a value is made. */
struct DDS_TypeAllocationParams_t {
    DDS_Boolean allocate_pointers;
    DDS_Boolean allocate_optional_members;
    DDS_Boolean allocate_memory;
};
typedef struct DDS_TypeAllocationParams_t DDS_TypeAllocationParams_t;
#define DDS_TYPE_ALLOCATION_PARAMS_DEFAULT                                                                   \
    { DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE }

struct DDS_TypeDeallocationParams_t {
    DDS_Boolean delete_pointers;
    DDS_Boolean delete_optional_members;
};
typedef struct DDS_TypeDeallocationParams_t DDS_TypeDeallocationParams_t;
#define DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT                                                                 \
    { DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE }

/* The fields of every sequence, in order; T stands for the element type. Private but for inspection in a
 * debugger: use the operations. */
#define DDS_SEQUENCE_FIELDS(T)                                                                               \
    T* _contiguous_buffer;                                                                                   \
    T** _discontiguous_buffer; /* of a discontiguous loan */                                                 \
    DDS_UnsignedLong _length;                                                                                \
    DDS_UnsignedLong _maximum;                                                                               \
    DDS_UnsignedLong _absolute_maximum; /* 0: the default, 2147483647 */                                     \
    DDS_Boolean _loaned;                                                                                     \
    DDS_Boolean _arena;                                 /* the buffer came from an arena */                  \
    DDS_TypeAllocationParams_t _element_allocation;     /* all 0: the default */                             \
    DDS_TypeDeallocationParams_t _element_deallocation; /* all 0: the default */                             \
    DDS_Boolean _element_pointers_not_allocated

/* Stands for any of them inside the implementation. */
struct __attribute__((may_alias)) DDS_SequenceBase {
    DDS_SEQUENCE_FIELDS(void);
};

/* Declares TSeq and its operations. TGet is what `get` returns: T, or a pointer to the first element where T
 * is an array. */
#define DDS_SEQUENCE_DECLARE_WITH_GET(EXPORT, TSeq, T, TGet)                                                 \
    struct TSeq {                                                                                            \
        DDS_SEQUENCE_FIELDS(T);                                                                              \
    };                                                                                                       \
    typedef struct TSeq TSeq;                                                                                \
    EXPORT DDS_Boolean TSeq##_initialize(TSeq* self);                                                        \
    EXPORT DDS_Boolean TSeq##_finalize(TSeq* self);                                                          \
    EXPORT DDS_Long TSeq##_get_length(const TSeq* self);                                                     \
    EXPORT DDS_Boolean TSeq##_set_length(TSeq* self, DDS_Long length);                                       \
    EXPORT DDS_Boolean TSeq##_ensure_length(TSeq* self, DDS_Long length, DDS_Long maximum);                  \
    EXPORT DDS_Long TSeq##_get_maximum(const TSeq* self);                                                    \
    EXPORT DDS_Boolean TSeq##_set_maximum(TSeq* self, DDS_Long maximum);                                     \
    EXPORT DDS_Boolean TSeq##_set_absolute_maximum(TSeq* self, DDS_Long absoluteMaximum);                    \
    EXPORT TGet TSeq##_get(const TSeq* self, DDS_Long index);                                                \
    EXPORT T* TSeq##_get_reference(const TSeq* self, DDS_Long index);                                        \
    EXPORT TSeq* TSeq##_copy(TSeq* self, const TSeq* source); /* null on failure */                          \
    EXPORT DDS_Boolean TSeq##_copy_no_alloc(TSeq* self, const TSeq* source);                                 \
    EXPORT DDS_Boolean TSeq##_from_array(TSeq* self, const T* array, DDS_Long length);                       \
    EXPORT DDS_Boolean TSeq##_to_array(const TSeq* self, T* array, DDS_Long length);                         \
    EXPORT DDS_Boolean TSeq##_loan_contiguous(TSeq* self, T* buffer, DDS_Long length, DDS_Long maximum);     \
    EXPORT DDS_Boolean TSeq##_loan_discontiguous(TSeq* self, T** buffer, DDS_Long length, DDS_Long maximum); \
    EXPORT DDS_Boolean TSeq##_unloan(TSeq* self);                                                            \
    EXPORT DDS_Boolean TSeq##_has_ownership(const TSeq* self);                                               \
    EXPORT T* TSeq##_get_contiguous_buffer(const TSeq* self);                                                \
    EXPORT T** TSeq##_get_discontiguous_buffer(const TSeq* self);                                            \
    EXPORT DDS_Boolean TSeq##_get_element_pointers_allocation(const TSeq* self);                             \
    EXPORT DDS_Boolean TSeq##_set_element_pointers_allocation(TSeq* self, DDS_Boolean allocate);             \
    EXPORT const DDS_TypeAllocationParams_t* TSeq##_get_element_allocation_params(const TSeq* self);         \
    EXPORT DDS_Boolean TSeq##_set_element_allocation_params(                                                 \
        TSeq* self, const DDS_TypeAllocationParams_t* params);                                               \
    EXPORT const DDS_TypeDeallocationParams_t* TSeq##_get_element_deallocation_params(const TSeq* self);     \
    EXPORT DDS_Boolean TSeq##_set_element_deallocation_params(                                               \
        TSeq* self, const DDS_TypeDeallocationParams_t* params);                                             \
    EXPORT DDS_Boolean TSeq##_new_buffer_and_loan_w_memory_manager(                                          \
        TSeq* self, struct REDAInlineMemory** memoryManager, DDS_Long length, DDS_Long maximum);             \
    EXPORT TSeq* TSeq##_copy_w_memory_manager(                                                               \
        TSeq* self, struct REDAInlineMemory** memoryManager, const TSeq* source);                            \
    EXPORT DDS_Boolean TSeq##_unloan_and_finalize_w_memory_manager(TSeq* self)

#define DDS_SEQUENCE_DECLARE(EXPORT, TSeq, T) DDS_SEQUENCE_DECLARE_WITH_GET(EXPORT, TSeq, T, T)

DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_CharSeq, DDS_Char);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_OctetSeq, DDS_Octet);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_BooleanSeq, DDS_Boolean);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_LongSeq, DDS_Long);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_UnsignedLongSeq, DDS_UnsignedLong);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_LongLongSeq, DDS_LongLong);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_UnsignedLongLongSeq, DDS_UnsignedLongLong);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_FloatSeq, DDS_Float);
/* Elements within the length are never null (new ones are ""); they live on the heap: DDS_String_replace. */
typedef char* DDS_StringElement;
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_StringSeq, DDS_StringElement);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_InstanceHandleSeq, DDS_InstanceHandle_t);
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_GUIDSeq, DDS_GUID_t);

ZDDS_END_C

#endif
