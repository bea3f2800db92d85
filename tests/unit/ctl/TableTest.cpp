#include "ctl/Table.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <sstream>

using ctl::Look;
using ctl::Table;

namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

class TableText : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
    void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(TableText, AlignsTextLeftAndNumbersRight) {
    Table table({{"NAME"}, {"COUNT", true}, {"END"}});
    table.add({{"a"}, {"1"}, {"x"}});
    table.add({{"longer"}, {"12345"}, {"y"}});
    EXPECT_EQ(table.text(Look{}), "NAME    COUNT  END\n"
                                  "a           1  x\n"
                                  "longer  12345  y\n");
}

TEST_F(TableText, AlignsByColumnsOfWideCharacters) {
    Table table({{"N"}, {"X"}});
    table.add({{"\u4E2D\u6587"}, {"x"}});
    table.add({{"ab"}, {"x"}});
    EXPECT_EQ(table.text(Look{true}), "N     X\n\u4E2D\u6587  x\nab    x\n");
}

TEST_F(TableText, EscapesItsCells) {
    Table table({{"N"}});
    table.add({{"a\x1B[31m\nb"}});
    EXPECT_EQ(table.text(Look{true}), "N\na\\x1B[31m\\nb\n");
}

TEST_F(TableText, CutsTheWidestColumnsToTheWidthOfTheTerminal) {
    Table table({{"NAME"}, {"PATH", false, ctl::Cut::atStart}});
    table.add({{"short"}, {std::string(100, 'p') + "end"}});
    const auto lines = linesOf(table.text(Look{true, false, 40}));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(ctl::widthOf(lines[1]), 40u);
    EXPECT_NE(lines[1].find("short  \u2026pp"), std::string::npos) << lines[1];
    EXPECT_NE(lines[1].find("end"), std::string::npos) << lines[1];
}

TEST_F(TableText, FitsIntoAnyWidth) {
    for (std::size_t width = 1; width < 200; ++width) {
        Table table({{"FIRST"}, {"SECOND", true}, {"THIRD"}, {"FOURTH"}});
        table.add({{std::string(50, 'a')}, {"123456789"}, {"\u4E2D\u6587\u4E2D\u6587\u4E2D\u6587"},
            {std::string(60, 'b')}});
        for (const std::string& line : linesOf(table.text(Look{true, false, width})))
            EXPECT_LE(ctl::widthOf(line), width) << line;
    }
}

TEST_F(TableText, PaintsCellsOnlyWhereColoursAre) {
    Table table({{"N"}});
    table.add({{"x", ctl::colour::green}});
    EXPECT_EQ(table.text(Look{}), "N\nx\n");
    EXPECT_EQ(table.text(Look{true, true}), "\x1B[1mN\x1B[0m\n\x1B[32mx\x1B[0m\n");
}

TEST_F(TableText, FillsRowsThatAreTooShort) {
    Table table({{"A"}, {"B"}});
    table.add({{"1"}});
    EXPECT_EQ(table.text(Look{}), "A  B\n1\n");
}

} // namespace
