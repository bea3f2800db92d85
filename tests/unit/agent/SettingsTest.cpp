#include "agent/Settings.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace orx::agent;

std::string expressionProblem(const std::string& expression) {
    Problem problem;
    checkExpression(expression, problem);
    return problem.text;
}

std::string selectionProblem(const std::string& selection) {
    Problem problem;
    checkSelection(selection, problem);
    return problem.text;
}

TEST(Settings, TakesDomainsThatHavePorts) {
    int32_t domain = -1;
    EXPECT_TRUE(parseDomain("0", domain));
    EXPECT_EQ(domain, 0);
    EXPECT_TRUE(parseDomain("232", domain));
    EXPECT_EQ(domain, 232);
    for (const char* wrong : {"", "233", "-1", "2 ", "0x2", "1000", "two"})
        EXPECT_FALSE(parseDomain(wrong, domain)) << wrong;
    EXPECT_EQ(domain, 232) << "a wrong value changes nothing";
}

TEST(Settings, KnowsVerbosities) {
    Verbosity verbosity{};
    EXPECT_TRUE(parseVerbosity("silent", verbosity));
    EXPECT_EQ(verbosity, Verbosity::silent);
    EXPECT_TRUE(parseVerbosity("debug", verbosity));
    EXPECT_EQ(verbosity, Verbosity::debug);
    EXPECT_FALSE(parseVerbosity("loud", verbosity));
    EXPECT_FALSE(parseVerbosity("", verbosity));
}

TEST(Settings, AcceptsExpressionsThatCanSelect) {
    for (const char* expression : {"//*", "//T", "/applications/app1", "applications/app1/",
             "/applications/*/domain_participants/*/topics/*", "//topics/T", "//data_*/*", "/*/*",
             "/applications/app1//T", "/applications/app1//data_writers/w1",
             "//GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)/topics/*", "//[dt]*s/*", "//a=b",
             "/applications/a//topics/x//y"})
        EXPECT_EQ(expressionProblem(expression), "") << expression;
}

TEST(Settings, NamesWhatIsWrongInAnExpression) {
    EXPECT_EQ(expressionProblem(""), "the resource expression is empty");
    EXPECT_EQ(expressionProblem("a///b"), "expression 'a///b' holds more than two '/' in a row");
    EXPECT_EQ(expressionProblem("/applications"),
        "expression '/applications' selects nothing: a class without a name ends it");
    EXPECT_EQ(expressionProblem("//"), "expression '//' selects nothing: a class without a name ends it");
    EXPECT_EQ(expressionProblem("/application/a"),
        "'application' in expression '/application/a' names no class of resources");
    EXPECT_EQ(expressionProblem("//a/writers/w"),
        "'writers' in expression '//a/writers/w' names no class of resources");
    EXPECT_EQ(expressionProblem("//GUID(12)"), "'GUID(12)' in expression '//GUID(12)' is no GUID");
}

TEST(Settings, BoundsExpressions) {
    EXPECT_EQ(expressionProblem("//" + std::string(1021, 'x')), "");
    EXPECT_NE(expressionProblem("//" + std::string(1022, 'x')).find("has 1024 bytes"), std::string::npos);
    std::string pairs;
    for (int i = 0; i < 16; ++i)
        pairs += "/*/x";
    EXPECT_EQ(expressionProblem(pairs), "") << "32 components";
    EXPECT_NE(expressionProblem(pairs + "/*/x").find("more than 32 components"), std::string::npos);
    std::string section = "/";
    for (int i = 0; i < 15; ++i)
        section += "/*/x";
    EXPECT_EQ(expressionProblem(section), "") << "31 components, of which one stands for any depth";
    EXPECT_NE(expressionProblem(section + "/*/x").find("more than 32"), std::string::npos) << "33";
}

TEST(Settings, SplitsSelectionsAtTheLastEqualsSign) {
    const Selection parts = splitSelection("//a=b=dds_*,!dds_x");
    EXPECT_EQ(parts.expression, "//a=b");
    std::vector<std::pair<std::string, bool>> patterns;
    Pattern pattern{};
    for (std::string_view rest = parts.patterns; nextPattern(rest, pattern);)
        patterns.emplace_back(pattern.text, pattern.enables);
    const std::vector<std::pair<std::string, bool>> expected{{"dds_*", true}, {"dds_x", false}};
    EXPECT_EQ(patterns, expected);
}

TEST(Settings, NamesWhatIsWrongInASelection) {
    EXPECT_EQ(selectionProblem("//*=dds_*"), "");
    EXPECT_EQ(selectionProblem("//*=*,!dds_topic_*"), "");
    EXPECT_EQ(selectionProblem("//*=dds_application_process_uptime_sec"), "");
    EXPECT_EQ(selectionProblem("//*=dds_data_[rw]*_matched_total"), "");
    EXPECT_EQ(selectionProblem("//*"), "selection '//*' has no '=' between expression and patterns");
    EXPECT_EQ(selectionProblem("//*="), "selection '//*=' holds an empty pattern");
    EXPECT_EQ(selectionProblem("//*=*,,*"), "selection '//*=*,,*' holds an empty pattern");
    EXPECT_EQ(selectionProblem("//*=!"), "selection '//*=!' holds an empty pattern");
    EXPECT_EQ(selectionProblem("//*=dds_*,dds topic"),
        "'dds topic' in selection '//*=dds_*,dds topic' matches the name of no metric");
    EXPECT_EQ(selectionProblem("//*=!dds_data_writter_*"),
        "'dds_data_writter_*' in selection '//*=!dds_data_writter_*' matches the name of no metric");
    EXPECT_EQ(selectionProblem("=dds_*"), "the resource expression is empty");
}

