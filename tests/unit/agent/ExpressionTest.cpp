// What the settings accept as an expression, the library's tokenizer accepts, with the same count of
// components.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "agent/Settings.hpp"
#include "src/utils/PathTokenizer.h"
#include "zddscore/log.h"

namespace {

bool isAcceptedByTheLibrary(const std::string& expression) {
    ORX_MonitoringResourceTokenizer* tokenizer = ORX_MonitoringResourceTokenizer_new(expression.c_str());
    const bool isAccepted = tokenizer != nullptr;
    ORX_MonitoringResourceTokenizer_delete(tokenizer);
    return isAccepted;
}

std::string problemOf(const std::string& expression) {
    orx::agent::Problem problem;
    orx::agent::checkExpression(expression, problem);
    return problem.text;
}

class Expressions : public testing::Test {
protected:
    Expressions() { ORXLog_setStderrEnabled(0); }
    ~Expressions() override { ORXLog_setStderrEnabled(1); }
};

TEST_F(Expressions, WhatIsAcceptedTheLibraryAccepts) {
    std::mt19937 random(11);
    const std::string pieces[] = {"/", "/", "//", "topics", "*", "data_*", "x", "$", "applications", "[dt]*",
        "///", "GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)", std::string(200, 'y')};
    size_t accepted = 0;
    for (int i = 0; i < 200000; ++i) {
        std::string expression;
        for (size_t count = random() % 40 + 1; count > 0; --count)
            expression += pieces[random() % (i % 2 == 0 ? 10 : std::size(pieces))];
        if (!problemOf(expression).empty())
            continue;
        ++accepted;
        ASSERT_TRUE(isAcceptedByTheLibrary(expression)) << expression;
    }
    EXPECT_GT(accepted, 1000u);
}

// Form and length are refused by both; what selects nothing is refused by the settings alone.
TEST_F(Expressions, WhatTheLibraryRefusesIsRefused) {
    std::string pairs;
    for (int i = 0; i < 17; ++i)
        pairs += "/topics/x";
    for (const std::string& expression :
        {std::string("a///b"), "//" + std::string(1022, 'x'), pairs, "//x" + pairs.substr(0, 150)}) {
        EXPECT_FALSE(isAcceptedByTheLibrary(expression)) << expression;
        EXPECT_NE(problemOf(expression), "") << expression;
    }
    for (const char* expression : {"", "/", "//", "/applications", "/nothing/x"}) {
        EXPECT_TRUE(isAcceptedByTheLibrary(expression)) << expression;
        EXPECT_NE(problemOf(expression), "") << expression;
    }
}

// At the bound of 32 components both agree, whatever the kind of the components.
TEST_F(Expressions, ComponentsAreCountedAlike) {
    for (const std::string start : {"", "/", "//x", "//topics/x", "//x//y", "//topics/x//y"}) {
        std::string expression = start;
        for (int i = 0; i < 20; ++i) {
            expression += "/topics/x";
            EXPECT_EQ(problemOf(expression).empty(), isAcceptedByTheLibrary(expression)) << expression;
        }
    }
}

} // namespace
