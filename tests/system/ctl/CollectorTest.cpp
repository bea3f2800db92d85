// orxctl with a real collector and monitored programs: each command, and what becomes of it.
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/CollectorEnd.hpp"
#include "tests/system/support/Loopback.hpp"

namespace {

using Json = nlohmann::json;
constexpr double bound = 90;

// A program under the agent; see tests/system/interop/Application.c.
class Application : public Process {
public:
    explicit Application(const std::string& name)
        : Process({bin("orx-run"), "--domain", testDomainText(1), "--app-name", name, "--polling-period",
                      "0.2", "--", testProgram("interop_Application"), testDomainText(0)},
              loopbackOnly()) {
        say("participant p");
        EXPECT_TRUE(waitForLine({"done participant p"}, bound)) << output() << errors();
    }
};

class Collector : public testing::Test {
protected:
    void SetUp() override {
        startCollector("127.0.0.1:0");
        first = std::make_unique<Application>("first");
        second = std::make_unique<Application>("second");
        ASSERT_TRUE(eventually({"tree"}, [](const Outcome& outcome) {
            return linesWith(outcome.output, {"application "}).size() == 2 &&
                   linesWith(outcome.output, {"data_writer "}).size() == 2;
        }));
    }

    void startCollector(const std::string& address) {
        collector =
            std::make_unique<Process>(Command{"sh", "-c", "exec \"$0\" \"$@\" 2>&1", bin("orx-collector"),
                                          "--domain", testDomainText(1), "--listen", address},
                loopbackOnly());
        ASSERT_TRUE(collector->waitForLine({"listening on http://"}, bound)) << collector->output();
        const std::string line = linesWith(collector->output(), {"listening on "}).front();
        url = line.substr(line.find("http://"));
    }
    // A stream that is not there yet misses an application that comes: so one after the other comes.
    bool showsOneThatAppears(Process& events) {
        for (int i = 0; i < 10; ++i) {
            const std::string name = "one_of_many_" + std::to_string(count++);
            const Application another(name);
            if (events.waitForLine({name, "application_appeared"}, 15))
                return true;
        }
        ADD_FAILURE() << events.output() << events.errors();
        return false;
    }

