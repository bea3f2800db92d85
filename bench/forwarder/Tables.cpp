#include "bench/forwarder/Tables.hpp"

#include <algorithm>
#include <utility>

namespace bench {

double percentile(std::vector<double> values, double part) {
    const auto at = static_cast<std::size_t>(part * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
    return values[at];
}

Row rowOf(const char* name, const std::vector<double>& figures, const std::vector<double>& reference) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < figures.size(); ++i)
        ratios.push_back(figures[i] / reference[i]);
    Row row;
    row.name = name;
    row.nanoseconds = percentile(figures, 0.5);
    row.ratio = percentile(ratios, 0.5);
    row.ratioLow = percentile(ratios, 0.1);
    row.ratioHigh = percentile(ratios, 0.9);
    return row;
}

void addPrinted(std::vector<Table>& tables, Table table) {
    print(table);
    tables.push_back(std::move(table));
}

} // namespace bench
