// From an unmodified program to another process, over the real engine.
#include <gtest/gtest.h>

#include "Record.hpp"

namespace {

size_t countWith(const std::string& text, const std::vector<std::string>& parts) {
    return linesWith(text, parts).size();
}

TEST(EndToEnd, EntitiesOfProgramsArriveAsEvents) {
    if (isSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer";
    const std::string programs = testDomainText(0);
    const std::string domain = testDomainText(1);
    Process tail({bin("orx-tail"), "--domain", domain, "--for", "9"}, {});
    Process ping({bin("orx-run"), "--domain", domain, "--app-name", "ping", "ddsperf", "-D4", "-i", programs,
                     "ping", "100Hz"},
        {});
    Process pong(
        {bin("orx-run"), "--domain", domain, "--app-name", "pong", "ddsperf", "-D5", "-i", programs, "pong"},
        {});
    const Outcome pinged = ping.wait();
    const Outcome ponged = pong.wait();
    const Outcome seen = tail.wait();
    EXPECT_EQ(pinged.exitCode, 0) << pinged.errors;
    EXPECT_EQ(ponged.exitCode, 0) << ponged.errors;
    EXPECT_EQ(pinged.errors, "");
    EXPECT_EQ(ponged.errors, "");
    EXPECT_EQ(seen.exitCode, 0) << seen.errors;
    for (const std::string application : {"ping", "pong"}) {
        const std::string path = "/applications/" + application + "/domain_participants/participant_";
        EXPECT_GT(countWith(seen.output, {path, "domain_id", " " + programs + " "}), 0u) << application;
        EXPECT_GT(countWith(seen.output, {path, "product_version", "major=0", "minor=10", "release=2"}), 0u)
            << application;
        EXPECT_GT(
            countWith(seen.output, {path, "/topics/DDSPerfRPingKS", "registered_type_name", "KeyedSeq"}), 0u);
        EXPECT_GT(countWith(seen.output, {path, "/data_writers/DDSPerfRPingKS_",
                                             "status_publication_matched_1", "current_count=1"}),
            0u);
        EXPECT_GT(countWith(seen.output, {path, "/data_readers/DDSPerfRPingKS_",
                                             "status_subscription_matched_1", "current_count=1"}),
            0u);
        EXPECT_GT(countWith(seen.output, {path, "deleted"}), 0u) << application << " ended";
    }
    EXPECT_EQ(countWith(seen.output, {"DCPS"}), 0u) << "the monitoring's own entities are not observed";
}

} // namespace
