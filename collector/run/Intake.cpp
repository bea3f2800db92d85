#include "collector/run/Intake.hpp"

#include <pthread.h>

#include <new>

namespace collector::run {

namespace {

constexpr DDS_Long samplesPerTake = 256;
constexpr std::array<const char*, 3> topics{"event", "periodic", "logging"};
constexpr std::size_t eventTopic = 0, periodicTopic = 1, loggingTopic = 2;

// Takes what a reader holds now, in loans of bounded size, and hands on what is valid.
template <typename Sequence, auto take, auto getReference, auto returnLoan, typename Reader, typename Handle>
void takeAll(
    Reader* reader, std::atomic<std::uint64_t>& failed, const std::atomic<bool>& isStopped, Handle handle) {
    while (!isStopped.load(std::memory_order_relaxed)) {
        Sequence samples{};
        DDS_SampleInfoSeq infos{};
        if (take(reader, &samples, &infos, samplesPerTake, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE,
                DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return;
        for (DDS_Long i = 0; i < DDS_SampleInfoSeq_get_length(&infos); ++i) {
            const DDS_SampleInfo* const info = DDS_SampleInfoSeq_get_reference(&infos, i);
            try {
                if (info->valid_data != 0)
                    handle(*getReference(&samples, i), *info);
            } catch (const std::bad_alloc&) {
                failed.fetch_add(1, std::memory_order_relaxed);
            }
        }
        returnLoan(reader, &samples, &infos);
    }
}

} // namespace

bool Intake::attach(std::size_t topic) {
    if (readers_[topic] == nullptr)
        return true;
    DDS_ReadCondition*& condition = conditions_[topic];
    condition = DDS_DataReader_create_readcondition(
        readers_[topic], DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    return condition != nullptr && DDS_WaitSet_attach_condition(
                                       waitSet_, DDS_ReadCondition_as_condition(condition)) == DDS_RETCODE_OK;
}

bool Intake::start(const Readers& readers, std::string& error) {
    {
        const std::lock_guard lock(lossesLock_);
        readers_ = {readers.event, readers.periodic, readers.logging};
    }
    waitSet_ = DDS_WaitSet_new();
    stopped_ = DDS_GuardCondition_new();
    if (waitSet_ == nullptr || stopped_ == nullptr ||
        DDS_WaitSet_attach_condition(waitSet_, DDS_GuardCondition_as_condition(stopped_)) != DDS_RETCODE_OK ||
        !attach(eventTopic) || !attach(periodicTopic) || !attach(loggingTopic)) {
        error = "cannot wait for samples";
        detach();
        return false;
    }
    thread_ = std::thread([this] { run(); });
    pthread_setname_np(thread_.native_handle(), "orx-intake");
    return true;
}

void Intake::run() {
    while (!isStopped_.load(std::memory_order_relaxed)) {
        DDS_ConditionSeq active{};
        const DDS_Duration_t timeout{1, 0};
        DDS_WaitSet_wait(waitSet_, &active, &timeout);
        DDS_ConditionSeq_finalize(&active);
        // The tree before the values and the messages.
        takeEvents();
        takePeriodics();
        takeLogs();
    }
}

void Intake::takeEvents() {
    takeAll<DDS_Monitoring_EventSeq, DDS_Monitoring_EventDataReader_take,
        DDS_Monitoring_EventSeq_get_reference, DDS_Monitoring_EventDataReader_return_loan>(
        DDS_Monitoring_EventDataReader_narrow(readers_[eventTopic]), failed_[eventTopic], isStopped_,
        [this](const auto& sample, const auto& info) { model_.event(sample, info); });
}

void Intake::takePeriodics() {
    takeAll<DDS_Monitoring_PeriodicSeq, DDS_Monitoring_PeriodicDataReader_take,
        DDS_Monitoring_PeriodicSeq_get_reference, DDS_Monitoring_PeriodicDataReader_return_loan>(
        DDS_Monitoring_PeriodicDataReader_narrow(readers_[periodicTopic]), failed_[periodicTopic], isStopped_,
        [this](const auto& sample, const auto& info) { model_.periodic(sample, info); });
}

void Intake::takeLogs() {
    if (readers_[loggingTopic] == nullptr)
        return;
    takeAll<DDS_Monitoring_LoggingSeq, DDS_Monitoring_LoggingDataReader_take,
        DDS_Monitoring_LoggingSeq_get_reference, DDS_Monitoring_LoggingDataReader_return_loan>(
        DDS_Monitoring_LoggingDataReader_narrow(readers_[loggingTopic]), failed_[loggingTopic], isStopped_,
        [this](const auto& sample, const auto& info) { logs_.take(sample, info); });
}

void Intake::stop() {
    isStopped_.store(true);
    if (thread_.joinable()) {
        DDS_GuardCondition_set_trigger_value(stopped_, DDS_BOOLEAN_TRUE);
        thread_.join();
    }
    detach();
}

void Intake::detach() {
    if (waitSet_ != nullptr)
        DDS_WaitSet_delete(waitSet_); // detaches its conditions
    waitSet_ = nullptr;
    if (stopped_ != nullptr)
        DDS_GuardCondition_delete(stopped_);
    stopped_ = nullptr;
    const std::lock_guard lock(lossesLock_);
    for (std::size_t i = 0; i < readers_.size(); ++i) {
        if (conditions_[i] != nullptr)
            DDS_DataReader_delete_readcondition(readers_[i], conditions_[i]);
        conditions_[i] = nullptr;
        lastNotCached_[i] = notCachedOf(i);
        readers_[i] = nullptr;
    }
}

std::uint64_t Intake::notCachedOf(std::size_t topic) const {
    if (readers_[topic] == nullptr)
        return lastNotCached_[topic];
    DDS_DataReaderCountersI counters{};
    DDS_DataReader_get_countersI(readers_[topic], &counters);
    return counters.dropped_cache_full + counters.dropped_no_memory;
}

std::array<Intake::TopicLosses, 3> Intake::losses() const {
    const std::lock_guard lock(lossesLock_);
    std::array<TopicLosses, 3> losses{};
    for (std::size_t i = 0; i < losses.size(); ++i)
        losses[i] = {topics[i], notCachedOf(i), failed_[i].load(std::memory_order_relaxed)};
    return losses;
}

std::uint64_t Intake::eventLosses() const {
    const TopicLosses events = losses()[eventTopic];
    return events.notCached + events.failed;
}

} // namespace collector::run
