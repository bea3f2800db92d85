#include "ctl/Completion.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "FakeCollector.hpp"

namespace {

using Words = std::vector<std::string>;

class Completion : public testing::Test {
protected:
    Completion()
        : fake([](const httplib::Request& request, httplib::Response& response) {
              const std::string path = request.get_param_value("path");
              if (request.path == "/api/v1/applications")
                  FakeCollector::json(response, R"({"applications": [{"name": "pinger"}, {"name": "ponger"},
                      {"name": "evil\u001b[2J"}, {"name": 7}]})");
              else if (path == "/applications/pinger/domain_participants/*")
                  FakeCollector::json(response, R"({"resources": [{"name": "p1"}, {"name": "q1"}]})");
              else
                  FakeCollector::json(response, R"({"resources": []})");
          }) {
        setenv("ORX_COLLECTOR", fake.url().c_str(), 1);
    }
    ~Completion() override { unsetenv("ORX_COLLECTOR"); }
    FakeCollector fake;
};

bool contains(const Words& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

TEST_F(Completion, OfCommands) {
    EXPECT_EQ(ctl::completionsOf({""}), (Words{"applications", "events", "logging", "logs", "metrics",
                                            "registry", "show", "status", "tree"}));
    EXPECT_EQ(ctl::completionsOf({"me"}), Words{"metrics"});
    EXPECT_EQ(ctl::completionsOf({"metrics", ""}), (Words{"set", "update"}));
    EXPECT_EQ(ctl::completionsOf({"--json", "logging", "c"}), Words{"collection"});
    EXPECT_EQ(ctl::completionsOf({}), ctl::completionsOf({""}));
    EXPECT_EQ(fake.requests().size(), 0u); // nobody was asked for that
}

TEST_F(Completion, OfOptionsAndTheirValues) {
    EXPECT_EQ(ctl::completionsOf({"status", "--co"}), (Words{"--collector", "--color"}));
    EXPECT_TRUE(contains(ctl::completionsOf({"logs", "-"}), "--severity"));
    EXPECT_TRUE(contains(ctl::completionsOf({"logs", "--"}), "--json"));
    EXPECT_FALSE(contains(ctl::completionsOf({"events", "--"}), "--severity"));
    EXPECT_EQ(ctl::completionsOf({"--color", "a"}), (Words{"always", "auto"}));
    EXPECT_EQ(ctl::completionsOf({"logs", "--severity", "e"}), (Words{"emergency", "error"}));
    EXPECT_EQ(ctl::completionsOf({"logs", "--facility", "m"}), Words{"middleware"});
    EXPECT_EQ(ctl::completionsOf({"events", "--class", "data_r"}), Words{"data_reader"});
    EXPECT_EQ(ctl::completionsOf({"logs", "--contains", ""}), Words{});
}

TEST_F(Completion, OfApplications) {
    EXPECT_EQ(ctl::completionsOf({"tree", "pi"}), Words{"pinger"});
    EXPECT_EQ(ctl::completionsOf({"show", ""}), (Words{"/applications/", "pinger", "ponger"}));
    EXPECT_EQ(ctl::completionsOf({"logs", "--application", ""}), (Words{"pinger", "ponger"}));
    EXPECT_EQ(ctl::completionsOf({"tree", "pinger", ""}), Words{});
}

TEST_F(Completion, OfPathsLevelByLevel) {
    EXPECT_EQ(ctl::completionsOf({"tree", "/a"}), Words{"/applications/"});
    EXPECT_EQ(ctl::completionsOf({"tree", "/applications/pinger/do"}),
        Words{"/applications/pinger/domain_participants/"});
    EXPECT_EQ(ctl::completionsOf({"show", "/applications/pinger/domain_participants/"}),
        (Words{
            "/applications/pinger/domain_participants/p1", "/applications/pinger/domain_participants/q1"}));
    EXPECT_EQ(ctl::completionsOf({"show", "//T/"}), Words{});
    EXPECT_EQ(ctl::completionsOf({"show", "/applications/*/"}), Words{});
}

TEST_F(Completion, OfMetricsWithTheirSign) {
    EXPECT_EQ(ctl::completionsOf({"metrics", "set", "pinger", "+dds_topic_"}),
        Words{"+dds_topic_inconsistent_total"});
    EXPECT_EQ(ctl::completionsOf({"metrics", "update", "pinger", "+a", "-dds_topic_"}),
        Words{"-dds_topic_inconsistent_total"});
    EXPECT_EQ(ctl::completionsOf({"metrics", "set", "pinger", ""}).size(), 240u);
    EXPECT_EQ(ctl::completionsOf({"metrics", "set", "pinger", "x"}), Words{});
    EXPECT_TRUE(contains(ctl::completionsOf({"metrics", "set", "pinger", "--"}), "--json"));
}

TEST_F(Completion, OfFacilitiesAndLevels) {
    EXPECT_EQ(ctl::completionsOf({"logging", "forwarding", "pinger", "m"}), Words{"middleware="});
    EXPECT_EQ(ctl::completionsOf({"logging", "forwarding", "pinger", "user=debug", "middleware=e"}),
        (Words{"middleware=emergency", "middleware=error"}));
}

TEST_F(Completion, AsksTheCollectorOfTheCommandLine) {
    unsetenv("ORX_COLLECTOR");
    EXPECT_EQ(ctl::completionsOf({"--collector", fake.url(), "tree", "po"}), Words{"ponger"});
    EXPECT_EQ(ctl::completionsOf({"--collector=" + fake.url(), "tree", "po"}), Words{"ponger"});
}

TEST_F(Completion, IsSilentlyNothingWhenTheCollectorIsNotThere) {
    setenv("ORX_COLLECTOR", "http://127.0.0.1:1", 1);
    EXPECT_EQ(ctl::completionsOf({"tree", "p"}), Words{});
    EXPECT_EQ(ctl::completionsOf({"--collector", "no/such url", "tree", "p"}), Words{});
}

} // namespace
