// Every endpoint through the service, over a model with one application.
#include <gtest/gtest.h>

#include "orxmonitoring2d/metric_catalogue.h"
#include "tests/unit/collector/ApiFixture.hpp"

using namespace collector;
using namespace collector_test;
using nlohmann::json;

namespace {

struct ApiRoutes : testing::Test {
    json get(const std::string& target) {
        const auto response = world.get(target);
        EXPECT_EQ(response.status, 200) << target << ": " << response.body;
        EXPECT_EQ(response.contentType, http::jsonType);
        return json::parse(response.body);
    }
    void expectRefused(const http::Response& response, int status, const char* code) {
        EXPECT_EQ(response.status, status) << response.body;
        EXPECT_EQ(json::parse(response.body)["error"]["code"], code);
        EXPECT_FALSE(json::parse(response.body)["error"]["message"].get<std::string>().empty());
    }
    ApiWorld world;
    FakeApplication& app = world.app;
};

std::string digits(const Guid& guid) {
    return reading::guidDigits(guid);
}

} // namespace

TEST_F(ApiRoutes, StatusTellsWhatThereIs) {
    app.createSmallTree();
    const json status = get("/api/v1/status");
    EXPECT_EQ(status["version"], "1.2.3");
    EXPECT_EQ(status["domain"], 7);
    EXPECT_EQ(status["read_only"], false);
    EXPECT_EQ(status["applications"], 1);
    EXPECT_EQ(status["resources"], 7);
    EXPECT_GE(status["series"], 0);
    EXPECT_GE(status["uptime_seconds"], 0.0);
    EXPECT_GE(status["samples"]["event"], 1);
    EXPECT_EQ(status["samples"]["periodic"], 0);
    EXPECT_EQ(status["samples"]["logging"], 0);
    EXPECT_EQ(status["dropped"]["unknown_resource"], 0);
    EXPECT_EQ(status["dropped"]["not_cached"], 5);
    EXPECT_GT(status["memory_bytes"], 1'000'000);
}

TEST_F(ApiRoutes, ApplicationsByName) {
    app.createSmallTree();
    FakeApplication other(world.model, 2, "another");
    other.createSmallTree();
    const json list = get("/api/v1/applications")["applications"];
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]["name"], "another");
    const json& one = list[1];
    EXPECT_EQ(one["name"], "pinger");
    EXPECT_EQ(one["path"], "/applications/pinger");
    EXPECT_EQ(one["guid"], digits(app.guid()));
    EXPECT_EQ(one["participant_guid"], digits(app.participant()));
    EXPECT_EQ(one["host"], nullptr);
    EXPECT_EQ(one["process_id"], nullptr);
    EXPECT_EQ(one["resources"], 7);
    EXPECT_TRUE(one["series"].is_number());
    EXPECT_TRUE(one["last_sample_seconds_ago"].is_number());
    EXPECT_TRUE(one["logging"]["collection"].is_object());
    EXPECT_TRUE(one["logging"]["forwarding"].is_object());
}

TEST_F(ApiRoutes, WhatAnApplicationTellsOfItself) {
    app.createSmallTree();
    auto event = Event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    event->value._u.application.hostname = DDS_String_dup("robot7");
    auto* config = DDS_Monitoring_LoggingConfigPluginSupport_create_data();
    DDS_Monitoring_LoggingSettingSeq_ensure_length(&config->logging_forwarding, 2, 2);
    auto* setting = DDS_Monitoring_LoggingSettingSeq_get_reference(&config->logging_forwarding, 0);
    setting->facility = 23;
    setting->verbosity = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING;
    setting = DDS_Monitoring_LoggingSettingSeq_get_reference(&config->logging_forwarding, 1);
    setting->facility = 17;
    setting->verbosity = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_SILENT;
    event->value._u.application.logging = config;
    app.send(std::move(event), 0);
    const json one = get("/api/v1/applications")["applications"][0];
    EXPECT_EQ(one["host"], "robot7");
    EXPECT_EQ(one["process_id"], nullptr);
    EXPECT_EQ(one["logging"]["forwarding"], json::parse(R"({"middleware": "warning", "17": "silent"})"));
    EXPECT_EQ(one["logging"]["collection"], json::object());
}

