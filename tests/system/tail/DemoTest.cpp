// The demonstration that ./dev run starts: it shows two programs, and leaves nothing behind.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "Tail.hpp"

namespace {

Command demo(Command options) {
    Command all{ORX_SOURCE "/tools/demo.sh", ORX_BUILD, "--domain", testDomainText(0), "--monitoring",
        testDomainText(1)};
    all.insert(all.end(), options.begin(), options.end());
    return all;
}

// No process is left in the group that the demonstration had.
bool isGroupEmpty(pid_t group) {
    return kill(-group, 0) != 0 && errno == ESRCH;
}

void expectEmptySoon(pid_t group) {
    for (int i = 0; i < 1000 && !isGroupEmpty(group); ++i)
        usleep(10'000);
    EXPECT_TRUE(isGroupEmpty(group));
    if (!isGroupEmpty(group))
        kill(-group, SIGKILL);
}

void expectBothPrograms(const std::string& output) {
    for (const char* application : {"publisher", "subscriber"}) {
        const std::string path = std::string("/applications/") + application;
        EXPECT_FALSE(linesWith(output, {path + "/domain_participants/", "created"}).empty()) << output;
        EXPECT_FALSE(linesWith(output, {path, "/topics/DDSPerfRDataKS", "registered_type_name"}).empty())
            << output;
    }
    EXPECT_FALSE(linesWith(
        output, {"/data_writers/DDSPerfRDataKS_", "status_publication_matched_1", "current_count=1"})
                     .empty())
        << output;
}

// Values that are polled, of the writer and of the reader that are at work.
void expectPolledValues(const std::string& output) {
    EXPECT_FALSE(linesWith(output, {"  publisher  ", "/data_writers/DDSPerfRDataKS_", "  status_protocol_2  ",
                                       "  pushed_sample_count=", "[periodic]"})
                     .empty())
        << output;
    EXPECT_FALSE(linesWith(output, {"  subscriber  ", "/data_readers/DDSPerfRDataKS_",
                                       "  status_protocol_2  ", "received_sample_count=", "[periodic]"})
                     .empty())
        << output;
    EXPECT_FALSE(linesWith(output, {"process_utilization_memory_usage", "resident_memory_bytes="}).empty())
        << output;
}

TEST(Demo, EndsByItselfAndLeavesNoProcess) {
    if (isSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer, so an agent that has one cannot be loaded into it";
    Process process(demo({"--for", "5"}), loopbackOnly(), Process::Group::ofItsOwn);
    const pid_t group = process.id();
    const Outcome outcome = process.wait();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    expectBothPrograms(outcome.output);
    expectPolledValues(outcome.output);
    EXPECT_EQ(linesWith(outcome.output, {"  periodic  samples ", " lost 0 "}).size(), 1u) << outcome.output;
    EXPECT_EQ(outcome.errors, "");
    const auto entries = linesWith(outcome.output, {"    topics/DDSPerfRDataKS"});
    EXPECT_EQ(entries.size(), 2u) << "the tree at the end\n" << outcome.output;
    expectEmptySoon(group);
}

TEST(Demo, StopsEverythingAtAnInterrupt) {
    if (isSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer, so an agent that has one cannot be loaded into it";
    Process process(demo({}), loopbackOnly(), Process::Group::ofItsOwn);
    const pid_t group = process.id();
    EXPECT_TRUE(process.waitForLine({"status_publication_matched_1", "current_count=1"})) << process.output();
    process.signal(SIGINT);
    const Outcome outcome = process.waitFromNow(15);
    EXPECT_FALSE(outcome.isLate);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    expectEmptySoon(group);
}

TEST(Demo, NamesAWrongArgument) {
    for (const Command& options : {Command{"--for", "soon"}, Command{"--nothing"}}) {
        const Outcome outcome = run(demo(options));
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_NE(outcome.errors.find(options[0]), std::string::npos) << outcome.errors;
    }
}

} // namespace
