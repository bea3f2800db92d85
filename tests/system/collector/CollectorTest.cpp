// orx-collector against programs that know nothing of it.
#include "tests/system/collector/Collector.hpp"

#include <filesystem>
#include <fstream>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/tail/Tail.hpp"

namespace {

using nlohmann::json;

const std::string writersOf = "/applications/first//data_writers/*";

std::string metricsBody(const std::string& selector, const std::string& pattern) {
    return json{{"metrics", {{{"resource_selector", selector}, {"subscribe_metric_selector", {pattern}}}}}}
        .dump();
}
std::string levelBody(const std::string& selector, const std::string& facility, const std::string& level) {
    return json{
        {"logging_groups", {{{"application_selector", selector},
                               {"logging_settings", {{{"facility", facility}, {"verbosity", level}}}}}}}}
        .dump();
}

// Once this returns, none of its threads runs.
void freeze(const Process& process) {
    process.signal(SIGSTOP);
    const std::string stat = "/proc/" + std::to_string(process.id()) + "/stat";
    for (int i = 0; i < 6000; ++i) {
        std::ifstream file(stat);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        if (text.find(") T ") != std::string::npos)
            return;
        usleep(10'000);
    }
    ADD_FAILURE() << "it does not stop";
}

TEST(Collector, ServesWhatAProgramDoes) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    collector.awaitUntil([&] {
        return collector
                   .series({"dds_data_writer_publication_matched_current_count{", "application=\"first\"",
                       "participant=\"alpha\"", "topic=\"Square\"", "} 1"})
                   .size() == 1;
    });
    // It matched its own reader.
    EXPECT_EQ(
        collector.countResources("/applications/first/domain_participants/alpha/publishers/*/data_writers/*"),
        1U);
    const json writers = collector.json("/api/v1/resources?metrics=1&path=" + writersOf)["resources"];
    ASSERT_EQ(writers.size(), 1U);
    EXPECT_EQ(writers[0]["metrics"]["dds_data_writer_publication_matched_current_count"]["value"], 1);
    EXPECT_EQ(writers[0]["topic"], "Square");
    EXPECT_EQ(writers[0]["domain"], std::stoi(testDomainText(2)));
    const json one = collector.json("/api/v1/resources/" + writers[0]["guid"].get<std::string>());
    EXPECT_EQ(one["path"], writers[0]["path"]);
    const json known = collector.json("/api/v1/applications")["applications"];
    ASSERT_EQ(known.size(), 1U);
    EXPECT_EQ(known[0]["name"], "first");
    collector.awaitUntil([&] {
        const json told = collector.json("/api/v1/applications")["applications"][0];
        return told["process_id"].is_number() && told["host"].is_string();
    });
    EXPECT_NE(collector.get("/").body.find("first"), std::string::npos);
    EXPECT_EQ(collector.json("/api/v1/status")["applications"], 1);
}

TEST(Collector, SeriesOfWhatIsGoneAreGone) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    application.command("participant beta");
    collector.awaitUntil([&] {
        return !collector.series({"participant=\"alpha\"", "dds_data_writer_"}).empty() &&
               !collector.series({"participant=\"beta\"", "dds_data_reader_"}).empty();
    });
    application.command("delete alpha"); // and with it all below it
    collector.awaitUntil([&] { return collector.series({"alpha"}).empty(); });
    EXPECT_FALSE(collector.series({"participant=\"beta\""}).empty());
    EXPECT_EQ(collector.countResources("/applications/first/domain_participants/alpha//*"), 0U);

    application.signal(SIGKILL); // it takes leave of nobody
    collector.awaitUntil([&] { return !collector.hasApplication("first"); });
    EXPECT_TRUE(collector.series({"application=\"first\""}).empty());
    EXPECT_EQ(collector.json("/api/v1/status")["resources"], 0);

    Application again(monitoring, testDomainText(2), "first");
    again.command("participant alpha");
    collector.awaitUntil([&] {
        return !collector.series({"participant=\"alpha\"", "dds_data_writer_"}).empty();
    });
}

TEST(Collector, CommandsChangeWhatIsServed) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    const auto others = [&] {
        return collector.series({"dds_data_writer_"}).size() -
               collector.series({"dds_data_writer_publication_matched_total{"}).size();
    };
    collector.awaitUntil([&] { return others() > 0; });
    HttpAnswer answer = collector.command(
        "set_metric_subscription_state", metricsBody(writersOf, "dds_data_writer_publication_matched_total"));
    EXPECT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(json::parse(answer.body)["ret_code"], 0);
    EXPECT_EQ(json::parse(answer.body)["destinations"], 1);
    collector.awaitUntil([&] { return others() == 0; });

    answer =
        collector.command("update_metric_subscription_state", metricsBody(writersOf, "dds_data_writer_*"));
    EXPECT_EQ(answer.status, 200) << answer.body;
    collector.awaitUntil([&] { return others() > 0; });

    answer = collector.command("request_resource_registry", R"({"applications": ["/applications/first"]})");
    EXPECT_EQ(answer.status, 200) << answer.body;
    answer = collector.command("request_resource_registry", R"({"applications": ["/applications/nobody"]})");
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(json::parse(answer.body)["error"]["code"], "nothing_matched");
}

