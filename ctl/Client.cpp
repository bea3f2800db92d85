#include "ctl/Client.hpp"

#include <fcntl.h>
#include <httplib.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>

namespace ctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t longestAnswer = std::size_t{64} << 20;
constexpr std::size_t longestError = std::size_t{1} << 20;
// A comment keeps an idle stream alive every 15 seconds.
constexpr auto longestSilence = std::chrono::seconds(50);
constexpr int defaultPort = 9464;

std::string secondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", seconds);
    return text;
}

// What connect(2) would say. The client library knows, and does not tell.
std::string reasonOf(const Address& address) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int error =
            getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found))
        return gai_strerror(error);
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(found, freeaddrinfo);
    const int descriptor = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0)
        return std::strerror(errno);
    int error = connect(descriptor, found->ai_addr, found->ai_addrlen) == 0 ? 0 : errno;
    pollfd ready{descriptor, POLLOUT, 0};
    socklen_t length = sizeof error;
    constexpr int patience = 200; // milliseconds
    if (error == EINPROGRESS && poll(&ready, 1, patience) == 1)
        getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
    close(descriptor);
    std::string reason = error == 0 || error == EINPROGRESS ? "cannot connect" : std::strerror(error);
    reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
    return reason;
}

bool isUnreserved(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr("-._~", c) != nullptr;
}

std::string percentEncoded(std::string_view text) {
    std::string result;
    char encoded[4];
    for (const char c : text) {
        if (c != '\0' && isUnreserved(c)) {
            result += c;
            continue;
        }
        std::snprintf(encoded, sizeof encoded, "%%%02X", static_cast<unsigned char>(c));
        result += encoded;
    }
    return result;
}

std::unique_ptr<httplib::Client> connectionTo(const Address& address, std::chrono::microseconds patience) {
    auto client = std::make_unique<httplib::Client>(address.origin);
    if (!client->is_valid())
        throw Failure(
            ExitCode::failed, "bad_url", "'" + address.origin + "' cannot be reached: not supported");
    client->set_url_encode(false); // paths are encoded where they are made
    client->set_tcp_nodelay(true);
    client->set_connection_timeout(patience);
    client->set_read_timeout(patience);
    client->set_write_timeout(patience);
    return client;
}

// One answer as it comes in: the body is bounded in octets, and in time as a whole.
struct Answer {
    int status = 0;
    std::string type;
    std::string retryAfter;
    std::string body;
    bool isTooLong = false;
    bool isLate = false;
};

void takeHead(const httplib::Response& response, Answer& answer) {
    answer.status = response.status;
    answer.type = response.get_header_value("Content-Type");
    answer.retryAfter = response.get_header_value("Retry-After");
}

bool takeBody(Answer& answer, const char* data, std::size_t length, std::size_t limit) {
    answer.isTooLong = answer.body.size() + length > limit;
    if (!answer.isTooLong)
        answer.body.append(data, length);
    return !answer.isTooLong;
}

[[noreturn]] void failToReach(const Address& address, const std::string& url, httplib::Error error) {
    if (error == httplib::Error::ConnectionTimeout)
        throw Outage(ExitCode::noReply, "not_reached", "no collector at " + url + ": it does not answer");
    if (error == httplib::Error::Connection)
        throw Outage(ExitCode::noReply, "not_reached",
            "no collector at " + url + ": " + reasonOf(address) + "; start one with orx-collector");
    throw Outage(ExitCode::noReply, "no_reply", "the collector at " + url + " broke the connection off");
}

[[noreturn]] void failStrange(const std::string& url, const std::string& what) {
    throw Failure(ExitCode::failed, "strange_answer", url + " does not answer as a collector: " + what);
}

ExitCode exitCodeOf(int status, const Json& error, const Json& result) {
    constexpr int notFound = 404;
    if (textOf(result, "error_message") == "Timedout")
        return ExitCode::noReply;
    return status == notFound || textOf(error, "code") == "nothing_matched" ? ExitCode::nothingMatched
                                                                            : ExitCode::failed;
}

// An answer of 400 and above.
[[noreturn]] void failAnswered(const std::string& url, const Answer& answer) {
    constexpr int tooManyRequests = 429;
    constexpr int serverErrors = 500;
    constexpr int unavailable = 503;
    const Json body = parseJson(answer.body).value_or(Json());
    const Json& error = member(body, "error");
    const std::string status = std::to_string(answer.status);
    if (!error.is_object() && answer.status < serverErrors)
        failStrange(url, "status " + status);
    std::string message = textOf(error, "message");
    if (message.empty())
        message = "the collector at " + url + " answers with status " + status;
    const Json& inner = member(error, "result");
    const Json& result = inner.is_null() ? member(body, "result") : inner;
    const std::string word = textOf(error, "code").empty() ? "status_" + status : textOf(error, "code");
    if (answer.status == tooManyRequests || answer.status >= serverErrors) {
        Outage outage(answer.status == unavailable ? ExitCode::noReply : ExitCode::failed, word, message);
        outage.retryAfter = std::atof(answer.retryAfter.c_str());
        throw outage;
    }
    const Failure failure(exitCodeOf(answer.status, error, result), word, message);
    if (result.is_object())
        throw CommandFailure(failure, result);
    throw failure;
}

// Stops a request of another thread. The socket may not be there yet when a stop comes: the stop then shows
// at the first piece.
class StopRequest {
public:
    StopRequest(const std::stop_token& token, httplib::Client& client) : callback_(token, Action{client}) {}

private:
    struct Action {
        httplib::Client& client;
        void operator()() const { client.stop(); }
    };
    std::stop_callback<Action> callback_;
};

} // namespace

