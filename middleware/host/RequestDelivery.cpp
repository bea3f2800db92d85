#include "middleware/host/RequestDelivery.hpp"

#include <new>

#include "middleware/log/DdsLog.hpp"

namespace zdds::host {
namespace {

constexpr DDS_Long commandService = 4;
constexpr DDS_Long replyService = 5;
constexpr DDS_Long samplesAtOnce = 64;

} // namespace

RequestDelivery& requestDelivery() {
    alignas(RequestDelivery) static unsigned char place[sizeof(RequestDelivery)];
    static RequestDelivery* const delivery = new (place) RequestDelivery;
    return *delivery;
}

bool RequestDelivery::start() {
    Guard guard(mutex_);
    isStopping_ = false;
    return thread_.start(
        "oZddsRequest", "thread of the service requests",
        [](void* self) -> void* {
            static_cast<RequestDelivery*>(self)->work();
            return nullptr;
        },
        this);
}

void RequestDelivery::attach(DDS_DomainParticipantImpl& participant, ORX_MonitoringClass& monitoringClass) {
    {
        Guard guard(mutex_);
        participant_ = &participant;
        monitoringClass_ = &monitoringClass;
        hasArrivals_ = true;
        changed_.wakeAll();
    }
    participant.serviceRequests->observe(this);
}

bool RequestDelivery::stop() {
    Guard guard(mutex_);
    DDS_DomainParticipantImpl* participant = participant_;
    isStopping_ = true;
    changed_.wakeAll();
    guard.release();
    // Not under the mutex, which the observer's functions take.
    if (participant != nullptr)
        participant->serviceRequests->observe(nullptr);
    if (!thread_.join("thread of the service requests"))
        return false;
    guard.take();
    participant_ = nullptr;
    monitoringClass_ = nullptr;
    intake_.clear();
    return true;
}

ORX_MonitoringHostRequestCounters RequestDelivery::counters() const {
    Guard guard(mutex_);
    return intake_.counters();
}

void RequestDelivery::onArrival() {
    Guard guard(mutex_);
    hasArrivals_ = true;
    changed_.wakeAll();
}

void RequestDelivery::onSent(const DDS_ServiceRequest& sample) {
    if (sample.service_id != replyService)
        return;
    Guard guard(mutex_);
    intake_.answered(sample.instance_id);
    changed_.wakeAll();
}

void RequestDelivery::work() {
    Guard guard(mutex_);
    while (!isStopping_) {
        if (participant_ == nullptr) {
            changed_.wait(mutex_);
            continue;
        }
        if (hasArrivals_) {
            hasArrivals_ = false;
            guard.release();
            takeArrivals();
            guard.take();
        }
        Deadline again;
        HeldRequest* request = intake_.next(Deadline::now(), &again.ns);
        if (request == nullptr) {
            if (!hasArrivals_ && !isStopping_)
                changed_.wait(mutex_, again);
            continue;
        }
        guard.release();
        deliver(*request);
        guard.take();
    }
}

// Everything that is there, so that the reader's room is for what comes. What is no command is nobody's.
void RequestDelivery::takeArrivals() {
    DDS_ServiceRequestDataReader* reader =
        DDS_ServiceRequestDataReader_narrow(&participant_->serviceRequests->reader());
    DDS_ServiceRequestSeq samples{};
    DDS_SampleInfoSeq infos{};
    while (DDS_ServiceRequestDataReader_take(reader, &samples, &infos, samplesAtOnce, DDS_ANY_SAMPLE_STATE,
               DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) == DDS_RETCODE_OK) {
        const DDS_Long length = DDS_ServiceRequestSeq_get_length(&samples);
        for (DDS_Long i = 0; i < length; ++i) {
            const DDS_ServiceRequest& sample = *DDS_ServiceRequestSeq_get_reference(&samples, i);
            if (sample.service_id != commandService)
                continue;
            Guard guard(mutex_);
            intake_.add(sample, *DDS_SampleInfoSeq_get_reference(&infos, i), Deadline::now());
        }
        DDS_ServiceRequestDataReader_return_loan(reader, &samples, &infos);
    }
}

void RequestDelivery::deliver(HeldRequest& request) {
    bool isTaken = false;
    if (DDS_Entity_lock(participant_) == DDS_RETCODE_OK) {
        isTaken = monitoringClass_->dispatchCommandFunction(monitoringClass_, &request.sample, &request.info);
        DDS_Entity_unlock(participant_);
    }
    if (!isTaken) {
        Guard guard(mutex_);
        intake_.notTaken(request);
    }
    HeldRequest::destroy(&request);
}

} // namespace zdds::host

void ORX_MonitoringHost_get_request_countersI(ORX_MonitoringHostRequestCounters* counters) {
    ZDDS_REQUIRE(counters != nullptr);
    *counters = zdds::host::requestDelivery().counters();
}
