#include "agent/Figures.hpp"

#include <cstring>

namespace orx::agent {

namespace {

constexpr DDS_Monitoring_SequenceNumber_t unknownSequenceNumber = {-1, 0};
// A heartbeat has one length in RTPS: the header of a submessage and 28 octets.
constexpr int64_t heartbeatBytes = 32;

DDS_Monitoring_SequenceNumber_t sequenceNumber(uint64_t value) {
    return {static_cast<DDS_Long>(value >> 32), static_cast<DDS_UnsignedLong>(value)};
}

DDS_LongLong longLong(uint64_t value) {
    return static_cast<DDS_LongLong>(value);
}

// Counts of 32 bits in the schema end at their highest value.
DDS_Long count(uint64_t value) {
    return static_cast<DDS_Long>(value > 0x7FFFFFFFU ? 0x7FFFFFFFU : value);
}

template <typename Number> void raise(Number& peak, Number value) {
    peak = value > peak ? value : peak;
}

uint64_t bytesOf(const OrxDataCounters& counters, uint64_t sampleBytes) {
    const uint64_t others =
        counters.samples > counters.readySamples ? counters.samples - counters.readySamples : 0;
    return counters.readyBytes + sampleBytes * others;
}

void updateSequenceNumbers(DDS_Monitoring_DataWriterProtocolStatus& status, const OrxWriterFigures& engine) {
    // An empty history is told as heartbeats tell it: the first number is the one that comes next.
    const bool isEmpty = engine.firstKept == 0;
    status.first_available_sequence_number =
        sequenceNumber(isEmpty ? engine.lastSequenceNumber + 1 : engine.firstKept);
    status.last_available_sequence_number =
        sequenceNumber(isEmpty ? engine.lastSequenceNumber : engine.lastKept);
    status.first_unacknowledged_sample_sequence_number = sequenceNumber(engine.acknowledged + 1);
}

template <typename Status, typename Total, typename Change>
void tellChange(Status& copy, Status& reported, Total Status::*total, Change Status::*change) {
    copy.*change = static_cast<Change>(copy.*total - reported.*total);
    reported.*total = copy.*total;
}

} // namespace

void startFigures(WriterFigures& figures) {
    std::memset(static_cast<void*>(&figures), 0, sizeof figures);
    figures.hasCache = true;
    DDS_Monitoring_DataWriterProtocolStatus& status = figures.protocol;
    status.first_available_sample_virtual_sequence_number =
        status.last_available_sample_virtual_sequence_number =
            status.first_unacknowledged_sample_virtual_sequence_number =
                status.first_unelapsed_keep_duration_sample_sequence_number =
                    status.first_available_sequence_number = status.last_available_sequence_number =
                        status.first_unacknowledged_sample_sequence_number = unknownSequenceNumber;
}

void startFigures(ReaderFigures& figures) {
    std::memset(static_cast<void*>(&figures), 0, sizeof figures);
    figures.hasCache = true;
    DDS_Monitoring_DataReaderProtocolStatus& status = figures.protocol;
    status.first_available_sample_sequence_number = status.last_available_sample_sequence_number =
        status.last_committed_sample_sequence_number = unknownSequenceNumber;
}

void updateFigures(WriterFigures& figures, const OrxWriterFigures& engine, const OrxDataCounters& counters) {
    DDS_Monitoring_DataWriterProtocolStatus& status = figures.protocol;
    status.pushed_sample_count = longLong(counters.samples + counters.disposed + counters.unregistered);
    status.pushed_sample_bytes = longLong(bytesOf(counters, engine.sampleBytes));
    status.pulled_sample_bytes = longLong(engine.resentBytes);
    DDS_Monitoring_ReliableWriterCacheChangedStatus& reliable = figures.reliableCache;
    reliable.full_reliable_writer_cache_count = reliable.high_watermark_reliable_writer_cache_count =
        count(engine.throttles);
    figures.hasCache = engine.hasInnerFigures;
    if (!engine.hasInnerFigures)
        return;
    status.sent_heartbeat_count = engine.heartbeats;
    status.sent_heartbeat_bytes = engine.heartbeats * heartbeatBytes;
    status.pulled_sample_count = engine.resentSamples;
    status.received_ack_count = engine.acks;
    status.received_nack_count = engine.nacks;
    updateSequenceNumbers(status, engine);
    figures.cache.sample_count = longLong(engine.keptSamples);
    raise(figures.cache.sample_count_peak, figures.cache.sample_count);
    reliable.unacknowledged_sample_count = count(engine.lastSequenceNumber - engine.acknowledged);
    raise(reliable.unacknowledged_sample_count_peak, reliable.unacknowledged_sample_count);
}

void updateFigures(ReaderFigures& figures, const OrxReaderFigures& engine, const OrxDataCounters& counters) {
    DDS_Monitoring_DataReaderProtocolStatus& status = figures.protocol;
    status.received_sample_count = longLong(counters.samples);
    status.received_sample_bytes = longLong(bytesOf(counters, engine.sampleBytes));
    status.duplicate_sample_bytes = longLong(engine.discardedBytes);
    figures.hasCache = engine.hasCache;
    if (!engine.hasCache)
        return;
    figures.cache.sample_count = longLong(engine.cachedSamples);
    raise(figures.cache.sample_count_peak, figures.cache.sample_count);
}

DDS_Monitoring_DataWriterProtocolStatus takeProtocol(WriterFigures& figures) {
    using Status = DDS_Monitoring_DataWriterProtocolStatus;
    Status copy = figures.protocol;
    Status& reported = figures.reportedProtocol;
    tellChange(copy, reported, &Status::pushed_sample_count, &Status::pushed_sample_count_change);
    tellChange(copy, reported, &Status::pushed_sample_bytes, &Status::pushed_sample_bytes_change);
    tellChange(copy, reported, &Status::sent_heartbeat_count, &Status::sent_heartbeat_count_change);
    tellChange(copy, reported, &Status::sent_heartbeat_bytes, &Status::sent_heartbeat_bytes_change);
    tellChange(copy, reported, &Status::pulled_sample_count, &Status::pulled_sample_count_change);
    tellChange(copy, reported, &Status::pulled_sample_bytes, &Status::pulled_sample_bytes_change);
    tellChange(copy, reported, &Status::received_ack_count, &Status::received_ack_count_change);
    tellChange(copy, reported, &Status::received_nack_count, &Status::received_nack_count_change);
    return copy;
}

DDS_Monitoring_ReliableWriterCacheChangedStatus takeReliableCache(WriterFigures& figures) {
    using Status = DDS_Monitoring_ReliableWriterCacheChangedStatus;
    Status copy = figures.reliableCache;
    Status& reported = figures.reportedReliableCache;
    tellChange(copy, reported, &Status::full_reliable_writer_cache_count,
        &Status::full_reliable_writer_cache_count_change);
    tellChange(copy, reported, &Status::high_watermark_reliable_writer_cache_count,
        &Status::high_watermark_reliable_writer_cache_count_change);
    return copy;
}

DDS_Monitoring_DataReaderProtocolStatus takeProtocol(ReaderFigures& figures) {
    using Status = DDS_Monitoring_DataReaderProtocolStatus;
    Status copy = figures.protocol;
    Status& reported = figures.reportedProtocol;
    tellChange(copy, reported, &Status::received_sample_count, &Status::received_sample_count_change);
    tellChange(copy, reported, &Status::received_sample_bytes, &Status::received_sample_bytes_change);
    tellChange(copy, reported, &Status::duplicate_sample_bytes, &Status::duplicate_sample_bytes_change);
    return copy;
}

} // namespace orx::agent
