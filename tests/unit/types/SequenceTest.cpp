#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "HeapFault.hpp"
#include "zddsc/sequence_define.h"
#include "zddsc/type_engine.h"

namespace {

REDAInlineMemory* makeArena() {
    const REDAInlineMemoryProperty property = {1024, 2147483647, 50, 0, 0,
        REDAInlineMemoryLowerLevelAllocator_mallocAllocate, REDAInlineMemoryLowerLevelAllocator_mallocFree,
        nullptr};
    return REDAInlineMemory_new(&property);
}

unsigned liveBuffers(const REDAInlineMemory* arena) {
    REDAInlineMemoryInfo info;
    REDAInlineMemory_getInfo(arena, &info);
    return info.liveBuffers;
}

TEST(Sequence, ZerosAreAnEmptySequenceThatOwns) {
    DDS_LongSeq zeros{};
    DDS_LongSeq made;
    std::memset(static_cast<void*>(&made), 0xA5, sizeof made);
    ASSERT_TRUE(DDS_LongSeq_initialize(&made));
    for (DDS_LongSeq* seq : {&zeros, &made}) {
        EXPECT_EQ(DDS_LongSeq_get_length(seq), 0);
        EXPECT_EQ(DDS_LongSeq_get_maximum(seq), 0);
        EXPECT_TRUE(DDS_LongSeq_has_ownership(seq));
        EXPECT_EQ(DDS_LongSeq_get_contiguous_buffer(seq), nullptr);
        EXPECT_EQ(DDS_LongSeq_get_discontiguous_buffer(seq), nullptr);
        EXPECT_TRUE(DDS_LongSeq_get_element_pointers_allocation(seq));
        EXPECT_TRUE(DDS_LongSeq_finalize(seq));
        EXPECT_TRUE(DDS_LongSeq_finalize(seq));
    }
}

TEST(Sequence, SetLengthGrowsWhatItOwnsAndKeepsElements) {
    HeapFault heap;
    DDS_LongSeq seq{};
    ASSERT_TRUE(DDS_LongSeq_set_length(&seq, 3));
    for (DDS_Long i = 0; i < 3; ++i) {
        EXPECT_EQ(DDS_LongSeq_get(&seq, i), 0);
        *DDS_LongSeq_get_reference(&seq, i) = i + 10;
    }
    ASSERT_TRUE(DDS_LongSeq_set_length(&seq, 500));
    EXPECT_EQ(DDS_LongSeq_get(&seq, 2), 12);
    EXPECT_EQ(DDS_LongSeq_get(&seq, 499), 0);
    ASSERT_TRUE(DDS_LongSeq_set_length(&seq, 1));
    EXPECT_GE(DDS_LongSeq_get_maximum(&seq), 500);
    EXPECT_TRUE(DDS_LongSeq_finalize(&seq));
    EXPECT_EQ(heap.leaked(), 0);
}

TEST(Sequence, WrongArgumentsFailAndChangeNothing) {
    DDS_LongSeq seq{};
    ASSERT_TRUE(DDS_LongSeq_ensure_length(&seq, 2, 4));
    EXPECT_FALSE(DDS_LongSeq_set_length(&seq, -1));
    EXPECT_FALSE(DDS_LongSeq_ensure_length(&seq, 5, 4));
    EXPECT_FALSE(DDS_LongSeq_ensure_length(&seq, -1, 4));
    EXPECT_FALSE(DDS_LongSeq_set_maximum(&seq, 1));
    EXPECT_FALSE(DDS_LongSeq_set_maximum(&seq, -1));
    EXPECT_FALSE(DDS_LongSeq_set_absolute_maximum(&seq, 3));
    EXPECT_EQ(DDS_LongSeq_get_reference(&seq, 2), nullptr);
    EXPECT_EQ(DDS_LongSeq_get_reference(&seq, -1), nullptr);
    EXPECT_EQ(DDS_LongSeq_get(&seq, 2), 0);
    EXPECT_FALSE(DDS_LongSeq_from_array(&seq, nullptr, 1));
    EXPECT_FALSE(DDS_LongSeq_to_array(&seq, nullptr, 1));
    DDS_Long out[3];
    EXPECT_FALSE(DDS_LongSeq_to_array(&seq, out, 3));
    EXPECT_FALSE(DDS_LongSeq_loan_contiguous(&seq, out, 1, 3));
    EXPECT_FALSE(DDS_LongSeq_unloan(&seq));
    EXPECT_FALSE(DDS_LongSeq_initialize(nullptr));
    EXPECT_EQ(DDS_LongSeq_get_length(nullptr), 0);
    EXPECT_EQ(DDS_LongSeq_copy(&seq, nullptr), nullptr);
    EXPECT_EQ(DDS_LongSeq_get_length(&seq), 2);
    EXPECT_EQ(DDS_LongSeq_get_maximum(&seq), 4);
    DDS_LongSeq_finalize(&seq);
}

TEST(Sequence, AppendingOneByOneIsConstantTime) {
    HeapFault heap;
    DDS_LongLongSeq seq{};
    constexpr DDS_Long count = 100000;
    for (DDS_Long i = 0; i < count; ++i) {
        ASSERT_TRUE(DDS_LongLongSeq_ensure_length(&seq, i + 1, i + 1));
        *DDS_LongLongSeq_get_reference(&seq, i) = i;
    }
    EXPECT_LT(heap.count(), 60);
    for (DDS_Long i = 0; i < count; ++i)
        ASSERT_EQ(DDS_LongLongSeq_get(&seq, i), i);
    DDS_LongLongSeq_finalize(&seq);
    EXPECT_EQ(heap.leaked(), 0);
}

TEST(Sequence, AbsoluteMaximumBoundsGrowth) {
    DDS_OctetSeq seq{};
    ASSERT_TRUE(DDS_OctetSeq_set_absolute_maximum(&seq, 24));
    EXPECT_FALSE(DDS_OctetSeq_set_length(&seq, 25));
    EXPECT_TRUE(DDS_OctetSeq_ensure_length(&seq, 20, 100));
    EXPECT_EQ(DDS_OctetSeq_get_maximum(&seq), 24);
    EXPECT_TRUE(DDS_OctetSeq_set_length(&seq, 24));
    DDS_OctetSeq_finalize(&seq);
}

TEST(Sequence, SetMaximumIsExactAndFreesAtZero) {
    DDS_Type_finalize_programs();
    HeapFault heap;
    DDS_StringSeq seq{};
    ASSERT_TRUE(DDS_StringSeq_set_maximum(&seq, 10));
    EXPECT_EQ(DDS_StringSeq_get_maximum(&seq), 10);
    ASSERT_TRUE(DDS_StringSeq_set_maximum(&seq, 4));
    EXPECT_EQ(DDS_StringSeq_get_maximum(&seq), 4);
    ASSERT_TRUE(DDS_StringSeq_set_maximum(&seq, 0));
    EXPECT_EQ(DDS_StringSeq_get_contiguous_buffer(&seq), nullptr);
    DDS_Type_finalize_programs();
    EXPECT_EQ(heap.leaked(), 0);
}

TEST(Sequence, StringsAreNeverNullAndCopiesAreDeep) {
    DDS_Type_finalize_programs();
    HeapFault heap;
    DDS_StringSeq seq{}, copy{};
    ASSERT_TRUE(DDS_StringSeq_set_length(&seq, 2));
    EXPECT_STREQ(DDS_StringSeq_get(&seq, 0), "");
    ASSERT_NE(DDS_String_replace(DDS_StringSeq_get_reference(&seq, 1), "topic"), nullptr);
    ASSERT_EQ(DDS_StringSeq_copy(&copy, &seq), &copy);
    EXPECT_STREQ(DDS_StringSeq_get(&copy, 1), "topic");
    EXPECT_NE(DDS_StringSeq_get(&copy, 1), DDS_StringSeq_get(&seq, 1));
    EXPECT_EQ(DDS_StringSeq_copy(&copy, &copy), &copy);
    const char* texts[] = {"a", "a much longer text", ""};
    ASSERT_TRUE(DDS_StringSeq_from_array(&seq, const_cast<char**>(texts), 3));
    EXPECT_STREQ(DDS_StringSeq_get(&seq, 1), "a much longer text");
    char* out[2] = {nullptr, nullptr};
    ASSERT_TRUE(DDS_StringSeq_to_array(&seq, out, 2));
    EXPECT_STREQ(out[1], "a much longer text");
    DDS_String_free(out[0]);
    DDS_String_free(out[1]);
    DDS_StringSeq_finalize(&seq);
    DDS_StringSeq_finalize(&copy);
    DDS_Type_finalize_programs();
    EXPECT_EQ(heap.leaked(), 0);
}

TEST(Sequence, CopyNoAllocNeedsRoom) {
    DDS_LongSeq source{}, destination{};
    DDS_LongSeq_set_length(&source, 3);
    EXPECT_FALSE(DDS_LongSeq_copy_no_alloc(&destination, &source));
    DDS_LongSeq_set_maximum(&destination, 3);
    EXPECT_TRUE(DDS_LongSeq_copy_no_alloc(&destination, &source));
    EXPECT_EQ(DDS_LongSeq_get_length(&destination), 3);
    DDS_LongSeq_finalize(&source);
    DDS_LongSeq_finalize(&destination);
}

TEST(Sequence, LoanedBufferIsNeitherGrownNorFreed) {
    HeapFault heap;
    DDS_UnsignedLong buffer[4] = {1, 2, 3, 4};
    DDS_UnsignedLongSeq seq{};
    ASSERT_TRUE(DDS_UnsignedLongSeq_loan_contiguous(&seq, buffer, 2, 4));
    EXPECT_FALSE(DDS_UnsignedLongSeq_has_ownership(&seq));
    EXPECT_FALSE(DDS_UnsignedLongSeq_loan_contiguous(&seq, buffer, 2, 4));
    EXPECT_TRUE(DDS_UnsignedLongSeq_set_length(&seq, 4));
    EXPECT_EQ(DDS_UnsignedLongSeq_get(&seq, 3), 4U);
    EXPECT_FALSE(DDS_UnsignedLongSeq_set_length(&seq, 5));
    EXPECT_FALSE(DDS_UnsignedLongSeq_set_maximum(&seq, 8));
    DDS_UnsignedLongSeq big{};
    DDS_UnsignedLongSeq_set_length(&big, 5);
    EXPECT_EQ(DDS_UnsignedLongSeq_copy(&seq, &big), nullptr);
    EXPECT_EQ(DDS_UnsignedLongSeq_get(&seq, 3), 4U);
    EXPECT_EQ(DDS_UnsignedLongSeq_get_contiguous_buffer(&seq), buffer);
    ASSERT_TRUE(DDS_UnsignedLongSeq_unloan(&seq));
    EXPECT_TRUE(DDS_UnsignedLongSeq_has_ownership(&seq));
    EXPECT_EQ(DDS_UnsignedLongSeq_get_maximum(&seq), 0);
    ASSERT_TRUE(DDS_UnsignedLongSeq_loan_contiguous(&seq, buffer, 4, 4));
    EXPECT_TRUE(DDS_UnsignedLongSeq_finalize(&seq)); // drops the loan
    DDS_UnsignedLongSeq_finalize(&big);
    EXPECT_EQ(heap.leaked(), 0);
}

TEST(Sequence, DiscontiguousLoanIsReadThroughItsPointers) {
    DDS_Long one = 1, two = 2;
    DDS_Long* pointers[] = {&two, &one};
    DDS_LongSeq seq{}, copy{};
    ASSERT_TRUE(DDS_LongSeq_loan_discontiguous(&seq, pointers, 2, 2));
    EXPECT_EQ(DDS_LongSeq_get(&seq, 0), 2);
    EXPECT_EQ(DDS_LongSeq_get_reference(&seq, 1), &one);
    EXPECT_EQ(DDS_LongSeq_get_discontiguous_buffer(&seq), pointers);
    EXPECT_EQ(DDS_LongSeq_get_contiguous_buffer(&seq), nullptr);
    ASSERT_NE(DDS_LongSeq_copy(&copy, &seq), nullptr);
    EXPECT_EQ(DDS_LongSeq_get(&copy, 0), 2);
    EXPECT_EQ(DDS_LongSeq_get(&copy, 1), 1);
    EXPECT_TRUE(DDS_LongSeq_unloan(&seq));
    DDS_LongSeq_finalize(&copy);
}

TEST(Sequence, SettingsOfElementsNeedAnEmptySequence) {
    DDS_StringSeq seq{};
    const DDS_TypeAllocationParams_t allocation = {0, 1, 1};
    const DDS_TypeDeallocationParams_t deallocation = {0, 1};
    EXPECT_TRUE(DDS_StringSeq_get_element_allocation_params(&seq)->allocate_pointers);
    EXPECT_TRUE(DDS_StringSeq_get_element_deallocation_params(&seq)->delete_pointers);
    EXPECT_TRUE(DDS_StringSeq_set_element_allocation_params(&seq, &allocation));
    EXPECT_TRUE(DDS_StringSeq_set_element_deallocation_params(&seq, &deallocation));
    EXPECT_TRUE(DDS_StringSeq_set_element_pointers_allocation(&seq, DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(DDS_StringSeq_get_element_pointers_allocation(&seq));
    EXPECT_FALSE(DDS_StringSeq_get_element_allocation_params(&seq)->allocate_pointers);
    EXPECT_FALSE(DDS_StringSeq_get_element_deallocation_params(&seq)->delete_pointers);
    ASSERT_TRUE(DDS_StringSeq_set_length(&seq, 1));
    EXPECT_FALSE(DDS_StringSeq_set_element_allocation_params(&seq, &allocation));
    EXPECT_FALSE(DDS_StringSeq_set_element_pointers_allocation(&seq, DDS_BOOLEAN_TRUE));
    DDS_StringSeq_finalize(&seq);
}

TEST(Sequence, ArenaFormsTakeAllMemoryFromTheArena) {
    REDAInlineMemory* arena = makeArena();
    ASSERT_NE(arena, nullptr);
    DDS_StringSeq seq{}, copy{}, source{};
    DDS_StringSeq_set_length(&source, 3);
    DDS_String_replace(DDS_StringSeq_get_reference(&source, 2), "third");
    {
        HeapFault heap;
        ASSERT_TRUE(DDS_StringSeq_new_buffer_and_loan_w_memory_manager(&seq, &arena, 1, 2));
        EXPECT_EQ(DDS_StringSeq_get_length(&seq), 1);
        EXPECT_EQ(DDS_StringSeq_get_maximum(&seq), 2);
        EXPECT_FALSE(DDS_StringSeq_has_ownership(&seq));
        EXPECT_STREQ(DDS_StringSeq_get(&seq, 0), "");
        ASSERT_NE(DDS_StringSeq_copy_w_memory_manager(&copy, &arena, &source), nullptr);
        EXPECT_STREQ(DDS_StringSeq_get(&copy, 2), "third");
        // What came from the arena is replaced by a larger buffer.
        ASSERT_NE(DDS_StringSeq_copy_w_memory_manager(&seq, &arena, &source), nullptr);
        EXPECT_STREQ(DDS_StringSeq_get(&seq, 2), "third");
        EXPECT_FALSE(DDS_StringSeq_new_buffer_and_loan_w_memory_manager(&seq, &arena, 1, 2));
        EXPECT_FALSE(DDS_StringSeq_set_length(&seq, 4));
        EXPECT_EQ(heap.leaked(), 0);
    }
    EXPECT_EQ(liveBuffers(arena), 8U);
    EXPECT_TRUE(DDS_StringSeq_unloan_and_finalize_w_memory_manager(&seq));
    EXPECT_TRUE(DDS_StringSeq_unloan_and_finalize_w_memory_manager(&seq));
    EXPECT_TRUE(DDS_StringSeq_finalize(&copy)); // knows where its buffer came from
    EXPECT_EQ(liveBuffers(arena), 0U);
    DDS_StringSeq_finalize(&source);
    REDAInlineMemory_delete(arena);
}

TEST(Sequence, UnloanAndFinalizeReleasesABufferOfTheArenaThatTheCallerLent) {
    REDAInlineMemory* arena = makeArena();
    auto** buffer = static_cast<char**>(REDAInlineMemory_reserveBufferI(&arena, 2 * sizeof(char*), 1));
    for (int i = 0; i < 2; ++i) {
        buffer[i] = nullptr;
        ORXCdrType_copyStringExWMemoryManager(&buffer[i], &arena, "text", 0xFFFFFFFEU, 1);
    }
    DDS_StringSeq seq{};
    ASSERT_TRUE(DDS_StringSeq_loan_contiguous(&seq, buffer, 2, 2));
    EXPECT_EQ(liveBuffers(arena), 3U);
    EXPECT_TRUE(DDS_StringSeq_unloan_and_finalize_w_memory_manager(&seq));
    EXPECT_EQ(liveBuffers(arena), 0U);
    REDAInlineMemory_delete(arena);
}

// ---- Elements with operations of their own ----

struct Counted {
    int* live;
    int number;
};
int liveElements = 0;

DDS_Boolean initializeCounted(void* element, const DDS_TypeAllocationParams_t*, REDAInlineMemory**) {
    *static_cast<Counted*>(element) = {&liveElements, 0};
    ++liveElements;
    return DDS_BOOLEAN_TRUE;
}
void finalizeCounted(void* element, const DDS_TypeDeallocationParams_t*, DDS_Boolean) {
    --*static_cast<Counted*>(element)->live;
}
DDS_Boolean copyCounted(void* destination, const void* source, REDAInlineMemory**) {
    static_cast<Counted*>(destination)->number = static_cast<const Counted*>(source)->number;
    return static_cast<const Counted*>(source)->number >= 0;
}

constexpr DDS_SequenceElement counted =
    DDS_SEQUENCE_ELEMENT_WITH(Counted, initializeCounted, finalizeCounted, copyCounted);

} // namespace

extern "C" {
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, CountedSeq, Counted);
}
DDS_SEQUENCE_DEFINE(CountedSeq, Counted, &counted)

typedef DDS_Octet TestGuid[16];
extern "C" {
DDS_SEQUENCE_DECLARE_WITH_GET(ZDDSC_EXPORT, TestGuidSeq, TestGuid, DDS_Octet*);
}
namespace {
constexpr DDS_SequenceElement testGuid = DDS_SEQUENCE_ELEMENT_PLAIN(TestGuid);
}
DDS_SEQUENCE_DEFINE_WITH_GET(TestGuidSeq, TestGuid, DDS_Octet*, &testGuid)

namespace {

TEST(Sequence, ElementsLiveWithinTheMaximum) {
    CountedSeq seq{}, copy{};
    ASSERT_TRUE(CountedSeq_ensure_length(&seq, 1, 5));
    EXPECT_EQ(liveElements, 5);
    ASSERT_TRUE(CountedSeq_set_maximum(&seq, 2));
    EXPECT_EQ(liveElements, 2);
    CountedSeq_get_reference(&seq, 0)->number = 7;
    ASSERT_NE(CountedSeq_copy(&copy, &seq), nullptr);
    EXPECT_EQ(liveElements, 3);
    EXPECT_EQ(CountedSeq_get(&copy, 0).number, 7);
    CountedSeq_get_reference(&seq, 0)->number = -1;
    EXPECT_EQ(CountedSeq_copy(&copy, &seq), nullptr); // the element's copy fails
    CountedSeq_finalize(&seq);
    CountedSeq_finalize(&copy);
    EXPECT_EQ(liveElements, 0);
}

TEST(Sequence, ArraysAreElementsAndGetGivesTheFirstOctet) {
    TestGuidSeq seq{};
    ASSERT_TRUE(TestGuidSeq_set_length(&seq, 2));
    DDS_Octet* second = TestGuidSeq_get(&seq, 1);
    ASSERT_NE(second, nullptr);
    second[0] = 42;
    EXPECT_EQ((*TestGuidSeq_get_reference(&seq, 1))[0], 42);
    EXPECT_EQ(TestGuidSeq_get(&seq, 2), nullptr);
    TestGuidSeq_finalize(&seq);
}

TEST(Sequence, EveryFailingAllocationLeavesAValidSequence) {
    bool done = false;
    DDS_Type_finalize_programs();
    for (int n = 1; !done && n < 100; ++n) {
        HeapFault heap(n);
        DDS_StringSeq seq{}, copy{};
        const bool grown = DDS_StringSeq_set_length(&seq, 4) && DDS_StringSeq_ensure_length(&seq, 9, 9) &&
                           DDS_String_replace(DDS_StringSeq_get_reference(&seq, 8), "eight") != nullptr;
        const bool copied = grown && DDS_StringSeq_copy(&copy, &seq) != nullptr;
        // Where room for growth was all that failed, growth by less succeeded.
        done = !heap.failed();
        EXPECT_TRUE(!done || copied);
        for (const DDS_StringSeq* each : {&seq, &copy})
            for (DDS_Long i = 0; i < DDS_StringSeq_get_length(each); ++i)
                EXPECT_NE(DDS_StringSeq_get(each, i), nullptr);
        EXPECT_TRUE(DDS_StringSeq_finalize(&seq));
        EXPECT_TRUE(DDS_StringSeq_finalize(&copy));
        DDS_Type_finalize_programs();
        EXPECT_EQ(heap.leaked(), 0) << "after allocation " << n;
    }
    EXPECT_TRUE(done);
}

} // namespace
