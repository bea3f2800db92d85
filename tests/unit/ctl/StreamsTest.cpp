#include <gtest/gtest.h>

#include "Asked.hpp"
#include "FakeCollector.hpp"
#include "ctl/Follow.hpp"

namespace {

using Words = std::vector<std::string>;

std::string message(int id, const std::string& text) {
    return R"({"id": )" + std::to_string(id) +
           R"(, "time": "2026-11-21T12:40:31.924000Z", "application": "pinger", "facility": "user", "severity": "warning", )"
           R"("sequence_number": 3, "category": "N/A", "message": ")" +
           text + R"(", "snapshot": false})";
}
std::string logEvent(int id, const std::string& text) {
    return "event: log\nid: " + std::to_string(id) + "\ndata: " + message(id, text) + "\n\n";
}

TEST(Logs, AreLines) {
    FakeCollector fake([](const auto&, auto& response) {
        FakeCollector::json(response, "{\"messages\": [" + message(1, "disk is nearly full") + "," +
                                          message(2, "\\u001b[31mred\\nsecond line") + "]}");
    });
    const Asked asked = ask(fake.url(), {"logs"});
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output, "12:40:31.924  pinger  user warning  sn=3  N/A  disk is nearly full\n"
                            "12:40:31.924  pinger  user warning  sn=3  N/A  \\x1B[31mred\\nsecond line\n");
}

TEST(Logs, AreAskedForByTheirFilters) {
    FakeCollector fake(
        [](const auto&, auto& response) { FakeCollector::json(response, R"({"messages": []})"); });
    EXPECT_EQ(ask(fake.url(), {"logs", "--application", "pinger", "--facility", "user", "--severity",
                                  "warning", "--category", "a&b", "--contains", "50% c++", "-n", "7"})
                  .exitCode,
        0);
    const httplib::Request request = fake.requests().at(0);
    EXPECT_EQ(request.path, "/api/v1/logs");
    EXPECT_EQ(request.get_param_value("application"), "pinger");
    EXPECT_EQ(request.get_param_value("facility"), "user");
    EXPECT_EQ(request.get_param_value("severity"), "warning");
    EXPECT_EQ(request.get_param_value("category"), "a&b");
    EXPECT_EQ(request.get_param_value("contains"), "50% c++");
    EXPECT_EQ(request.get_param_value("limit"), "7");
    EXPECT_FALSE(request.has_param("follow"));
}

TEST(Logs, AreJsonLinesForScripts) {
    FakeCollector fake([](const auto&, auto& response) {
        FakeCollector::json(
            response, "{\"messages\": [" + message(1, "a") + "," + message(2, "\\u00fc") + "]}");
    });
    const Asked asked = ask(fake.url(), {"logs", "--json"});
    const std::size_t end = asked.output.find('\n');
    EXPECT_EQ(ctl::parseJson(asked.output.substr(0, end)), ctl::parseJson(message(1, "a")));
    EXPECT_EQ(ctl::parseJson(asked.output.substr(end + 1)), ctl::parseJson(message(2, "\\u00fc")));
}

TEST(Logs, FollowedGoOnBehindABreak) {
    std::atomic<int> attempts{0};
    std::stop_source stop;
    FakeCollector* server = nullptr;
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        switch (++attempts) {
        case 1:
            return server->stream(response,
                {logEvent(7, "first"), ": alive\n\n", logEvent(8, "second"), "id: 9\nda"},
                FakeCollector::Then::end);
        case 2:
            return FakeCollector::json(
                response, R"({"error": {"code": "stopping", "message": "the collector ends"}})", 503);
        case 3: // what came before may come again
            return server->stream(response,
                {logEvent(8, "second"), logEvent(9, "third"), "event: lost\ndata: {\"count\": 12}\n\n"},
                FakeCollector::Then::end);
        default:
            stop.request_stop();
            return server->stream(response, {}, FakeCollector::Then::end);
        }
    });
    server = &fake;
    const Asked asked = ask(fake.url(), {"logs", "-f", "-n", "5"}, stop.get_token());
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output, "12:40:31.924  pinger  user warning  sn=3  N/A  first\n"
                            "12:40:31.924  pinger  user warning  sn=3  N/A  second\n"
                            "12:40:31.924  pinger  user warning  sn=3  N/A  third\n"
                            "-- 12 lost: they came faster than they were read\n");
    EXPECT_EQ(asked.errors, "orxctl: the collector ended the stream; trying again\n"
                            "orxctl: the collector is there again\n"
                            "orxctl: the collector ended the stream; trying again\n");
    const auto requests = fake.requests();
    ASSERT_GE(requests.size(), 3u);
    EXPECT_EQ(requests[0].get_param_value("follow"), "1");
    EXPECT_EQ(requests[0].get_param_value("limit"), "5");
    EXPECT_EQ(requests[0].get_header_value("Accept"), "text/event-stream");
    EXPECT_FALSE(requests[0].has_header("Last-Event-ID"));
    EXPECT_EQ(requests[1].get_header_value("Last-Event-ID"), "8");
    EXPECT_EQ(requests[2].get_header_value("Last-Event-ID"), "8");
}

