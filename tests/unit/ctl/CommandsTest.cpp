#include "Asked.hpp"
#include "FakeCollector.hpp"
#include "ctl/Json.hpp"

namespace {

using Words = std::vector<std::string>;

constexpr char done[] =
    R"({"ret_code": 0, "error_message": "", "destinations": 3, "duration_seconds": 0.214})";

// What the one request has, after the command was done.
httplib::Request sent(const Words& words) {
    FakeCollector fake([](const auto&, auto& response) { FakeCollector::json(response, done); });
    const Asked asked = ask(fake.url(), words);
    EXPECT_EQ(asked.exitCode, 0) << asked.errors;
    EXPECT_EQ(asked.output, "done: 3 applications in 0.21 s\n");
    EXPECT_EQ(fake.requests().size(), 1u);
    return fake.requests().at(0);
}

void expectSent(const Words& words, const std::string& command, const std::string& body) {
    const httplib::Request request = sent(words);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/api/v1/commands/" + command);
    EXPECT_EQ(request.get_header_value("Content-Type"), "application/json");
    EXPECT_EQ(*ctl::parseJson(request.body), *ctl::parseJson(body)) << request.body;
}

TEST(Commands, SetMetrics) {
    expectSent({"metrics", "set", "/applications/pinger//data_writers/*", "+dds_data_writer_*",
                   "-dds_data_writer_cache_*"},
        "set_metric_subscription_state",
        R"({"metrics": [{"resource_selector": "/applications/pinger//data_writers/*",
            "subscribe_metric_selector": ["dds_data_writer_*"], "unsubscribe_metric_selector": ["dds_data_writer_cache_*"]}]})");
}

TEST(Commands, UpdateMetricsOfAnApplicationByName) {
    expectSent({"metrics", "update", "pinger", "-*"}, "update_metric_subscription_state",
        R"({"metrics": [
            {"resource_selector": "/applications/pinger", "subscribe_metric_selector": [], "unsubscribe_metric_selector": ["*"]},
            {"resource_selector": "/applications/pinger//*", "subscribe_metric_selector": [], "unsubscribe_metric_selector": ["*"]}]})");
}

TEST(Commands, SetLevelsByWordAndByNumber) {
    expectSent({"logging", "collection", "pinger", "middleware=debug", "10=7"},
        "set_logging_collection_level",
        R"({"logging_groups": [{"application_selector": "/applications/pinger", "logging_settings": [
            {"facility": "middleware", "verbosity": "debug"}, {"facility": 10, "verbosity": 7}]}]})");
    expectSent({"logging", "forwarding", "1a2b3c4d.5e6f7a8b.9c0d1e2f.3a4b5c6d", "user=silent",
                   "security_event=debug"},
        "set_logging_forwarding_level",
        R"x({"logging_groups": [{"application_selector": "//GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)",
            "logging_settings": [{"facility": "user", "verbosity": "silent"},
                {"facility": "security_event", "verbosity": "debug"}]}]})x");
}

TEST(Commands, RequestTheRegistry) {
    expectSent({"registry", "//*"}, "request_resource_registry", R"({"applications": ["//*"]})");
}

TEST(Commands, PrintOneObjectForScripts) {
    FakeCollector fake([](const auto&, auto& response) { FakeCollector::json(response, done); });
    EXPECT_EQ(ask(fake.url(), {"--json", "registry", "a"}).output,
        R"({"ret_code":0,"error_message":"","destinations":3,"duration_seconds":0.214,"exit_code":0})"
        "\n");
}

TEST(Commands, CountOneApplicationAsOne) {
    FakeCollector fake([](const auto&, auto& response) {
        FakeCollector::json(response, R"({"ret_code": 0, "destinations": 1})");
    });
    EXPECT_EQ(ask(fake.url(), {"registry", "a"}).output, "done: 1 application\n");
}

TEST(Commands, HaveTheExitCodeOfWhatBecameOfThem) {
    struct Outcome {
        int status;
        std::string body;
        int exitCode;
        std::string told;
    };
    const std::string failed = R"({"code": "command_failed", "message": "Unexpected facility")";
    const std::string result = R"("result": {"ret_code": 2, "error_message": "Unexpected facility"})";
    const std::string late =
        R"({"code": "command_failed", "message": "Timedout", "result": {"ret_code": 2, "error_message": "Timedout"}})";
    for (const Outcome& outcome :
        {Outcome{422, "{\"error\": " + failed + ", " + result + "}}", 2, "Unexpected facility"},
            Outcome{422, "{\"error\": " + failed + "}, " + result + "}", 2, "Unexpected facility"},
            Outcome{422, "{\"error\": " + late + "}", 4, "Timedout"},
            Outcome{404,
                R"({"error": {"code": "nothing_matched", "message": "nothing matched", "result": {"ret_code": 3}}})",
                3, "nothing matched"},
            Outcome{403, R"({"error": {"code": "read_only", "message": "the collector is read-only"}})", 2,
                "read-only"}}) {
        FakeCollector fake([&outcome](const auto&, auto& response) {
            FakeCollector::json(response, outcome.body, outcome.status);
        });
        const Asked asked = ask(fake.url(), {"registry", "a"});
        EXPECT_EQ(asked.exitCode, outcome.exitCode) << outcome.body;
        EXPECT_TRUE(has(asked.errors, outcome.told)) << asked.errors;
        EXPECT_EQ(asked.output, "");
        const auto object = ctl::parseJson(ask(fake.url(), {"registry", "a", "--json"}).output);
        ASSERT_TRUE(object);
        EXPECT_EQ(object->at("exit_code"), outcome.exitCode);
        EXPECT_EQ(object->contains("result"), outcome.status != 403);
    }
}

} // namespace
