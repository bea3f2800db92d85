// Sends many commands to one application, one after the other, and counts what comes back.
// Arguments: domain, name of the application, number of commands. Prints one line at its end:
//   sent N replies N strays N unacknowledged N failures N
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "send/Request.hpp"
#include "send/Session.hpp"

namespace {

using namespace std::chrono_literals;

// Each kind that changes resources, one that does not match, and one that is refused.
send::Bytes request(int number) {
    const char* const operations[] = {"set_metric_subscription_state", "update_metric_subscription_state",
        "update_metric_subscription_state", "set_logging_forwarding_level", "subscribe"};
    const char* const selectors[] = {"//data_writers/*=dds_data_writer_publication_matched_*",
        "//data_readers/*=dds_data_reader_*,!*_high", "/applications/nobody/domain_participants/*=*",
        "//applications/*=service:error", "//topics/*=*"};
    const auto choice = static_cast<std::size_t>(number) % std::size(operations);
    const send::Operation* operation = send::findOperation(operations[choice]);
    send::Selector selector;
    if (send::parseSelector(operation->kind, selectors[choice], selector))
        return {};
    return send::encodeRequest(*operation, {selector});
}
int expectedCode(int number) {
    constexpr int codes[] = {0, 0, 3, 0, 2};
    return codes[static_cast<std::size_t>(number) % std::size(codes)];
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    std::string error;
    const auto session = send::Session::open(std::atoi(argv[1]), {}, error);
    send::Application application{};
    const auto now = [] { return std::chrono::steady_clock::now(); };
    if (session == nullptr ||
        session->find(argv[2], now() + 60s, application, error) != send::Session::Finding::found) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    const int count = std::atoi(argv[3]);
    int replies = 0;
    int unacknowledged = 0;
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        send::Guid identifier;
        const auto reply = session->ask(application, request(i), now() + 60s, identifier);
        if (!reply)
            continue;
        ++replies;
        const auto result = send::decodeReply(reply->data(), reply->size());
        failures += !result || result->code != expectedCode(i);
        unacknowledged += !session->awaitAcknowledged(now() + 60s);
    }
    std::printf("sent %d replies %d strays %zu unacknowledged %d failures %d\n", count, replies,
        session->strays(), unacknowledged, failures);
    return 0;
}
