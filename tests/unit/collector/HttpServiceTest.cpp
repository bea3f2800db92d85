// Requests to responses, without sockets.
#include <gtest/gtest.h>
#include <zlib.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "collector/http/Service.hpp"

using namespace collector::http;

namespace {

Request request(
    const std::string& method, const std::string& target, Pairs headers = {}, std::string body = "") {
    Request made;
    made.method = method;
    EXPECT_TRUE(made.parseTarget(target));
    made.headers = std::move(headers);
    made.body = std::move(body);
    return made;
}

std::string codeOf(const Response& response) {
    return nlohmann::json::parse(response.body)["error"]["code"];
}

Response text(std::string body) {
    Response response;
    response.contentType = "text/plain";
    response.body = std::move(body);
    return response;
}

Service service(Policy policy = {}) {
    Service made(policy);
    made.router().add({"GET", "/plain", Lane::quick, [](auto&, auto&) { return text("plain"); }});
    made.router().add({"GET", "/things/{id}", Lane::quick, [](auto&, auto& id) { return text(id); }});
    made.router().add(
        {"GET", "/large", Lane::quick, [](auto&, auto&) { return text(std::string(100'000, 'x')); }});
    made.router().add(
        {"GET", "/broken", Lane::quick, [](auto&, auto&) -> Response { throw std::runtime_error("why"); }});
    made.router().add(
        {"POST", "/do/{what}", Lane::slow, [](auto& asked, auto&) { return text(asked.body); }});
    return made;
}

std::string inflated(const std::string& compressed) {
    z_stream stream{};
    inflateInit2(&stream, 15 + 16);
    std::string result(1'000'000, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
    stream.avail_in = static_cast<uInt>(compressed.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    result.resize(stream.total_out);
    inflateEnd(&stream);
    return result;
}

const Pairs json{{"content-type", "application/json"}};

} // namespace

TEST(HttpService, FindsRoutesByMethodAndPath) {
    EXPECT_EQ(service().handle(request("GET", "/plain")).body, "plain");
    EXPECT_EQ(service().handle(request("GET", "/things/a%2Eb")).body, "a.b");
    EXPECT_EQ(service().handle(request("HEAD", "/plain")).status, 200);
    EXPECT_EQ(service().lane(request("GET", "/plain")), Lane::quick);
    EXPECT_EQ(service().lane(request("POST", "/do/it")), Lane::slow);
    EXPECT_EQ(service().lane(request("POST", "/nothing")), Lane::quick);
}

TEST(HttpService, UnknownPathsAreNotFound) {
    for (const char* target : {"/", "/plain/", "/plai", "/things/", "/things/a/b", "/things/a%2Fb", "/do"}) {
        const Response response = service().handle(request("GET", target));
        EXPECT_EQ(response.status, 404) << target;
        EXPECT_EQ(codeOf(response), "not_found");
    }
}

TEST(HttpService, WrongMethodsTellWhichAreAllowed) {
    const Response response = service().handle(request("DELETE", "/plain"));
    EXPECT_EQ(response.status, 405);
    EXPECT_EQ(response.header("Allow"), "GET, HEAD");
    EXPECT_EQ(codeOf(response), "method_not_allowed");
    EXPECT_EQ(service().handle(request("GET", "/do/it")).header("Allow"), "POST");
    EXPECT_EQ(service().handle(request("get", "/plain")).status, 405);
}

TEST(HttpService, APostIsJson) {
    EXPECT_EQ(service().handle(request("POST", "/do/it", json, "{}")).body, "{}");
    EXPECT_EQ(service()
                  .handle(request("POST", "/do/it", {{"content-type", "Application/JSON ; charset=utf-8"}}))
                  .status,
        200);
    for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded", "application/jsonx"}) {
        const Response response = service().handle(request("POST", "/do/it", {{"content-type", type}}, "{}"));
        EXPECT_EQ(response.status, 415) << type;
        EXPECT_EQ(codeOf(response), "unsupported_media_type");
    }
    EXPECT_EQ(service().handle(request("POST", "/do/it", {}, "{}")).status, 415);
}

TEST(HttpService, APostOfAnotherOriginIsRefused) {
    const auto posted = [](Pairs headers) {
        headers.emplace_back("content-type", "application/json");
        headers.emplace_back("host", "robot7:9464");
        return service().handle(request("POST", "/do/it", std::move(headers), "{}"));
    };
    EXPECT_EQ(posted({{"origin", "http://robot7:9464"}}).status, 200);
    EXPECT_EQ(posted({{"sec-fetch-site", "same-origin"}}).status, 200);
    for (const char* origin :
        {"http://elsewhere.example", "null", "", "http://robot7:9465", "http://robot7:9464.example"}) {
        const Response response = posted({{"origin", origin}});
        EXPECT_EQ(response.status, 403) << origin;
        EXPECT_EQ(codeOf(response), "foreign_origin");
    }
    EXPECT_EQ(posted({{"sec-fetch-site", "cross-site"}}).status, 403);
}

TEST(HttpService, AReadOnlyServiceTakesNoPost) {
    Policy policy;
    policy.readOnly = true;
    const Response response = service(policy).handle(request("POST", "/do/it", json, "{}"));
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(codeOf(response), "read_only");
    EXPECT_EQ(service(policy).handle(request("GET", "/plain")).status, 200);
}

TEST(HttpService, OnLoopbackNamesOfOthersAreRefused) {
    Policy policy;
    policy.loopbackOnly = true;
    const Service local = service(policy);
    for (const char* host :
        {"127.0.0.1:9464", "localhost", "LOCALHOST:1", "[::1]:9464", "10.0.0.1", "x.localhost"})
        EXPECT_EQ(local.handle(request("GET", "/plain", {{"host", host}})).status, 200) << host;
    EXPECT_EQ(local.handle(request("GET", "/plain")).status, 200); // a client of the first version of HTTP
    for (const char* host : {"rebound.example:9464", "127.0.0.1.example", "", "localhost.example"})
        EXPECT_EQ(local.handle(request("GET", "/plain", {{"host", host}})).status, 403) << host;
    EXPECT_EQ(service().handle(request("GET", "/plain", {{"host", "robot7"}})).status, 200);
}

TEST(HttpService, ATooLargeBodyIsRefused) {
    EXPECT_EQ(service().handle(request("POST", "/do/it", json, std::string(256 * 1024, ' '))).status, 200);
    const Response response =
        service().handle(request("POST", "/do/it", json, std::string(256 * 1024 + 1, ' ')));
    EXPECT_EQ(response.status, 413);
    EXPECT_EQ(codeOf(response), "too_large");
}

TEST(HttpService, AHandlerThatThrowsIsAnAnswer) {
    const Response response = service().handle(request("GET", "/broken"));
    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(codeOf(response), "internal_error");
}

TEST(HttpService, CompressesWhenAskedFor) {
    const Response response =
        service().handle(request("GET", "/large", {{"accept-encoding", "deflate, gzip"}}));
    EXPECT_EQ(response.header("Content-Encoding"), "gzip");
    EXPECT_EQ(response.header("Vary"), "Accept-Encoding");
    EXPECT_LT(response.body.size(), 10'000U);
    EXPECT_EQ(inflated(response.body), std::string(100'000, 'x'));
    EXPECT_EQ(
        service().handle(request("GET", "/large", {{"accept-encoding", "*"}})).header("Content-Encoding"),
        "gzip");
}

TEST(HttpService, DoesNotCompressWhatNobodyAskedFor) {
    for (const char* accepted : {"", "identity", "gzip;q=0", "gzip;q=0, *", "*;q=0", "br"}) {
        const Response response = service().handle(request("GET", "/large", {{"accept-encoding", accepted}}));
        EXPECT_EQ(response.header("Content-Encoding"), "") << accepted;
        EXPECT_EQ(response.body.size(), 100'000U);
    }
    const Response small = service().handle(request("GET", "/plain", {{"accept-encoding", "gzip"}}));
    EXPECT_EQ(small.body, "plain");
}
