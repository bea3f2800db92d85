// The examples for Prometheus are what a Prometheus of Debian takes.
#include <gtest/gtest.h>

#include "tests/system/support/Process.hpp"

namespace {

TEST(Examples, AreTakenByPrometheus) {
    if (run({"promtool", "--version"}).exitCode != 0)
        GTEST_SKIP() << "there is no promtool";
    const Outcome outcome = run({"promtool", "check", "config", ORX_SOURCE "/examples/prometheus.yml"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.errors;
    EXPECT_FALSE(linesWith(outcome.output, {"SUCCESS", "rules found"}).empty()) << outcome.output;
}

} // namespace