Address addressOf(const std::string& url) {
    const auto refuse = [&url](const char* why) {
        throw Failure(ExitCode::failed, "bad_url", "'" + url + "' is no address of a collector: " + why);
    };
    const std::size_t schemeEnd = url.find("://");
    const std::string scheme = schemeEnd == std::string::npos ? "http" : url.substr(0, schemeEnd);
    if (scheme != "http" && scheme != "https")
        refuse("it begins neither with http:// nor with https://");
    std::string rest = schemeEnd == std::string::npos ? url : url.substr(schemeEnd + 3);
    Address address;
    if (const std::size_t slash = rest.find('/'); slash != std::string::npos) {
        address.prefix = rest.substr(slash);
        rest.resize(slash);
    }
    while (!address.prefix.empty() && address.prefix.back() == '/')
        address.prefix.pop_back();
    const std::size_t bracket = rest.rfind(']');
    const std::size_t colon = rest.rfind(':');
    const bool hasPort = colon != std::string::npos && (bracket == std::string::npos || colon > bracket);
    std::string host = rest.substr(0, hasPort ? colon : std::string::npos);
    const std::string port = hasPort ? rest.substr(colon + 1) : std::to_string(defaultPort);
    const bool isNumber =
        !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
    address.port = isNumber ? std::stoi(port) : 0;
    if (address.port < 1 || address.port > 65535)
        refuse("the port is none");
    address.origin = scheme + "://" + host + ":" + port;
    if (!host.empty() && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    if (host.empty() || host.find_first_of(" \t\r\n@?#%\\[]") != std::string::npos ||
        address.prefix.find_first_of(" \t\r\n?#") != std::string::npos)
        refuse("the host is none");
    address.host = host;
    return address;
}

std::string queryOf(const Parameters& parameters) {
    std::string query;
    for (const auto& [name, value] : parameters)
        query += (query.empty() ? "?" : "&") + percentEncoded(name) + "=" + percentEncoded(value);
    return query;
}

Client::Client(const std::string& url, double timeout)
    : url_(url), address_(addressOf(url)), timeout_(timeout) {}

namespace {

// Both kinds of request, up to an answer that is JSON and no error.
template <typename Send> Json ask(const Address& address, const std::string& url, double timeout, Send send) {
    const std::chrono::microseconds patience(static_cast<std::int64_t>(timeout * 1e6));
    const auto deadline = Clock::now() + patience;
    const auto client = connectionTo(address, patience);
    Answer answer;
    httplib::Request request;
    request.headers = {{"Accept", "application/json"}};
    request.response_handler = [&](const httplib::Response& response) {
        takeHead(response, answer);
        return true;
    };
    request.content_receiver = [&](const char* data, std::size_t length, std::uint64_t, std::uint64_t) {
        answer.isLate = Clock::now() > deadline;
        return !answer.isLate && takeBody(answer, data, length, longestAnswer);
    };
    send(request);
    const httplib::Result result = client->send(request);
    const bool isLate = answer.isLate || Clock::now() > deadline;
    if (answer.isTooLong)
        failStrange(url, "more than " + std::to_string(longestAnswer >> 20) + " MiB");
    if (!result && isLate && result.error() != httplib::Error::Connection)
        throw Outage(ExitCode::noReply, "no_reply",
            "the collector at " + url + " gave no answer within " + secondsText(timeout) + " s");
    if (!result)
        failToReach(address, url, result.error());
    if (answer.status >= 400)
        failAnswered(url, answer);
    auto body = parseJson(answer.body);
    if (answer.status != 200 || !body || !body->is_object())
        failStrange(url, answer.status == 200 ? "no JSON object" : "status " + std::to_string(answer.status));
    return *std::move(body);
}

} // namespace

Json Client::get(const std::string& path, const Parameters& parameters) const {
    return ask(address_, url_, timeout_, [&](httplib::Request& request) {
        request.method = "GET";
        request.path = address_.prefix + path + queryOf(parameters);
    });
}

Json Client::post(const std::string& path, const Json& body) const {
    return ask(address_, url_, timeout_, [&](httplib::Request& request) {
        request.method = "POST";
        request.path = address_.prefix + path;
        request.body = dumped(body);
        request.headers.emplace("Content-Type", "application/json");
    });
}

void Client::follow(const Stream& stream, const std::function<void()>& opened,
    const std::function<bool(std::string_view)>& take, const std::stop_token& stop) const {
    const auto client =
        connectionTo(address_, std::chrono::microseconds(static_cast<std::int64_t>(timeout_ * 1e6)));
    client->set_read_timeout(longestSilence);
    httplib::Headers headers{{"Accept", "text/event-stream"}, {"Cache-Control", "no-cache"}};
    if (!stream.lastEventId.empty())
        headers.emplace("Last-Event-ID", stream.lastEventId);
    Answer answer;
    bool isEnough = false;
    const StopRequest stopRequest(stop, *client);
    const httplib::Result result = client->Get(
        address_.prefix + stream.path + queryOf(stream.parameters), headers,
        [&](const httplib::Response& response) {
            takeHead(response, answer);
            if (answer.status == 200 && answer.type.rfind("text/event-stream", 0) == 0)
                opened();
            return !stop.stop_requested();
        },
        [&](const char* data, std::size_t length) {
            if (answer.status != 200)
                return takeBody(answer, data, length, longestError);
            isEnough = stop.stop_requested() || !take({data, length});
            return !isEnough;
        });
    if (isEnough || stop.stop_requested())
        return;
    if (answer.status == 0)
        failToReach(address_, url_, result.error());
    if (answer.status >= 400)
        failAnswered(url_, answer);
    if (answer.status != 200 || answer.type.rfind("text/event-stream", 0) != 0)
        failStrange(url_, "no stream of events, status " + std::to_string(answer.status));
}

} // namespace ctl
