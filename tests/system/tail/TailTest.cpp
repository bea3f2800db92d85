// What orx-tail prints of what strangers and monitored programs publish.
#include <gtest/gtest.h>
#include <signal.h>

#include <map>
#include <nlohmann/json.hpp>

#include "Tail.hpp"

namespace {

using nlohmann::json;

// An application with a participant, a topic and a writer.
void tellSmallTree(Writer& writer, const std::string& name) {
    writer.command("match 1");
    writer.command("create application 1 0 " + name);
    writer.command("create participant 2 1 p");
    writer.command("create topic 3 2 t");
    writer.command("create publisher 4 2 q");
    writer.command("create writer 5 4 w");
}

TEST(Tail, PrintsALineForEachChangeThatAStrangerWrites) {
    Tail tail(testDomainText(1));
    Writer writer(testDomainText(1), 1);
    tellSmallTree(writer, "stranger");
    const std::string application = "/applications/stranger";
    const std::string participant = application + "/domain_participants/p";
    tail.await({"  stranger  " + application + "  created  metrics=3  [live 1/7]"});
    tail.await({"  stranger  " + participant + "  created  metrics=3  [live 2/7]"});
    tail.await({"  stranger  " + participant + "/topics/t  created  ", "[live 3/7]"});
    tail.await({participant + "/publishers/q/data_writers/w  created  "});

    writer.command("host ahost 4711");
    writer.command("topic 3 rt/chatter std::String");
    writer.command("matched 5 2");
    writer.command("change 5 4");
    tail.await({application + "  hostname  ahost  [live "});
    tail.await({application + "  process_id  4711  [live "});
    tail.await({participant + "/topics/t  topic_name  rt/chatter  "});
    tail.await({participant + "/topics/t  registered_type_name  std::String  "});
    tail.await({"/data_writers/w  status_publication_matched  total_count=2  ", "  current_count=2  "});
    tail.await({"/data_writers/w  selection  metrics=4  "});

    writer.command("log disk is full");
    tail.await({"  stranger  facility_0 WARNING  sn=41  N/A  [live 0]  disk is full"});
    // Periodic samples are best effort: the first may be lost.
    bool isShown = false;
    for (int i = 0; i < 100 && !isShown; ++i) {
        writer.command("periodic 5 " + std::to_string(1000 + i));
        isShown = tail.waitForLine({"/data_writers/w  status_cache  ", "  sample_count=10"}, 0.3);
    }
    EXPECT_TRUE(isShown) << tail.output();

    writer.command("delete 2");
    for (const char* path : {"", "/topics/t", "/publishers/q", "/publishers/q/data_writers/w"})
        tail.await({participant + path + "  deleted  [live "});
    EXPECT_EQ(linesWith(tail.output(), {"/?"}).size(), 0u) << "every ancestor is known";
    EXPECT_EQ(writer.waitFromNow().exitCode, 0) << writer.errors();
    tail.await({"  stranger  " + application + "  gone"});
    EXPECT_EQ(tail.errors(), "");
}

TEST(Tail, JsonLinesParseAndHaveTheSame) {
    Tail tail(testDomainText(2), {"--json"});
    Writer writer(testDomainText(2), 2);
    tellSmallTree(writer, "stranger");
    writer.command("topic 3 rt/chatter std::String");
    writer.command("matched 5 2");
    writer.command("log disk is full");
    writer.command("delete 2");
    tail.await({"\"change\":\"deleted\"", "/domain_participants/p\""});
    tail.await({"disk is full"});
    tail.signal(SIGTERM);
    const Outcome outcome = tail.waitFromNow();
    EXPECT_EQ(outcome.exitCode, 0);

    const auto find = [&](const std::string& change, const std::string& pathEnd, const std::string& group) {
        for (const std::string& line : linesOf(outcome.output)) {
            const json parsed = json::parse(line, nullptr, false);
            EXPECT_TRUE(parsed.is_object()) << line;
            if (parsed.is_object() && parsed.value("change", "") == change &&
                parsed.value("path", "").ends_with(pathEnd) && parsed.value("group", "") == group)
                return parsed;
        }
        ADD_FAILURE() << change << " " << pathEnd << " " << group << " is not in:\n" << outcome.output;
        return json::object();
    };
    const json created = find("created", "/topics/t", "");
    EXPECT_EQ(created.value("topic", ""), "event");
    EXPECT_EQ(created.value("application", ""), "stranger");
    EXPECT_EQ(created.value("application_guid", ""), "GUID(02000000.00000000.00000000.00000001)");
    EXPECT_EQ(created.value("guid", ""), "GUID(02000000.00000000.00000000.00000003)");
    EXPECT_EQ(created.value("class", ""), "topics");
    EXPECT_EQ(created.value("path", ""), "/applications/stranger/domain_participants/p/topics/t");
    EXPECT_EQ(created.value("snapshot", true), false);
    EXPECT_EQ(created.value("epoch_resource", 0), 3);
    EXPECT_EQ(created.value("epoch_metric", 0), 7);
    EXPECT_EQ(created.value("time", "").size(), std::string("2000-01-01T00:00:00.000000000Z").size());
    const json matched = find("group", "/data_writers/w", "status_publication_matched");
    EXPECT_EQ(matched["values"].value("current_count", 0), 2);
    const json log = find("log", "/applications/stranger", "");
    EXPECT_EQ(log.value("topic", ""), "logging");
    EXPECT_EQ(log["values"].value("message", ""), "disk is full");
    EXPECT_EQ(log["values"].value("severity", ""), "WARNING");
    EXPECT_EQ(log["values"].value("sn", 0), 41);
    find("deleted", "/publishers/q/data_writers/w", "");
}

TEST(Tail, ReportsAndSkipsWhatIsNoEvent) {
    Tail tail(testDomainText(1), {"--json"});
    Writer writer(testDomainText(1), 3);
    tellSmallTree(writer, "sound");
    writer.command("garbage 3 0");
    writer.command("garbage 5 64");
    writer.command("garbage 2 20000");
    writer.command("impostor 4");
    writer.command("acknowledged");
    writer.command("topic 3 later later");
    tail.await({"\"topic_name\"", "\"later\""});
    // Two forms each of ten, and four of a type of other members.
    const auto reported = [&] {
        int count = 0;
        for (const std::string& line : linesWith(tail.output(), {"\"undecodable\""})) {
            const json parsed = json::parse(line, nullptr, false);
            EXPECT_EQ(parsed.value("topic", ""), "event");
            count += parsed["values"].value("samples", 0);
        }
        return count;
    };
    // What was told later may be shown first: they come from several writers.
    tail.awaitUntil([&] { return reported() >= 24; });
    EXPECT_EQ(reported(), 24) << tail.output();
    EXPECT_EQ(linesWith(tail.output(), {"/?"}).size(), 0u) << "nothing of them is shown as an event";
    tail.signal(SIGINT);
    EXPECT_EQ(tail.waitFromNow().exitCode, 0);
}

TEST(Tail, EscapesControlCharactersOfNames) {
    Tail tail(testDomainText(2));
    Tail objects(testDomainText(2), {"--json"});
    Writer writer(testDomainText(2), 4);
    writer.command("match 2");
    writer.command("create application 1 0 red\\x1b[31m");
    writer.command("create participant 2 1 two\\x0alines");
    writer.command("create topic 3 2 no\\xffutf8\\xc2\\x9b");
    writer.command("topic 3 \\x1b]0;title\\x07 type");
    writer.command("log \\x1b[2J\\x0d gone");
    for (Tail* each : {&tail, &objects}) {
        each->await({"topic_name"});
        each->await({" gone"});
        for (const char c : each->output())
            EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 || c == '\n') << each->output();
    }
    tail.await(
        {"  red\\x1B[31m  /applications/red\\x1B[31m/domain_participants/two\\x0Alines/topics/no\\xFFutf8"});
    tail.await({"\\x1B]0;title\\x07"});
    for (const std::string& line : linesOf(objects.output()))
        EXPECT_TRUE(json::parse(line, nullptr, false).is_object()) << line;
}

