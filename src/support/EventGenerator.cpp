#include "src/support/MonotonicTime.hpp"
#include "src/support/Worker.hpp"
#include "zddscore/event_generator.h"
#include "zddscore/heap.h"
#include "zddscore/inline_list.h"
#include "zddscore/log.h"
#include "zddscore/semaphore.h"

struct ORXEventSmartTimer {
    int unused; // the generator waits by itself
};

namespace {

constexpr ORXNtpTime infinite = ORX_NTP_TIME_INFINITE;
constexpr int joinMilliseconds = 20'000;
constexpr unsigned defaultClockPeriodMilliseconds = 10;

struct Event {
    REDAInlineListNode node;
    ORXNtpTime time;
    ORXNtpTime snooze;
    const ORXEventGeneratorListener* listener;
    ORXEventGeneratorListenerStorage storage;
    const ORXOsapiActivityContextStackEntry* activity;
};

ORXNtpTime earlier(const ORXNtpTime& left, const ORXNtpTime& right) {
    return ORXNtpTime_compare(&left, &right) <= 0 ? left : right;
}

} // namespace

struct ORXEventActiveGenerator {
    ORXEventGenerator parent; // first: callers post through it
    ORXClock* clock;
    ORXEventActiveGeneratorListener listener;
    ORXNtpTime longestWait;
    REDAWorker* worker;
    ORXOsapiJoinableThread* thread;
    ORXOsapiSemaphore* wake; // given when the queue or `stopping` has changed
    ORXOsapiSemaphore* mutex;
    // Under the mutex. An event that runs is in the pool's count, but not in the queue.
    REDAFastBufferPool* pool;
    REDAInlineList queue; // by time; equal times in the order of their posts
    bool stopping;
};

namespace {

using Generator = ORXEventActiveGenerator;

class QueueLock {
public:
    explicit QueueLock(Generator& generator) : mutex_(generator.mutex) {
        ORXOsapiSemaphore_take(mutex_, nullptr);
    }
    ~QueueLock() { ORXOsapiSemaphore_give(mutex_); }
    QueueLock(const QueueLock&) = delete;
    QueueLock& operator=(const QueueLock&) = delete;

private:
    ORXOsapiSemaphore* mutex_;
};

// From the back, where most events belong.
void insert(Generator& self, Event& event) {
    REDAInlineListNode* before = REDAInlineList_getLast(&self.queue);
    while (before != nullptr && before != &self.queue._dummyNode &&
           ORXNtpTime_compare(&reinterpret_cast<Event*>(before)->time, &event.time) > 0)
        before = REDAInlineListNode_getPrev(before);
    REDAInlineList_addNodeAfterEA(&self.queue, before, &event.node);
}

int postEvent(ORXEventGenerator* generator, const ORXNtpTime* time, const ORXNtpTime* snooze,
    const ORXEventGeneratorListener* eventListener, const ORXEventGeneratorListenerStorage* listenerStorage,
    int, const ORXOsapiActivityContextStackEntry* activityContext) {
    if (generator == nullptr || time == nullptr || eventListener == nullptr ||
        eventListener->onEvent == nullptr)
        return ORX_FALSE;
    auto& self = *reinterpret_cast<Generator*>(generator);
    {
        QueueLock lock(self);
        if (self.stopping)
            return ORX_FALSE;
        auto* event = static_cast<Event*>(REDAFastBufferPool_getBufferWithSize(self.pool, -1));
        if (event == nullptr)
            return ORX_FALSE;
        *event = {{}, *time, snooze != nullptr ? *snooze : ORXNtpTime{}, eventListener,
            listenerStorage != nullptr ? *listenerStorage : ORXEventGeneratorListenerStorage{},
            activityContext};
        insert(self, *event);
    }
    ORXOsapiSemaphore_give(self.wake);
    return ORX_TRUE;
}

// What the thread does next: run an event, wait, or end.
struct Step {
    Event* event;
    ORXNtpTime wait;
    bool end;
};

// With `now` null the clock could not be read, and nothing is due.
Step chooseStep(Generator& self, const ORXNtpTime* now) {
    QueueLock lock(self);
    if (self.stopping)
        return {nullptr, {}, true};
    auto* event = reinterpret_cast<Event*>(REDAInlineList_getFirst(&self.queue));
    if (event == nullptr)
        return {nullptr, infinite, false};
    if (now == nullptr)
        return {nullptr, zdds::lengthOfMilliseconds(defaultClockPeriodMilliseconds), false};
    if (ORXNtpTime_isInfinite(&event->time))
        return {nullptr, self.longestWait, false};
    if (ORXNtpTime_compare(&event->time, now) <= 0) {
        REDAInlineList_removeNodeEA(&self.queue, &event->node);
        return {event, {}, false};
    }
    ORXNtpTime wait;
    ORXNtpTime_subtract(&wait, &event->time, now);
    return {nullptr, earlier(wait, self.longestWait), false};
}

void runEvent(Generator& self, Event& event, const ORXNtpTime& now) {
    ORXNtpTime newTime = event.time;
    ORXNtpTime newSnooze = event.snooze;
    zdds::setActivity(self.worker, event.activity);
    const bool keep = event.listener->onEvent(event.listener, &newTime, &newSnooze, &now, &event.time,
                          &event.snooze, &event.storage, self.worker) != 0;
    zdds::setActivity(self.worker, nullptr);
    QueueLock lock(self);
    if (!keep || self.stopping) {
        REDAFastBufferPool_returnBuffer(self.pool, &event);
        return;
    }
    event.time = newTime;
    event.snooze = newSnooze;
    insert(self, event);
}

void* run(void* param) {
    auto& self = *static_cast<Generator*>(param);
    const ORXEventActiveGeneratorListener& listener = self.listener;
    if (listener.onStarted != nullptr)
        listener.onStarted(&self, listener.onStartedParam, self.worker);
    for (;;) {
        ORXNtpTime now{};
        const bool known = self.clock->getTime(self.clock, &now) != 0;
        const Step step = chooseStep(self, known ? &now : nullptr);
        if (step.end)
            break;
        if (step.event != nullptr)
            runEvent(self, *step.event, now);
        else
            ORXOsapiSemaphore_take(self.wake, &step.wait);
    }
    if (listener.parent.onStopped != nullptr)
        listener.parent.onStopped(&self, listener.parent.onStoppedParam, self.worker);
    return nullptr;
}

// How long the thread may wait at most for a time of this clock; never zero.
ORXNtpTime longestWaitFor(ORXClock& clock, const ORXNtpTime& maxEventInterval) {
    const ORXNtpTime usual = zdds::lengthOfMilliseconds(defaultClockPeriodMilliseconds);
    const ORXNtpTime zero = ORX_NTP_TIME_ZERO;
    ORXNtpTime period = usual;
    if (clock.getRequiredCallPeriod == nullptr || !clock.getRequiredCallPeriod(&clock, &period) ||
        ORXNtpTime_compare(&period, &zero) <= 0)
        period = usual;
    return ORXNtpTime_compare(&maxEventInterval, &zero) > 0 ? earlier(period, maxEventInterval) : period;
}

void freeParts(Generator* self) {
    REDAFastBufferPool_delete(self->pool);
    ORXOsapiSemaphore_delete(self->mutex);
    ORXOsapiSemaphore_delete(self->wake);
    zdds::deleteWorker(self->worker);
    ORXOsapiHeap_freeStructure(self);
}

bool makeParts(Generator& self, const char* threadName, REDAWorkerFactory* workerFactory,
    const ORXEventActiveGeneratorProperty& property, const ORXOsapiRtpsGuidPrefix* guidPrefix) {
    REDAFastBufferPoolProperty poolProperty{};
    poolProperty.growth = property.parent.growth;
    self.worker = zdds::createWorker(workerFactory, threadName, property.threadParticipantId, guidPrefix);
    self.wake = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    self.mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    self.pool = REDAFastBufferPool_newWithParams(
        sizeof(Event), alignof(Event), nullptr, nullptr, nullptr, nullptr, &poolProperty, "ORXEvent", 0);
    return self.worker != nullptr && self.wake != nullptr && self.mutex != nullptr && self.pool != nullptr;
}

} // namespace