    Outcome ctl(Command words) {
        words.insert(words.begin(), {bin("orxctl"), "--collector", url, "--timeout", "60"});
        return run(words, {}, bound);
    }
    Json json(Command words) {
        words.push_back("--json");
        return Json::parse(ctl(std::move(words)).output, nullptr, false);
    }
    bool eventually(const Command& words, const std::function<bool(const Outcome&)>& holds) {
        Outcome outcome;
        for (int i = 0; i < 300; ++i) {
            outcome = ctl(words);
            if (holds(outcome))
                return true;
            usleep(200'000);
        }
        ADD_FAILURE() << outcome.output << outcome.errors;
        return false;
    }
    static bool has(const Outcome& outcome, const std::string& text) {
        return outcome.output.find(text) != std::string::npos;
    }

    std::unique_ptr<Process> collector;
    std::unique_ptr<Application> first;
    std::unique_ptr<Application> second;
    std::string url;
    int count = 0;
};

TEST_F(Collector, IsShownByEveryView) {
    const Outcome applications = ctl({"applications"});
    EXPECT_EQ(applications.exitCode, 0) << applications.errors;
    EXPECT_FALSE(linesWith(applications.output, {"first "}).empty()) << applications.output;
    EXPECT_FALSE(linesWith(applications.output, {"second "}).empty());

    const Json listed = json({"applications"});
    ASSERT_EQ(listed["applications"].size(), 2u);
    const std::string guid = listed["applications"][0]["guid"];
    EXPECT_EQ(listed["applications"][0]["name"], "first");

    const Outcome tree = ctl({"tree", "first"});
    EXPECT_EQ(linesWith(tree.output, {"application "}).size(), 1u) << tree.output;
    EXPECT_TRUE(has(tree, "application first"));
    EXPECT_TRUE(has(tree, "domain_participant "));

    for (const std::string& path : {std::string("first"), std::string("/applications/first"), guid}) {
        const Outcome shown = ctl({"show", path});
        EXPECT_EQ(shown.exitCode, 0) << shown.errors;
        EXPECT_FALSE(linesWith(shown.output, {"  guid ", guid}).empty()) << shown.output;
    }
    const Json writers = json({"show", "/applications/first//data_writers/*"});
    ASSERT_FALSE(writers["resources"].empty());
    EXPECT_TRUE(writers["resources"][0].contains("metrics"));

    const Outcome status = ctl({"status"});
    EXPECT_EQ(status.exitCode, 0);
    EXPECT_FALSE(linesWith(status.output, {"applications ", "2"}).empty()) << status.output;
}

TEST_F(Collector, IsToldApartFromWhatMatchesNothing) {
    EXPECT_EQ(ctl({"show", "nobody"}).exitCode, 3);
    EXPECT_EQ(ctl({"tree", "/applications/nobody"}).exitCode, 3);
    EXPECT_EQ(ctl({"show", "00000000.00000000.00000000.00000001"}).exitCode, 3);
    EXPECT_EQ(ctl({"registry", "nobody"}).exitCode, 3);
    EXPECT_EQ(ctl({"metrics", "set", "nobody", "+*"}).exitCode, 3);
    EXPECT_EQ(ctl({"logging", "forwarding", "nobody", "user=debug"}).exitCode, 3);
    EXPECT_EQ(ctl({"show", "/applications///x"}).exitCode, 2);
    EXPECT_EQ(ctl({"events", "--class", "nonsense", "--for", "1"}).exitCode, 2);
}

TEST_F(Collector, ChangesWhichMetricsAreThere) {
    const std::string path = "/applications/first//data_writers/*";
    const std::string other = "/applications/second//data_writers/*";
    const Outcome set =
        ctl({"metrics", "set", path, "+dds_data_writer_protocol_*", "-dds_data_writer_protocol_sent_*"});
    EXPECT_EQ(set.exitCode, 0) << set.errors;
    EXPECT_TRUE(has(set, "done: 1 application")) << set.output;
    EXPECT_TRUE(eventually({"show", path}, [](const Outcome& shown) {
        return has(shown, "dds_data_writer_protocol_pushed_samples_total") &&
               !has(shown, "protocol_sent_heartbeats") && !has(shown, "publication_matched");
    }));
    EXPECT_TRUE(has(ctl({"show", other}), "publication_matched"))
        << "the other application keeps what it had";
    EXPECT_EQ(ctl({"metrics", "update", path, "+dds_data_writer_publication_matched_*"}).exitCode, 0);
    EXPECT_TRUE(eventually({"show", path}, [](const Outcome& shown) {
        return has(shown, "publication_matched_current_count") && has(shown, "protocol_pushed_samples_total");
    }));
    EXPECT_EQ(json({"metrics", "update", "first", "-*"})["exit_code"], 0);
}

TEST_F(Collector, ChangesLevelsAndRequestsTheRegistry) {
    EXPECT_EQ(ctl({"logging", "collection", "first", "user=debug"}).exitCode, 0);
    EXPECT_EQ(ctl({"logging", "forwarding", "first", "user=debug", "middleware=error"}).exitCode, 0);
    EXPECT_TRUE(eventually({"applications"}, [](const Outcome& outcome) {
        return linesWith(outcome.output, {"first ", "user:debug", "middleware:error"}).size() == 1;
    }));
    const Outcome registry = ctl({"registry", "//*"});
    EXPECT_EQ(registry.exitCode, 0) << registry.errors;
    EXPECT_TRUE(has(registry, "done: 2 applications")) << registry.output;
}

TEST_F(Collector, StreamsWhatHappens) {
    Process events({bin("orxctl"), "--collector", url, "events", "-f"});
    Process logs({bin("orxctl"), "--collector", url, "logs", "-f", "--json"});
    EXPECT_TRUE(showsOneThatAppears(events));
    EXPECT_TRUE(events.waitForLine({"one_of_many_", "application_vanished"}, bound)) << events.output();
    for (Process* each : {&events, &logs}) {
        each->signal(SIGINT);
        EXPECT_EQ(each->waitFromNow().exitCode, 0);
    }
}

TEST_F(Collector, IsFollowedWhenItComesAgain) {
    Process events({bin("orxctl"), "--collector", url, "events", "-f"});
    EXPECT_TRUE(showsOneThatAppears(events));
    collector->signal(SIGTERM);
    EXPECT_TRUE(hasEnded(collector->waitFromNow()));
    EXPECT_EQ(ctl({"status"}).exitCode, 4);
    startCollector(url.substr(std::string("http://").size()));
    EXPECT_TRUE(showsOneThatAppears(events));
    events.signal(SIGINT);
    const Outcome outcome = events.waitFromNow();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_FALSE(linesWith(outcome.errors, {"trying again"}).empty()) << outcome.errors;
    EXPECT_FALSE(linesWith(outcome.errors, {"the collector is there again"}).empty()) << outcome.errors;
}

} // namespace
