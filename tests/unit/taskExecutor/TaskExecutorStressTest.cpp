// Producers on every path at once, against the worker and against its end. Meant for the thread sanitizer.
#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include "src/taskExecutor/TaskExecutor.h"
#include "tests/helpers/Wait.hpp"
#include "zddscore/heap.h"
#include "gtest/gtest.h"

namespace {

constexpr ORX_UINT32 level = 4;
constexpr int producers = 8;
constexpr int stride = 4; // every fourth task of a producer is for all queues
constexpr int filler = -1;

class Stress {
public:
    struct Record {
        std::atomic<int> ran{0};
        std::atomic<int> freed{0};
    };

    Stress(int tasksPerProducer, DDS_Duration_t period, ORX_UINT32 threshold)
        : tasks_{tasksPerProducer}, records_(static_cast<size_t>(tasksPerProducer * producers)) {
        for (auto& mutex : pool_)
            mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
        ORX_MonitoringTaskExecutorProperty_t property;
        ORX_MonitoringTaskExecutorProperty_t_initialize(&property);
        property.concurrencyLevel = level;
        property.mutexPool = pool_;
        property.initialMemoryManagerSize = 512;
        property.wakeUpPeriod = period;
        property.gcTaskThreshold = threshold;
        const ORX_MonitoringTaskExecutorListener listener{this, &Stress::onTask, nullptr};
        executor_ = ORX_MonitoringTaskExecutor_new(&property, &listener, "stress");
        ORX_MonitoringTaskExecutorProperty_t_finalize(&property);
    }
    ~Stress() {
        stop();
        for (auto& mutex : pool_)
            (void)ORXOsapiSemaphore_delete(mutex);
    }
    Stress(const Stress&) = delete;
    Stress& operator=(const Stress&) = delete;

    void startProducers() {
        for (int producer = 0; producer < producers; ++producer) {
            threads_.emplace_back([this, producer] { produce(producer); });
        }
    }
    void joinProducers() {
        for (auto& thread : threads_)
            thread.join();
        threads_.clear();
    }
    void stopProducers() { stopProducing_ = true; }
    void stop() {
        ORX_MonitoringTaskExecutor_delete(executor_);
        executor_ = nullptr;
    }

    bool waitUntil(bool (*reached)(const Stress&)) const {
        const auto end = std::chrono::steady_clock::now() + 2 * waitBound;
        while (!reached(*this)) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::yield();
        }
        return true;
    }
    // Goes on posting until whatever was left over by the collections has been collected.
    bool collectTheRest() {
        const auto end = std::chrono::steady_clock::now() + 2 * waitBound;
        while (!allFreed()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            for (ORX_UINT32 index = 0; index < level; ++index)
                post(index, filler, 0, false);
            std::this_thread::yield();
        }
        return true;
    }

    int produced() const { return produced_; }
    int ran() const { return total_; }
    int overtaken() const { return overtaken_; }
    const std::vector<Record>& records() const { return records_; }

private:
    struct Payload {
        Stress* stress;
        int producer;
        int sequence; // among the producer's tasks
        bool isForAll;
    };

    Record& record(const Payload& payload) {
        return records_[static_cast<size_t>(payload.producer * tasks_ + payload.sequence)];
    }

    static int deletePayload(void* memory) {
        auto* payload = static_cast<Payload*>(memory);
        if (payload->producer != filler)
            payload->stress->record(*payload).freed++;
        return REDAInlineMemBuffer_release(memory);
    }

    // On the worker. What a producer posted to all queues runs before whatever it posts later, wherever.
    static int onTask(void* userData, const ORX_MonitoringTaskExecutorTask* task) {
        auto& self = *static_cast<Stress*>(userData);
        const auto& payload = *static_cast<const Payload*>(task->payload);
        if (payload.producer == filler)
            return 1;
        self.record(payload).ran++;
        int& lastForAll = self.lastForAll_[payload.producer];
        const int expected = payload.sequence / stride * stride - (payload.isForAll ? stride : 0);
        if (payload.isForAll ? lastForAll != expected : lastForAll < expected)
            ++self.overtaken_;
        if (payload.isForAll)
            lastForAll = payload.sequence;
        ++self.total_;
        return 1;
    }

