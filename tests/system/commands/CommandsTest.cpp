// What commands change in a monitored program, as a collector sees it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/tail/Tail.hpp"

namespace {

Outcome sendTo(const std::string& domain, Command arguments) {
    Command all{bin("orx-send"), "--domain", domain, "--timeout", "30"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all, loopbackOnly());
}

void expectDone(const std::string& domain, const Command& arguments) {
    const Outcome outcome = sendTo(domain, arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.errors;
    EXPECT_NE(outcome.output.find(": done"), std::string::npos) << outcome.output;
}

const std::string root = "/applications/first";
std::string participant(const std::string& name) {
    return root + "/domain_participants/" + name;
}

TEST(Commands, MetricsAreSwitchedByExpressionAndPatternAlsoForWhatComesLater) {
    const std::string monitoring = testDomainText(1);
    Tail tail(monitoring);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    tail.await({participant("alpha") + "/publishers/", "/data_writers/Square_", "  created  "});
    tail.await({participant("alpha") + "/subscribers/", "/data_readers/Square_", "  created  "});

    expectDone(monitoring, {"set_metric_subscription_state", "//*=!*"});
    tail.await({participant("alpha") + "/publishers/", "/data_writers/Square_", "  selection  metrics=0"});
    tail.await({participant("alpha") + "/subscribers/", "/data_readers/Square_", "  selection  metrics=0"});

    expectDone(monitoring,
        {"update_metric_subscription_state", "//data_writers/*=dds_data_writer_publication_matched_total"});
    tail.await({participant("alpha") + "/publishers/", "/data_writers/Square_", "  selection  metrics=1"});

    // A participant that the program makes now has the writer's one metric, and nothing else.
    application.command("participant beta");
    tail.await({participant("beta") + "/publishers/", "/data_writers/Square_", "  created  metrics=1"});
    tail.await({participant("beta") + "/subscribers/", "/data_readers/Square_", "  created  metrics=0"});
    tail.await({participant("beta") + "/publishers/", "/data_writers/Square_", "total_count=2"});
    EXPECT_TRUE(
        linesWith(tail.output(), {participant("beta"), "/data_readers/", "status_subscription_matched"})
            .empty())
        << tail.output();
    EXPECT_TRUE(linesWith(tail.output(), {participant("beta"), "/data_writers/", "liveliness_lost"}).empty());
}

TEST(Commands, LevelsOfLoggingChange) {
    const std::string monitoring = testDomainText(1);
    Tail tail(monitoring);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    tail.await({root + "  logging  "});
    expectDone(
        monitoring, {"set_logging_collection_level", "/applications/first=middleware:debug,user:silent"});
    tail.await({root + "  logging  ", "logging_collection[0].verbosity=SYSLOG_VERBOSITY_DEBUG"});
    expectDone(monitoring, {"set_logging_forwarding_level", "//applications/*=service:critical"});
    tail.await({root + "  logging  ", "logging_forwarding[2].verbosity=SYSLOG_VERBOSITY_CRITICAL"});
    const auto lines = linesWith(tail.output(), {root + "  logging  "});
    EXPECT_NE(lines.back().find("logging_collection[3].verbosity=SYSLOG_VERBOSITY_SILENT"), std::string::npos)
        << lines.back();
}

TEST(Commands, ARegistryRequestSendsTheSnapshotAgain) {
    const std::string monitoring = testDomainText(1);
    Process reader({testProgram("interop_Reader"), monitoring}, loopbackOnly());
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    const auto snapshots = [&] { return linesWith(reader.output(), {" resources=", "snapshot=1"}).size(); };
    ASSERT_TRUE(reader.waitForLine({" resources=", "snapshot=1"})) << reader.output() << reader.errors();
    // A new reader brings one to all, and orx-send has one; the request brings another.
    const size_t before = snapshots();
    expectDone(monitoring, {"request_resource_registry", "/applications/first"});
    for (int i = 0; i < 300 && snapshots() < before + 2; ++i)
        reader.waitForLine({"no such line"}, 0.1);
    EXPECT_GE(snapshots(), before + 2) << reader.output();
    // Nobody is addressed, so that only the match brings one.
    const size_t between = snapshots();
    EXPECT_EQ(sendTo(monitoring, {"request_resource_registry", "/applications/second"}).exitCode, 3);
    for (int i = 0; i < 30; ++i)
        reader.waitForLine({"no such line"}, 0.1);
    EXPECT_EQ(snapshots(), between + 1) << reader.output();
}

TEST(Commands, ExitCodesTellTheReply) {
    using nlohmann::json;
    const std::string monitoring = testDomainText(1);
    EXPECT_EQ(
        run({bin("orx-send"), "--domain", monitoring, "--timeout", "1", "request_resource_registry", "//*"},
            loopbackOnly())
            .exitCode,
        4)
        << "nobody is there";
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    const Outcome nothing = sendTo(monitoring, {"--app", "first", "update_metric_subscription_state",
                                                   "/applications/second/domain_participants/*=dds_*"});
    EXPECT_EQ(nothing.exitCode, 3) << nothing.output << nothing.errors;
    const Outcome refused = sendTo(monitoring, {"subscribe", "//topics/*=*"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.errors.find(
                  "The subscribe command is not supported by this instance of Monitoring Library 2.0"),
        std::string::npos)
        << refused.errors;
    const Outcome ignored = run({bin("orx-send"), "--domain", monitoring, "--app", "first", "--timeout", "4",
                                    "pause_subscription", "//*"},
        loopbackOnly());
    EXPECT_EQ(ignored.exitCode, 4);
    const Outcome object = sendTo(monitoring, {"--json", "request_resource_registry", "//*"});
    EXPECT_EQ(object.exitCode, 0);
    const json parsed = json::parse(object.output, nullptr, false);
    ASSERT_TRUE(parsed.is_object()) << object.output;
    EXPECT_EQ(parsed.value("application", ""), "first");
    EXPECT_EQ(parsed.value("operation", ""), "request_resource_registry");
    EXPECT_EQ(parsed.value("result", ""), "done");
    // Two of them, and none is named.
    Application second(monitoring, testDomainText(2), "second");
    second.command("participant beta");
    Outcome ambiguous;
    for (int i = 0; i < 10 && ambiguous.exitCode != 2; ++i)
        ambiguous = sendTo(monitoring, {"request_resource_registry", "//*"});
    EXPECT_EQ(ambiguous.exitCode, 2);
    EXPECT_NE(ambiguous.errors.find("--app"), std::string::npos) << ambiguous.errors;
    EXPECT_EQ(sendTo(monitoring, {"--app", "second", "request_resource_registry", "//*"}).exitCode, 0);
}

} // namespace
