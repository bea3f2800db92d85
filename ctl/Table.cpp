#include "ctl/Table.hpp"

#include <algorithm>
#include <numeric>

namespace ctl {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t narrowest = 8;

std::size_t totalOf(const std::vector<std::size_t>& widths) {
    return std::accumulate(widths.begin(), widths.end(), std::size_t{0}) + gap * (widths.size() - 1);
}

// Takes from the widest until they fit, or until none can give more.
void shrink(std::vector<std::size_t>& widths, std::size_t limit) {
    while (totalOf(widths) > limit) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= narrowest)
            return;
        std::size_t second = narrowest;
        for (const std::size_t& width : widths)
            if (&width != &*widest)
                second = std::max(second, std::min(width, *widest - 1));
        *widest = std::max(second, *widest - std::min(*widest - second, totalOf(widths) - limit));
    }
}

// One line, without blanks at its end; cut where the columns cannot be made narrower.
std::string lineOf(const std::vector<Column>& columns, const std::vector<Cell>& cells,
    const std::vector<std::size_t>& widths, const Look& look) {
    std::string line;
    std::size_t taken = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::size_t begin = taken + (i == 0 ? 0 : gap);
        if (look.width != 0 && begin >= look.width)
            break;
        const std::size_t room = look.width == 0 ? widths[i] : std::min(widths[i], look.width - begin);
        const std::string text = cut(cells[i].text, room, columns[i].cut, look.isUtf8);
        const std::size_t width = widthOf(text);
        const std::string blanks(room - width, ' ');
        line += std::string(begin - taken, ' ');
        line += columns[i].isNumber ? blanks + painted(cells[i].colour, text, look)
                                    : painted(cells[i].colour, text, look) + blanks;
        taken = begin + room;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

} // namespace

std::vector<std::size_t> Table::widths(const std::vector<std::vector<Cell>>& rows, std::size_t limit) const {
    std::vector<std::size_t> widths(columns_.size(), 0);
    for (const auto& row : rows)
        for (std::size_t i = 0; i < columns_.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(row[i].text));
    if (limit != 0 && !widths.empty())
        shrink(widths, limit);
    return widths;
}

std::string Table::text(const Look& look) const {
    std::vector<std::vector<Cell>> rows(1);
    for (const Column& column : columns_)
        rows.front().push_back({column.title, colour::bold});
    rows.insert(rows.end(), rows_.begin(), rows_.end());
    for (auto& row : rows) {
        row.resize(columns_.size());
        for (Cell& cell : row)
            cell.text = escaped(cell.text, look.isUtf8);
    }
    const std::vector<std::size_t> columnWidths = widths(rows, look.width);
    std::string text;
    for (const auto& row : rows)
        text += lineOf(columns_, row, columnWidths, look);
    return text;
}

} // namespace ctl
