#include <gtest/gtest.h>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "collector/http/Listener.hpp"
#include "collector/http/Message.hpp"

using namespace collector::http;

TEST(HttpTarget, PathAndQueryAreDecoded) {
    Request request;
    ASSERT_TRUE(request.parseTarget("/a%20b/c?path=%2F%2F*&x=1+2&empty&=v&&last=a=b#fragment"));
    EXPECT_EQ(request.path, "/a b/c");
    ASSERT_EQ(request.query.size(), 5U);
    EXPECT_EQ(*request.parameter("path"), "//*");
    EXPECT_EQ(*request.parameter("x"), "1 2");
    EXPECT_EQ(*request.parameter("empty"), "");
    EXPECT_EQ(*request.parameter("last"), "a=b");
    EXPECT_EQ(request.parameter("none"), nullptr);
}

TEST(HttpTarget, APlusInAPathIsAPlus) {
    Request request;
    ASSERT_TRUE(request.parseTarget("/a+b"));
    EXPECT_EQ(request.path, "/a+b");
}

TEST(HttpTarget, WhatIsNoPathIsRefused) {
    for (const char* target :
        {"", "a", "*", "http://host/", "/%", "/%4", "/%4x", "/a%00b", "/?a=%zz", "/%0a", "/a\nb"})
        EXPECT_FALSE(Request().parseTarget(target)) << target;
}

TEST(HttpTarget, AtMostSixtyFourParameters) {
    std::string target = "/?";
    for (int i = 0; i < 64; ++i)
        target += "a=1&";
    EXPECT_TRUE(Request().parseTarget(target));
    EXPECT_FALSE(Request().parseTarget(target + "a=1"));
}

TEST(HttpHeaders, WeightsOfLists) {
    EXPECT_EQ(weightOf("gzip", "gzip"), 1.0);
    EXPECT_EQ(weightOf("deflate, GZIP;q=0.5", "gzip"), 0.5);
    EXPECT_EQ(weightOf("gzip;q=0", "gzip"), 0.0);
    EXPECT_EQ(weightOf("gzip ; foo=bar; q=0.25", "gzip"), 0.25);
    EXPECT_EQ(weightOf("deflate, br", "gzip"), std::nullopt);
    EXPECT_EQ(weightOf("gzip;q=abc", "gzip"), 0.0);
    EXPECT_EQ(weightOf("", "gzip"), std::nullopt);
    EXPECT_EQ(weightOf(",;,;;q=,", "gzip"), std::nullopt);
}

TEST(HttpErrors, AreObjectsWhateverTheTextHolds) {
    const Response response = error(404, "not_found", "no \"resource\" \x01\xFF here");
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.contentType, jsonType);
    const auto json = nlohmann::json::parse(response.body);
    EXPECT_EQ(json["error"]["code"], "not_found");
    EXPECT_EQ(json["error"]["message"], "no \"resource\" \x01\xEF\xBF\xBD here");
}

TEST(HttpAddress, HostAndPort) {
    const auto expect = [](const char* text, const char* host, unsigned port) {
        const auto address = parseAddress(text);
        ASSERT_TRUE(address) << text;
        EXPECT_EQ(address->host, host);
        EXPECT_EQ(address->port, port);
    };
    expect("127.0.0.1:9464", "127.0.0.1", 9464);
    expect("[::1]:0", "::1", 0);
    expect("localhost:1", "localhost", 1);
    expect(":65535", "", 65535);
    for (const char* text :
        {"", "127.0.0.1", "127.0.0.1:", "::1:9464", "a:65536", "a:-1", "a:1x", "a: 1", "[::1:1"})
        EXPECT_FALSE(parseAddress(text)) << text;
}

TEST(HttpAddress, AFreePortIsPickedAndTold) {
    std::string error;
    const ListenSocket first = listenOn({"127.0.0.1", 0}, error);
    ASSERT_GE(first.socket, 0) << error;
    EXPECT_TRUE(first.isLoopback);
    EXPECT_TRUE(first.url.starts_with("http://127.0.0.1:"));
    const auto port = static_cast<std::uint16_t>(std::stoi(first.url.substr(first.url.rfind(':') + 1)));
    EXPECT_NE(port, 0);
    // Nobody else gets it.
    EXPECT_LT(listenOn({"127.0.0.1", port}, error).socket, 0);
    EXPECT_NE(error.find("Address already in use"), std::string::npos) << error;
    close(first.socket);
    EXPECT_LT(listenOn({"no.such.host.invalid", 0}, error).socket, 0);
}
