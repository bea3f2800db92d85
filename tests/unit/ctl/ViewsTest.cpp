#include "Asked.hpp"
#include "FakeCollector.hpp"
#include "ctl/Json.hpp"

namespace {

const std::string guid = "1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D";

constexpr char applications[] = R"({"applications": [
  {"name": "pinger", "path": "/applications/pinger", "guid": "1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D",
   "participant_guid": "01100A5C.83CD6E04.7D5A2B11.000001C1", "host": "robot7", "process_id": 4711,
   "resources": 12, "series": 140, "last_sample_seconds_ago": 0.4,
   "logging": {"collection": {"middleware": "warning", "user": "informational"}, "forwarding": {"middleware": "error"}}},
  {"name": "ponger\u001b[31m", "guid": "2", "host": null, "process_id": null, "resources": 3, "series": 0}, 7]})";

constexpr char writer[] =
    R"({"guid": "3", "parent": "2", "application": "1", "class": "data_writer", "name": "ping_00000a02",
  "path": "/applications/pinger/domain_participants/p/data_writers/ping_00000a02", "topic": "DDSPerfRDataKS",
  "type": "KeyedSeq", "domain": 0, "metrics": {
   "dds_data_writer_publication_matched_current_count": {"value": 1, "time": "2026-11-21T12:40:26.779Z", "topic": "event"},
   "dds_data_writer_list": {"value": [1, 2], "time": "soon", "topic": "periodic"}}})";

TEST(Applications, AreATable) {
    FakeCollector fake([](const auto&, auto& response) { FakeCollector::json(response, applications); });
    const Asked asked = ask(fake.url(), {"applications"});
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output,
        "NAME            HOST     PID  RESOURCES  SERIES  LAST SAMPLE  COLLECTS                              "
        " SENDS             GUID\n"
        "pinger          robot7  4711         12     140    0.4 s ago  middleware:warning user:informational "
        " middleware:error  1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D\n"
        "ponger\\x1B[31m                        3       0                                                    "
        "                    2\n"
        "\n");
    EXPECT_EQ(fake.requests().at(0).path, "/api/v1/applications");
}

TEST(Applications, TellALevelThatAllFacilitiesHaveOnce) {
    FakeCollector fake([](const auto&, auto& response) {
        FakeCollector::json(response, R"({"applications": [{"name": "a", "guid": "1", "logging": {
            "collection": {"middleware": "warning", "user": "warning"}, "forwarding": 7}}]})");
    });
    const Asked asked = ask(fake.url(), {"applications"});
    EXPECT_TRUE(has(asked.output, "  warning  ")) << asked.output;
    EXPECT_FALSE(has(asked.output, "middleware")) << asked.output;
}

TEST(Applications, AreToldToBeNone) {
    FakeCollector fake(
        [](const auto&, auto& response) { FakeCollector::json(response, R"({"applications": []})"); });
    const Asked asked = ask(fake.url(), {"applications"});
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output, "");
    EXPECT_EQ(asked.errors, "orxctl: no application is known yet\n");
}

TEST(Applications, AreADocumentForScripts) {
    FakeCollector fake([](const auto&, auto& response) { FakeCollector::json(response, applications); });
    const auto document = ctl::parseJson(ask(fake.url(), {"applications", "--json"}).output);
    ASSERT_TRUE(document);
    EXPECT_EQ(*document, *ctl::parseJson(applications));
}

// Serves resources by path expression, and keeps to the limit.
FakeCollector::Handler resources(std::map<std::string, std::vector<std::string>> byExpression) {
    return [byExpression = std::move(byExpression)](
               const httplib::Request& request, httplib::Response& response) {
        const auto found = byExpression.find(request.get_param_value("path"));
        const std::vector<std::string> all =
            found == byExpression.end() ? std::vector<std::string>() : found->second;
        const std::size_t after =
            request.has_param("after") ? std::stoul(request.get_param_value("after")) : 0;
        std::string list;
        constexpr std::size_t page = 2;
        const std::size_t end = std::min(all.size(), after + page);
        for (std::size_t i = after; i < end; ++i)
            list += (list.empty() ? "" : ",") + all[i];
        const std::string next = end < all.size() ? "\"" + std::to_string(end) + "\"" : "null";
        FakeCollector::json(response, "{\"resources\": [" + list + "], \"next\": " + next + "}");
    };
}

std::string resource(
    const std::string& id, const std::string& parent, const std::string& kind, const std::string& name) {
    return R"({"guid": ")" + id + R"(", "parent": )" + (parent.empty() ? "null" : "\"" + parent + "\"") +
           R"(, "class": ")" + kind + R"(", "name": ")" + name + "\"}";
}

TEST(TreeView, IsPutTogetherFromPages) {
    FakeCollector fake(resources(
        {{"//*", {resource("1", "", "application", "pinger"), resource("2", "1", "domain_participant", "p"),
                     writer, resource("4", "1", "domain_participant", "q\\u0007")}}}));
    const Asked asked = ask(fake.url(), {"tree"});
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output, "application pinger  1\n"
                            "|- domain_participant p\n"
                            "|  `- data_writer ping_00000a02  DDSPerfRDataKS, KeyedSeq\n"
                            "`- domain_participant q\\x07\n");
    EXPECT_EQ(fake.requests().size(), 2u);
    EXPECT_EQ(fake.requests().at(1).get_param_value("after"), "2");
}

TEST(TreeView, OfANameHasTheApplicationAndAllBelow) {
    FakeCollector fake(resources({{"/applications/pinger", {resource("1", "", "application", "pinger")}},
        {"/applications/pinger//*",
            {resource("2", "1", "topic", "T"), resource("1", "", "application", "pinger")}}}));
    EXPECT_EQ(ask(fake.url(), {"tree", "pinger"}).output, "application pinger  1\n`- topic T\n");
}

