#include "tail/Session.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <set>

#include "reading/Joining.hpp"
#include "zddsc/conditions.h"
#include "zddsc/entities.h"

namespace tail {

namespace {

constexpr int topicCount = 3;
constexpr int eventTopic = 0;
struct Topic {
    reading::MonitoringTopic published;
    const char* shown;
};
constexpr std::array<Topic, topicCount> topics{{
    {{"DCPSEventStatusMonitoring", "dds::monitoring::Event", DDS_Monitoring_EventTypeSupport_register_type},
        "event"},
    {{"DCPSPeriodicStatusMonitoring", "dds::monitoring::Periodic",
         DDS_Monitoring_PeriodicTypeSupport_register_type},
        "periodic"},
    {{"DCPSLoggingStatusMonitoring", "dds::monitoring::Logging",
         DDS_Monitoring_LoggingTypeSupport_register_type},
        "logging"},
}};
constexpr DDS_Long samplesPerTake = 256;
constexpr DDS_Long cachedSamples = 16'384; // of each topic: a flood is dropped and not stored without bound

std::int64_t nanosecondsOf(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

// Takes what a reader holds, in loans of bounded size.
template <typename Seq, typename Take, typename Return, typename Handle>
void takeAll(Take take, Return returnLoan, Handle handle) {
    for (;;) {
        Seq samples{};
        DDS_SampleInfoSeq infos{};
        if (take(&samples, &infos) != DDS_RETCODE_OK)
            return;
        handle(samples, infos);
        returnLoan(&samples, &infos);
    }
}

} // namespace

struct Session::Entities {
    DDS_DomainParticipantFactory* factory = nullptr;
    DDS_DomainParticipant* participant = nullptr;
    DDS_Subscriber* subscriber = nullptr;
    std::array<DDS_DataReader*, topicCount> readers{};
    DDS_WaitSet* waitset = nullptr;
    std::set<Guid> writers; // of the event topic, matched now

