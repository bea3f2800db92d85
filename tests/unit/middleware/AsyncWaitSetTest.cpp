// The wait set with a thread of its own.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/unit/middleware/FailingHeap.hpp"
#include "tests/unit/middleware/LogCapture.hpp"
#include "zddsc/async_wait_set.h"
#include "zddscore/thread.h"

namespace {

constexpr DDS_Duration_t generous{30, 0};

// A guard condition whose handler is a function of the test.
class Guarded {
public:
    explicit Guarded(std::function<void()> function = {}) : function_(std::move(function)) {
        handler = {this, [](void* self, DDS_Condition*) {
                       auto& guarded = *static_cast<Guarded*>(self);
                       DDS_GuardCondition_set_trigger_value(guarded.guard, DDS_BOOLEAN_FALSE);
                       ++guarded.calls;
                       if (guarded.function_)
                           guarded.function_();
                   }};
        EXPECT_EQ(DDS_Condition_set_handler(condition, &handler), DDS_RETCODE_OK);
    }
    ~Guarded() { DDS_GuardCondition_delete(guard); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;
    void trigger() { DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE); }
    bool waitForCalls(int wanted) const {
        for (int i = 0; i < 30'000 && calls < wanted; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return calls >= wanted;
    }

    DDS_GuardCondition* const guard = DDS_GuardCondition_new();
    DDS_Condition* const condition = DDS_GuardCondition_as_condition(guard);
    DDS_ConditionHandler handler{};
    std::atomic<int> calls{0};

private:
    const std::function<void()> function_;
};

struct Heard {
    std::atomic<int> attached{0};
    std::atomic<int> detached{0};
    std::atomic<int> timeouts{0};
    std::atomic<int> spawned{0};
    std::atomic<int> deleted{0};
    std::atomic<bool> wasOnOwnThread{false};
    std::thread::id detachThread;

    DDS_AsyncWaitSetListener listener() {
        DDS_AsyncWaitSetListener result{};
        result.listener_data = this;
        result.on_thread_spawned = [](void* self, DDS_UnsignedLongLong) { ++of(self).spawned; };
        result.on_thread_deleted = [](void* self, DDS_UnsignedLongLong) { ++of(self).deleted; };
        result.on_wait_timeout = [](void* self, DDS_UnsignedLongLong) { ++of(self).timeouts; };
        result.on_condition_attached = [](void* self, DDS_Condition*) { ++of(self).attached; };
        result.on_condition_detached = [](void* self, DDS_Condition*) {
            of(self).detachThread = std::this_thread::get_id();
            ++of(self).detached;
        };
        return result;
    }
    static Heard& of(void* self) { return *static_cast<Heard*>(self); }
};

class AsyncWaitSet : public testing::Test {
protected:
    AsyncWaitSet() { make(DDS_DURATION_INFINITE); }
    ~AsyncWaitSet() override {
        EXPECT_EQ(DDS_AsyncWaitSet_delete(waitSet), DDS_RETCODE_OK);
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threadsBefore);
    }
    void make(const DDS_Duration_t& timeout) {
        if (waitSet != nullptr)
            DDS_AsyncWaitSet_delete(waitSet);
        DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
        property.wait_timeout = timeout;
        property.thread_name_prefix = DDS_String_dup("oTest");
        const DDS_AsyncWaitSetListener listener = heard.listener();
        waitSet = DDS_AsyncWaitSet_new_with_listener(&property, &listener);
        DDS_AsyncWaitSetProperty_t_finalize(&property);
        ASSERT_NE(waitSet, nullptr);
    }
    DDS_Long conditions() {
        DDS_ConditionSeq all{};
        EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(waitSet, &all), DDS_RETCODE_OK);
        const DDS_Long count = DDS_ConditionSeq_get_length(&all);
        DDS_ConditionSeq_finalize(&all);
        return count;
    }

    const ORX_UINT32 threadsBefore = ORXOsapiThread_getLiveThreadCount();
    LogCapture log;
    Heard heard;
    DDS_AsyncWaitSet* waitSet = nullptr;
};

TEST_F(AsyncWaitSet, HandlesWhatIsTriggered) {
    Guarded early, late;
    early.trigger();
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, early.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    EXPECT_TRUE(early.waitForCalls(1));
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, late.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, late.condition), DDS_RETCODE_OK) << "again is fine";
    late.trigger();
    EXPECT_TRUE(late.waitForCalls(1));
    EXPECT_EQ(conditions(), 2);
    EXPECT_EQ(heard.attached, 2);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(waitSet), DDS_RETCODE_OK);
    EXPECT_EQ(heard.spawned, 1);
    EXPECT_EQ(heard.deleted, 1);
}

