#include "zddscore/thread.h"

#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "src/support/MonotonicTime.hpp"
#include "zddscore/heap.h"
#include "zddscore/semaphore.h"

namespace {

constexpr std::size_t nameCapacity = 16; // with the terminator; the system's bound
// Below this the C library's own needs and a sanitizer's leave too little for a thread's function.
constexpr std::size_t smallestStack = 128U * 1024U;

constinit std::atomic<std::uint32_t> liveThreads{0};
// Read where nothing may be allocated: their place is there from the start of each thread, even when this
// library has been loaded late.
[[gnu::tls_model("initial-exec")]] thread_local std::uint64_t cachedThreadId = 0;
[[gnu::tls_model("initial-exec")]] thread_local bool isOwnThread = false;

// A child of fork has one thread, with another identity, and none of ours.
void forgetParent() {
    cachedThreadId = 0;
    isOwnThread = false;
    liveThreads.store(0, std::memory_order_relaxed);
}

[[gnu::constructor]] void watchForks() {
    pthread_atfork(nullptr, nullptr, forgetParent);
}

} // namespace

struct ORXOsapiJoinableThread {
    pthread_t handle;
    ORXOsapiJoinableThreadFunction function;
    void* param;
    ORXOsapiSemaphore* returned; // given when the function has returned
    char name[nameCapacity];
};

namespace {

void* run(void* param) {
    auto* self = static_cast<ORXOsapiJoinableThread*>(param);
    pthread_setname_np(pthread_self(), self->name);
    isOwnThread = true;
    self->function(self->param);
    ORXOsapiSemaphore_give(self->returned); // whoever frees the thread joins it first
    // Last, so that a thread that is counted no more is deleted without a wait.
    liveThreads.fetch_sub(1, std::memory_order_release);
    return nullptr;
}

// Attributes of the thread to be; gives itself back.
class Attributes {
public:
    Attributes() : valid_(pthread_attr_init(&attributes_) == 0) {}
    ~Attributes() {
        if (valid_)
            pthread_attr_destroy(&attributes_);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    bool setStackSize(int stackSize) {
        if (!valid_ || stackSize < 0)
            return valid_;
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t size = std::max(static_cast<std::size_t>(stackSize), smallestStack);
        return pthread_attr_setstacksize(&attributes_, (size + page - 1) / page * page) == 0;
    }

    bool setAffinity(const ORXOsapiCpuBitmap& bitmap) {
        cpu_set_t cpus;
        static_assert(sizeof cpus == sizeof bitmap.bits);
        std::memcpy(&cpus, bitmap.bits, sizeof cpus);
        return pthread_attr_setaffinity_np(&attributes_, sizeof cpus, &cpus) == 0;
    }

    // The ordinary policy knows one priority, 0.
    bool setPriority(int priority, bool realtime) {
        sched_param parameters{};
        parameters.sched_priority = priority;
        return pthread_attr_setinheritsched(&attributes_, PTHREAD_EXPLICIT_SCHED) == 0 &&
               pthread_attr_setschedpolicy(&attributes_, realtime ? SCHED_FIFO : SCHED_OTHER) == 0 &&
               pthread_attr_setschedparam(&attributes_, &parameters) == 0;
    }

    const pthread_attr_t* get() const { return &attributes_; }

private:
    pthread_attr_t attributes_;
    bool valid_;
};

// Blocks the signals that a new thread shall not take; faults of its own still reach their handlers.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
            sigdelset(&blocked, fault);
        pthread_sigmask(SIG_SETMASK, &blocked, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_;
};

struct Wishes {
    int priority;
    int options;
    int stackSize;
    const ORXOsapiCpuBitmap* bitmap;

    bool hasPriority() const { return priority != ORX_OSAPI_THREAD_PRIORITY_DEFAULT; }
    bool enforcesPriority() const { return (options & ORX_OSAPI_THREAD_OPTION_PRIORITY_ENFORCE) != 0; }
    bool hasAffinity() const { return bitmap != nullptr && bitmap->isSet; }
};

bool tryToStart(ORXOsapiJoinableThread& self, const Wishes& wishes, bool withPriority, bool withAffinity) {
    Attributes attributes;
    if (!attributes.setStackSize(wishes.stackSize))
        return false;
    const bool realtime = (wishes.options & ORX_OSAPI_THREAD_OPTION_REALTIME_PRIORITY) != 0;
    if (withPriority && !attributes.setPriority(wishes.priority, realtime))
        return false;
    if (withAffinity && !attributes.setAffinity(*wishes.bitmap))
        return false;
    return pthread_create(&self.handle, attributes.get(), run, &self) == 0;
}

// Priority and affinity are wishes that the system may refuse: then the thread runs without, except
// that an enforced priority is never given up.
bool start(ORXOsapiJoinableThread& self, const Wishes& wishes) {
    SignalsBlocked signalsBlocked;
    const bool priority = wishes.hasPriority();
    const bool affinity = wishes.hasAffinity();
    if (tryToStart(self, wishes, priority, affinity))
        return true;
    if (affinity && tryToStart(self, wishes, priority, false))
        return true;
    if (!priority || wishes.enforcesPriority())
        return false;
    if (affinity && tryToStart(self, wishes, false, true))
        return true;
    return tryToStart(self, wishes, false, false);
}

} // namespace

ORX_UINT64 ORXOsapiThread_getCurrentThreadID(void) {
    if (cachedThreadId == 0)
        cachedThreadId = static_cast<std::uint64_t>(gettid());
    return cachedThreadId;
}

int ORXOsapiThread_isOwnThread(void) {
    return isOwnThread;
}

void ORXOsapiThread_sleep(const ORXNtpTime* time) {
    if (time == nullptr)
        return;
    const timespec deadline = zdds::deadlineAfter(*time);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}

ORXOsapiJoinableThread* ORXOsapiJoinableThread_new(const char* name, int priority, int options, int stackSize,
    const ORXOsapiCpuBitmap* bitmap, ORXOsapiJoinableThreadFunction function, void* param) {
    if (function == nullptr)
        return nullptr;
    ORXOsapiJoinableThread* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORXOsapiJoinableThread))
        return nullptr;
    self->function = function;
    self->param = param;
    if (name != nullptr)
        std::memcpy(self->name, name, strnlen(name, nameCapacity - 1));
    self->returned = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    liveThreads.fetch_add(1, std::memory_order_relaxed);
    if (self->returned == nullptr || !start(*self, {priority, options, stackSize, bitmap})) {
        liveThreads.fetch_sub(1, std::memory_order_relaxed);
        ORXOsapiSemaphore_delete(self->returned);
        ORXOsapiHeap_freeStructure(self);
        return nullptr;
    }
    return self;
}

int ORXOsapiJoinableThread_stopAndDelete(ORXOsapiJoinableThread* self, int timeout) {
    if (self == nullptr)
        return ORX_TRUE;
    if (pthread_equal(self->handle, pthread_self()))
        return ORX_FALSE;
    const ORXNtpTime bound = zdds::lengthOfMilliseconds(static_cast<unsigned>(std::max(timeout, 0)));
    if (ORXOsapiSemaphore_take(self->returned, &bound) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_FALSE;
    pthread_join(self->handle, nullptr);
    ORXOsapiSemaphore_delete(self->returned);
    ORXOsapiHeap_freeStructure(self);
    return ORX_TRUE;
}

ORX_UINT32 ORXOsapiThread_getLiveThreadCount(void) {
    return liveThreads.load(std::memory_order_acquire);
}