    void post(ORX_UINT32 index, int producer, int sequence, bool isForAll) {
        ASSERT_EQ(ORXOsapiSemaphore_take(pool_[index], nullptr), ORX_OSAPI_SEMAPHORE_STATUS_OK);
        auto** arena = ORX_MonitoringTaskExecutor_getMemoryManager(executor_, index);
        void* memory = REDAInlineMemory_reserveBufferI(arena, sizeof(Payload), 1);
        ASSERT_NE(memory, nullptr);
        new (memory) Payload{this, producer, sequence, isForAll};
        const auto function =
            isForAll ? ORX_MonitoringTaskExecutor_postTaskAllQueues : ORX_MonitoringTaskExecutor_postTask;
        int posted = 0;
        EXPECT_TRUE(function(executor_, &posted, index, memory, &deletePayload));
        EXPECT_TRUE(posted);
        ASSERT_EQ(ORXOsapiSemaphore_give(pool_[index]), ORX_OSAPI_SEMAPHORE_STATUS_OK);
    }

    void produce(int producer) {
        std::minstd_rand random{static_cast<unsigned>(producer) + 1};
        for (int sequence = 0; sequence < tasks_ && !stopProducing_; ++sequence) {
            post(static_cast<ORX_UINT32>(random()) % level, producer, sequence, sequence % stride == 0);
            ++produced_;
        }
    }

    bool allFreed() const {
        for (const auto& each : records_) {
            if (each.freed == 0)
                return false;
        }
        return true;
    }

    const int tasks_;
    ORXOsapiSemaphore* pool_[level];
    ORX_MonitoringTaskExecutor* executor_ = nullptr;
    std::vector<Record> records_;
    std::vector<std::thread> threads_;
    std::atomic<int> produced_{0};
    std::atomic<int> total_{0};
    std::atomic<int> overtaken_{0};
    std::atomic<bool> stopProducing_{false};
    int lastForAll_[producers] = {-4, -4, -4, -4, -4, -4, -4, -4}; // the worker's
};

void expectEverythingOnce(DDS_Duration_t period, ORX_UINT32 threshold) {
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    {
        Stress stress{2000, period, threshold};
        stress.startProducers();
        stress.joinProducers();
        ASSERT_TRUE(stress.waitUntil([](const Stress& each) { return each.ran() >= each.produced(); }));
        ASSERT_TRUE(stress.collectTheRest());
        for (const auto& record : stress.records()) {
            ASSERT_EQ(record.ran.load(), 1);
            ASSERT_EQ(record.freed.load(), 1);
        }
        EXPECT_EQ(stress.overtaken(), 0);
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

TEST(TaskExecutorStress, EveryTaskRunsOnceAndIsFreedOnce) {
    expectEverythingOnce({0, 0}, 1);
}

TEST(TaskExecutorStress, EveryTaskRunsOnceAndIsFreedOnceWithAPeriod) {
    expectEverythingOnce({0, 200000}, 7);
}

TEST(TaskExecutorStress, AStopInTheMiddleRunsAndFreesNothingTwice) {
    for (int round = 0; round < 20; ++round) {
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        {
            Stress stress{100000, {0, round % 2 == 0 ? 0U : 100000U}, 3};
            stress.startProducers();
            ASSERT_TRUE(stress.waitUntil([](const Stress& each) { return each.ran() >= 500; }));
            stress.stopProducers();
            stress.joinProducers();
            stress.stop(); // the worker is in the middle of what is left
            for (const auto& record : stress.records()) {
                ASSERT_LE(record.ran.load(), 1);
                ASSERT_LE(record.freed.load(), record.ran.load());
            }
            EXPECT_EQ(stress.overtaken(), 0);
        }
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
    }
}

} // namespace
