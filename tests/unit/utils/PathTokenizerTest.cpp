#include "src/utils/PathTokenizer.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"

namespace {

using Tokens = std::vector<std::string>;
using Owned =
    std::unique_ptr<ORX_MonitoringResourceTokenizer, decltype(&ORX_MonitoringResourceTokenizer_delete)>;

Owned make(const std::string& expression) {
    return {ORX_MonitoringResourceTokenizer_new(expression.c_str()), &ORX_MonitoringResourceTokenizer_delete};
}

Tokens tokensOf(ORX_MonitoringResourceTokenizer* tokenizer) {
    Tokens tokens;
    for (const char* token = ORX_MonitoringResourceTokenizer_getFirstToken(tokenizer); token != nullptr;
         token = ORX_MonitoringResourceTokenizer_getNextToken(tokenizer))
        tokens.emplace_back(token);
    EXPECT_EQ(tokens.size(), ORX_MonitoringResourceTokenizer_getTokenCount(tokenizer));
    return tokens;
}

Tokens tokensOf(const std::string& expression) {
    const Owned tokenizer = make(expression);
    return tokenizer ? tokensOf(tokenizer.get()) : Tokens{"refused"};
}

// A component, and as many more as asked.
std::string components(int count, const std::string& component = "/a") {
    std::string expression;
    for (int i = 0; i < count; ++i)
        expression += component;
    return expression;
}

} // namespace

TEST(PathTokenizer, CutsAtSlashes) {
    EXPECT_EQ(tokensOf("/applications/app1"), (Tokens{"applications", "app1"}));
    EXPECT_EQ(tokensOf("/applications/app1/domain_participants/p1/"),
        (Tokens{"applications", "app1", "domain_participants", "p1"}));
    EXPECT_EQ(tokensOf("a/b"), tokensOf("/a/b"));
}

TEST(PathTokenizer, RewritesSections) {
    EXPECT_EQ(tokensOf("//topics/T"), (Tokens{"$", "topics", "T"}));
    EXPECT_EQ(tokensOf("//T"), (Tokens{"$", "*", "T"}));
    EXPECT_EQ(tokensOf("//T/"), (Tokens{"$", "*", "T"}));
    EXPECT_EQ(tokensOf("//topics/T/"), (Tokens{"$", "topics", "T"}));
    EXPECT_EQ(tokensOf("/applications/app1//T"), (Tokens{"applications", "app1", "$", "*", "T"}));
    EXPECT_EQ(tokensOf("//data_writers/w//x/y"), (Tokens{"$", "data_writers", "w", "$", "x", "y"}));
    EXPECT_EQ(tokensOf("a//b//c"), (Tokens{"a", "$", "*", "b", "$", "*", "c"}));
    EXPECT_EQ(tokensOf("//a/b/c//d"), (Tokens{"$", "*", "a", "b", "c", "$", "*", "d"}));
}

TEST(PathTokenizer, TakesExpressionsWithoutComponents) {
    EXPECT_EQ(tokensOf(""), Tokens{});
    EXPECT_EQ(tokensOf("/"), Tokens{});
    EXPECT_EQ(tokensOf("//"), Tokens{"$"});
    EXPECT_EQ(tokensOf("a//"), (Tokens{"a", "$"}));
    EXPECT_EQ(tokensOf("//a//"), (Tokens{"$", "*", "a", "$"}));
}

TEST(PathTokenizer, RefusesThreeSlashes) {
    LogCapture log;
    EXPECT_EQ(make("a///b"), nullptr);
    EXPECT_TRUE(log.has(
        "resource path expression \"a///b\" cannot have more than two consecutive '/'", "PRECONDITION"));
    EXPECT_TRUE(log.has("resource path expression: a///b", "FAILED_TO_SET"));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 2u);
    EXPECT_NE(make("a//b//c"), nullptr);
}