TEST(TreeView, FallsBackToAResourceOfThatName) {
    FakeCollector fake(resources({{"//T", {resource("2", "1", "topic", "T")}}}));
    const Asked asked = ask(fake.url(), {"tree", "T"});
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output, "topic T\n");
}

TEST(TreeView, ThatMatchesNothingIsTold) {
    FakeCollector fake(resources({}));
    const Asked asked = ask(fake.url(), {"tree", "//nobody"});
    EXPECT_EQ(asked.exitCode, 3);
    EXPECT_EQ(asked.errors, "orxctl: nothing matches '//nobody'\n");
    EXPECT_EQ(ask(fake.url(), {"tree"}).exitCode, 0); // nobody asked for anything
    EXPECT_EQ(ask(fake.url(), {"show", "nobody"}).exitCode, 3);
}

TEST(TreeView, ThatHasNoEndIsRefused) {
    FakeCollector fake([](const auto&, auto& response) {
        FakeCollector::json(response, R"({"resources": [{"guid": "1"}], "next": "1"})");
    });
    const Asked asked = ask(fake.url(), {"tree"});
    EXPECT_EQ(asked.exitCode, 2);
    EXPECT_TRUE(has(asked.errors, "no end")) << asked.errors;
}

TEST(Show, PrintsAResourceWithItsMetrics) {
    FakeCollector fake(resources({{"//data_writers/*", {writer}}}));
    const Asked asked = ask(fake.url(), {"show", "//data_writers/*"});
    EXPECT_EQ(asked.exitCode, 0);
    EXPECT_EQ(asked.output,
        "/applications/pinger/domain_participants/p/data_writers/ping_00000a02\n"
        "  class        data_writer\n"
        "  guid         3\n"
        "  parent       2\n"
        "  application  1\n"
        "  topic        DDSPerfRDataKS\n"
        "  type         KeyedSeq\n"
        "  domain       0\n"
        "METRIC                                             VALUE  TIME          TOPIC\n"
        "dds_data_writer_publication_matched_current_count      1  12:40:26.779  event\n"
        "dds_data_writer_list                                 1,2  soon          periodic\n");
    EXPECT_EQ(fake.requests().at(0).get_param_value("metrics"), "1");
    EXPECT_EQ(fake.requests().at(0).get_param_value("path"), "//data_writers/*");
}

TEST(Show, AsksForAGuid) {
    for (const std::string& body : {std::string(writer), std::string("{\"resource\": ") + writer + "}"}) {
        FakeCollector fake([&body](const auto&, auto& response) { FakeCollector::json(response, body); });
        const Asked asked = ask(fake.url(), {"show", "GUID(" + guid + ")"});
        EXPECT_EQ(asked.exitCode, 0);
        EXPECT_TRUE(has(asked.output, "  class        data_writer\n")) << asked.output;
        EXPECT_EQ(fake.requests().at(0).path, "/api/v1/resources/" + guid);
    }
}

TEST(Show, IsADocumentForScripts) {
    FakeCollector fake(resources({{"/applications/pinger", {writer}}}));
    const auto document = ctl::parseJson(ask(fake.url(), {"--json", "show", "pinger"}).output);
    ASSERT_TRUE(document);
    EXPECT_EQ(document->at("resources").at(0), *ctl::parseJson(writer));
}

TEST(StatusView, IsATable) {
    FakeCollector fake([](const auto&, auto& response) {
        FakeCollector::json(response, R"({"version": "0.1.0", "domain": 2, "read_only": false,
            "samples": {"event": 5, "periodic": 7}, "dropped": {"depth": 0, "conflict": 3}})");
    });
    const Asked asked = ask(fake.url(), {"status"});
    EXPECT_EQ(asked.exitCode, 0);
    for (const char* line : {"\nversion           0.1.0\n", "\nread_only         false\n",
             "\nsamples event     5\n", "\nsamples periodic  7\n", "\ndropped conflict  3\n"})
        EXPECT_TRUE(has(asked.output, line)) << asked.output;
    EXPECT_FALSE(has(asked.output, "depth")) << asked.output;
}

// Whatever a collector answers, there is an end and an exit code, and nothing that a terminal would obey.
TEST(Views, SurviveMembersOfAnyType) {
    const std::vector<std::string> values{
        "null", "7", "-1.5e300", "\"\\u001b]0;x\\u0007\"", "[]", "{}", "[[{}]]", "true"};
    for (const std::string& value : values) {
        std::string object = "{";
        for (const char* name :
            {"applications", "resources", "next", "messages", "samples", "error", "resource"})
            object += "\"" + std::string(name) + "\": [" + value + ", {\"name\": " + value +
                      ", \"guid\": " + value + ", \"parent\": " + value + ", \"metrics\": {\"m\": " + value +
                      "}, \"logging\": " + value + ", \"last_sample_seconds_ago\": " + value +
                      ", \"snapshot\": " + value + "}], ";
        object += "\"x\": " + value + "}";
        for (const std::string& body : {object, "{\"resources\": " + value + ", \"next\": " + value + "}"}) {
            FakeCollector fake([&body](const auto&, auto& response) { FakeCollector::json(response, body); });
            for (const std::vector<std::string>& words :
                std::vector<std::vector<std::string>>{{"applications"}, {"tree"}, {"show", guid},
                    {"show", "x"}, {"status"}, {"logs"}, {"registry", "x"}}) {
                const Asked asked = ask(fake.url(), words);
                EXPECT_TRUE(asked.exitCode == 0 || asked.exitCode == 2 || asked.exitCode == 3) << body;
                EXPECT_FALSE(has(asked.output + asked.errors, "\x1B")) << asked.output;
            }
        }
    }
}

} // namespace
