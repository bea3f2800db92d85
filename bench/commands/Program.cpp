#include "bench/commands/Program.hpp"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>
#include <thread>

#include "bench/common/Child.hpp"
#include "tests/helpers/TestDomain.hpp"

using bench::fail;

namespace {

std::string folder() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0)
        fail("where is this program?");
    const std::string self(path, static_cast<std::size_t>(length));
    return self.substr(0, self.rfind('/'));
}

bool readAll(int from, void* to, std::size_t size) {
    for (auto* at = static_cast<char*>(to); size > 0;) {
        const ssize_t count = read(from, at, size);
        if (count <= 0)
            return false;
        at += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

// CPU time of a process, in ticks of 10 ms.
unsigned long long ticksOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    file.ignore(std::numeric_limits<std::streamsize>::max(), ')');
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        file >> skipped;
    unsigned long long user = 0, system = 0;
    if (!(file >> user >> system))
        fail("the monitored program went away");
    return user + system;
}

} // namespace

int claimDomain() {
    return test_domain::claimAny();
}

Program::Program(int domain, int monitoringDomain, const std::string& name, std::size_t topics) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        fail("no socket");
    const std::string run = folder() + "/../bin/orx-run", program = folder() + "/commands_program";
    const std::string domainText = std::to_string(domain), monitoringText = std::to_string(monitoringDomain),
                      socketText = std::to_string(ends[1]), topicsText = std::to_string(topics);
    process_ = fork();
    if (process_ < 0)
        fail("no process");
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        execl(run.c_str(), run.c_str(), "--domain", monitoringText.c_str(), "--app-name", name.c_str(),
            "--verbosity", "error", "--", program.c_str(), domainText.c_str(), socketText.c_str(),
            topicsText.c_str(), nullptr);
        std::_Exit(127);
    }
    close(ends[1]);
    socket_ = ends[0];
    char ready = 0;
    if (!readAll(socket_, &ready, 1))
        fail("the monitored program did not start");
    waitUntilQuiet();
}

Program::~Program() {
    close(socket_); // which ends it
    waitpid(process_, nullptr, 0);
}

// The agent's thread asserts the resources on its own time.
void Program::waitUntilQuiet() const {
    constexpr unsigned long long quiet = 5; // ticks in half a second: a tenth of a processor
    for (unsigned long long before = ticksOf(process_), now = 0;; before = now) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        now = ticksOf(process_);
        if (now - before <= quiet)
            return;
    }
}

void Program::tell(char what) const {
    if (write(socket_, &what, 1) != 1)
        fail("the monitored program went away");
}

bench::Waits Program::receive() const {
    std::uint64_t count = 0;
    if (!readAll(socket_, &count, sizeof count))
        fail("the monitored program went away");
    bench::Waits waits(count);
    if (!readAll(socket_, waits.data(), count * sizeof waits[0]))
        fail("the monitored program went away");
    return waits;
}

Program::Answer Program::end() const {
    tell('e');
    Answer answer;
    answer.create = receive();
    answer.destroy = receive();
    answer.control = receive();
    return answer;
}
