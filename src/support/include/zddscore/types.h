/* Integer names of the support layer, and its time form. */
#ifndef ZDDSCORE_TYPES_H
#define ZDDSCORE_TYPES_H

#include <stddef.h>
#include <stdint.h>

#include "zddscore/export.h"

ZDDS_BEGIN_C

typedef int8_t ORX_INT8;
typedef uint8_t ORX_UINT8;
typedef int16_t ORX_INT16;
typedef uint16_t ORX_UINT16;
typedef int32_t ORX_INT32;
typedef uint32_t ORX_UINT32;
typedef int64_t ORX_INT64;
typedef uint64_t ORX_UINT64;

#define ORX_TRUE 1
#define ORX_FALSE 0

/* A point in time or a length of time.
 * sec: signed seconds. frac: fraction of a second in units of 2^-32 s.
 * Infinite when both fields are 0xFFFFFFFF. */
typedef struct ORXNtpTime {
    ORX_INT64 sec;
    ORX_UINT32 frac;
} ORXNtpTime;

#define ORX_NTP_TIME_MAX_SEC 0xFFFFFFFFLL
#define ORX_NTP_TIME_MAX_FRAC 0xFFFFFFFFU
#define ORX_NTP_TIME_ZERO                                                                                    \
    { 0, 0U }
#define ORX_NTP_TIME_INFINITE                                                                                \
    { ORX_NTP_TIME_MAX_SEC, ORX_NTP_TIME_MAX_FRAC }

/* Non-zero if the time is the infinite one. */
ZDDSCORE_EXPORT int ORXNtpTime_isInfinite(const ORXNtpTime* self);
/* Negative, zero or positive as left is before, equal to or after right. */
ZDDSCORE_EXPORT int ORXNtpTime_compare(const ORXNtpTime* left, const ORXNtpTime* right);
/* result = left + right; infinite when either is. result may alias either argument. */
ZDDSCORE_EXPORT void ORXNtpTime_add(ORXNtpTime* result, const ORXNtpTime* left, const ORXNtpTime* right);
/* result = left - right; infinite when left is. result may alias either argument. */
ZDDSCORE_EXPORT void ORXNtpTime_subtract(ORXNtpTime* result, const ORXNtpTime* left, const ORXNtpTime* right);
/* Seconds as they stand; frac = (nanosec * 2305843009) >> 29, in 64 bits: 2^32 / 10^9 as a
 * fixed-point factor with 29 fractional bits. nanosec must be below 10^9. */
ZDDSCORE_EXPORT void ORXNtpTime_fromSecondsAndNanoseconds(
    ORXNtpTime* self, ORX_INT64 sec, ORX_UINT32 nanosec);
/* Rounded to the nearest nanosecond, in 0..999999999, so that a nanosecond count survives the way
 * there and back. */
ZDDSCORE_EXPORT void ORXNtpTime_toSecondsAndNanoseconds(
    const ORXNtpTime* self, ORX_INT64* sec, ORX_UINT32* nanosec);
/* Fraction of a count of milliseconds below 1000: (ms << 22) + ((ms * 393) << 8), in 32 bits. */
ZDDSCORE_EXPORT ORX_UINT32 ORXNtpTime_fractionFromMilliseconds(ORX_UINT32 milliseconds);

ZDDS_END_C

#endif
