/* Defines the operations of a sequence family that DDS_SEQUENCE_DECLARE declared. All are thin: one
 * implementation serves every element type, which it knows as a DDS_SequenceElement.
 *
 *     static const DDS_SequenceElement sampleInfo = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_SampleInfo);
 *     DDS_SEQUENCE_DEFINE(DDS_SampleInfoSeq, DDS_SampleInfo, &sampleInfo)
 *
 * Threads, ownership, errors: zddsc/sequence.h. */
#ifndef ZDDSC_SEQUENCE_DEFINE_H
#define ZDDSC_SEQUENCE_DEFINE_H

#include <string.h>

#include "zddsc/sequence.h"
#include "zddsc/type_descriptor.h"

ZDDS_BEGIN_C

/* An element type. With a descriptor the engine does the work. Without one, either all three operations are
 * given, or none: then elements are plain bytes, zero when new. Elements must be movable by memcpy. */
struct DDS_SequenceElement {
    size_t size;
    const DDS_TypeDescriptor* type;
    /* Fills raw memory. On failure nothing is left allocated. memoryManager null: the heap. */
    DDS_Boolean (*initialize)(
        void* element, const DDS_TypeAllocationParams_t* params, struct REDAInlineMemory** memoryManager);
    /* isArena: the memory of the element came from an arena. */
    void (*finalize)(void* element, const DDS_TypeDeallocationParams_t* params, DDS_Boolean isArena);
    /* Into an initialized element. */
    DDS_Boolean (*copy)(void* destination, const void* source, struct REDAInlineMemory** memoryManager);
};
typedef struct DDS_SequenceElement DDS_SequenceElement;

/* Initializers. */
#define DDS_SEQUENCE_ELEMENT_PLAIN(T)                                                                        \
    { sizeof(T), 0, 0, 0, 0 }
#define DDS_SEQUENCE_ELEMENT_OF_TYPE(T, descriptor)                                                          \
    { sizeof(T), (descriptor), 0, 0, 0 }
