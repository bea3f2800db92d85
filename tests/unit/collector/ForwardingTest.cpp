#include "collector/run/Forwarding.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/helpers/TestDomain.hpp"
#include "tests/helpers/Wait.hpp"
#include "zddscore/log.h"

using collector::api::Command;
using collector::api::CommandKind;
using collector::run::Forwarding;
using collector::run::Options;

namespace {

Command toAll() {
    Command command;
    command.kind = CommandKind::requestResourceRegistry;
    command.applications = {"//*"};
    return command;
}

Options ownDomain() {
    Options options;
    options.domain = testDomain();
    return options;
}

TEST(Forwarding, RefusesCommandsBeforeItOpensAndOnceItCloses) {
    Forwarding forwarding;
    EXPECT_EQ(forwarding.send(toAll()).errorMessage, "the collector ends");
    std::string error;
    ASSERT_TRUE(forwarding.open(ownDomain(), error)) << error;
    EXPECT_EQ(forwarding.send(toAll()).retCode, 3) << "there is no application";
    EXPECT_FALSE(forwarding.isAlive({1, 2, 3}));
    forwarding.close();
    EXPECT_EQ(forwarding.send(toAll()).errorMessage, "the collector ends");
    EXPECT_TRUE(forwarding.isAlive({1, 2, 3})) << "nobody knows any more";
    forwarding.close(); // again
}

// Callers come in all the while: those who are inside find all that they use.
TEST(Forwarding, ClosesBesideCommands) {
    constexpr int rounds = 3, callers = 6;
    ORXLog_setStderrRepetitionLimit(1); // each command tells that it finds nobody
    for (int round = 0; round < rounds; ++round) {
        Forwarding forwarding;
        std::string error;
        ASSERT_TRUE(forwarding.open(ownDomain(), error)) << error;
        Counter sent;
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < callers; ++i) {
            threads.emplace_back([&] {
                for (;;) {
                    const auto result = forwarding.send(toAll());
                    sent.add();
                    if (result.errorMessage == "the collector ends")
                        return;
                    wrong += result.retCode == 3 || result.errorMessage == "Timedout" ? 0 : 1;
                }
            });
        }
        EXPECT_TRUE(sent.reaches(20 * callers));
        forwarding.close();
        for (std::thread& each : threads)
            each.join();
        EXPECT_EQ(wrong, 0);
    }
}

} // namespace