TEST_F(ApiRoutes, ResourcesAreATree) {
    app.createSmallTree();
    app.tellTopic(4, "Square", "ShapeType");
    const json page = get("/api/v1/resources");
    EXPECT_EQ(page["next"], nullptr);
    const json& list = page["resources"];
    ASSERT_EQ(list.size(), 7U);
    std::set<json> known{nullptr};
    for (const json& each : list) {
        EXPECT_TRUE(known.contains(each["parent"])) << each; // parents before children
        known.insert(each["guid"]);
        EXPECT_EQ(each["application"], "pinger");
        EXPECT_FALSE(each.contains("metrics"));
    }
    EXPECT_EQ(list[0]["class"], "application");
    EXPECT_EQ(list[0]["path"], "/applications/pinger");
}

TEST_F(ApiRoutes, ResourcesByPathWithMetrics) {
    app.createSmallTree();
    app.tellMatched(5, 3);
    const json list = get("/api/v1/resources?path=//data_writers/*&metrics=1")["resources"];
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0]["class"], "data_writer");
    EXPECT_EQ(list[0]["guid"], digits(app.guidOf(5)));
    const json& metric = list[0]["metrics"]["dds_data_writer_publication_matched_current_count"];
    EXPECT_EQ(metric["value"], 3);
    EXPECT_EQ(metric["topic"], "event");
    EXPECT_TRUE(metric["time"].get<std::string>().ends_with("Z"));
    EXPECT_EQ(get("/api/v1/resources?path=/applications/nobody//*")["resources"].size(), 0U);
}

TEST_F(ApiRoutes, ResourcesInPages) {
    app.createSmallTree();
    std::vector<json> all;
    std::string after;
    for (int page = 0; page < 10; ++page) {
        const json answer = get("/api/v1/resources?limit=3" + after);
        EXPECT_LE(answer["resources"].size(), 3U);
        all.insert(all.end(), answer["resources"].begin(), answer["resources"].end());
        if (answer["next"].is_null())
            break;
        after = "&after=" + answer["next"].get<std::string>();
    }
    EXPECT_EQ(json(all), get("/api/v1/resources")["resources"]);
}

