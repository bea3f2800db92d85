// The program orxctl: streams end at signals and closed pipes, and its answers go where they belong.
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/system/support/Process.hpp"
#include "tests/unit/ctl/FakeCollector.hpp"

namespace {

constexpr char message[] = R"(event: log
id: 1
data: {"id": 1, "time": "2026-11-21T12:40:31.924000Z", "application": "a", "message": "hello"}

)";

class Program : public testing::Test {
protected:
    Program()
        : fake([this](const httplib::Request& request, httplib::Response& response) {
              if (request.path == "/api/v1/status")
                  FakeCollector::json(response, R"({"version": "1"})");
              else
                  fake.stream(response, {message}, FakeCollector::Then::stay);
          }) {}
    Command ctl(Command words) {
        words.insert(words.begin(), {bin("orxctl"), "--collector", fake.url()});
        return words;
    }
    FakeCollector fake;
};

TEST_F(Program, EndsItsStreamsWellAtASignal) {
    for (const int number : {SIGINT, SIGTERM}) {
        for (const std::string command : {"logs", "events"}) {
            Process process(ctl({command, "-f"}));
            ASSERT_TRUE(process.waitForLine({"  a  "})) << process.errors();
            process.signal(number);
            const Outcome outcome = process.waitFromNow();
            EXPECT_FALSE(outcome.isLate);
            EXPECT_EQ(outcome.exitCode, 0) << outcome.signal << outcome.errors;
            EXPECT_EQ(outcome.errors, "");
        }
    }
}

TEST_F(Program, EndsAStreamAfterItsTime) {
    const Outcome outcome = run(ctl({"logs", "-f", "--for", "0.3"}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_FALSE(linesWith(outcome.output, {"hello"}).empty());
    EXPECT_EQ(run(ctl({"events", "--for", "0.3"})).exitCode, 0);
}

TEST_F(Program, EndsWhileItWaitsForACollectorThatIsGone) {
    auto going = std::make_unique<FakeCollector>([&](const httplib::Request&, httplib::Response& response) {
        response.set_content(message, "text/event-stream");
    });
    Process process({bin("orxctl"), "--collector", going->url(), "logs", "-f"});
    ASSERT_TRUE(process.waitForLine({"hello"})) << process.errors();
    going.reset();
    process.signal(SIGINT);
    const Outcome outcome = process.waitFromNow();
    EXPECT_FALSE(outcome.isLate);
    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(Program, TellsThatThereIsNoCollector) {
    const Outcome outcome = run({bin("orxctl"), "--collector", "http://127.0.0.1:1", "tree"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors,
        "orxctl: no collector at http://127.0.0.1:1: connection refused; start one with orx-collector\n");
}

TEST_F(Program, UsesColoursOnlyWhenToldWhereNoTerminalIs) {
    EXPECT_EQ(run(ctl({"status"})).output.find('\x1B'), std::string::npos);
    EXPECT_NE(run(ctl({"status", "--color", "always"})).output.find('\x1B'), std::string::npos);
    EXPECT_EQ(run(ctl({"status", "--color", "never"})).output.find('\x1B'), std::string::npos);
}

TEST_F(Program, TellsHelpAndVersion) {
    const Outcome help = run({bin("orxctl"), "--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* command :
        {"applications", "tree", "show", "metrics", "logging", "registry", "logs", "events", "status"})
        EXPECT_FALSE(linesWith(help.output, {std::string("  ") + command + " "}).empty()) << command;
    EXPECT_EQ(linesOf(run({bin("orxctl"), "--version"}).output).size(), 1u);
    EXPECT_EQ(run({bin("orxctl")}).exitCode, 2);
    EXPECT_EQ(run({bin("orxctl"), "fly"}).exitCode, 2);
}

} // namespace
