#include "collector/run/LossWatch.hpp"

#include <gtest/gtest.h>

using collector::run::LossWatch;
using std::chrono::seconds;

namespace {

class LossWatching : public testing::Test {
protected:
    bool tell(std::uint64_t losses, seconds passed) {
        now_ += passed;
        return watch_.isToAsk(losses, now_);
    }
    LossWatch watch_;
    LossWatch::Time now_{seconds(100'000)};
};

TEST_F(LossWatching, WithoutLossesNobodyIsAsked) {
    for (int i = 0; i < 1000; ++i)
        ASSERT_FALSE(tell(0, seconds(1)));
}

TEST_F(LossWatching, OnceTheyEndAllAreAskedOnce) {
    EXPECT_FALSE(tell(5, seconds(1)));
    EXPECT_FALSE(tell(9, seconds(1)));
    EXPECT_FALSE(tell(9, seconds(1)));
    EXPECT_TRUE(tell(9, seconds(1)));
    for (int i = 0; i < 1000; ++i)
        ASSERT_FALSE(tell(9, seconds(1)));
}

TEST_F(LossWatching, ThatDoNotEndAreNotWaitedForForEver) {
    int asked = 0;
    for (std::uint64_t i = 1; i <= 60; ++i)
        asked += tell(i, seconds(1)) ? 1 : 0;
    EXPECT_EQ(asked, 1);
}

TEST_F(LossWatching, EachTimeWaitsLongerWhileAskingMakesThem) {
    std::uint64_t losses = 0;
    int asked = 0;
    for (int i = 0; i < 24 * 3600; ++i) {
        if (tell(losses, seconds(1))) {
            ++asked;
            ++losses; // the answers were too many
        }
        if (i == 0)
            ++losses;
    }
    EXPECT_GT(asked, 24 * 5);
    EXPECT_LT(asked, 24 * 7);
}

TEST_F(LossWatching, AfterAQuietTimeTheFirstPauseIsBack) {
    const auto untilAsked = [this](std::uint64_t losses) {
        for (int i = 1; i < 2000; ++i) {
            if (tell(losses, seconds(1)))
                return i;
        }
        return 0;
    };
    EXPECT_EQ(untilAsked(1), 3);
    EXPECT_EQ(untilAsked(2), 10);
    EXPECT_EQ(untilAsked(3), 20);
    EXPECT_FALSE(tell(3, seconds(3600)));
    EXPECT_EQ(untilAsked(4), 3);
    EXPECT_EQ(untilAsked(5), 10);
}

} // namespace
