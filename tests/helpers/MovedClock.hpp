// A clock that the test moves. Whoever waits for a time of it looks again every 10 ms.
#ifndef ORX_TESTS_MOVED_CLOCK_HPP
#define ORX_TESTS_MOVED_CLOCK_HPP

#include <condition_variable>
#include <mutex>

#include "tests/helpers/Wait.hpp"
#include "zddscore/clock.h"

class MovedClock {
public:
    explicit MovedClock(const ORXNtpTime& start = {1000, 0}) : now_{start} {}
    ORXClock* handle() { return &clock_; }

    ORXNtpTime now() const {
        std::lock_guard lock{mutex_};
        return now_;
    }
    // Moves it, and waits until a generator has looked twice since: what was due by then has run. False when
    // the bound has passed.
    bool moveAndSettle(const ORXNtpTime& time) {
        std::unique_lock lock{mutex_};
        now_ = time;
        return awaitReads(lock, 2);
    }
    bool settle() {
        std::unique_lock lock{mutex_};
        return awaitReads(lock, 2);
    }
    void failFromNowOn() {
        std::lock_guard lock{mutex_};
        fails_ = true;
    }

private:
    bool awaitReads(std::unique_lock<std::mutex>& lock, uint64_t count) {
        const uint64_t wanted = reads_ + count;
        return read_.wait_for(lock, waitBound, [&] { return reads_ >= wanted; });
    }
    static int getTime(ORXClock* clock, ORXNtpTime* time) {
        auto& self = *reinterpret_cast<MovedClock*>(clock);
        std::lock_guard lock{self.mutex_};
        ++self.reads_;
        self.read_.notify_all();
        *time = self.now_;
        return self.fails_ ? 0 : 1;
    }

    ORXClock clock_{getTime, nullptr, nullptr, nullptr}; // first, so that one is the other's address
    mutable std::mutex mutex_;
    std::condition_variable read_;
    ORXNtpTime now_;
    uint64_t reads_ = 0;
    bool fails_ = false;
};

#endif