TEST(Settings, TakesSecondsWithinTheLimitsOfTheOption) {
    int64_t ns = -1;
    EXPECT_TRUE(parseSeconds("ORX_AGENT_POLLING_PERIOD", "0.01", ns));
    EXPECT_EQ(ns, 10'000'000);
    EXPECT_TRUE(parseSeconds("ORX_AGENT_POLLING_PERIOD", "86400", ns));
    EXPECT_EQ(ns, 86'400'000'000'000);
    EXPECT_TRUE(parseSeconds("ORX_AGENT_EVENT_PERIOD", "0", ns));
    EXPECT_EQ(ns, 0);
    EXPECT_TRUE(parseSeconds("ORX_AGENT_SNAPSHOT_DELAY", "1.000000001", ns));
    EXPECT_EQ(ns, 1'000'000'001);
    for (const char* wrong : {"", "0.009", "86400.1", "-1", "1,5", ".5", "1.", "1.0000000001", "1e3", "inf",
             "nan", "5s", " 5", "9999999999999999999999"})
        EXPECT_FALSE(parseSeconds("ORX_AGENT_POLLING_PERIOD", wrong, ns)) << wrong;
    EXPECT_EQ(ns, 1'000'000'001) << "a wrong value changes nothing";
}

TEST(Settings, TakesNumbersWithinTheLimitsOfTheOption) {
    int32_t number = -1;
    EXPECT_TRUE(parseNumber("ORX_AGENT_EVENT_QUEUES", "1", number));
    EXPECT_TRUE(parseNumber("ORX_AGENT_EVENT_QUEUES", "64", number));
    EXPECT_EQ(number, 64);
    EXPECT_TRUE(parseNumber("ORX_AGENT_EVENT_QUEUE_SIZE", "268435456", number));
    EXPECT_TRUE(parseNumber("ORX_AGENT_QUEUE_LIMIT", "2147483647", number));
    EXPECT_EQ(number, 2147483647);
    EXPECT_FALSE(parseNumber("ORX_AGENT_QUEUE_LIMIT", "2147483648", number));
    EXPECT_FALSE(parseNumber("ORX_AGENT_QUEUE_LIMIT", "4095", number));
    for (const char* wrong : {"", "0", "65", "-1", "1.0", "x", "4294967297", "99999999999999999999"})
        EXPECT_FALSE(parseNumber("ORX_AGENT_EVENT_QUEUES", wrong, number)) << wrong;
    EXPECT_FALSE(parseNumber("ORX_NO_SUCH_OPTION", "1", number));
}

TEST(Settings, TakesLevelsOfFacilities) {
    Levels levels{4, 4, 4, 4};
    EXPECT_TRUE(parseLevels("debug", levels));
    EXPECT_EQ(levels.middleware, 7);
    EXPECT_EQ(levels.securityEvent, 7);
    EXPECT_EQ(levels.service, 7);
    EXPECT_EQ(levels.user, 7);
    EXPECT_TRUE(parseLevels("user=silent,security_event=emergency", levels));
    EXPECT_EQ(levels.user, Levels::silent);
    EXPECT_EQ(levels.securityEvent, 0);
    EXPECT_TRUE(parseLevels("security=alert", levels));
    EXPECT_EQ(levels.securityEvent, 1);
    EXPECT_EQ(levels.middleware, 7) << "not named";
    for (const char* wrong : {"", "loud", "user=", "user=loud", "=debug", "users=debug", "user=debug,",
             "user=debug,error", "debug,error"})
        EXPECT_FALSE(parseLevels(wrong, levels)) << wrong;
    EXPECT_EQ(levels.user, Levels::silent) << "a wrong value changes nothing";
}

TEST(Settings, EveryOptionNamesItsDefault) {
    for (const Option& option : options()) {
        if (option.argument == nullptr)
            continue;
        const std::string help = option.help;
        EXPECT_TRUE(help.find("(default") != std::string::npos || help.find("Default:") != std::string::npos)
            << option.name;
    }
}

TEST(Settings, DefaultSelectionsAreValid) {
    std::string_view selection;
    int count = 0;
    for (std::string_view rest = defaultSelections(); nextSelection(rest, selection); ++count)
        EXPECT_EQ(selectionProblem(std::string(selection)), "");
    EXPECT_GT(count, 0);
}

TEST(Settings, SelectionsStandOnLines) {
    std::vector<std::string> found;
    std::string_view selection;
    for (std::string_view rest = "\n//a=x\n\n//b=y,z\n"; nextSelection(rest, selection);)
        found.emplace_back(selection);
    EXPECT_EQ(found, (std::vector<std::string>{"//a=x", "//b=y,z"}));
}

TEST(Settings, NamesTheVariableThatIsWrong) {
    setenv("ORX_AGENT_PEERS", "10.0.0.1,,host", 1);
    Problem problem;
    checkEnvironment(problem);
    EXPECT_STREQ(problem.text, "ORX_AGENT_PEERS: '10.0.0.1,,host' holds an empty address");
    unsetenv("ORX_AGENT_PEERS");
    Problem none;
    checkEnvironment(none);
    EXPECT_FALSE(none) << none.text;
}

TEST(Settings, SurvivesLongAndHostileTexts) {
    const std::string longText(100000, '/');
    for (const std::string& text :
        {longText, std::string(5000, 'x'), std::string("//%s%n%n=%s"), "=" + longText}) {
        (void)expressionProblem(text);
        EXPECT_NE(selectionProblem(text), "");
    }
}

} // namespace
