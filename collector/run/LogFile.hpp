// Writes log messages as lines to a file or the standard output.
//
// A thread of its own writes, so that a slow disk or a full pipe holds up nobody; lines that it cannot keep
// up with are dropped and counted. Each line is escaped: it holds no control character and valid UTF-8 alone.
// Threads: any may write and ask to reopen; start and stop by the owner.
#ifndef COLLECTOR_RUN_LOG_FILE_HPP
#define COLLECTOR_RUN_LOG_FILE_HPP

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace collector::run {

class LogFile {
public:
    struct Limits {
        std::size_t lines = 10'000;
        std::size_t bytes = 8U << 20U;
    };
    LogFile() : LogFile(Limits()) {}
    explicit LogFile(Limits limits) : limits_(limits) {}
    ~LogFile() { stop(); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Appends to the path, or writes to the standard output ("-"). False with a text that tells why.
    bool start(const std::string& path, std::string& error);
    void write(const std::string& line);
    // Opens the path again before the next line: the file may have been moved. One that cannot be opened
    // again leaves the old one in use.
    void reopen();
    // Writes what waits, for at most about a second, and closes.
    void stop();

    bool isOpen() const { return thread_.joinable(); }
    std::uint64_t written() const { return written_.load(std::memory_order_relaxed); }
    std::uint64_t dropped() const { return dropped_.load(std::memory_order_relaxed); }

private:
    void run();
    void reopenNow();
    bool writeAll(const std::string& text);

    const Limits limits_;
    std::string path_;
    int file_ = -1; // of the thread
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    std::size_t bytes_ = 0;
    bool mustReopen_ = false;
    bool isStopped_ = false;
    std::atomic<bool> isLate_{false}; // the end does not wait for what blocks
    std::atomic<bool> isDone_{false};
    bool hasFailed_ = false; // told once
    std::atomic<std::uint64_t> written_{0};
    std::atomic<std::uint64_t> dropped_{0};
    std::thread thread_;
};

} // namespace collector::run

#endif
