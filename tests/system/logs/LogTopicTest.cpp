// From a program to a collector in another process, over the logging topic.
#include <gtest/gtest.h>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/Loopback.hpp"

namespace {

Environment environment() {
    Environment all = loopbackOnly();
    all["PROGRAM_DOMAIN"] = testDomainText(0);
    return all;
}

Command underAgent(const std::string& name, const std::string& program) {
    return {bin("orx-run"), "--domain", testDomainText(1), "--app-name", name, "--", testProgram(program),
        "lines"};
}

// Has the program log until the reader has seen it.
void expectLine(Process& program, const std::vector<std::string>& parts) {
    Process reader({bin("orx-tail"), "--domain", testDomainText(1)}, loopbackOnly());
    EXPECT_TRUE(program.waitForLine({"ready"})) << program.errors();
    for (int i = 0; i < 300 && linesWith(reader.output(), parts).empty(); ++i) {
        program.say("");
        reader.waitForLine(parts, 0.1);
    }
    EXPECT_FALSE(linesWith(reader.output(), parts).empty()) << reader.output() << reader.errors();
}

TEST(LogTopic, SyslogOfAnUnmodifiedProgramArrives) {
    Process program(underAgent("chatty", "logs_LogProgram"), environment());
    expectLine(program, {"chatty", "the tank is almost empty"});
    EXPECT_EQ(program.waitFromNow().exitCode, 0);
}

TEST(LogTopic, AProgramMayLogAsServiceAndAsUser) {
    Process program(underAgent("linked", "logs_Example"), environment());
    expectLine(program, {"linked", "the disk is almost full"});
    expectLine(program, {"linked", "nobody answers"});
    EXPECT_EQ(program.waitFromNow().exitCode, 0);
}

} // namespace
