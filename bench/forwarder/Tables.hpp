// The two comparisons. Each makes its own processes, and is called while the calling one has no threads.
#ifndef BENCH_FORWARDER_TABLES_HPP
#define BENCH_FORWARDER_TABLES_HPP

#include <vector>

#include "bench/common/Compare.hpp"

namespace bench {

// How many samples a second go from the engine's reader to the user.
void measureRates(std::vector<Table>& tables);
// How long a status change takes to the user.
void measureLatencies(std::vector<Table>& tables);

// What both make their tables with. `part` is from 0 to 1; the figures are those of rounds, the reference's
// of the same ones.
double percentile(std::vector<double> values, double part);
Row rowOf(const char* name, const std::vector<double>& figures, const std::vector<double>& reference);
void addPrinted(std::vector<Table>& tables, Table table);

} // namespace bench

#endif
