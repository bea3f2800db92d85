#include <fnmatch.h>
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

#include "zddscore/text.h"

namespace {

bool matches(const std::string& pattern, const std::string& text) {
    return REDAString_fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

bool matchesByLibc(const std::string& pattern, const std::string& text) {
    return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

TEST(PatternMatch, OrdinaryCharactersStandForThemselves) {
    EXPECT_TRUE(matches("", ""));
    EXPECT_TRUE(matches("abc", "abc"));
    EXPECT_FALSE(matches("abc", "abd"));
    EXPECT_FALSE(matches("abc", "ab"));
    EXPECT_FALSE(matches("ab", "abc"));
    EXPECT_FALSE(matches("", "a"));
    EXPECT_FALSE(matches("a", ""));
    EXPECT_TRUE(matches("\xC3\xA4", "\xC3\xA4"));
    EXPECT_FALSE(matches("?", "\xC3\xA4")) << "bytes, not characters";
}

TEST(PatternMatch, StarsAndQuestionMarksTakeAnything) {
    EXPECT_TRUE(matches("*", ""));
    EXPECT_TRUE(matches("**", "abc"));
    EXPECT_TRUE(matches("a*c", "ac"));
    EXPECT_TRUE(matches("a*c", "abcbc"));
    EXPECT_FALSE(matches("a*c", "abcb"));
    EXPECT_TRUE(matches("*a?c*", "xxabcxx"));
    EXPECT_FALSE(matches("?", ""));
    EXPECT_TRUE(matches("/a/*", "/a/b/c")) << "a slash is no boundary";
    EXPECT_TRUE(matches("*", ".hidden")) << "nor is a leading period";
    EXPECT_TRUE(matches("?hidden", ".hidden"));
    EXPECT_TRUE(matches("dds_*_status.*", "dds_reliable_status.count"));
}

TEST(PatternMatch, BracketsHoldMembersRangesAndClasses) {
    EXPECT_TRUE(matches("[abc]", "b"));
    EXPECT_FALSE(matches("[abc]", "d"));
    EXPECT_FALSE(matches("[abc]", ""));
    EXPECT_TRUE(matches("[a-c]x", "bx"));
    EXPECT_TRUE(matches("[!a-c]", "d"));
    EXPECT_FALSE(matches("[!a-c]", "a"));
    EXPECT_TRUE(matches("[^a-c]", "d"));
    EXPECT_TRUE(matches("[]]", "]"));
    EXPECT_TRUE(matches("[]-a]", "^")) << "a range from the bracket";
    EXPECT_FALSE(matches("[!]]", "]"));
    EXPECT_TRUE(matches("[a-]", "-"));
    EXPECT_TRUE(matches("[-a]", "-"));
    EXPECT_TRUE(matches("[[:digit:][:upper:]_]", "7"));
    EXPECT_TRUE(matches("[[:digit:][:upper:]_]", "Q"));
    EXPECT_FALSE(matches("[[:digit:][:upper:]_]", "q"));
    EXPECT_TRUE(matches("[![:space:]]", "q"));
    EXPECT_TRUE(matches("[[=a=]]", "a"));
    EXPECT_TRUE(matches("[[.-.]]", "-"));
    EXPECT_TRUE(matches("[[.a.]-c]", "b"));
    EXPECT_TRUE(matches("[a-[.c.]]", "b"));
    EXPECT_TRUE(matches("[\\]]", "]"));
    EXPECT_TRUE(matches("[\\a-\\c]", "b"));
    EXPECT_TRUE(matches("[*?]", "*"));
    EXPECT_FALSE(matches("[*?]", "a"));
    EXPECT_TRUE(matches("[\x80-\xFF]", "\xC3")) << "bytes are unsigned";
}

TEST(PatternMatch, BackslashQuotes) {
    EXPECT_TRUE(matches("\\*", "*"));
    EXPECT_FALSE(matches("\\*", "a"));
    EXPECT_TRUE(matches("\\?\\[\\\\", "?[\\"));
    EXPECT_TRUE(matches("\\a", "a"));
}

// What POSIX leaves open; the first group is as the C library has it.
TEST(PatternMatch, UndefinedPatternsHaveADefinedResult) {
    EXPECT_TRUE(matches("[", "["));
    EXPECT_TRUE(matches("[abc", "[abc"));
    EXPECT_TRUE(matches("a[", "a["));
    EXPECT_TRUE(matches("[]", "[]"));
    EXPECT_TRUE(matches("[!]", "[!]"));
    EXPECT_FALSE(matches("[z-a]", "m"));
    EXPECT_FALSE(matches("\\", "\\"));
    EXPECT_FALSE(matches("a\\", "a"));
    EXPECT_FALSE(matches("[[:nonsense:]]", "n"));
    EXPECT_FALSE(matches("[![:nonsense:]]", "n"));

    // Brackets to the right of one without an end are plain, so that no pattern is read twice.
    EXPECT_TRUE(matches("[[:alpha:]x", "[[:alpha:]x"));
    EXPECT_TRUE(matchesByLibc("[[:alpha:]x", "[ax"));
    EXPECT_FALSE(matches("[[:alpha:]x", "[ax"));
    // A class is no end of a range.
    EXPECT_FALSE(matches("[a-[:digit:]]", "5"));
    EXPECT_FALSE(matches("[[.ab.]]", "a"));
}

TEST(PatternMatch, NullMatchesNothing) {
    EXPECT_NE(REDAString_fnmatch(nullptr, "a", 0), 0);
    EXPECT_NE(REDAString_fnmatch("*", nullptr, 0), 0);
}

// Patterns that POSIX defines, made of random pieces.
class PatternMaker {
public:
    explicit PatternMaker(unsigned seed) : random_(seed) {}

    std::string text(std::size_t most) {
        static const std::string letters = "aabbc-]![^*.5Z \\/\xC3";
        std::string result;
        for (std::size_t i = pick(most + 1); i > 0; --i)
            result += letters[pick(letters.size())];
        return result;
    }

    std::string pattern(std::size_t mostPieces) {
        std::string result;
        for (std::size_t i = pick(mostPieces + 1); i > 0; --i) {
            switch (pick(7)) {
            case 0:
            case 1:
                result += '*';
                break;
            case 2:
                result += '?';
                break;
            case 3:
                result += bracket();
                break;
            case 4:
                result += std::string("\\") + "ab*?[]\\-"[pick(8)];
                break;
            default:
                result += "aabbc.5Z-!^]"[pick(12)];
            }
        }
        return result;
    }

private:
    std::size_t pick(std::size_t count) { return random_() % count; }

    std::string bracket() {
        static const char* const classes[] = {"alpha", "digit", "space", "punct", "upper", "lower", "alnum",
            "xdigit", "cntrl", "graph", "print", "blank"};
        std::string result = "[";
        if (pick(3) == 0)
            result += '!';
        if (pick(5) == 0)
            result += ']';
        for (std::size_t i = 1 + pick(3); i > 0; --i) {
            switch (pick(6)) {
            case 0:
                result += std::string("[:") + classes[pick(12)] + ":]";
                break;
            case 1: {
                const char low = "aA0"[pick(3)];
                result += {low, '-', static_cast<char>(low + static_cast<char>(pick(4)))};
                break;
            }
            case 2:
                result += std::string("\\") + "]ab-\\["[pick(6)];
                break;
            case 3:
                result += std::string("[=") + "abZ"[pick(3)] + "=]";
                break;
            default:
                result += "abc5*?."[pick(7)];
            }
        }
        if (pick(4) == 0)
            result += '-';
        return result + "]";
    }

    std::mt19937 random_;
};

TEST(PatternMatch, AgreesWithTheCLibraryOnRandomPatterns) {
    PatternMaker maker(11);
    int matched = 0;
    for (int i = 0; i < 400000; ++i) {
        const std::string pattern = maker.pattern(8);
        const std::string text = maker.text(8);
        const bool expected = matchesByLibc(pattern, text);
        ASSERT_EQ(matches(pattern, text), expected) << "pattern '" << pattern << "', text '" << text << "'";
        matched += expected;
    }
    EXPECT_GT(matched, 10000) << "enough of both kinds";
}

// Any bytes at all: no crash, no read behind the end (under the address sanitizer), and agreement where
// no bracket is involved, since that is where patterns are undefined.
TEST(PatternMatch, AnyBytesAreSurvived) {
    std::mt19937 random(5);
    static const std::string letters = "[]!^-:=.*?\\abc";
    for (int i = 0; i < 200000; ++i) {
        std::string pattern;
        std::string text;
        for (auto n = random() % 12; n > 0; --n)
            pattern += letters[random() % letters.size()];
        for (auto n = random() % 8; n > 0; --n)
            text += letters[random() % letters.size()];
        const bool result = matches(pattern, text);
        if (pattern.find('[') == std::string::npos) {
            ASSERT_EQ(result, matchesByLibc(pattern, text)) << pattern << " " << text;
        }
    }
}

TEST(PatternMatch, ManyStarsCostNoMoreThanTheProductOfTheLengths) {
    std::string pattern;
    for (int i = 0; i < 1000; ++i)
        pattern += "a*";
    pattern += "b";
    std::string classes;
    for (int i = 0; i < 1000; ++i)
        classes += "*[[:alpha:]]";
    classes += "!";
    std::string unterminated = "*";
    for (int i = 0; i < 2000; ++i)
        unterminated += "[\\]";
    const std::string text(10000, 'a');
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(matches(pattern, text));
    EXPECT_TRUE(matches(pattern, text + "b"));
    EXPECT_FALSE(matches(classes, text));
    EXPECT_FALSE(matches(unterminated + "x[", std::string(10000, '[')));
    // Exponential backtracking would not end at all; the product takes milliseconds.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

} // namespace
