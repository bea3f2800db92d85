#include "middleware/host/RequestIntake.hpp"

#include <algorithm>

#include "middleware/entities/DirectedWriter.hpp"
#include "middleware/host/RequestKind.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds::host {
namespace {

size_t bytesOf(const HeldRequest& request) {
    return sizeof request + static_cast<size_t>(DDS_OctetSeq_get_length(&request.sample.request_body));
}

DDS_GUID_t senderOf(const DDS_SampleInfo& info) {
    DDS_GUID_t writer;
    DDS_InstanceHandle_to_guid(&info.publication_handle, &writer);
    return participantOf(writer);
}

bool isPacedRequest(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
    if (!info.valid_data)
        return false;
    const auto length = static_cast<size_t>(DDS_OctetSeq_get_length(&sample.request_body));
    return mayRequestRegistry({DDS_OctetSeq_get_contiguous_buffer(&sample.request_body), length});
}

HeldRequest* hold(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
    auto* request = create<HeldRequest>("struct HeldRequest");
    if (request == nullptr)
        return nullptr;
    request->info = info;
    if (DDS_ServiceRequest_copy(&request->sample, &sample))
        return request;
    HeldRequest::destroy(request);
    return nullptr;
}

} // namespace

void HeldRequest::destroy(HeldRequest* request) {
    DDS_ServiceRequest_finalize(&request->sample);
    zdds::destroy(request);
}

void RequestIntake::Queue::push(HeldRequest& request) {
    request.next = nullptr;
    (last != nullptr ? last->next : first) = &request;
    last = &request;
    ++count;
}

HeldRequest* RequestIntake::Queue::pop() {
    HeldRequest* request = first;
    first = request->next;
    if (first == nullptr)
        last = nullptr;
    --count;
    return request;
}

// ---- Senders ----

RequestIntake::Sender* RequestIntake::find(const DDS_GUID_t& participant) const {
    Sender* one = last_;
    for (unsigned i = 0; i < senders_; ++i, one = one->next) {
        if (DDS_GUID_equals(&one->participant, &participant))
            return one;
    }
    return nullptr;
}

RequestIntake::Sender* RequestIntake::findOrMake(const DDS_GUID_t& participant, int64_t nowNs) {
    if (Sender* known = find(participant))
        return known;
    if (senders_ >= limits_.senders && !forgetIdle(nowNs))
        return nullptr;
    auto* sender = create<Sender>("struct RequestIntake::Sender");
    if (sender == nullptr)
        return nullptr;
    sender->participant = participant;
    sender->next = last_ != nullptr ? last_->next : sender;
    (last_ != nullptr ? last_->next : last_) = sender;
    ++senders_;
    return sender;
}

// One whose pace is still in use stays: who comes back under its name must not begin anew.
bool RequestIntake::forgetIdle(int64_t nowNs) {
    Sender* oldest = nullptr;
    Sender* one = last_;
    for (unsigned i = 0; i < senders_; ++i, one = one->next) {
        if (one->isEmpty() && one->paceUsedUntilNs <= nowNs &&
            (oldest == nullptr || one->usedNs < oldest->usedNs))
            oldest = one;
    }
    if (oldest != nullptr)
        unlink(*oldest);
    return oldest != nullptr;
}

void RequestIntake::unlink(Sender& sender) {
    Sender* previous = &sender;
    while (previous->next != &sender)
        previous = previous->next;
    previous->next = sender.next;
    if (last_ == &sender)
        last_ = previous != &sender ? previous : nullptr;
    --senders_;
    destroy(&sender);
}

void RequestIntake::clear() {
    while (last_ != nullptr) {
        for (Queue* queue : {&last_->plain, &last_->paced}) {
            while (queue->count > 0)
                HeldRequest::destroy(queue->pop());
        }
        unlink(*last_);
    }
    bytes_ = 0;
    inFlightCount_ = 0;
    counters_.waiting = counters_.in_flight = 0;
}

// ---- In ----

bool RequestIntake::fits(const Sender& sender, size_t bytes, bool isPaced) {
    if (isPaced && sender.paced.count >= limits_.pacedRequests) {
        ++counters_.refused_pace;
        return false;
    }
    if (sender.plain.count + sender.paced.count >= limits_.requests || sender.bytes + bytes > limits_.bytes ||
        bytes_ + bytes > limits_.allBytes) {
        ++counters_.refused_queue_full;
        return false;
    }
    return true;
}

