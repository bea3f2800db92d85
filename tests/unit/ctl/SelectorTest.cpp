#include "ctl/Selector.hpp"

#include <gtest/gtest.h>

#include "ctl/Client.hpp"
#include "ctl/Json.hpp"

namespace {

using Texts = std::vector<std::string>;
const std::string guid = "1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D";

TEST(Selector, KnowsAGuid) {
    EXPECT_EQ(ctl::guidOf(guid), guid);
    EXPECT_EQ(ctl::guidOf("GUID(" + guid + ")"), guid);
    EXPECT_EQ(ctl::guidOf("1a2b3c4d.5e6f7a8b.9c0d1e2f.3a4b5c6d"), guid);
    for (const char* other : {"", "pinger", "1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6", "GUID()", "GUID(", ")",
             "1A2B3C4D-5E6F7A8B-9C0D1E2F-3A4B5C6D", "GA2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D",
             "1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D0"})
        EXPECT_EQ(ctl::guidOf(other), std::nullopt) << other;
}

TEST(Selector, TakesANameForAnApplication) {
    EXPECT_EQ(ctl::expressionOf("pinger"), "/applications/pinger");
    EXPECT_EQ(ctl::expressionOf("/applications/*"), "/applications/*");
    EXPECT_EQ(ctl::expressionOf("//T"), "//T");
    EXPECT_EQ(ctl::expressionOf(guid), "//GUID(" + guid + ")");
}

TEST(Selector, AddsWhatIsBelow) {
    EXPECT_EQ(ctl::subtreeExpressionsOf(""), Texts{"//*"});
    EXPECT_EQ(
        ctl::subtreeExpressionsOf("pinger"), (Texts{"/applications/pinger", "/applications/pinger//*"}));
    EXPECT_EQ(
        ctl::subtreeExpressionsOf("/applications/a/"), (Texts{"/applications/a", "/applications/a//*"}));
    EXPECT_EQ(ctl::subtreeExpressionsOf("/applications/a//*"), Texts{"/applications/a//*"});
    EXPECT_EQ(ctl::subtreeExpressionsOf("/"), Texts{"//*"});
    EXPECT_EQ(ctl::subtreeExpressionsOf("/applications"), Texts{"//*"});
}

TEST(Selector, SendsMetricsOfANameToTheWholeApplication) {
    EXPECT_EQ(ctl::metricSelectorsOf("pinger"), (Texts{"/applications/pinger", "/applications/pinger//*"}));
    EXPECT_EQ(ctl::metricSelectorsOf("/applications/pinger"), Texts{"/applications/pinger"});
    EXPECT_EQ(ctl::metricSelectorsOf(guid), Texts{"//GUID(" + guid + ")"});
}

TEST(Selector, LooksForANameAnywhereAfterwards) {
    EXPECT_EQ(ctl::anyResourceNamed("ping_00000a02"), "//ping_00000a02");
    EXPECT_EQ(ctl::anyResourceNamed("/applications/a"), std::nullopt);
    EXPECT_EQ(ctl::anyResourceNamed(guid), std::nullopt);
    EXPECT_EQ(ctl::anyResourceNamed(""), std::nullopt);
}

TEST(Address, IsTakenApart) {
    const auto plain = ctl::addressOf("http://127.0.0.1:9464");
    EXPECT_EQ(plain.origin, "http://127.0.0.1:9464");
    EXPECT_EQ(plain.host, "127.0.0.1");
    EXPECT_EQ(plain.port, 9464);
    EXPECT_EQ(plain.prefix, "");
    const auto longer = ctl::addressOf("https://robot7:80/dds//");
    EXPECT_EQ(longer.origin, "https://robot7:80");
    EXPECT_EQ(longer.prefix, "/dds");
    const auto bare = ctl::addressOf("robot7");
    EXPECT_EQ(bare.origin, "http://robot7:9464");
    const auto six = ctl::addressOf("http://[::1]:9");
    EXPECT_EQ(six.host, "::1");
    EXPECT_EQ(six.port, 9);
    EXPECT_EQ(six.origin, "http://[::1]:9");
    EXPECT_EQ(ctl::addressOf("[::1]").port, 9464);
}

TEST(Address, IsRefusedWithAReason) {
    for (const char* url : {"", "http://", "ftp://a", "http://a:0", "http://a:65536", "http://a:x",
             "http://a:", "http://user@a", "http://a b", "http://a/p?q", "http://a\nb:1", "http://:1"}) {
        try {
            ctl::addressOf(url);
            ADD_FAILURE() << url;
        } catch (const ctl::Failure& failure) {
            EXPECT_EQ(failure.exitCode(), ctl::ExitCode::failed);
        }
    }
}

TEST(Query, EncodesEverythingThatMeansSomething) {
    EXPECT_EQ(ctl::queryOf({}), "");
    EXPECT_EQ(ctl::queryOf({{"path", "//data_writers/*"}, {"contains", "50% & more=#?+\n\xC3\xBC"}}),
        "?path=%2F%2Fdata_writers%2F%2A&contains=50%25%20%26%20more%3D%23%3F%2B%0A%C3%BC");
}

TEST(Json, RefusesWhatIsNestedTooDeep) {
    const auto nested = [](int depth) {
        return std::string(static_cast<std::size_t>(depth), '[') +
               std::string(static_cast<std::size_t>(depth), ']');
    };
    EXPECT_TRUE(ctl::parseJson(nested(64)));
    EXPECT_FALSE(ctl::parseJson(nested(65)));
    EXPECT_FALSE(ctl::parseJson(nested(1'000'000)));
    EXPECT_TRUE(ctl::parseJson("\"" + std::string(1000, '[') + "\\\"[[\"")); // brackets of a text do not nest
    EXPECT_FALSE(ctl::parseJson("{\"a\":"));
    EXPECT_FALSE(ctl::parseJson(""));
}

TEST(Json, ReadsMembersOfAnyTypeAndNone) {
    const auto object = *ctl::parseJson(R"({"text": "t", "number": 1.5, "null": null, "yes": true,
        "list": [1, "two", [3]], "object": {"a": 1}})");
    EXPECT_EQ(ctl::shownOf(object, "text"), "t");
    EXPECT_EQ(ctl::shownOf(object, "number"), "1.5");
    EXPECT_EQ(ctl::shownOf(object, "null"), "");
    EXPECT_EQ(ctl::shownOf(object, "yes"), "true");
    EXPECT_EQ(ctl::shownOf(object, "list"), "1,two,3");
    EXPECT_EQ(ctl::shownOf(object, "object"), "{\"a\":1}");
    EXPECT_EQ(ctl::shownOf(object, "missing"), "");
    EXPECT_EQ(ctl::textOf(object, "number"), "");
    EXPECT_TRUE(ctl::elementsOf(object, "text").empty());
    EXPECT_TRUE(ctl::member(*ctl::parseJson("[1]"), "a").is_null());
}

TEST(Json, IsWrittenForAnyTerminal) {
    EXPECT_EQ(
        ctl::dumped(ctl::Json{{"a", "\x1B\u00FC\x7F\xFF"}}), "{\"a\":\"\\u001b\\u00fc\\u007f\\ufffd\"}");
}

} // namespace
