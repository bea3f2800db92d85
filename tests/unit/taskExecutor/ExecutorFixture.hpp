// An executor with its pool of mutexes, payloads in its arenas, and a listener that keeps a record.
#ifndef ORX_TESTS_EXECUTOR_FIXTURE_HPP
#define ORX_TESTS_EXECUTOR_FIXTURE_HPP

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "src/taskExecutor/TaskExecutor.h"
#include "tests/helpers/Wait.hpp"

class Executor {
public:
    struct Options {
        ORX_UINT32 level = 2;
        ORX_UINT32 gcThreshold = 10;
        DDS_Duration_t period{0, 0};
        REDAInlineMemorySize arenaSize = 10240;
    };

    struct Payload {
        Executor* owner;
        int id;
    };

    explicit Executor(const Options& options) : level{options.level} {
        for (ORX_UINT32 i = 0; i < level; ++i) {
            pool_.push_back(ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr));
        }
        ORX_MonitoringTaskExecutorProperty_t property;
        ORX_MonitoringTaskExecutorProperty_t_initialize(&property);
        property.concurrencyLevel = level;
        property.mutexPool = pool_.data();
        property.initialMemoryManagerSize = options.arenaSize;
        property.wakeUpPeriod = options.period;
        property.gcTaskThreshold = options.gcThreshold;
        const ORX_MonitoringTaskExecutorListener listener{this, &Executor::onTask, &Executor::onAfter};
        self = ORX_MonitoringTaskExecutor_new(&property, &listener, "test executor");
        ORX_MonitoringTaskExecutorProperty_t_finalize(&property);
    }
    ~Executor() {
        stop();
        for (auto* mutex : pool_)
            (void)ORXOsapiSemaphore_delete(mutex);
    }
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    void stop() {
        ORX_MonitoringTaskExecutor_delete(self);
        self = nullptr;
    }

    ORXOsapiSemaphore* mutex(ORX_UINT32 index) { return pool_[index]; }

    // Set before the task is posted.
    void whenRun(int id, std::function<int()> action) {
        std::lock_guard lock{recordMutex_};
        actions_[id] = std::move(action);
    }

    // Both take the mutex of the index, as an application thread does.
    bool post(ORX_UINT32 index, int id) { return postWith(index, id, ORX_MonitoringTaskExecutor_postTask); }
    bool postAll(ORX_UINT32 index, int id) {
        return postWith(index, id, ORX_MonitoringTaskExecutor_postTaskAllQueues);
    }

    std::vector<int> runIds() const {
        std::lock_guard lock{recordMutex_};
        return ran_;
    }
    int freedTimes(int id) const {
        std::lock_guard lock{recordMutex_};
        auto found = freed_.find(id);
        return found != freed_.end() ? found->second : 0;
    }
    int ranTimes(int id) const {
        std::lock_guard lock{recordMutex_};
        int times = 0;
        for (int each : ran_)
            times += each == id;
        return times;
    }

    // A post that parks the worker until the gate is opened. Returns once it is parked.
    bool park(Gate& gate, int id, ORX_UINT32 index = 0) {
        whenRun(id, [held = gate]() mutable { return held.pass() ? 1 : 0; });
        return post(index, id) && gate.isReached();
    }
    // What the worker does once the executor has been told to stop.
    int waitForStop() {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (std::atomic_ref(self->status).load() != ORX_MONITORING_EXECUTOR_THREAD_STOPPED) {
            if (std::chrono::steady_clock::now() > end)
                return 0;
            std::this_thread::yield();
        }
        return 1;
    }

    int queueSize(ORX_UINT32 index) {
        (void)ORXOsapiSemaphore_take(mutex(index), nullptr);
        const int size = REDAInlineList_getSize(&self->queues[index].tasks);
        (void)ORXOsapiSemaphore_give(mutex(index));
        return size;
    }
    ORX_UINT32 liveBuffers(ORX_UINT32 index) {
        REDAInlineMemoryInfo info{};
        (void)ORXOsapiSemaphore_take(mutex(index), nullptr);
        REDAInlineMemory_getInfo(self->queues[index].memoryManager, &info);
        (void)ORXOsapiSemaphore_give(mutex(index));
        return info.liveBuffers;
    }

    ORX_MonitoringTaskExecutor* self = nullptr;
    const ORX_UINT32 level;
    Counter begun;
    Counter ran; // and done with
    Counter batches;
    bool postedFlag = false; // of the last post; single-threaded tests only
    // On the worker, under the mutex of the queue; set before the first post.
    std::function<void(int id)> onFreed;

    Payload* newPayload(ORX_UINT32 index, int id) {
        auto** arena = ORX_MonitoringTaskExecutor_getMemoryManager(self, index);
        void* memory = REDAInlineMemory_reserveBufferI(arena, sizeof(Payload), 1);
        return memory != nullptr ? new (memory) Payload{this, id} : nullptr;
    }
    static int deletePayload(void* memory) {
        auto* payload = static_cast<Payload*>(memory);
        if (payload->owner->onFreed)
            payload->owner->onFreed(payload->id);
        {
            std::lock_guard lock{payload->owner->recordMutex_};
            ++payload->owner->freed_[payload->id];
        }
        return REDAInlineMemBuffer_release(memory);
    }

private:
    template <typename Post> bool postWith(ORX_UINT32 index, int id, Post postFunction) {
        (void)ORXOsapiSemaphore_take(mutex(index), nullptr);
        Payload* payload = newPayload(index, id);
        int posted = 0;
        const bool result = payload != nullptr && postFunction(self, &posted, index, payload, &deletePayload);
        if (!posted && payload != nullptr)
            (void)REDAInlineMemBuffer_release(payload);
        (void)ORXOsapiSemaphore_give(mutex(index));
        if (trackFlag)
            postedFlag = posted != 0;
        return result;
    }

    static int onTask(void* userData, const ORX_MonitoringTaskExecutorTask* task) {
        auto& executor = *static_cast<Executor*>(userData);
        const int id = static_cast<const Payload*>(task->payload)->id;
        std::function<int()> action;
        {
            std::lock_guard lock{executor.recordMutex_};
            executor.ran_.push_back(id);
            auto found = executor.actions_.find(id);
            if (found != executor.actions_.end())
                action = found->second;
        }
        executor.begun.add();
        const int result = action ? action() : 1;
        executor.ran.add();
        return result;
    }
    static void onAfter(void* userData) { static_cast<Executor*>(userData)->batches.add(); }

    std::vector<ORXOsapiSemaphore*> pool_;
    mutable std::mutex recordMutex_;
    std::map<int, std::function<int()>> actions_;
    std::vector<int> ran_;
    std::map<int, int> freed_;

public:
    bool trackFlag = false;
};

#endif
