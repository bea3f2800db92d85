#include "ctl/Options.hpp"

#include <gtest/gtest.h>

using ctl::parseOptions;
using ctl::Verb;

namespace {

using Words = std::vector<std::string>;

ctl::Options accepted(const Words& words) {
    const ctl::Parsed parsed = parseOptions(words);
    EXPECT_FALSE(parsed.exitCode) << testing::PrintToString(words);
    return parsed.options;
}

// Exit code and what is told on the error stream.
std::pair<int, std::string> refused(const Words& words) {
    testing::internal::CaptureStderr();
    const ctl::Parsed parsed = parseOptions(words);
    const std::string errors = testing::internal::GetCapturedStderr();
    return {parsed.exitCode.value_or(-1), errors};
}

TEST(Options, TakesEachCommand) {
    EXPECT_EQ(accepted({"applications"}).verb, Verb::applications);
    EXPECT_EQ(accepted({"tree"}).verb, Verb::tree);
    EXPECT_EQ(accepted({"tree", "pinger"}).path, "pinger");
    EXPECT_EQ(accepted({"show", "//T"}).verb, Verb::show);
    EXPECT_EQ(accepted({"status"}).verb, Verb::status);
    EXPECT_EQ(accepted({"registry", "//*"}).verb, Verb::registry);
    EXPECT_EQ(accepted({"logs"}).verb, Verb::logs);
    EXPECT_EQ(accepted({"events"}).verb, Verb::events);
}

TEST(Options, TakesPatternsThatBeginWithADash) {
    const ctl::Options options = accepted({"metrics", "set", "/applications/pinger//data_writers/*",
        "+dds_data_writer_*", "-dds_data_writer_cache_*", "-*", "+h*", "-json*"});
    EXPECT_EQ(options.verb, Verb::metricsSet);
    EXPECT_EQ(options.path, "/applications/pinger//data_writers/*");
    EXPECT_EQ(options.on, (Words{"dds_data_writer_*", "h*"}));
    EXPECT_EQ(options.off, (Words{"dds_data_writer_cache_*", "*", "json*"}));
    EXPECT_EQ(accepted({"metrics", "update", "a", "-x"}).verb, Verb::metricsUpdate);
}

TEST(Options, TakesOptionsBeforeAndBehindPatterns) {
    const ctl::Options options = accepted({"--collector", "http://robot:1", "metrics", "update", "--json",
        "pinger", "-a", "--timeout", "3", "+b"});
    EXPECT_EQ(options.collector, "http://robot:1");
    EXPECT_TRUE(options.json);
    EXPECT_EQ(options.timeout, 3);
    EXPECT_EQ(options.path, "pinger");
    EXPECT_EQ(options.on, Words{"b"});
    EXPECT_EQ(options.off, Words{"a"});
}

TEST(Options, RefusesPatternsWithoutASign) {
    for (const Words& words : {Words{"metrics", "set", "a", "dds_*"}, Words{"metrics", "set", "a", "+"},
             Words{"metrics", "set", "a", ""}, Words{"metrics", "set", "a"}, Words{"metrics", "set"},
             Words{"metrics"}}) {
        const auto [exitCode, errors] = refused(words);
        EXPECT_EQ(exitCode, 2) << testing::PrintToString(words);
        EXPECT_NE(errors, "");
    }
    EXPECT_NE(refused({"metrics", "set", "a", "dds_*"}).second.find("'dds_*'"), std::string::npos);
    EXPECT_EQ(refused(Words(1100, "+a")).first, 2);
    Words many{"metrics", "set", "a"};
    many.insert(many.end(), 1025, "+a");
    EXPECT_NE(refused(many).second.find("1024"), std::string::npos);
}

TEST(Options, TakesLevels) {
    const ctl::Options options =
        accepted({"logging", "forwarding", "pinger", "middleware=debug", "user=silent", "10=7"});
    EXPECT_EQ(options.verb, Verb::loggingForwarding);
    ASSERT_EQ(options.levels.size(), 3u);
    EXPECT_EQ(options.levels[0].facility, "middleware");
    EXPECT_EQ(options.levels[0].level, "debug");
    EXPECT_EQ(options.levels[2].facility, "10");
    EXPECT_EQ(accepted({"logging", "collection", "a", "user=error"}).verb, Verb::loggingCollection);
}

TEST(Options, RefusesLevelsThatAreNone) {
    for (const char* level : {"middleware", "middleware=", "=debug", "kernel=debug", "middleware=loud",
             "-1=2", "middleware=-1", "middleware=1234567890", ""}) {
        const auto [exitCode, errors] = refused({"logging", "forwarding", "a", level});
        EXPECT_EQ(exitCode, 2) << level;
        EXPECT_NE(errors, "") << level;
    }
}

TEST(Options, TakesFiltersOfStreams) {
    const ctl::Options options = accepted({"logs", "-f", "--application", "pinger", "--facility", "user",
        "--severity", "warning", "--category", "c", "--contains", "-x y", "-n", "5", "--for", "2.5"});
    EXPECT_TRUE(options.follow);
    EXPECT_EQ(options.application, "pinger");
    EXPECT_EQ(options.facility, "user");
    EXPECT_EQ(options.severity, "warning");
    EXPECT_EQ(options.category, "c");
    EXPECT_EQ(options.contains, "-x y");
    EXPECT_EQ(options.limit, 5);
    EXPECT_EQ(options.seconds, 2.5);
    EXPECT_EQ(accepted({"logs"}).limit, std::nullopt);
    EXPECT_EQ(accepted({"events", "--class", "topic", "-n", "1"}).resourceClass, "topic");
}

TEST(Options, NamesWhatIsWrong) {
    const std::vector<std::pair<Words, std::string>> wrong = {{{"--colour"}, "--colour"}, {{"fly"}, "fly"},
        {{"tree", "a", "b"}, "b"}, {{"show"}, "PATH"}, {{"show", ""}, "empty"},
        {{"tree", std::string(1024, 'x')}, "1023"}, {{"status", "--timeout", "nan"}, "nan"},
        {{"status", "--timeout", "0"}, "'0'"}, {{"status", "--color", "pink"}, "pink"},
        {{"logs", "--severity", "loud"}, "loud"}, {{"logs", "--severity", "silent"}, "silent"},
        {{"logs", "--facility", "kernel"}, "kernel"}, {{"logs", "-n", "10001"}, "10001"},
        {{"logs", "--for", "3"}, "--follow"}, {{"events", "-n", "0"}, "0"}, {{"logs", "--for", "-1"}, "-1"},
        {{"status", "--unknown"}, "--unknown"}};
    for (const auto& [words, named] : wrong) {
        const auto [exitCode, errors] = refused(words);
        EXPECT_EQ(exitCode, 2) << testing::PrintToString(words);
        EXPECT_NE(errors.find(named), std::string::npos) << errors;
    }
}

TEST(Options, TellsHelpAndVersion) {
    for (const Words& words : {Words{"--help"}, Words{"--version"}, Words{"logs", "--help"},
             Words{"metrics", "set", "-h"}, Words{"metrics", "--help"}}) {
        testing::internal::CaptureStdout();
        const ctl::Parsed parsed = parseOptions(words);
        EXPECT_NE(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(parsed.exitCode, 0) << testing::PrintToString(words);
    }
}

TEST(Options, TakesTheCollectorFromTheEnvironment) {
    setenv("ORX_COLLECTOR", "http://elsewhere:1", 1);
    EXPECT_EQ(accepted({"status"}).collector, "http://elsewhere:1");
    EXPECT_EQ(accepted({"status", "--collector", "http://here:2"}).collector, "http://here:2");
    unsetenv("ORX_COLLECTOR");
    EXPECT_EQ(accepted({"status"}).collector, "http://127.0.0.1:9464");
}

} // namespace
