#include <ctime>

#include "src/log/Log.hpp"
#include "src/support/RepetitionGate.hpp"

namespace {

constexpr std::uint32_t linesPerSecond = 100; // of one place

constinit zdds::RepetitionGate gate{linesPerSecond};

} // namespace

bool orx::log::isFirstOfFlood(const char* file, int line) {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    std::uint64_t held = 0;
    return gate.admit(file, line, static_cast<std::uint64_t>(time.tv_sec), &held);
}
