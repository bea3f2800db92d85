// A reader made by idlc from the installed IDL, which knows nothing of this project, decodes what is
// published.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <memory>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/Loopback.hpp"

namespace {

std::unique_ptr<Process> startReader(const std::string& domain) {
    auto reader = std::make_unique<Process>(Command{testProgram("interop_Reader"), domain}, loopbackOnly());
    EXPECT_TRUE(reader->waitForLine({"reading"})) << reader->errors();
    return reader;
}

Command monitored(const std::string& domain, const std::string& name, const Command& program) {
    Command command{bin("orx-run"), "--domain", domain, "--app-name", name, "--"};
    command.insert(command.end(), program.begin(), program.end());
    return command;
}

// What follows "key=" in the line, up to a space.
std::string valueOf(const std::string& line, const std::string& key) {
    const size_t at = line.find(" " + key + "=");
    if (at == std::string::npos)
        return "";
    const size_t begin = at + key.size() + 2;
    return line.substr(begin, line.find(' ', begin) - begin);
}

// The first line with all the parts; waits for it.
std::string awaitLine(Process& process, const std::vector<std::string>& parts) {
    std::string wanted;
    for (const std::string& part : parts)
        wanted += part + " ";
    EXPECT_TRUE(process.waitForLine(parts, testing::Test::HasFailure() ? 1 : patience))
        << "no line with: " << wanted << "\nbut:\n"
        << process.output() << process.errors();
    const auto lines = linesWith(process.output(), parts);
    return lines.empty() ? "" : lines.front();
}

const std::string noGuid(32, '0');

// One sample or snapshot of every entity of a participant with a topic, a writer and a reader; `said` is the
// word for an entry, and what is read is that of the named application alone.
struct Tree {
    std::string application, participant, topic, publisher, subscriber, writer, reader;
};

Tree awaitTree(Process& reader, const std::string& said, const std::string& application) {
    Tree tree;
    tree.application = awaitLine(reader, {said, " class=application", " name=" + application + " "});
    const std::string root = " root=" + valueOf(tree.application, "guid");
    const auto entry = [&](const std::string& kind) {
        return awaitLine(reader, {said, " class=" + kind + " ", root});
    };
    tree.participant = entry("participant");
    tree.topic = entry("topic");
    tree.publisher = entry("publisher");
    tree.subscriber = entry("subscriber");
    tree.writer = entry("writer");
    tree.reader = entry("reader");
    return tree;
}

void expectOwners(const Tree& tree) {
    EXPECT_EQ(valueOf(tree.application, "owner"), noGuid);
    EXPECT_EQ(valueOf(tree.participant, "owner"), valueOf(tree.application, "guid"));
    EXPECT_EQ(valueOf(tree.topic, "owner"), valueOf(tree.participant, "guid"));
    EXPECT_EQ(valueOf(tree.publisher, "owner"), valueOf(tree.participant, "guid"));
    EXPECT_EQ(valueOf(tree.subscriber, "owner"), valueOf(tree.participant, "guid"));
    EXPECT_EQ(valueOf(tree.writer, "owner"), valueOf(tree.publisher, "guid"));
    EXPECT_EQ(valueOf(tree.reader, "owner"), valueOf(tree.subscriber, "guid"));
    for (const std::string& line : {tree.topic, tree.writer, tree.reader})
        EXPECT_GT(std::stoi("0" + valueOf(line, "metrics")), 0) << line;
}

// Label groups and statuses of the tree's entities.
void expectGroups(Process& reader, const Tree& tree, const std::string& domain, const std::string& topicName,
    const std::string& typeName, const std::string& snapshot) {
    const std::string end = "snapshot=" + snapshot;
    const auto about = [](const std::string& line) { return "resource=" + valueOf(line, "guid") + " "; };
    awaitLine(reader, {"domain_id participant", about(tree.participant), " value=" + domain + " ", end});
    awaitLine(reader, {"product_version participant", about(tree.participant), " value=0.10.2 ", end});
    awaitLine(reader, {"platform participant", about(tree.participant), "inux", end});
    for (const auto& [kind, line] : {std::pair("topic", tree.topic), std::pair("writer", tree.writer),
             std::pair("reader", tree.reader)}) {
        const std::string ofKind = std::string(" ") + kind + " ";
        awaitLine(reader, {"topic_name" + ofKind, about(line), " value=" + topicName + " ", end});
        awaitLine(reader, {"registered_type_name" + ofKind, about(line), " value=" + typeName + " ", end});
        const std::string guid = awaitLine(reader, {"dds_guid" + ofKind, about(line), end});
        EXPECT_NE(valueOf(guid, "value"), noGuid) << guid;
    }
}

TEST(Interop, AReaderOfIdlcDecodesTheLifeOfAnApplication) {
    const std::string domain = testDomainText(2);
    // Told apart from whatever else may run on this host.
    const std::string name = "shapes" + std::to_string(getpid());
    const std::string alpha = "alpha" + std::to_string(getpid());
    const auto early = startReader(domain);
    Process application(
        monitored(domain, name, {testProgram("interop_Application"), testDomainText(0)}), loopbackOnly());
    application.say("participant " + alpha);
    ASSERT_TRUE(application.waitForLine({"done participant " + alpha})) << application.errors();

    // Whoever was there before reads of every creation, as a change or in a snapshot that was made just then.
    const std::string first = awaitLine(*early, {"class=participant", " name=" + alpha + " "});
    const std::string root = " root=" + valueOf(first, "root");
    awaitLine(*early, {"publication_matched_1 writer", " current=1 ", " peak=1 ", root});

    // Whoever comes later reads the whole registry and the last values.
    const auto late = startReader(domain);
    const Tree tree = awaitTree(*late, "registered application", name);
    expectOwners(tree);
    EXPECT_EQ(valueOf(tree.participant, "name"), alpha);
    EXPECT_EQ(valueOf(tree.topic, "name"), "Square");
    EXPECT_EQ(valueOf(tree.application, "children"), "1");
    EXPECT_EQ(valueOf(tree.application, "root"), valueOf(first, "root"));
    for (const std::string& line : {tree.application, tree.participant, tree.reader})
        EXPECT_EQ(valueOf(line, "snapshot"), "1");
    awaitLine(*late, {"registry application", " resources=7 ", root, "snapshot=1"});
    awaitLine(*late, {"process_id application", " value=" + std::to_string(application.id()) + " "});
    awaitLine(*late, {"hostname application", " value=", root});
    expectGroups(*late, tree, testDomainText(0), "Square", "AgentTest::Message", "1");
    awaitLine(*late, {"publication_matched_1 writer", " total=1 current=1 ", root, "snapshot=1"});

    // Both read of what happens from now on.
    application.say("participant beta");
    for (Process* reader : {early.get(), late.get()}) {
        const std::string created = awaitLine(*reader, {"created application", " name=beta ", root});
        EXPECT_EQ(valueOf(created, "snapshot"), "0");
        EXPECT_EQ(valueOf(created, "owner"), valueOf(tree.application, "guid"));
        EXPECT_EQ(valueOf(created, "resource"), valueOf(tree.application, "guid"));
    }
    awaitLine(*late, {"publication_matched_1 writer", " current=2 ", root, "snapshot=0"});
    application.say("delete " + alpha);
    for (Process* reader : {early.get(), late.get()})
        awaitLine(*reader, {"deleted application", " guid=" + valueOf(tree.participant, "guid") + " "});
    EXPECT_EQ(application.waitFromNow().exitCode, 0) << application.errors();
    EXPECT_EQ(application.errors(), "");
}

TEST(Interop, AReaderOfIdlcDecodesWhatDdsperfDoes) {
    if (isSanitized())
        GTEST_SKIP() << "ddsperf has no sanitizer, so an agent that has one cannot be loaded into it";
    const std::string domain = testDomainText(3);
    const auto reader = startReader(domain);
    Process program(monitored(domain, "perf",
                        {"ddsperf", "-i", testDomainText(1), "-D", "60", "pub", "100Hz", "size", "64"}),
        loopbackOnly());
    Process peer({"ddsperf", "-i", testDomainText(1), "-D", "60", "sub"}, loopbackOnly());
    awaitLine(*reader, {"topic_name writer", " value=DDSPerfRDataKS "});
    awaitLine(*reader, {"registered_type_name writer", " value=KeyedSeq "});
    awaitLine(*reader, {"domain_id participant", " value=" + testDomainText(1) + " "});
    awaitLine(*reader, {"publication_matched_1 writer", " current=1 "});
    const auto late = startReader(domain);
    expectOwners(awaitTree(*late, "registered application", "perf"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.waitFromNow().exitCode, 0) << program.errors();
}

TEST(Interop, AReaderOfIdlcTellsApplicationsApart) {
    const std::string domain = testDomainText(2);
    const auto reader = startReader(domain);
    Process first(
        monitored(domain, "first", {testProgram("interop_Application"), testDomainText(0)}), loopbackOnly());
    Process second(
        monitored(domain, "second", {testProgram("interop_Application"), testDomainText(0)}), loopbackOnly());
    first.say("participant one");
    second.say("participant two");
    const std::string one = awaitLine(*reader, {"class=participant", " name=one "});
    const std::string two = awaitLine(*reader, {"class=participant", " name=two "});
    EXPECT_NE(valueOf(one, "root"), valueOf(two, "root"));
    for (Process* process : {&first, &second})
        EXPECT_EQ(process->waitFromNow().exitCode, 0) << process->errors();
}

} // namespace
