// Many processes command one application at once: each of their commands has its one reply, every reply is
// unregistered, and the application's memory is level.
//
// What is made once is made in the first round, but for the peaks of a machine that lets one process run
// ahead of the others: they may come later, and only once. What every command leaves behind shows in every
// round.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <vector>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/tail/Tail.hpp"

namespace {

constexpr int senders = 8;
constexpr int commandsFirst = 50;
// Memory is compared without a sanitizer alone; with one, the round is for the concurrency of so many.
const int commandsOfARound = isSanitized() ? commandsFirst : 150;
constexpr int roundsAtMost = 4;
constexpr long noiseKb = 1536;

// Resident memory in kB.
long residentOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("VmRSS:"))
            return std::strtol(line.c_str() + 6, nullptr, 10);
    return 0;
}

void sendFromAll(const std::string& monitoring, int count) {
    std::vector<std::unique_ptr<Process>> all;
    for (int i = 0; i < senders; ++i)
        all.push_back(std::make_unique<Process>(
            Command{testProgram("commands_Sender"), monitoring, "first", std::to_string(count)},
            loopbackOnly()));
    const std::string expected = "sent " + std::to_string(count) + " replies " + std::to_string(count) +
                                 " strays 0 unacknowledged 0 failures 0\n";
    for (const auto& sender : all) {
        const Outcome outcome = sender->waitFromNow(240);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, expected) << outcome.errors;
    }
}

TEST(ManySenders, EveryCommandGetsItsOneReply) {
    const std::string monitoring = testDomainText(1);
    // Runs the program itself: what is measured is its process.
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    sendFromAll(monitoring, commandsFirst);
    long before = 0;
    long after = residentOf(application.id());
    EXPECT_GT(after, 0);
    bool isLevel = false;
    for (int round = 0; round < roundsAtMost && !isLevel && !HasFailure(); ++round) {
        before = after;
        sendFromAll(monitoring, commandsOfARound);
        after = residentOf(application.id());
        isLevel = isSanitized() || after < before + noiseKb;
    }
    EXPECT_TRUE(isLevel) << "from " << before << " to " << after << " kB in " << senders * commandsOfARound
                         << " commands";
    RecordProperty("resident_before_kb", static_cast<int>(before));
    RecordProperty("resident_after_kb", static_cast<int>(after));
    EXPECT_EQ(application.waitFromNow().exitCode, 0) << application.errors();
    EXPECT_EQ(linesWith(application.errors(), {"acknowledgment"}).size(), 0U) << application.errors();
}

} // namespace
