// Compares candidates in one run, interleaved: A B C A B C ..., a short batch each, so that a machine that
// changes its speed within seconds changes it for all of them. What counts is the ratio within a round; its
// median is reported. (A benchmark library that times one candidate after the other for seconds cannot give
// such ratios.)
#ifndef BENCH_COMPARE_HPP
#define BENCH_COMPARE_HPP

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Candidate {
    std::string name;
    std::function<void(std::size_t)> run;      // does the work that many times
    std::function<void()> afterBatch = [] {};  // not timed: makes room again, say
    std::function<void()> beforeBatch = [] {}; // not timed: lets caches grow cold or warm, say
    // In place of `run`, for work that times itself, in another process say: the nanoseconds of one piece.
    std::function<double(std::size_t)> timed = nullptr;
};

struct Row {
    std::string name;
    double nanoseconds = 0; // median of one piece of work
    double ratio = 0;       // to the first candidate: median of the rounds
    double ratioLow = 0;    // 10th and 90th percentile of the rounds
    double ratioHigh = 0;
    double secondRatio = -1; // to another candidate: median of the rounds; else -1
    double p50 = 0;          // of single pieces, where they were sampled; else 0
    double p99 = 0;
    double heapCalls = -1; // for each piece, where counted; else -1
    double perPiece = -1;  // any other figure for each piece, such as bytes; named by the table
};

struct Table {
    std::string title;
    std::string note; // what is imitated, and what the first row stands for
    std::vector<Row> rows;
    std::string second = {}; // what the second ratio is to, as a column's head; empty where there is none
};

// What else ratios are wanted to.
struct SecondReference {
    std::size_t candidate = 0;
    std::string head;
};

// The first candidate is the floor, or the peer, that the ratios refer to.
Table compare(std::string title, std::string note, std::vector<Candidate>& candidates, std::size_t batch,
    std::size_t rounds, const SecondReference* second = nullptr);
// Percentiles of single calls, in nanoseconds, less the cost of reading the clock.
void samplePercentiles(Row& row, const std::function<void()>& once, std::size_t count);
// Heap calls (malloc and its kin) of the calling thread so far.
std::uint64_t heapCalls();

void print(const Table& table);
// Appends tables to a JSON file; null or empty name: nothing.
void writeJson(const std::string& file, const std::vector<Table>& tables);

// Keeps a value from being optimized away.
template <typename T> inline void keep(T&& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

} // namespace bench

#endif
