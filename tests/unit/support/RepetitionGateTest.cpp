#include "src/support/RepetitionGate.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using zdds::RepetitionGate;

const char file[] = "File.cpp";

TEST(RepetitionGate, EverythingPassesWithoutALimit) {
    static RepetitionGate gate{};
    std::uint64_t held = 7;
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(gate.admit(file, 1, 5, &held));
    EXPECT_EQ(held, 0u);
}

TEST(RepetitionGate, APlaceIsHeldBackAndTellsHowOften) {
    static RepetitionGate gate{};
    gate.setLimit(3);
    std::uint64_t held = 0;
    int passed = 0;
    for (int i = 0; i < 10; ++i)
        passed += gate.admit(file, 1, 5, &held) ? 1 : 0;
    EXPECT_EQ(passed, 3);
    EXPECT_TRUE(gate.admit(file, 2, 5, &held)) << "another place";
    EXPECT_EQ(held, 0u);
    EXPECT_TRUE(gate.admit(file, 1, 6, &held)) << "the next second";
    EXPECT_EQ(held, 7u);
    EXPECT_TRUE(gate.admit(file, 1, 6, &held));
    EXPECT_EQ(held, 0u) << "told once";
}

TEST(RepetitionGate, NoLineGetsLostBetweenThreads) {
    static RepetitionGate gate{};
    gate.setLimit(10);
    std::atomic<std::uint64_t> passed{0};
    std::atomic<std::uint64_t> told{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (std::uint64_t line = 0; line < 10000; ++line) {
                std::uint64_t held = 0;
                if (gate.admit(file, 1, line / 100, &held))
                    ++passed;
                told += held;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::uint64_t held = 0;
    EXPECT_TRUE(gate.admit(file, 1, 1000, &held));
    EXPECT_EQ(passed + told + held, 40000u);
}

} // namespace
