// Asks a collector over HTTP.
//
// Threads: one owner; a stop token may be triggered from anywhere. Errors: everything that goes wrong is a
// Failure, with the exit code that it gives. What an answer may hold is bounded.
#ifndef CTL_CLIENT_HPP
#define CTL_CLIENT_HPP

#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ctl/Failure.hpp"
#include "ctl/Json.hpp"

namespace ctl {

using Parameters = std::vector<std::pair<std::string, std::string>>;

// The collector, or what was reached instead of it, does not serve now, and may do so later.
class Outage : public Failure {
public:
    using Failure::Failure;
    double retryAfter = 0; // seconds, if it said so
};

// A command was carried out and has an error for its result.
class CommandFailure : public Failure {
public:
    CommandFailure(const Failure& failure, Json answer) : Failure(failure), result(std::move(answer)) {}
    Json result;
};

// Of "http://host:port/prefix"; also without the scheme, with an IPv6 address in brackets, or https.
struct Address {
    std::string origin; // scheme, host and port
    std::string host;
    int port = 0;
    std::string prefix; // of all paths; empty or begins with '/'
};
Address addressOf(const std::string& url);

// "?a=b&c=d", or nothing; whatever could mean something in a URL is percent-encoded.
std::string queryOf(const Parameters& parameters);

class Client {
public:
    // Seconds for an answer, as a whole.
    Client(const std::string& url, double timeout);
    const std::string& url() const { return url_; }

    Json get(const std::string& path, const Parameters& parameters = {}) const;
    Json post(const std::string& path, const Json& body) const;

    struct Stream {
        std::string path;
        Parameters parameters;
        std::string lastEventId; // empty: none
    };
    // Calls `opened` once the stream is there, and `take` with its pieces until that answers false, the stop
    // is requested, or the server ends; then returns. A break is an Outage.
    void follow(const Stream& stream, const std::function<void()>& opened,
        const std::function<bool(std::string_view)>& take, const std::stop_token& stop) const;

private:
    std::string url_;
    Address address_;
    double timeout_;
};

} // namespace ctl

#endif
