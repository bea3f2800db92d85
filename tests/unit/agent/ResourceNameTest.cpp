#include "agent/ResourceName.hpp"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

namespace {

using orx::agent::resourceName;

std::string named(const std::string& name) {
    return resourceName(name.c_str()).text;
}

// Undoes the rule for names that were not cut.
std::string decoded(const std::string& text) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        result += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
        i += 2;
    }
    return result;
}

TEST(ResourceName, KeepsOrdinaryNames) {
    EXPECT_EQ(named("chatter"), "chatter");
    EXPECT_EQ(named("My Topic-1.2_x=(y),{z}!"), "My Topic-1.2_x=(y),{z}!");
    EXPECT_EQ(named(""), "");
}

TEST(ResourceName, ReplacesDelimitersAndPatternCharacters) {
    EXPECT_EQ(named("rt/chatter"), "rt%2Fchatter");
    EXPECT_EQ(named("//"), "%2F%2F");
    EXPECT_EQ(named("a*b?c[d]e\\f"), "a%2Ab%3Fc%5Bd%5De%5Cf");
    EXPECT_EQ(named("100%"), "100%25");
}

TEST(ResourceName, ReplacesControlCharacters) {
    EXPECT_EQ(named("a\nb\tc\x1b[0m\x7f"), "a%0Ab%09c%1B%5B0m%7F");
}

TEST(ResourceName, KeepsValidUtf8AndReplacesOtherBytes) {
    EXPECT_EQ(named("Grüße-日本-\xF0\x9F\x9A\x80"), "Grüße-日本-\xF0\x9F\x9A\x80");
    EXPECT_EQ(named("\xC3"), "%C3");
    EXPECT_EQ(named("a\xFF"), "a%FF");
    EXPECT_EQ(named("\xC0\xAF"), "%C0%AF") << "an over-long slash";
    EXPECT_EQ(named("\xED\xA0\x80"), "%ED%A0%80") << "a surrogate";
    EXPECT_EQ(named("\xF4\x90\x80\x80"), "%F4%90%80%80") << "beyond the last character";
    EXPECT_EQ(named("\xE6\x97"), "%E6%97") << "a character that ends early";
}

TEST(ResourceName, CannotBeReadAsGuid) {
    EXPECT_EQ(
        named("GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)"), "%47UID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)");
    EXPECT_EQ(named("GUID("), "%47UID(");
    EXPECT_EQ(named("GUID"), "GUID");
    EXPECT_EQ(named("xGUID("), "xGUID(");
}

TEST(ResourceName, CannotBeReadAsAnyDepth) {
    EXPECT_EQ(named("$"), "%24");
    EXPECT_EQ(named("$x"), "$x");
}

TEST(ResourceName, FitsExactlyAtTheBound) {
    EXPECT_EQ(named(std::string(255, 'a')), std::string(255, 'a'));
    EXPECT_EQ(named(std::string(252, 'a') + "/").size(), 255u);
    EXPECT_EQ(named(std::string(252, 'a') + "/").substr(252), "%2F");
}

TEST(ResourceName, CutsLongNamesStablyAndKeepsThemApart) {
    const std::string one = named(std::string(300, 'a') + "1");
    const std::string two = named(std::string(300, 'a') + "2");
    EXPECT_EQ(one.size(), 255u);
    EXPECT_EQ(one.substr(0, 237), std::string(237, 'a'));
    EXPECT_EQ(one.substr(237, 2), "%~");
    EXPECT_NE(one, two);
    EXPECT_EQ(one, named(std::string(300, 'a') + "1"));
    EXPECT_EQ(named(std::string(256, 'a')).size(), 255u);
    EXPECT_NE(named(one), one) << "a name that looks cut is not taken for one";
}

TEST(ResourceName, NeverCutsInsideAnEscapeOrACharacter) {
    for (size_t lead = 225; lead < 237; ++lead) {
        const std::string slashes = named(std::string(lead, 'a') + std::string(100, '/'));
        const size_t mark = slashes.find("%~");
        ASSERT_NE(mark, std::string::npos);
        EXPECT_EQ((mark - lead) % 3, 0u) << lead;
        std::string accents(lead, 'a');
        for (int i = 0; i < 100; ++i)
            accents += "日";
        const std::string cut = named(accents);
        EXPECT_EQ((cut.find("%~") - lead) % 3, 0u) << lead;
        EXPECT_LE(cut.size(), 255u);
    }
}

TEST(ResourceName, AddsAnIdWithinTheBound) {
    EXPECT_STREQ(resourceName("chatter", 0x302).text, "chatter_00000302");
    EXPECT_STREQ(resourceName("rt/x", 0xDEADBEEF).text, "rt%2Fx_deadbeef");
    const std::string cut = resourceName(std::string(400, 'b').c_str(), 0x207).text;
    EXPECT_EQ(cut.size(), 255u);
    EXPECT_EQ(cut.substr(246), "_00000207");
}

// Random names over an alphabet of what matters: no delimiter or pattern left, bounded, reversible, no
// collision.
TEST(ResourceName, IsReversibleAndFreeOfCollisions) {
    std::mt19937 random(7);
    const std::string alphabet = "a/*?[]\\%$G~2F\x01\x7f\xC3\xA9(";
    std::set<std::string> names;
    std::set<std::string> results;
    for (int i = 0; i < 20000; ++i) {
        std::string name;
        for (size_t length = random() % 90; name.size() < length;)
            name += alphabet[random() % alphabet.size()];
        const std::string result = named(name);
        ASSERT_LE(result.size(), 255u);
        ASSERT_EQ(result.find_first_of("/*?[]\\\x01\x7f"), std::string::npos) << name;
        if (result.find("%~") == std::string::npos) {
            ASSERT_EQ(decoded(result), name);
        }
        names.insert(name);
        results.insert(result);
    }
    EXPECT_EQ(names.size(), results.size());
}

} // namespace
