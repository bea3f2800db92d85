// Writing: serialize, queue or hand on, count.
#include <time.h>

#include <cstring>

#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/entities/DirectedWriter.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds {

namespace {
constexpr auto relaxed = std::memory_order_relaxed;
}

using Counters = DDS_DataWriterImpl::Counters;

void countWritten(DDS_DataWriterImpl& writer, size_t bytes) {
    writer.counters.count(&Counters::written);
    writer.counters.count(&Counters::writtenBytes, bytes);
}

void countRefused(DDS_DataWriterImpl& writer, engine::Status status) {
    writer.counters.count(&Counters::refused);
    writer.counters.count(status == engine::Status::timeout          ? &Counters::droppedTimeout
                          : status == engine::Status::outOfResources ? &Counters::droppedNoMemory
                                                                     : &Counters::droppedEngine);
}

namespace {

int64_t systemTimeNs() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

DDS_ReturnCode_t toReturnCode(engine::Status status) {
    switch (status) {
    case engine::Status::ok:
        return DDS_RETCODE_OK;
    case engine::Status::badParameter:
        return DDS_RETCODE_BAD_PARAMETER;
    case engine::Status::outOfResources:
        return DDS_RETCODE_OUT_OF_RESOURCES;
    case engine::Status::timeout:
        return DDS_RETCODE_TIMEOUT;
    case engine::Status::unsupported:
        return DDS_RETCODE_UNSUPPORTED;
    case engine::Status::notMatched:
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    case engine::Status::error:
        break;
    }
    return DDS_RETCODE_ERROR;
}

// Counts the sample that found no room. A flood of drops is one line of the log; behind a slow reader the
// queue is full and has room in turn, and then a line in a second is enough.
DDS_ReturnCode_t dropFull(DDS_DataWriterImpl& writer) {
    writer.counters.count(&Counters::droppedQueueFull);
    if (writer.isFull.exchange(true, relaxed))
        return DDS_RETCODE_OUT_OF_RESOURCES;
    const int64_t second = systemTimeNs() / 1'000'000'000;
    if (writer.fullTold.exchange(second, relaxed) != second)
        ZDDS_LOG_WARNING(
            FAILED_TO_ADD, "sample of topic '%s' to the full queue of its writer", writer.topic->name);
    return DDS_RETCODE_OUT_OF_RESOURCES;
}

DDS_ReturnCode_t dropUnencodable(DDS_DataWriterImpl& writer) {
    writer.counters.count(&Counters::droppedEncoding);
    return ZDDS_FAIL(
        DDS_RETCODE_BAD_PARAMETER, FAILED_TO_SERIALIZE, "sample of topic '%s'", writer.topic->name);
}

DDS_ReturnCode_t handToEngine(DDS_DataWriterImpl& writer, PendingSample& pending, int64_t* sequenceNumber) {
    const engine::Status status =
        writer.engineWriter->write(pending.view(), pending.kind, pending.sourceTimeNs, sequenceNumber);
    if (status == engine::Status::ok)
        countWritten(writer, pending.size);
    else
        countRefused(writer, status);
    writer.queue.release(pending);
    return toReturnCode(status);
}

// The flusher is the engine's only caller, and so the engine numbers samples in the order of the queue: as
// long as it took all of them, the place in the queue is the sequence number. After a refusal the number is
// unknown, 0.
void handToFlusher(DDS_DataWriterImpl& writer, PendingSample& pending, int64_t* sequenceNumber) {
    int64_t position = 0;
    const bool wasIdle = writer.queue.push(pending, &position);
    if (wasIdle)
        writer.participant->flusher.schedule(writer.target);
    *sequenceNumber = writer.counters.refused.load(relaxed) == 0 ? position : 0;
}

} // namespace

