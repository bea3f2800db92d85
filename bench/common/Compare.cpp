#include "bench/common/Compare.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double nanosecondsOf(const std::function<void(std::size_t)>& run, std::size_t batch) {
    const auto start = Clock::now();
    run(batch);
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() /
           static_cast<double>(batch);
}

double percentile(std::vector<double> values, double part) {
    if (values.empty())
        return 0;
    const auto at = static_cast<std::size_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
    return values[at];
}

using Times = std::vector<double>; // one for each round

Times ratiosOf(const Times& times, const Times& reference) {
    Times ratios;
    for (std::size_t round = 0; round < times.size(); ++round)
        ratios.push_back(times[round] / reference[round]);
    return ratios;
}

} // namespace

Table compare(std::string title, std::string note, std::vector<Candidate>& candidates, std::size_t batch,
    std::size_t rounds, const SecondReference* second) {
    std::vector<Times> times(candidates.size());
    for (std::size_t round = 0; round < rounds + 1; ++round) {
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            candidates[i].beforeBatch();
            const double time =
                candidates[i].timed ? candidates[i].timed(batch) : nanosecondsOf(candidates[i].run, batch);
            candidates[i].afterBatch();
            if (round != 0)
                times[i].push_back(time); // the first round warms up
        }
    }
    Table table{std::move(title), std::move(note), {}, second != nullptr ? second->head : std::string{}};
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const Times ratios = ratiosOf(times[i], times[0]);
        Row row;
        row.name = candidates[i].name;
        row.nanoseconds = percentile(times[i], 0.5);
        row.ratio = percentile(ratios, 0.5);
        row.ratioLow = percentile(ratios, 0.1);
        row.ratioHigh = percentile(ratios, 0.9);
        if (second != nullptr)
            row.secondRatio = percentile(ratiosOf(times[i], times[second->candidate]), 0.5);
        table.rows.push_back(std::move(row));
    }
    return table;
}

void samplePercentiles(Row& row, const std::function<void()>& once, std::size_t count) {
    std::vector<double> empty;
    std::vector<double> times;
    for (std::size_t i = 0; i < count; ++i) {
        const auto before = Clock::now();
        const auto start = Clock::now();
        once();
        const auto end = Clock::now();
        empty.push_back(std::chrono::duration<double, std::nano>(start - before).count());
        times.push_back(std::chrono::duration<double, std::nano>(end - start).count());
    }
    const double clockCost = percentile(empty, 0.5);
    row.p50 = std::max(0.0, percentile(times, 0.5) - clockCost);
    row.p99 = std::max(0.0, percentile(times, 0.99) - clockCost);
}

void print(const Table& table) {
    std::printf("\n%s\n  %s\n", table.title.c_str(), table.note.c_str());
    const int secondWidth = table.second.empty() ? 0 : 10;
    std::printf("  %-44s %12s %8s %17s%*s %10s %10s %8s\n", "", "ns", "ratio", "p10..p90", secondWidth,
        table.second.c_str(), "p50 ns", "p99 ns", "heap");
    for (const Row& row : table.rows) {
        std::printf("  %-44s %12.1f %8.3f %8.3f..%-7.3f", row.name.c_str(), row.nanoseconds, row.ratio,
            row.ratioLow, row.ratioHigh);
        if (row.secondRatio >= 0)
            std::printf(" %9.3f", row.secondRatio);
        if (row.p99 > 0)
            std::printf(" %10.1f %10.1f", row.p50, row.p99);
        else
            std::printf(" %10s %10s", "-", "-");
        if (row.heapCalls >= 0)
            std::printf(" %8.3f", row.heapCalls);
        if (row.perPiece >= 0)
            std::printf("  (%.1f)", row.perPiece);
        std::printf("\n");
    }
    std::fflush(stdout);
}

void writeJson(const std::string& file, const std::vector<Table>& tables) {
    if (file.empty())
        return;
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Table& table : tables) {
        nlohmann::ordered_json rows = nlohmann::ordered_json::array();
        for (const Row& row : table.rows) {
            nlohmann::ordered_json item{{"name", row.name}, {"nanoseconds", row.nanoseconds},
                {"ratio", row.ratio}, {"ratio_p10", row.ratioLow}, {"ratio_p90", row.ratioHigh}};
            if (row.secondRatio >= 0)
                item["ratio_" + table.second] = row.secondRatio;
            if (row.p99 > 0) {
                item["p50_nanoseconds"] = row.p50;
                item["p99_nanoseconds"] = row.p99;
            }
            if (row.heapCalls >= 0)
                item["heap_calls"] = row.heapCalls;
            if (row.perPiece >= 0)
                item["per_piece"] = row.perPiece;
            rows.push_back(std::move(item));
        }
        all.push_back({{"title", table.title}, {"note", table.note}, {"rows", std::move(rows)}});
    }
    std::ofstream(file) << all.dump(2) << '\n';
}

} // namespace bench
