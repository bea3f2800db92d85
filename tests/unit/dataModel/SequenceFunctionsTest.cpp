// The generated sequences, each function called for each element type.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "RandomValue.hpp"
#include "orxmonitoring2d/schema_types.h"

namespace {

// Named as the functions are, so that a macro can fill it.
template <typename TSeq, typename T> struct SequenceFunctions {
    DDS_Boolean (*initialize)(TSeq*);
    DDS_Boolean (*finalize)(TSeq*);
    DDS_Long (*get_length)(const TSeq*);
    DDS_Boolean (*set_length)(TSeq*, DDS_Long);
    DDS_Boolean (*ensure_length)(TSeq*, DDS_Long, DDS_Long);
    DDS_Long (*get_maximum)(const TSeq*);
    DDS_Boolean (*set_maximum)(TSeq*, DDS_Long);
    DDS_Boolean (*set_absolute_maximum)(TSeq*, DDS_Long);
    T* (*get_reference)(const TSeq*, DDS_Long);
    TSeq* (*copy)(TSeq*, const TSeq*);
    DDS_Boolean (*copy_no_alloc)(TSeq*, const TSeq*);
    DDS_Boolean (*from_array)(TSeq*, const T*, DDS_Long);
    DDS_Boolean (*to_array)(const TSeq*, T*, DDS_Long);
    DDS_Boolean (*loan_contiguous)(TSeq*, T*, DDS_Long, DDS_Long);
    DDS_Boolean (*loan_discontiguous)(TSeq*, T**, DDS_Long, DDS_Long);
    DDS_Boolean (*unloan)(TSeq*);
    DDS_Boolean (*has_ownership)(const TSeq*);
    T* (*get_contiguous_buffer)(const TSeq*);
    T** (*get_discontiguous_buffer)(const TSeq*);
    DDS_Boolean (*get_element_pointers_allocation)(const TSeq*);
    DDS_Boolean (*set_element_pointers_allocation)(TSeq*, DDS_Boolean);
    const DDS_TypeAllocationParams_t* (*get_element_allocation_params)(const TSeq*);
    DDS_Boolean (*set_element_allocation_params)(TSeq*, const DDS_TypeAllocationParams_t*);
    const DDS_TypeDeallocationParams_t* (*get_element_deallocation_params)(const TSeq*);
    DDS_Boolean (*set_element_deallocation_params)(TSeq*, const DDS_TypeDeallocationParams_t*);
    DDS_Boolean (*new_buffer)(TSeq*, REDAInlineMemory**, DDS_Long, DDS_Long);
    TSeq* (*copy_w_memory_manager)(TSeq*, REDAInlineMemory**, const TSeq*);
    DDS_Boolean (*unloan_and_finalize)(TSeq*);
};

template <typename TSeq, typename T>
bool equals(const SequenceFunctions<TSeq, T>& functions, const DDS_TypeDescriptor& type, const TSeq& left,
    const TSeq& right) {
    if (functions.get_length(&left) != functions.get_length(&right))
        return false;
    for (DDS_Long i = 0; i < functions.get_length(&left); ++i) {
        if (!DDS_Type_equals(&type, functions.get_reference(&left, i), functions.get_reference(&right, i))) {
            return false;
        }
    }
    return true;
}

template <typename TSeq, typename T>
void check(const SequenceFunctions<TSeq, T>& f, const DDS_TypeDescriptor& type, const char* flatName) {
    SCOPED_TRACE(flatName);
    ASSERT_TRUE(DDS_Type_prepare(&type)); // what the engine keeps is no leak
    const auto before = ORXOsapiHeap_getLiveBufferCount();
    TSeq first, second{};
    ASSERT_TRUE(f.initialize(&first));
    EXPECT_EQ(f.get_length(&first), 0);
    EXPECT_TRUE(f.has_ownership(&first));
    ASSERT_TRUE(f.ensure_length(&first, 3, 5));
    EXPECT_EQ(f.get_length(&first), 3);
    EXPECT_GE(f.get_maximum(&first), 3);
    RandomValue random(2);
    for (DDS_Long i = 0; i < 3; ++i)
        ASSERT_TRUE(random.fill(type, f.get_reference(&first, i)));
    EXPECT_EQ(f.get_reference(&first, 3), nullptr);
    ASSERT_EQ(f.copy(&second, &first), &second);
    EXPECT_TRUE(equals(f, type, first, second));
    ASSERT_TRUE(f.set_length(&second, 0));
    ASSERT_TRUE(f.copy_no_alloc(&second, &first));
    EXPECT_TRUE(equals(f, type, first, second));
    ASSERT_TRUE(f.from_array(&second, f.get_contiguous_buffer(&first), 2));
    EXPECT_EQ(f.get_length(&second), 2);
    ASSERT_TRUE(f.to_array(&first, f.get_contiguous_buffer(&second), 2));
    EXPECT_EQ(f.get_discontiguous_buffer(&second), nullptr);
    ASSERT_TRUE(f.set_maximum(&second, 2));
    EXPECT_EQ(f.get_maximum(&second), 2);

    TSeq loaned{};
    ASSERT_TRUE(f.set_element_pointers_allocation(&loaned, DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(f.get_element_pointers_allocation(&loaned));
    ASSERT_TRUE(f.set_element_pointers_allocation(&loaned, DDS_BOOLEAN_TRUE));
    const DDS_TypeAllocationParams_t allocation = DDS_TYPE_ALLOCATION_PARAMS_DEFAULT;
    const DDS_TypeDeallocationParams_t deallocation = DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT;
    ASSERT_TRUE(f.set_element_allocation_params(&loaned, &allocation));
    EXPECT_TRUE(f.get_element_allocation_params(&loaned)->allocate_memory);
    ASSERT_TRUE(f.set_element_deallocation_params(&loaned, &deallocation));
    EXPECT_TRUE(f.get_element_deallocation_params(&loaned)->delete_pointers);
    ASSERT_TRUE(f.loan_contiguous(&loaned, f.get_contiguous_buffer(&first), 3, 3));
    EXPECT_FALSE(f.has_ownership(&loaned));
    EXPECT_TRUE(equals(f, type, first, loaned));
    ASSERT_TRUE(f.unloan(&loaned));
    EXPECT_TRUE(f.has_ownership(&loaned));
    T* pointers[2] = {f.get_reference(&first, 1), f.get_reference(&first, 2)};
    ASSERT_TRUE(f.loan_discontiguous(&loaned, pointers, 2, 2));
    EXPECT_EQ(f.get_reference(&loaned, 1), f.get_reference(&first, 2));
    ASSERT_NE(f.copy(&second, &loaned), nullptr);
    EXPECT_TRUE(equals(f, type, second, loaned));
    ASSERT_TRUE(f.unloan(&loaned));
    ASSERT_TRUE(f.set_absolute_maximum(&loaned, 2));
    EXPECT_FALSE(f.ensure_length(&loaned, 3, 3)) << "beyond the absolute maximum";

    {
        TestArena arena;
        TSeq inArena{};
        ASSERT_TRUE(f.new_buffer(&inArena, arena.get(), 1, 2));
        EXPECT_EQ(f.get_length(&inArena), 1);
        EXPECT_EQ(f.get_maximum(&inArena), 2);
        ASSERT_TRUE(f.unloan_and_finalize(&inArena));
        EXPECT_EQ(arena.liveBuffers(), 0U);
        ASSERT_EQ(f.copy_w_memory_manager(&inArena, arena.get(), &first), &inArena);
        EXPECT_TRUE(equals(f, type, first, inArena));
        ASSERT_TRUE(f.unloan_and_finalize(&inArena));
        EXPECT_EQ(arena.liveBuffers(), 0U);
    }
    EXPECT_TRUE(f.finalize(&first));
    EXPECT_TRUE(f.finalize(&second));
    EXPECT_TRUE(f.finalize(&loaned));
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before);
}

#define CHECK(T)                                                                                             \
    check<T##Seq, T>(                                                                                        \
        {&T##Seq_initialize, &T##Seq_finalize, &T##Seq_get_length, &T##Seq_set_length,                       \
            &T##Seq_ensure_length, &T##Seq_get_maximum, &T##Seq_set_maximum, &T##Seq_set_absolute_maximum,   \
            &T##Seq_get_reference, &T##Seq_copy, &T##Seq_copy_no_alloc, &T##Seq_from_array,                  \
            &T##Seq_to_array, &T##Seq_loan_contiguous, &T##Seq_loan_discontiguous, &T##Seq_unloan,           \
            &T##Seq_has_ownership, &T##Seq_get_contiguous_buffer, &T##Seq_get_discontiguous_buffer,          \
            &T##Seq_get_element_pointers_allocation, &T##Seq_set_element_pointers_allocation,                \
            &T##Seq_get_element_allocation_params, &T##Seq_set_element_allocation_params,                    \
            &T##Seq_get_element_deallocation_params, &T##Seq_set_element_deallocation_params,                \
            &T##Seq_new_buffer_and_loan_w_memory_manager, &T##Seq_copy_w_memory_manager,                     \
            &T##Seq_unloan_and_finalize_w_memory_manager},                                                   \
        T##_g_type, #T);

TEST(SequenceFunctions, WorkForStructures){ORX_SCHEMA_LIST_STRUCT(CHECK)} TEST(SequenceFunctions,
    WorkForUnions){ORX_SCHEMA_LIST_UNION(CHECK)} TEST(SequenceFunctions, WorkForEnumerations){
    ORX_SCHEMA_LIST_ENUM(CHECK)} TEST(SequenceFunctions, WorkForAliases){ORX_SCHEMA_LIST_ALIAS(CHECK)}
#undef CHECK

TEST(SequenceFunctions, GetGivesAnElementOrZeros) {
    DDS_Monitoring_Int32StatSeq stats{};
    ASSERT_TRUE(DDS_Monitoring_Int32StatSeq_ensure_length(&stats, 1, 1));
    DDS_Monitoring_Int32StatSeq_get_reference(&stats, 0)->mean = -3;
    EXPECT_EQ(DDS_Monitoring_Int32StatSeq_get(&stats, 0).mean, -3);
    EXPECT_EQ(DDS_Monitoring_Int32StatSeq_get(&stats, 1).mean, 0);
    EXPECT_TRUE(DDS_Monitoring_Int32StatSeq_finalize(&stats));

    DDS_Monitoring_GUID_tSeq guids{};
    ASSERT_TRUE(DDS_Monitoring_GUID_tSeq_ensure_length(&guids, 1, 1));
    EXPECT_EQ(DDS_Monitoring_GUID_tSeq_get(&guids, 0), *DDS_Monitoring_GUID_tSeq_get_reference(&guids, 0));
    EXPECT_EQ(DDS_Monitoring_GUID_tSeq_get(&guids, 1), nullptr);
    EXPECT_TRUE(DDS_Monitoring_GUID_tSeq_finalize(&guids));
}

} // namespace
