// A mutex, its guard, a point in time and a condition variable for short critical sections, inside our own
// libraries and programs. Time-outs run on the monotonic clock. Nothing allocates; locking cannot fail on a
// mutex that is used right.
#ifndef ORX_SUPPORT_SYNC_HPP
#define ORX_SUPPORT_SYNC_HPP

#include <pthread.h>
#include <time.h>

#include <cstdint>

namespace zdds {

class Mutex {
public:
    // No destructor: the system's mutex holds nothing, and those of the process outlive every thread.
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
    ~Guard() {
        if (held_)
            mutex_.unlock();
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    // Early, and once; take gets it back.
    void release() {
        held_ = false;
        mutex_.unlock();
    }
    void take() {
        mutex_.lock();
        held_ = true;
    }

private:
    Mutex& mutex_;
    bool held_ = true;
};

// A point of the monotonic clock, in nanoseconds; `never` is beyond all of them.
struct Deadline {
    static constexpr int64_t never = INT64_MAX;
    int64_t ns = never;

    static int64_t now() {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    }
    static Deadline in(int64_t lengthNs) {
        const int64_t start = now();
        return {lengthNs >= never - start ? never : start + lengthNs};
    }
    bool isNever() const { return ns == never; }
    int64_t remaining() const {
        if (isNever())
            return never;
        const int64_t left = ns - now();
        return left > 0 ? left : 0;
    }
};

class Condition {
public:
    Condition() {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        pthread_cond_init(&condition_, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    ~Condition() { pthread_cond_destroy(&condition_); }
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void wakeAll() { pthread_cond_broadcast(&condition_); }
    // May return early; callers look again at what they wait for. False once the deadline has passed.
    bool wait(Mutex& mutex, Deadline deadline = {}) {
        if (deadline.isNever()) {
            pthread_cond_wait(&condition_, &mutex.mutex_);
            return true;
        }
        const timespec time{
            static_cast<time_t>(deadline.ns / 1'000'000'000), static_cast<long>(deadline.ns % 1'000'000'000)};
        pthread_cond_timedwait(&condition_, &mutex.mutex_, &time);
        return Deadline::now() < deadline.ns;
    }

private:
    pthread_cond_t condition_;
};

} // namespace zdds

#endif
