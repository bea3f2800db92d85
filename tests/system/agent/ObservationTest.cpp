// What the agent tells the monitoring library about a program's entities.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "Record.hpp"

namespace {

std::vector<std::string> program(const std::string& mode, const std::string& number = "0") {
    return {testProgram("agent_AgentProgram"), mode, number};
}

// A line of the record without its last word when that is random.
std::string withoutGuid(const std::string& line) {
    const size_t participant = line.find("participant_");
    return participant == std::string::npos
               ? line
               : line.substr(0, participant) + "P" + line.substr(participant + 20);
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream stream(line);
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

std::string valueOf(const std::vector<std::string>& lines, const std::string& start) {
    std::string value = "(none)";
    for (const std::string& line : lines) {
        if (line.starts_with(start + " "))
            value = line.substr(start.size() + 1);
    }
    return value;
}

TEST(Observation, SettingsReachTheLibrary) {
    const Record record;
    const Outcome outcome =
        run(underAgent(program("exit"), {"--app-name", "my/app", "--peers", "10.0.0.1,host", "--select",
                                            "//*=dds_*,!dds_topic_*", "--select", "//data_writers/w=!*"}),
            record.environment());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    const std::vector<std::string> lines = record.lines();
    ASSERT_GE(lines.size(), 3u) << outcome.errors;
    EXPECT_EQ(lines[0], "create domain " + testDomainText(1) + " name my%2Fapp peers 10.0.0.1 host");
    EXPECT_EQ(lines[1], "select //* on dds_* off dds_topic_*");
    EXPECT_EQ(lines[2], "select //data_writers/w on off *");
}

TEST(Observation, DefaultsAreDocumentedOnes) {
    const Record record;
    EXPECT_EQ(
        run({bin("orx-run"), testProgram("agent_AgentProgram"), "exit"}, record.environment()).exitCode, 0);
    EXPECT_EQ(record.lines("create").at(0), "create domain 2 name - peers");
    EXPECT_EQ(record.lines("select").size(), 1u);
}

TEST(Observation, EveryEntityHasItsPlaceAndName) {
    const Record record;
    const Outcome outcome = run(underAgent(program("named")), record.environment());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    const std::string participant = "/domain_participants/my%2Fparticipant%2A";
    std::vector<std::string> assertions = record.lines("assert");
    const std::vector<std::string> expected = {
        "assert domain_participants my%2Fparticipant%2A ",
        "assert topics rt%2Fchatter " + participant,
        "assert publishers my publisher " + participant,
        "assert subscribers %47UID(x) " + participant,
        "assert data_writers my writer " + participant + "/publishers/my publisher",
        "assert data_readers rt%2Fchatter_00000507 " + participant + "/subscribers/%47UID(x)",
        "assert subscribers subscriber_00000409 " + participant,
        "assert data_readers rt%2Fchatter_00000607 " + participant + "/subscribers/subscriber_00000409",
    };
    // The entity ids are the engine's.
    ASSERT_EQ(assertions.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        std::string line = assertions[i];
        std::string wanted = expected[i];
        for (std::string* text : {&line, &wanted}) {
            const size_t id = text->find("chatter_0000");
            if (id != std::string::npos)
                text->replace(id + 12, 2, "xx");
        }
        EXPECT_EQ(line, wanted);
    }
}

TEST(Observation, LabelsAndStatusesAreThere) {
    const Record record;
    EXPECT_EQ(run(underAgent(program("named")), record.environment()).exitCode, 0);
    const std::vector<std::string> lines = record.lines();
    EXPECT_TRUE(record.lines("error").empty());
    EXPECT_EQ(valueOf(lines, "group my%2Fparticipant%2A 1"), testDomainText(0));
    EXPECT_EQ(valueOf(lines, "group my%2Fparticipant%2A 2"), "0.10.2");
    EXPECT_TRUE(valueOf(lines, "group my%2Fparticipant%2A 3").starts_with("Linux "));
    EXPECT_EQ(valueOf(lines, "group rt%2Fchatter 1"), "rt/chatter");
    EXPECT_EQ(valueOf(lines, "group rt%2Fchatter 2"), "AgentTest::Message");
    EXPECT_EQ(valueOf(lines, "group my writer 7"), "rt/chatter");
    EXPECT_EQ(valueOf(lines, "group my writer 8"), "AgentTest::Message");
    for (const std::string& line : lines)
        EXPECT_FALSE(line.starts_with("group ") && line.ends_with(" missing")) << line;
    // GUIDs: one prefix for all, ids all different.
    std::set<std::string> ids;
    std::set<std::string> prefixes;
    size_t guids = 0;
    for (const std::string& line : record.lines("group ")) {
        if (line.find(" 0 ") == std::string::npos || line.size() < 32)
            continue;
        const std::string guid = line.substr(line.size() - 32);
        if (guid.find(' ') != std::string::npos)
            continue;
        ++guids;
        prefixes.insert(guid.substr(0, 24));
        ids.insert(guid.substr(24));
    }
    EXPECT_EQ(guids, 8u);
    EXPECT_EQ(prefixes.size(), 1u);
    EXPECT_EQ(ids.size(), guids);
}

TEST(Observation, EndsThroughAncestorsAreSeen) {
    const Record record;
    const Outcome outcome = run(underAgent(program("ancestors")), record.environment());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    std::vector<std::string> ends;
    for (const std::string& line : record.lines("delete"))
        ends.push_back(withoutGuid(line));
    ASSERT_EQ(ends.size(), 5u);
    EXPECT_TRUE(ends[0].starts_with("delete t_")) << ends[0];
    EXPECT_TRUE(ends[1].starts_with("delete publisher_")) << "the implicit one goes with its writer";
    EXPECT_TRUE(ends[2].starts_with("delete publisher_")) << "announced once, for its writers too";
    EXPECT_EQ(ends[3], "delete P") << "gone with its domain";
    EXPECT_EQ(ends[4], "delete P");
}

TEST(Observation, EveryStatusOfTheEngineArrives) {
    const Record record;
    const Outcome outcome = run(underAgent(program("statuses")), record.environment());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    std::map<std::string, std::string> last; // of a class and group
    std::map<std::string, std::string> classOf;
    for (const std::string& line : record.lines()) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.at(0) == "assert")
            classOf[words.at(2)] = words.at(1);
        if ((words.at(0) == "push" || words.at(0) == "group") && line.find("total 0") == std::string::npos)
            last[classOf[words.at(1)] + " " + words.at(2)] += line + "\n";
    }
    EXPECT_NE(last["data_writers 2"].find("total 1"), std::string::npos) << "offered deadline missed";
    EXPECT_NE(last["data_writers 3"].find("policies 11:1 4:1"), std::string::npos)
        << "offered incompatible qos: reliability and deadline\n"
        << last["data_writers 3"];
    EXPECT_NE(last["data_writers 5"].find("current 1 peak 1"), std::string::npos) << last["data_writers 5"];
    EXPECT_NE(last["data_readers 1"].find("total 2 change 2 reason 1"), std::string::npos)
        << "the limit of instances";
    EXPECT_NE(last["data_readers 2"].find("alive 1"), std::string::npos);
    EXPECT_NE(last["data_readers 3"].find("total 1"), std::string::npos) << "requested deadline missed";
    EXPECT_NE(last["data_readers 4"].find("last 11"), std::string::npos) << last["data_readers 4"];
    EXPECT_NE(last["data_readers 7"].find("current 0 peak 1"), std::string::npos) << "the writer left";
}