#define DDS_SEQUENCE_ELEMENT_WITH(T, initializeElement, finalizeElement, copyElement)                        \
    { sizeof(T), 0, (initializeElement), (finalizeElement), (copyElement) }

ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_initialize(struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_finalize(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Long DDS_SequenceBase_get_length(const struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_set_length(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self, DDS_Long length);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_ensure_length(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self, DDS_Long length, DDS_Long maximum);
ZDDSC_EXPORT DDS_Long DDS_SequenceBase_get_maximum(const struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_set_maximum(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self, DDS_Long maximum);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_set_absolute_maximum(
    struct DDS_SequenceBase* self, DDS_Long absoluteMaximum);
ZDDSC_EXPORT void* DDS_SequenceBase_get_reference(
    const DDS_SequenceElement* element, const struct DDS_SequenceBase* self, DDS_Long index);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_copy(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self, const struct DDS_SequenceBase* source);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_copy_no_alloc(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self, const struct DDS_SequenceBase* source);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_from_array(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self, const void* array, DDS_Long length);
/* The array's elements are initialized. */
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_to_array(
    const DDS_SequenceElement* element, const struct DDS_SequenceBase* self, void* array, DDS_Long length);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_loan_contiguous(
    struct DDS_SequenceBase* self, void* buffer, DDS_Long length, DDS_Long maximum);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_loan_discontiguous(
    struct DDS_SequenceBase* self, void** buffer, DDS_Long length, DDS_Long maximum);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_unloan(struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_has_ownership(const struct DDS_SequenceBase* self);
ZDDSC_EXPORT void* DDS_SequenceBase_get_contiguous_buffer(const struct DDS_SequenceBase* self);
ZDDSC_EXPORT void** DDS_SequenceBase_get_discontiguous_buffer(const struct DDS_SequenceBase* self);
/* These need a sequence without a buffer of its own: the elements in it were made under the earlier setting.
 */
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_get_element_pointers_allocation(
    const struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_set_element_pointers_allocation(
    struct DDS_SequenceBase* self, DDS_Boolean allocate);
ZDDSC_EXPORT const DDS_TypeAllocationParams_t* DDS_SequenceBase_get_element_allocation_params(
    const struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_set_element_allocation_params(
    struct DDS_SequenceBase* self, const DDS_TypeAllocationParams_t* params);
ZDDSC_EXPORT const DDS_TypeDeallocationParams_t* DDS_SequenceBase_get_element_deallocation_params(
    const struct DDS_SequenceBase* self);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_set_element_deallocation_params(
    struct DDS_SequenceBase* self, const DDS_TypeDeallocationParams_t* params);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_new_buffer_and_loan_w_memory_manager(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self,
    struct REDAInlineMemory** memoryManager, DDS_Long length, DDS_Long maximum);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_copy_w_memory_manager(const DDS_SequenceElement* element,
    struct DDS_SequenceBase* self, struct REDAInlineMemory** memoryManager,
    const struct DDS_SequenceBase* source);
ZDDSC_EXPORT DDS_Boolean DDS_SequenceBase_unloan_and_finalize_w_memory_manager(
    const DDS_SequenceElement* element, struct DDS_SequenceBase* self);

ZDDS_END_C

/* element: a `const DDS_SequenceElement *`. A `get` out of range gives zeros. No semicolon follows. */
#define DDS_SEQUENCE_DEFINE_WITH_GET(TSeq, T, TGet, element)                                                 \
    DDS_Boolean TSeq##_initialize(TSeq* self) {                                                              \
        return DDS_SequenceBase_initialize((struct DDS_SequenceBase*)self);                                  \
    }                                                                                                        \
    DDS_Boolean TSeq##_finalize(TSeq* self) {                                                                \
        return DDS_SequenceBase_finalize((element), (struct DDS_SequenceBase*)self);                         \
    }                                                                                                        \
    DDS_Long TSeq##_get_length(const TSeq* self) {                                                           \
        return DDS_SequenceBase_get_length((const struct DDS_SequenceBase*)self);                            \
    }                                                                                                        \
    DDS_Boolean TSeq##_set_length(TSeq* self, DDS_Long length) {                                             \
        return DDS_SequenceBase_set_length((element), (struct DDS_SequenceBase*)self, length);               \
    }                                                                                                        \
    DDS_Boolean TSeq##_ensure_length(TSeq* self, DDS_Long length, DDS_Long maximum) {                        \
        return DDS_SequenceBase_ensure_length((element), (struct DDS_SequenceBase*)self, length, maximum);   \
    }                                                                                                        \
    DDS_Long TSeq##_get_maximum(const TSeq* self) {                                                          \
        return DDS_SequenceBase_get_maximum((const struct DDS_SequenceBase*)self);                           \
    }                                                                                                        \
    DDS_Boolean TSeq##_set_maximum(TSeq* self, DDS_Long maximum) {                                           \
        return DDS_SequenceBase_set_maximum((element), (struct DDS_SequenceBase*)self, maximum);             \
    }                                                                                                        \
    DDS_Boolean TSeq##_set_absolute_maximum(TSeq* self, DDS_Long absoluteMaximum) {                          \
        return DDS_SequenceBase_set_absolute_maximum((struct DDS_SequenceBase*)self, absoluteMaximum);       \
    }                                                                                                        \
    TGet TSeq##_get(const TSeq* self, DDS_Long index) {                                                      \
        T* reference = TSeq##_get_reference(self, index);                                                    \
        TGet zeros;                                                                                          \
        if (reference) {                                                                                     \
            return *reference;                                                                               \
        }                                                                                                    \
        memset(&zeros, 0, sizeof zeros);                                                                     \
        return zeros;                                                                                        \
    }                                                                                                        \
    T* TSeq##_get_reference(const TSeq* self, DDS_Long index) {                                              \
        return (T*)DDS_SequenceBase_get_reference((element), (const struct DDS_SequenceBase*)self, index);   \
    }                                                                                                        \
    TSeq* TSeq##_copy(TSeq* self, const TSeq* source) {                                                      \
        return DDS_SequenceBase_copy(                                                                        \
                   (element), (struct DDS_SequenceBase*)self, (const struct DDS_SequenceBase*)source)        \
                   ? self                                                                                    \
                   : 0;                                                                                      \
    }                                                                                                        \
    DDS_Boolean TSeq##_copy_no_alloc(TSeq* self, const TSeq* source) {                                       \
        return DDS_SequenceBase_copy_no_alloc(                                                               \
            (element), (struct DDS_SequenceBase*)self, (const struct DDS_SequenceBase*)source);              \
    }                                                                                                        \
    DDS_Boolean TSeq##_from_array(TSeq* self, const T* array, DDS_Long length) {                             \
        return DDS_SequenceBase_from_array((element), (struct DDS_SequenceBase*)self, array, length);        \
    }                                                                                                        \
    DDS_Boolean TSeq##_to_array(const TSeq* self, T* array, DDS_Long length) {                               \
        return DDS_SequenceBase_to_array((element), (const struct DDS_SequenceBase*)self, array, length);    \
    }                                                                                                        \
    DDS_Boolean TSeq##_loan_contiguous(TSeq* self, T* buffer, DDS_Long length, DDS_Long maximum) {           \
        return DDS_SequenceBase_loan_contiguous((struct DDS_SequenceBase*)self, buffer, length, maximum);    \
    }                                                                                                        \
    DDS_Boolean TSeq##_loan_discontiguous(TSeq* self, T** buffer, DDS_Long length, DDS_Long maximum) {       \
        return DDS_SequenceBase_loan_discontiguous(                                                          \
            (struct DDS_SequenceBase*)self, (void**)buffer, length, maximum);                                \
    }                                                                                                        \
    DDS_Boolean TSeq##_unloan(TSeq* self) {                                                                  \
        return DDS_SequenceBase_unloan((struct DDS_SequenceBase*)self);                                      \
    }                                                                                                        \
    DDS_Boolean TSeq##_has_ownership(const TSeq* self) {                                                     \
        return DDS_SequenceBase_has_ownership((const struct DDS_SequenceBase*)self);                         \
    }                                                                                                        \
    T* TSeq##_get_contiguous_buffer(const TSeq* self) {                                                      \
        return (T*)DDS_SequenceBase_get_contiguous_buffer((const struct DDS_SequenceBase*)self);             \
    }                                                                                                        \
    T** TSeq##_get_discontiguous_buffer(const TSeq* self) {                                                  \
        return (T**)DDS_SequenceBase_get_discontiguous_buffer((const struct DDS_SequenceBase*)self);         \
    }                                                                                                        \
    DDS_Boolean TSeq##_get_element_pointers_allocation(const TSeq* self) {                                   \
        return DDS_SequenceBase_get_element_pointers_allocation((const struct DDS_SequenceBase*)self);       \
    }                                                                                                        \
    DDS_Boolean TSeq##_set_element_pointers_allocation(TSeq* self, DDS_Boolean allocate) {                   \
        return DDS_SequenceBase_set_element_pointers_allocation((struct DDS_SequenceBase*)self, allocate);   \
    }                                                                                                        \
    const DDS_TypeAllocationParams_t* TSeq##_get_element_allocation_params(const TSeq* self) {               \
        return DDS_SequenceBase_get_element_allocation_params((const struct DDS_SequenceBase*)self);         \
    }                                                                                                        \
    DDS_Boolean TSeq##_set_element_allocation_params(TSeq* self, const DDS_TypeAllocationParams_t* params) { \
        return DDS_SequenceBase_set_element_allocation_params((struct DDS_SequenceBase*)self, params);       \
    }                                                                                                        \
    const DDS_TypeDeallocationParams_t* TSeq##_get_element_deallocation_params(const TSeq* self) {           \
        return DDS_SequenceBase_get_element_deallocation_params((const struct DDS_SequenceBase*)self);       \
    }                                                                                                        \
    DDS_Boolean TSeq##_set_element_deallocation_params(                                                      \
        TSeq* self, const DDS_TypeDeallocationParams_t* params) {                                            \
        return DDS_SequenceBase_set_element_deallocation_params((struct DDS_SequenceBase*)self, params);     \
    }                                                                                                        \
    DDS_Boolean TSeq##_new_buffer_and_loan_w_memory_manager(                                                 \
        TSeq* self, struct REDAInlineMemory** memoryManager, DDS_Long length, DDS_Long maximum) {            \
        return DDS_SequenceBase_new_buffer_and_loan_w_memory_manager(                                        \
            (element), (struct DDS_SequenceBase*)self, memoryManager, length, maximum);                      \
    }                                                                                                        \
    TSeq* TSeq##_copy_w_memory_manager(                                                                      \
        TSeq* self, struct REDAInlineMemory** memoryManager, const TSeq* source) {                           \
        return DDS_SequenceBase_copy_w_memory_manager((element), (struct DDS_SequenceBase*)self,             \
                   memoryManager, (const struct DDS_SequenceBase*)source)                                    \
                   ? self                                                                                    \
                   : 0;                                                                                      \
    }                                                                                                        \
    DDS_Boolean TSeq##_unloan_and_finalize_w_memory_manager(TSeq* self) {                                    \
        return DDS_SequenceBase_unloan_and_finalize_w_memory_manager(                                        \
            (element), (struct DDS_SequenceBase*)self);                                                      \
    }

#define DDS_SEQUENCE_DEFINE(TSeq, T, element) DDS_SEQUENCE_DEFINE_WITH_GET(TSeq, T, T, element)

#endif