    ~Entities() {
        if (waitset != nullptr)
            DDS_WaitSet_delete(waitset);
        if (participant == nullptr)
            return;
        DDS_DomainParticipant_delete_contained_entities(participant);
        DDS_DomainParticipantFactory_delete_participant(factory, participant);
    }
};

Session::Session(Interpreter& interpreter)
    : interpreter_(interpreter), entities_(std::make_unique<Entities>()) {}
Session::~Session() = default;

std::unique_ptr<Session> Session::open(const Options& options, Interpreter& interpreter, std::string& error) {
    std::unique_ptr<Session> session(new Session(interpreter));
    if (!session->create(options, error))
        session.reset();
    return session;
}

bool Session::create(const Options& options, std::string& error) {
    Entities& entities = *entities_;
    entities.factory = DDS_DomainParticipantFactory_get_instance();
    reading::ParticipantQos qos;
    if (!reading::fillParticipantQos(qos, options.peers, error))
        return false;
    entities.participant = DDS_DomainParticipantFactory_create_participant(
        entities.factory, options.domain, &qos.value, nullptr, DDS_STATUS_MASK_NONE);
    if (entities.participant == nullptr) {
        error = "cannot join domain " + std::to_string(options.domain);
        return false;
    }
    reading::SubscriberQos subscriberQos;
    entities.subscriber = DDS_DomainParticipant_create_subscriber(
        entities.participant, &subscriberQos.value, nullptr, DDS_STATUS_MASK_NONE);
    entities.waitset = DDS_WaitSet_new();
    if (entities.subscriber == nullptr || entities.waitset == nullptr) {
        error = "cannot create a subscriber";
        return false;
    }
    for (int topic = 0; topic < topicCount; ++topic) {
        if (!createReader(topic, error))
            return false;
    }
    return true;
}

bool Session::createReader(int topic, std::string& error) {
    Entities& entities = *entities_;
    const reading::MonitoringTopic& published = topics[static_cast<std::size_t>(topic)].published;
    error = std::string("cannot read ") + published.name;
    DDS_DataReader* reader =
        reading::createMonitoringReader(entities.participant, entities.subscriber, published, cachedSamples);
    if (reader == nullptr)
        return false;
    entities.readers[static_cast<std::size_t>(topic)] = reader;
    DDS_StatusCondition* condition = DDS_Entity_get_statuscondition(DDS_DataReader_as_entity(reader));
    DDS_StatusCondition_set_enabled_statuses(
        condition, DDS_DATA_AVAILABLE_STATUS | DDS_SUBSCRIPTION_MATCHED_STATUS);
    return DDS_WaitSet_attach_condition(entities.waitset, DDS_StatusCondition_as_condition(condition)) ==
           DDS_RETCODE_OK;
}

void Session::run(const std::atomic<bool>& stop, std::int64_t deadlineNs) {
    constexpr std::int64_t step = 100'000'000; // how soon an interrupt is noticed
    while (!stop.load(std::memory_order_relaxed)) {
        std::int64_t wait = step;
        if (deadlineNs >= 0) {
            const std::int64_t left = deadlineNs - nanosecondsOf(CLOCK_MONOTONIC);
            if (left <= 0)
                return;
            wait = std::min(wait, left);
        }
        const DDS_Duration_t timeout{0, static_cast<DDS_UnsignedLong>(wait)};
        DDS_ConditionSeq active{};
        DDS_WaitSet_wait(entities_->waitset, &active, &timeout);
        DDS_ConditionSeq_finalize(&active);
        interpreter_.tick(nanosecondsOf(CLOCK_MONOTONIC));
        // What they wrote before they left is in the caches by now, and is told before their end.
        const std::vector<Guid> left = writersThatLeft();
        drain();
        for (const Guid& writer : left)
            interpreter_.writerLeft(writer, nanosecondsOf(CLOCK_REALTIME));
    }
}

void Session::drain() {
    const auto& readers = entities_->readers;
    const auto each = [](auto& samples, auto& infos, auto get, auto handle) {
        for (DDS_Long i = 0; i < DDS_SampleInfoSeq_get_length(&infos); ++i) {
            const DDS_SampleInfo* info = DDS_SampleInfoSeq_get_reference(&infos, i);
            if (info->valid_data != 0)
                handle(*get(&samples, i), *info);
        }
    };
    auto* events = DDS_Monitoring_EventDataReader_narrow(readers[0]);
    takeAll<DDS_Monitoring_EventSeq>(
        [&](auto* samples, auto* infos) {
            return DDS_Monitoring_EventDataReader_take(events, samples, infos, samplesPerTake,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
        },
        [&](auto* samples, auto* infos) {
            DDS_Monitoring_EventDataReader_return_loan(events, samples, infos);
        },
        [&](auto& samples, auto& infos) {
            each(samples, infos, DDS_Monitoring_EventSeq_get_reference,
                [&](const auto& sample, const auto& info) { interpreter_.event(sample, info); });
        });
    auto* periodics = DDS_Monitoring_PeriodicDataReader_narrow(readers[1]);
    takeAll<DDS_Monitoring_PeriodicSeq>(
        [&](auto* samples, auto* infos) {
            return DDS_Monitoring_PeriodicDataReader_take(periodics, samples, infos, samplesPerTake,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
        },
        [&](auto* samples, auto* infos) {
            DDS_Monitoring_PeriodicDataReader_return_loan(periodics, samples, infos);
        },
        [&](auto& samples, auto& infos) {
            each(samples, infos, DDS_Monitoring_PeriodicSeq_get_reference,
                [&](const auto& sample, const auto& info) { interpreter_.periodic(sample, info); });
        });
    auto* logs = DDS_Monitoring_LoggingDataReader_narrow(readers[2]);
    takeAll<DDS_Monitoring_LoggingSeq>(
        [&](auto* samples, auto* infos) {
            return DDS_Monitoring_LoggingDataReader_take(logs, samples, infos, samplesPerTake,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
        },
        [&](auto* samples, auto* infos) {
            DDS_Monitoring_LoggingDataReader_return_loan(logs, samples, infos);
        },
        [&](auto& samples, auto& infos) {
            each(samples, infos, DDS_Monitoring_LoggingSeq_get_reference,
                [&](const auto& sample, const auto& info) { interpreter_.logging(sample, info); });
        });
    const std::int64_t now = nanosecondsOf(CLOCK_REALTIME);
    for (std::size_t topic = 0; topic < readers.size(); ++topic) {
        DDS_DataReaderCountersI counters{};
        DDS_DataReader_get_countersI(readers[topic], &counters);
        interpreter_.undecodable(topics[topic].shown, counters.dropped_decoding, now);
        interpreter_.notCached(topics[topic].shown, counters.dropped_cache_full + counters.dropped_no_memory);
    }
}

std::vector<Guid> Session::writersThatLeft() {
    std::vector<Guid> left;
    DDS_DataReader* reader = entities_->readers[eventTopic];
    DDS_SubscriptionMatchedStatus status{};
    DDS_DataReader_get_subscription_matched_status(reader, &status); // reading it resets the trigger
    DDS_InstanceHandleSeq handles{};
    if (DDS_DataReader_get_matched_publications(reader, &handles) == DDS_RETCODE_OK) {
        std::set<Guid> matched;
        for (DDS_Long i = 0; i < DDS_InstanceHandleSeq_get_length(&handles); ++i) {
            Guid guid;
            std::memcpy(guid.data(), DDS_InstanceHandleSeq_get_reference(&handles, i)->keyHash, guid.size());
            matched.insert(guid);
        }
        for (const Guid& writer : entities_->writers) {
            if (!matched.contains(writer))
                left.push_back(writer);
        }
        entities_->writers = std::move(matched);
    }
    DDS_InstanceHandleSeq_finalize(&handles);
    for (std::size_t topic = 1; topic < topics.size(); ++topic) {
        DDS_DataReader_get_subscription_matched_status(entities_->readers[topic], &status);
    }
    return left;
}

} // namespace tail
