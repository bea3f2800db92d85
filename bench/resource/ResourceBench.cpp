// What the n-th sibling costs: asserting it, deleting it, and keeping it, under one participant of a library
// with 16 selections of metrics.
//
// A tree for each size stands in a process of its own. In turns, each has some of its siblings deleted,
// chosen by chance, and as many asserted anew, so that it keeps its size.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/common/Compare.hpp"
#include "bench/resource/Tree.hpp"

namespace {

constexpr std::size_t sizes[] = {1'000, 3'000, 10'000, 30'000, 100'000};
constexpr std::size_t batch = 50;
constexpr std::size_t rounds = 100;

using Trees = std::vector<std::unique_ptr<bench::Tree>>;

bench::Table measure(Trees& trees, const char* title, const char* what, double bench::Tree::Answer::*figure) {
    std::vector<bench::Candidate> candidates;
    for (const auto& tree : trees) {
        bench::Candidate candidate;
        candidate.name = what + std::to_string(tree->siblings());
        candidate.timed = [&tree, figure](std::size_t count) { return tree->replace(count).*figure; };
        candidates.push_back(std::move(candidate));
    }
    return bench::compare(
        title, "one participant, 16 selections; ratio to the smallest tree", candidates, batch, rounds);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<bench::Table> tables;
    std::vector<double> bytes;
    Trees trees;
    for (const std::size_t size : sizes) {
        trees.push_back(std::make_unique<bench::Tree>(size));
        bytes.push_back(trees.back()->waitUntilBuilt().heapBytes);
    }
    tables.push_back(measure(
        trees, "Asserting a resource among n siblings", "n = ", &bench::Tree::Answer::assertNanoseconds));
    tables.push_back(
        measure(trees, "Deleting one of n siblings", "n = ", &bench::Tree::Answer::deleteNanoseconds));

    bench::Table memory{"Memory of a resource",
        "bytes of the library's heap for each resource, without the queues' arenas, in parentheses", {}};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bench::Row row;
        row.name = "n = " + std::to_string(sizes[i]);
        row.perPiece = bytes[i] / static_cast<double>(sizes[i]);
        row.ratio = row.perPiece / (bytes[0] / static_cast<double>(sizes[0]));
        row.ratioLow = row.ratioHigh = row.ratio;
        memory.rows.push_back(row);
    }
    tables.push_back(memory);
    for (const bench::Table& table : tables)
        bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    return 0;
}