TEST(Tail, ShowsASnapshotOnceAndItsChanges) {
    Tail tail(testDomainText(1), {"--json"});
    Writer writer(testDomainText(1), 5);
    writer.command("match 1");
    writer.command("create participant 3 2 early"); // its application is told in the registry alone
    writer.command("registry snapper");
    writer.command("registry snapper");
    tail.await({"\"created\"", "/domain_participants/registered"});
    tail.await({"\"created\"", "\"/applications/snapper\"", "\"snapshot\":true"});
    writer.command("host ahost 1");
    tail.await({"hostname"});
    EXPECT_EQ(linesWith(tail.output(), {"\"created\"", "/domain_participants/registered"}).size(), 1u);
    EXPECT_EQ(linesWith(tail.output(), {"\"change\":\"created\"", "\"application\":\"snapper\""}).size(),
        linesWith(tail.output(), {"\"change\":\"created\""}).size())
        << "every line has the name, also what came before it was known\n"
        << tail.output();
}

// Periodic samples are best effort, so each value is sent until it is seen.
void tellUntilShown(Writer& writer, Tail& tail, int count) {
    const std::string shown = "  sample_count=" + std::to_string(count) + "  ";
    bool isShown = false;
    for (int i = 0; i < 100 && !isShown; ++i) {
        writer.command("periodic 5 " + std::to_string(count));
        isShown = tail.waitForLine({"/data_writers/w  status_cache  ", shown}, 0.3);
    }
    EXPECT_TRUE(isShown) << count << "\n" << tail.output();
}

