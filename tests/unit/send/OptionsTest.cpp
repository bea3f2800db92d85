// What orx-send takes, and what it refuses before it sends anything.
#include "send/Options.hpp"

#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace {

using send::SelectorKind;
using testing::ElementsAre;
using testing::HasSubstr;

send::Selector parse(SelectorKind kind, const std::string& text) {
    send::Selector selector;
    const auto problem = send::parseSelector(kind, text, selector);
    EXPECT_FALSE(problem) << *problem;
    return selector;
}
std::string problemOf(SelectorKind kind, const std::string& text) {
    send::Selector selector;
    return send::parseSelector(kind, text, selector).value_or("");
}

send::Parsed parseLine(std::vector<std::string> arguments) {
    std::vector<char*> argv;
    arguments.insert(arguments.begin(), "orx-send");
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const auto parsed = send::parseOptions(static_cast<int>(argv.size()), argv.data());
    testing::internal::GetCapturedStderr();
    testing::internal::GetCapturedStdout();
    return parsed;
}

TEST(SendOptions, PeersAreOneList) {
    const send::Parsed parsed = parseLine({"--peers", "10.0.0.1,[::1]:7410", "request_resource_registry",
        "//applications/a", "//applications/b"});
    EXPECT_FALSE(parsed.exitCode);
    EXPECT_THAT(parsed.options.peers, ElementsAre("10.0.0.1", "[::1]:7410"));
    EXPECT_EQ(parsed.options.selectors.size(), 2U);
    for (const char* wrong : {"", ",", "a b", "<a>"})
        EXPECT_EQ(parseLine({"--peers", wrong, "request_resource_registry", "//applications/a"}).exitCode, 2)
            << wrong;
}

TEST(SendOptions, MetricSelectorsHavePatternsOnAndOff) {
    const auto selector =
        parse(SelectorKind::metrics, "//data_writers/*=dds_*,!dds_data_writer_*number_low,*number_high");
    EXPECT_EQ(selector.expression, "//data_writers/*");
    EXPECT_THAT(selector.enabled, ElementsAre("dds_*", "*number_high"));
    EXPECT_THAT(selector.disabled, ElementsAre("dds_data_writer_*number_low"));
}

TEST(SendOptions, LevelSelectorsHaveFacilitiesAndLevels) {
    const auto selector = parse(SelectorKind::levels,
        "//applications/a=b=middleware:debug,security_event:silent,user:warning,security:debug");
    EXPECT_EQ(selector.expression, "//applications/a=b");
    ASSERT_EQ(selector.levels.size(), 4U);
    EXPECT_EQ(selector.levels[0].facility, 23);
    EXPECT_EQ(selector.levels[0].verbosity, 255);
    EXPECT_EQ(selector.levels[1].facility, 10);
    EXPECT_EQ(selector.levels[1].verbosity, 0);
    EXPECT_EQ(selector.levels[2].facility, 1);
    EXPECT_EQ(selector.levels[2].verbosity, 31);
    EXPECT_EQ(selector.levels[3].facility, 10);
}

TEST(SendOptions, RefusesWhatAnApplicationWouldRefuse) {
    EXPECT_THAT(problemOf(SelectorKind::metrics, "//data_writers/*"), HasSubstr("'='"));
    EXPECT_THAT(problemOf(SelectorKind::metrics, "///topics/*=*"), HasSubstr("'/'"));
    EXPECT_THAT(problemOf(SelectorKind::metrics, "=*"), HasSubstr("empty"));
    EXPECT_THAT(problemOf(SelectorKind::metrics, "//T=" + std::string(3000, '!') + ","), testing::Ne(""));
    EXPECT_THAT(problemOf(SelectorKind::expression, std::string(1024, 'a')), HasSubstr("1023"));
    EXPECT_THAT(problemOf(SelectorKind::expression, "/applications"), HasSubstr("selects nothing"));
    EXPECT_THAT(problemOf(SelectorKind::expression, "//GUID(12)/topics/*"), HasSubstr("GUID"));
    std::string deep;
    for (int i = 0; i < 33; ++i)
        deep += "/topics/T";
    EXPECT_THAT(problemOf(SelectorKind::expression, deep), testing::Ne(""));
    EXPECT_THAT(problemOf(SelectorKind::levels, "//*=kernel:debug"), HasSubstr("'kernel' is no facility"));
    EXPECT_THAT(problemOf(SelectorKind::levels, "//*=user:loud"), HasSubstr("'user:loud'"));
    EXPECT_THAT(problemOf(SelectorKind::levels, "//*=user"), HasSubstr("names no level"));
    EXPECT_THAT(problemOf(SelectorKind::levels, "//*="), testing::Ne(""));
    EXPECT_THAT(problemOf(SelectorKind::metricGroups, "//*=!status_*"), HasSubstr("'!'"));
}

TEST(SendOptions, EveryOperationIsKnownByItsName) {
    EXPECT_EQ(send::operations().size(), 12U);
    EXPECT_EQ(send::findOperation("set-logging-forwarding-level")->hash, -500546511);
    EXPECT_EQ(send::findOperation("pause_subscription")->hash, -1734861679);
    EXPECT_EQ(send::findOperation("reboot"), nullptr);
}

TEST(SendOptions, TheCommandLineIsCheckedWhole) {
    const auto parsed = parseLine({"--domain", "7", "--timeout", "0.5", "--json", "--app", "a",
        "request_resource_registry", "//*", "/applications/a"});
    ASSERT_FALSE(parsed.exitCode);
    EXPECT_EQ(parsed.options.domain, 7);
    EXPECT_EQ(parsed.options.seconds, 0.5);
    EXPECT_TRUE(parsed.options.json);
    EXPECT_EQ(parsed.options.application, "a");
    EXPECT_STREQ(parsed.options.operation->name, "request_resource_registry");
    EXPECT_EQ(parsed.options.selectors.size(), 2U);
    for (const std::vector<std::string>& wrong :
        std::vector<std::vector<std::string>>{{}, {"request_resource_registry"}, {"reboot", "//*"},
            {"request_resource_registry", "///"}, {"--timeout", "nan", "request_resource_registry", "//*"},
            {"--timeout", "0", "request_resource_registry", "//*"},
            {"--domain", "233", "request_resource_registry", "//*"},
            {"set_logging_collection_level", "//*=1:2"}})
        EXPECT_EQ(parseLine(wrong).exitCode, 2) << testing::PrintToString(wrong);
    EXPECT_EQ(parseLine({"--help"}).exitCode, 0);
    EXPECT_EQ(parseLine({"--version"}).exitCode, 0);
}

TEST(SendOptions, TheHelpTellsExitCodesOperationsAndDefaults) {
    std::string name = "orx-send", help = "--help";
    char* argv[] = {name.data(), help.data()};
    testing::internal::CaptureStdout();
    (void)send::parseOptions(2, argv);
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_THAT(text, HasSubstr("Exit codes: 0 done, 2 error, 3 nothing matched, 4 no reply."));
    for (const send::Operation& operation : send::operations())
        EXPECT_THAT(text, HasSubstr(operation.name));
    for (const char* standard : {"232]=2 ", "SECONDS=10 "}) // --domain and --timeout
        EXPECT_THAT(text, HasSubstr(standard));
}

} // namespace