TEST_F(ApiRoutes, PagesWithMetricsAreShorter) {
    app.createSmallTree();
    for (std::uint32_t i = 100; i < 1'200; ++i)
        app.create(i, 1, ResourceClass::topic, "topic" + std::to_string(i));
    const json page = get("/api/v1/resources?metrics=1&limit=10000");
    EXPECT_EQ(page["resources"].size(), 1'000U);
    EXPECT_TRUE(page["next"].is_string());
    EXPECT_EQ(get("/api/v1/resources?metrics=1&after=" + page["next"].get<std::string>())["resources"].size(),
        107U);
    EXPECT_EQ(get("/api/v1/resources")["resources"].size(), 1'107U);
}

TEST_F(ApiRoutes, WhatCannotBeReadIsRefused) {
    for (const char* target : {"/api/v1/resources?path=data_writers", "/api/v1/resources?path=",
             "/api/v1/resources?path=///", "/api/v1/resources?limit=0", "/api/v1/resources?limit=10001",
             "/api/v1/resources?limit=x", "/api/v1/resources?metrics=yes", "/api/v1/resources?after=1",
             "/api/v1/resources?more=1", "/api/v1/resources?limit=1&limit=2", "/api/v1/status?x=1",
             "/api/v1/applications?x=1", "/api/v1/resources/nothing", "/api/v1/logs?severity=loud",
             "/api/v1/logs?facility=kernel", "/api/v1/logs?limit=0", "/api/v1/logs?limit=10001",
             "/api/v1/logs?follow=2", "/api/v1/logs?application=/a/b", "/api/v1/logs?follow=1&limit=1001",
             "/api/v1/events?class=toaster", "/api/v1/events?application=", "/api/v1/events?x=1"})
        expectRefused(world.get(target), 400, "bad_request");
}

TEST_F(ApiRoutes, OneResourceByGuid) {
    app.createSmallTree();
    app.tellMatched(5, 3);
    const json one = get("/api/v1/resources/" + digits(app.guidOf(2)));
    EXPECT_EQ(one["class"], "publisher");
    EXPECT_EQ(one["children"], json::array({digits(app.guidOf(5))}));
    EXPECT_TRUE(one["metrics"].is_object());
    EXPECT_EQ(one["parent"], digits(app.guidOf(1)));
    expectRefused(world.get("/api/v1/resources/" + digits(Guid{9})), 404, "not_found");
    app.destroy(2);
    expectRefused(world.get("/api/v1/resources/" + digits(app.guidOf(2))), 404, "not_found");
}

TEST_F(ApiRoutes, LogsWithFilters) {
    world.ring.add(world.message("disk is nearly full", 0));
    world.ring.add(world.message("all is well", 1, 6));
    json list = get("/api/v1/logs")["messages"];
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(
        list[0], json::parse(R"({"id": 1, "time": "2025-11-21T12:40:31.924000Z", "application": "pinger",
        "facility": "user", "severity": "warning", "sequence_number": 0, "category": "N/A",
        "message": "disk is nearly full", "line": "[...] USER (sn:0) WARNING disk is nearly full",
        "snapshot": false, "application_guid": ")" +
                             digits(app.guid()) + R"(", "resource_guid": ")" + digits(app.guid()) + R"("})"));
    list = get("/api/v1/logs?severity=warning")["messages"];
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0]["sequence_number"], 0);
    EXPECT_EQ(
        get("/api/v1/logs?application=/applications/pinger&limit=1")["messages"][0]["sequence_number"], 1);
    EXPECT_EQ(get("/api/v1/logs?application=other")["messages"].size(), 0U);
    EXPECT_EQ(get("/api/v1/logs?contains=disk&facility=user&category=N/A")["messages"].size(), 1U);
    EXPECT_EQ(get("/api/v1/logs?facility=service")["messages"].size(), 0U);
}

TEST_F(ApiRoutes, LogsAreFollowed) {
    world.ring.add(world.message("before", 0));
    auto silent = world.get("/api/v1/logs?follow=1");
    auto opening = world.ask("GET", "/api/v1/logs?limit=10", {{"accept", "text/event-stream"}});
    ASSERT_NE(silent.stream, nullptr);
    ASSERT_NE(opening.stream, nullptr);
    EXPECT_EQ(silent.contentType, http::eventStreamType);
    EXPECT_EQ(opening.header("Vary"), "Accept");
    EXPECT_EQ(world.get("/api/v1/logs").header("Vary"), "Accept");
    EXPECT_EQ(world.get("/api/v1/applications").header("Vary"), "");
    EXPECT_EQ(readAll(*silent.stream), "");
    EXPECT_NE(readAll(*opening.stream).find("before"), std::string::npos);
    world.ring.add(world.message("after", 1));
    EXPECT_NE(readAll(*silent.stream).find("after"), std::string::npos);
    EXPECT_NE(readAll(*opening.stream).find("after"), std::string::npos);
}

TEST_F(ApiRoutes, AClientThatComesAgainGetsWhatItMissed) {
    for (std::uint64_t i = 0; i < 5; ++i)
        world.ring.add(world.message("m" + std::to_string(i) + ".", i));
    auto again = world.ask("GET", "/api/v1/logs?follow=1", {{"last-event-id", "3"}});
    ASSERT_NE(again.stream, nullptr);
    const std::string missed = readAll(*again.stream);
    EXPECT_EQ(missed.find("m2."), std::string::npos);
    EXPECT_NE(missed.find("m3."), std::string::npos);
    EXPECT_NE(missed.find("m4."), std::string::npos);
    auto strange = world.ask("GET", "/api/v1/logs?follow=1", {{"last-event-id", "99999999999999999999999"}});
    EXPECT_EQ(readAll(*strange.stream), "");
}

TEST_F(ApiRoutes, EventsAreFollowed) {
    auto all = world.get("/api/v1/events");
    auto writers = world.get("/api/v1/events?class=data_writer&application=/applications/pinger");
    ASSERT_NE(all.stream, nullptr);
    ASSERT_NE(writers.stream, nullptr);
    app.createSmallTree();
    app.tellMatched(5, 3);
    app.destroy(5);
    app.vanish();
    const std::string everything = readAll(*all.stream);
    for (const char* event : {"application_appeared", "created", "metric", "deleted", "application_vanished"})
        EXPECT_NE(everything.find(std::string("event: ") + event + "\n"), std::string::npos) << event;
    const std::string some = readAll(*writers.stream);
    EXPECT_EQ(some.find("application_appeared"), std::string::npos);
    const std::size_t metric = some.find("event: metric\n");
    ASSERT_NE(metric, std::string::npos);
    const std::size_t data = some.find("data: ", metric) + 6;
    const json told = json::parse(some.substr(data, some.find('\n', data) - data));
    EXPECT_EQ(told["class"], "data_writer");
    EXPECT_EQ(told["guid"], digits(app.guidOf(5)));
    EXPECT_EQ(told["application"], "pinger");
    EXPECT_TRUE(told["path"].get<std::string>().starts_with("/applications/pinger/"));
    EXPECT_TRUE(told["metric"].get<std::string>().starts_with("dds_data_writer_"));
    EXPECT_TRUE(told["value"].is_number());
    EXPECT_EQ(told["snapshot"], false);
}

TEST_F(ApiRoutes, TheModelIsWatchedWhileSomebodyFollows) {
    auto response = world.get("/api/v1/events");
    app.createSmallTree();
    EXPECT_FALSE(readAll(*response.stream).empty());
    response.stream->end();
    world.hub->prune();
    app.vanish(); // nobody is told, and nothing is left to tell
    auto next = world.get("/api/v1/events");
    app.tellRegistry();
    EXPECT_NE(readAll(*next.stream).find("application_appeared"), std::string::npos);
    EXPECT_EQ(world.hub.use_count(), 3); // the world's, the api's and the model's
    next.stream.reset();
    world.hub->prune();
    EXPECT_EQ(world.hub.use_count(), 2);
}

TEST_F(ApiRoutes, StreamsAreBounded) {
    std::vector<http::Response> open;
    for (int i = 0; i < 4; ++i)
        open.push_back(world.get(i % 2 == 0 ? "/api/v1/events" : "/api/v1/logs?follow=1"));
    EXPECT_EQ(world.streams.size(), 4U);
    const auto refused = world.get("/api/v1/events");
    expectRefused(refused, 429, "too_many_streams");
    EXPECT_NE(refused.header("Retry-After"), "");
    expectRefused(world.get("/api/v1/logs?follow=1"), 429, "too_many_streams");
    EXPECT_EQ(world.ask("HEAD", "/api/v1/events").status, 200); // follows nothing
    open[0].stream->end();
    open.pop_back();
    EXPECT_EQ(world.get("/api/v1/logs?follow=1").status, 200);
    EXPECT_EQ(world.get("/api/v1/logs").status, 200);
}

TEST_F(ApiRoutes, CommandsNameTheApplicationsByTheirGuids) {
    app.createSmallTree();
    const auto response = world.post("/api/v1/commands/set_metric_subscription_state",
        R"({"metrics": [{"resource_selector": "/applications/pinger//data_writers/*",
            "subscribe_metric_selector": ["dds_data_writer_*"], "unsubscribe_metric_selector": []}]})");
    EXPECT_EQ(response.status, 200) << response.body;
    EXPECT_EQ(json::parse(response.body)["destinations"], 1);
    ASSERT_EQ(world.commander.sent.size(), 1U);
    ASSERT_EQ(world.commander.sent[0].metrics.size(), 1U);
    EXPECT_EQ(world.commander.sent[0].kind, api::CommandKind::setMetricSubscriptionState);
    EXPECT_NE(world.commander.sent[0].metrics[0].resources.find(digits(app.guid())), std::string::npos)
        << world.commander.sent[0].metrics[0].resources;
}

