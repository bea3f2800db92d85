#include "middleware/engine/cyclone/CycloneEndpoint.hpp"

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

} // namespace

CycloneWriter::~CycloneWriter() {
    parts_.close(); // while the matches are there to be told of
}

bool CycloneWriter::create(dds_entity_t participant, const TopicInfo& topic, const DDS_DataWriterQos& qos,
    std::span<const char* const> partitions) {
    if (!parts_.openTopic(participant, topic))
        return false;
    reliable_ = qos.reliability.kind == DDS_RELIABLE_RELIABILITY_QOS;
    if (!parts_.openGroup(dds_create_publisher(participant, partitionQos(partitions).get(), nullptr), topic))
        return false;
    const ListenerPointer listener{dds_create_listener(this)};
    dds_lset_publication_matched(listener.get(), onPublicationMatched);
    const dds_entity_t writer =
        dds_create_writer(parts_.group(), parts_.topic().entity(), writerQos(qos).get(), listener.get());
    if (!parts_.openEndpoint(writer, ZDDS_CYCLONE_WRITER, topic))
        return false;
    matches_.attach(parts_.record());
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
    if (!parts_.topic().accepts(bytes, kind))
        return Status::badParameter;
    const int64_t time = sourceTimeNs == now ? dds_time() : sourceTimeNs;
    std::lock_guard lock(writeMutex_);
    int64_t number = 0;
    const int32_t result = ZddsCyclone_write(
        &parts_.record(), parts_.topic().type(), bytes.data(), bytes.size(), kindOf(kind), time, &number);
    if (result == code::ok && sequenceNumber != nullptr)
        *sequenceNumber = number;
    return statusOf(result);
}

Status CycloneWriter::waitForAcknowledgments(int64_t timeoutNs) {
    if (!reliable_)
        return Status::ok; // nobody acknowledges
    return statusOf(dds_wait_for_acks(parts_.entity(), timeoutNs == infinite ? DDS_INFINITY : timeoutNs));
}

// The library tells when all of the readers have acknowledged, and is asked about the one in between: other
// readers may never do.
Status CycloneWriter::waitForAcknowledgmentOf(
    const DDS_GUID_t& participant, int64_t sequenceNumber, int64_t timeoutNs) {
    constexpr int64_t longestWait = 10'000'000;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    for (;;) {
        const int64_t acknowledged = ZddsCyclone_acknowledgedBy(&parts_.record(), participant.value);
        if (acknowledged < 0)
            return Status::notMatched;
        if (acknowledged >= sequenceNumber)
            return Status::ok;
        const int64_t passed = std::chrono::nanoseconds(Clock::now() - start).count();
        const int64_t left = timeoutNs == infinite ? longestWait : timeoutNs - passed;
        if (left <= 0)
            return Status::timeout;
        const dds_return_t waited =
            dds_wait_for_acks(parts_.entity(), left < longestWait ? left : longestWait);
        if (waited != code::ok && waited != code::timeout)
            return statusOf(waited);
    }
}

} // namespace zdds::engine
