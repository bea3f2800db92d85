#include "tests/system/support/Process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace {

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void closeIfOpen(int& descriptor) {
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

void readWhatIsThere(int& descriptor, std::string& text) {
    char buffer[65536];
    const ssize_t length = read(descriptor, buffer, sizeof buffer);
    if (length > 0)
        text.append(buffer, static_cast<size_t>(length));
    else
        closeIfOpen(descriptor);
}

bool hasAll(const std::string& line, const std::vector<std::string>& parts) {
    return std::all_of(parts.begin(), parts.end(),
        [&](const std::string& part) { return line.find(part) != std::string::npos; });
}

} // namespace

Process::Process(const Command& command, const Environment& environment, Group group)
    : hasGroup_(group == Group::ofItsOwn), started_(now()) {
    int input[2];
    int output[2];
    int errors[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    std::vector<char*> arguments;
    for (const std::string& part : command)
        arguments.push_back(const_cast<char*>(part.c_str()));
    arguments.push_back(nullptr);
    // A command that has ended must not end the test that talks to it.
    ::signal(SIGPIPE, SIG_IGN);
    pid_ = fork();
    if (pid_ < 0)
        throw std::runtime_error("fork");
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (hasGroup_)
            setpgid(0, 0);
        ::signal(SIGPIPE, SIG_DFL);
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(errors[1], STDERR_FILENO);
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        execvp(arguments[0], arguments.data());
        _exit(125);
    }
    if (hasGroup_)
        setpgid(pid_, pid_); // whoever of the two is first
    close(input[0]);
    close(output[1]);
    close(errors[1]);
    input_ = input[1];
    output_ = output[0];
    errors_ = errors[0];
}

Process::~Process() {
    if (pid_ > 0) {
        kill(hasGroup_ ? -pid_ : pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeIfOpen(input_);
    closeIfOpen(output_);
    closeIfOpen(errors_);
}

void Process::say(const std::string& line) {
    const std::string text = line + "\n";
    for (size_t at = 0; at < text.size();) {
        const ssize_t length = write(input_, text.data() + at, text.size() - at);
        if (length <= 0)
            return;
        at += static_cast<size_t>(length);
    }
}

void Process::signal(int number) const {
    if (pid_ > 0)
        kill(hasGroup_ ? -pid_ : pid_, number);
}

void Process::closeOutput() {
    closeIfOpen(output_);
}

void Process::readForAWhile() {
    pollfd descriptors[2] = {{output_, POLLIN, 0}, {errors_, POLLIN, 0}};
    poll(descriptors, 2, 20);
    if (output_ >= 0 && descriptors[0].revents != 0)
        readWhatIsThere(output_, outputText_);
    if (errors_ >= 0 && descriptors[1].revents != 0)
        readWhatIsThere(errors_, errorText_);
}

bool Process::isEnded() {
    if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) == pid_)
        pid_ = -1;
    return pid_ <= 0;
}

bool Process::waitForLine(const std::vector<std::string>& parts, double bound) {
    const double deadline = now() + bound;
    size_t begin = 0;
    for (;;) {
        for (size_t end; (end = outputText_.find('\n', begin)) != std::string::npos; begin = end + 1) {
            if (hasAll(outputText_.substr(begin, end - begin), parts))
                return true;
        }
        if (output_ < 0 || now() > deadline)
            return false;
        readForAWhile();
    }
}

Outcome Process::wait(double bound) {
    closeIfOpen(input_);
    const double deadline = started_ + bound;
    while (!isEnded() && now() < deadline)
        readForAWhile();
    Outcome outcome;
    outcome.seconds = now() - started_;
    outcome.isLate = pid_ > 0;
    // What is left in the pipes; a grandchild may hold them open.
    for (pollfd left = {output_, POLLIN, 0}; !outcome.isLate && output_ >= 0 && poll(&left, 1, 200) > 0;
         left.fd = output_)
        readWhatIsThere(output_, outputText_);
    for (pollfd left = {errors_, POLLIN, 0}; !outcome.isLate && errors_ >= 0 && poll(&left, 1, 200) > 0;
         left.fd = errors_)
        readWhatIsThere(errors_, errorText_);
    outcome.output = outputText_;
    outcome.errors = errorText_;
    if (outcome.isLate)
        return outcome;
    if (WIFEXITED(status_))
        outcome.exitCode = WEXITSTATUS(status_);
    else
        outcome.signal = WTERMSIG(status_);
    return outcome;
}

Outcome Process::waitFromNow(double bound) {
    return wait(now() - started_ + bound);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> linesWith(const std::string& text, const std::vector<std::string>& parts) {
    std::vector<std::string> found;
    for (const std::string& line : linesOf(text)) {
        if (hasAll(line, parts))
            found.push_back(line);
    }
    return found;
}
