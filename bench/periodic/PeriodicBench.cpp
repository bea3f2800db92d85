// What a pass of the periodic collector costs for each resource, and what it costs a thread that asserts and
// deletes resources meanwhile.
//
// Half of the resources are writers and half readers, all of their metrics selected; the values are handed
// out as an agent does. A library for each size stands in a process of its own, and they take turns.
#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench/common/Child.hpp"
#include "bench/common/Compare.hpp"
#include "bench/periodic/Walked.hpp"

namespace {

constexpr std::size_t sizes[] = {1'000, 3'000, 10'000, 30'000};
constexpr std::size_t churnedSize = 10'000;
// In one turn, so that small trees do not pay more than others for their begin.
constexpr std::size_t visits = 10'000;
constexpr std::size_t rounds = 60;
constexpr std::size_t calls = 500;
constexpr std::size_t churnRounds = 30;

enum Question : std::size_t { pass = 1, churnAtRest, churnDuringPasses };

bench::Child::Answer answerTo(bench::Walked& walked, std::size_t question) {
    if (question == pass) {
        const auto measured = walked.pass(visits);
        return {measured.nanoseconds, measured.written, measured.dropped};
    }
    const auto churn = walked.churn(calls, question == churnDuringPasses);
    return {churn.assertion.p50, churn.assertion.p99, churn.assertion.longest, churn.deletion.p50,
        churn.deletion.p99, churn.deletion.longest};
}

std::unique_ptr<bench::Child> makeChild(std::size_t resources) {
    return std::make_unique<bench::Child>([resources]() -> bench::Child::Handler {
        auto walked = std::make_shared<bench::Walked>(resources);
        return [walked](std::size_t question) { return answerTo(*walked, question); };
    });
}

bench::Table measurePasses(std::vector<std::unique_ptr<bench::Child>>& children) {
    std::vector<bench::Candidate> candidates;
    std::vector<bench::Child::Answer> last(children.size());
    for (std::size_t i = 0; i < children.size(); ++i) {
        bench::Candidate candidate;
        candidate.name = "n = " + std::to_string(sizes[i]);
        candidate.timed = [&children, &last, i](std::size_t) {
            last[i] = children[i]->ask(pass);
            return last[i][0];
        };
        candidates.push_back(std::move(candidate));
    }
    bench::Table table = bench::compare("A periodic pass over n resources, for each of them",
        "CPU time; writers and readers with all their metrics; ratio to the smallest; in parentheses the "
        "percentage of "
        "samples that found the writer's queue full",
        candidates, 1, rounds);
    for (std::size_t i = 0; i < children.size(); ++i)
        table.rows[i].perPiece = 100 * last[i][2] / (last[i][1] + last[i][2]);
    return table;
}

double medianOf(std::vector<double> values) {
    std::nth_element(
        values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

// Figures of one kind of call, from rounds that take turns.
struct Calls {
    std::vector<double> p50, p99, longest;
    void add(const double* waits) {
        p50.push_back(waits[0]);
        p99.push_back(waits[1]);
        longest.push_back(waits[2]);
    }
    bench::Row row(const std::string& name, const Calls& reference) const {
        bench::Row row;
        row.name = name;
        row.nanoseconds = row.p50 = medianOf(p50);
        row.p99 = medianOf(p99);
        row.perPiece = medianOf(longest) / 1000;
        row.ratio = row.ratioLow = row.ratioHigh = row.p50 / medianOf(reference.p50);
        return row;
    }
};

bench::Table measureWaits(const bench::Child& child) {
    Calls assertAtRest, assertDuring, deleteAtRest, deleteDuring;
    for (std::size_t round = 0; round < churnRounds; ++round) {
        const auto atRest = child.ask(churnAtRest);
        const auto during = child.ask(churnDuringPasses);
        assertAtRest.add(&atRest[0]);
        assertDuring.add(&during[0]);
        deleteAtRest.add(&atRest[3]);
        deleteDuring.add(&during[3]);
    }
    return {"Asserting and deleting while passes follow each other",
        "one thread, " + std::to_string(churnedSize) +
            " resources; ratio of medians to the collector at rest; in parentheses the longest of " +
            std::to_string(calls) + " calls in microseconds, its median",
        {assertAtRest.row("assert, the collector at rest", assertAtRest),
            assertDuring.row("assert, during passes", assertAtRest),
            deleteAtRest.row("delete, the collector at rest", deleteAtRest),
            deleteDuring.row("delete, during passes", deleteAtRest)}};
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::unique_ptr<bench::Child>> children;
    for (const std::size_t size : sizes) {
        children.push_back(makeChild(size));
        children.back()->waitUntilBuilt();
    }
    std::vector<bench::Table> tables;
    tables.push_back(measurePasses(children));
    children.clear();
    const auto churned = makeChild(churnedSize);
    churned->waitUntilBuilt();
    tables.push_back(measureWaits(*churned));
    for (const bench::Table& table : tables)
        bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    return 0;
}
