#include "collector/api/Commands.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using namespace collector::api;

namespace {

std::vector<std::string> asItIs(std::string_view selector) {
    return {std::string(selector)};
}

std::string refusalOf(CommandKind kind, const std::string& body, const Translate& translate = asItIs) {
    try {
        commandOf(kind, body, translate);
        return "";
    } catch (const BadRequest& bad) {
        return bad.what();
    }
}

std::string listOf(const std::string& element, std::size_t count) {
    std::string list = "[";
    for (std::size_t i = 0; i < count; ++i)
        list += (i == 0 ? "" : ",") + element;
    return list + "]";
}

constexpr auto set = CommandKind::setMetricSubscriptionState;
constexpr auto levels = CommandKind::setLoggingForwardingLevel;
constexpr auto registry = CommandKind::requestResourceRegistry;

} // namespace

TEST(ApiCommands, MetricSelectors) {
    const Command command = commandOf(set, R"({"metrics": [
        {"resource_selector": "/applications/a//data_writers/*", "subscribe_metric_selector": ["x*", "y"],
         "unsubscribe_metric_selector": ["z"]},
        {"resource_selector": "//*"}]})",
        asItIs);
    ASSERT_EQ(command.metrics.size(), 2U);
    EXPECT_EQ(command.metrics[0].resources, "/applications/a//data_writers/*");
    EXPECT_EQ(command.metrics[0].subscribe, (std::vector<std::string>{"x*", "y"}));
    EXPECT_EQ(command.metrics[0].unsubscribe, (std::vector<std::string>{"z"}));
    EXPECT_TRUE(command.metrics[1].subscribe.empty());
}

TEST(ApiCommands, LoggingGroupsByNameAndNumber) {
    const Command command = commandOf(levels, R"({"logging_groups": [{"application_selector": "//*",
        "logging_settings": [{"facility": "middleware", "verbosity": "debug"}, {"facility": 1, "verbosity": 31}]}]})",
        asItIs);
    ASSERT_EQ(command.groups.size(), 1U);
    ASSERT_EQ(command.groups[0].settings.size(), 2U);
    EXPECT_EQ(command.groups[0].settings[0].facility, 23);
    EXPECT_EQ(command.groups[0].settings[0].verbosity, 255U);
    EXPECT_EQ(command.groups[0].settings[1].facility, 1);
    EXPECT_EQ(command.groups[0].settings[1].verbosity, 31U);
}

TEST(ApiCommands, ASelectorBecomesThoseThatItStandsFor) {
    const auto twice = [](std::string_view selector) {
        return std::vector<std::string>{std::string(selector) + "1", std::string(selector) + "2"};
    };
    EXPECT_EQ(commandOf(registry, R"({"applications": ["a", "b"]})", twice).applications,
        (std::vector<std::string>{"a1", "a2", "b1", "b2"}));
    const Command metrics = commandOf(
        set, R"({"metrics": [{"resource_selector": "a", "subscribe_metric_selector": ["x"]}]})", twice);
    ASSERT_EQ(metrics.metrics.size(), 2U);
    EXPECT_EQ(metrics.metrics[1].resources, "a2");
    EXPECT_EQ(metrics.metrics[1].subscribe, (std::vector<std::string>{"x"}));
}

