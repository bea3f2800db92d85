// orx-send: sends one command to one monitored application, and prints its reply.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "reading/StandardStreams.hpp"
#include "send/Options.hpp"
#include "send/Request.hpp"
#include "send/Session.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

enum ExitCode { done = 0, failed = 2, nothingMatched = 3, noReply = 4 };
constexpr auto lingering = 2s;

struct Report {
    ExitCode exitCode;
    const char* result;
    std::string application;
    std::string message;
    double milliseconds = 0;
};

Report reportOf(const send::Result& result) {
    if (result.code == 0)
        return {done, "done", "", result.message};
    if (result.code == 3)
        return {nothingMatched, "nothing matched", "", result.message};
    return {failed, "failed", "", result.message};
}

Report run(const send::Options& options) {
    const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                             std::chrono::duration<double>(options.seconds));
    const send::Bytes request = send::encodeRequest(*options.operation, options.selectors);
    if (request.empty())
        return {failed, "not sent", "", "the command is longer than an application takes"};
    std::string error;
    const auto session = send::Session::open(options.domain, options.peers, error);
    if (session == nullptr)
        return {failed, "not sent", "", error};
    send::Application application{};
    switch (session->find(options.application, deadline, application, error)) {
    case send::Session::Finding::notThere:
        return {noReply, "not sent", options.application, error};
    case send::Session::Finding::ambiguous:
        return {failed, "not sent", options.application, error};
    default:
        break;
    }
    send::Guid identifier;
    const auto start = Clock::now();
    const auto reply = session->ask(application, request, deadline, identifier);
    const std::chrono::duration<double, std::milli> took = Clock::now() - start;
    if (!reply)
        return {noReply, "no reply", application.name, ""};
    const auto result = send::decodeReply(reply->data(), reply->size());
    Report report = result ? reportOf(*result) : Report{failed, "failed", "", "the reply cannot be read"};
    report.application = application.name;
    report.milliseconds = took.count();
    (void)session->awaitAcknowledged(Clock::now() + lingering);
    return report;
}

// Texts of others go to a terminal: control characters do not.
std::string printable(const std::string& text) {
    std::string result;
    for (const char c : text) {
        const auto octet = static_cast<unsigned char>(c);
        if (octet >= 0x20 && octet != 0x7F) {
            result += c;
            continue;
        }
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02X", octet);
        result += escaped;
    }
    return result;
}

void print(const send::Options& options, const Report& report) {
    if (options.json) {
        const nlohmann::json object{{"operation", options.operation->name},
            {"application", report.application}, {"result", report.result}, {"message", report.message},
            {"exit_code", static_cast<int>(report.exitCode)}, {"milliseconds", report.milliseconds}};
        std::cout << object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
        return;
    }
    const bool isReply = report.exitCode == done || report.exitCode == nothingMatched;
    std::ostream& stream = isReply ? std::cout : std::cerr;
    if (!isReply)
        stream << "orx-send: ";
    if (!report.application.empty())
        stream << printable(report.application) << ": ";
    stream << options.operation->name << ": " << report.result;
    if (!report.message.empty())
        stream << ": " << printable(report.message);
    stream << '\n';
}

} // namespace

int main(int argc, char** argv) {
    reading::holdStandardStreams();
    const send::Parsed parsed = send::parseOptions(argc, argv);
    if (parsed.exitCode)
        return *parsed.exitCode;
    const Report report = run(parsed.options);
    print(parsed.options, report);
    return report.exitCode;
}