namespace {

PendingSample* refuse(DDS_ReturnCode_t* result, DDS_ReturnCode_t reason) {
    *result = reason;
    return nullptr;
}

// Fills reserved memory with the encoding; *result tells what went wrong when it is null.
PendingSample* encodeSample(DDS_DataWriterImpl& writer, const void* sample, DDS_ReturnCode_t* result) {
    // Most samples are small: encoded here in one pass, and copied to the queue. For others the size comes
    // first, and they are encoded right there.
    constexpr size_t smallSample = 2048;
    alignas(8) char bytes[smallSample];
    const DDS_TypePlugin* plugin = writer.topic->plugin;
    size_t size = sizeof bytes;
    const bool isEncoded =
        PRESTypePlugin_interpretedSerialize(plugin, bytes, &size, writer.representation, sample) != 0;
    if (!isEncoded)
        size = PRESTypePlugin_interpretedGetSerializedSampleSize(plugin, writer.representation, sample);
    if (size == 0)
        return refuse(result, dropUnencodable(writer));
    PendingSample* pending = writer.queue.reserve(size);
    if (pending == nullptr)
        return refuse(result, dropFull(writer));
    if (isEncoded) {
        std::memcpy(pending->bytes(), bytes, size);
        return pending;
    }
    size_t length = size;
    if (PRESTypePlugin_interpretedSerialize(
            plugin, pending->bytes(), &length, writer.representation, sample) &&
        length == size)
        return pending;
    writer.queue.release(*pending);
    return refuse(result, dropUnencodable(writer));
}

PendingSample* encodeKey(DDS_DataWriterImpl& writer, const void* sample, DDS_ReturnCode_t* result) {
    KeyEncoding key;
    if (!key.write(*writer.topic->plugin, writer.topic->keyBytes, writer.representation, sample))
        return refuse(result, dropUnencodable(writer));
    PendingSample* pending = writer.queue.reserve(key.length);
    if (pending == nullptr)
        return refuse(result, dropFull(writer));
    std::memcpy(pending->bytes(), key.bytes, key.length);
    return pending;
}

} // namespace

DDS_ReturnCode_t writeSample(DDS_DataWriterImpl& writer, const void* sample, engine::SampleKind kind,
    int64_t sourceTimeNs, int64_t* sequenceNumber) {
    if (!writer.isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (writer.directed != nullptr)
        return ZDDS_FAIL(DDS_RETCODE_ILLEGAL_OPERATION, FAILURE,
            "write to everybody by the built-in writer of topic '%s'", writer.topic->name);
    if (!writer.isEnabled.load(std::memory_order_acquire))
        return DDS_RETCODE_NOT_ENABLED;
    const bool isData = kind == engine::SampleKind::data;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    PendingSample* pending =
        isData ? encodeSample(writer, sample, &result) : encodeKey(writer, sample, &result);
    if (pending == nullptr)
        return result;
    if (writer.isFull.load(relaxed))
        writer.isFull.store(false, relaxed);
    pending->kind = kind;
    pending->sourceTimeNs = sourceTimeNs == engine::now ? systemTimeNs() : sourceTimeNs;
    if (writer.topic->isKeyed())
        noteInstance(writer, sample, kind != engine::SampleKind::unregister);
    if (!writer.isAsynchronous())
        return handToEngine(writer, *pending, sequenceNumber);
    handToFlusher(writer, *pending, sequenceNumber);
    return DDS_RETCODE_OK;
}

bool toNanoseconds(const DDS_Time_t* time, int64_t* nanoseconds) {
    *nanoseconds = engine::now;
    if (time == nullptr || time->sec == DDS_TIME_INVALID_SEC)
        return true;
    if (time->sec < 0 || time->sec >= INT64_MAX / 1'000'000'000 || time->nanosec >= 1'000'000'000U)
        return false;
    *nanoseconds = time->sec * 1'000'000'000 + time->nanosec;
    return true;
}

bool toNanoseconds(const DDS_WriteParams_t& params, int64_t* nanoseconds) {
    const bool isNow = params.source_timestamp.sec == 0 && params.source_timestamp.nanosec == 0;
    return toNanoseconds(isNow ? nullptr : &params.source_timestamp, nanoseconds);
}

} // namespace zdds

// Samples leave in order. A time-out of the engine is a slow reader: the sample stays for a later turn. Any
// other failure is of this sample, which is dropped and counted.
zdds::FlushTarget::Outcome DDS_DataWriterImpl::Target::flush(unsigned limit) {
    for (unsigned i = 0; i < limit; ++i) {
        zdds::PendingSample* sample = writer.queue.front();
        if (sample == nullptr)
            return Outcome::idle;
        const zdds::engine::Status status =
            writer.engineWriter->write(sample->view(), sample->kind, sample->sourceTimeNs, nullptr);
        if (status == zdds::engine::Status::timeout)
            return Outcome::stalled;
        if (status == zdds::engine::Status::ok)
            zdds::countWritten(writer, sample->size);
        else
            zdds::countRefused(writer, status);
        writer.queue.pop();
    }
    return Outcome::more;
}