TEST_F(ApiRoutes, EachCommandHasItsPath) {
    const char* metrics = R"({"metrics": [{"resource_selector": "//*"}]})";
    const char* groups = R"({"logging_groups": [{"application_selector": "//*",
        "logging_settings": [{"facility": "middleware", "verbosity": "debug"}]}]})";
    const char* bodies[] = {metrics, metrics, groups, groups, R"({"applications": ["//*"]})"};
    for (std::size_t i = 0; i < api::commandNames.size(); ++i) {
        const std::string path = std::string("/api/v1/commands/") + api::commandNames[i];
        EXPECT_EQ(world.post(path, bodies[i]).status, 200) << path;
        EXPECT_EQ(world.commander.sent.back().kind, static_cast<api::CommandKind>(i));
        expectRefused(world.post(path, "{}"), 400, "bad_request");
        expectRefused(world.post(path + "?x=1", bodies[i]), 400, "bad_request");
        EXPECT_EQ(world.get(path).status, 405);
        http::Request request;
        request.method = "POST";
        ASSERT_TRUE(request.parseTarget(path));
        EXPECT_EQ(world.service.lane(request), http::Lane::slow);
    }
    expectRefused(world.post("/api/v1/commands/reboot", "{}"), 404, "not_found");
    EXPECT_EQ(world.commander.sent.size(), 5U);
}

