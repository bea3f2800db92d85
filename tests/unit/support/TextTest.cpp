#include "zddscore/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace {

TEST(Text, PrintGivesTheLengthOrFailsWhenItDoesNotFit) {
    char buffer[8];
    EXPECT_EQ(ORXOsapiUtility_snprintf(buffer, sizeof buffer, "%d", 1234567), 7);
    EXPECT_STREQ(buffer, "1234567");
    EXPECT_LT(ORXOsapiUtility_snprintf(buffer, sizeof buffer, "%d", 12345678), 0);
    EXPECT_STREQ(buffer, "1234567") << "cut and terminated";
    EXPECT_LT(ORXOsapiUtility_snprintf(nullptr, 0, "%d", 1), 0);
}

TEST(Text, CopyFitsExactlyOrLeavesTheDestination) {
    char buffer[6] = "old";
    EXPECT_EQ(ORXOsapiUtility_strcpy(buffer, 5, "12345"), buffer);
    EXPECT_STREQ(buffer, "12345");
    EXPECT_EQ(ORXOsapiUtility_strcpy(buffer, 5, "123456"), nullptr);
    EXPECT_STREQ(buffer, "12345");
    EXPECT_EQ(ORXOsapiUtility_strcpy(buffer, 0, ""), buffer);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(ORXOsapiUtility_strcpy(nullptr, 5, "1"), nullptr);
    EXPECT_EQ(ORXOsapiUtility_strcpy(buffer, 5, nullptr), nullptr);
}

TEST(Text, AppendFitsExactlyOrLeavesTheDestination) {
    char buffer[6] = "ab";
    EXPECT_EQ(ORXOsapiUtility_strcat(buffer, 5, "cde"), buffer);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(ORXOsapiUtility_strcat(buffer, 5, ""), buffer);
    EXPECT_EQ(ORXOsapiUtility_strcat(buffer, 5, "f"), nullptr);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(ORXOsapiUtility_strcat(buffer, 3, ""), nullptr) << "already longer";
    EXPECT_EQ(ORXOsapiUtility_strcat(buffer, 5, nullptr), nullptr);
}

TEST(Text, PartsNeedNoTerminator) {
    const char source[3] = {'x', 'y', 'z'};
    char buffer[4] = "";
    EXPECT_EQ(ORXOsapiUtility_strncpy(buffer, 3, source, 3), buffer);
    EXPECT_STREQ(buffer, "xyz");
    EXPECT_EQ(ORXOsapiUtility_strncpy(buffer, 3, "toolong", 4), nullptr);
    EXPECT_EQ(ORXOsapiUtility_strncpy(buffer, 3, "toolong", 2), buffer);
    EXPECT_STREQ(buffer, "to");
    EXPECT_EQ(ORXOsapiUtility_strncpy(buffer, 3, "ab", 100), buffer) << "a terminator ends it sooner";
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(ORXOsapiUtility_strncat(buffer, 3, source, 1), buffer);
    EXPECT_STREQ(buffer, "abx");
    EXPECT_EQ(ORXOsapiUtility_strncat(buffer, 3, source, 1), nullptr);
    EXPECT_STREQ(buffer, "abx");
}

TEST(Text, UtcTimeIsBrokenDown) {
    ORXOsapiUtcTime utc{};
    ASSERT_TRUE(ORXOsapiUtility_getUtcTime(&utc, 0));
    EXPECT_EQ(utc.year, 1970);
    EXPECT_EQ(utc.month, 1);
    EXPECT_EQ(utc.day, 1);
    ASSERT_TRUE(ORXOsapiUtility_getUtcTime(&utc, 951782400 + 86399)); // 2000-02-29T23:59:59
    EXPECT_EQ(utc.year, 2000);
    EXPECT_EQ(utc.month, 2);
    EXPECT_EQ(utc.day, 29);
    EXPECT_EQ(utc.hour, 23);
    EXPECT_EQ(utc.minute, 59);
    EXPECT_EQ(utc.second, 59);
    EXPECT_FALSE(ORXOsapiUtility_getUtcTime(nullptr, 0));
    EXPECT_FALSE(ORXOsapiUtility_getUtcTime(&utc, LLONG_MAX));
    EXPECT_FALSE(ORXOsapiUtility_getUtcTime(&utc, LLONG_MIN));
}

