// Decides when every application is to be asked for what it is, because samples were lost and nobody knows
// whose.
//
// Once the losses have stopped to grow, or have gone on for a while. The answers of all may be what makes the
// next losses, so each time waits twice as long as the one before, up to ten minutes, until it has been quiet
// for as long. Threads: one.
#ifndef COLLECTOR_RUN_LOSS_WATCH_HPP
#define COLLECTOR_RUN_LOSS_WATCH_HPP

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace collector::run {

class LossWatch {
public:
    using Time = std::chrono::steady_clock::time_point;

    // To be called every second or so with the losses until now.
    bool isToAsk(std::uint64_t losses, Time now) {
        if (losses != losses_) {
            losses_ = losses;
            grewAt_ = now;
            beganAt_ = isPending_ ? beganAt_ : now;
            isPending_ = true;
        }
        const bool isDue = now - grewAt_ >= calm || now - beganAt_ >= longestFlood;
        if (!isPending_ || !isDue || now < notBefore_)
            return false;
        isPending_ = false;
        if (now - notBefore_ >= longestPause)
            pause_ = firstPause;
        notBefore_ = now + pause_;
        pause_ = std::min(2 * pause_, longestPause);
        return true;
    }

    static constexpr std::chrono::seconds calm{2};
    static constexpr std::chrono::seconds longestFlood{30};
    static constexpr std::chrono::seconds firstPause{10};
    static constexpr std::chrono::seconds longestPause{600};

private:
    std::uint64_t losses_ = 0;
    bool isPending_ = false;
    Time grewAt_{};
    Time beganAt_{};
    Time notBefore_{};
    std::chrono::seconds pause_ = firstPause;
};

} // namespace collector::run

#endif
