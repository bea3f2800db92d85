#include "collector/http/Service.hpp"

#include <zlib.h>

#include <exception>
#include <optional>

namespace collector::http {

namespace {

constexpr std::size_t smallestCompressed = 1024;

// "name:port" without the port, "[::1]" without brackets, in lower case.
std::string hostName(std::string_view host) {
    host = trimmed(host);
    if (!host.empty() && host.front() == '[')
        return lowerCase(host.substr(1, host.find(']') - 1));
    return lowerCase(host.substr(0, host.find(':')));
}

// Names that no name server answers for.
bool meansThisHost(std::string_view host) {
    const std::string name = hostName(host);
    const bool isAddress =
        name.find_first_not_of("0123456789.") == std::string::npos || name.find(':') != std::string::npos;
    return !name.empty() && (isAddress || name == "localhost" || name.ends_with(".localhost"));
}

// A browser tells where the page came from that sends a POST; programs tell nothing.
bool isFromElsewhere(const Request& request) {
    if (request.hasHeader("origin")) {
        const std::string origin = lowerCase(trimmed(request.header("origin")));
        const std::string host = lowerCase(trimmed(request.header("host")));
        return origin != "http://" + host && origin != "https://" + host;
    }
    const std::string_view site = request.header("sec-fetch-site");
    return !site.empty() && site != "same-origin" && site != "none";
}

std::optional<Response> refusedPost(const Request& request, const Policy& policy) {
    if (policy.readOnly)
        return error(403, "read_only", "this collector was started with --read-only");
    if (isFromElsewhere(request))
        return error(403, "foreign_origin", "a page of another origin may not send commands");
    const std::string_view type = request.header("content-type");
    if (lowerCase(trimmed(type.substr(0, type.find(';')))) != "application/json")
        return error(415, "unsupported_media_type", "the body of a command is application/json");
    return std::nullopt;
}

} // namespace

Lane Service::lane(const Request& request) const {
    const auto match = router_.find(request.method, request.path);
    return match.route != nullptr ? match.route->lane : Lane::quick;
}

Response Service::handle(const Request& request) const {
    Response response;
    try {
        response = answer(request);
    } catch (const std::exception& failure) {
        response = error(500, "internal_error", failure.what());
    }
    response.set("X-Content-Type-Options", "nosniff");
    compress(request, response);
    return response;
}

Response Service::answer(const Request& request) const {
    if (policy_.loopbackOnly && request.hasHeader("host") && !meansThisHost(request.header("host")))
        return error(403, "foreign_origin", "this collector answers to addresses and localhost alone");
    const auto match = router_.find(request.method, request.path);
    if (match.allow.empty())
        return error(404, "not_found", "no such path");
    if (match.route == nullptr) {
        Response response = error(405, "method_not_allowed", "this path takes " + match.allow);
        response.set("Allow", match.allow);
        return response;
    }
    if (request.body.size() > policy_.bodyLimit)
        return error(413, "too_large", "a body has at most " + std::to_string(policy_.bodyLimit) + " bytes");
    if (match.route->method == "POST") {
        if (auto refused = refusedPost(request, policy_))
            return *std::move(refused);
    }
    return match.route->handler(request, match.segment);
}

void compress(const Request& request, Response& response) {
    if (response.stream != nullptr)
        return;
    if (response.body.size() < smallestCompressed)
        return;
    response.varyBy("Accept-Encoding");
    const std::string_view accepted = request.header("accept-encoding");
    const auto named = weightOf(accepted, "gzip");
    if (named.value_or(weightOf(accepted, "*").value_or(0)) <= 0)
        return;
    z_stream stream{};
    constexpr int gzipWindow = 15 + 16; // the largest window, with the header of gzip
    if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, gzipWindow, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return;
    std::string compressed(deflateBound(&stream, static_cast<uLong>(response.body.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(response.body.data());
    stream.avail_in = static_cast<uInt>(response.body.size());
    stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
    stream.avail_out = static_cast<uInt>(compressed.size());
    const bool isDone = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    compressed.resize(stream.total_out);
    deflateEnd(&stream);
    if (!isDone)
        return;
    response.body = std::move(compressed);
    response.set("Content-Encoding", "gzip");
}

} // namespace collector::http