TEST(Text, UtcTimeAgreesWithTheCLibrary) {
    std::mt19937_64 random(9);
    for (int i = 0; i < 200000; ++i) {
        const auto range = std::int64_t{1} << (8 + i % 47);
        const auto seconds =
            static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(2 * range)) - range;
        const std::time_t time = seconds;
        std::tm expected{};
        ASSERT_NE(gmtime_r(&time, &expected), nullptr);
        ORXOsapiUtcTime utc{};
        ASSERT_TRUE(ORXOsapiUtility_getUtcTime(&utc, seconds));
        const std::vector<int> got{utc.year, utc.month, utc.day, utc.hour, utc.minute, utc.second};
        ASSERT_EQ(got, (std::vector<int>{expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday,
                           expected.tm_hour, expected.tm_min, expected.tm_sec}))
            << seconds;
    }
}

TEST(Text, CompareOrdersBytesAndNulls) {
    EXPECT_EQ(REDAString_compare("a", "a"), 0);
    EXPECT_LT(REDAString_compare("a", "b"), 0);
    EXPECT_GT(REDAString_compare("ab", "a"), 0);
    EXPECT_LT(REDAString_compare("a", "\xC3"), 0) << "bytes are unsigned";
    EXPECT_EQ(REDAString_compare(nullptr, nullptr), 0);
    EXPECT_LT(REDAString_compare(nullptr, ""), 0);
    EXPECT_GT(REDAString_compare("", nullptr), 0);
}

std::vector<std::string> tokensOf(std::string text, const char* delimiters) {
    std::vector<std::string> tokens;
    char* state = nullptr;
    for (char* token = REDAString_strToken(text.data(), delimiters, &state); token != nullptr;
         token = REDAString_strToken(nullptr, delimiters, &state))
        tokens.emplace_back(token);
    return tokens;
}

TEST(Text, TokensAreNeverEmpty) {
    using Tokens = std::vector<std::string>;
    EXPECT_EQ(tokensOf("a/b/c", "/"), (Tokens{"a", "b", "c"}));
    EXPECT_EQ(tokensOf("//a///b/", "/"), (Tokens{"a", "b"}));
    EXPECT_EQ(tokensOf("a,b;c", ",;"), (Tokens{"a", "b", "c"}));
    EXPECT_EQ(tokensOf("", "/"), Tokens{});
    EXPECT_EQ(tokensOf("///", "/"), Tokens{});
    EXPECT_EQ(tokensOf("abc", ""), (Tokens{"abc"}));
}

TEST(Text, CharacterBeforeTheStateTellsThatADelimiterWasFound) {
    char text[] = "one|two";
    char* state = nullptr;
    ASSERT_STREQ(REDAString_strToken(text, "|", &state), "one");
    EXPECT_EQ(state, text + 4);
    EXPECT_EQ(state[-1], '\0');
    ASSERT_STREQ(REDAString_strToken(nullptr, "|", &state), "two");
    EXPECT_EQ(state, text + 7);
    EXPECT_EQ(*state, '\0');
    EXPECT_EQ(state[-1], 'o') << "none was found";
    EXPECT_EQ(REDAString_strToken(nullptr, "|", &state), nullptr);
    EXPECT_EQ(REDAString_strToken(nullptr, "|", &state), nullptr) << "and again";
    char* empty = nullptr;
    EXPECT_EQ(REDAString_strToken(nullptr, "|", &empty), nullptr);
}

TEST(Text, LastTokenFollowsTheLastDelimiter) {
    EXPECT_STREQ(REDAString_getLastToken("/a/b/c", '/'), "c");
    EXPECT_STREQ(REDAString_getLastToken("c", '/'), "c");
    EXPECT_STREQ(REDAString_getLastToken("a/", '/'), "");
    EXPECT_STREQ(REDAString_getLastToken("", '/'), "");
    EXPECT_STREQ(REDAString_getLastToken("a", '\0'), "a");
    EXPECT_EQ(REDAString_getLastToken(nullptr, '/'), nullptr);
}

} // namespace
