// How long a thread waits: by a loop that times its work, and by a control that only sleeps and wakes.
//
// On a machine that others use, a thread waits for a processor as often as for anybody's lock. The control
// waits for nothing else: it sleeps as long as the loops do between two pieces of work, and notes by how much
// it comes too late. So a wait says something beside the control's of the same moments. Under `chrt -r 1` the
// process goes ahead of all others, and the threads that are timed ahead of its own: then hardly more than
// the locks is left to wait for.
#ifndef BENCH_WAITS_HPP
#define BENCH_WAITS_HPP

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "bench/common/Compare.hpp"

namespace bench {

using Clock = std::chrono::steady_clock;

inline constexpr std::chrono::microseconds pauseBetween{50};

// Nanoseconds of each piece of work, or of each lateness.
using Waits = std::vector<double>;

// Nanoseconds of one piece of work.
template <typename Work> double timeOf(const Work& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count();
}

// The calling thread is one of those that are timed.
void goAhead();

Waits timeWhile(const std::atomic<bool>& goesOn, const std::function<void()>& work);
Waits latenessWhile(const std::atomic<bool>& goesOn);

// What was seen of one kind of wait in some rounds, and what the control saw in each.
class Seen {
public:
    explicit Seen(std::string name) : name_{std::move(name)} {}
    void add(const Waits& waits, const Waits& controls);
    // The ratio is that of the longest waits, of the control's in the same round.
    Row row() const;

private:
    std::string name_;
    Waits all_;
    std::vector<double> ratios_;
};

} // namespace bench

#endif
