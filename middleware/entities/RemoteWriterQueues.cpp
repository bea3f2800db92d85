#include "middleware/entities/RemoteWriterQueues.hpp"

#include <time.h>

#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/entities/DirectedWriter.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds {

RemoteWriterQueues::~RemoteWriterQueues() {
    for (Queue*& bucket : buckets_) {
        while (Queue* queue = bucket) {
            bucket = queue->next;
            destroy(queue);
        }
    }
}

// The octets in which GUIDs differ: those of the process and of the entity.
RemoteWriterQueues::Queue*& RemoteWriterQueues::bucketOf(const DDS_GUID_t& writer) {
    unsigned sum = 0;
    for (const DDS_Octet octet : writer.value)
        sum = sum * 31 + octet;
    return buckets_[sum % bucketCount];
}

// The link to it, which is null where there is none.
RemoteWriterQueues::Queue** RemoteWriterQueues::find(const DDS_GUID_t& writer) {
    Queue** link = &bucketOf(writer);
    while (*link != nullptr && !DDS_GUID_equals(&(*link)->writer, &writer))
        link = &(*link)->next;
    return link;
}

RemoteWriterQueues::Assertion RemoteWriterQueues::add(const DDS_GUID_t& writer) {
    Guard guard(mutex_);
    Queue** link = find(writer);
    if (*link != nullptr)
        return Assertion::there;
    Queue* queue =
        count_ < maximum ? create<Queue>("struct RemoteWriterQueues::Queue", nullptr, writer, 0) : nullptr;
    if (queue == nullptr)
        return Assertion::noRoom;
    *link = queue;
    ++count_;
    return Assertion::added;
}

bool RemoteWriterQueues::remove(const DDS_GUID_t& writer) {
    Guard guard(mutex_);
    Queue** link = find(writer);
    Queue* queue = *link;
    if (queue == nullptr)
        return false;
    *link = queue->next;
    destroy(queue);
    --count_;
    return true;
}

bool RemoteWriterQueues::count(const DDS_GUID_t& writer, int64_t wanted, int64_t* number) {
    Guard guard(mutex_);
    Queue* queue = *find(writer);
    if (queue == nullptr)
        return false;
    // A number comes from a remote writer, which may have sent any.
    const bool isLast = queue->lastNumber == INT64_MAX;
    queue->lastNumber = wanted != 0 ? wanted : queue->lastNumber + (isLast ? 0 : 1);
    *number = queue->lastNumber;
    return true;
}

