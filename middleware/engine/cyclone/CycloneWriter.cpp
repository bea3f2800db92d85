#include "middleware/engine/cyclone/CycloneEndpoint.hpp"

#include <chrono>

#include <chrono>

#include "middleware/engine/cyclone/CycloneQos.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

namespace {

ZddsCycloneKind kindOf(SampleKind kind) {
    switch (kind) {
    case SampleKind::data:
        return ZDDS_CYCLONE_DATA;
    case SampleKind::dispose:
        return ZDDS_CYCLONE_DISPOSE;
    case SampleKind::unregister:
        return ZDDS_CYCLONE_UNREGISTER;
    }
    return ZDDS_CYCLONE_DATA;
}

bool failed(dds_entity_t entity, const char* what, const char* topicName) {
    if (entity > 0)
        return false;
    ZDDS_LOG_ERROR(FAILED_TO_CREATE, "%s of topic '%s': %s", what, topicName, dds_strretcode(entity));
    return true;
}

} // namespace

CycloneWriter::~CycloneWriter() {
    // Returns when no callback runs any more; a reliable writer lingers for what is unacknowledged, a second
    // at most.
    if (writer_ > 0)
        dds_delete(writer_);
    if (publisher_ > 0)
        dds_delete(publisher_);
}

bool CycloneWriter::create(dds_entity_t participant, const TopicInfo& topic, const DDS_DataWriterQos& qos,
    std::span<const char* const> partitions) {
    if (!topic_.create(participant, topic))
        return false;
    reliable_ = qos.reliability.kind == DDS_RELIABLE_RELIABILITY_QOS;
    publisher_ = dds_create_publisher(participant, partitionQos(partitions).get(), nullptr);
    if (failed(publisher_, "publisher", topic.topicName))
        return false;
    const ListenerPointer listener{dds_create_listener(this)};
    dds_lset_publication_matched(listener.get(), onPublicationMatched);
    writer_ = dds_create_writer(publisher_, topic_.entity(), writerQos(qos).get(), listener.get());
    if (failed(writer_, "writer", topic.topicName))
        return false;
    guid_ = guidOf(writer_);
    if (!ZddsCyclone_findEndpoint(&endpoint_, ZDDS_CYCLONE_WRITER, writer_, topic_.type(), guid_.value)) {
        ZDDS_LOG_ERROR(FAILED_TO_FIND, "record of the writer of topic '%s'", topic.topicName);
        return false;
    }
    matches_.attach(endpoint_);
    return true;
}

void CycloneWriter::onPublicationMatched(
    dds_entity_t, const dds_publication_matched_status_t status, void* self) {
    auto& matches = static_cast<CycloneWriter*>(self)->matches_;
    if (status.current_count_change > 0)
        matches.onMatched(status.last_subscription_handle);
    else
        matches.onUnmatched(status.last_subscription_handle);
}

Status CycloneWriter::write(
    std::span<const uint8_t> bytes, SampleKind kind, int64_t sourceTimeNs, int64_t* sequenceNumber) {
    if (!topic_.accepts(bytes, kind))
        return Status::badParameter;
    const int64_t time = sourceTimeNs == now ? dds_time() : sourceTimeNs;
    std::lock_guard lock(writeMutex_);
    int64_t number = 0;
    const int32_t result =
        ZddsCyclone_write(&endpoint_, topic_.type(), bytes.data(), bytes.size(), kindOf(kind), time, &number);
    if (result == code::ok && sequenceNumber != nullptr)
        *sequenceNumber = number;
    return statusOf(result);
}

Status CycloneWriter::waitForAcknowledgments(int64_t timeoutNs) {
    if (!reliable_)
        return Status::ok; // nobody acknowledges
    return statusOf(dds_wait_for_acks(writer_, timeoutNs == infinite ? DDS_INFINITY : timeoutNs));
}

// The library tells when all of the readers have acknowledged, and is asked about the one in between: other
// readers may never do.
Status CycloneWriter::waitForAcknowledgmentOf(
    const DDS_GUID_t& participant, int64_t sequenceNumber, int64_t timeoutNs) {
    constexpr int64_t longestWait = 10'000'000;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    for (;;) {
        const int64_t acknowledged = ZddsCyclone_acknowledgedBy(&endpoint_, participant.value);
        if (acknowledged < 0)
            return Status::notMatched;
        if (acknowledged >= sequenceNumber)
            return Status::ok;
        const int64_t passed = std::chrono::nanoseconds(Clock::now() - start).count();
        const int64_t left = timeoutNs == infinite ? longestWait : timeoutNs - passed;
        if (left <= 0)
            return Status::timeout;
        const dds_return_t waited = dds_wait_for_acks(writer_, left < longestWait ? left : longestWait);
        if (waited != code::ok && waited != code::timeout)
            return statusOf(waited);
    }
}

} // namespace zdds::engine