bool RequestIntake::add(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info, int64_t nowNs) {
    ++counters_.received;
    Sender* sender = findOrMake(senderOf(info), nowNs);
    if (sender == nullptr) {
        ++counters_.refused_senders;
        return false;
    }
    sender->usedNs = nowNs;
    const bool isPaced = isPacedRequest(sample, info);
    const size_t bytes =
        sizeof(HeldRequest) + static_cast<size_t>(DDS_OctetSeq_get_length(&sample.request_body));
    if (!fits(*sender, bytes, isPaced))
        return false;
    HeldRequest* request = hold(sample, info);
    if (request == nullptr) {
        ++counters_.refused_queue_full;
        return false;
    }
    request->arrival = ++arrivals_;
    request->isPaced = isPaced;
    (isPaced ? sender->paced : sender->plain).push(*request);
    sender->bytes += bytes;
    bytes_ += bytes;
    ++counters_.waiting;
    return true;
}

// ---- Out ----

bool RequestIntake::hasRoomInFlight(int64_t nowNs, int64_t* againNs) {
    unsigned overdue = 0;
    while (overdue < inFlightCount_ && nowNs - inFlight_[overdue].sinceNs >= limits_.answerNs)
        ++overdue;
    std::copy(inFlight_.begin() + overdue, inFlight_.begin() + inFlightCount_, inFlight_.begin());
    inFlightCount_ -= overdue;
    counters_.unanswered += overdue;
    counters_.in_flight = inFlightCount_;
    if (inFlightCount_ < std::min(limits_.inFlight, maxInFlight))
        return true;
    *againNs = inFlight_[0].sinceNs + limits_.answerNs;
    return false;
}

int64_t RequestIntake::paceReadyNs(const Sender& sender) const {
    return sender.paceUsedUntilNs - (limits_.burst - 1) * limits_.paceNs;
}

// Of what may go now, what came first.
HeldRequest* RequestIntake::takeFrom(Sender& sender, int64_t nowNs, int64_t* againNs) {
    const int64_t readyNs = paceReadyNs(sender);
    const bool hasPaced = sender.paced.count > 0;
    if (hasPaced && readyNs > nowNs) {
        *againNs = std::min(*againNs, readyNs);
        for (HeldRequest* one = sender.paced.first; one != nullptr; one = one->next) {
            counters_.delayed += one->isDelayed ? 0U : 1U;
            one->isDelayed = true;
        }
    }
    const bool mayGo = hasPaced && readyNs <= nowNs;
    const bool isPacedFirst =
        mayGo && (sender.plain.count == 0 || sender.paced.first->arrival < sender.plain.first->arrival);
    if (!isPacedFirst && sender.plain.count == 0)
        return nullptr;
    HeldRequest* request = (isPacedFirst ? sender.paced : sender.plain).pop();
    if (isPacedFirst)
        sender.paceUsedUntilNs = std::max(sender.paceUsedUntilNs, nowNs) + limits_.paceNs;
    sender.bytes -= bytesOf(*request);
    bytes_ -= bytesOf(*request);
    sender.usedNs = nowNs;
    return request;
}

HeldRequest* RequestIntake::next(int64_t nowNs, int64_t* againNs) {
    *againNs = never;
    if (counters_.waiting == 0 || !hasRoomInFlight(nowNs, againNs))
        return nullptr;
    for (unsigned i = 0; i < senders_; ++i) {
        last_ = last_->next;
        HeldRequest* request = takeFrom(*last_, nowNs, againNs);
        if (request == nullptr)
            continue;
        --counters_.waiting;
        ++counters_.handed_over;
        if (request->info.valid_data)
            inFlight_[inFlightCount_++] = {request->sample.instance_id, request->arrival, nowNs};
        counters_.in_flight = inFlightCount_;
        return request;
    }
    return nullptr;
}

void RequestIntake::notTaken(const HeldRequest& request) {
    const auto end = inFlight_.begin() + inFlightCount_;
    const auto found = std::find_if(
        inFlight_.begin(), end, [&](const InFlight& one) { return one.arrival == request.arrival; });
    if (found == end)
        return;
    std::copy(found + 1, end, found);
    counters_.in_flight = --inFlightCount_;
}

void RequestIntake::answered(const DDS_GUID_t& instance) {
    const auto end = inFlight_.begin() + inFlightCount_;
    const auto found = std::find_if(inFlight_.begin(), end,
        [&](const InFlight& one) { return DDS_GUID_equals(&one.instance, &instance) != 0; });
    if (found == end)
        return;
    std::copy(found + 1, end, inFlight_.begin());
    inFlightCount_ = static_cast<unsigned>(end - (found + 1));
    counters_.in_flight = inFlightCount_;
}

} // namespace zdds::host
