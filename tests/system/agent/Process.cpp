#include "Process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

} // namespace

Process::Process(const std::vector<std::string>& command, const Environment& environment) : started_(now()) {
    int output[2];
    int errors[2];
    if (pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    std::vector<char*> arguments;
    for (const std::string& part : command)
        arguments.push_back(const_cast<char*>(part.c_str()));
    arguments.push_back(nullptr);
    pid_ = fork();
    if (pid_ < 0)
        throw std::runtime_error("fork");
    if (pid_ == 0) {
        dup2(output[1], STDOUT_FILENO);
        dup2(errors[1], STDERR_FILENO);
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        execvp(arguments[0], arguments.data());
        _exit(125);
    }
    close(output[1]);
    close(errors[1]);
    output_ = output[0];
    errors_ = errors[0];
}

Process::~Process() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    if (output_ >= 0)
        close(output_);
    if (errors_ >= 0)
        close(errors_);
}

void Process::readWhatIsThere(int& descriptor, std::string& text) {
    char buffer[65536];
    const ssize_t length = read(descriptor, buffer, sizeof buffer);
    if (length > 0) {
        text.append(buffer, static_cast<size_t>(length));
        return;
    }
    close(descriptor);
    descriptor = -1;
}

Outcome Process::wait(double bound) {
    Outcome outcome;
    const double deadline = started_ + bound;
    int status = 0;
    bool isEnded = false;
    while (!isEnded && now() < deadline) {
        pollfd descriptors[2] = {{output_, POLLIN, 0}, {errors_, POLLIN, 0}};
        poll(descriptors, 2, 20);
        if (output_ >= 0 && descriptors[0].revents != 0)
            readWhatIsThere(output_, outcome.output);
        if (errors_ >= 0 && descriptors[1].revents != 0)
            readWhatIsThere(errors_, outcome.errors);
        isEnded = waitpid(pid_, &status, WNOHANG) == pid_;
    }
    outcome.seconds = now() - started_;
    if (!isEnded) {
        outcome.isLate = true;
        return outcome;
    }
    pid_ = -1;
    // What is left in the pipes; a grandchild may hold them open.
    for (pollfd left = {output_, POLLIN, 0}; output_ >= 0 && poll(&left, 1, 200) > 0; left.fd = output_)
        readWhatIsThere(output_, outcome.output);
    for (pollfd left = {errors_, POLLIN, 0}; errors_ >= 0 && poll(&left, 1, 200) > 0; left.fd = errors_)
        readWhatIsThere(errors_, outcome.errors);
    if (WIFEXITED(status))
        outcome.exitCode = WEXITSTATUS(status);
    else
        outcome.signal = WTERMSIG(status);
    return outcome;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

Record::Record() {
    char path[] = "/tmp/orx-agent-record-XXXXXX";
    const int descriptor = mkstemp(path);
    if (descriptor < 0)
        throw std::runtime_error("mkstemp");
    close(descriptor);
    path_ = path;
}

Record::~Record() {
    std::remove(path_.c_str());
}

Environment Record::environment(Environment more) const {
    more["ORX_TEST_RECORD"] = path_;
    more["ORX_AGENT_LIBRARY"] = testProgram("agent/libagent_recording_library.so");
    return more;
}

std::vector<std::string> Record::lines() const {
    std::ifstream file(path_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> Record::lines(const std::string& start) const {
    std::vector<std::string> found;
    for (const std::string& line : lines()) {
        if (line.starts_with(start))
            found.push_back(line);
    }
    return found;
}

std::vector<std::string> underAgent(std::vector<std::string> command, std::vector<std::string> options) {
    std::vector<std::string> result = {bin("orx-run"), "--domain", "75"};
    result.insert(result.end(), options.begin(), options.end());
    result.emplace_back("--");
    result.insert(result.end(), command.begin(), command.end());
    return result;
}