TEST(Observation, EntitiesThatEndBeforeTheyAreSeenAreStillAnnounced) {
    const Record record;
    const Outcome outcome = run(underAgent(program("short", "40")),
        record.environment({{"ORX_TEST_DELAY_MS", "2"}, {"PROGRAM_LINGER_MS", "2000"}}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(record.lines("assert data_writers").size(), 40u);
    EXPECT_EQ(record.lines("assert publishers").size(), 40u);
    EXPECT_EQ(record.lines("delete brief").size(), 40u);
    EXPECT_EQ(record.lines("delete publisher").size(), 40u);
}

TEST(Observation, ARefusedResourceLeavesTheOthers) {
    const Record record;
    const Outcome outcome = run(underAgent(program("named"), {"--verbosity", "silent"}),
        record.environment({{"ORX_TEST_FAIL_ASSERT", "3"}}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(record.lines("refuse").at(0), "refuse my publisher");
    EXPECT_TRUE(record.lines("assert data_writers").empty()) << "it has no parent";
    EXPECT_EQ(record.lines("assert data_readers").size(), 2u);
}

// Two threads make and end entities at once, listeners come and go, and what was last pushed is the end of
// the story.
TEST(Observation, NothingIsLostWhenThreadsMakeAndEndEntities) {
    const Record record;
    const int rounds = isSanitized() ? 60 : 300;
    const Outcome outcome =
        run(underAgent(program("churn", std::to_string(rounds))), record.environment(), 240);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_FALSE(outcome.isLate);
    EXPECT_EQ(outcome.errors, "");
    const size_t made = static_cast<size_t>(rounds) * 2;
    EXPECT_EQ(record.lines("assert data_writers").size(), made);
    EXPECT_EQ(record.lines("assert data_readers").size(), made + 1);
    EXPECT_EQ(record.lines("delete churn_").size() + record.lines("delete publisher_").size() +
                  record.lines("delete subscriber_").size(),
        // Readers and their implicit subscribers, writers that end alone, and all publishers.
        made * 2 + 2 + static_cast<size_t>(rounds) + static_cast<size_t>((rounds + 2) / 3) + made);
    EXPECT_TRUE(record.lines("error").empty());
    EXPECT_TRUE(record.lines("push (deleted)").empty());
    EXPECT_FALSE(record.lines("push churn_").empty());
}

TEST(Observation, AnEngineBehindAPluginIsObserved) {
    if (isSanitized())
        GTEST_SKIP() << "sanitizers bring their own order of libraries";
    const Record record;
    const Outcome outcome =
        run(underAgent({testProgram("agent/agent_PluginProgram"), testProgram("agent/libagent_plugin.so")}),
            record.environment());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(record.lines("assert publishers").size(), 1u) << outcome.errors;
}

TEST(Observation, ProgramsStartedByAProgramAreObserved) {
    if (isSanitized())
        GTEST_SKIP() << "the shell has no sanitizer";
    const Record record;
    const Outcome outcome = run(
        underAgent({"sh", "-c", testProgram("agent_AgentProgram") + " named; exit 9"}), record.environment());
    EXPECT_EQ(outcome.exitCode, 9) << outcome.errors;
    EXPECT_EQ(record.lines("assert data_writers").size(), 1u);
}

} // namespace
