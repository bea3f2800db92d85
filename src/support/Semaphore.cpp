// The two kinds that count are a count under a pthread mutex with a condition: giving signals while the mutex
// is held, so that whoever was waiting may delete the semaphore at once.
#include "zddscore/semaphore.h"

#include <cerrno>
#include <new>

#include "src/support/LockOrder.hpp"
#include "src/support/MonotonicTime.hpp"
#include "src/support/SemaphoreImpl.hpp"
#include "zddscore/heap.h"

namespace {

using zdds::currentThread;

constexpr auto ok = ORX_OSAPI_SEMAPHORE_STATUS_OK;
constexpr auto timedOut = ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT;
constexpr auto error = ORX_OSAPI_SEMAPHORE_STATUS_ERROR;

bool makeCondition(pthread_cond_t& condition) {
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0)
        return false;
    const bool made = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                      pthread_cond_init(&condition, &attributes) == 0;
    pthread_condattr_destroy(&attributes);
    return made;
}

bool makeCount(ORXOsapiSemaphore& self) {
    if (pthread_mutex_init(&self.mutex, nullptr) != 0)
        return false;
    if (makeCondition(self.changed))
        return true;
    pthread_mutex_destroy(&self.mutex);
    return false;
}

// The rarer paths stay out of line, so that taking a free mutex saves no registers for them.

[[gnu::noinline]] bool takeWithin(zdds::FutexLock& lock, const ORXNtpTime& timeout) {
    if (lock.tryTake())
        return true;
    if (timeout.sec <= 0 && (timeout.sec < 0 || timeout.frac == 0))
        return false;
    const timespec deadline = zdds::deadlineAfter(timeout);
    return lock.take(&deadline);
}

ORXOsapiSemaphoreStatus own(ORXOsapiSemaphore& self, const void* me) {
    self.owner.store(me, std::memory_order_relaxed);
    zdds::lockOrderPush(&self, self.rank, self.name);
    return ok;
}

[[gnu::noinline]] ORXOsapiSemaphoreStatus takeBusyMutex(ORXOsapiSemaphore& self, const ORXNtpTime* timeout) {
    const void* me = currentThread();
    if (self.owner.load(std::memory_order_relaxed) == me) {
        ++self.nested;
        return ok;
    }
    zdds::lockOrderCheck(&self, self.rank, self.name);
    if (!(zdds::isForEver(timeout) ? self.lock.take(nullptr) : takeWithin(self.lock, *timeout)))
        return timedOut;
    return own(self, me);
}

ORXOsapiSemaphoreStatus takeMutex(ORXOsapiSemaphore& self, const ORXNtpTime* timeout) {
    return zdds::takeQuickly(self) ? ok : takeBusyMutex(self, timeout);
}

[[gnu::noinline]] ORXOsapiSemaphoreStatus giveBusyMutex(ORXOsapiSemaphore& self) {
    if (self.owner.load(std::memory_order_relaxed) != currentThread())
        return error;
    if (self.nested > 0) {
        --self.nested;
        return ok;
    }
    zdds::lockOrderPop(&self);
    self.owner.store(nullptr, std::memory_order_relaxed);
    self.lock.give();
    return ok;
}

ORXOsapiSemaphoreStatus giveMutex(ORXOsapiSemaphore& self) {
    return zdds::giveQuickly(self) ? ok : giveBusyMutex(self);
}

[[gnu::noinline]] ORXOsapiSemaphoreStatus takeCount(ORXOsapiSemaphore& self, const ORXNtpTime* timeout) {
    if (pthread_mutex_lock(&self.mutex) != 0)
        return error;
    int result = 0;
    if (self.count == 0 && !zdds::isForEver(timeout)) {
        const timespec deadline = zdds::deadlineAfter(*timeout);
        while (self.count == 0 && result == 0)
            result = pthread_cond_timedwait(&self.changed, &self.mutex, &deadline);
    }
    while (self.count == 0 && result == 0)
        result = pthread_cond_wait(&self.changed, &self.mutex);
    const bool taken = self.count > 0;
    if (taken)
        --self.count;
    pthread_mutex_unlock(&self.mutex);
    if (taken)
        return ok;
    return result == ETIMEDOUT ? timedOut : error;
}

[[gnu::noinline]] ORXOsapiSemaphoreStatus giveCount(ORXOsapiSemaphore& self) {
    if (pthread_mutex_lock(&self.mutex) != 0)
        return error;
    const unsigned most = self.kind == ORX_OSAPI_SEMAPHORE_KIND_BINARY ? 1U : ~0U;
    if (self.count < most)
        ++self.count;
    pthread_cond_signal(&self.changed);
    pthread_mutex_unlock(&self.mutex);
    return ok;
}

bool isMutex(const ORXOsapiSemaphore& self) {
    return self.kind == ORX_OSAPI_SEMAPHORE_KIND_MUTEX;
}

bool isKind(ORXOsapiSemaphoreKind kind) {
    return kind == ORX_OSAPI_SEMAPHORE_KIND_BINARY || kind == ORX_OSAPI_SEMAPHORE_KIND_COUNTING ||
           kind == ORX_OSAPI_SEMAPHORE_KIND_MUTEX;
}

} // namespace

ORXOsapiSemaphore* ORXOsapiSemaphore_new(ORXOsapiSemaphoreKind kind, const void*) {
    if (!isKind(kind))
        return nullptr;
    ORXOsapiSemaphore* memory = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&memory, struct ORXOsapiSemaphore))
        return nullptr;
    auto* self = new (memory) ORXOsapiSemaphore{};
    self->kind = kind;
    self->name = "unnamed";
    if (!isMutex(*self) && !makeCount(*self)) {
        ORXOsapiHeap_freeStructure(self);
        return nullptr;
    }
    return self;
}

int ORXOsapiSemaphore_delete(ORXOsapiSemaphore* self) {
    if (self == nullptr)
        return ORX_TRUE;
    if (isMutex(*self) && self->owner.load(std::memory_order_relaxed) != nullptr)
        return ORX_FALSE;
    if (!isMutex(*self)) {
        pthread_cond_destroy(&self->changed);
        pthread_mutex_destroy(&self->mutex);
    }
    ORXOsapiHeap_freeStructure(self);
    return ORX_TRUE;
}

[[gnu::hot]] ORXOsapiSemaphoreStatus ORXOsapiSemaphore_take(
    ORXOsapiSemaphore* self, const ORXNtpTime* timeout) {
    if (self == nullptr)
        return error;
    return isMutex(*self) ? takeMutex(*self, timeout) : takeCount(*self, timeout);
}

[[gnu::hot]] ORXOsapiSemaphoreStatus ORXOsapiSemaphore_give(ORXOsapiSemaphore* self) {
    if (self == nullptr)
        return error;
    return isMutex(*self) ? giveMutex(*self) : giveCount(*self);
}

void ORXOsapiSemaphore_setRank(ORXOsapiSemaphore* self, int rank, const char* name) {
    if (self == nullptr)
        return;
    self->rank = rank;
    self->name = name != nullptr ? name : "unnamed";
}