namespace {

int64_t systemTimeNs() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

int64_t numberOf(const DDS_SequenceNumber_t& number) {
    return static_cast<int64_t>(static_cast<uint64_t>(static_cast<uint32_t>(number.high)) << 32 | number.low);
}

// What its bytes would take, so that the cache's bound counts samples that were made by hand like any other.
uint32_t sizeOf(const DDS_TypePlugin& plugin, const void* value) {
    const size_t size =
        PRESTypePlugin_interpretedGetSerializedSampleSize(&plugin, DDS_XCDR2_DATA_REPRESENTATION, value);
    return static_cast<uint32_t>(size);
}

// A cached sample with its value, and its key where there is one. Null when memory is out, or the value has
// no encoding.
CachedSample* makeSample(
    const DDS_TopicImpl& topic, const engine::IncomingSample& incoming, const void* value, InstanceKey& key) {
    const DDS_TypePlugin& plugin = *topic.plugin;
    const uint32_t size = value != nullptr ? sizeOf(plugin, value) : 0;
    if (value != nullptr &&
        (size == 0 || (topic.isKeyed() && !key.readSample(plugin, topic.keyBytes, value))))
        return nullptr;
    CachedSample* sample = CachedSample::createMade(incoming, size);
    if (sample == nullptr || value == nullptr)
        return sample;
    sample->value = DDS_TypePlugin_create_sample(&plugin);
    if (sample->value != nullptr && DDS_TypePlugin_copy_sample(&plugin, sample->value, value))
        return sample;
    CachedSample::destroy(sample, plugin);
    return nullptr;
}

// `instance` names the instance of a dispose or unregister of a keyed topic by its handle's octets.
DDS_ReturnCode_t put(DDS_DataReader* self, const void* value, const DDS_GUID_t* writerGuid,
    DDS_WriteParams_t* params, engine::SampleKind kind, const DDS_GUID_t* instance) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(writerGuid != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (!self->isEnabled.load(std::memory_order_acquire))
        return DDS_RETCODE_NOT_ENABLED;
    const DDS_WriteParams_t& given = params != nullptr ? *params : DDS_WRITEPARAMS_DEFAULT;
    engine::IncomingSample incoming{
        .bytes = {}, .writer = *writerGuid, .sequenceNumber = 0, .sourceTimeNs = 0, .kind = kind};
    ZDDS_REQUIRE(toNanoseconds(given, &incoming.sourceTimeNs), DDS_RETCODE_BAD_PARAMETER);
    if (incoming.sourceTimeNs == engine::now)
        incoming.sourceTimeNs = systemTimeNs();
    if (!self->remoteWriters.count(*writerGuid, numberOf(given.identity), &incoming.sequenceNumber))
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_FIND,
            "remote writer queue of the reader of topic '%s'", self->topic->name);
    InstanceKey key;
    if (kind != engine::SampleKind::data && self->topic->isKeyed()) {
        DDS_InstanceHandle_t handle = DDS_HANDLE_NIL;
        if (instance != nullptr)
            DDS_InstanceHandle_from_guid(&handle, instance);
        if (!self->cache.findKey(handle, &key))
            return DDS_RETCODE_OK; // nobody has seen it, so that nobody misses its end
    }
    CachedSample* sample = makeSample(*self->topic, incoming, value, key);
    if (sample == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_ADD,
            "sample to the remote writer queue of the reader of topic '%s'", self->topic->name);
    sample->info.source_guid = given.source_guid;
    sample->info.related_source_guid = given.related_source_guid;
    if (!self->cache.insertMade(*sample, kind, key)) {
        self->readConditions.wakeOnStates();
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    self->sink.raiseDataAvailable(&key);
    return DDS_RETCODE_OK;
}

} // namespace
} // namespace zdds

using zdds::engine::SampleKind;

// A writer with a queue counts as matched: those who read see it come and go.
DDS_ReturnCode_t DDS_DataReader_assert_remote_writer_queue(
    DDS_DataReader* self, const DDS_GUID_t* writerGuid, const DDS_DataWriterQos* /*qos*/) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(writerGuid != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    using Assertion = zdds::RemoteWriterQueues::Assertion;
    const Assertion assertion = self->remoteWriters.add(*writerGuid);
    if (assertion == Assertion::noRoom)
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_ADD,
            "remote writer queue of the reader of topic '%s'", self->topic->name);
    if (assertion == Assertion::added)
        self->sink.onMatched({*writerGuid, zdds::participantOf(*writerGuid)});
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DataReader_delete_remote_writer_queue(
    DDS_DataReader* self, const DDS_GUID_t* writerGuid) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(writerGuid != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (!self->remoteWriters.remove(*writerGuid))
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    self->sink.onUnmatched({*writerGuid, zdds::participantOf(*writerGuid)});
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(
    DDS_DataReader* self, const void* sample, const DDS_GUID_t* writerGuid, DDS_WriteParams_t* params) {
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return zdds::put(self, sample, writerGuid, params, SampleKind::data, nullptr);
}

DDS_ReturnCode_t DDS_DataReader_add_unregister_to_remote_writer_queue_untypedI(DDS_DataReader* self,
    const DDS_GUID_t* writerGuid, DDS_WriteParams_t* params, const DDS_GUID_t* instance) {
    return zdds::put(self, nullptr, writerGuid, params, SampleKind::unregister, instance);
}

DDS_ReturnCode_t DDS_DataReader_add_dispose_to_remote_writer_queue_untypedI(DDS_DataReader* self,
    const DDS_GUID_t* writerGuid, DDS_WriteParams_t* params, const DDS_GUID_t* instance) {
    return zdds::put(self, nullptr, writerGuid, params, SampleKind::dispose, instance);
}
