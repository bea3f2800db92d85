// Mutex and condition variable of the agent. They never end: threads of the engine and of the program may be
// inside when the process's static destructors run. Time-outs run on the monotonic clock.
#ifndef ORX_AGENT_SYNC_HPP
#define ORX_AGENT_SYNC_HPP

#include <pthread.h>
#include <time.h>

#include <cstdint>

namespace orx::agent {

class Mutex {
public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    void lock() { pthread_mutex_lock(&mutex_); }
    void unlock() { pthread_mutex_unlock(&mutex_); }

private:
    friend class Condition;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

class [[nodiscard]] Guard {
public:
    explicit Guard(Mutex& mutex) : mutex_(mutex) { mutex_.lock(); }
    ~Guard() { mutex_.unlock(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    Mutex& mutex_;
};

inline int64_t monotonicNow() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

class Condition {
public:
    Condition() {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        pthread_cond_init(&condition_, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;
    void wakeAll() { pthread_cond_broadcast(&condition_); }
    void wait(Mutex& mutex) { pthread_cond_wait(&condition_, &mutex.mutex_); }
    // False once the point of the monotonic clock has passed. May return early.
    bool waitUntil(Mutex& mutex, int64_t deadlineNs) {
        const timespec time{
            static_cast<time_t>(deadlineNs / 1'000'000'000), static_cast<long>(deadlineNs % 1'000'000'000)};
        pthread_cond_timedwait(&condition_, &mutex.mutex_, &time);
        return monotonicNow() < deadlineNs;
    }

private:
    pthread_cond_t condition_;
};

} // namespace orx::agent

#endif
