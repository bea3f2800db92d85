#include "tail/Statistics.hpp"

#include <gtest/gtest.h>

namespace {

using tail::Gaps;
using tail::SerialNumbers;
using tail::Statistics;

TEST(Gaps, CountWhatLiesBetween) {
    Gaps gaps;
    gaps.add(100);
    EXPECT_EQ(gaps.lost(), 0U) << "what was before is no loss";
    gaps.add(101);
    gaps.add(105);
    EXPECT_EQ(gaps.lost(), 3U);
    gaps.add(105);
    EXPECT_EQ(gaps.lost(), 3U);
    gaps.add(1);
    gaps.add(2);
    EXPECT_EQ(gaps.lost(), 3U) << "a source that began anew";
    gaps.add(4, 0);
    EXPECT_EQ(gaps.lost(), 5U);
}

TEST(SerialNumbers, TakeEachOnceInAnyOrder) {
    SerialNumbers numbers;
    for (const unsigned number : {10U, 12U, 11U, 9U})
        EXPECT_TRUE(numbers.add(number));
    EXPECT_EQ(numbers.lost(), 0U);
    EXPECT_FALSE(numbers.add(11));
    EXPECT_EQ(numbers.count(), 4U);
    EXPECT_TRUE(numbers.add(20));
    EXPECT_EQ(numbers.lost(), 7U);
    EXPECT_TRUE(numbers.add(15));
    EXPECT_EQ(numbers.lost(), 6U);
}

TEST(SerialNumbers, ForgetWhatLiesFarBack) {
    SerialNumbers numbers;
    EXPECT_TRUE(numbers.add(5));
    EXPECT_TRUE(numbers.add(4 + SerialNumbers::remembered));
    EXPECT_FALSE(numbers.add(5));
    EXPECT_TRUE(numbers.add(6));
    EXPECT_TRUE(numbers.add(5 + SerialNumbers::remembered)) << "the same remainder as the first";
    EXPECT_FALSE(numbers.add(5)) << "not remembered";
    EXPECT_TRUE(numbers.add(UINT64_MAX));
    EXPECT_FALSE(numbers.add(6));
    EXPECT_EQ(numbers.count(), 5U);
    EXPECT_EQ(numbers.lost(), UINT64_MAX - 5 - 4);
}

TEST(Statistics, BoundsWhatComesFromRemote) {
    Statistics statistics;
    for (unsigned i = 0; i < 20'000; ++i) {
        tail::Guid guid{};
        guid[0] = static_cast<unsigned char>(i);
        guid[1] = static_cast<unsigned char>(i >> 8);
        statistics.received("event", guid, 1, false);
        EXPECT_TRUE(statistics.logMessage(guid, 1, 1));
    }
    EXPECT_EQ(statistics.topic("event").received, 20'000U);
    EXPECT_EQ(statistics.applications().size(), 10'000U);
    for (unsigned facility = 0; facility < 256; ++facility)
        EXPECT_TRUE(statistics.logMessage(tail::Guid{}, facility, 5));
    EXPECT_LE(statistics.applications().at(0).logMessages, 9U);
}

TEST(Statistics, SampleWithoutASequenceNumberIsCountedAlone) {
    Statistics statistics;
    statistics.received("event", tail::Guid{1}, 0, true);
    statistics.received("event", tail::Guid{1}, 7, false);
    statistics.received("event", tail::Guid{2}, 3, false);
    EXPECT_EQ(statistics.topic("event").received, 3U);
    EXPECT_EQ(statistics.topic("event").snapshots, 1U);
    EXPECT_EQ(statistics.topic("event").lost, 0U);
    EXPECT_EQ(statistics.topic("periodic").received, 0U);
}

} // namespace
