#include "zddscore/semaphore.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/support/TestHeap.hpp"

namespace {

using namespace std::chrono_literals;

constexpr auto ok = ORX_OSAPI_SEMAPHORE_STATUS_OK;
constexpr auto timedOut = ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT;
constexpr auto error = ORX_OSAPI_SEMAPHORE_STATUS_ERROR;

const ORXNtpTime zero = ORX_NTP_TIME_ZERO;
const ORXNtpTime infinite = ORX_NTP_TIME_INFINITE;
const ORXNtpTime fiftyMilliseconds{0, ORXNtpTime_fractionFromMilliseconds(50)};
const ORXNtpTime oneMinute{60, 0};
const ORXNtpTime tenMinutes{600, 0};

struct Semaphore {
    explicit Semaphore(ORXOsapiSemaphoreKind kind) : handle(ORXOsapiSemaphore_new(kind, nullptr)) {}
    ~Semaphore() { EXPECT_TRUE(ORXOsapiSemaphore_delete(handle)); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    ORXOsapiSemaphoreStatus take(const ORXNtpTime* timeout = nullptr) {
        return ORXOsapiSemaphore_take(handle, timeout);
    }
    ORXOsapiSemaphoreStatus give() { return ORXOsapiSemaphore_give(handle); }

    ORXOsapiSemaphore* handle;
};

struct Mutex : Semaphore {
    Mutex() : Semaphore(ORX_OSAPI_SEMAPHORE_KIND_MUTEX) {}
};
struct Binary : Semaphore {
    Binary() : Semaphore(ORX_OSAPI_SEMAPHORE_KIND_BINARY) {}
};
struct Counting : Semaphore {
    Counting() : Semaphore(ORX_OSAPI_SEMAPHORE_KIND_COUNTING) {}
};

template <typename Function> auto onAnotherThread(Function function) {
    decltype(function()) result{};
    std::thread([&] { result = function(); }).join();
    return result;
}

TEST(Mutex, TakenTwiceAndGivenTwiceIsFree) {
    Mutex mutex;
    EXPECT_EQ(mutex.take(), ok);
    EXPECT_EQ(mutex.take(), ok);
    EXPECT_EQ(mutex.give(), ok);
    EXPECT_EQ(onAnotherThread([&] { return mutex.take(&zero); }), timedOut) << "still held once";
    EXPECT_EQ(mutex.give(), ok);
    EXPECT_EQ(onAnotherThread([&] {
        const auto status = mutex.take(&zero);
        mutex.give();
        return status;
    }),
        ok);
}

TEST(Mutex, IsGivenByItsHolderAlone) {
    Mutex mutex;
    EXPECT_EQ(mutex.give(), error) << "nobody holds it";
    ASSERT_EQ(mutex.take(), ok);
    EXPECT_EQ(onAnotherThread([&] { return mutex.give(); }), error);
    EXPECT_EQ(onAnotherThread([&] { return mutex.take(&zero); }), timedOut);
    EXPECT_EQ(mutex.give(), ok);
    EXPECT_EQ(mutex.give(), error);
}

TEST(Mutex, HeldMutexIsNotDeleted) {
    ORXOsapiSemaphore* mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    ASSERT_EQ(ORXOsapiSemaphore_take(mutex, nullptr), ok);
    EXPECT_FALSE(ORXOsapiSemaphore_delete(mutex));
    ASSERT_EQ(ORXOsapiSemaphore_give(mutex), ok);
    EXPECT_TRUE(ORXOsapiSemaphore_delete(mutex));
}

TEST(Mutex, TimedTakeTimesOut) {
    Mutex mutex;
    ASSERT_EQ(mutex.take(), ok);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(onAnotherThread([&] { return mutex.take(&fiftyMilliseconds); }), timedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 49ms);
    ASSERT_EQ(mutex.give(), ok);
}

TEST(Mutex, TimedTakeGetsWhatIsGivenMeanwhile) {
    Mutex mutex;
    Binary waiting;
    int shared = 0;
    ASSERT_EQ(mutex.take(), ok);
    std::thread other([&] {
        waiting.give();
        EXPECT_EQ(mutex.take(&oneMinute), ok);
        EXPECT_EQ(shared, 1);
        shared = 2;
        EXPECT_EQ(mutex.give(), ok);
    });
    ASSERT_EQ(waiting.take(&oneMinute), ok);
    shared = 1;
    ASSERT_EQ(mutex.give(), ok);
    ASSERT_EQ(mutex.take(&infinite), ok);
    ASSERT_EQ(mutex.give(), ok);
    other.join();
    EXPECT_EQ(shared, 2);
}

TEST(Mutex, ExcludesThreadsWhateverTheWayOfTaking) {
    Mutex mutex;
    constexpr int rounds = 20000;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < rounds; ++i) {
                if (t % 2 == 0) {
                    ASSERT_EQ(mutex.take(), ok);
                } else {
                    ASSERT_EQ(mutex.take(&oneMinute), ok);
                }
                ASSERT_EQ(mutex.take(), ok);
                ++counter;
                ASSERT_EQ(mutex.give(), ok);
                ASSERT_EQ(mutex.give(), ok);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 4 * rounds);
}

// Held for longer than a thread spins, so that the others sleep and have to be woken, whichever way they
// came.
TEST(Mutex, WhoeverSleepsGetsItsTurn) {
    Mutex mutex;
    constexpr int rounds = 300;
    const auto held = 200us;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < rounds; ++i) {
                ASSERT_EQ(mutex.take(t % 2 == 0 ? nullptr : &oneMinute), ok);
                const auto end = std::chrono::steady_clock::now() + held;
                while (std::chrono::steady_clock::now() < end)
                    ;
                ++counter;
                ASSERT_EQ(mutex.give(), ok);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 4 * rounds);
}

