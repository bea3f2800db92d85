// Readers of the monitoring that stall or are killed, while the program is under full event, periodic and log
// load.
//
// A program without the agent runs beside the one with it, with the same load: what the machine does
// meanwhile happens to both, so that their times can be compared.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <regex>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/Loopback.hpp"

namespace {

using Clock = std::chrono::steady_clock;

// How much more memory the monitoring may take, whatever its readers do: the queues of its writers, the
// engine's threads, and the histories.
constexpr unsigned long ceilingKib = 64 * 1024;

double stallSeconds() {
    return isSanitized() ? 4 : 20;
}

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

struct Figures {
    unsigned long count = 0, p50 = 0, p90 = 0, p99 = 0, max = 0, memory = 0;
};

class Load : public Process {
public:
    Load(const Command& command, const std::string& domain, Environment more = {})
        : Process(command, environment(domain, std::move(more))) {
        EXPECT_TRUE(waitForLine({"ready"})) << errors();
    }
    void begin() {
        say("begin");
        EXPECT_TRUE(waitForLine({"begun"})) << errors();
    }
    Figures report() {
        const size_t before = linesWith(output(), {"report "}).size();
        say("report");
        while (linesWith(output(), {"report "}).size() == before) {
            if (!waitForMore())
                break;
        }
        Figures figures;
        const auto lines = linesWith(output(), {"report "});
        EXPECT_EQ(lines.size(), before + 1) << errors();
        if (!lines.empty()) {
            EXPECT_EQ(std::sscanf(lines.back().c_str(),
                          "report count %lu p50 %lu p90 %lu p99 %lu max %lu memory %lu", &figures.count,
                          &figures.p50, &figures.p90, &figures.p99, &figures.max, &figures.memory),
                6);
        }
        return figures;
    }
    // Ends it, and gives how long the process took from the last that its main function did.
    double secondsToEnd() {
        say("end");
        EXPECT_TRUE(waitForLine({"ending"})) << errors();
        const auto begin = Clock::now();
        const Outcome outcome = waitFromNow();
        EXPECT_FALSE(outcome.isLate);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        return secondsSince(begin);
    }

private:
    bool waitForMore() {
        const size_t lines = linesOf(output()).size();
        const auto begin = Clock::now();
        while (linesOf(output()).size() == lines && secondsSince(begin) < patience)
            waitForLine({"no such line"}, 0.05);
        return linesOf(output()).size() > lines;
    }
    static Environment environment(const std::string& domain, Environment all) {
        all.merge(loopbackOnly());
        all["PROGRAM_DOMAIN"] = domain;
        return all;
    }
};

Command program() {
    return {testProgram("stall_LoadProgram")};
}
// Everything selected, and published as often as can be.
Command underAgent() {
    return {bin("orx-run"), "--domain", testDomainText(2), "--app-name", "loaded", "--select", "//*=*",
        "--polling-period", "0.1", "--forward", "debug", "--collect", "debug", "--",
        testProgram("stall_LoadProgram")};
}
Command tail() {
    return {bin("orx-tail"), "--domain", testDomainText(2)};
}

void awaitEvents(Process& reader) {
    ASSERT_TRUE(reader.waitForLine({"/applications/loaded/domain_participants/"})) << reader.errors();
}

// The bounds are wide, for machines that do much else; a write that waited for a stalled reader would take as
// long as the engine lets it wait, a hundred milliseconds and more, and would do so often.
void compare(const Figures& with, const Figures& without) {
    const double slower = isSanitized() ? 10 : 3;
    std::printf("with the agent:    %lu writes, p50 %lu, p90 %lu, p99 %lu, max %lu ns, %lu KiB\n", with.count,
        with.p50, with.p90, with.p99, with.max, with.memory);
    std::printf("without the agent: %lu writes, p50 %lu, p90 %lu, p99 %lu, max %lu ns, %lu KiB\n",
        without.count, without.p50, without.p90, without.p99, without.max, without.memory);
    EXPECT_LT(static_cast<double>(with.p50), slower * static_cast<double>(without.p50) + 50e3);
    EXPECT_LT(static_cast<double>(with.p90), slower * static_cast<double>(without.p90) + 200e3);
    EXPECT_LT(static_cast<double>(with.p99), slower * static_cast<double>(without.p99) + 5e6);
    EXPECT_LT(static_cast<double>(with.max), slower * static_cast<double>(without.max) + 500e6);
    EXPECT_GT(with.count, without.count / 2);
}

// A wait for the reader would be longer by far. That the end takes less than a second is measured where it
// can be measured again, since the machine itself may take a second.
double endSlack() {
    return isSanitized() ? 10 : 3;
}

TEST(Stall, AStoppedReaderHoldsNoThreadOfTheProgramUp) {
    Process reader(tail(), loopbackOnly());
    Load without(program(), testDomainText(0));
    Load with(underAgent(), testDomainText(1));
    awaitEvents(reader);
    reader.signal(SIGSTOP);
    without.begin();
    with.begin();
    const auto begin = Clock::now();
    while (secondsSince(begin) < stallSeconds())
        with.waitForLine({"no such line"}, 0.5);
    const Figures figures = with.report();
    const Figures plain = without.report();
    compare(figures, plain);
    if (!isSanitized()) { // whose own memory is another matter
        EXPECT_LT(figures.memory, plain.memory + ceilingKib);
    }
    const double plainEnd = without.secondsToEnd();
    EXPECT_LT(with.secondsToEnd(), plainEnd + endSlack()) << "with the reader still stopped";
    std::printf("%s", with.errors().c_str());
    reader.signal(SIGCONT);
    reader.signal(SIGINT);
    EXPECT_EQ(reader.waitFromNow().exitCode, 0) << "the reader goes on, too";
}

// "... dropped: queue full 7, time-out 2; published: 9" as counts.
std::map<std::string, unsigned long long> countsByCause(const std::string& line) {
    std::map<std::string, unsigned long long> counts;
    const std::regex count("([a-z][a-z -]*[a-z]):? ([0-9]+)");
    const size_t begin = line.find("dropped: ") + std::string("dropped: ").size();
    const std::string text = line.substr(begin, line.find(" (", begin) - begin); // behind it: from where
    for (std::sregex_iterator at(text.begin(), text.end(), count), end; at != end; ++at)
        counts[(*at)[1]] = std::stoull((*at)[2]);
    return counts;
}

// More events than the queues hold for a reader that takes none.
TEST(Stall, WhatIsDroppedIsCountedByCauseAndToldOnce) {
    if (isSanitized())
        GTEST_SKIP() << "too slow to fill the queues";
    // Waited for longer than any machine takes to fill the queues: a reader that is given up frees them.
    Process reader(tail(), loopbackOnly(120));
    Command command = underAgent();
    command.insert(command.begin() + 1, {"--event-period", "0"});
    Load load(command, testDomainText(1), {{"LOAD_EVENT_PERIOD_US", "50"}});
    awaitEvents(reader);
    reader.signal(SIGSTOP);
    const std::vector<std::string> full = {"to the full queue of its writer"};
    const auto begin = Clock::now();
    while (linesWith(load.errors(), full).empty() && secondsSince(begin) < 2 * patience)
        load.waitForLine({"no such line"}, 0.1);
    ASSERT_FALSE(linesWith(load.errors(), full).empty()) << "no queue was full within the test's patience";
    load.begin();
    const auto loaded = Clock::now();
    while (secondsSince(loaded) < 5)
        load.waitForLine({"no such line"}, 0.1);
    const Figures figures = load.report();
    EXPECT_LT(load.secondsToEnd(), 1 + endSlack());
    const auto told = linesWith(load.errors(), {"samples of the monitoring were dropped: queue full "});
    ASSERT_EQ(told.size(), 1u) << load.errors().substr(0, 4000);
    const std::map<std::string, unsigned long long> counts = countsByCause(told[0]);
    EXPECT_GT(counts.at("queue full"), 0u) << told[0];
    EXPECT_GT(counts.at("published"), 0u) << told[0];
    for (const auto& [cause, count] : counts) {
        EXPECT_TRUE(cause == "queue full" || cause == "published" || cause == "refused by the engine" ||
                    cause == "time-out" || cause == "no destination in time")
            << cause << ": none of the causes that a reader which stands still can be";
        EXPECT_GT(count, 0u) << cause << " had not to be told";
    }
    EXPECT_LT(linesOf(load.errors()).size(), 500u) << "a flood of drops is no flood of lines";
    EXPECT_LT(figures.memory, 2 * ceilingKib);
    std::printf("%s, %lu KiB at most\n", told[0].c_str(), figures.memory);
    reader.signal(SIGKILL);
}

// While the dead reader is not given up, the queues hold what comes for it. No more comes than they hold,
// since the next reader would miss what was dropped.
TEST(Stall, AKilledReaderHoldsNobodyUpAndTheNextOneSeesEverything) {
    Environment load;
    if (isSanitized())
        load["LOAD_EVENT_PERIOD_US"] = "20000";
    auto reader = std::make_unique<Process>(tail(), loopbackOnly());
    Load without(program(), testDomainText(0), load);
    Load with(underAgent(), testDomainText(1), load);
    awaitEvents(*reader);
    without.begin();
    with.begin();
    reader->signal(SIGKILL);
    reader = std::make_unique<Process>(tail(), loopbackOnly());
    awaitEvents(*reader);
    EXPECT_TRUE(reader->waitForLine({"/data_writers/load_", "topic_name"})) << reader->output();
    const Figures figures = with.report();
    compare(figures, without.report());
    const double plainEnd = without.secondsToEnd();
    EXPECT_LT(with.secondsToEnd(), plainEnd + endSlack());
}

} // namespace
