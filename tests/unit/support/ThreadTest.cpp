#include "zddscore/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/support/TestHeap.hpp"
#include "zddscore/semaphore.h"

namespace {

constexpr int enough = 60000; // milliseconds

struct Wishes {
    const char* name = "tester";
    int priority = ORX_OSAPI_THREAD_PRIORITY_DEFAULT;
    int options = ORX_OSAPI_THREAD_OPTION_DEFAULT;
    int stackSize = ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT;
    const ORXOsapiCpuBitmap* bitmap = nullptr;
};

void* call(void* function) {
    (*static_cast<std::function<void()>*>(function))();
    return nullptr;
}

ORXOsapiJoinableThread* start(std::function<void()>& function, const Wishes& wishes = {}) {
    return ORXOsapiJoinableThread_new(
        wishes.name, wishes.priority, wishes.options, wishes.stackSize, wishes.bitmap, call, &function);
}

// Runs the function on a thread of its own, to its end.
void runOnThread(std::function<void()> function, const Wishes& wishes = {}) {
    ORXOsapiJoinableThread* thread = start(function, wishes);
    ASSERT_NE(thread, nullptr);
    EXPECT_TRUE(ORXOsapiJoinableThread_stopAndDelete(thread, enough));
}

TEST(Thread, RunsTheFunctionWithItsName) {
    char name[32] = "";
    runOnThread([&] { pthread_getname_np(pthread_self(), name, sizeof name); }, {.name = "oMo#######Event"});
    EXPECT_STREQ(name, "oMo#######Event");
    runOnThread(
        [&] { pthread_getname_np(pthread_self(), name, sizeof name); }, {.name = "a name that is too long"});
    EXPECT_STREQ(name, "a name that is ");
    bool ran = false;
    runOnThread([&] { ran = true; }, {.name = nullptr});
    EXPECT_TRUE(ran);
}

TEST(Thread, StopAndDeleteOfAThreadThatHasReturnedSucceeds) {
    std::function<void()> nothing = [] {};
    ORXOsapiJoinableThread* thread = start(nothing);
    ASSERT_NE(thread, nullptr);
    while (ORXOsapiThread_getLiveThreadCount() > 0)
        std::this_thread::yield();
    EXPECT_TRUE(ORXOsapiJoinableThread_stopAndDelete(thread, 0));
    EXPECT_TRUE(ORXOsapiJoinableThread_stopAndDelete(nullptr, 0));
}

TEST(Thread, StopAndDeleteTimesOutAndMayBeTriedAgain) {
    const auto live = ORXOsapiHeap_getLiveBufferCount();
    ORXOsapiSemaphore* goOn = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    std::function<void()> wait = [goOn] { ORXOsapiSemaphore_take(goOn, nullptr); };
    ORXOsapiJoinableThread* thread = start(wait);
    ASSERT_NE(thread, nullptr);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(ORXOsapiJoinableThread_stopAndDelete(thread, 20));
    EXPECT_FALSE(ORXOsapiJoinableThread_stopAndDelete(thread, -1));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(19));
    ORXOsapiSemaphore_give(goOn);
    EXPECT_TRUE(ORXOsapiJoinableThread_stopAndDelete(thread, enough));
    ORXOsapiSemaphore_delete(goOn);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST(Thread, DoesNotWaitForItself) {
    ORXOsapiSemaphore* ready = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    ORXOsapiJoinableThread* thread = nullptr;
    int result = -1;
    std::function<void()> stopItself = [&] {
        ORXOsapiSemaphore_take(ready, nullptr);
        result = ORXOsapiJoinableThread_stopAndDelete(thread, enough);
    };
    thread = start(stopItself);
    ASSERT_NE(thread, nullptr);
    ORXOsapiSemaphore_give(ready);
    EXPECT_TRUE(ORXOsapiJoinableThread_stopAndDelete(thread, enough));
    EXPECT_EQ(result, 0);
    ORXOsapiSemaphore_delete(ready);
}

TEST(Thread, SignalsAreBlockedButFaults) {
    sigset_t mask;
    runOnThread([&] { pthread_sigmask(SIG_SETMASK, nullptr, &mask); });
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGPIPE, SIGCHLD, SIGABRT, SIGRTMIN})
        EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL})
        EXPECT_EQ(sigismember(&mask, signal), 0) << signal;
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGINT), 0) << "the creator's own mask is as before";
}