TEST(Tail, ShowsPeriodicValuesThatChanged) {
    Tail tail(testDomainText(1));
    Tail all(testDomainText(1), {"--all"});
    Writer writer(testDomainText(1), 6);
    writer.command("match 2");
    writer.command("create application 1 0 stranger");
    writer.command("create participant 2 1 p");
    writer.command("create writer 5 2 w");
    tail.await({"/data_writers/w  created"});
    tellUntilShown(writer, tail, 1001);
    for (int i = 0; i < 5; ++i)
        writer.command("periodic 5 1001");
    tellUntilShown(writer, tail, 1002);
    EXPECT_EQ(linesWith(tail.output(), {"sample_count=1001"}).size(), 1u) << tail.output();
    EXPECT_EQ(linesWith(tail.output(), {"status_cache", "sample_count_peak"}).size(), 0u)
        << "which was zero all the time";
    all.awaitUntil([&] {
        writer.command("periodic 5 1002");
        return linesWith(all.output(), {"sample_count=1002"}).size() >= 2;
    });
    EXPECT_GE(linesWith(all.output(), {"sample_count=1002", "sample_count_peak=0", "[periodic]"}).size(), 2u)
        << all.output();
}

TEST(Tail, ShowsLogMessagesOfSeveralApplicationsAndTheirSnapshots) {
    Tail tail(testDomainText(1));
    Writer first(testDomainText(1), 7);
    Writer second(testDomainText(1), 8);
    for (Writer* writer : {&first, &second})
        writer->command("match 1");
    first.command("create application 1 0 one");
    second.command("create application 1 0 two");
    first.command("message 1 23 0 Discovery no route");
    second.command("message 1 1 0 N/A hello");
    tail.await({"  one  middleware ERROR  sn=0  Discovery  [live 1]  no route"});
    tail.await({"  two  user ERROR  sn=0  N/A  [live 1]  hello"});
    second.command("history 1 1 0 N/A hello");
    second.command("history 1 10 3 Security who goes there");
    tail.await({"  two  security ERROR  sn=3  Security  [snapshot 1]  who goes there"});
    EXPECT_EQ(linesWith(tail.output(), {"hello"}).size(), 1u) << "a snapshot repeats what was shown";
}

