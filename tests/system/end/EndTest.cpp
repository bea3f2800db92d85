// How programs under the agent end, and how they fork: as without the agent, and within a second of their own
// end, whatever the monitoring is at.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <functional>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/Loopback.hpp"

namespace {

using Clock = std::chrono::steady_clock;

double endBound() {
    return isSanitized() ? 10 : 1;
}

Environment environment() {
    Environment all = loopbackOnly();
    all["PROGRAM_DOMAIN"] = testDomainText(0);
    all["ASAN_OPTIONS"] = "detect_leaks=0"; // whose check at the end takes long, and stops at threads
    return all;
}

Command program(const std::string& mode) {
    return {testProgram("end_EndProgram"), mode};
}

Command underAgent(const std::string& mode, const Command& options = {}) {
    Command all{bin("orx-run"), "--domain", testDomainText(1), "--app-name", "ender"};
    all.insert(all.end(), options.begin(), options.end());
    all.insert(all.end(), {"--", testProgram("end_EndProgram"), mode});
    return all;
}

class Reader : public Process {
public:
    Reader() : Process({bin("orx-tail"), "--domain", testDomainText(1)}, loopbackOnly()) {}
    ~Reader() { signal(SIGCONT); }
    void await(const std::vector<std::string>& parts) {
        EXPECT_TRUE(waitForLine(parts)) << output() << errors();
    }
};

struct End {
    Outcome outcome;
    double seconds = 0; // from the last act of the program's own
};

End endOf(Process& process) {
    process.say("end");
    EXPECT_TRUE(process.waitForLine({"ending"})) << process.errors();
    const auto begin = Clock::now();
    End end;
    end.outcome = process.waitFromNow();
    end.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    return end;
}

End endOf(const Command& command) {
    Process process(command, environment());
    EXPECT_TRUE(process.waitForLine({"open"})) << process.errors();
    process.say("make");
    EXPECT_TRUE(process.waitForLine({"made"})) << process.errors();
    return endOf(process);
}

class EveryEnd : public testing::TestWithParam<const char*> {
protected:
    // Each life gives an end under the agent. The machine may hold one up, and a wait of the agent holds up
    // all of them: the shortest counts.
    template <class Life> void expectSameEndInTime(Life life) {
        constexpr int lives = 5;
        const End without = endOf(program(GetParam()));
        for (int i = 1; i <= lives && !HasFailure(); ++i) {
            const End with = life();
            EXPECT_EQ(with.outcome.exitCode, without.outcome.exitCode) << with.outcome.errors;
            EXPECT_EQ(with.outcome.signal, without.outcome.signal);
            const double bound = without.seconds + endBound();
            if (with.seconds < bound)
                return;
            EXPECT_LT(i, lives) << "the end took " << with.seconds << " s, and is to take " << bound;
        }
    }
};

TEST_P(EveryEnd, IsAsWithoutTheAgentAndBounded) {
    const std::string output = endOf(program(GetParam())).outcome.output;
    expectSameEndInTime([&] {
        End with = endOf(underAgent(GetParam()));
        EXPECT_EQ(with.outcome.output, output);
        return with;
    });
}

// A collector has just come, and the monitoring waits a long time before it sends the snapshot.
TEST_P(EveryEnd, IsBoundedInTheMiddleOfASnapshotDelay) {
    expectSameEndInTime([&] {
        Reader reader;
        Process process(
            underAgent(GetParam(), {"--snapshot-delay", "60", "--event-period", "0.01"}), environment());
        EXPECT_TRUE(process.waitForLine({"open"})) << process.errors();
        // What is made from now on comes as it is made: the reader is there, and has no snapshot.
        for (int i = 0; i < 300 && linesWith(reader.output(), {"/data_writers/end_"}).empty(); ++i) {
            process.say("make");
            reader.waitForLine({"/data_writers/end_"}, 0.1);
        }
        reader.await({"/data_writers/end_"});
        return endOf(process);
    });
}

TEST_P(EveryEnd, IsBoundedWithAReaderThatDoesNotAcknowledge) {
    expectSameEndInTime([&] {
        Reader reader;
        Process process(underAgent(GetParam(), {"--snapshot-delay", "0"}), environment());
        reader.await({"/topics/end"});
        reader.signal(SIGSTOP);
        for (int i = 0; i < 50; ++i)
            process.say("make");
        return endOf(process);
    });
}

INSTANTIATE_TEST_SUITE_P(Program, EveryEnd,
    testing::Values("return", "exit", "_exit", "abort", "kill", "delete"), [](const auto& parameter) {
        return std::string(parameter.param[0] == '_' ? "underscore" : "") + parameter.param;
    });

// What was made and ended right before the end has been published. The program waits for that a few hundred
// milliseconds at most, in which a busy machine may give the agent no turn: not in every life.
TEST(End, TheLastEventsLeave) {
    bool haveLeft = false;
    for (int i = 0; i < 5 && !haveLeft && !HasFailure(); ++i) {
        Reader reader;
        Process process(underAgent("delete", {"--snapshot-delay", "0"}), environment());
        reader.await({"/topics/end"});
        EXPECT_EQ(endOf(process).outcome.exitCode, 10);
        const auto have = [&](const char* what) { return !linesWith(reader.output(), {what}).empty(); };
        // Nothing comes any more once the application is known to be gone.
        for (int j = 0; j < 600 && !have("  deleted") && !have("/applications/ender  gone"); ++j)
            reader.waitForLine({"no such line"}, 0.1);
        haveLeft = !linesWith(reader.output(), {"/domain_participants/", "deleted"}).empty();
    }
    EXPECT_TRUE(haveLeft);
}

class EveryFork : public testing::TestWithParam<const char*> {};

TEST_P(EveryFork, IsAsWithoutTheAgent) {
    const End without = endOf(program(GetParam()));
    const End with = endOf(underAgent(GetParam()));
    EXPECT_EQ(without.outcome.exitCode, 10) << without.outcome.errors;
    EXPECT_EQ(with.outcome.exitCode, 10) << with.outcome.errors;
    EXPECT_EQ(with.outcome.output, without.outcome.output);
    EXPECT_EQ(with.outcome.errors, without.outcome.errors);
}

INSTANTIATE_TEST_SUITE_P(
    Program, EveryFork, testing::Values("fork", "forkExec", "thread"), [](const auto& p) { return p.param; });

TEST(Fork, AParticipantOfASecondThreadIsObserved) {
    Reader reader;
    Process process(underAgent("thread"), environment());
    reader.await({"/data_writers/end_", "topic_name"});
    EXPECT_EQ(endOf(process).outcome.exitCode, 10);
}

TEST(Fork, WhatAChildExecutesIsObservedByItself) {
    Reader reader;
    Command command = underAgent("forkExec", {"--snapshot-delay", "0"});
    // Without a name each process makes one.
    command.erase(command.begin() + 3, command.begin() + 5);
    Process process(command, environment());
    // One of the parent, one of the child.
    const auto topics = [&] { return linesWith(reader.output(), {"/topics/end", "registered_type_name"}); };
    const auto writers = [&] { return linesWith(reader.output(), {"/data_writers/end_", "topic_name"}); };
    for (int i = 0; i < 300 && (topics().size() < 2 || writers().empty()); ++i)
        reader.waitForLine({"no such line"}, 0.1);
    EXPECT_EQ(topics().size(), 2u) << reader.output();
    EXPECT_EQ(writers().size(), 1u) << reader.output();
    process.say("go on");
    EXPECT_TRUE(process.waitForLine({"child: 44"})) << process.errors();
    EXPECT_EQ(endOf(process).outcome.exitCode, 10);
}

} // namespace
