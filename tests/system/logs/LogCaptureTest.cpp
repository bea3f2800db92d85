// What a program under the agent logs, by the engine and by itself, and what its own sinks see of it.
#include <gtest/gtest.h>

#include <regex>

#include "tests/system/agent/Record.hpp"

namespace {

Command program(const std::string& mode) {
    return {testProgram("logs_LogProgram"), mode};
}

// Times and names of threads differ from run to run.
std::string withoutHeaders(const std::string& text) {
    static const std::regex header("[0-9]+\\.[0-9]{6} \\[[^\\]]*\\] +[^ :]*: ");
    return std::regex_replace(text, header, "<header> ");
}

Environment verbosity(const Record& record, int mask) {
    return record.environment({{"ORX_TEST_VERBOSITY", std::to_string(mask)}});
}

size_t countOf(const Record& record, const std::string& line) {
    size_t count = 0;
    for (const std::string& at : record.lines("log "))
        count += at == line ? 1U : 0U;
    return count;
}

std::string join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

TEST(EngineLog, TheProgramsSinksAndFilesGetWhatTheyGetWithoutTheAgent) {
    const Outcome without = run(program("everywhere"));
    ASSERT_EQ(without.exitCode, 0) << without.errors;
    ASSERT_GT(linesOf(without.output).size(), 60u);
    ASSERT_GT(linesWith(without.output, {"traced: "}).size(), 5u);
    ASSERT_GT(linesWith(without.errors, {"tracing warning"}).size(), 3u);
    for (const int mask : {0, 31, 127, 255}) {
        const Record record;
        const Outcome with = run(underAgent(program("everywhere")), verbosity(record, mask));
        EXPECT_EQ(with.exitCode, 0) << with.errors;
        EXPECT_EQ(withoutHeaders(with.output), withoutHeaders(without.output)) << mask;
        EXPECT_EQ(withoutHeaders(with.errors), withoutHeaders(without.errors)) << mask;
    }
}

TEST(EngineLog, LinesBecomeMessagesByTheVerbosity) {
    const Record warnings;
    EXPECT_EQ(run(underAgent(program("everywhere")), verbosity(warnings, 31)).exitCode, 0);
    EXPECT_EQ(countOf(warnings, "log 23 3 - ERROR own sink quiet error"), 1u);
    EXPECT_EQ(countOf(warnings, "log 23 4 - WARNING own sink quiet warning"), 1u);
    EXPECT_EQ(countOf(warnings, "log 23 4 - WARNING two sinks tracing warning"), 1u)
        << "once, however many sinks";
    EXPECT_EQ(countOf(warnings, "log 23 4 - WARNING no sink in two"), 1u);
    EXPECT_TRUE(warnings.lines("log 23 6").empty());
    EXPECT_TRUE(warnings.lines("log 23 7").empty());
    EXPECT_EQ(countOf(warnings, "log 23 3 - ERROR before, own sink error"), 0u) << "there was no agent then";
    const Record everything;
    EXPECT_EQ(run(underAgent(program("everywhere")), verbosity(everything, 255)).exitCode, 0);
    EXPECT_EQ(countOf(everything, "log 23 6 - INFORMATIONAL two sinks, errors alone quiet info"), 1u)
        << "the verbosity widens the engine's mask";
    EXPECT_EQ(countOf(everything, "log 23 7 - DEBUG [|LC:discovery]no sink tracing discovery"), 1u)
        << join(everything.lines("log 23 7"));
    EXPECT_EQ(countOf(everything, "log 23 7 - DEBUG [|LC:config]two sinks to stderr config"), 1u);
}

TEST(EngineLog, WhatTheAgentWantsAloneReachesTheAgentAlone) {
    const Record record;
    const Outcome outcome = run(underAgent(program("less")), verbosity(record, 127));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(linesWith(outcome.output, {"mask 3"}).size(), 1u) << outcome.output;
    EXPECT_EQ(linesWith(outcome.output, {"log: "}).size(), 1u) << outcome.output;
    EXPECT_EQ(linesWith(outcome.output, {"wanted error"}).size(), 1u);
    EXPECT_TRUE(linesWith(outcome.errors, {"warning"}).empty()) << outcome.errors;
    for (const char* line : {"log 23 3 - ERROR wanted error", "log 23 4 - WARNING wanted warning",
             "log 23 6 - INFORMATIONAL wanted info", "log 23 4 - WARNING wanted again warning"})
        EXPECT_EQ(countOf(record, line), 1u) << line;
}

TEST(EngineLog, LinesOfTheMonitoringsDomainAreNobodys) {
    const Record record;
    const Outcome outcome = run(underAgent(program("monitoring")), verbosity(record, 255));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_TRUE(linesWith(outcome.output, {"not the program's"}).empty());
    EXPECT_EQ(linesWith(outcome.output, {": the program's"}).size(), 1u)
        << "it is the program's domain as well";
    for (const std::string& line : record.lines("log 23"))
        EXPECT_EQ(line.find("the program's"), std::string::npos) << line;
}

TEST(EngineLog, ASinkMayUseTheEngineAndIsGoneWhenReplaced) {
    const Record record;
    const Outcome outcome = run(underAgent(program("replace")), verbosity(record, 31));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
}

TEST(Syslog, CallsBecomeMessagesAndStayCalls) {
    const Outcome without = run(program("syslog"));
    ASSERT_EQ(without.exitCode, 0) << without.errors;
    const Record record;
    const Outcome with = run(underAgent(program("syslog")), record.environment());
    EXPECT_EQ(with.exitCode, 0) << with.errors;
    EXPECT_EQ(with.output, without.output);
    EXPECT_EQ(with.errors, without.errors) << "what libc writes";
    const std::vector<std::string> expected = {"log 1 4 user a warning of 5 words",
        "log 1 3 - without a facility", "log 1 2 local3 local", "log 1 1 authpriv private",
        "log 1 3 user a list of text and 1.5", "log 1 3 user checked call", "log 1 3 user checked list of 3",
        "log 1 3 user because: No such file or directory", "log 1 3 user not masked",
        "log 1 3 user ten bytes", "log 1 3 user after closelog"};
    for (const std::string& line : expected)
        EXPECT_EQ(countOf(record, line), 1u) << line << "\n" << join(record.lines("log"));
    const auto lengthy = record.lines("log 1 3 user long xxx");
    ASSERT_EQ(lengthy.size(), 1u);
    EXPECT_GT(lengthy[0].size(), 1000u);
    EXPECT_LT(lengthy[0].size(), 4100u) << "cut";
    EXPECT_EQ(record.lines("log 1").size(), expected.size() + 1) << join(record.lines("log 1"));
}

TEST(Syslog, HandlersMayLogToo) {
    const Record record;
    const Outcome outcome = run(underAgent(program("handlers")), verbosity(record, 31));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(record.lines("log 23 3 - ERROR line ").size(), 2000u);
}

TEST(Syslog, AChildOfAForkLogsWithoutTheAgent) {
    const Outcome without = run(program("fork"));
    ASSERT_EQ(without.exitCode, 0) << without.errors;
    const Record record;
    // The leak check does not know the memory that the threads left behind hold.
    const Outcome with =
        run(underAgent(program("fork")), record.environment({{"ASAN_OPTIONS", "detect_leaks=0"}}));
    EXPECT_EQ(with.exitCode, 0) << with.errors;
    EXPECT_EQ(with.output, without.output);
    EXPECT_EQ(countOf(record, "log 1 3 user in the parent"), 1u);
    for (const std::string& line : record.lines("log"))
        EXPECT_EQ(line.find("in the child"), std::string::npos) << line;
}

TEST(Syslog, InertAgentsTakeNothing) {
    const Record record;
    const Outcome without = run(program("syslog"));
    const Outcome off = run(underAgent(program("syslog"), {"--off"}), record.environment());
    EXPECT_EQ(off.exitCode, 0) << off.errors;
    EXPECT_EQ(off.errors, without.errors);
    Environment environment = record.environment({{"ORX_AGENT_OFF", "1"}});
    environment["LD_PRELOAD"] = std::string(ORX_BIN) + "/../lib/liborxshim.so";
    for (const char* mode : {"syslog", "everywhere"}) {
        const Outcome plain = run(program(mode));
        const Outcome preloaded = run(program(mode), environment);
        EXPECT_EQ(preloaded.exitCode, 0) << preloaded.errors;
        EXPECT_EQ(withoutHeaders(preloaded.output), withoutHeaders(plain.output));
        EXPECT_EQ(withoutHeaders(preloaded.errors), withoutHeaders(plain.errors));
    }
    EXPECT_TRUE(record.lines().empty());
}

} // namespace