void spinFor(std::chrono::microseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end)
        ;
}

// How often a thread of this process has gone to sleep.
long sleepsOf(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    const std::string wanted = "voluntary_ctxt_switches:";
    for (std::string word; status >> word;) {
        long count = 0;
        if (word == wanted && status >> count)
            return count;
    }
    return -1;
}

// Who was waiting is woken by the giving, and needs a thousand times as long to run as the giver needs to
// take it again.
TEST(Mutex, WhoHasWaitedGetsItAheadOfTheGiver) {
    Mutex mutex;
    Counting go, mayGive, hasGiven;
    constexpr int rounds = 10;
    std::atomic<pid_t> id{0};
    std::thread other([&] {
        id = static_cast<pid_t>(syscall(SYS_gettid));
        for (int i = 0; i < rounds; ++i) {
            ASSERT_EQ(go.take(&tenMinutes), ok);
            ASSERT_EQ(mutex.take(&tenMinutes), ok);
            ASSERT_EQ(mayGive.take(&tenMinutes), ok);
            ASSERT_EQ(mutex.give(), ok);
            hasGiven.give();
        }
    });
    while (id == 0)
        std::this_thread::yield();
    for (int i = 0; i < rounds; ++i) {
        ASSERT_EQ(mutex.take(&tenMinutes), ok);
        go.give();
        // It comes, sleeps, loses its patience, and sleeps some times more.
        for (const long before = sleepsOf(id); sleepsOf(id) < before + 6;)
            std::this_thread::yield();
        ASSERT_EQ(mutex.give(), ok);
        if (mutex.take(&zero) == ok) {
            ADD_FAILURE() << "overtaken in round " << i;
            ASSERT_EQ(mutex.give(), ok);
        }
        mayGive.give();
        ASSERT_EQ(hasGiven.take(&tenMinutes), ok);
    }
    other.join();
}

// Threads that give up at just about the time at which it is handed to them: whoever it is handed to takes
// it, and it is not lost.
TEST(Mutex, IsNotLostToAThreadThatGivesUpAsItIsHandedOver) {
    Mutex mutex;
    constexpr int rounds = 400;
    int counter = 0; // under the mutex
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < rounds; ++i) {
                const ORXNtpTime timeout{0, static_cast<ORX_UINT32>(40 + 17 * (i % 12) + t) * 4295U}; // us
                const auto status = i % 5 == 0 ? mutex.take() : mutex.take(&timeout);
                if (status != ok) {
                    ASSERT_EQ(status, timedOut);
                    continue;
                }
                ++counter;
                ++taken;
                spinFor(std::chrono::microseconds(20 * (i % 8)));
                ASSERT_EQ(mutex.give(), ok);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, taken);
    EXPECT_GE(taken, 4 * rounds / 5);
    ASSERT_EQ(mutex.take(&zero), ok) << "nobody holds it";
    ASSERT_EQ(mutex.give(), ok);
}

// A thread that gives it touches nothing of it once another can have taken it.
TEST(Mutex, WhoeverTakesItNextMayDeleteIt) {
    for (int i = 0; i < 500; ++i) {
        ORXOsapiSemaphore* mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
        ASSERT_NE(mutex, nullptr);
        ASSERT_EQ(ORXOsapiSemaphore_take(mutex, nullptr), ok);
        std::thread next([mutex] {
            EXPECT_EQ(ORXOsapiSemaphore_take(mutex, nullptr), ok);
            EXPECT_EQ(ORXOsapiSemaphore_give(mutex), ok);
            EXPECT_TRUE(ORXOsapiSemaphore_delete(mutex));
        });
        EXPECT_EQ(ORXOsapiSemaphore_give(mutex), ok);
        next.join();
    }
}

TEST(BinarySemaphore, StartsEmptyAndCountsToOne) {
    Binary semaphore;
    EXPECT_EQ(semaphore.take(&zero), timedOut);
    EXPECT_EQ(semaphore.give(), ok);
    EXPECT_EQ(semaphore.give(), ok);
    EXPECT_EQ(semaphore.take(&zero), ok);
    EXPECT_EQ(semaphore.take(&zero), timedOut);
}

