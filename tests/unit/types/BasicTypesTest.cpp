#include <gtest/gtest.h>

#include <cstring>

#include "HeapFault.hpp"
#include "zddsc/basic_types.h"

namespace {

TEST(ReturnCode, EveryCodeHasItsNameAndOthersAreNotNull) {
    EXPECT_STREQ(DDS_ReturnCode_toString(DDS_RETCODE_OK), "DDS_RETCODE_OK");
    EXPECT_STREQ(DDS_ReturnCode_toString(DDS_RETCODE_TIMEOUT), "DDS_RETCODE_TIMEOUT");
    EXPECT_STREQ(DDS_ReturnCode_toString(DDS_RETCODE_ILLEGAL_OPERATION), "DDS_RETCODE_ILLEGAL_OPERATION");
    EXPECT_NE(DDS_ReturnCode_toString(static_cast<DDS_ReturnCode_t>(15)), nullptr);
}

TEST(String, AllocGivesZeros) {
    char* text = DDS_String_alloc(7);
    ASSERT_NE(text, nullptr);
    for (int i = 0; i <= 7; ++i)
        EXPECT_EQ(text[i], '\0');
    DDS_String_free(text);
    EXPECT_EQ(DDS_String_alloc(SIZE_MAX), nullptr);
    DDS_String_free(nullptr);
}

TEST(String, DupAndNdupCopy) {
    EXPECT_EQ(DDS_String_dup(nullptr), nullptr);
    EXPECT_EQ(DDS_String_ndup(nullptr, 3), nullptr);
    char* whole = DDS_String_dup("resource");
    char* part = DDS_String_ndup("resource", 3);
    char* all = DDS_String_ndup("resource", 300);
    EXPECT_STREQ(whole, "resource");
    EXPECT_STREQ(part, "res");
    EXPECT_STREQ(all, "resource");
    DDS_String_free(whole);
    DDS_String_free(part);
    DDS_String_free(all);
}

TEST(String, ReplaceTakesPartsOfTheOldTextAndFreesForNull) {
    HeapFault heap;
    char* text = DDS_String_dup("one/two");
    EXPECT_EQ(DDS_String_replace(&text, text + 4), text);
    EXPECT_STREQ(text, "two");
    EXPECT_EQ(DDS_String_replace(&text, nullptr), nullptr);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(DDS_String_replace(nullptr, "x"), nullptr);
    EXPECT_EQ(heap.leaked(), 0);
}

TEST(String, FailedReplaceKeepsTheOldText) {
    char* text = DDS_String_dup("old");
    {
        HeapFault heap(1);
        EXPECT_EQ(DDS_String_replace(&text, "new"), nullptr);
    }
    EXPECT_STREQ(text, "old");
    DDS_String_free(text);
}

TEST(Duration, InfiniteAndZeroAreTold) {
    const DDS_Duration_t infinite = DDS_DURATION_INFINITE;
    const DDS_Duration_t zero = DDS_DURATION_ZERO;
    const DDS_Duration_t second = {1, 0};
    EXPECT_TRUE(DDS_Duration_is_infinite(&infinite));
    EXPECT_FALSE(DDS_Duration_is_infinite(&second));
    EXPECT_TRUE(DDS_Duration_is_zero(&zero));
    EXPECT_FALSE(DDS_Duration_is_zero(&second));
    ORXNtpTime time;
    DDS_Duration_to_ntp_time(&infinite, &time);
    EXPECT_TRUE(ORXNtpTime_isInfinite(&time));
    const DDS_Duration_t oneAndAHalf = {1, 500000000};
    DDS_Duration_to_ntp_time(&oneAndAHalf, &time);
    EXPECT_EQ(time.sec, 1);
    EXPECT_EQ(time.frac, static_cast<uint32_t>((500000000ULL * 2305843009ULL) >> 29));
}

TEST(Guid, OrderIsThatOfTheOctets) {
    DDS_GUID_t low{}, high{};
    low.value[15] = 0xFF;
    high.value[0] = 0x80;
    EXPECT_LT(DDS_GUID_compare(&low, &high), 0);
    EXPECT_GT(DDS_GUID_compare(&high, &low), 0);
    EXPECT_EQ(DDS_GUID_compare(&low, &low), 0);
    EXPECT_TRUE(DDS_GUID_equals(&low, &low));
    EXPECT_FALSE(DDS_GUID_equals(&low, &high));
}

TEST(Guid, WordsAreBigEndianInTheOctets) {
    const ORXOsapiRtpsGuid words = {{0x01020304, 0x05060708, 0x090A0B0C}, 0x0D0E0F10};
    DDS_GUID_t guid;
    DDS_GUID_copy_from_pres_guid(&guid, &words);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(guid.value[i], i + 1);
    ORXOsapiRtpsGuid back{};
    DDS_GUID_copy_to_pres_guid(&guid, &back);
    EXPECT_EQ(std::memcmp(&back, &words, sizeof back), 0);
}

TEST(InstanceHandle, HoldsAGuid) {
    DDS_GUID_t guid{}, back{};
    for (int i = 0; i < 16; ++i)
        guid.value[i] = static_cast<DDS_Octet>(0xF0 + i);
    DDS_InstanceHandle_t handle, same, other;
    DDS_InstanceHandle_from_guid(&handle, &guid);
    DDS_InstanceHandle_from_guid(&same, &guid);
    guid.value[0] = 1;
    DDS_InstanceHandle_from_guid(&other, &guid);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&handle, &same));
    EXPECT_FALSE(DDS_InstanceHandle_equals(&handle, &other));
    EXPECT_FALSE(DDS_InstanceHandle_equals(&handle, &DDS_HANDLE_NIL));
    EXPECT_TRUE(DDS_InstanceHandle_equals(&DDS_HANDLE_NIL, &DDS_HANDLE_NIL));
    EXPECT_TRUE(DDS_InstanceHandle_is_nil(&DDS_HANDLE_NIL));
    EXPECT_FALSE(DDS_InstanceHandle_is_nil(&handle));
    DDS_InstanceHandle_to_guid(&other, &back);
    EXPECT_TRUE(DDS_GUID_equals(&guid, &back));
    DDS_InstanceHandle_to_guid(&DDS_HANDLE_NIL, &back);
    EXPECT_TRUE(DDS_GUID_equals(&back, &DDS_GUID_UNKNOWN));
}

} // namespace