TEST_F(ApiRoutes, ACommandThatFailsIsAnError) {
    world.commander.result = {2, "Timedout", 3, 10};
    const auto response =
        world.post("/api/v1/commands/request_resource_registry", R"({"applications": ["//*"]})");
    expectRefused(response, 422, "command_failed");
    world.commander.result = {3, "", 0, 0};
    expectRefused(world.post("/api/v1/commands/request_resource_registry", R"({"applications": ["//*"]})"),
        404, "nothing_matched");
}

TEST(ApiReadOnly, NoCommandIsSent) {
    http::Policy policy;
    policy.readOnly = true;
    ApiWorld world(policy);
    EXPECT_EQ(
        world.post("/api/v1/commands/request_resource_registry", R"({"applications": ["//*"]})").status, 403);
    EXPECT_TRUE(world.commander.sent.empty());
    EXPECT_EQ(world.json(world.get("/api/v1/status"))["read_only"], true);
}

TEST_F(ApiRoutes, MetricsInTwoFormats) {
    app.createSmallTree();
    app.tellMatched(5, 3);
    const auto text = world.get("/metrics");
    EXPECT_EQ(text.status, 200);
    EXPECT_TRUE(text.contentType.starts_with("text/plain; version=0.0.4")) << text.contentType;
    EXPECT_NE(text.body.find("dds_data_writer_publication_matched_current_count{"), std::string::npos);
    EXPECT_NE(text.body.find("orx_collector_"), std::string::npos);
    const auto open =
        world.ask("GET", "/metrics", {{"accept", "application/openmetrics-text; version=1.0.0"}});
    EXPECT_TRUE(open.contentType.starts_with("application/openmetrics-text")) << open.contentType;
    EXPECT_TRUE(open.body.ends_with("# EOF\n"));
    const auto compressed = world.ask("GET", "/metrics", {{"accept-encoding", "gzip"}});
    EXPECT_EQ(compressed.header("Content-Encoding"), "gzip");
    EXPECT_EQ(compressed.header("Vary"), "Accept, Accept-Encoding");
    EXPECT_LT(compressed.body.size(), text.body.size() / 2);
}

TEST_F(ApiRoutes, ThePageShowsApplicationsEscaped) {
    FakeApplication evil(world.model, 2, "<script>alert('x')</script>&\"");
    evil.createSmallTree();
    app.createSmallTree();
    const auto page = world.get("/");
    EXPECT_EQ(page.status, 200);
    EXPECT_TRUE(page.contentType.starts_with("text/html"));
    EXPECT_NE(page.header("Content-Security-Policy"), "");
    EXPECT_NE(page.body.find("pinger"), std::string::npos);
    EXPECT_NE(page.body.find("&lt;script&gt;"), std::string::npos);
    EXPECT_EQ(page.body.find("<script"), std::string::npos);
    // Its links lead somewhere.
    for (std::size_t at = 0; (at = page.body.find("href=\"", at)) != std::string::npos;) {
        at += 6;
        std::string target = page.body.substr(at, page.body.find('"', at) - at);
        for (std::size_t amp; (amp = target.find("&amp;")) != std::string::npos;)
            target.replace(amp, 5, "&");
        EXPECT_EQ(world.ask("HEAD", target).status, 200) << target;
    }
    const std::string link = "/api/v1/resources?path=";
    const std::size_t first = page.body.find(link + "/");
    ASSERT_NE(first, std::string::npos);
    const auto linked = world.get(page.body.substr(first, page.body.find('"', first) - first));
    EXPECT_GE(json::parse(linked.body)["resources"].size(), 6U) << linked.body;
}
