// Deadlines on the monotonic clock, from lengths of time in the layer's form.
#pragma once

#include <ctime>

#include "zddscore/types.h"

namespace zdds {

constexpr long nanosecondsPerSecond = 1'000'000'000L;

inline timespec monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

inline bool isForEver(const ORXNtpTime* timeout) {
    return timeout == nullptr || ORXNtpTime_isInfinite(timeout);
}

// Now plus `length`; a negative length counts as 0, and one beyond the infinite as that.
inline timespec deadlineAfter(const ORXNtpTime& length) {
    timespec deadline = monotonicNow();
    if (length.sec < 0)
        return deadline;
    ORX_INT64 sec = 0;
    ORX_UINT32 nanosec = 0;
    ORXNtpTime_toSecondsAndNanoseconds(&length, &sec, &nanosec);
    deadline.tv_sec += sec < ORX_NTP_TIME_MAX_SEC ? sec : ORX_NTP_TIME_MAX_SEC;
    deadline.tv_nsec += static_cast<long>(nanosec);
    if (deadline.tv_nsec >= nanosecondsPerSecond) {
        deadline.tv_nsec -= nanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

inline ORXNtpTime lengthOfMilliseconds(unsigned milliseconds) {
    return {static_cast<ORX_INT64>(milliseconds / 1000U),
        ORXNtpTime_fractionFromMilliseconds(milliseconds % 1000U)};
}

} // namespace zdds