TEST(CountingSemaphore, StartsAtZeroAndCounts) {
    Counting semaphore;
    EXPECT_EQ(semaphore.take(&zero), timedOut);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(semaphore.give(), ok);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(semaphore.take(nullptr), ok);
    EXPECT_EQ(semaphore.take(&zero), timedOut);
}

TEST(Semaphore, TimesOutNoSoonerThanAsked) {
    Binary semaphore;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(semaphore.take(&fiftyMilliseconds), timedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 49ms);
}

TEST(Semaphore, NegativeTimeoutTriesAndAHugeOneWaits) {
    Binary semaphore;
    const ORXNtpTime negative{-5, 1};
    const ORXNtpTime huge{0x7FFFFFFFFFFFFFFFLL, 0};
    EXPECT_EQ(semaphore.take(&negative), timedOut);
    std::thread giver([&] { semaphore.give(); });
    EXPECT_EQ(semaphore.take(&huge), ok);
    giver.join();
    Mutex mutex;
    ASSERT_EQ(mutex.take(), ok);
    EXPECT_EQ(onAnotherThread([&] { return mutex.take(&negative); }), timedOut);
    std::thread taker([&] {
        EXPECT_EQ(mutex.take(&huge), ok);
        mutex.give();
    });
    mutex.give();
    taker.join();
}

TEST(Semaphore, EveryGiveWakesOneTaker) {
    Counting semaphore;
    constexpr int takers = 4;
    constexpr int each = 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < takers; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < each; ++i)
                ASSERT_EQ(semaphore.take(&oneMinute), ok);
        });
    }
    for (int i = 0; i < takers * each; ++i)
        ASSERT_EQ(semaphore.give(), ok);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(semaphore.take(&zero), timedOut);
}

TEST(Semaphore, WhoeverWaitedMayDeleteItAtOnce) {
    for (int i = 0; i < 500; ++i) {
        ORXOsapiSemaphore* semaphore = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
        ASSERT_NE(semaphore, nullptr);
        std::thread giver([semaphore] { ORXOsapiSemaphore_give(semaphore); });
        ASSERT_EQ(ORXOsapiSemaphore_take(semaphore, nullptr), ok);
        ASSERT_TRUE(ORXOsapiSemaphore_delete(semaphore));
        giver.join();
    }
}

TEST(Semaphore, WrongArgumentsAreRefused) {
    EXPECT_EQ(ORXOsapiSemaphore_new(static_cast<ORXOsapiSemaphoreKind>(7), nullptr), nullptr);
    EXPECT_EQ(ORXOsapiSemaphore_take(nullptr, nullptr), error);
    EXPECT_EQ(ORXOsapiSemaphore_give(nullptr), error);
    EXPECT_TRUE(ORXOsapiSemaphore_delete(nullptr));
    ORXOsapiSemaphore_setRank(nullptr, 1, "none");
}

TEST(Semaphore, CreationSurvivesFailedAllocation) {
    for (auto kind : {ORX_OSAPI_SEMAPHORE_KIND_BINARY, ORX_OSAPI_SEMAPHORE_KIND_COUNTING,
             ORX_OSAPI_SEMAPHORE_KIND_MUTEX}) {
        EXPECT_EQ(testing_support::walkAllocationFailures([kind] {
            ORXOsapiSemaphore* semaphore = ORXOsapiSemaphore_new(kind, nullptr);
            return semaphore != nullptr && ORXOsapiSemaphore_delete(semaphore) != 0;
        }),
            1);
    }
}

TEST(LockOrder, RanksMayBeTakenInOrder) {
    Mutex outer;
    Mutex inner;
    Mutex unranked;
    ORXOsapiSemaphore_setRank(outer.handle, 1, "outer");
    ORXOsapiSemaphore_setRank(inner.handle, 2, "inner");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(outer.take(), ok);
        EXPECT_EQ(inner.take(), ok);
        EXPECT_EQ(unranked.take(), ok);
        EXPECT_EQ(outer.take(), ok) << "recursion is no step in the order";
        EXPECT_EQ(outer.give(), ok);
        EXPECT_EQ(outer.give(), ok) << "given in any order";
        EXPECT_EQ(inner.give(), ok);
        EXPECT_EQ(unranked.give(), ok);
    }
}

#ifdef ZDDS_LOCK_ORDER_CHECK
TEST(LockOrderDeathTest, LowerRankUnderAHigherAborts) {
    Mutex outer;
    Mutex inner;
    ORXOsapiSemaphore_setRank(outer.handle, 1, "outer lock");
    ORXOsapiSemaphore_setRank(inner.handle, 2, "inner lock");
    ASSERT_EQ(inner.take(), ok);
    EXPECT_DEATH(outer.take(), "'outer lock' \\(rank 1\\) is taken while 'inner lock' \\(rank 2\\) is held");
    EXPECT_EQ(inner.give(), ok);
    EXPECT_EQ(outer.take(), ok);
    EXPECT_EQ(outer.give(), ok);
}
#endif

} // namespace
