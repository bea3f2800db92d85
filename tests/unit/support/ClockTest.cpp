#include "zddscore/clock.h"

#include <gtest/gtest.h>

#include <ctime>

#include "tests/unit/support/TestHeap.hpp"

namespace {

ORXNtpTime nowOf(clockid_t id) {
    timespec now{};
    clock_gettime(id, &now);
    ORXNtpTime time;
    ORXNtpTime_fromSecondsAndNanoseconds(&time, now.tv_sec, static_cast<ORX_UINT32>(now.tv_nsec));
    return time;
}

void expectClock(ORXClock* clock, clockid_t id) {
    ASSERT_NE(clock, nullptr);
    for (int i = 0; i < 100; ++i) {
        const ORXNtpTime before = nowOf(id);
        ORXNtpTime time{};
        ASSERT_TRUE(clock->getTime(clock, &time));
        const ORXNtpTime after = nowOf(id);
        EXPECT_LE(ORXNtpTime_compare(&before, &time), 0);
        EXPECT_LE(ORXNtpTime_compare(&time, &after), 0);
    }
    ORXNtpTime resolution{};
    ASSERT_TRUE(clock->getResolution(clock, &resolution));
    EXPECT_EQ(resolution.sec, 0);
    EXPECT_GT(resolution.frac, 0U);
    EXPECT_TRUE(clock->reset(clock));
    EXPECT_FALSE(clock->getTime(clock, nullptr));
    EXPECT_FALSE(clock->getResolution(clock, nullptr));
    EXPECT_FALSE(clock->getRequiredCallPeriod(clock, nullptr));
}

TEST(Clock, MonotonicClockNeedsNoLook) {
    EXPECT_TRUE(ORXMonotonicClockUtility_isSupported());
    ORXClock* clock = ORXMonotonicClock_new();
    expectClock(clock, CLOCK_MONOTONIC);
    ORXNtpTime period{};
    ASSERT_TRUE(clock->getRequiredCallPeriod(clock, &period));
    EXPECT_TRUE(ORXNtpTime_isInfinite(&period));
    ORXMonotonicClock_delete(clock);
}

TEST(Clock, SystemClockMayBeSet) {
    ORXClock* clock = ORXSystemClock_new();
    expectClock(clock, CLOCK_REALTIME);
    ORXNtpTime period{};
    ASSERT_TRUE(clock->getRequiredCallPeriod(clock, &period));
    EXPECT_FALSE(ORXNtpTime_isInfinite(&period));
    ORXSystemClock_delete(clock);
}

TEST(Clock, CreationSurvivesFailedAllocation) {
    EXPECT_EQ(testing_support::walkAllocationFailures([] {
        ORXClock* monotonic = ORXMonotonicClock_new();
        ORXClock* system = ORXSystemClock_new();
        const bool made = monotonic != nullptr && system != nullptr;
        ORXMonotonicClock_delete(monotonic);
        ORXSystemClock_delete(system);
        return made;
    }),
        2);
}

} // namespace