TEST(Tail, CountsAtTheEndWhatWasReceivedAndLost) {
    Tail tail(testDomainText(1), {"--stats"});
    Tail objects(testDomainText(1), {"--stats", "--json"});
    Writer writer(testDomainText(1), 9);
    writer.command("match 2");
    writer.command("create application 1 0 stranger");
    writer.command("garbage 2 0");
    writer.command("message 1 1 0 N/A first");
    writer.command("message 4 1 5 N/A last");
    for (Tail* each : {&tail, &objects}) {
        each->await({"last"});
        each->await({"undecodable"});
    }
    EXPECT_EQ(writer.waitFromNow().exitCode, 0);
    for (Tail* each : {&tail, &objects})
        each->await({"gone"});
    tail.signal(SIGINT);
    const Outcome table = tail.waitFromNow();
    EXPECT_EQ(table.exitCode, 0);
    EXPECT_EQ(
        linesWith(table.output, {"  event     samples 1  snapshots 0  lost 0  undecodable 4"}).size(), 1u)
        << table.output;
    EXPECT_EQ(
        linesWith(table.output, {"  logging   samples 2  snapshots 0  lost 0  undecodable 0"}).size(), 1u)
        << table.output;
    EXPECT_EQ(linesWith(table.output, {"  stranger  ", "log epochs 2  log messages 4 of 6  gone"}).size(), 1u)
        << table.output;
    objects.signal(SIGINT);
    const auto lines = linesOf(objects.waitFromNow().output);
    ASSERT_FALSE(lines.empty());
    const json statistics = json::parse(lines.back(), nullptr, false);
    ASSERT_TRUE(statistics.is_object()) << lines.back();
    EXPECT_EQ(statistics.value("change", ""), "statistics");
    EXPECT_EQ(statistics["topics"]["event"].value("undecodable", 0), 4);
    EXPECT_EQ(statistics["applications"][0].value("log_messages_lost", 0), 4);
}

// Whoever comes late is told the whole tree and what holds now, once, and marked as a snapshot.
TEST(Tail, TellsALateComerTheTreeAndTheMetricsOnceAsASnapshot) {
    Tail early(testDomainText(2));
    Application program(testDomainText(2), testDomainText(3), "veteran");
    program.command("participant alpha");
    program.command("participant beta");
    const std::string matched = "current_count=2";
    early.await({"/domain_participants/alpha/", "/data_writers/", "status_publication_matched_1", matched});
    early.await({"/domain_participants/beta/", "/data_readers/", "status_subscription_matched_1", matched});

    Tail late(testDomainText(2));
    for (const char* participant : {"alpha", "beta"}) {
        const std::string path = std::string("/applications/veteran/domain_participants/") + participant;
        late.await({path + "  created", "[snapshot "});
        late.await({path + "  domain_id", "[snapshot "});
        for (const char* kind : {"/topics/Square  ", "/publishers/", "/subscribers/"})
            late.await({path, kind, "  created", "[snapshot "});
        late.await({path, "/data_writers/", "status_publication_matched_1", matched, "[snapshot "});
        late.await({path, "/data_readers/", "status_subscription_matched_1", matched, "[snapshot "});
    }
    program.command("participant gamma"); // what is told after that is live
    late.await({"/domain_participants/gamma  created", "[live "});
    for (const char* kind : {"created", "status_publication_matched_1", "topic_name", "hostname"}) {
        std::map<std::string, int> told;
        for (const std::string& line :
            linesWith(late.output(), {std::string("  ") + kind + "  ", "[snapshot "})) {
            const size_t path = line.find("/applications/");
            ASSERT_NE(path, std::string::npos) << line << "\nin\n" << late.output();
            ++told[line.substr(path, line.find(kind) - path)];
        }
        EXPECT_FALSE(told.empty()) << kind;
        for (const auto& [path, count] : told)
            EXPECT_EQ(count, 1) << path << " " << kind;
    }
    EXPECT_EQ(linesWith(late.output(), {"/?"}).size(), 0u) << late.output();
}

