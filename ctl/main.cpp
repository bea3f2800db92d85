// orxctl: shows and changes what a collector knows of monitored applications.
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string_view>
#include <thread>

#include "ctl/Completion.hpp"
#include "ctl/Run.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr double usualSecondsOfEvents = 10;
// The client library may be in a wait that a stop does not reach, such as for a connection.
constexpr auto graceAfterStop = 1s;

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

// Ends a stream at a signal, or when its time is over: asks it to stop, and ends the process, well, when that
// takes too long. Each line that was printed has been flushed.
class Ending {
public:
    explicit Ending(std::optional<double> seconds) {
        const sigset_t signals = endingSignals();
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        if (seconds)
            deadline_ = Clock::now() +
                        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*seconds));
        thread_ = std::thread([this] { watch(); });
    }
    ~Ending() {
        {
            const std::lock_guard lock(mutex_);
            isOver_ = true;
        }
        pthread_kill(thread_.native_handle(), SIGTERM);
        thread_.join();
    }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;
    std::stop_token token() const { return source_.get_token(); }

private:
    void watch() {
        awaitSignalOrDeadline();
        if (isOver())
            return;
        source_.request_stop();
        const auto latest = Clock::now() + graceAfterStop;
        while (!isOver() && Clock::now() < latest)
            std::this_thread::sleep_for(10ms);
        if (!isOver())
            _exit(0);
    }

    void awaitSignalOrDeadline() const {
        const sigset_t signals = endingSignals();
        while (!deadline_ || Clock::now() < *deadline_) {
            const auto left = deadline_ ? std::min<Clock::duration>(*deadline_ - Clock::now(), 1h) : 1h;
            const auto nanoseconds = std::max<Clock::duration>(left, 0ns).count();
            const timespec time{
                static_cast<time_t>(nanoseconds / 1'000'000'000), nanoseconds % 1'000'000'000};
            if (sigtimedwait(&signals, nullptr, &time) > 0)
                return;
        }
    }

    bool isOver() {
        const std::lock_guard lock(mutex_);
        return isOver_;
    }

    std::stop_source source_;
    std::optional<Clock::time_point> deadline_;
    std::mutex mutex_;
    bool isOver_ = false;
    std::thread thread_;
};

// "__complete WORD...": what the shell asks for. Nothing goes wrong aloud.
int complete(const std::vector<std::string>& words) {
    try {
        for (const std::string& candidate : ctl::completionsOf(words))
            std::cout << candidate << '\n';
    } catch (const std::exception&) {
    }
    return 0;
}

bool isStream(const ctl::Options& options) {
    return options.verb == ctl::Verb::events || (options.verb == ctl::Verb::logs && options.follow);
}

int runStream(const ctl::Options& options, const ctl::Output& output) {
    std::optional<double> seconds = options.seconds;
    if (options.verb == ctl::Verb::events && !options.follow && !options.limit && !seconds)
        seconds = usualSecondsOfEvents;
    const Ending ending(seconds);
    return static_cast<int>(ctl::run(options, output, ending.token()));
}

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_CTYPE, "");
    signal(SIGPIPE, SIG_IGN); // a closed pipe shows as a failed stream
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == "__complete")
        return complete({arguments.begin() + 1, arguments.end()});
    const ctl::Parsed parsed = ctl::parseOptions(arguments);
    if (parsed.exitCode)
        return *parsed.exitCode;
    const ctl::Options& options = parsed.options;
    const ctl::Output output{std::cout, std::cerr, ctl::lookOfStandardOutput(options.colour), options.json};
    const int exitCode = isStream(options) ? runStream(options, output)
                                           : static_cast<int>(ctl::run(options, output, std::stop_token()));
    std::cout.flush();
    return exitCode;
}
