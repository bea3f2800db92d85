// A table for people: aligned columns, cut to the width of the terminal.
//
// Cells are given as they came and escaped here, so that nobody forgets. Threads: one owner.
#ifndef CTL_TABLE_HPP
#define CTL_TABLE_HPP

#include <string>
#include <vector>

#include "ctl/Text.hpp"

namespace ctl {

struct Column {
    std::string title;
    bool isNumber = false; // stands at the right
    Cut cut = Cut::atEnd;
};

struct Cell {
    std::string text;
    const char* colour = colour::none;
};

class Table {
public:
    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}
    // As many cells as columns.
    void add(std::vector<Cell> cells) { rows_.push_back(std::move(cells)); }
    bool isEmpty() const { return rows_.empty(); }
    // Titles and rows, each line with its end. When they are wider than the look allows, the widest columns
    // lose first; a column keeps a few characters, and what then still stands over is cut off the line.
    std::string text(const Look& look) const;

private:
    std::vector<std::size_t> widths(const std::vector<std::vector<Cell>>& rows, std::size_t limit) const;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

} // namespace ctl

#endif
