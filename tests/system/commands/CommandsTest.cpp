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

// A new reader brings a snapshot to all, and orx-send has one; the request brings another.
void expectAnotherSnapshot(Process& reader, const std::string& monitoring, const std::string& application) {
    const auto snapshots = [&] { return linesWith(reader.output(), {" resources=", "snapshot=1"}).size(); };
    ASSERT_TRUE(reader.waitForLine({" resources=", "snapshot=1"})) << reader.output() << reader.errors();
    const size_t before = snapshots();
    expectDone(monitoring, {"request_resource_registry", application});
    for (int i = 0; i < 300 && snapshots() < before + 2; ++i)
        reader.waitForLine({"no such line"}, 0.1);
    EXPECT_GE(snapshots(), before + 2) << reader.output();
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

// ---- Levels, as the messages show them ----

// A program that logs a line as service and one as user, in this order, each time it is told to.
class Logger {
public:
    Logger(const std::string& monitoring, const std::string& domain)
        : tail_(monitoring), program_({bin("orx-run"), "--domain", monitoring, "--app-name", "linked", "--",
                                          testProgram("logs_Example")},
                                 environment(domain)) {
        EXPECT_TRUE(program_.waitForLine({"ready"})) << program_.errors();
    }

    size_t count(const std::string& facility) {
        return linesWith(tail_.output(), {" " + facility + " "}).size();
    }
    // Has it log until another message of the facility has come. The messages of its one thread come in their
    // order, so what it logged before has come too.
    void logUntil(const std::string& facility) {
        const size_t before = count(facility);
        for (int i = 0; i < 600 && count(facility) == before; ++i) {
            program_.say("");
            tail_.waitForLine({"no such line"}, 0.1);
        }
        EXPECT_GT(count(facility), before) << tail_.output() << tail_.errors();
    }
    // Messages of the one come, those of the other do not.
    void expectOnly(const std::string& facility, const std::string& silent) {
        logUntil(facility);
        const size_t before = count(silent);
        for (int i = 0; i < 5; ++i)
            logUntil(facility);
        EXPECT_EQ(count(silent), before) << tail_.output();
    }
    std::string output() { return tail_.output(); }

private:
    static Environment environment(const std::string& domain) {
        Environment all = loopbackOnly();
        all["PROGRAM_DOMAIN"] = domain;
        return all;
    }
    Tail tail_;
    Process program_;
};

TEST(Commands, MessagesFollowTheForwardingLevel) {
    const std::string monitoring = testDomainText(1);
    Logger logger(monitoring, testDomainText(2));
    logger.logUntil("service WARNING");
    logger.logUntil("user ERROR");
    expectDone(monitoring, {"set_logging_forwarding_level", "//applications/*=service:error"});
    logger.expectOnly("user ERROR", "service WARNING");
    expectDone(monitoring, {"set_logging_forwarding_level", "//applications/*=service:warning,user:silent"});
    logger.expectOnly("service WARNING", "user ERROR");
    expectDone(monitoring, {"set_logging_forwarding_level", "/applications/linked=user:error"});
    logger.logUntil("user ERROR");
    logger.logUntil("service WARNING");
}

TEST(Commands, MessagesFollowTheCollectionLevel) {
    const std::string monitoring = testDomainText(1);
    Logger logger(monitoring, testDomainText(2));
    logger.logUntil("service WARNING");
    logger.logUntil("user ERROR");
    expectDone(monitoring, {"set_logging_collection_level", "/applications/linked=user:critical"});
    logger.expectOnly("service WARNING", "user ERROR");
    expectDone(monitoring, {"set_logging_collection_level", "//applications/*=user:error,service:error"});
    logger.expectOnly("user ERROR", "service WARNING");
    expectDone(monitoring, {"set_logging_collection_level", "/applications/linked=service:warning"});
    logger.logUntil("service WARNING");
    logger.logUntil("user ERROR");
}

TEST(Commands, ARegistryRequestSendsTheSnapshotAgain) {
    const std::string monitoring = testDomainText(1);
    Process reader({testProgram("interop_Reader"), monitoring}, loopbackOnly());
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    expectAnotherSnapshot(reader, monitoring, "/applications/first");
    const auto snapshots = [&] { return linesWith(reader.output(), {" resources=", "snapshot=1"}).size(); };
    // Nobody is addressed, so that only the match brings one.
    const size_t between = snapshots();
    EXPECT_EQ(sendTo(monitoring, {"request_resource_registry", "/applications/second"}).exitCode, 3);
    for (int i = 0; i < 30; ++i)
        reader.waitForLine({"no such line"}, 0.1);
    EXPECT_EQ(snapshots(), between + 1) << reader.output();
}

// ---- A program that knows nothing of all this: the engine's own ddsperf ----

class Perf : public Process {
public:
    Perf(const std::string& monitoring, const std::string& domain)
        : Process({bin("orx-run"), "--domain", monitoring, "--app-name", "perf", "--polling-period", "0.1",
                      "--", "ddsperf", "-i", domain, "pub", "50Hz"},
              loopbackOnly()) {}
};

const std::string perfRoot = "/applications/perf/domain_participants/";

TEST(CommandsToDdsperf, SelectedMetricsAreSentAloneAlsoOfWhatIsCreatedLater) {
    if (isSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer, so an agent that has one cannot be loaded into it";
    const std::string monitoring = testDomainText(1);
    const std::string domain = testDomainText(2);
    Tail tail(monitoring);
    const Perf perf(monitoring, domain);
    tail.await({perfRoot, "/data_writers/DDSPerfRDataKS_", "  status_publication_matched_1  "});
    tail.await({perfRoot, "/data_writers/DDSPerfCPUStats_", "[periodic]"});

    expectDone(monitoring, {"set_metric_subscription_state", "//*=!*",
                               "//data_writers/DDSPerfRDataKS_*=dds_data_writer_protocol_pushed_sample*",
                               "//data_writers/DDSPerfRPongKS_*=dds_data_writer_publication_matched_total"});
    tail.await({perfRoot, "/data_writers/DDSPerfCPUStats_", "  selection  metrics=0"});
    tail.await({perfRoot, "/data_writers/DDSPerfRDataKS_", "  selection  metrics=2"});
    tail.await({perfRoot, "/topics/DDSPerfRDataKS", "  selection  metrics=0"});

    // From the change on the writer's samples go on, and everything else is silent.
    const Command data{perfRoot, "/data_writers/DDSPerfRDataKS_", "pushed_sample_count=", "[periodic]"};
    const std::string selection = linesWith(tail.output(), {"  selection  "}).back();
    const auto since = [&](const Command& parts) {
        return linesWith(tail.output().substr(tail.output().find(selection)), parts).size();
    };
    // What the passes at hand had gathered before comes a little later, and then no more.
    bool isAlone = false;
    for (int i = 0; i < 5 && !isAlone && !HasFailure(); ++i) {
        const size_t others = since({"[periodic]"}) - since(data);
        const size_t before = since(data);
        tail.awaitUntil([&] { return since(data) >= before + 10; });
        isAlone = since({"[periodic]"}) - since(data) == others;
    }
    EXPECT_TRUE(isAlone) << tail.output();
    const Command statistics{"/data_writers/DDSPerfCPUStats_", "[periodic]"};
    const size_t ofStatistics = since(statistics);

    // Another ddsperf has this one make writers of answers.
    const Process pinger({"ddsperf", "-i", domain, "ping", "10Hz"}, loopbackOnly());
    tail.await({perfRoot, "/data_writers/DDSPerfRPongKS_", "  created  metrics=1"});
    tail.await(
        {perfRoot, "/data_writers/DDSPerfRPongKS_", "  status_publication_matched_1  ", "total_count=1"});
    EXPECT_EQ(since({"/data_writers/DDSPerfRPongKS_", "[periodic]"}), 0u) << tail.output();

    // And back.
    expectDone(
        monitoring, {"update_metric_subscription_state",
                        "//data_writers/DDSPerfCPUStats_*=dds_data_writer_protocol_pushed_samples_total"});
    tail.await({perfRoot, "/data_writers/DDSPerfCPUStats_", "  selection  metrics=1"});
    tail.awaitUntil([&] { return since(statistics) > ofStatistics; });
}

TEST(CommandsToDdsperf, ARegistryRequestSendsTheSnapshot) {
    if (isSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer, so an agent that has one cannot be loaded into it";
    const std::string monitoring = testDomainText(1);
    Process reader({testProgram("interop_Reader"), monitoring}, loopbackOnly());
    const Perf perf(monitoring, testDomainText(2));
    expectAnotherSnapshot(reader, monitoring, "/applications/perf");
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
