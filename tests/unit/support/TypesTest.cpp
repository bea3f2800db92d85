#include "zddscore/types.h"

#include <gtest/gtest.h>

#include <random>

namespace {

const ORXNtpTime infinite = ORX_NTP_TIME_INFINITE;

bool equal(const ORXNtpTime& left, const ORXNtpTime& right) {
    return ORXNtpTime_compare(&left, &right) == 0;
}

TEST(NtpTime, InfinityIsBothFieldsAtTheirMost) {
    EXPECT_TRUE(ORXNtpTime_isInfinite(&infinite));
    EXPECT_EQ(infinite.sec, 0xFFFFFFFFLL);
    EXPECT_EQ(infinite.frac, 0xFFFFFFFFU);
    const ORXNtpTime almost{0xFFFFFFFFLL, 0};
    EXPECT_FALSE(ORXNtpTime_isInfinite(&almost));
}

TEST(NtpTime, MillisecondsAsFractionsHaveTheirKnownValues) {
    EXPECT_EQ(ORXNtpTime_fractionFromMilliseconds(500), 0x7FFF9400U);
    EXPECT_EQ(ORXNtpTime_fractionFromMilliseconds(0), 0U);
    EXPECT_EQ(ORXNtpTime_fractionFromMilliseconds(300), (300U << 22) + ((300U * 393U) << 8));
}

TEST(NtpTime, EveryNanosecondSurvivesTheWayThereAndBack) {
    std::mt19937 random(1);
    for (int i = 0; i < 1000000; ++i) {
        const ORX_UINT32 nanosec = i < 1000 ? static_cast<ORX_UINT32>(i < 500 ? i : 999999999 - (i - 500))
                                            : static_cast<ORX_UINT32>(random() % 1000000000U);
        ORXNtpTime time;
        ORXNtpTime_fromSecondsAndNanoseconds(&time, -3, nanosec);
        ASSERT_EQ(time.frac, static_cast<ORX_UINT32>((std::uint64_t{nanosec} * 2305843009U) >> 29));
        ORX_INT64 sec = 0;
        ORX_UINT32 back = 0;
        ORXNtpTime_toSecondsAndNanoseconds(&time, &sec, &back);
        ASSERT_EQ(sec, -3);
        ASSERT_EQ(back, nanosec);
    }
    const ORXNtpTime largest{5, 0xFFFFFFFFU};
    ORX_INT64 sec = 0;
    ORX_UINT32 nanosec = 0;
    ORXNtpTime_toSecondsAndNanoseconds(&largest, &sec, &nanosec);
    EXPECT_EQ(sec, 5);
    EXPECT_EQ(nanosec, 999999999U);
}

TEST(NtpTime, SumsCarryAndDifferencesBorrow) {
    const ORXNtpTime half{1, 0x80000000U};
    const ORXNtpTime more{2, 0x90000000U};
    ORXNtpTime result;
    ORXNtpTime_add(&result, &half, &more);
    EXPECT_TRUE(equal(result, {4, 0x10000000U}));
    ORXNtpTime_subtract(&result, &result, &more);
    EXPECT_TRUE(equal(result, half)) << "the result may be an argument";
    ORXNtpTime_subtract(&result, &half, &more);
    EXPECT_TRUE(equal(result, {-2, 0xF0000000U}));
}

TEST(NtpTime, InfinityStays) {
    const ORXNtpTime one{1, 0};
    ORXNtpTime result;
    ORXNtpTime_add(&result, &infinite, &one);
    EXPECT_TRUE(ORXNtpTime_isInfinite(&result));
    ORXNtpTime_add(&result, &one, &infinite);
    EXPECT_TRUE(ORXNtpTime_isInfinite(&result));
    ORXNtpTime_subtract(&result, &infinite, &one);
    EXPECT_TRUE(ORXNtpTime_isInfinite(&result));
}

TEST(NtpTime, CompareOrdersSecondsThenFractions) {
    const ORXNtpTime a{-1, 0xFFFFFFFFU};
    const ORXNtpTime b{0, 0};
    const ORXNtpTime c{0, 1};
    EXPECT_LT(ORXNtpTime_compare(&a, &b), 0);
    EXPECT_LT(ORXNtpTime_compare(&b, &c), 0);
    EXPECT_GT(ORXNtpTime_compare(&c, &a), 0);
    EXPECT_EQ(ORXNtpTime_compare(&c, &c), 0);
    EXPECT_GT(ORXNtpTime_compare(&infinite, &c), 0);
}

} // namespace
