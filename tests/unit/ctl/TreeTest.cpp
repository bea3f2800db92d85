#include "ctl/Tree.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>

using ctl::Branch;
using ctl::drawTree;
using ctl::Look;

namespace {

std::size_t countOf(const std::string& text, char c) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
}

class Tree : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
    void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
    const std::vector<Branch> small{{"1", "", "a", ""}, {"2", "1", "b", "detail"}, {"3", "2", "c", ""},
        {"4", "1", "d", ""}, {"5", "", "e", ""}};
};

TEST_F(Tree, DrawsBoxesWhereTheLocaleHasThem) {
    EXPECT_EQ(drawTree(small, Look{true}), "a\n"
                                           "\u251C\u2500 b  detail\n"
                                           "\u2502  \u2514\u2500 c\n"
                                           "\u2514\u2500 d\n"
                                           "e\n");
}

TEST_F(Tree, DrawsAsciiElsewhere) {
    EXPECT_EQ(drawTree(small, Look{}), "a\n"
                                       "|- b  detail\n"
                                       "|  `- c\n"
                                       "`- d\n"
                                       "e\n");
}

TEST_F(Tree, FindsParentsThatComeLater) {
    const std::vector<Branch> branches{{"2", "1", "child", ""}, {"1", "", "parent", ""}};
    EXPECT_EQ(drawTree(branches, Look{}), "parent\n`- child\n");
}

TEST_F(Tree, PutsOrphansAtTheTop) {
    EXPECT_EQ(drawTree({{"2", "9", "orphan", ""}, {"3", "2", "child", ""}}, Look{}), "orphan\n`- child\n");
}

TEST_F(Tree, DrawsEachResourceOfACircleOnce) {
    const std::string text = drawTree(
        {{"1", "2", "a", ""}, {"2", "1", "b", ""}, {"3", "3", "self", ""}, {"4", "1", "c", ""}}, Look{});
    EXPECT_EQ(countOf(text, '\n'), 4u) << text;
    for (const char* name : {"a\n", "b\n", "c\n", "self\n"})
        EXPECT_NE(text.find(name), std::string::npos) << text;
}

TEST_F(Tree, DrawsResourcesWithOneGuidEach) {
    EXPECT_EQ(
        drawTree({{"1", "", "a", ""}, {"1", "", "b", ""}, {"2", "1", "c", ""}}, Look{}), "a\n`- c\nb\n");
}

TEST_F(Tree, DrawsALongChainWithoutTheSquareOfItsLength) {
    std::vector<Branch> chain{{"0", "", "n0", ""}};
    constexpr int length = 20'000;
    for (int i = 1; i < length; ++i)
        chain.push_back({std::to_string(i), std::to_string(i - 1), "n" + std::to_string(i), ""});
    const std::string text = drawTree(chain, Look{});
    EXPECT_EQ(countOf(text, '\n'), static_cast<std::size_t>(length));
    EXPECT_LT(text.size(), static_cast<std::size_t>(length) * 150);
}

TEST_F(Tree, EscapesNamesAndKeepsToTheWidth) {
    const std::vector<Branch> branches{{"1", "",
                                           "a\x1B"
                                           "b",
                                           ""},
        {"2", "1", std::string(50, 'x'), "detail"}, {"3", "1", "short", std::string(50, 'd')},
        {"4", "1", "nearly as wide as", "the line"}};
    const std::string text = drawTree(branches, Look{true, false, 20});
    EXPECT_EQ(text.find('\x1B'), std::string::npos);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        EXPECT_LE(ctl::widthOf(text.substr(at, end - at)), 20u) << text;
        at = end + 1;
    }
}

TEST_F(Tree, IsNothingOfNothing) {
    EXPECT_EQ(drawTree({}, Look{true}), "");
}

} // namespace