TEST(PathTokenizer, TakesUpTo1023Characters) {
    LogCapture log;
    EXPECT_EQ(tokensOf(std::string(1023, 'a')), Tokens{std::string(1023, 'a')});
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(make(std::string(1024, 'a')), nullptr);
    EXPECT_TRUE(log.has("resource path expression length cannot be greater than 1023", "PRECONDITION"));
}

TEST(PathTokenizer, TakesUpTo32TokensWithThoseThatItInserts) {
    LogCapture log;
    EXPECT_EQ(tokensOf(components(32)).size(), 32u);
    EXPECT_EQ(tokensOf(components(10, "//a")).size(), 30u);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(make(components(33)), nullptr);
    EXPECT_EQ(make(components(11, "//a")), nullptr);
    EXPECT_EQ(log.count("number of components in resource path expression cannot be greater than 32",
                  "PRECONDITION"),
        2u);
}

// Every "//" that grows by three characters, as many as fit: the rewritten text is exactly as long as the
// buffer allows.
TEST(PathTokenizer, RewritingTheDensestExpressionsStaysInTheBuffer) {
    for (const char* pattern : {"//a", "//a//b/", "//", "//a/", "//a/b", "a//", "/a//"}) {
        for (size_t length = 1020; length <= 1023; ++length) {
            std::string expression = components(1023, pattern).substr(0, length);
            if (expression.find("///") != std::string::npos)
                continue;
            // Between two fields of a pattern, so that a byte beyond the buffer shows.
            struct {
                ORX_UINT64 before = 0x5A5A5A5A5A5A5A5A;
                ORX_MonitoringResourceTokenizer tokenizer;
                ORX_UINT64 after = 0x5A5A5A5A5A5A5A5A;
            } guarded;
            LogCapture log;
            EXPECT_EQ(
                ORX_MonitoringResourceTokenizer_setExpression(&guarded.tokenizer, expression.c_str()), 0);
            EXPECT_TRUE(log.has("number of components in resource path expression cannot be greater than 32"))
                << pattern;
            EXPECT_EQ(guarded.before, 0x5A5A5A5A5A5A5A5A);
            EXPECT_EQ(guarded.after, 0x5A5A5A5A5A5A5A5A);
        }
    }
}

TEST(PathTokenizer, IsEmptyAfterARefusal) {
    LogCapture log;
    const Owned tokenizer = make("/a/b");
    for (const std::string& refused : {std::string("a///b"), std::string(1024, 'a'), components(33)}) {
        ASSERT_EQ(ORX_MonitoringResourceTokenizer_setExpression(tokenizer.get(), "/a/b"), 1);
        EXPECT_EQ(ORX_MonitoringResourceTokenizer_setExpression(tokenizer.get(), refused.c_str()), 0);
        EXPECT_EQ(ORX_MonitoringResourceTokenizer_getTokenCount(tokenizer.get()), 0u);
        EXPECT_EQ(ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer.get()), nullptr);
    }
}

TEST(PathTokenizer, CanBeSetAgain) {
    const Owned tokenizer = make("/a/b/c/d");
    ORX_MonitoringResourceTokenizer_getLastToken(tokenizer.get());
    ASSERT_EQ(ORX_MonitoringResourceTokenizer_setExpression(tokenizer.get(), "/x"), 1);
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer.get()), "x");
    EXPECT_EQ(tokensOf(tokenizer.get()), Tokens{"x"});
    EXPECT_EQ(tokenizer->tokens[1], nullptr);
}

TEST(PathTokenizer, OfNoExpressionHasNoTokens) {
    const Owned tokenizer{
        ORX_MonitoringResourceTokenizer_new(nullptr), &ORX_MonitoringResourceTokenizer_delete};
    ASSERT_NE(tokenizer, nullptr);
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getTokenCount(tokenizer.get()), 0u);
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getFirstToken(tokenizer.get()), nullptr);
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getLastToken(tokenizer.get()), nullptr);
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getNextToken(tokenizer.get()), nullptr);
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getPrevToken(tokenizer.get()), nullptr);
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer.get()), nullptr);
}

