/* Threads: identity, sleep, and joinable threads. The layer never interrupts a thread. */
#ifndef ZDDSCORE_THREAD_H
#define ZDDSCORE_THREAD_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

/* Identity of the calling thread: never 0, differs among the live threads of the process. */
ZDDSCORE_EXPORT ORX_UINT64 ORXOsapiThread_getCurrentThreadID(void);
/* Non-zero on a joinable thread of this layer, and so on every thread of the libraries above it. */
ZDDSCORE_EXPORT int ORXOsapiThread_isOwnThread(void);
/* Sleeps at least the given length, on the monotonic clock. */
ZDDSCORE_EXPORT void ORXOsapiThread_sleep(const ORXNtpTime* time);

/* CPUs 0 to 1023, a bit each; `isSet` is 0 when no CPU was named, which leaves the affinity alone. */
struct ORXOsapiCpuBitmap {
    int isSet;
    ORX_UINT64 bits[16];
};
typedef struct ORXOsapiCpuBitmap ORXOsapiCpuBitmap;

#define ORX_OSAPI_THREAD_PRIORITY_DEFAULT (-9999999)
#define ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT (-1)

/* Option bits of a thread, the same numbers as DDS_ThreadSettingsKindMask. */
#define ORX_OSAPI_THREAD_OPTION_DEFAULT 0x00
#define ORX_OSAPI_THREAD_OPTION_FLOATING_POINT 0x01
#define ORX_OSAPI_THREAD_OPTION_STDIO 0x02
#define ORX_OSAPI_THREAD_OPTION_REALTIME_PRIORITY 0x08
#define ORX_OSAPI_THREAD_OPTION_PRIORITY_ENFORCE 0x10 /* fail rather than run with another priority */

struct ORXOsapiJoinableThread;
typedef struct ORXOsapiJoinableThread ORXOsapiJoinableThread;
typedef void* (*ORXOsapiJoinableThreadFunction)(void* param);

/* Starts at once. All signals are blocked in the new thread but faults of its own (SIGSEGV and the
 * like), which still reach their handlers. The name is cut to the system's 15 characters. stackSize in
 * bytes, -1 for the default; at least 128 KiB are taken. bitmap may be null. A priority or an affinity
 * that the system refuses is left out, except an enforced priority. Null on failure. */
ZDDSCORE_EXPORT ORXOsapiJoinableThread* ORXOsapiJoinableThread_new(const char* name, int priority,
    int options, int stackSize, const ORXOsapiCpuBitmap* bitmap, ORXOsapiJoinableThreadFunction function,
    void* param);
/* Waits for the function to return, at most `timeout` milliseconds, and frees the thread; non-zero
 * on success. On a time-out the thread is left as it is and the result is 0. Null is a no-op. */
ZDDSCORE_EXPORT int ORXOsapiJoinableThread_stopAndDelete(ORXOsapiJoinableThread* self, int timeout);

/* Joinable threads whose function runs now. */
ZDDSCORE_EXPORT ORX_UINT32 ORXOsapiThread_getLiveThreadCount(void);

/* Thread-specific data made by a factory; opaque here. */
struct ORXOsapiThreadTssFactory;
typedef struct ORXOsapiThreadTssFactory ORXOsapiThreadTssFactory;

ZDDS_END_C

#endif