TEST_F(AsyncWaitSet, TellsOfTimeWithoutAnythingToHandle) {
    make({0, 1'000'000U});
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    for (int i = 0; i < 30'000 && heard.timeouts < 3; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_GE(heard.timeouts, 3);
}

TEST_F(AsyncWaitSet, AHandlerThatDetachesItselfEndsBeforeTheDetachmentIsTold) {
    std::atomic<bool> isOver{false};
    Guarded* self = nullptr;
    Guarded guarded([&] {
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition_with_completion_token(
                      waitSet, self->condition, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE),
            DDS_RETCODE_OK);
        EXPECT_EQ(conditions(), 0);
        EXPECT_EQ(heard.detached, 0);
        isOver = true;
    });
    self = &guarded;
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    guarded.trigger();
    ASSERT_TRUE(guarded.waitForCalls(1));
    for (int i = 0; i < 30'000 && heard.detached == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(heard.detached, 1);
    EXPECT_TRUE(isOver);
    EXPECT_NE(heard.detachThread, std::this_thread::get_id());
    guarded.trigger();
    ASSERT_EQ(DDS_AsyncWaitSet_stop(waitSet), DDS_RETCODE_OK);
    EXPECT_EQ(guarded.calls, 1);
}

TEST_F(AsyncWaitSet, ADetachmentFromOutsideWaitsForTheHandler) {
    std::promise<void> entered, go;
    std::atomic<bool> isOver{false};
    Guarded guarded([&] {
        entered.set_value();
        go.get_future().wait();
        isOver = true;
    });
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    guarded.trigger();
    entered.get_future().wait();
    std::thread helper([&] { go.set_value(); });
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
    EXPECT_TRUE(isOver);
    EXPECT_EQ(heard.detached, 1);
    helper.join();
    EXPECT_EQ(
        DDS_AsyncWaitSet_detach_condition(waitSet, guarded.condition), DDS_RETCODE_PRECONDITION_NOT_MET);
}

TEST_F(AsyncWaitSet, ATokenTellsWhenADetachmentHasTakenEffect) {
    std::promise<void> entered, go;
    Guarded guarded([&] {
        entered.set_value();
        go.get_future().wait();
    });
    DDS_AsyncWaitSetCompletionToken* token = DDS_AsyncWaitSet_create_completion_token(waitSet);
    ASSERT_NE(token, nullptr);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(waitSet, guarded.condition, token),
        DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &generous), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    guarded.trigger();
    entered.get_future().wait();
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition_with_completion_token(waitSet, guarded.condition, token),
        DDS_RETCODE_OK);
    const DDS_Duration_t soon{0, 1'000'000U};
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &soon), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(waitSet, token), DDS_RETCODE_PRECONDITION_NOT_MET);
    go.set_value();
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &generous), DDS_RETCODE_OK);
    EXPECT_EQ(heard.detached, 1);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(waitSet, token), DDS_RETCODE_OK);
}

TEST_F(AsyncWaitSet, WithoutAThreadADetachmentIsToldToItsCaller) {
    Guarded before, after;
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, before.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, after.condition), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(waitSet, before.condition), DDS_RETCODE_OK);
    EXPECT_EQ(heard.detached, 1);
    EXPECT_EQ(heard.detachThread, std::this_thread::get_id());
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(waitSet), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(waitSet, after.condition), DDS_RETCODE_OK);
    EXPECT_EQ(heard.detached, 2);
    EXPECT_EQ(conditions(), 0);
}

TEST_F(AsyncWaitSet, AStoppedOneHandlesNothingAndStartsAgain) {
    Guarded guarded;
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(waitSet), DDS_RETCODE_OK);
    guarded.trigger();
    EXPECT_EQ(guarded.calls, 0);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    EXPECT_TRUE(guarded.waitForCalls(1));
}