DDS_ReturnCode_t DDS_DataWriter_write_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_InstanceHandle_t* handle) {
    return DDS_DataWriter_write_w_timestamp_untypedI(self, sample, handle, nullptr);
}

// The handle is redundant: the key is in the sample.
DDS_ReturnCode_t DDS_DataWriter_write_w_timestamp_untypedI(DDS_DataWriter* self, const void* sample,
    const DDS_InstanceHandle_t* /*handle*/, const DDS_Time_t* sourceTimestamp) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    int64_t sourceTimeNs = 0;
    int64_t sequenceNumber = 0;
    ZDDS_REQUIRE(zdds::toNanoseconds(sourceTimestamp, &sourceTimeNs), DDS_RETCODE_BAD_PARAMETER);
    return zdds::writeSample(*self, sample, zdds::engine::SampleKind::data, sourceTimeNs, &sequenceNumber);
}

DDS_ReturnCode_t DDS_DataWriter_write_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(params != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!DDS_GUID_equals(&params->destination, &DDS_GUID_UNKNOWN))
        return ZDDS_FAIL(
            DDS_RETCODE_UNSUPPORTED, NOT_SUPPORTED, "write to one reader of topic '%s'", self->topic->name);
    int64_t sourceTimeNs = 0;
    int64_t number = 0;
    ZDDS_REQUIRE(zdds::toNanoseconds(*params, &sourceTimeNs), DDS_RETCODE_BAD_PARAMETER);
    const DDS_ReturnCode_t result =
        zdds::writeSample(*self, sample, zdds::engine::SampleKind::data, sourceTimeNs, &number);
    params->identity = {
        static_cast<DDS_Long>(number >> 32), static_cast<DDS_UnsignedLong>(number & 0xFFFFFFFF)};
    return result;
}

const DDS_WriteParams_t DDS_WRITEPARAMS_DEFAULT = {};

DDS_ReturnCode_t DDS_WriteParams_from_sample_info(DDS_WriteParams_t* self, const DDS_SampleInfo* info) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(info != nullptr, DDS_RETCODE_BAD_PARAMETER);
    self->source_timestamp = info->source_timestamp;
    self->handle = info->instance_handle;
    self->identity = info->publication_sequence_number;
    self->source_guid = info->source_guid;
    self->related_source_guid = info->related_source_guid;
    return DDS_RETCODE_OK;
}

void DDS_WriteParams_finalize(DDS_WriteParams_t* self) {
    ZDDS_REQUIRE(self != nullptr);
    *self = DDS_WRITEPARAMS_DEFAULT;
}

DDS_ReturnCode_t DDS_DataWriter_flushI(DDS_DataWriter* self, const DDS_Duration_t* maxWait) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(maxWait != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    const zdds::Deadline deadline = zdds::deadlineIn(*maxWait);
    const bool isEmpty = self->directed != nullptr ? self->directed->waitUntilEmpty(deadline)
                                                   : self->queue.waitUntilEmpty(deadline);
    return isEmpty ? DDS_RETCODE_OK : DDS_RETCODE_TIMEOUT;
}

DDS_ReturnCode_t DDS_DataWriter_wait_for_acknowledgments(
    DDS_DataWriter* self, const DDS_Duration_t* maxWait) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(maxWait != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (!self->isEnabled.load(std::memory_order_acquire))
        return DDS_RETCODE_NOT_ENABLED;
    if (self->qos.reliability.kind == DDS_BEST_EFFORT_RELIABILITY_QOS)
        return DDS_RETCODE_OK;
    const zdds::Deadline deadline = zdds::deadlineIn(*maxWait);
    if (self->directed != nullptr)
        return self->directed->waitForOwnAcknowledgment(deadline);
    if (!self->queue.waitUntilEmpty(deadline))
        return DDS_RETCODE_TIMEOUT;
    return zdds::toReturnCode(self->engineWriter->waitForAcknowledgments(deadline.remaining()));
}
