#include "ctl/Text.hpp"

#include <gtest/gtest.h>

#include <clocale>

using ctl::Cut;

namespace {

// Widths of characters are the locale's.
class Text : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
    void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(Text, EscapesWhatWouldSteerATerminal) {
    EXPECT_EQ(ctl::escaped("plain text ~", true), "plain text ~");
    EXPECT_EQ(ctl::escaped("a\nb\rc\td", true), "a\\nb\\rc\\td");
    EXPECT_EQ(ctl::escaped("\x1B[2J\x07\x7F", true), "\\x1B[2J\\x07\\x7F");
    EXPECT_EQ(ctl::escaped(std::string_view("a\0b", 3), true), "a\\x00b");
    EXPECT_EQ(ctl::escaped("\xC2\x9B"
                           "31m",
                  true),
        "\\u{9B}31m"); // a control sequence in one character
}

TEST_F(Text, EscapesWhatTurnsTheDirectionOfWriting) {
    EXPECT_EQ(ctl::escaped("a\u202Eb\u2066c\u200Fd", true), "a\\u{202E}b\\u{2066}c\\u{200F}d");
    EXPECT_EQ(ctl::escaped("a\u200Bb\u2028c\uFEFFd", true), "a\\u{200B}b\\u{2028}c\\u{FEFF}d");
}

TEST_F(Text, EscapesOctetsThatAreNoUtf8) {
    EXPECT_EQ(ctl::escaped("\xFFz", true), "\\xFFz");
    EXPECT_EQ(ctl::escaped("\xC3", true), "\\xC3");          // cut off
    EXPECT_EQ(ctl::escaped("\xC0\xAF", true), "\\xC0\\xAF"); // longer than needed
    EXPECT_EQ(ctl::escaped("\xE0\x80\xAF", true), "\\xE0\\x80\\xAF");
    EXPECT_EQ(ctl::escaped("\xED\xA0\x80", true), "\\xED\\xA0\\x80");          // a surrogate
    EXPECT_EQ(ctl::escaped("\xF4\x90\x80\x80", true), "\\xF4\\x90\\x80\\x80"); // above the last
    EXPECT_EQ(ctl::escaped("\xE4\xB8z", true), "\\xE4\\xB8z");
}

TEST_F(Text, KeepsLettersOfOtherScripts) {
    EXPECT_EQ(ctl::escaped("Gr\u00FC\u00DFe \u4E2D\u6587", true), "Gr\u00FC\u00DFe \u4E2D\u6587");
}

TEST_F(Text, EscapesThemWhereTheLocaleHasNone) {
    EXPECT_EQ(ctl::escaped("\u00FC\u4E2D", false), "\\u{FC}\\u{4E2D}");
    EXPECT_EQ(ctl::escaped("\U0001F600", false), "\\u{1F600}");
}

TEST_F(Text, CountsColumnsAndNotOctets) {
    EXPECT_EQ(ctl::widthOf("abc"), 3u);
    EXPECT_EQ(ctl::widthOf("\u00FC"), 1u);
    EXPECT_EQ(ctl::widthOf("\u4E2D\u6587"), 4u);
    EXPECT_EQ(ctl::widthOf("e\u0301"), 1u);
}

TEST_F(Text, CutsAtEitherEndBetweenCharacters) {
    EXPECT_EQ(ctl::cut("abcdef", 6, Cut::atEnd, true), "abcdef");
    EXPECT_EQ(ctl::cut("abcdef", 4, Cut::atEnd, true), "abc\u2026");
    EXPECT_EQ(ctl::cut("abcdef", 4, Cut::atStart, true), "\u2026"
                                                         "def");
    EXPECT_EQ(ctl::cut("abcdef", 5, Cut::atEnd, false), "ab...");
    EXPECT_EQ(ctl::cut("abcdef", 5, Cut::atStart, false), "...ef");
    EXPECT_EQ(
        ctl::cut("\u4E2D\u6587\u5B57", 4, Cut::atEnd, true), "\u4E2D\u2026"); // half a character is none
    EXPECT_EQ(ctl::cut("e\u0301f\u0301g", 2, Cut::atStart, true), "\u2026g");
    EXPECT_EQ(ctl::cut("abcdef", 2, Cut::atEnd, false), "..");
    EXPECT_EQ(ctl::cut("abcdef", 1, Cut::atEnd, true), "\u2026");
    EXPECT_EQ(ctl::cut("abcdef", 0, Cut::atEnd, true), "");
}

TEST_F(Text, TakesNeverMoreColumnsThanAsked) {
    const std::string text = "a\u4E2De\u0301\u00FC\U0001F600z";
    for (std::size_t width = 0; width < 12; ++width)
        for (const Cut side : {Cut::atEnd, Cut::atStart})
            for (const bool isUtf8 : {false, true})
                EXPECT_LE(ctl::widthOf(ctl::cut(text, width, side, isUtf8)), width);
}

TEST_F(Text, TakesTheClockOutOfATimestamp) {
    EXPECT_EQ(ctl::clockOf("2026-11-21T12:40:31.924000Z"), "12:40:31.924");
    EXPECT_EQ(ctl::clockOf("soon"), "soon");
    EXPECT_EQ(ctl::clockOf(""), "");
    EXPECT_EQ(ctl::clockOf("2026-11-21T12:40:31Z"), "2026-11-21T12:40:31Z");
}

} // namespace
