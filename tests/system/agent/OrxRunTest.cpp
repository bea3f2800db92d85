// orx-run as people use it: its options, its messages, its exit codes.
#include <gtest/gtest.h>
#include <signal.h>

#include "Record.hpp"

namespace {

Outcome orxRun(std::vector<std::string> arguments, const Environment& environment = {}) {
    arguments.insert(arguments.begin(), bin("orx-run"));
    return run(arguments, environment);
}

void expectRefused(const std::vector<std::string>& arguments, const std::string& message) {
    const Outcome outcome = orxRun(arguments);
    EXPECT_EQ(outcome.exitCode, 2) << message;
    EXPECT_EQ(linesOf(outcome.errors).at(0), "orx-run: " + message);
    EXPECT_EQ(outcome.output, "") << "the program has not run";
}

TEST(OrxRun, RefusesWrongOptionsBeforeTheProgramStarts) {
    const std::vector<std::string> program = {"--", "echo", "ran"};
    const auto with = [&](std::vector<std::string> options) {
        options.insert(options.end(), program.begin(), program.end());
        return options;
    };
    expectRefused(with({"--domain", "233"}), "--domain: '233' is no domain: a number from 0 to 232 is");
    expectRefused(with({"--domain", "x"}), "--domain: 'x' is no domain: a number from 0 to 232 is");
    expectRefused(
        with({"--app-name", ""}), "--app-name: an application's name has 1 to 255 bytes, and '' has 0");
    expectRefused(with({"--peers", "a,,b"}), "--peers: 'a,,b' holds an empty address");
    expectRefused(
        with({"--select", "//*"}), "--select: selection '//*' has no '=' between expression and patterns");
    expectRefused(with({"--select", "//*=dds_*", "--select", "a///b=dds_*"}),
        "--select: expression 'a///b' holds more than two '/' in a row");
    expectRefused(with({"--select", "/writers/w=dds_*"}),
        "--select: 'writers' in expression '/writers/w' names no class of resources");
    expectRefused(with({"--verbosity", "loud"}),
        "--verbosity: 'loud' is no verbosity: silent, error, warning, info and debug are");
    expectRefused(
        with({"--polling-period", "0"}), "--polling-period: '0' is no number of seconds from 0.01 to 86400");
    expectRefused(
        with({"--event-period", "-1"}), "--event-period: '-1' is no number of seconds from 0 to 3600");
    expectRefused(with({"--logging-period", "fast"}),
        "--logging-period: 'fast' is no number of seconds from 0.001 to 3600");
    expectRefused(
        with({"--snapshot-delay", "1h"}), "--snapshot-delay: '1h' is no number of seconds from 0 to 3600");
    expectRefused(with({"--event-queues", "0"}), "--event-queues: '0' is no number from 1 to 64");
    expectRefused(with({"--logging-queues", "65"}), "--logging-queues: '65' is no number from 1 to 64");
    expectRefused(
        with({"--event-queue-size", "12"}), "--event-queue-size: '12' is no number from 1024 to 268435456");
    expectRefused(with({"--logging-queue-size", "1.5"}),
        "--logging-queue-size: '1.5' is no number from 1024 to 268435456");
    expectRefused(with({"--log-history", "all"}), "--log-history: 'all' is no number from 0 to 100000");
    expectRefused(with({"--logs-per-update", "0"}), "--logs-per-update: '0' is no number from 1 to 10000");
    const std::string levels = "is no level: silent, emergency, alert, critical, error, warning, notice, "
                               "informational and debug are";
    expectRefused(with({"--forward", "loud"}), "--forward: 'loud' " + levels);
    expectRefused(with({"--collect", "user=loud"}), "--collect: 'loud' " + levels);
    expectRefused(with({"--forward", "users=debug"}),
        "--forward: 'users' is no facility: user, security, service and middleware are");
    expectRefused(
        with({"--collect", "user=debug,error"}), "--collect: 'error' has no '=' between facility and level");
    expectRefused(with({"--nonsense"}), "unknown option '--nonsense'");
    expectRefused(with({"-abc"}), "unknown option '-abc'");
    expectRefused(with({"--nonsense=1"}), "unknown option '--nonsense=1'");
    expectRefused(with({"--off=1"}), "option '--off' takes no value");
    expectRefused({"--domain"}, "option '--domain' needs a value");
    expectRefused({}, "no program is named");
    expectRefused({"--"}, "no program is named");
}

TEST(OrxRun, RefusesWrongVariables) {
    const Outcome outcome = orxRun({"echo", "ran"}, {{"ORX_AGENT_SELECT", "//*=dds_*\n//x"}});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(linesOf(outcome.errors).at(0),
        "orx-run: ORX_AGENT_SELECT: selection '//x' has no '=' between expression and patterns");
    EXPECT_EQ(outcome.output, "");
}

TEST(OrxRun, IsReplacedByTheProgram) {
    EXPECT_EQ(orxRun({"--", "sh", "-c", "exit 23"}).exitCode, 23);
    EXPECT_EQ(orxRun({"sh", "-c", "kill -TERM $$"}).signal, SIGTERM);
    EXPECT_EQ(orxRun({"echo", "--domain", "900"}).output, "--domain 900\n") << "options end at the program";
}

TEST(OrxRun, TellsThatAProgramCannotBeRun) {
    EXPECT_EQ(orxRun({"--", "no-such-program-here"}).exitCode, 127);
    EXPECT_EQ(orxRun({"--", "/tmp/no/such/program"}).exitCode, 127);
    EXPECT_EQ(orxRun({"--", "/tmp"}).exitCode, 126);
    EXPECT_EQ(orxRun({"--", "no-such-program-here"}).errors,
        "orx-run: no-such-program-here: No such file or directory\n");
}

TEST(OrxRun, ExplainsItself) {
    const Outcome help = orxRun({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* text : {"--off  [ORX_AGENT_OFF]", "126", "127"})
        EXPECT_NE(help.output.find(text), std::string::npos) << text;
    EXPECT_EQ(orxRun({"--version"}).exitCode, 0);
}

// The lines of the help that tell an option, up to the next option.
std::string helpOf(const std::string& help, const std::string& option) {
    const size_t begin = help.find("\n  --" + option + " ");
    return begin == std::string::npos ? "" : help.substr(begin, help.find("\n  --", begin + 1) - begin);
}

TEST(OrxRun, ExplainsEveryOptionWithVariableUnitAndDefault) {
    const std::string help = orxRun({"--help"}).output;
    const struct {
        const char* option;
        const char* argument;
        const char* variable;
        const char* unit;
        const char* standard;
    } options[] = {
        {"domain", "N", "DOMAIN", "0 to 232", "(default 2)"},
        {"app-name", "NAME", "APP_NAME", "1 to 255 bytes", "(default:"},
        {"peers", "LIST", "PEERS", "addresses", "(default: none)"},
        {"select", "SELECTION", "SELECT", "EXPRESSION=PATTERN", "Default:"},
        {"polling-period", "SECONDS", "POLLING_PERIOD", "0.01 to 86400 s", "(default 5)"},
        {"event-period", "SECONDS", "EVENT_PERIOD", "0 to 3600 s", "(default 0.1)"},
        {"logging-period", "SECONDS", "LOGGING_PERIOD", "0.001 to 3600 s", "(default 0.1)"},
        {"snapshot-delay", "SECONDS", "SNAPSHOT_DELAY", " s (default", "(default 1)"},
        {"event-queues", "N", "EVENT_QUEUES", "1 to 64", "(default 5)"},
        {"logging-queues", "N", "LOGGING_QUEUES", "1 to 64", "(default 5)"},
        {"event-queue-size", "BYTES", "EVENT_QUEUE_SIZE", "bytes", "(default 10240)"},
        {"logging-queue-size", "BYTES", "LOGGING_QUEUE_SIZE", "BYTES", "(default 10240)"},
        {"queue-limit", "BYTES", "QUEUE_LIMIT", "bytes", "(default 67108864)"},
        {"log-history", "N", "LOG_HISTORY", "log messages", "(default 128)"},
        {"logs-per-update", "N", "LOGS_PER_UPDATE", "log messages", "(default 512)"},
        {"forward", "LEVELS", "FORWARD", "informational, debug", "(default warning)"},
        {"collect", "LEVELS", "COLLECT", "--forward", "(default warning)"},
        {"verbosity", "LEVEL", "VERBOSITY", "silent, error, warning, info", "(default warning)"},
        {"library", "FILE", "LIBRARY", "library", "(default: liborxmonitoring2d.so.0"},
    };
    for (const auto& each : options) {
        const std::string text = helpOf(help, each.option);
        EXPECT_EQ(text.find(std::string("\n  --") + each.option + " " + each.argument + "  [ORX_AGENT_" +
                            each.variable + "]\n"),
            0u)
            << each.option;
        EXPECT_NE(text.find(each.unit), std::string::npos) << text;
        EXPECT_NE(text.find(each.standard), std::string::npos) << text;
    }
    constexpr size_t others = 3; // --off, --help and --version
    EXPECT_EQ(linesWith(help, {"  --"}).size(), std::size(options) + others) << "an option that is not here";
}

TEST(OrxRun, SetsVariablesOfTheSameMeaning) {
    const Outcome outcome = orxRun({"--domain", "9", "--app-name", "a b", "--select", "//*=*", "--select",
        "//T=!*", "--peers", "10.0.0.1", "--", "env"});
    EXPECT_NE(outcome.output.find("ORX_AGENT_DOMAIN=9\n"), std::string::npos);
    EXPECT_NE(outcome.output.find("ORX_AGENT_APP_NAME=a b\n"), std::string::npos);
    EXPECT_NE(outcome.output.find("ORX_AGENT_SELECT=//*=*\n//T=!*\n"), std::string::npos);
    EXPECT_NE(outcome.output.find("ORX_AGENT_PEERS=10.0.0.1\n"), std::string::npos);
    EXPECT_NE(outcome.output.find("liborxshim.so"), std::string::npos);
}

TEST(OrxRun, KeepsWhatIsPreloadedAlready) {
    if (isSanitized())
        GTEST_SKIP() << "sanitizers have a say in what is preloaded";
    const Outcome outcome = orxRun({"--", "env"}, {{"LD_PRELOAD", "libc.so.6"}});
    EXPECT_NE(outcome.output.find("/liborxshim.so:libc.so.6\n"), std::string::npos) << outcome.output;
}

TEST(OrxRun, OffPreloadsNothing) {
    const Outcome outcome = orxRun({"--off", "--", "env"});
    EXPECT_EQ(outcome.output.find("LD_PRELOAD"), std::string::npos);
    EXPECT_NE(outcome.output.find("ORX_AGENT_OFF=1"), std::string::npos);
}

} // namespace
