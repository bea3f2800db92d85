#include "zddscore/clock.h"

#include <ctime>

#include "src/support/MonotonicTime.hpp"
#include "zddscore/heap.h"

namespace {

template <clockid_t id> int getTime(ORXClock*, ORXNtpTime* time) {
    timespec now{};
    if (time == nullptr || clock_gettime(id, &now) != 0)
        return ORX_FALSE;
    ORXNtpTime_fromSecondsAndNanoseconds(time, now.tv_sec, static_cast<ORX_UINT32>(now.tv_nsec));
    return ORX_TRUE;
}

template <clockid_t id> int getResolution(ORXClock*, ORXNtpTime* resolution) {
    timespec step{};
    if (resolution == nullptr || clock_getres(id, &step) != 0)
        return ORX_FALSE;
    ORXNtpTime_fromSecondsAndNanoseconds(resolution, step.tv_sec, static_cast<ORX_UINT32>(step.tv_nsec));
    return ORX_TRUE;
}

// The monotonic clock runs as waiting does, so nobody need look at it again.
int getMonotonicCallPeriod(ORXClock*, ORXNtpTime* period) {
    if (period == nullptr)
        return ORX_FALSE;
    *period = ORX_NTP_TIME_INFINITE;
    return ORX_TRUE;
}

// The system clock may be set while somebody waits.
int getSystemCallPeriod(ORXClock*, ORXNtpTime* period) {
    if (period == nullptr)
        return ORX_FALSE;
    *period = zdds::lengthOfMilliseconds(100);
    return ORX_TRUE;
}

int reset(ORXClock*) {
    return ORX_TRUE;
}

ORXClock* newClock(const ORXClock& operations) {
    ORXClock* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORXClock))
        return nullptr;
    *self = operations;
    return self;
}

} // namespace

int ORXMonotonicClockUtility_isSupported(void) {
    timespec now{};
    return clock_gettime(CLOCK_MONOTONIC, &now) == 0;
}

ORXClock* ORXMonotonicClock_new(void) {
    return newClock(
        {getTime<CLOCK_MONOTONIC>, getResolution<CLOCK_MONOTONIC>, getMonotonicCallPeriod, reset});
}

void ORXMonotonicClock_delete(ORXClock* self) {
    ORXOsapiHeap_freeStructure(self);
}

ORXClock* ORXSystemClock_new(void) {
    return newClock({getTime<CLOCK_REALTIME>, getResolution<CLOCK_REALTIME>, getSystemCallPeriod, reset});
}

void ORXSystemClock_delete(ORXClock* self) {
    ORXOsapiHeap_freeStructure(self);
}
