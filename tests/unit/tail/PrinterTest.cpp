#include "tail/Printer.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using tail::Change;
using tail::ChangeKind;
using tail::Printer;

Change sampleChange() {
    Change change;
    change.timeNs = 1'700'000'000'123'456'789;
    change.topic = "event";
    change.application = "app";
    change.path = "/applications/app/domain_participants/p";
    change.classId = 99258059;
    change.group = "domain_id";
    change.values = {{"domain_id", "7", false}, {"platform", "x86 \x1B", true}};
    change.snapshot = true;
    change.epochs = {3, 14};
    return change;
}

TEST(Printer, PersonLineHoldsTimeApplicationPathGroupValuesOriginAndEpochs) {
    EXPECT_EQ(Printer::personLine(sampleChange()),
        "22:13:20.123  app  /applications/app/domain_participants/p  domain_id  domain_id=7  platform=x86 "
        "\\x1B  "
        "[snapshot 3/14]");
}

TEST(Printer, PersonLineShowsTheHandleOfNobodyShortly) {
    Change change = sampleChange();
    change.values = {{"handle", std::string(48, '0'), true}, {"zeros", "000", true}};
    EXPECT_NE(Printer::personLine(change).find("  handle=-  zeros=000  "), std::string::npos);
}

TEST(Printer, ColoursAreAllThatATerminalGetsMore) {
    std::string line = Printer::personLine(sampleChange(), true);
    EXPECT_NE(line.find("\x1B["), std::string::npos);
    for (std::size_t at; (at = line.find('\x1B')) != std::string::npos;)
        line.erase(at, line.find('m', at) + 1 - at);
    EXPECT_EQ(line, Printer::personLine(sampleChange()));
}

TEST(Printer, TreeIsIndentedAndInTheOrderOfClassAndName) {
    tail::ResourceTree tree;
    const auto put = [&](unsigned char guid, unsigned char owner, std::uint32_t classId, const char* name) {
        tree.put({tail::Guid{guid}, tail::Guid{owner}, tail::Guid{1}, classId, name, {}});
    };
    put(1, 0, 265647670, "app");
    put(9, 1, 99258059, "p\n2");
    put(8, 1, 99258059, "p1");
    put(7, 8, 208182173, "t");
    put(6, 8, 116239698, "q");
    put(5, 4, 208182173, "orphan");
    std::ostringstream out;
    Printer(out, false).print(tree);
    EXPECT_EQ(out.str(), "applications/app\n"
                         "  domain_participants/p\\x0A2\n"
                         "  domain_participants/p1\n"
                         "    publishers/q\n"
                         "    topics/t\n"
                         "topics/orphan\n");
}

TEST(Printer, PersonLineOfALiveDeletionNamesTheChange) {
    Change change = sampleChange();
    change.kind = ChangeKind::deleted;
    change.group.clear();
    change.values.clear();
    change.snapshot = false;
    EXPECT_EQ(Printer::personLine(change),
        "22:13:20.123  app  /applications/app/domain_participants/p  deleted  [live 3/14]");
}

Change logChange() {
    Change change;
    change.kind = ChangeKind::log;
    change.timeNs = 1'700'000'000'123'456'789;
    change.topic = "logging";
    change.application = "app";
    change.path = "/applications/app";
    change.classId = 265647670;
    change.values = {{"facility", "middleware", true}, {"severity", "ERROR", true}, {"sn", "7", false},
        {"category", "Discovery", true}, {"message", "disk\n\x1B[2Jfull [live 9]", true}};
    change.logEpoch = 3;
    return change;
}

TEST(Printer, LogMessageIsOneLineWithItsOriginBeforeTheText) {
    EXPECT_EQ(Printer::personLine(logChange()),
        "22:13:20.123  app  middleware ERROR  sn=7  Discovery  [live 3]  disk\\x0A\\x1B[2Jfull [live 9]");
    Change change = logChange();
    change.snapshot = true;
    EXPECT_NE(Printer::personLine(change).find("  [snapshot 3]  disk"), std::string::npos);
}

