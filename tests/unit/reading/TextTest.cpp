#include "reading/Text.hpp"

#include <gtest/gtest.h>

namespace {

TEST(Text, OfValidUtf8ReplacesAndCutsAtTheBorderOfACharacter) {
    bool isCut = false;
    EXPECT_EQ(reading::validUtf8("abc", 3, isCut), "abc");
    EXPECT_FALSE(isCut);
    EXPECT_EQ(reading::validUtf8("ab\xE2\x82\xAC", 4, isCut), "ab");
    EXPECT_TRUE(isCut);
    EXPECT_EQ(reading::validUtf8("\xFF", 3, isCut), "\xEF\xBF\xBD");
    EXPECT_FALSE(isCut);
    EXPECT_EQ(reading::validUtf8("\xFF", 2, isCut), "");
    EXPECT_TRUE(isCut);
}

TEST(Text, IsEscapedForTerminals) {
    EXPECT_EQ(reading::escaped("a\\b\x1B[0m\n"), "a\\\\b\\x1B[0m\\x0A");
    EXPECT_EQ(reading::escaped("\xC2\x9B\xFF\xE2\x82\xAC"), "\\xC2\\x9B\\xFF\xE2\x82\xAC");
}

TEST(Text, KnowsTheLengthOfWellFormedCharactersAlone) {
    EXPECT_EQ(reading::utf8Length("a", 0), 1U);
    EXPECT_EQ(reading::utf8Length("\xC3\xA9", 0), 2U);
    EXPECT_EQ(reading::utf8Length("x\xF0\x9F\x98\x80", 1), 4U);
    // Overlong, a surrogate, beyond the last one, cut off, out of place.
    for (const char* text :
        {"\xC0\xAF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80"})
        EXPECT_EQ(reading::utf8Length(text, 0), 0U) << text;
}

} // namespace