TEST(Collector, LevelsOfLoggingShowInTheApplicationAndItsMessages) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    collector.awaitUntil([&] { return collector.hasApplication("first"); });
    for (const char* command : {"set_logging_collection_level", "set_logging_forwarding_level"}) {
        const HttpAnswer answer =
            collector.command(command, levelBody("/applications/first", "middleware", "debug"));
        EXPECT_EQ(answer.status, 200) << answer.body;
    }
    collector.awaitUntil([&] {
        const json told = collector.json("/api/v1/applications")["applications"][0]["logging"];
        return told["collection"].value("middleware", "") == "debug" &&
               told["forwarding"].value("middleware", "") == "debug";
    });
    // The library tells of each command now.
    collector.command("request_resource_registry", R"({"applications": ["/applications/first"]})");
    collector.awaitUntil([&] {
        const json messages =
            collector.json("/api/v1/logs?application=/applications/first&severity=debug")["messages"];
        return !messages.empty() && messages[0]["facility"] == "middleware" &&
               messages[0]["application"] == "first";
    });
}

TEST(Collector, StreamsTellWhatHappens) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring);
    HttpClient events(collector.port()), writers(collector.port());
    events.get("/api/v1/events");
    writers.get("/api/v1/events?class=data_writer");
    ASSERT_EQ(events.answer().status, 200);
    ASSERT_EQ(writers.answer().status, 200);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    ASSERT_TRUE(events.until("event: application_appeared"));
    ASSERT_TRUE(writers.until("event: created"));
    ASSERT_TRUE(writers.until("event: metric"));
    application.command("delete alpha");
    ASSERT_TRUE(writers.until("event: deleted"));
    application.signal(SIGKILL);
    ASSERT_TRUE(events.until("event: application_vanished", longPatience));
}

TEST(Collector, LogMessagesGoIntoAFileThatMayBeMoved) {
    const std::string monitoring = testDomainText(1);
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("orx-collector-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    const auto textOf = [&](const char* name) {
        std::ifstream file(folder / name);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    {
        Collector collector(monitoring, {"--log-file", (folder / "log").string()});
        Application application(
            monitoring, testDomainText(2), "first", {"--collect", "debug", "--forward", "debug"});
        application.command("participant alpha");
        collector.awaitUntil([&] { return textOf("log").find(" MIDDLEWARE (sn:") != std::string::npos; });
        std::filesystem::rename(folder / "log", folder / "moved");
        collector.signal(SIGHUP);
        collector.awaitUntil([&] { return std::filesystem::exists(folder / "log"); });
        collector.awaitUntil([&] {
            collector.command("request_resource_registry", R"({"applications": ["//*"]})");
            return textOf("log").find("(sn:") != std::string::npos;
        });
        collector.signal(SIGTERM);
        EXPECT_TRUE(hasEnded(collector.waitFromNow()));
    }
    for (const char c : textOf("log") + textOf("moved"))
        EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
    std::filesystem::remove_all(folder);
}

TEST(Collector, LogMessagesGoToTheStandardOutput) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring, {"--log-file", "-"});
    Application application(
        monitoring, testDomainText(2), "first", {"--collect", "debug", "--forward", "debug"});
    application.command("participant alpha");
    EXPECT_TRUE(collector.waitForLine({" MIDDLEWARE (sn:"}, longPatience));
}

// ---- Refusals and limits ----

TEST(Collector, AReadOnlyOneTakesNoCommand) {
    Collector collector(testDomainText(1), {"--read-only"});
    const HttpAnswer answer = collector.command("request_resource_registry", R"({"applications": ["//*"]})");
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(json::parse(answer.body)["error"]["code"], "read_only");
    EXPECT_EQ(collector.json("/api/v1/status")["read_only"], true);
}

TEST(Collector, PagesOfOthersAreRefused) {
    Collector collector(testDomainText(1));
    HttpClient client(collector.port());
    client.post("/api/v1/commands/request_resource_registry", R"({"applications": ["//*"]})",
        "Origin: http://elsewhere.example\r\n");
    EXPECT_EQ(client.answer().status, 403);
    HttpClient rebound(collector.port());
    rebound.send("GET /metrics HTTP/1.1\r\nHost: rebound.example\r\n\r\n");
    EXPECT_EQ(rebound.answer().status, 403);
}

TEST(Collector, StreamsAndConnectionsHaveLimits) {
    Collector collector(testDomainText(1), {"--max-streams", "2", "--max-connections", "8"});
    HttpClient one(collector.port()), two(collector.port()), three(collector.port());
    one.get("/api/v1/events");
    ASSERT_EQ(one.answer().status, 200);
    two.get("/api/v1/logs?follow=1");
    ASSERT_EQ(two.answer().status, 200);
    three.get("/api/v1/events");
    const HttpAnswer refused = three.answer();
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(json::parse(refused.body)["error"]["code"], "too_many_streams");
    HttpClient four(collector.port());
    four.get("/api/v1/status");
    EXPECT_EQ(four.answer().status, 200);
    EXPECT_TRUE(HttpClient(collector.port()).isClosed()); // half of the connections for one address
    one.close();
    collector.awaitUntil([&] {
        three.get("/api/v1/events");
        return three.answer().status == 200;
    });
}

TEST(Collector, SeriesOfAnApplicationHaveALimit) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring, {"--max-series", "10"});
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    collector.awaitUntil([&] { return collector.json("/api/v1/status")["dropped"]["series_limit"] > 0; });
    EXPECT_LE(collector.series({"application=\"first\""}).size(), 10U);
    EXPECT_FALSE(collector.series({"orx_collector_", "series_limit"}).empty());
}

