// Threads that work on requests, so that the thread of the sockets never waits.
//
// Threads start when there is work and none is free, up to a limit. With a queue, work beyond it waits; the
// number of connections bounds the queue. Without one, it is refused. Threads: any may submit; stop by the
// owner, which waits for what is being worked on.
#ifndef COLLECTOR_HTTP_WORKERS_HPP
#define COLLECTOR_HTTP_WORKERS_HPP

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace collector::http {

class Workers {
public:
    Workers(const char* name, std::size_t threads, bool hasQueue)
        : name_(name), limit_(threads), hasQueue_(hasQueue) {}
    ~Workers() { stop(); }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    using Work = std::function<void()>; // throws nothing
    // False when it is refused, or no thread can be had.
    bool submit(Work work);
    // What still waits is dropped.
    void stop();
    std::size_t busy() const;

private:
    void run();
    bool startThread();

    const char* const name_;
    const std::size_t limit_;
    const bool hasQueue_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Work> queue_;
    std::vector<std::thread> threads_;
    std::size_t busy_ = 0;
    bool isStopped_ = false;
};

} // namespace collector::http

#endif
