// Requests and responses as plain values: what the server hands to the service and gets back, without
// sockets.
//
// Threads: values. Errors: a target that cannot be read makes parseTarget false; nothing else fails.
#ifndef COLLECTOR_HTTP_MESSAGE_HPP
#define COLLECTOR_HTTP_MESSAGE_HPP

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace collector::http {

class EventStream;

using Pairs = std::vector<std::pair<std::string, std::string>>;

struct Request {
    std::string method;
    std::string path; // percent-decoded
    Pairs query;      // decoded, in the order of the target
    Pairs headers;    // names in lower case
    std::string body;

    // Takes a target ("/a%20b?c=d&e") apart into path and query. False for one that does not begin with a
    // slash, has a percent sign without two hexadecimal digits, a control character, or too many parameters.
    bool parseTarget(std::string_view target);
    // The first of that name, in lower case; empty when there is none.
    std::string_view header(std::string_view name) const;
    bool hasHeader(std::string_view name) const;
    // The first of that name.
    const std::string* parameter(std::string_view name) const;
};

struct Response {
    int status = 200;
    std::string contentType;
    Pairs headers; // beyond type, length and encoding
    std::string body;
    std::shared_ptr<EventStream> stream; // instead of a body

    void set(std::string name, std::string value) { headers.emplace_back(std::move(name), std::move(value)); }
    std::string_view header(std::string_view name) const; // as it was set
    // That another value of this header of the request would give another answer, for caches on the way.
    void varyBy(std::string_view header);
};

constexpr std::string_view jsonType = "application/json; charset=utf-8";
constexpr std::string_view eventStreamType = "text/event-stream; charset=utf-8";

// {"error": {"code": ..., "message": ...}}; the message may hold any octets.
Response error(int status, std::string_view code, std::string_view message);

// A list of media ranges or codings with weights ("gzip;q=0.5, *;q=0"): the weight of the one that names the
// value exactly, or nothing.
std::optional<double> weightOf(std::string_view list, std::string_view value);
std::string lowerCase(std::string_view text);
std::string_view trimmed(std::string_view text);

} // namespace collector::http

#endif
