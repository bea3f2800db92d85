#include "src/utils/ReentrantMutex.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"

namespace {

class ReentrantMutex : public ::testing::Test {
protected:
    ~ReentrantMutex() override { ORX_MonitoringForwarderMutex_delete(mutex); }
    ORX_MonitoringForwarderMutex* mutex = ORX_MonitoringForwarderMutex_new();
};

} // namespace

TEST_F(ReentrantMutex, IsFreeAgainAfterAsManyUnlocksAsLocks) {
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(ORX_MonitoringForwarderMutex_lock(mutex));
    EXPECT_EQ(mutex->counter, 3u);
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(ORX_MonitoringForwarderMutex_unlock(mutex));
    EXPECT_EQ(mutex->owner, 0u);
    std::thread([this] {
        EXPECT_TRUE(ORX_MonitoringForwarderMutex_lock(mutex));
        EXPECT_TRUE(ORX_MonitoringForwarderMutex_unlock(mutex));
    }).join();
}

TEST_F(ReentrantMutex, RefusesAnUnlockByAThreadThatDoesNotHoldIt) {
    LogCapture log;
    EXPECT_FALSE(ORX_MonitoringForwarderMutex_unlock(mutex));
    ASSERT_TRUE(ORX_MonitoringForwarderMutex_lock(mutex));
    std::thread([this] { EXPECT_FALSE(ORX_MonitoringForwarderMutex_unlock(mutex)); }).join();
    EXPECT_EQ(log.count("Reentrant mutex by a different thread", "FAILED_TO_UNLOCK"), 2u);
    EXPECT_TRUE(ORX_MonitoringForwarderMutex_unlock(mutex));
}

TEST_F(ReentrantMutex, LetsOneThreadInAtATime) {
    int inside = 0;
    auto work = [&] {
        for (int i = 0; i < 2000; ++i) {
            ORX_MonitoringForwarderMutex_lock(mutex);
            ORX_MonitoringForwarderMutex_lock(mutex);
            ++inside; // a data race, for the thread sanitizer, if the mutex lets two in
            ORX_MonitoringForwarderMutex_unlock(mutex);
            ORX_MonitoringForwarderMutex_unlock(mutex);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(inside, 4000);
}
