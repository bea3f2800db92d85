// orx-tail: prints what monitored applications publish, a line for each change.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>

#include "reading/StandardStreams.hpp"
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

// Calls are not begun again behind a signal: one that waits for a reader who is stuck ends.
void endAtSignals() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// The exit code. Who closes the pipe has seen enough, and so has who interrupts.
int exitCodeOf(int outputError) {
    if (outputError == 0 || outputError == EPIPE || outputError == EINTR)
        return 0;
    std::cerr << "orx-tail: cannot write: " << std::strerror(outputError) << '\n';
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    reading::holdStandardStreams();
    const tail::Parsed parsed = tail::parseOptions(argc, argv);
    if (parsed.exitCode)
        return *parsed.exitCode;
    endAtSignals();
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe shows as a failed stream
    const std::int64_t deadline = parsed.options.seconds ? deadlineAfter(*parsed.options.seconds) : -1;

    const bool colours = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
    tail::Printer printer(std::cout, parsed.options.json, colours);
    int outputError = 0; // the first
    const auto print = [&](const auto& printed) {
        if (outputError != 0)
            return;
        errno = 0;
        printer.print(printed);
        if (std::cout)
            return;
        outputError = errno != 0 ? errno : EIO;
        interrupted.store(true, std::memory_order_relaxed);
    };
    tail::Interpreter interpreter(
        [&](const tail::Change& change) { print(change); }, patienceForNames, parsed.options.all);
    std::string error;
    auto session = tail::Session::open(parsed.options, interpreter, error);
    if (session == nullptr) {
        std::cerr << "orx-tail: " << error << '\n';
        return 1;
    }
    session->run(interrupted, deadline);
    interpreter.flush();
    if (parsed.options.stats)
        print(interpreter.statistics());
    if (parsed.options.tree)
        print(interpreter.tree());
    session.reset();
    const int exitCode = exitCodeOf(outputError);
    if (outputError != 0)
        _exit(exitCode); // what could not be written would be tried again
    return exitCode;
}
