#include "collector/api/Json.hpp"

#include <gtest/gtest.h>

#include "collector/api/ApplicationFilter.hpp"
#include "collector/api/Names.hpp"

using namespace collector::api;

namespace {

std::string refusalOf(const std::string& text) {
    try {
        parse(text);
        return "";
    } catch (const BadRequest& bad) {
        return bad.what();
    }
}

std::string nested(int depth) {
    return std::string(static_cast<std::size_t>(depth), '[') +
           std::string(static_cast<std::size_t>(depth), ']');
}

} // namespace

TEST(ApiJson, TakesOneValueAndNothingBehindIt) {
    EXPECT_EQ(parse(" {\"a\": [1, true, null, \"x\"]} ")["a"].size(), 4U);
    for (const char* text : {"", " ", "{", "{}{}", "{} x", "{\"a\":}", "[1,]", "nul", "'a'",
             "{\"a\": 1, // no\n}", "\"\xFF\"", "\"\\ud800\"", "01", "1e999", "NaN"})
        EXPECT_NE(refusalOf(text), "") << text;
}

TEST(ApiJson, DepthIsBounded) {
    EXPECT_EQ(refusalOf(nested(16)), "");
    EXPECT_NE(refusalOf(nested(18)).find("too deeply"), std::string::npos);
    EXPECT_NE(refusalOf(nested(100'000)).find("too deeply"), std::string::npos);
}

TEST(ApiJson, AMemberStandsOnce) {
    EXPECT_NE(refusalOf("{\"a\": 1, \"a\": 2}").find("stands twice"), std::string::npos);
    EXPECT_NE(refusalOf("{\"a\": {\"b\": 1, \"b\": 1}}"), "");
    EXPECT_EQ(refusalOf("{\"a\": {\"a\": {\"a\": 1}}, \"b\": [{\"a\": 1}, {\"a\": 1}]}"), "");
}

TEST(ApiJson, WhatIsGivenIsValidUtf8) {
    EXPECT_EQ(dump("a\xFF\n"), "\"a\xEF\xBF\xBD\\n\"");
}

TEST(ApiJson, TimesAreInUtc) {
    EXPECT_EQ(timeText(1'763'728'831'924'567'891, 6), "2025-11-21T12:40:31.924567Z");
    EXPECT_EQ(timeText(1'763'728'831'924'567'891, 3), "2025-11-21T12:40:31.924Z");
    EXPECT_EQ(timeText(0, 0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(timeText(-1, 3), "1969-12-31T23:59:59.999Z");
    EXPECT_FALSE(timeText(INT64_MAX, 6).empty());
    EXPECT_FALSE(timeText(INT64_MIN, 6).empty());
}

TEST(ApiNames, FacilitiesAndLevels) {
    for (const char* name : {"user", "security", "service", "middleware"})
        EXPECT_EQ(facilityJson(facilityOf(name).value()), name);
    EXPECT_EQ(facilityOf("security_event"), 10);
    EXPECT_EQ(facilityOf("23"), 23);
    EXPECT_EQ(facilityOf("256"), std::nullopt);
    EXPECT_EQ(facilityOf("User"), std::nullopt);
    EXPECT_EQ(facilityOf(""), std::nullopt);
    EXPECT_EQ(facilityJson(17), 17);
    EXPECT_EQ(facilityText(17), "17");
    EXPECT_EQ(severityOf("emergency"), 0U);
    EXPECT_EQ(severityOf("debug"), 7U);
    EXPECT_EQ(severityOf("4"), 4U);
    EXPECT_EQ(severityOf("8"), std::nullopt);
    EXPECT_EQ(severityOf("silent"), std::nullopt);
    EXPECT_EQ(severityJson(8), 8);
    const std::pair<const char*, std::uint32_t> levels[] = {{"silent", 0}, {"emergency", 1}, {"alert", 3},
        {"critical", 7}, {"error", 15}, {"warning", 31}, {"notice", 63}, {"informational", 127},
        {"debug", 255}};
    for (const auto& [name, mask] : levels) {
        EXPECT_EQ(verbosityOf(name), mask);
        EXPECT_EQ(verbosityJson(mask), name);
        EXPECT_TRUE(isVerbosity(mask));
    }
    EXPECT_EQ(verbosityJson(5), 5);
    EXPECT_FALSE(isVerbosity(5));
    EXPECT_FALSE(isVerbosity(511));
}

TEST(ApiApplicationFilter, PathsNamesPatternsAndGuids) {
    const reading::Guid one{1}, two{2};
    const auto passes = [&](const std::string& text, const reading::Guid& guid, const char* name) {
        const auto filter = ApplicationFilter::of(text);
        return filter && filter->passes(guid, name);
    };
    EXPECT_TRUE(ApplicationFilter().passes(one, "pinger"));
    EXPECT_TRUE(passes("pinger", one, "pinger"));
    EXPECT_TRUE(passes("/applications/pinger", one, "pinger"));
    EXPECT_TRUE(passes("ping*", one, "pinger"));
    EXPECT_FALSE(passes("ping", one, "pinger"));
    EXPECT_TRUE(passes(reading::guidDigits(one), one, "pinger"));
    EXPECT_TRUE(passes("/applications/" + reading::guidText(one), one, "pinger"));
    EXPECT_FALSE(passes(reading::guidDigits(one), two, "pinger"));
    EXPECT_TRUE(passes("a[b", one, "a[b")); // no pattern, but a name
    for (const char* text : {"", "/applications/", "/applications/a/b", "/pinger", "//pinger"})
        EXPECT_FALSE(ApplicationFilter::of(text)) << text;
}
