// The demonstration that ./dev run starts: it shows programs, and leaves nothing behind.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/Loopback.hpp"

namespace {

// Bounds are for a machine that does much else.
constexpr double bound = 150;

class Demo : public testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/orx-demo-test.XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
        environment = loopbackOnly();
        environment["TMPDIR"] = folder;
    }
    void TearDown() override {
        EXPECT_EQ(filesOf(folder), 0) << "the demonstration left files behind";
        std::filesystem::remove_all(folder);
    }

    static long filesOf(const std::string& path) {
        return std::distance(
            std::filesystem::directory_iterator(path), std::filesystem::directory_iterator());
    }
    static Command demo(Command options) {
        Command all{ORX_SOURCE "/tools/demo.sh", ORX_BUILD, "--domain", testDomainText(0), "--monitoring",
            testDomainText(1)};
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }
    // Port 0 lets the collector find one: tests of other checkouts may have the usual one.
    static Command demoOnAnyPort(Command options) {
        options.insert(options.end(), {"--port", "0"});
        return demo(options);
    }

    std::string folder;
    Environment environment;
};

// No process is left in the group that the demonstration had.
void expectEmptySoon(pid_t group) {
    const auto isEmpty = [group] { return kill(-group, 0) != 0 && errno == ESRCH; };
    for (int i = 0; i < 3000 && !isEmpty(); ++i)
        usleep(10'000);
    EXPECT_TRUE(isEmpty());
    if (!isEmpty())
        kill(-group, SIGKILL);
}

bool skipsSanitized() {
    return isSanitized(); // ddsperf has no sanitizer, so an agent that has one cannot be loaded into it
}

TEST_F(Demo, ShowsFourProgramsAndLeavesNoProcess) {
    if (skipsSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer";
    Process process(demoOnAnyPort({"--for", "3"}), environment, Process::Group::ofItsOwn);
    const pid_t group = process.id();
    const Outcome outcome = process.wait(bound);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.errors;
    EXPECT_EQ(linesWith(outcome.output, {"Prometheus", "http://127.0.0.1:", "/metrics"}).size(), 1u)
        << outcome.output;
    for (const std::string name : {"pinger", "ponger", "publisher", "subscriber"})
        EXPECT_EQ(linesWith(outcome.output, {"application " + name + "  "}).size(), 1u) << outcome.output;
    EXPECT_FALSE(
        linesWith(outcome.output, {"data_writer DDSPerfRDataKS_", "DDSPerfRDataKS, KeyedSeq"}).empty())
        << outcome.output;
    EXPECT_FALSE(
        linesWith(outcome.output, {" publisher ", " data_writer ", " DDSPerfRDataKS_", " samples"}).empty())
        << outcome.output;
    EXPECT_FALSE(
        linesWith(outcome.output, {" subscriber ", " data_reader ", " DDSPerfRDataKS_", " samples"}).empty())
        << outcome.output;
    EXPECT_EQ(outcome.output.find('\x1B'), std::string::npos) << "nobody steers what is no terminal";
    EXPECT_EQ(outcome.errors, "");
    expectEmptySoon(group);
}

TEST_F(Demo, StopsEverythingAtAnInterrupt) {
    if (skipsSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer";
    Process process(demoOnAnyPort({}), environment, Process::Group::ofItsOwn);
    const pid_t group = process.id();
    EXPECT_TRUE(process.waitForLine({" publisher ", " samples", " matched"}, bound))
        << process.output() << process.errors();
    process.signal(SIGINT);
    const Outcome outcome = process.waitFromNow(60);
    EXPECT_FALSE(outcome.isLate);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    expectEmptySoon(group);
}

TEST_F(Demo, TakesAFreePortWhenItsOwnIsTaken) {
    if (skipsSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer";
    const int other = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(other, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(other, 1), 0);
    getsockname(other, reinterpret_cast<sockaddr*>(&address), &length);
    const std::string port = std::to_string(ntohs(address.sin_port));
    Process process(demo({"--for", "0.1", "--port", port}), environment, Process::Group::ofItsOwn);
    const pid_t group = process.id();
    const Outcome outcome = process.wait(bound);
    close(other);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(linesWith(outcome.output, {"port " + port + " is taken"}).size(), 1u) << outcome.output;
    EXPECT_EQ(linesWith(outcome.output, {"Prometheus", ":" + port + "/"}).size(), 0u) << outcome.output;
    expectEmptySoon(group);
}

// A program of that name that fails stands before the real one.
TEST_F(Demo, TellsWhatAPartThatFailedHasSaid) {
    if (skipsSanitized())
        GTEST_SKIP() << "the shell has no sanitizer";
    char bin[] = "/tmp/orx-demo-bin.XXXXXX";
    ASSERT_NE(mkdtemp(bin), nullptr);
    const std::string program = std::string(bin) + "/ddsperf";
    std::ofstream(program) << "#!/bin/sh\necho no network on this ship\nexit 9\n";
    chmod(program.c_str(), 0755);
    environment["PATH"] = std::string(bin) + ":" + getenv("PATH");
    Process process(demoOnAnyPort({}), environment, Process::Group::ofItsOwn);
    const pid_t group = process.id();
    const Outcome outcome = process.wait(bound);
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_FALSE(linesWith(outcome.errors, {"ended with status 9"}).empty()) << outcome.errors;
    EXPECT_FALSE(linesWith(outcome.errors, {"no network on this ship"}).empty()) << outcome.errors;
    expectEmptySoon(group);
    std::filesystem::remove_all(bin);
}

TEST_F(Demo, ShowsWhatIsOnTheWireWhenAskedTo) {
    if (skipsSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer";
    Process process(demo({"--tail", "--for", "5"}), environment, Process::Group::ofItsOwn);
    const pid_t group = process.id();
    const Outcome outcome = process.wait(bound);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    for (const std::string application : {"publisher", "subscriber"})
        EXPECT_FALSE(
            linesWith(outcome.output, {"/applications/" + application + "/domain_participants/", "created"})
                .empty())
            << outcome.output;
    EXPECT_EQ(linesWith(outcome.output, {"  periodic  samples ", " lost 0 "}).size(), 1u) << outcome.output;
    EXPECT_EQ(linesWith(outcome.output, {"    topics/DDSPerfRDataKS"}).size(), 2u) << outcome.output;
    EXPECT_EQ(outcome.errors, "");
    expectEmptySoon(group);
}

TEST_F(Demo, NamesAWrongArgument) {
    for (const Command& options : {Command{"--for", "soon"}, Command{"--nothing"}, Command{"--port", "x"}}) {
        const Outcome outcome = run(demo(options), environment);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_NE(outcome.errors.find(options[0]), std::string::npos) << outcome.errors;
    }
}

} // namespace
