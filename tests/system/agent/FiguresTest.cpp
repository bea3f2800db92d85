// What the agent tells periodically about a program's writers and readers.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "Record.hpp"

namespace {

// The last periodic line of each endpoint and group, without its start.
class Periodic {
public:
    explicit Periodic(const Record& record) {
        for (const std::string& line : record.lines("periodic ")) {
            std::istringstream stream(line);
            std::string word;
            std::string name;
            int group = 0;
            stream >> word >> name >> group;
            std::getline(stream >> std::ws, last_[{name, group}]);
        }
    }
    // The number behind a word; -1 when there is none.
    long long figure(const std::string& name, int group, const std::string& word) const {
        std::istringstream stream(text(name, group));
        for (std::string at; stream >> at;) {
            long long value = 0;
            if (at == word && stream >> value)
                return value;
        }
        return -1;
    }
    std::string text(const std::string& name, int group) const {
        const auto found = last_.find({name, group});
        return found != last_.end() ? found->second : "(none)";
    }

private:
    std::map<std::pair<std::string, int>, std::string> last_;
};

constexpr int writerCache = 11;
constexpr int writerProtocol = 14;
constexpr int reliableCache = 16;
constexpr int readerCache = 12;
constexpr int readerProtocol = 15;

class Figures : public testing::Test {
protected:
    Environment polled(Environment more = {}) const {
        more["ORX_TEST_PERIODIC_MS"] = "50";
        more["ORX_AGENT_POLLING_PERIOD"] = "0.1";
        more.try_emplace("PROGRAM_LINGER_MS", isSanitized() ? "4000" : "1500");
        return record.environment(more);
    }
    Record record;
};

TEST_F(Figures, DataCallsAreCountedOnceAndChangeNothing) {
    const std::vector<std::string> program = {testProgram("agent_DataCalls")};
    const Outcome without = run(program);
    ASSERT_EQ(without.exitCode, 0) << without.errors;
    const Outcome with = run(underAgent(program), polled());
    EXPECT_EQ(with.exitCode, 0) << with.errors;
    EXPECT_EQ(with.output, without.output);
    EXPECT_EQ(without.output.find("errno S"), std::string::npos) << "the engine leaves errno alone as well";

    const Periodic periodic(record);
    constexpr int encoded = 12; // two longs behind the header
    for (const char* call : {"dds_write", "dds_write_ts", "dds_writedispose", "dds_writedispose_ts",
             "dds_writecdr", "dds_forwardcdr"}) {
        EXPECT_EQ(periodic.figure(call, writerProtocol, "pushed"), 3) << call;
        EXPECT_EQ(periodic.figure(call, writerProtocol, "bytes"), 3 * encoded) << call;
        EXPECT_EQ(periodic.figure(call, writerProtocol, "last"), 3) << call;
    }
    for (const char* call :
        {"dds_dispose", "dds_dispose_ts", "dds_dispose_ih", "dds_dispose_ih_ts", "dds_unregister_instance",
            "dds_unregister_instance_ts", "dds_unregister_instance_ih", "dds_unregister_instance_ih_ts"}) {
        EXPECT_EQ(periodic.figure(call, writerProtocol, "pushed"), 3) << call;
        EXPECT_EQ(periodic.figure(call, writerProtocol, "bytes"), 0) << call << ": no data";
    }
    std::vector<std::string> reads = {"readcondition"};
    for (const std::string verb : {"dds_read", "dds_take"}) {
        for (const char* rest : {"", "_wl", "_mask", "_mask_wl", "_instance", "_instance_wl",
                 "_instance_mask", "_instance_mask_wl", "_next", "_next_wl", "cdr", "cdr_instance"})
            reads.push_back(verb + rest);
    }
    for (const std::string& call : reads) {
        EXPECT_EQ(periodic.figure(call, readerProtocol, "received"), 2) << call;
        EXPECT_EQ(periodic.figure(call, readerProtocol, "bytes"), 2 * encoded) << call;
        const bool keeps = call.find("take") == std::string::npos;
        EXPECT_EQ(periodic.figure(call, readerCache, "samples"), keeps ? 2 : 0) << call;
    }
    EXPECT_EQ(periodic.figure("querycondition", readerProtocol, "received"), 1) << "the other did not match";
    EXPECT_EQ(periodic.figure("querycondition", readerCache, "samples"), 1);
}

// What a library exports of the calls that move data.
std::set<std::string> dataCallsOf(const std::string& library) {
    const std::regex moves("dds_(write|forward|dispose|unregister|read|take)[a-z_]*");
    const std::regex others(
        "dds_(write_flush|write_set_batch|(read|take)_(status|guardcondition)|(read|writ)er_.*)");
    std::set<std::string> calls;
    for (const std::string& line : linesOf(run({"nm", "-D", "--defined-only", library}).output)) {
        std::string name = line.substr(line.rfind(' ') + 1);
        name = name.substr(0, name.find('@'));
        if (std::regex_match(name, moves) && !std::regex_match(name, others))
            calls.insert(name);
    }
    return calls;
}

TEST(DataCalls, AllThatTheEngineExportsAreCounted) {
    const std::set<std::string> engine = dataCallsOf(ENGINE_LIBRARY);
    EXPECT_EQ(engine.size(), 14u + 24u);
    EXPECT_EQ(dataCallsOf(std::string(ORX_BIN) + "/../lib/liborxshim.so"), engine);
}

// Two processes, each with an agent of its own.
TEST_F(Figures, WhatTheEngineKnowsOfAReliableWriterIsTold) {
    const Record other;
    Environment reading = polled({{"PROGRAM_LINGER_MS", isSanitized() ? "6000" : "3000"}});
    reading["ORX_TEST_RECORD"] = other.environment().at("ORX_TEST_RECORD");
    Process side(underAgent({testProgram("agent_AgentProgram"), "subscribe", "20"}), reading);
    const Outcome publisher = run(underAgent({testProgram("agent_AgentProgram"), "publish", "20"}), polled());
    const Outcome subscriber = side.wait();
    EXPECT_EQ(publisher.exitCode, 0) << publisher.errors;
    EXPECT_EQ(subscriber.exitCode, 0) << subscriber.errors;

    const Periodic writer(record);
    EXPECT_EQ(writer.figure("kept", writerCache, "samples"), 20);
    EXPECT_EQ(writer.figure("kept", writerCache, "peak"), 20);
    EXPECT_EQ(writer.figure("kept", writerProtocol, "pushed"), 20);
    EXPECT_EQ(writer.figure("kept", writerProtocol, "first"), 1);
    EXPECT_EQ(writer.figure("kept", writerProtocol, "last"), 20);
    EXPECT_EQ(writer.figure("kept", writerProtocol, "unacknowledged"), 21) << "none: the next one";
    EXPECT_GE(writer.figure("kept", writerProtocol, "acks"), 1);
    EXPECT_GE(writer.figure("kept", writerProtocol, "heartbeats"), 1);
    EXPECT_NE(writer.text("kept", writerProtocol).find("virtual unknown"), std::string::npos);
    EXPECT_EQ(writer.figure("kept", reliableCache, "unacknowledged"), 0);
    EXPECT_FALSE(record.lines("push kept 6 active 1 inactive 0").empty())
        << "the activity of its reader is an event";
    const Periodic reader(other);
    EXPECT_EQ(reader.figure("sink", readerProtocol, "received"), 20);
    EXPECT_EQ(reader.figure("sink", readerProtocol, "bytes"), 20 * 12);
    EXPECT_EQ(reader.figure("sink", readerCache, "samples"), 0);
}

// The sampler looks a hundred times a second while entities come and go, and while the program ends the
// engine.
TEST_F(Figures, ProgramsMakeAndEndEntitiesBesideTheSampler) {
    const std::vector<std::pair<const char*, const char*>> modes = {
        {"churn", "150"}, {"ancestors", "0"}, {"engine", "0"}, {"fork", "0"}, {"short", "200"}};
    for (const auto& [mode, number] : modes) {
        Environment environment = polled({{"PROGRAM_LINGER_MS", "100"}, {"ORX_TEST_PERIODIC_MS", "1"}});
        environment["ORX_AGENT_POLLING_PERIOD"] = "0.02";
        environment["ASAN_OPTIONS"] = "detect_leaks=0"; // a forked child leaves its parent's memory
        const Outcome recorded =
            run(underAgent({testProgram("agent_AgentProgram"), mode, number}), environment);
        EXPECT_EQ(recorded.exitCode, 0) << mode << ": " << recorded.errors;
        const Outcome real =
            run(underAgent({testProgram("agent_AgentProgram"), mode, number}, {"--polling-period", "0.02"}),
                {{"ASAN_OPTIONS", "detect_leaks=0"}});
        EXPECT_EQ(real.exitCode, 0) << mode << ": " << real.errors;
    }
}

// The real library, from the sampler to a reader in another process.
TEST_F(Figures, ArriveOnThePeriodicTopic) {
    Process collector(
        {bin("orx-tail"), "--domain", testDomainText(1), "--json", "--for", isSanitized() ? "20" : "8"}, {});
    const Outcome outcome = run(underAgent({testProgram("agent_DataCalls")}, {"--polling-period", "0.2"}),
        {{"PROGRAM_LINGER_MS", isSanitized() ? "15000" : "6000"}});
    const Outcome tail = collector.wait();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_FALSE(linesWith(tail.output, {"data_writers/dds_write_ts\"", "\"pushed_sample_count\":3"}).empty())
        << tail.output.substr(0, 3000);
    EXPECT_FALSE(linesWith(tail.output, {"\"resident_memory_bytes\":"}).empty());
}

} // namespace
