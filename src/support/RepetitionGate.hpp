// Holds lines of the log back that one place in the code makes too often.
//
// A place is a source line; places that share a slot share its limit. In each second the first lines pass,
// and the first line of a later second tells how many were held. Threads: any, without a lock; relaxed, since
// a line more or less does no harm.
#ifndef ZDDSCORE_REPETITION_GATE_HPP
#define ZDDSCORE_REPETITION_GATE_HPP

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zdds {

class RepetitionGate {
public:
    constexpr RepetitionGate() = default;
    explicit constexpr RepetitionGate(std::uint32_t limit) : limit_(limit) {}

    // Lines per place and second; 0 for no limit.
    void setLimit(std::uint32_t limit) { limit_.store(limit, std::memory_order_relaxed); }

    // False when the line is to be held. `second` is the time; *held gets the number of lines that the place
    // had to hold since the last one that passed.
    bool admit(const char* file, int line, std::uint64_t second, std::uint64_t* held) {
        constexpr auto relaxed = std::memory_order_relaxed;
        *held = 0;
        const std::uint32_t limit = limit_.load(relaxed);
        if (limit == 0)
            return true;
        Place& place = places_[slotOf(file, line)];
        std::uint64_t before = place.second.load(relaxed);
        if (before != second && place.second.compare_exchange_strong(before, second, relaxed))
            place.passed.store(0, relaxed);
        if (place.passed.fetch_add(1, relaxed) >= limit) {
            place.held.fetch_add(1, relaxed);
            return false;
        }
        *held = place.held.exchange(0, relaxed);
        return true;
    }

private:
    static constexpr std::size_t placeCount = 128;
    struct Place {
        std::atomic<std::uint64_t> second;
        std::atomic<std::uint32_t> passed;
        std::atomic<std::uint64_t> held;
    };
    static std::size_t slotOf(const char* file, int line) {
        const auto key = reinterpret_cast<std::uintptr_t>(file) * 31 + static_cast<std::uintptr_t>(line);
        return static_cast<std::size_t>((std::uint64_t{key} * 0x9E3779B97F4A7C15U) >> 57);
    }
    static_assert(placeCount == std::size_t{1} << (64 - 57));

    std::atomic<std::uint32_t> limit_{0};
    Place places_[placeCount]{};
};

} // namespace zdds

#endif
