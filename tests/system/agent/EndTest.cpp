// Ends of programs and of processes under the agent.
#include <gtest/gtest.h>

#include "Record.hpp"

namespace {

std::vector<std::string> program(const std::string& mode, const std::string& number = "0") {
    return {testProgram("agent_AgentProgram"), mode, number};
}

// What a busy machine may hold up in one life, and a defect in each, is to hold in one of so many.
constexpr int lives = 5;

TEST(End, IsAsQuickAsWithoutTheAgent) {
    double seconds = 0;
    double bound = 0;
    for (int i = 0; i < lives && seconds >= bound && !HasFailure(); ++i) {
        const Outcome without = run(program("exit"));
        const Outcome with = run(underAgent(program("exit")));
        EXPECT_EQ(with.exitCode, 0) << with.errors;
        seconds = with.seconds;
        // Start and end together; a sanitizer slows the load of the libraries down.
        bound = without.seconds + (isSanitized() ? 10 : 1);
    }
    EXPECT_LT(seconds, bound);
}

TEST(End, WaitsForWhatIsUnderWayAndNoLonger) {
    bool isAllDone = false;
    for (int i = 0; i < lives && !isAllDone && !HasFailure(); ++i) {
        const Record record;
        const Outcome outcome = run(underAgent(program("short", "5")), record.environment());
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        isAllDone = record.lines("delete brief").size() == 5;
    }
    EXPECT_TRUE(isAllDone) << "what was queued";
    // The library hangs: the end does not.
    const Record record;
    const Outcome hanging =
        run(underAgent(program("short", "5")), record.environment({{"ORX_TEST_DELAY_MS", "20000"}}));
    EXPECT_EQ(hanging.exitCode, 0);
    EXPECT_LT(hanging.seconds, isSanitized() ? 15 : 10);
}

TEST(End, HandlersOfTheProgramMayStillUseTheEngine) {
    const Record record;
    const Outcome outcome = run(underAgent(program("atexit")), record.environment());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
}

TEST(End, AForkedChildIsInert) {
    const Record record;
    // The leak check does not know the memory that the threads left behind hold.
    const Outcome outcome =
        run(underAgent(program("fork")), record.environment({{"ASAN_OPTIONS", "detect_leaks=0"}}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(record.lines("create").size(), 1u);
    EXPECT_EQ(record.lines("delete participant_").size(), 1u);
}

TEST(End, AChildThatIsTheFirstToUseTheEngineIsObserved) {
    const Record record;
    const Outcome outcome =
        run(underAgent(program("forkfirst")), record.environment({{"ASAN_OPTIONS", "detect_leaks=0"}}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(record.lines("assert domain_participants").size(), 1u);
}

// The program ends the engine as a whole, and with it the participant of the monitoring.
TEST(End, TheEngineMayEndUnderTheMonitoring) {
    const Record record;
    const Outcome recorded = run(underAgent(program("engine")), record.environment());
    EXPECT_EQ(recorded.exitCode, 0) << recorded.errors;
    EXPECT_EQ(record.lines("end").size(), 1u) << "the monitoring left before the engine went";
    EXPECT_EQ(record.lines("assert domain_participants").size(), 1u) << "and does not come back";
    for (const char* wait : {"0", "300"}) {
        const Outcome outcome = run(underAgent(program("engine")), {{"PROGRAM_WAIT_MS", wait}});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(outcome.signal, 0) << outcome.errors;
        EXPECT_FALSE(outcome.isLate);
        EXPECT_EQ(linesOf(outcome.errors).size(), 1u) << outcome.errors;
    }
}

} // namespace
