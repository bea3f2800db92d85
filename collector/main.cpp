// orx-collector: reads every monitored application of a domain and serves what they publish over HTTP.
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string>
#include <thread>

#include "collector/run/Collector.hpp"
#include "collector/run/Options.hpp"
#include "reading/StandardStreams.hpp"
#include "zddsc/logger.h"
#include "zddscore/log.h"

namespace {

constexpr auto longestEnd = std::chrono::milliseconds(1'900);
constexpr int cutOff = 3; // exit code
constexpr ORX_UINT32 repeatedLinesPerSecond = 1;

// Signals are waited for, so every thread is to have them blocked.
sigset_t blockedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return signals;
}

// Much of what is logged comes of what others send: what one place in the code repeats is held back, and
// counted. What the engine logs goes the same way.
void boundTheLog() {
    ORXLog_setStderrRepetitionLimit(repeatedLinesPerSecond);
    ZDDS_Config_Logger_take_engine_linesI(DDS_BOOLEAN_TRUE);
}

// Tells a service manager that asked for it what becomes of the program.
void notify(const char* state) {
    const char* const path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (path == nullptr || (path[0] != '/' && path[0] != '@') || std::strlen(path) >= sizeof address.sun_path)
        return;
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    if (address.sun_path[0] == '@')
        address.sun_path[0] = '\0'; // of the abstract kind
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    (void)sendto(
        socket, state, std::strlen(state), MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&address), length);
    close(socket);
}

// The end is bounded, whatever hangs: nothing is kept beyond the process that would have to be saved. But it
// is no clean one, and says so.
void boundTheEnd() {
    std::thread([] {
        std::this_thread::sleep_for(longestEnd);
        constexpr char text[] = "orx-collector: cut off, since the end took too long\n";
        pollfd errors{STDERR_FILENO, POLLOUT, 0};
        if (poll(&errors, 1, 0) > 0) // nobody waits for a pipe that is full
            static_cast<void>(!write(STDERR_FILENO, text, sizeof text - 1));
        _exit(cutOff);
    }).detach();
}

} // namespace

int main(int argc, char** argv) {
    reading::holdStandardStreams();
    const collector::run::Parsed parsed = collector::run::parseOptions(argc, argv);
    if (parsed.exitCode)
        return *parsed.exitCode;
    const sigset_t signals = blockedSignals();
    boundTheLog();
    std::string error;
    collector::run::Collector collector(parsed.options);
    if (!collector.start(error)) {
        std::cerr << "orx-collector: " << error << '\n';
        return 1;
    }
    std::cerr << "listening on " << collector.url() << std::endl;
    notify("READY=1");
    for (;;) {
        const timespec period{1, 0};
        const int signal = sigtimedwait(&signals, nullptr, &period);
        if (signal == SIGINT || signal == SIGTERM)
            break;
        if (signal == SIGHUP)
            collector.reopenLogFile();
        collector.keepHouse();
    }
    notify("STOPPING=1");
    boundTheEnd();
    collector.stop();
    return 0;
}
