// A program under the agent sees and does what it does without.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>

#include "Record.hpp"

namespace {

const std::vector<std::string> transcript = {testProgram("agent_Transcript")};

// Everything that a program can tell about listeners, statuses, wait sets, results and ends.
TEST(Transparency, TheProgramSeesWhatItSeesWithoutTheAgent) {
    const Outcome without = run(transcript);
    ASSERT_EQ(without.exitCode, 23) << without.errors;
    ASSERT_GT(linesOf(without.output).size(), 250u);
    const Record record;
    const Outcome with = run(underAgent(transcript), record.environment());
    EXPECT_EQ(with.exitCode, 23) << with.errors;
    EXPECT_EQ(with.output, without.output);
    EXPECT_EQ(with.errors, "");
    EXPECT_FALSE(record.lines("assert data_writers").empty()) << "the agent was at work";
}

TEST(Transparency, TheRealLibraryChangesNothingEither) {
    const Outcome without = run(transcript);
    const Outcome with = run(underAgent(transcript));
    EXPECT_EQ(with.exitCode, 23) << with.errors;
    EXPECT_EQ(with.output, without.output);
}

TEST(Transparency, TheMonitoringDomainMayBeTheProgramsOwn) {
    const Outcome without = run(transcript, {{"PROGRAM_DOMAIN", testDomainText(1)}});
    const Outcome with = run(underAgent(transcript), {{"PROGRAM_DOMAIN", testDomainText(1)}});
    EXPECT_EQ(with.exitCode, 23) << with.errors;
    EXPECT_EQ(with.output, without.output);
}

// Lines of the program's own domain about its configuration, and lines of whatever else.
std::pair<size_t, size_t> countTraced(const std::string& file) {
    std::ifstream stream(file);
    const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const std::string own = "[" + testDomainText(3) + "]";
    return {linesWith(text, {own, "config:"}).size(), linesOf(text).size() - linesWith(text, {own}).size()};
}

// The engine empties the file for each domain of the process.
TEST(Transparency, TheProgramsTraceFileHoldsWhatItHoldsWithoutTheAgent) {
    const std::string file = testing::TempDir() + "orx_trace_" + std::to_string(getpid());
    const Environment environment = {{"PROGRAM_DOMAIN", testDomainText(3)},
        {"CYCLONEDDS_URI", "<General><Interfaces><NetworkInterface name=\"lo\"/></Interfaces></General>,"
                           "<Tracing><Verbosity>config</Verbosity><OutputFile>" +
                               file + "</OutputFile></Tracing>"}};
    ASSERT_EQ(run(transcript, environment).exitCode, 23);
    const auto without = countTraced(file);
    EXPECT_GT(without.first, 50u);
    EXPECT_EQ(run(underAgent(transcript), environment).exitCode, 23);
    EXPECT_EQ(countTraced(file), without);
    unlink(file.c_str());
}

TEST(Transparency, AFileInPlaceOfAClosedStderrStaysTheProgramsOwn) {
    const std::string file = testing::TempDir() + "orx_file_" + std::to_string(getpid());
    const Command program = {"sh", "-c", "exec \"$@\" 2>&-", "sh"};
    Command command =
        underAgent({testProgram("agent_AgentProgram"), "file", file}, {"--library", "/no/library"});
    command.insert(command.begin(), program.begin(), program.end());
    EXPECT_EQ(run(command).exitCode, 0);
    std::ifstream stream(file);
    EXPECT_TRUE(stream.is_open());
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>()), "");
    unlink(file.c_str());
}

TEST(Transparency, ALibraryThatCannotBeMadeDisablesMonitoringAlone) {
    const Outcome without = run(transcript);
    const Record record;
    const Outcome with = run(underAgent(transcript), record.environment({{"ORX_TEST_FAIL_CREATE", "1"}}));
    EXPECT_EQ(with.exitCode, 23);
    EXPECT_EQ(with.output, without.output);
    EXPECT_EQ(linesWith(with.errors, {" WARNING AGENT/", "runs on without monitoring"}).size(), 1u)
        << with.errors;
    const Outcome missing = run(underAgent(transcript, {"--library", "/no/such/library.so"}));
    EXPECT_EQ(missing.exitCode, 23);
    EXPECT_EQ(missing.output, without.output);
    EXPECT_NE(missing.errors.find("/no/such/library.so"), std::string::npos) << missing.errors;
}

TEST(Transparency, ExitStatusAndSignalsAreTheProgramsOwn) {
    const Record record;
    EXPECT_EQ(
        run(underAgent({testProgram("agent_AgentProgram"), "exit", "77"}), record.environment()).exitCode,
        77);
    EXPECT_EQ(run(underAgent({testProgram("agent_AgentProgram"), "kill", "15"}), record.environment()).signal,
        SIGTERM);
}

TEST(Transparency, TheKillSwitchLeavesEverythingAlone) {
    const Record record;
    const Outcome outcome =
        run(underAgent({testProgram("agent_AgentProgram"), "named"}, {"--off"}), record.environment());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_TRUE(record.lines().empty());
    // The shim alone, with the switch set by hand.
    Environment environment = record.environment({{"ORX_AGENT_OFF", "1"}});
    environment["LD_PRELOAD"] = std::string(ORX_BIN) + "/../lib/liborxshim.so";
    const Outcome preloaded = run({testProgram("agent_AgentProgram"), "named"}, environment);
    EXPECT_EQ(preloaded.exitCode, 0) << preloaded.errors;
    EXPECT_TRUE(record.lines().empty());
}

TEST(Transparency, AnUnknownEngineIsLeftAlone) {
    const std::vector<std::string> program = {testProgram("agent/agent_UnknownEngineProgram")};
    const Outcome outcome = run(underAgent(program));
    EXPECT_EQ(outcome.exitCode, 17);
    ASSERT_EQ(linesOf(outcome.errors).size(), 1u) << outcome.errors;
    EXPECT_NE(outcome.errors.find("libddsc.so.9.9.9"), std::string::npos) << outcome.errors;
    const Outcome silent = run(underAgent(program, {"--verbosity", "silent"}));
    EXPECT_EQ(silent.exitCode, 17);
    EXPECT_EQ(silent.errors, "");
}

TEST(Transparency, AWrongVariableWithoutOrxRunDisablesMonitoringAlone) {
    Environment environment = {{"ORX_AGENT_DOMAIN", "x"}};
    environment["LD_PRELOAD"] = std::string(ORX_BIN) + "/../lib/liborxshim.so";
    const Outcome outcome = run({testProgram("agent_AgentProgram"), "exit", "5"}, environment);
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_NE(outcome.errors.find("ORX_AGENT_DOMAIN: 'x' is no domain"), std::string::npos) << outcome.errors;
}

} // namespace
