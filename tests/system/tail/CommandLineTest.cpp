// Options of orx-tail, and how it ends.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Tail.hpp"

namespace {

// How much longer than asked an end may take here.
double slack() {
    return isSanitized() ? 20 : 5;
}

TEST(CommandLine, EndsByItself) {
    const Outcome outcome = Tail(testDomainText(1), {"--for", "0.5"}).wait();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
    EXPECT_GE(outcome.seconds, 0.5);
    EXPECT_LT(outcome.seconds, 0.5 + slack());
}

TEST(CommandLine, EndsAtASignal) {
    for (const int number : {SIGINT, SIGTERM}) {
        Tail tail(testDomainText(2));
        Writer writer(testDomainText(2), 9);
        writer.command("match 1"); // it runs
        tail.signal(number);
        const Outcome outcome = tail.waitFromNow(slack());
        EXPECT_FALSE(outcome.isLate);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(outcome.errors, "");
    }
}

// A pipe that is full, and stays so: whoever prints waits.
TEST(CommandLine, EndsAtASignalWhileItsReaderIsStuck) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    const std::string filling(1024, ' ');
    while (write(ends[1], filling.data(), filling.size()) > 0) {
    }
    ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
    const std::string domain = testDomainText(2);
    Process tail({"sh", "-c", "exec \"$@\" >&" + std::to_string(ends[1]), "sh", bin("orx-tail"), "--domain",
                     domain, "--stats"},
        loopbackOnly());
    Writer writer(domain, 9);
    writer.command("match 1"); // it runs
    siginfo_t end{};
    for (int i = 0; i < patience * 10 && end.si_pid == 0; ++i) {
        tail.signal(SIGTERM);
        usleep(100'000);
        waitid(P_PID, static_cast<id_t>(tail.id()), &end, WEXITED | WNOHANG | WNOWAIT);
    }
    EXPECT_EQ(end.si_code, CLD_EXITED);
    EXPECT_EQ(end.si_status, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(CommandLine, EndsWhenNobodyReads) {
    Tail tail(testDomainText(2));
    Writer writer(testDomainText(2), 9);
    writer.command("match 1");
    writer.command("create application 1 0 a");
    tail.await({"created"});
    tail.closeOutput();
    writer.command("create participant 2 1 p");
    writer.command("host ahost 1");
    const Outcome outcome = tail.waitFromNow();
    EXPECT_FALSE(outcome.isLate);
    EXPECT_EQ(outcome.exitCode, 0);
}

// A closed stream is none that a socket of the engine may take the place of.
TEST(CommandLine, TellsThatItCannotWrite) {
    const std::pair<std::string, std::string> outputs[] = {
        {"/dev/full", "No space left on device"}, {"&-", "Bad file descriptor"}};
    for (const auto& [target, reason] : outputs) {
        const Outcome outcome = run({"sh", "-c", "exec \"$@\" >" + target, "sh", bin("orx-tail"), "--domain",
                                        testDomainText(1), "--for", "0", "--stats"},
            loopbackOnly());
        EXPECT_EQ(outcome.exitCode, 1) << target;
        EXPECT_NE(outcome.errors.find("orx-tail: cannot write: " + reason), std::string::npos)
            << outcome.errors;
    }
}

TEST(CommandLine, NamesAWrongOption) {
    struct Wrong {
        Command options;
        std::string named;
    };
    const std::vector<Wrong> wrong = {{{"--colour"}, "--colour"}, {{"--for", "soon"}, "--for"},
        {{"--for", "-1"}, "--for"}, {{"--for"}, "--for"}, {{"--for", "nan"}, "--for"},
        {{"--domain", "233"}, "--domain"}, {{"--domain", "two"}, "--domain"}, {{"surplus"}, "surplus"},
        {{"--peers", ""}, "--peers"}, {{"--peers", "a,,b"}, "--peers"},
        {{"--peers", "<a>"}, "'<a>' is no address"}, {{"--peers", "a", "surplus"}, "surplus"}};
    for (const Wrong& each : wrong) {
        Command command{bin("orx-tail")};
        command.insert(command.end(), each.options.begin(), each.options.end());
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.exitCode, 2) << each.named;
        EXPECT_NE(outcome.errors.find(each.named), std::string::npos) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
    }
    const Outcome variable = run({bin("orx-tail"), "--for", "0"}, {{"ORX_DOMAIN", "many"}});
    EXPECT_EQ(variable.exitCode, 2);
    EXPECT_NE(variable.errors.find("many"), std::string::npos) << variable.errors;
}

TEST(CommandLine, TellsHelpAndVersion) {
    const Outcome help = run({bin("orx-tail"), "--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* option : {"--domain", "--peers", "--for", "--json", "--version"})
        EXPECT_NE(help.output.find(option), std::string::npos) << option;
    const Outcome version = run({bin("orx-tail"), "--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(linesOf(version.output).size(), 1u);
}

} // namespace
