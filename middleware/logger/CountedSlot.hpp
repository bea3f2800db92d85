// A place for one value that any thread may use without a lock, and that can be emptied for certain: whoever
// takes the value out returns when no other thread uses it any more.
//
// A thread counts itself in before it looks whether the slot is full, and whoever empties it marks the slot
// first and then looks at the count: one of the two sees the other, in the single order of all these
// operations. A thread never enters a slot that it is inside already.
// Threads: visit and exchange from any thread; exchange waits, so it is never called under a lock that a
// visitor may take.
#ifndef ZDDSC_LOGGER_COUNTED_SLOT_HPP
#define ZDDSC_LOGGER_COUNTED_SLOT_HPP

#include <atomic>
#include <ctime>

namespace zdds::logger {

// What the calling thread is inside of, a bit each. Slots have the lower bits. Never allocated late, since a
// thread may log where it must not allocate, and this library may have been loaded after the thread was made.
[[gnu::tls_model("initial-exec")]] inline thread_local constinit unsigned insideOf = 0;

class [[nodiscard]] Inside {
public:
    explicit Inside(unsigned bit) : bit_(bit) { insideOf |= bit_; }
    ~Inside() { insideOf &= ~bit_; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    const unsigned bit_;
};

template <class Value> class CountedSlot {
public:
    constexpr CountedSlot() = default;

    bool isFull() const { return state_.load(std::memory_order_relaxed) == full; }

    // Calls `use` with the value unless there is none. The caller is not inside the slot, whose bit is `bit`.
    template <class Use> void visit(unsigned bit, Use use) {
        if (!isFull())
            return;
        users_.fetch_add(1, std::memory_order_seq_cst);
        if (state_.load(std::memory_order_seq_cst) == full) {
            Inside inside(bit);
            use(value_);
        }
        users_.fetch_sub(1, std::memory_order_release);
    }

    // Empties the slot, and fills it again when `next` is not null. Non-zero with *before what was there and
    // *wasFull whether anything was. Fails only for a visitor while another thread changes the slot, as each
    // would wait for the other.
    bool exchange(unsigned bit, const Value* next, Value* before, bool* wasFull) {
        const unsigned own = (insideOf & bit) != 0 ? 1 : 0;
        if (!claim(own != 0, wasFull))
            return false;
        while (users_.load(std::memory_order_seq_cst) != own)
            pause();
        *before = value_;
        value_ = next != nullptr ? *next : Value{};
        state_.store(next != nullptr ? full : empty, std::memory_order_seq_cst);
        return true;
    }

    // In a forked child: the other threads are gone, wherever they were. What one of them was changing is
    // not known to be whole, so it is dropped.
    void forgetOtherThreads(unsigned bit) {
        users_.store((insideOf & bit) != 0 ? 1 : 0, std::memory_order_relaxed);
        if (state_.load(std::memory_order_relaxed) == claimed)
            state_.store(empty, std::memory_order_relaxed);
    }

private:
    static constexpr int empty = 0;
    static constexpr int full = 1;
    static constexpr int claimed = 2; // being changed

    static void pause() {
        const timespec time{0, 100'000};
        clock_nanosleep(CLOCK_MONOTONIC, 0, &time, nullptr);
    }

    bool claim(bool isVisitor, bool* wasFull) {
        for (;;) {
            const int state = state_.exchange(claimed, std::memory_order_seq_cst);
            if (state != claimed) {
                *wasFull = state == full;
                return true;
            }
            if (isVisitor)
                return false;
            pause();
        }
    }

    std::atomic<int> state_{empty};
    std::atomic<unsigned> users_{0};
    Value value_{}; // changes only while the slot is claimed and unused
};

} // namespace zdds::logger

#endif
