/* Active event generator: a thread with a queue of timed events that may reschedule themselves. */
#ifndef ZDDSCORE_EVENT_GENERATOR_H
#define ZDDSCORE_EVENT_GENERATOR_H

#include "zddscore/clock.h"
#include "zddscore/fast_buffer_pool.h"
#include "zddscore/host.h"
#include "zddscore/thread.h"

ZDDS_BEGIN_C

/* What a thread is doing, for log lines made on it. */
typedef enum ORXOsapiActivityContextEntryKind {
    ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_EMPTY = 0,
    ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_RESOURCE = 1,
    ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_RESOURCE_WITH_PARAMS = 2,
    ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_RESOURCE_GUID_WITH_PARAMS = 3,
    ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_ACTIVITY = 4
} ORXOsapiActivityContextEntryKind;

struct ORXOsapiActivityContextStackEntry {
    ORXOsapiActivityContextEntryKind kind;
    const char* format;
    void* params;
};
typedef struct ORXOsapiActivityContextStackEntry ORXOsapiActivityContextStackEntry;

/* A worker is the identity under which a generator's thread runs; made by a factory that a
 * participant factory owns. A factory outlives its workers. */
struct REDAWorker;
typedef struct REDAWorker REDAWorker;
struct REDAWorkerFactory;
typedef struct REDAWorkerFactory REDAWorkerFactory;
ZDDSCORE_EXPORT REDAWorkerFactory* REDAWorkerFactory_new(void);
ZDDSCORE_EXPORT void REDAWorkerFactory_delete(REDAWorkerFactory* self);
ZDDSCORE_EXPORT int REDAWorkerFactory_getWorkerCount(const REDAWorkerFactory* self);
/* Thread name, participant id and GUID prefix. */
ZDDSCORE_EXPORT const char* REDAWorker_getName(const REDAWorker* self);
/* On the worker's own thread: the activity of the event that runs, as it was posted, or null. */
ZDDSCORE_EXPORT const ORXOsapiActivityContextStackEntry* REDAWorker_getActivity(const REDAWorker* self);

struct ORXEventSmartTimer;
typedef struct ORXEventSmartTimer ORXEventSmartTimer;
ZDDSCORE_EXPORT ORXEventSmartTimer* ORXEventSmartTimer_new(void);
ZDDSCORE_EXPORT void ORXEventSmartTimer_delete(ORXEventSmartTimer* self);

struct ORXEventGeneratorListenerStorage {
    void* field[8];
};
typedef struct ORXEventGeneratorListenerStorage ORXEventGeneratorListenerStorage;

struct ORXEventGeneratorListener;
/* Non-zero keeps the event and runs it again at *newTime (which starts as `time`, the time that the
 * event was due, so a callback that leaves it alone runs again at once); 0 ends it. */
typedef int (*ORXEventGeneratorListenerOnEventCallback)(const struct ORXEventGeneratorListener* me,
    ORXNtpTime* newTime, ORXNtpTime* newSnooze, const ORXNtpTime* now, const ORXNtpTime* time,
    const ORXNtpTime* snooze, const ORXEventGeneratorListenerStorage* listenerStorage, REDAWorker* worker);
struct ORXEventGeneratorListener {
    ORXEventGeneratorListenerOnEventCallback onEvent;
};
typedef struct ORXEventGeneratorListener ORXEventGeneratorListener;

struct ORXEventGeneratorProperty {
    REDAFastBufferPoolGrowthProperty growth; /* of the event pool */
    ORXNtpTime eventTimeThreshold;           /* not used: events of any time are taken */
};
typedef struct ORXEventGeneratorProperty ORXEventGeneratorProperty;

struct ORXEventActiveObjectProperty {
    int priority;
    int stackSize; /* bytes, -1 for the default */
    int options;
    ORXOsapiCpuBitmap bitmap;
};
typedef struct ORXEventActiveObjectProperty ORXEventActiveObjectProperty;

/* How an event that waits is moved by somebody else than its callback, which this interface does not
 * offer: both values give the same behaviour. */
