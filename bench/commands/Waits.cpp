#include "bench/commands/Waits.hpp"

#include <sched.h>

#include <algorithm>
#include <thread>

namespace bench {

namespace {

constexpr std::size_t most = 1 << 20;

double percentile(std::vector<double> values, double part) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

} // namespace

void goAhead() {
    sched_param own{};
    if (sched_getscheduler(0) != SCHED_RR || sched_getparam(0, &own) != 0)
        return;
    ++own.sched_priority;
    (void)sched_setscheduler(0, SCHED_RR, &own);
}

Waits timeWhile(const std::atomic<bool>& goesOn, const std::function<void()>& work) {
    goAhead();
    Waits waits;
    waits.reserve(most);
    while (goesOn.load(std::memory_order_relaxed) && waits.size() < most) {
        waits.push_back(timeOf(work));
        std::this_thread::sleep_for(pauseBetween);
    }
    return waits;
}

Waits latenessWhile(const std::atomic<bool>& goesOn) {
    goAhead();
    Waits waits;
    waits.reserve(most);
    while (goesOn.load(std::memory_order_relaxed) && waits.size() < most) {
        const auto due = Clock::now() + pauseBetween;
        std::this_thread::sleep_until(due);
        waits.push_back(std::chrono::duration<double, std::nano>(Clock::now() - due).count());
    }
    return waits;
}

void Seen::add(const Waits& waits, const Waits& controls) {
    if (waits.empty() || controls.empty())
        return;
    all_.insert(all_.end(), waits.begin(), waits.end());
    ratios_.push_back(
        *std::max_element(waits.begin(), waits.end()) / *std::max_element(controls.begin(), controls.end()));
}

Row Seen::row() const {
    Row row;
    row.name = name_;
    row.nanoseconds = row.p50 = percentile(all_, 0.5);
    row.p99 = percentile(all_, 0.99);
    row.perPiece = percentile(all_, 1) / 1000;
    row.ratio = percentile(ratios_, 0.5);
    row.ratioLow = percentile(ratios_, 0.1);
    row.ratioHigh = percentile(ratios_, 0.9);
    return row;
}

} // namespace bench
