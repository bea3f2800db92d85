// What a scrape costs and a series takes, beside a registry of prometheus-cpp with the same series.
//
// Applications of five writers and five readers each, with all their metrics and with names as long as those
// of an agent. The peer's registry is filled from our own text, so that both write the same lines.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/collector/Peer.hpp"
#include "bench/common/Child.hpp"
#include "bench/common/Compare.hpp"
#include "collector/exposition/Exposition.hpp"
#include "collector/model/Model.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

namespace {

using collector::ExpositionFormat;
using collector::ResourceClass;
using collector_test::FakeApplication;

constexpr std::size_t sizes[] = {10'000, 100'000};
constexpr std::size_t rounds[] = {15, 4};
constexpr std::uint32_t pairs = 5; // of a writer and a reader, in an application

std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void tellEndpoint(FakeApplication& application, std::uint32_t number, bool isWriter, bool withAll) {
    const std::string digits = std::to_string(100'000 + number);
    application.create(number, isWriter ? 2 : 3,
        isWriter ? ResourceClass::dataWriter : ResourceClass::dataReader, "DDSPerfRDataKS_00" + digits);
    application.tellTopic(number, "DDSPerfRDataKS", "DDS_KeyedSeq");
    if (withAll) {
        // Positive values: the peer's counters take no others, and such are those of a real program.
        const auto own = isWriter ? ResourceClass::dataWriter : ResourceClass::dataReader;
        application.send(collector_test::fullEvent(own, 1'000 + number, false), number);
        application.send(collector_test::fullPeriodic(own, 100'000 + number, false), number);
    } else if (isWriter) {
        application.tellMatched(number, 3);
    }
}

void tellApplication(collector::Model& model, std::uint32_t number, bool withAll) {
    FakeApplication application(model, number, "pinger_" + std::to_string(1'000 + number));
    application.tellRegistry();
    application.create(1, 0, ResourceClass::participant, "participant_4e5441c1");
    application.create(2, 1, ResourceClass::publisher, "publisher_00000208");
    application.create(3, 1, ResourceClass::subscriber, "subscriber_00000209");
    application.tellDomain(1, 0);
    for (std::uint32_t pair = 0; pair < pairs; ++pair) {
        tellEndpoint(application, 10 + 2 * pair, true, withAll);
        tellEndpoint(application, 11 + 2 * pair, false, withAll);
    }
}

// Until the model has so many series; heap bytes that it took.
double fill(collector::Model& model, std::size_t series, bool withAll) {
    const std::size_t before = heapInUse();
    for (std::uint32_t number = 0; model.statistics().series < series; ++number)
        tellApplication(model, number, withAll);
    collector::Snapshot rendersTheLabels;
    model.take(rendersTheLabels);
    rendersTheLabels = {};
    return static_cast<double>(heapInUse()) - static_cast<double>(before);
}

std::size_t linesOf(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bench::Row memoryRow(std::string name, double bytes, std::size_t series) {
    bench::Row row;
    row.name = std::move(name);
    row.perPiece = bytes / static_cast<double>(series);
    return row;
}

void referTo(bench::Table& table, const bench::Row& first) {
    const double reference = first.perPiece;
    for (bench::Row& row : table.rows)
        row.ratio = row.ratioLow = row.ratioHigh = row.perPiece / reference;
}

void measure(std::size_t size, std::size_t roundCount, std::vector<bench::Table>& tables) {
    collector::ModelLimits limits;
    limits.applications = limits.resources = limits.series = 10'000'000;
    collector::Model model(limits);
    const collector::OwnMetrics own;
    collector::Exposition exposition(model, own);
    const double ownBytes = fill(model, size, true);
    const std::size_t series = model.statistics().series;

    const std::string text = exposition.render(ExpositionFormat::text);
    const std::size_t before = heapInUse();
    const bench::Peer peer(text);
    const double peerBytes = static_cast<double>(heapInUse()) - static_cast<double>(before);
    if (linesOf(peer.scrape()) != linesOf(text))
        bench::fail("the peer writes other series");

    const std::string count = std::to_string(series);
    std::vector<bench::Candidate> candidates(4);
    candidates[0] = {"prometheus-cpp: Collect and Serialize", [&](std::size_t n) {
                         for (; n > 0; --n)
                             bench::keep(peer.scrape());
                     }};
    candidates[1] = {"scrape, text", [&](std::size_t n) {
                         for (; n > 0; --n)
                             bench::keep(exposition.render(ExpositionFormat::text));
                     }};
    candidates[2] = {"scrape, OpenMetrics, piece by piece", [&](std::size_t n) {
                         for (; n > 0; --n) {
                             const auto scrape = exposition.begin(ExpositionFormat::openMetrics);
                             for (std::string piece; scrape->next(piece); piece.clear())
                                 bench::keep(piece);
                         }
                     }};
    candidates[3] = {"its hold of the feed (the snapshot)", [&](std::size_t n) {
                         for (; n > 0; --n) {
                             collector::Snapshot snapshot;
                             model.take(snapshot);
                             bench::keep(snapshot);
                         }
                     }};
    bench::Table table = bench::compare("A scrape of " + count + " series",
        "same series, labels and values; in parentheses the bytes of the text", candidates, 1, roundCount);
    table.rows[0].perPiece = static_cast<double>(peer.scrape().size());
    table.rows[1].perPiece = static_cast<double>(text.size());
    table.rows[2].perPiece = static_cast<double>(exposition.render(ExpositionFormat::openMetrics).size());
    tables.push_back(table);

    bench::Table memory{"Memory of a series, " + count + " of them",
        "bytes of the heap for each series, labels and tree included, in parentheses", {}};
    memory.rows.push_back(memoryRow("prometheus-cpp: registry", peerBytes, series));
    memory.rows.push_back(memoryRow("the model, all metrics of a resource", ownBytes, series));
    collector::Model sparse(limits);
    const double sparseBytes = fill(sparse, size / 10, false);
    memory.rows.push_back(
        memoryRow("the model, 3 series in every other endpoint", sparseBytes, sparse.statistics().series));
    referTo(memory, memory.rows[0]);
    tables.push_back(memory);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<bench::Table> tables;
    for (std::size_t i = 0; i < std::size(sizes); ++i)
        measure(sizes[i], rounds[i], tables);
    for (const bench::Table& table : tables)
        bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    return 0;
}