typedef enum ORXEventActiveGeneratorReschedulingPolicy {
    ORX_EVENT_ACTIVE_GENERATOR_OVERRIDE_RESCHEDULING_POLICY = 0,
    ORX_EVENT_ACTIVE_GENERATOR_NEVER_DELAY_RESCHEDULING_POLICY = 1
} ORXEventActiveGeneratorReschedulingPolicy;

struct ORXEventActiveGeneratorProperty {
    ORXEventGeneratorProperty parent;
    ORXEventActiveObjectProperty active;
    char threadParticipantId[6];
    ORXEventActiveGeneratorReschedulingPolicy reschedulingPolicy;
    ORXNtpTime maxEventInterval; /* longest wait before the clock is read again; zero is none */
};
typedef struct ORXEventActiveGeneratorProperty ORXEventActiveGeneratorProperty;

struct ORXEventActiveGenerator;
typedef void (*ORXEventActiveObjectOnStoppedCallback)(void* object, void* param, REDAWorker* worker);
struct ORXEventActiveObjectListener {
    ORXEventActiveObjectOnStoppedCallback onStopped; /* on the thread, as it ends; no event runs after it */
    void* onStoppedParam;
};
typedef struct ORXEventActiveObjectListener ORXEventActiveObjectListener;
struct ORXEventActiveGeneratorListener {
    ORXEventActiveObjectListener parent;
    ORXEventActiveObjectOnStoppedCallback onStarted; /* may be null */
    void* onStartedParam;
};
typedef struct ORXEventActiveGeneratorListener ORXEventActiveGeneratorListener;

struct ORXEventGenerator;
/* postEvent is the first and only operation of the interface: callers reach it through the pointer.
 * Thread-safe. Runs eventListener->onEvent on the generator's thread at `time` (a clock reading; now
 * or past runs as soon as the thread is free). The storage is copied; activityContext (may be null)
 * is borrowed until the event ends. Non-zero on success. */
typedef int (*ORXEventGeneratorPostEventFunction)(struct ORXEventGenerator* self, const ORXNtpTime* time,
    const ORXNtpTime* snooze, const ORXEventGeneratorListener* eventListener,
    const ORXEventGeneratorListenerStorage* listenerStorage, int reserved,
    const ORXOsapiActivityContextStackEntry* activityContext);
struct ORXEventGenerator {
    ORXEventGeneratorPostEventFunction postEvent;
};
typedef struct ORXEventGenerator ORXEventGenerator;
struct ORXEventActiveGenerator;
typedef struct ORXEventActiveGenerator ORXEventActiveGenerator; /* begins with ORXEventGenerator */

/* Starts the thread. The clock, the timer (may be null) and the factory are borrowed and outlive the
 * generator; the listener (may be null) and the property are copied. guidPrefix (may be null) only names
 * the thread's worker in reports. Null on failure.
 * Time is what the clock says: while an event is queued the thread reads the clock again at each post,
 * and at least once in the clock's required call period, so a clock that a test moves is followed. */
ZDDSCORE_EXPORT ORXEventActiveGenerator* ORXEventActiveGenerator_new(const char* threadName,
    REDAWorkerFactory* workerFactory, ORXClock* clock, ORXEventSmartTimer* timer,
    const ORXEventActiveGeneratorListener* listener, const ORXEventActiveGeneratorProperty* property,
    void* reserved1, const ORXOsapiRtpsGuidPrefix* guidPrefix, void* reserved2);
/* Asks the thread to end and returns at once; the event that runs now is finished first. Non-zero on
 * success, also when asked before. */
ZDDSCORE_EXPORT int ORXEventActiveGenerator_shutdown(ORXEventActiveGenerator* self, REDAWorker* worker);
/* After shutdown and onStopped, joins the thread and frees. Null is a no-op. When the thread does not
 * end within 20 s, an error is logged and everything is left as it is. */
ZDDSCORE_EXPORT void ORXEventActiveGenerator_delete(ORXEventActiveGenerator* self, REDAWorker* worker);

ZDDS_END_C

#endif
