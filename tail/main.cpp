// orx-tail: prints what monitored applications publish, a line for each change.
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include "tail/Interpreter.hpp"
#include "tail/Options.hpp"
#include "tail/Printer.hpp"
#include "tail/Session.hpp"

namespace {

// A registry follows a match of the application's writer within a second or two.
constexpr std::int64_t patienceForNames = 3'000'000'000;

std::atomic<bool> interrupted{false}; // lock-free, so a handler may set it
void onSignal(int) {
    interrupted.store(true, std::memory_order_relaxed);
}

std::int64_t deadlineAfter(double seconds) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec + std::llround(seconds * 1e9);
}

} // namespace

int main(int argc, char** argv) {
    const tail::Parsed parsed = tail::parseOptions(argc, argv);
    if (parsed.exitCode)
        return *parsed.exitCode;
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe shows as a failed stream
    const std::int64_t deadline = parsed.options.seconds ? deadlineAfter(*parsed.options.seconds) : -1;

    const bool colours = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
    tail::Printer printer(std::cout, parsed.options.json, colours);
    tail::Interpreter interpreter(
        [&](const tail::Change& change) {
            printer.print(change);
            if (!std::cout)
                interrupted.store(true, std::memory_order_relaxed);
        },
        patienceForNames, parsed.options.all);
    std::string error;
    const auto session = tail::Session::open(parsed.options, interpreter, error);
    if (session == nullptr) {
        std::cerr << "orx-tail: " << error << '\n';
        return 1;
    }
    session->run(interrupted, deadline);
    interpreter.flush();
    if (parsed.options.stats)
        printer.print(interpreter.statistics());
    if (parsed.options.tree)
        printer.print(interpreter.tree());
    return 0;
}
