#include "collector/run/LogFile.hpp"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "reading/Text.hpp"

namespace collector::run {

namespace {

constexpr int accessOfOthers = 0640;

int opened(const std::string& path) {
    return path == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)
                       : open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, accessOfOthers);
}

} // namespace

bool LogFile::start(const std::string& path, std::string& error) {
    path_ = path;
    file_ = opened(path);
    if (file_ < 0) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    thread_ = std::thread([this] { run(); });
    pthread_setname_np(thread_.native_handle(), "orx-logfile");
    return true;
}

void LogFile::write(const std::string& line) {
    std::string text = reading::escaped(line) + "\n";
    const std::lock_guard lock(mutex_);
    if (lines_.size() >= limits_.lines || bytes_ + text.size() > limits_.bytes) {
        dropped_.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    bytes_ += text.size();
    lines_.push_back(std::move(text));
    changed_.notify_one();
}

void LogFile::reopen() {
    const std::lock_guard lock(mutex_);
    mustReopen_ = true;
    changed_.notify_one();
}

void LogFile::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return isStopped_ || mustReopen_ || !lines_.empty(); });
        const bool mustReopen = std::exchange(mustReopen_, false);
        std::deque<std::string> lines = std::move(lines_);
        lines_.clear();
        bytes_ = 0;
        if (lines.empty() && !mustReopen && isStopped_)
            break;
        lock.unlock();
        if (mustReopen)
            reopenNow();
        for (const std::string& line : lines) {
            const bool isWritten = writeAll(line);
            (isWritten ? written_ : dropped_).fetch_add(1, std::memory_order_relaxed);
        }
        lock.lock();
    }
    isDone_.store(true);
}

void LogFile::reopenNow() {
    if (path_ == "-")
        return;
    const int file = opened(path_);
    if (file < 0) {
        std::fprintf(
            stderr, "orx-collector: cannot open %s again: %s\n", path_.c_str(), std::strerror(errno));
        return;
    }
    close(file_);
    file_ = file;
}

bool LogFile::writeAll(const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        // A pipe that nobody reads must not keep the program from ending.
        pollfd writable{file_, POLLOUT, 0};
        const bool isLate = isLate_.load();
        const int step = isLate ? 0 : 100;
        if (poll(&writable, 1, step) == 0) {
            if (isLate)
                return false;
            continue;
        }
        // Of a pipe that can be written, so much fits without a wait.
        constexpr std::size_t piece = 512;
        const ssize_t size = ::write(file_, text.data() + done, std::min(piece, text.size() - done));
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0) {
            if (!std::exchange(hasFailed_, true))
                std::fprintf(
                    stderr, "orx-collector: cannot write %s: %s\n", path_.c_str(), std::strerror(errno));
            return false;
        }
        done += static_cast<std::size_t>(size);
    }
    hasFailed_ = false;
    return true;
}

void LogFile::stop() {
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        changed_.notify_one();
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    while (!isDone_.load() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    isLate_.store(true);
    thread_.join();
    close(file_);
    file_ = -1;
}

} // namespace collector::run