TEST(Printer, LogMessageOfJsonHasAllMembers) {
    const auto line = nlohmann::json::parse(Printer::jsonLine(logChange()));
    EXPECT_EQ(line["change"], "log");
    EXPECT_EQ(line["snapshot"], false);
    EXPECT_EQ(line["epoch"], 3);
    EXPECT_EQ(line["values"]["sn"], 7);
    EXPECT_EQ(line["values"]["severity"], "ERROR");
    EXPECT_EQ(line["values"]["message"], "disk\n\x1B[2Jfull [live 9]");
}

TEST(Printer, PeriodicLineIsMarked) {
    Change change = sampleChange();
    change.topic = "periodic";
    change.snapshot = false;
    change.epochs.reset();
    EXPECT_TRUE(Printer::personLine(change).ends_with("  [periodic]"));
    EXPECT_FALSE(nlohmann::json::parse(Printer::jsonLine(change)).contains("snapshot"));
}

TEST(Printer, StatisticsAreATableOrAnObject) {
    tail::Statistics statistics;
    statistics.received("event", tail::Guid{1}, 1, true);
    statistics.received("event", tail::Guid{1}, 4, false);
    statistics.undecodable("periodic", 5);
    statistics.notCached("logging", 6);
    statistics.logMessage(tail::Guid{2}, 1, 10);
    statistics.logMessage(tail::Guid{2}, 1, 12);
    statistics.name(tail::Guid{2}, "app");
    statistics.gone(tail::Guid{2});
    std::ostringstream table;
    Printer(table, false).print(statistics);
    EXPECT_EQ(table.str(),
        "received, by topic\n"
        "  event     samples 2  snapshots 1  lost 2  undecodable 0  not read in time 0\n"
        "  periodic  samples 0  snapshots 0  lost 0  undecodable 5  not read in time 0\n"
        "  logging   samples 0  snapshots 0  lost 0  undecodable 0  not read in time 6\n"
        "lost, by application\n"
        "  app  resource epochs 0  metric epochs 0  log epochs 0  log messages 1 of 3  gone\n");
    std::ostringstream object;
    Printer(object, true).print(statistics);
    const auto line = nlohmann::json::parse(object.str());
    EXPECT_EQ(line["change"], "statistics");
    EXPECT_EQ(line["topics"]["event"]["lost"], 2);
    EXPECT_EQ(line["topics"]["logging"]["not_read_in_time"], 6);
    EXPECT_EQ(line["applications"][0]["log_messages_lost"], 1);
    EXPECT_EQ(line["applications"][0]["gone"], true);
}

TEST(Printer, JsonLineParsesBackWithTypedValues) {
    const auto line = nlohmann::json::parse(Printer::jsonLine(sampleChange()));
    EXPECT_EQ(line["time"], "2023-11-14T22:13:20.123456789Z");
    EXPECT_EQ(line["class"], "domain_participants");
    EXPECT_EQ(line["values"]["domain_id"], 7);
    EXPECT_EQ(line["values"]["platform"], "x86 \x1B");
    EXPECT_EQ(line["snapshot"], true);
    EXPECT_EQ(line["epoch_metric"], 14);
}

TEST(Printer, JsonLineSurvivesTextThatIsNoUtf8AndNumbersThatAreNone) {
    Change change = sampleChange();
    change.values = {{"a", "\xFF\xFE", true}, {"b", "nan", false}};
    const auto line = nlohmann::json::parse(Printer::jsonLine(change));
    EXPECT_EQ(line["values"]["b"], "nan");
}

TEST(Printer, EveryChangeIsOneLine) {
    std::ostringstream out;
    Printer printer(out, false);
    Change change = sampleChange();
    change.application = tail::escaped("two\nlines");
    printer.print(change);
    printer.print(change);
    const std::string text = out.str();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST(ClockText, RoundsDownAlsoBefore1970) {
    EXPECT_EQ(tail::clockText(-1), "23:59:59.999");
    EXPECT_EQ(tail::timestampText(-1), "1969-12-31T23:59:59.999999999Z");
}

} // namespace