// ---- The end ----

TEST(Collector, EndsAtOnceWithStreamsAndCommandsOpen) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring, {"--command-timeout", "600"});
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    collector.awaitUntil([&] { return collector.hasApplication("first"); });
    HttpClient stream(collector.port()), waiting(collector.port());
    stream.get("/api/v1/events");
    ASSERT_EQ(stream.answer().status, 200);
    freeze(application); // it will not answer
    waiting.post(
        "/api/v1/commands/request_resource_registry", R"({"applications": ["/applications/first"]})");
    collector.awaitUntil([&] { return !collector.series({"orx_collector_commands_running 1"}).empty(); });
    collector.signal(SIGTERM);
    const HttpAnswer answer = waiting.answer();
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(json::parse(answer.body)["error"]["code"], "stopping");
    EXPECT_TRUE(stream.isClosed());
    const Outcome outcome = collector.waitFromNow(20);
    EXPECT_FALSE(outcome.isLate);
    EXPECT_TRUE(hasEnded(outcome));
    application.signal(SIGCONT);
}

TEST(Collector, ACommandToAFrozenApplicationTimesOutAndHoldsUpNobody) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring, {"--command-timeout", "3"});
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    collector.awaitUntil([&] { return collector.hasApplication("first"); });
    freeze(application);
    HttpClient waiting(collector.port());
    waiting.post(
        "/api/v1/commands/request_resource_registry", R"({"applications": ["/applications/first"]})");
    collector.awaitUntil([&] { return !collector.series({"orx_collector_commands_running 1"}).empty(); });
    EXPECT_EQ(collector.json("/api/v1/status")["applications"], 1); // answered meanwhile
    const HttpAnswer answer = waiting.answer();
    EXPECT_EQ(answer.status, 422);
    EXPECT_EQ(json::parse(answer.body)["error"]["result"]["error_message"], "Timedout") << answer.body;
    application.signal(SIGCONT);
}

// ---- The command line ----

TEST(CollectorOptions, HelpAndVersion) {
    const Outcome help = run({bin("orx-collector"), "--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* text :
        {"--domain", "--listen", "127.0.0.1:9464", "--read-only", "--log-file", "--command-timeout",
            "seconds", "--max-series", "50000", "--max-applications", "--peers", "ORX_DOMAIN"})
        EXPECT_NE(help.output.find(text), std::string::npos) << text << "\n" << help.output;
    EXPECT_EQ(run({bin("orx-collector"), "--version"}).exitCode, 0);
}

TEST(CollectorOptions, WrongOnesGiveTwo) {
    const std::vector<Command> wrong{{"--domain", "233"}, {"--listen", "9464"}, {"--listen", "a:b"},
        {"--max-series", "0"}, {"--command-timeout", "nan"}, {"--command-timeout", "0"}, {"--nothing"},
        {"argument"}};
    for (const Command& options : wrong) {
        Command command{bin("orx-collector")};
        command.insert(command.end(), options.begin(), options.end());
        const Outcome outcome = run(command, loopbackOnly());
        EXPECT_EQ(outcome.exitCode, 2) << options[0];
        EXPECT_FALSE(outcome.errors.empty());
    }
}

TEST(CollectorOptions, WhatCannotBeHadGivesOneAndAReason) {
    const std::string monitoring = testDomainText(1);
    Collector first(monitoring);
    const Outcome second =
        run({bin("orx-collector"), "--domain", monitoring, "--listen", first.address()}, loopbackOnly());
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_NE(second.errors.find("Address already in use"), std::string::npos) << second.errors;
    const Outcome unwritable = run({bin("orx-collector"), "--domain", monitoring, "--listen", "127.0.0.1:0",
                                       "--log-file", "/no/such/folder/log"},
        loopbackOnly());
    EXPECT_EQ(unwritable.exitCode, 1);
    EXPECT_NE(unwritable.errors.find("/no/such/folder/log"), std::string::npos) << unwritable.errors;
}

} // namespace
