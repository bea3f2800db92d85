// The completion script in a real bash: the words as the shell has taken them apart, and what it would offer.
#include <gtest/gtest.h>

#include "tests/system/support/Process.hpp"
#include "tests/unit/ctl/FakeCollector.hpp"

namespace {

// The line up to the cursor, and its words as bash takes them apart at blanks, '=' and ':'.
std::vector<std::string> offered(const std::string& url, const std::string& line, const Command& words) {
    std::string script =
        "source " ORX_SOURCE "/ctl/completion/orxctl.bash; COMP_LINE=$1; COMP_POINT=${#1}; shift; "
        "COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _orxctl; printf '%s\\n' \"${COMPREPLY[@]}\"";
    Command command{"bash", "-c", script, "bash", line};
    command.insert(command.end(), words.begin(), words.end());
    const Outcome outcome =
        run(command, {{"ORX_COLLECTOR", url}, {"PATH", std::string(ORX_BIN) + ":" + getenv("PATH")}});
    EXPECT_EQ(outcome.errors, "");
    return linesOf(outcome.output);
}

class CompletionScript : public testing::Test {
protected:
    FakeCollector fake{[](const httplib::Request&, httplib::Response& response) {
        FakeCollector::json(response, R"({"applications": [{"name": "pinger"}, {"name": "a name"}]})");
    }};
};
using Words = std::vector<std::string>;

TEST_F(CompletionScript, OffersCommandsAndApplications) {
    EXPECT_EQ(offered(fake.url(), "orxctl lo", {"orxctl", "lo"}), (Words{"logging", "logs"}));
    EXPECT_EQ(offered(fake.url(), "orxctl tree pi", {"orxctl", "tree", "pi"}), Words{"pinger"});
    EXPECT_EQ(offered(fake.url(), "orxctl tree a", {"orxctl", "tree", "a"}), Words{"a\\ name"});
    EXPECT_EQ(offered(fake.url(), "orxctl tree 'a", {"orxctl", "tree", "'a"}), Words{"a name"});
}

TEST_F(CompletionScript, PutsWordsTogetherThatTheShellTookApart) {
    EXPECT_EQ(offered(fake.url(), "orxctl logging forwarding x middleware=e",
                  {"orxctl", "logging", "forwarding", "x", "middleware", "=", "e"}),
        (Words{"emergency", "error"}));
    EXPECT_EQ(offered(fake.url(),
                  "orxctl logging collection x user=", {"orxctl", "logging", "collection", "x", "user", "="})
                  .size(),
        9u);
    EXPECT_EQ(offered("", "orxctl --collector " + fake.url() + " tree pi",
                  {"orxctl", "--collector", "http", ":", fake.url().substr(5, fake.url().rfind(':') - 5), ":",
                      fake.url().substr(fake.url().rfind(':') + 1), "tree", "pi"}),
        Words{"pinger"});
}

TEST_F(CompletionScript, OffersMetricsBehindTheirSign) {
    EXPECT_EQ(offered(fake.url(), "orxctl metrics set x -dds_topic",
                  {"orxctl", "metrics", "set", "x", "-dds_topic"}),
        Words{"-dds_topic_inconsistent_total"});
}

TEST_F(CompletionScript, OffersNothingWithoutACollector) {
    EXPECT_EQ(offered("http://127.0.0.1:1", "orxctl tree pi", {"orxctl", "tree", "pi"}), Words{""});
}

} // namespace