TEST(PathTokenizer, CursorStopsAtBothEnds) {
    const Owned tokenizer = make("/a/b/c");
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getLastToken(tokenizer.get()), "c");
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getNextToken(tokenizer.get()), nullptr);
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer.get()), "c");
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getPrevToken(tokenizer.get()), "b");
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getPrevToken(tokenizer.get()), "a");
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getPrevToken(tokenizer.get()), nullptr);
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer.get()), "a");
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getNextToken(tokenizer.get()), "b");
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getFirstToken(tokenizer.get()), "a");
}

TEST(PathTokenizer, KeepsApplicationTokensAlone) {
    const Owned tokenizer = make("/applications/app1/topics/T");
    ORX_MonitoringResourceTokenizer_getLastToken(tokenizer.get());
    ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(tokenizer.get());
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer.get()), "app1");
    EXPECT_EQ(tokensOf(tokenizer.get()), (Tokens{"applications", "app1"}));

    ORX_MonitoringResourceTokenizer_setExpression(tokenizer.get(), "//applications/app1/topics/T");
    ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(tokenizer.get());
    EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer.get()), "$");
    EXPECT_EQ(tokensOf(tokenizer.get()), (Tokens{"$", "applications", "app1"}));
}

TEST(PathTokenizer, SlotsBeyondTheTokensReadAsNone) {
    const struct {
        const char* expression;
        ORX_UINT32 count;
        const char* first;
    } cases[] = {{"", 2, nullptr}, {"/applications", 2, "applications"}, {"//", 3, "$"}};
    for (const auto& [expression, count, first] : cases) {
        const Owned tokenizer = make("/x/y/z/w"); /* tokens that must not show through */
        ORX_MonitoringResourceTokenizer_setExpression(tokenizer.get(), expression);
        ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(tokenizer.get());
        EXPECT_EQ(ORX_MonitoringResourceTokenizer_getTokenCount(tokenizer.get()), count);
        EXPECT_STREQ(ORX_MonitoringResourceTokenizer_getFirstToken(tokenizer.get()), first);
        EXPECT_EQ(ORX_MonitoringResourceTokenizer_getNextToken(tokenizer.get()), nullptr);
        EXPECT_EQ(ORX_MonitoringResourceTokenizer_getLastToken(tokenizer.get()), nullptr);
    }
}

TEST(PathTokenizer, FailsWhenMemoryIsOut) {
    FailingHeap heap;
    LogCapture log;
    heap.failAt(1);
    EXPECT_EQ(make("/a"), nullptr);
    EXPECT_TRUE(log.has("ORX_MonitoringResourceTokenizer", "FAILED_TO_ALLOCATE"));
}

TEST(PathTokenizer, NullTokenizerIsAPrecondition) {
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_getFirstToken(nullptr), nullptr);
    EXPECT_EQ(ORX_MonitoringResourceTokenizer_setExpression(nullptr, "/a"), 0);
    EXPECT_EQ(log.count("\"self == ((void *)0)\"\n", "PRECONDITION"), 2u);
    ORX_MonitoringResourceTokenizer_delete(nullptr);
    EXPECT_EQ(log.lines().size(), 2u);
}

// The rewriting says nothing about a component that it did not find in the text.
TEST(PathTokenizer, TokensAreTheComponentsInOrder) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::string expression;
        Tokens expected;
        const int count = static_cast<int>(random() % 12);
        for (int i = 0; i < count; ++i) {
            expression += random() % 3 == 0 && i != 0 ? "//" : "/";
            expected.push_back(std::string(1 + random() % 4, static_cast<char>('a' + random() % 26)));
            expression += expected.back();
        }
        Tokens found;
        for (std::string& token : tokensOf(expression))
            if (token != "$" && token != "*")
                found.push_back(std::move(token));
        ASSERT_EQ(found, expected) << expression;
    }
}