TEST(ApiCommands, WhatIsNotOfTheSchemaIsRefused) {
    for (const char* body : {"", "[]", "1", "{}", "null", R"({"metrics": []})", R"({"metrics": {}})",
             R"({"metrics": [1]})", R"({"metrics": [{}]})", R"({"metrics": [{"resource_selector": 1}]})",
             R"({"metrics": [{"resource_selector": ""}]})",
             R"({"metrics": [{"resource_selector": "a\u0000b"}]})",
             R"({"metrics": [{"resource_selector": "a", "more": 1}]})",
             R"({"metrics": [{"resource_selector": "a"}], "more": 1})",
             R"({"metrics": [{"resource_selector": "a", "subscribe_metric_selector": "x"}]})",
             R"({"metrics": [{"resource_selector": "a", "subscribe_metric_selector": [1]}]})",
             R"({"metrics": [{"resource_selector": "a", "subscribe_metric_selector": [""]}]})",
             R"({"metrics": [{"resource_selector": "a", "resource_selector": "b"}]})",
             R"({"applications": ["//*"]})"})
        EXPECT_NE(refusalOf(set, body), "") << body;
    const auto setting = [](const std::string& text) {
        return R"({"logging_groups": [{"application_selector": "//*", "logging_settings": [)" + text + "]}]}";
    };
    EXPECT_EQ(refusalOf(levels, setting(R"({"facility": "user", "verbosity": "silent"})")), "");
    for (const char* text : {"", "1", "{}", R"({"facility": "user"})", R"({"verbosity": "debug"})",
             R"({"facility": "kernel", "verbosity": "debug"})", R"({"facility": 256, "verbosity": "debug"})",
             R"({"facility": -1, "verbosity": "debug"})", R"({"facility": 1.5, "verbosity": "debug"})",
             R"({"facility": 1, "verbosity": "loud"})", R"({"facility": 1, "verbosity": 5})",
             R"({"facility": 1, "verbosity": 1000000000000})", R"({"facility": 1, "verbosity": null})",
             R"({"facility": 1, "verbosity": 255, "more": 1})"})
        EXPECT_NE(refusalOf(levels, setting(text)), "") << text;
    EXPECT_NE(refusalOf(levels, R"({"logging_groups": [{"application_selector": "//*"}]})"), "");
}

TEST(ApiCommands, ARefusalTellsWhere) {
    EXPECT_NE(
        refusalOf(set, R"({"metrics": [{"resource_selector": "a"}, {"resource_selector": "b", "x": 1}]})")
            .find("metrics[1] has a member \"x\""),
        std::string::npos);
}

TEST(ApiCommands, ListsAndTextsAreBounded) {
    EXPECT_EQ(refusalOf(registry, "{\"applications\": " + listOf("\"a\"", 256) + "}"), "");
    EXPECT_NE(refusalOf(registry, "{\"applications\": " + listOf("\"a\"", 257) + "}"), "");
    const auto expression = [](std::size_t length) {
        return "{\"applications\": [\"" + std::string(length, 'a') + "\"]}";
    };
    EXPECT_EQ(refusalOf(registry, expression(1023)), "");
    EXPECT_NE(refusalOf(registry, expression(1024)), "");
    const auto patterns = [](std::size_t count, std::size_t length) {
        return R"({"metrics": [{"resource_selector": "a", "subscribe_metric_selector": )" +
               listOf("\"" + std::string(length, 'x') + "\"", count) + "}]}";
    };
    EXPECT_EQ(refusalOf(set, patterns(256, 255)), "");
    EXPECT_NE(refusalOf(set, patterns(257, 1)), "");
    EXPECT_NE(refusalOf(set, patterns(1, 256)), "");
}

// Bodies of a few octets can stand for many applications, each with a copy of all patterns.
TEST(ApiCommands, WhatSelectorsStandForIsBoundedAsAWhole) {
    const auto thousand = [](std::string_view selector) {
        return std::vector<std::string>(1000, std::string(selector) + std::string(60, 'x'));
    };
    const auto refusal = [&](CommandKind kind, const std::string& body) {
        return refusalOf(kind, body, thousand);
    };
    EXPECT_EQ(refusal(registry, "{\"applications\": " + listOf("\"a\"", 2) + "}"), "");
    EXPECT_NE(refusal(registry, "{\"applications\": " + listOf("\"a\"", 4) + "}"), "");

    const auto metrics = [](std::size_t patterns) {
        return R"({"metrics": [{"resource_selector": "a", "subscribe_metric_selector": )" +
               listOf("\"dds_data_writer_*\"", patterns) + R"(, "unsubscribe_metric_selector": )" +
               listOf("\"*\"", patterns) + "}]}";
    };
    EXPECT_EQ(refusal(set, metrics(4)), "");
    EXPECT_NE(refusal(set, metrics(5)).find("more than 262144 bytes"), std::string::npos);
    EXPECT_EQ(refusalOf(set, metrics(256)), "") << "for one application it is little";

    const auto groups = [](std::size_t settings) {
        return R"({"logging_groups": [{"application_selector": "a", "logging_settings": )" +
               listOf(R"({"facility": "user", "verbosity": "debug"})", settings) + "}]}";
    };
    EXPECT_EQ(refusal(levels, groups(4)), "");
    EXPECT_NE(refusal(levels, groups(8)), "");
}

TEST(ApiCommands, AnswersByResult) {
    const auto json = [](const collector::http::Response& response) {
        return nlohmann::json::parse(response.body);
    };
    const auto done = answerOf({0, "", 3, 0.21});
    EXPECT_EQ(done.status, 200);
    EXPECT_EQ(json(done),
        nlohmann::json::parse(
            R"({"ret_code": 0, "error_message": "", "destinations": 3, "duration_seconds": 0.21})"));
    const auto failed = answerOf({2, "Timedout", 3, 10});
    EXPECT_EQ(failed.status, 422);
    EXPECT_EQ(json(failed)["error"]["code"], "command_failed");
    EXPECT_EQ(json(failed)["error"]["message"], "Timedout");
    EXPECT_EQ(json(failed)["error"]["result"]["ret_code"], 2);
    EXPECT_EQ(json(failed)["error"]["result"]["error_message"], "Timedout");
    const auto nothing = answerOf({3, "", 0, 0});
    EXPECT_EQ(nothing.status, 404);
    EXPECT_EQ(json(nothing)["error"]["code"], "nothing_matched");
    EXPECT_EQ(json(nothing)["error"]["result"]["ret_code"], 3);
    EXPECT_EQ(answerOf({1, "", 0, 0}).status, 422);
}