ORXEventSmartTimer* ORXEventSmartTimer_new(void) {
    ORXEventSmartTimer* self = nullptr;
    return ORXOsapiHeap_allocateStructure(&self, struct ORXEventSmartTimer) ? self : nullptr;
}

void ORXEventSmartTimer_delete(ORXEventSmartTimer* self) {
    ORXOsapiHeap_freeStructure(self);
}

ORXEventActiveGenerator* ORXEventActiveGenerator_new(const char* threadName, REDAWorkerFactory* workerFactory,
    ORXClock* clock, ORXEventSmartTimer*, const ORXEventActiveGeneratorListener* listener,
    const ORXEventActiveGeneratorProperty* property, void*, const ORXOsapiRtpsGuidPrefix* guidPrefix, void*) {
    if (clock == nullptr || clock->getTime == nullptr || property == nullptr)
        return nullptr;
    Generator* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORXEventActiveGenerator))
        return nullptr;
    self->parent.postEvent = postEvent;
    self->clock = clock;
    if (listener != nullptr)
        self->listener = *listener;
    self->longestWait = longestWaitFor(*clock, property->maxEventInterval);
    REDAInlineList_init(&self->queue);
    if (!makeParts(*self, threadName, workerFactory, *property, guidPrefix)) {
        freeParts(self);
        return nullptr;
    }
    const ORXEventActiveObjectProperty& active = property->active;
    self->thread = ORXOsapiJoinableThread_new(
        threadName, active.priority, active.options, active.stackSize, &active.bitmap, run, self);
    if (self->thread == nullptr) {
        freeParts(self);
        return nullptr;
    }
    return self;
}

int ORXEventActiveGenerator_shutdown(ORXEventActiveGenerator* self, REDAWorker*) {
    if (self == nullptr)
        return ORX_FALSE;
    {
        QueueLock lock(*self);
        self->stopping = true;
    }
    return ORXOsapiSemaphore_give(self->wake) == ORX_OSAPI_SEMAPHORE_STATUS_OK;
}

void ORXEventActiveGenerator_delete(ORXEventActiveGenerator* self, REDAWorker*) {
    if (self == nullptr)
        return;
    ORXEventActiveGenerator_shutdown(self, nullptr);
    if (!ORXOsapiJoinableThread_stopAndDelete(self->thread, joinMilliseconds)) {
        // The thread may still use everything, so that all is left to it.
        ORXLogMessageParamString_printWithParams(-1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_SUPPORT, __FILE__,
            __LINE__, __func__, &ORX_LOG_FAILED_TO_DELETE_TEMPLATE,
            "Event generator: its thread has not ended");
        return;
    }
    freeParts(self);
}
