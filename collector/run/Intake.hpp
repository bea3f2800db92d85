// Takes the samples of the three topics from their readers and feeds model and log messages, on a thread of
// its own.
//
// Ownership: readers, model and log intake outlive it. Loans and conditions are given back by stop, before
// the readers go. Threads: start and stop by the owner, counters by any.
#ifndef COLLECTOR_RUN_INTAKE_HPP
#define COLLECTOR_RUN_INTAKE_HPP

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "collector/model/Model.hpp"
#include "collector/run/LogIntake.hpp"
#include "zddsc/conditions.h"
#include "zddsc/entities.h"

namespace collector::run {

class Intake {
public:
    struct Readers {
        DDS_DataReader* event = nullptr;
        DDS_DataReader* periodic = nullptr;
        DDS_DataReader* logging = nullptr;
    };
    Intake(Model& model, LogIntake& logs) : model_(model), logs_(logs) {}
    ~Intake() { stop(); }
    Intake(const Intake&) = delete;
    Intake& operator=(const Intake&) = delete;

    bool start(const Readers& readers, std::string& error);
    void stop();

    struct TopicLosses {
        const char* topic;
        std::uint64_t notCached; // came faster than they were taken
        std::uint64_t failed;    // were taken, but not taken over, for lack of memory
    };
    std::array<TopicLosses, 3> losses() const;
    // Both kinds, of the topic that tells of the tree.
    std::uint64_t eventLosses() const;

private:
    bool attach(std::size_t topic);
    void run();
    void takeEvents();
    void takePeriodics();
    void takeLogs();
    void detach();

    std::uint64_t notCachedOf(std::size_t topic) const;

    Model& model_;
    LogIntake& logs_;
    // Of what follows, when it changes: whoever asks for losses may come when the readers are about to go.
    // The thread takes from them without it, since they change before it begins and after it has ended.
    mutable std::mutex lossesLock_;
    std::array<DDS_DataReader*, 3> readers_{}; // in the order of the topics; null where nothing is taken
    std::array<std::uint64_t, 3> lastNotCached_{};
    DDS_WaitSet* waitSet_ = nullptr;
    DDS_GuardCondition* stopped_ = nullptr;
    std::array<DDS_ReadCondition*, 3> conditions_{};
    std::atomic<bool> isStopped_{false};
    std::array<std::atomic<std::uint64_t>, 3> failed_{};
    std::thread thread_;
};

} // namespace collector::run

#endif