// A program that has the engine hold samples back until it flushes them, by its configuration or by
// dds_write_set_batch, does so for all writers of the process: what of the monitoring did not fill a packet
// came with the next change, whenever that was.
TEST(Tail, ShowsEveryChangeOfAProgramThatBatchesItsWrites) {
    Environment batching = loopbackOnly();
    batching["CYCLONEDDS_URI"] += "<Internal><WriteBatch>true</WriteBatch></Internal>";
    Tail tail(testDomainText(1));
    Application program(testDomainText(1), testDomainText(2), "first", {}, batching);
    for (const std::string name : {"alpha", "beta", "gamma"}) {
        const std::string path = "/domain_participants/" + name;
        program.command("participant " + name);
        tail.await({path + "/", "/data_writers/Square_", "registered_type_name"});
        tail.await({path + "/", "/data_readers/Square_", "registered_type_name"});
        program.command("delete " + name);
        tail.await({path + "  deleted"});
        tail.await({path + "/", "/data_writers/Square_", "  deleted"});
        tail.await({path + "/", "/data_readers/Square_", "  deleted"});
    }
}

TEST(Tail, ShowsTheMemoryOfAMonitoredProgram) {
    Tail tail(testDomainText(2));
    Application program(testDomainText(2), testDomainText(3), "measured",
        {"--select", "//applications/*=dds_application_process_memory_usage*"});
    program.command("participant alpha");
    tail.await({"  measured  /applications/measured  process_utilization_memory_usage  ",
        "resident_memory_bytes=", "[periodic]"});
}

TEST(Tail, FollowsAMonitoredProgram) {
    Tail tail(testDomainText(3));
    Application first(testDomainText(3), testDomainText(0), "first");
    Application second(testDomainText(3), testDomainText(0), "second");
    first.command("participant alpha");
    second.command("participant beta");
    first.command("participant gamma");
    for (const auto& [application, participant] :
        {std::pair("first", "alpha"), std::pair("second", "beta"), std::pair("first", "gamma")}) {
        const std::string path = std::string("  ") + application + "  /applications/" + application +
                                 "/domain_participants/" + participant;
        tail.await({path + "  created  "});
        tail.await({path + "  domain_id  " + testDomainText(0) + "  "});
        tail.await({path + "/topics/Square  topic_name  Square  "});
        tail.await({path + "/publishers/", "/data_writers/Square_", "status_publication_matched_1",
            "current_count=3"});
    }
    EXPECT_EQ(linesWith(tail.output(), {"/applications/first", "beta"}).size(), 0u);
    EXPECT_EQ(linesWith(tail.output(), {"/applications/second", "alpha"}).size(), 0u);
    EXPECT_EQ(linesWith(tail.output(), {"/?"}).size(), 0u) << tail.output();

    // The end of a participant ends its subtree, and no other.
    first.command("delete alpha");
    const std::string gone = "/applications/first/domain_participants/alpha";
    tail.await({gone + "  deleted"});
    for (const char* kind :
        {"/topics/Square  ", "/publishers/", "/subscribers/", "/data_writers/", "/data_readers/"})
        tail.await({gone, kind, "  deleted"});
    EXPECT_EQ(linesWith(tail.output(), {"gamma", "deleted"}).size(), 0u);
    tail.await({"/applications/second/domain_participants/beta/", "status_publication_matched_1",
        "current_count=2"});

    // Whoever dies without a word is missed when its lease ends; the other lives on.
    second.signal(SIGKILL);
    EXPECT_EQ(second.waitFromNow().signal, SIGKILL);
    tail.await({"  second  /applications/second  gone"}, 40);
    EXPECT_EQ(linesWith(tail.output(), {"  first  ", "gone"}).size(), 0u);
    first.command("participant delta");
    tail.await({"/applications/first/domain_participants/delta  created"});
    tail.signal(SIGINT);
    EXPECT_EQ(tail.waitFromNow().exitCode, 0);
}

} // namespace
