/* Clocks as objects. */
#ifndef ZDDSCORE_CLOCK_H
#define ZDDSCORE_CLOCK_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

/* Operations return non-zero on success.
 * getRequiredCallPeriod tells how long at most somebody who waits for a time of this clock may go
 * without reading it. It is infinite for a clock that runs evenly, and short for one that is set or
 * that a test moves. A clock without the operation (a null pointer, or failure) is read every 10 ms. */
struct ORXClock {
    int (*getTime)(struct ORXClock* self, ORXNtpTime* time);
    int (*getResolution)(struct ORXClock* self, ORXNtpTime* resolution);
    int (*getRequiredCallPeriod)(struct ORXClock* self, ORXNtpTime* period);
    int (*reset)(struct ORXClock* self);
};
typedef struct ORXClock ORXClock;

ZDDSCORE_EXPORT int ORXMonotonicClockUtility_isSupported(void);
/* Null on failure; deleting null is a no-op. */
ZDDSCORE_EXPORT ORXClock* ORXMonotonicClock_new(void);
ZDDSCORE_EXPORT void ORXMonotonicClock_delete(ORXClock* self);
ZDDSCORE_EXPORT ORXClock* ORXSystemClock_new(void);
ZDDSCORE_EXPORT void ORXSystemClock_delete(ORXClock* self);

ZDDS_END_C

#endif