TEST(Logs, FollowedTellLossesToScriptsToo) {
    std::stop_source stop;
    FakeCollector* server = nullptr;
    std::atomic<int> attempts{0};
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        if (++attempts > 1)
            stop.request_stop();
        server->stream(response, {"event: lost\ndata: {\"count\": 3}\n\n", "event: log\ndata: no JSON\n\n"},
            FakeCollector::Then::end);
    });
    server = &fake;
    const Asked asked = ask(fake.url(), {"logs", "-f", "--json"}, stop.get_token());
    EXPECT_EQ(asked.output.substr(0, asked.output.find('\n')), R"({"event":"lost","count":3})");
    EXPECT_TRUE(has(asked.errors, "left out an event that is no JSON object")) << asked.errors;
}

TEST(Logs, FollowedEndAtAStop) {
    FakeCollector* server = nullptr;
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        server->stream(response, {logEvent(1, "a")}, FakeCollector::Then::stay);
    });
    server = &fake;
    std::stop_source stop;
    std::thread stopper([&] {
        EXPECT_TRUE(fake.awaitRequests(1));
        stop.request_stop();
    });
    const Asked asked = ask(fake.url(), {"logs", "-f"}, stop.get_token());
    stopper.join();
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.errors, "");
}

TEST(Logs, ThatCannotBeFollowedAtFirstAreAFailure) {
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        FakeCollector::json(
            response, R"({"error": {"code": "too_many_streams", "message": "all streams are taken"}})", 429);
    });
    const Asked asked = ask(fake.url(), {"logs", "-f"});
    EXPECT_EQ(asked.exitCode, 2);
    EXPECT_EQ(asked.errors, "orxctl: all streams are taken\n");
    EXPECT_EQ(ask("http://127.0.0.1:1", {"events", "-f"}).exitCode, 4);
    FakeCollector plain([](const auto&, auto& response) { FakeCollector::json(response, "{}"); });
    EXPECT_EQ(ask(plain.url(), {"events", "-f"}).exitCode, 2);
}

TEST(Logs, EndWhenTheCollectorRefusesThemForGood) {
    std::atomic<int> attempts{0};
    FakeCollector* server = nullptr;
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        if (++attempts == 1)
            server->stream(response, {logEvent(1, "a")}, FakeCollector::Then::end);
        else
            FakeCollector::json(response, R"({"error": {"code": "bad_request", "message": "no"}})", 400);
    });
    server = &fake;
    EXPECT_EQ(ask(fake.url(), {"logs", "-f"}).exitCode, 2);
}

TEST(Events, AreLines) {
    FakeCollector* server = nullptr;
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        server->stream(response,
            {"event: application_appeared\ndata: {\"time\": \"2026-11-21T12:40:31.924Z\", \"application\": "
             "\"pinger\"}\n\n",
                "event: created\ndata: {\"time\": \"x\", \"application\": \"a\", \"path\": "
                "\"/applications/a\", \"snapshot\": true}\n\n",
                "event: metric\ndata: {\"time\": \"x\", \"application\": \"a\", \"path\": "
                "\"/applications/a\", \"metric\": \"dds_m\","
                " \"value\": [1, 2]}\n\n",
                "event: deleted\ndata: {\"application\": \"a\\u001b\"}\n\n"},
            FakeCollector::Then::stay);
    });
    server = &fake;
    const Asked asked = ask(fake.url(), {"events", "-n", "4", "--class", "topic", "--application", "a"});
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output, "12:40:31.924  pinger  application_appeared\n"
                            "x  a  /applications/a  created  [snapshot]\n"
                            "x  a  /applications/a  dds_m  1,2\n"
                            "  a\\x1B  deleted\n");
    EXPECT_EQ(fake.requests().at(0).get_param_value("class"), "topic");
    EXPECT_EQ(fake.requests().at(0).get_param_value("application"), "a");
}

TEST(Events, AreJsonLinesForScripts) {
    FakeCollector* server = nullptr;
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        server->stream(
            response, {"event: created\ndata: {\"id\": 1, \"guid\": \"g\"}\n\n"}, FakeCollector::Then::stay);
    });
    server = &fake;
    EXPECT_EQ(ask(fake.url(), {"events", "-n", "1", "--json"}).output,
        "{\"event\":\"created\",\"id\":1,\"guid\":\"g\"}\n");
}

// The pauses between attempts grow to their longest, and what the server asks for is bounded by that.
TEST(Follow, PausesBetweenAttempts) {
    std::atomic<int> attempts{0};
    FakeCollector* server = nullptr;
    std::stop_source stop;
    FakeCollector fake([&](const httplib::Request&, httplib::Response& response) {
        if (++attempts == 6)
            stop.request_stop();
        server->stream(response, {"retry: 3600000\n\n"}, FakeCollector::Then::end);
    });
    server = &fake;
    std::ostringstream out;
    const ctl::Output output{out, out, {}, false};
    const ctl::Client client(fake.url(), 30);
    const auto start = std::chrono::steady_clock::now();
    ctl::follow(client, {"/api/v1/events", {}, {}}, output, [](const ctl::ServerEvent&) { return true; },
        stop.get_token(), {std::chrono::milliseconds(1), std::chrono::milliseconds(20)});
    EXPECT_EQ(attempts, 6);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5 * 20));
}

} // namespace
