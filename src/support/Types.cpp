#include "zddscore/types.h"

#include <algorithm>
#include <cstdint>

namespace {
constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000U;
}

int ORXNtpTime_isInfinite(const ORXNtpTime* self) {
    return self->sec == ORX_NTP_TIME_MAX_SEC && self->frac == ORX_NTP_TIME_MAX_FRAC;
}

int ORXNtpTime_compare(const ORXNtpTime* left, const ORXNtpTime* right) {
    if (left->sec != right->sec)
        return left->sec < right->sec ? -1 : 1;
    if (left->frac != right->frac)
        return left->frac < right->frac ? -1 : 1;
    return 0;
}

void ORXNtpTime_add(ORXNtpTime* result, const ORXNtpTime* left, const ORXNtpTime* right) {
    if (ORXNtpTime_isInfinite(left) || ORXNtpTime_isInfinite(right)) {
        *result = ORX_NTP_TIME_INFINITE;
        return;
    }
    const std::uint64_t frac = std::uint64_t{left->frac} + right->frac;
    *result = {left->sec + right->sec + static_cast<ORX_INT64>(frac >> 32U), static_cast<ORX_UINT32>(frac)};
}

void ORXNtpTime_subtract(ORXNtpTime* result, const ORXNtpTime* left, const ORXNtpTime* right) {
    if (ORXNtpTime_isInfinite(left)) {
        *result = ORX_NTP_TIME_INFINITE;
        return;
    }
    const ORX_INT64 borrow = left->frac < right->frac ? 1 : 0;
    *result = {left->sec - right->sec - borrow, left->frac - right->frac};
}

void ORXNtpTime_fromSecondsAndNanoseconds(ORXNtpTime* self, ORX_INT64 sec, ORX_UINT32 nanosec) {
    *self = {sec, static_cast<ORX_UINT32>((std::uint64_t{nanosec} * 2305843009U) >> 29)};
}

void ORXNtpTime_toSecondsAndNanoseconds(const ORXNtpTime* self, ORX_INT64* sec, ORX_UINT32* nanosec) {
    const std::uint64_t nanoseconds =
        (std::uint64_t{self->frac} * nanosecondsPerSecond + (std::uint64_t{1} << 31)) >> 32;
    *sec = self->sec;
    *nanosec = static_cast<ORX_UINT32>(std::min(nanoseconds, nanosecondsPerSecond - 1));
}

ORX_UINT32 ORXNtpTime_fractionFromMilliseconds(ORX_UINT32 milliseconds) {
    return (milliseconds << 22) + ((milliseconds * 393U) << 8);
}