TEST_F(AsyncWaitSet, SeveralMayStopItAtOnce) {
    std::promise<void> release;
    Guarded guarded([&] { release.get_future().wait(); });
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    guarded.trigger();
    ASSERT_TRUE(guarded.waitForCalls(1));
    std::vector<std::future<DDS_ReturnCode_t>> stops;
    for (int i = 0; i < 4; ++i)
        stops.push_back(std::async(std::launch::async, [&] { return DDS_AsyncWaitSet_stop(waitSet); }));
    EXPECT_EQ(stops[0].wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    release.set_value();
    for (auto& each : stops)
        EXPECT_EQ(each.get(), DDS_RETCODE_OK);
    EXPECT_EQ(heard.deleted, 1);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
}

TEST_F(AsyncWaitSet, ItsOwnThreadCannotEndIt) {
    std::atomic<int> stopped{-1}, deleted{-1};
    Guarded guarded([&] {
        stopped = DDS_AsyncWaitSet_stop(waitSet);
        deleted = DDS_AsyncWaitSet_delete(waitSet);
    });
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    guarded.trigger();
    ASSERT_TRUE(guarded.waitForCalls(1));
    ASSERT_EQ(DDS_AsyncWaitSet_stop(waitSet), DDS_RETCODE_OK);
    EXPECT_EQ(stopped, DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(deleted, DDS_RETCODE_PRECONDITION_NOT_MET);
}

TEST_F(AsyncWaitSet, AConditionNeedsAHandler) {
    Guarded guarded;
    EXPECT_EQ(DDS_Condition_get_handler(guarded.condition), &guarded.handler);
    DDS_Condition_set_handler(guarded.condition, nullptr);
    EXPECT_EQ(
        DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(conditions(), 0);
}

TEST_F(AsyncWaitSet, ManyThreadsAttachTriggerAndDetach) {
    ASSERT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                Guarded guarded;
                ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
                guarded.trigger();
                ASSERT_TRUE(guarded.waitForCalls(1));
                ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
            }
        });
    for (std::thread& one : threads)
        one.join();
    EXPECT_EQ(heard.detached, 400);
}

// It cannot even wait: it must not turn into a loop that eats a processor, and fills the log.
TEST_F(AsyncWaitSet, WithoutMemoryItPausesAndGoesOnLater) {
    struct {
        std::atomic<bool> isOut{true};
        std::atomic<int> refusals{0};
    } heap;
    using Heap = decltype(heap);
    const ORXOsapiHeapAllocator allocator{[](void* self, size_t size, size_t, const char* name) -> void* {
                                              auto& mine = *static_cast<Heap*>(self);
                                              if (!mine.isOut || std::strcmp(name, "sequence buffer") != 0)
                                                  return std::malloc(size);
                                              ++mine.refusals;
                                              return nullptr;
                                          },
        [](void*, void* memory) { std::free(memory); }, &heap};
    Guarded guarded;
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
    const auto start = std::chrono::steady_clock::now();
    ORXOsapiHeap_setAllocator(&allocator);
    EXPECT_EQ(DDS_AsyncWaitSet_start(waitSet), DDS_RETCODE_OK);
    while (heap.refusals < 10 && std::chrono::steady_clock::now() - start < std::chrono::seconds(60))
        std::this_thread::yield();
    EXPECT_GE(heap.refusals, 10); // two in each try
    EXPECT_GE(std::chrono::steady_clock::now() - start, 4 * std::chrono::milliseconds(10));
    heap.isOut = false;
    guarded.trigger();
    EXPECT_TRUE(guarded.waitForCalls(1));
    EXPECT_EQ(DDS_AsyncWaitSet_stop(waitSet), DDS_RETCODE_OK);
    ORXOsapiHeap_setAllocator(nullptr);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(waitSet, guarded.condition), DDS_RETCODE_OK);
}

TEST(AsyncWaitSetMemory, EveryFailureLeavesNothing) {
    const LogCapture log;
    bool isDone = false;
    for (long n = 1; !isDone && n < 200; ++n) {
        FailingHeap heap(n);
        {
            DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
            DDS_AsyncWaitSet* waitSet = DDS_AsyncWaitSet_new_with_listener(&property, nullptr);
            DDS_GuardCondition* guard = DDS_GuardCondition_new();
            DDS_Condition* condition = DDS_GuardCondition_as_condition(guard);
            DDS_ConditionHandler handler{nullptr, [](void*, DDS_Condition*) {}};
            if (waitSet != nullptr && guard != nullptr) {
                DDS_Condition_set_handler(condition, &handler);
                isDone = DDS_AsyncWaitSet_attach_condition(waitSet, condition) == DDS_RETCODE_OK &&
                         DDS_AsyncWaitSet_start(waitSet) == DDS_RETCODE_OK &&
                         DDS_AsyncWaitSet_detach_condition(waitSet, condition) == DDS_RETCODE_OK;
            }
            if (waitSet != nullptr) {
                EXPECT_EQ(DDS_AsyncWaitSet_delete(waitSet), DDS_RETCODE_OK);
            }
            if (guard != nullptr)
                DDS_GuardCondition_delete(guard);
        }
        isDone = isDone && !heap.hasFailed();
        EXPECT_EQ(heap.live(), 0) << "allocation " << n;
    }
    EXPECT_TRUE(isDone);
}

} // namespace
