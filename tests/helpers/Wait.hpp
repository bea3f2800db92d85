// Waiting for another thread without a sleep, with a bound that only a defect reaches.
#ifndef ORX_TESTS_WAIT_HPP
#define ORX_TESTS_WAIT_HPP

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

constexpr std::chrono::seconds waitBound{60};

// A counter that a thread raises and another waits for.
class Counter {
public:
    void add(uint64_t n = 1) {
        {
            std::lock_guard lock{mutex_};
            value_ += n;
        }
        changed_.notify_all();
    }
    uint64_t value() const {
        std::lock_guard lock{mutex_};
        return value_;
    }
    // False when the bound has passed.
    bool reaches(uint64_t n) const {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, waitBound, [&] { return value_ >= n; });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    uint64_t value_ = 0;
};

// A door that one thread reaches and waits at, until another opens it for good. Copies are the same door, so
// that the thread held may still be leaving when the other's copy ends.
class Gate {
public:
    // On the thread that is to be held. False when the bound has passed.
    bool pass() {
        const auto state = state_;
        std::unique_lock lock{state->mutex};
        state->reached = true;
        state->changed.notify_all();
        return state->changed.wait_for(lock, waitBound, [&] { return state->open; });
    }
    bool isReached() {
        std::unique_lock lock{state_->mutex};
        return state_->changed.wait_for(lock, waitBound, [&] { return state_->reached; });
    }
    void open() {
        {
            std::lock_guard lock{state_->mutex};
            state_->open = true;
        }
        state_->changed.notify_all();
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        bool reached = false;
        bool open = false;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

#endif