std::size_t stackSizeOfCaller() {
    pthread_attr_t attributes;
    std::size_t size = 0;
    void* address = nullptr;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstack(&attributes, &address, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

TEST(Thread, StackHasTheSizeAsked) {
    std::size_t size = 0;
    runOnThread([&] { size = stackSizeOfCaller(); }, {.stackSize = 30'000'001});
    EXPECT_GE(size, 30'000'001U);
    runOnThread([&] { size = stackSizeOfCaller(); }, {.stackSize = 1});
    EXPECT_GE(size, 128U * 1024U) << "never too small to run";
}

TEST(Thread, AffinityIsSetAndAnImpossibleOneLeftOut) {
    cpu_set_t allowed;
    ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
    std::size_t cpu = 0;
    while (!CPU_ISSET(cpu, &allowed))
        ++cpu;
    ORXOsapiCpuBitmap bitmap{};
    bitmap.isSet = 1;
    bitmap.bits[cpu / 64] = std::uint64_t{1} << (cpu % 64);
    cpu_set_t seen;
    runOnThread([&] { sched_getaffinity(0, sizeof seen, &seen); }, {.bitmap = &bitmap});
    EXPECT_EQ(CPU_COUNT(&seen), 1);
    EXPECT_TRUE(CPU_ISSET(cpu, &seen));

    bitmap = {1, {}};
    bitmap.bits[15] = std::uint64_t{1} << 63U;
    bool ran = false;
    runOnThread([&] { ran = true; }, {.bitmap = &bitmap});
    EXPECT_TRUE(ran);

    bitmap = {0, {1}};
    runOnThread([&] { sched_getaffinity(0, sizeof seen, &seen); }, {.bitmap = &bitmap});
    EXPECT_TRUE(CPU_EQUAL(&seen, &allowed)) << "no CPU was named";
}

TEST(Thread, RefusedPriorityIsLeftOutUnlessEnforced) {
    bool ran = false;
    runOnThread([&] { ran = true; }, {.priority = 12345});
    EXPECT_TRUE(ran);
    std::function<void()> nothing = [] {};
    EXPECT_EQ(
        start(nothing, {.priority = 12345, .options = ORX_OSAPI_THREAD_OPTION_PRIORITY_ENFORCE}), nullptr);
    EXPECT_EQ(start(nothing, {.priority = 12345,
                                 .options = ORX_OSAPI_THREAD_OPTION_PRIORITY_ENFORCE |
                                            ORX_OSAPI_THREAD_OPTION_REALTIME_PRIORITY}),
        nullptr);
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), 0U);
    ran = false;
    runOnThread([&] { ran = true; }, {.priority = 0, .options = ORX_OSAPI_THREAD_OPTION_PRIORITY_ENFORCE});
    EXPECT_TRUE(ran) << "the ordinary priority can be had";
}

// With or without the right to it, the thread runs.
TEST(Thread, RealtimePriorityIsBestEffort) {
    int policy = -1;
    sched_param parameters{};
    runOnThread([&] { pthread_getschedparam(pthread_self(), &policy, &parameters); },
        {.priority = 2, .options = ORX_OSAPI_THREAD_OPTION_REALTIME_PRIORITY});
    EXPECT_TRUE((policy == SCHED_FIFO && parameters.sched_priority == 2) || policy == SCHED_OTHER) << policy;
}

TEST(Thread, IdsDifferAndAreNotZero) {
    const ORX_UINT64 own = ORXOsapiThread_getCurrentThreadID();
    EXPECT_NE(own, 0U);
    EXPECT_EQ(ORXOsapiThread_getCurrentThreadID(), own);
    std::set<ORX_UINT64> ids{own};
    std::mutex mutex;
    std::atomic<int> arrived{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            {
                std::lock_guard lock(mutex);
                ids.insert(ORXOsapiThread_getCurrentThreadID());
            }
            ++arrived;
            while (arrived < 8)
                std::this_thread::yield(); // all alive at once
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(ids.size(), 9U);
    EXPECT_EQ(ids.count(0), 0U);
}

TEST(Thread, ForkedChildHasAnIdOfItsOwn) {
    const ORX_UINT64 parents = ORXOsapiThread_getCurrentThreadID();
    const pid_t child = fork();
    if (child == 0)
        _exit(ORXOsapiThread_getCurrentThreadID() != parents ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(Thread, SleepIsNoShorterThanAsked) {
    const auto begin = std::chrono::steady_clock::now();
    const ORXNtpTime time{0, ORXNtpTime_fractionFromMilliseconds(30)};
    ORXOsapiThread_sleep(&time);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::microseconds(29990));
    const ORXNtpTime negative{-1, 0};
    ORXOsapiThread_sleep(&negative);
    ORXOsapiThread_sleep(nullptr);
}

TEST(Thread, OwnThreadsKnowThemselves) {
    EXPECT_FALSE(ORXOsapiThread_isOwnThread());
    std::function<void()> look = [] { EXPECT_TRUE(ORXOsapiThread_isOwnThread()); };
    ORXOsapiJoinableThread* thread = start(look);
    ASSERT_NE(thread, nullptr);
    EXPECT_TRUE(ORXOsapiJoinableThread_stopAndDelete(thread, enough));
    EXPECT_FALSE(ORXOsapiThread_isOwnThread());
}

TEST(Thread, LiveThreadsAreCounted) {
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), 0U);
    std::function<void()> nothing = [] { EXPECT_GE(ORXOsapiThread_getLiveThreadCount(), 1U); };
    ORXOsapiJoinableThread* thread = start(nothing);
    ASSERT_NE(thread, nullptr);
    EXPECT_TRUE(ORXOsapiJoinableThread_stopAndDelete(thread, enough));
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), 0U);
}

TEST(Thread, CreationSurvivesFailedAllocation) {
    std::function<void()> nothing = [] {};
    EXPECT_EQ(testing_support::walkAllocationFailures([&] {
        ORXOsapiJoinableThread* thread = start(nothing);
        return thread != nullptr && ORXOsapiJoinableThread_stopAndDelete(thread, enough) != 0;
    }),
        2);
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), 0U);
    EXPECT_EQ(ORXOsapiJoinableThread_new("none", 0, 0, -1, nullptr, nullptr, nullptr), nullptr);
}

} // namespace
