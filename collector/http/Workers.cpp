#include "collector/http/Workers.hpp"

#include <pthread.h>

#include <system_error>
#include <utility>

namespace collector::http {

bool Workers::submit(Work work) {
    const std::lock_guard lock(mutex_);
    if (isStopped_)
        return false;
    const std::size_t wanted = busy_ + queue_.size() + 1;
    if (wanted > limit_ && !hasQueue_)
        return false;
    if (wanted > threads_.size() && threads_.size() < limit_ && !startThread() && threads_.empty())
        return false;
    queue_.push_back(std::move(work));
    changed_.notify_one();
    return true;
}

bool Workers::startThread() {
    try {
        threads_.emplace_back([this] { run(); });
        pthread_setname_np(threads_.back().native_handle(), name_);
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void Workers::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return isStopped_ || !queue_.empty(); });
        if (isStopped_)
            return;
        Work work = std::move(queue_.front());
        queue_.pop_front();
        ++busy_;
        lock.unlock();
        work();
        work = nullptr;
        lock.lock();
        --busy_;
    }
}

void Workers::stop() {
    std::vector<std::thread> threads;
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        queue_.clear();
        threads.swap(threads_);
    }
    changed_.notify_all();
    for (std::thread& thread : threads)
        thread.join();
}

std::size_t Workers::busy() const {
    const std::lock_guard lock(mutex_);
    return busy_;
}

} // namespace collector::http
