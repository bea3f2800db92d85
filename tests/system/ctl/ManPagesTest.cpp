// The man pages: they can be read without a warning, and tell every option and command that the programs
// have.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "tests/system/support/Process.hpp"

namespace {

const std::filesystem::path folder = ORX_SOURCE "/docs/man";

std::string contentOf(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return std::regex_replace(
        std::regex_replace(content.str(), std::regex("\\\\-"), "-"), std::regex("\\\\f[BIR]"), "");
}

std::set<std::string> found(const std::string& text, const std::string& pattern) {
    std::set<std::string> all;
    const std::regex expression(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        all.insert((*at)[1]);
    return all;
}

std::set<std::string> optionsOf(const Command& program) {
    Command command = program;
    command.push_back("--help");
    return found(run(command).output, "(?:^|\\n| |,)(--[a-z][a-z-]*)");
}

void expectOptions(const std::string& page, const std::set<std::string>& options) {
    for (const std::string& option : options)
        EXPECT_TRUE(std::regex_search(page, std::regex(option + "(?![a-z-])"))) << option;
}

TEST(ManPages, TellEveryOption) {
    std::set<std::string> programs;
    for (const auto& each : std::filesystem::directory_iterator(folder)) {
        const std::string program = each.path().stem();
        SCOPED_TRACE(program);
        programs.insert(program);
        const std::set<std::string> options = optionsOf({bin(program)});
        EXPECT_GE(options.size(), 4u);
        expectOptions(contentOf(each.path()), options);
    }
    for (const char* program : {"orxctl", "orx-run", "orx-tail", "orx-send"})
        EXPECT_TRUE(programs.count(program)) << program << " has no page";
}

TEST(ManPages, TellEveryCommandOfOrxctlWithItsOptions) {
    const std::string page = contentOf(folder / "orxctl.1");
    for (const std::string& command : found(run({bin("orxctl"), "--help"}).output, "\\n  ([a-z]+)  ")) {
        EXPECT_NE(page.find(".TP\n" + command), std::string::npos) << command;
        expectOptions(page, optionsOf({bin("orxctl"), command}));
        if (command != "metrics" && command != "logging")
            continue;
        for (const std::string& inner :
            found(run({bin("orxctl"), command, "--help"}).output, "\\n  ([a-z]+)  "))
            EXPECT_NE(page.find(".TP\n" + command + " " + inner), std::string::npos) << inner;
    }
}

TEST(ManPages, CanBeReadWithoutAWarning) {
    if (run({"groff", "--version"}).exitCode != 0)
        GTEST_SKIP() << "there is no groff";
    for (const auto& each : std::filesystem::directory_iterator(folder)) {
        const Outcome outcome = run({"groff", "-man", "-Tutf8", "-ww", "-z", each.path().string()});
        EXPECT_EQ(outcome.exitCode, 0) << each.path();
        EXPECT_EQ(outcome.errors, "") << each.path();
    }
}

} // namespace
