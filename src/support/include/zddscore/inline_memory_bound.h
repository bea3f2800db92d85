/* Bound of the arenas of a process, for hosts.
 *
 * Queues of the monitoring are arenas that leave their bound open: they grow to the largest size there is
 * when threads post more than the workers publish. A host that has less memory to give sets a bound before it
 * starts the library. What does not fit is then dropped, as it is where the largest size is reached. Threads:
 * any. The bound of an arena is settled when it is made. */
#ifndef ZDDSCORE_INLINE_MEMORY_BOUND_H
#define ZDDSCORE_INLINE_MEMORY_BOUND_H

#include "zddscore/inline_memory.h"

ZDDS_BEGIN_C

/* The maximal of an arena that leaves its bound to the process. A negative one does, too. */
#define REDA_INLINE_MEMORY_MAXIMAL_OPEN 2147483647

/* Bytes for the blocks of each arena that is made from now on and leaves its bound open. The first block of
 * an arena is made as large as asked all the same. REDA_INLINE_MEMORY_MAXIMAL_OPEN at the start. False for
 * a bound below 1. */
ZDDSCORE_EXPORT int REDAInlineMemory_setOpenMaximalI(REDAInlineMemorySize maximal);
/* Buffers that arenas of this process refused so far because they were at their bound, whoever set it. What
 * needs several buffers may be counted more than once until it is dropped. */
ZDDSCORE_EXPORT ORX_UINT64 REDAInlineMemory_getRefusalCountI(void);

ZDDS_END_C

#endif
