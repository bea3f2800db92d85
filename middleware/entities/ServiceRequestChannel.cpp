#include "middleware/entities/ServiceRequestChannel.hpp"

#include "middleware/entities/ServiceRequestType.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds {
namespace {

thread_local BuiltinWriterWatch* currentWatch = nullptr;

template <class Qos> void setQuality(Qos& qos) {
    qos.durability.kind = DDS_VOLATILE_DURABILITY_QOS;
    qos.reliability.kind = DDS_RELIABLE_RELIABILITY_QOS;
    qos.history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
}

engine::RemoteEndpoint builtinWriterOf(const engine::RemoteEndpoint& writer) {
    return {endpointOf(writer.participant, DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI), writer.participant};
}

} // namespace

ServiceRequestChannel::ServiceRequestChannel(DDS_DomainParticipantImpl& participant)
    : participant_(participant), type_{}, topic_(&participant), publisher_(&participant),
      subscriber_(&participant) {}

ServiceRequestChannel* ServiceRequestChannel::create(DDS_DomainParticipantImpl& participant) {
    auto* self = zdds::create<ServiceRequestChannel>("class ServiceRequestChannel", participant);
    if (self == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "service-request channel");
    if (self->initialize())
        return self;
    destroy(self);
    return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "service-request channel");
}

ServiceRequestChannel::~ServiceRequestChannel() {
    if (reader_ != nullptr && reader_->engineReader == nullptr)
        destroy(reader_);
    if (writer_ != nullptr) {
        destroy(writer_->directed);
        destroy(writer_);
    }
    DDS_String_free(type_.typeName);
}

bool ServiceRequestChannel::initialize() {
    return makeTopic() && makeWriter() && makeReader();
}

bool ServiceRequestChannel::makeTopic() {
    type_.plugin = &serviceRequestTypePlugin();
    type_.typeName = DDS_String_dup(type_.plugin->schemaName);
    topic_.name = DDS_String_dup(DDS_SERVICE_REQUEST_TOPIC_NAME);
    topic_.type = &type_;
    topic_.plugin = type_.plugin;
    topic_.keyBytes = serviceRequestKeyBytes;
    subscriber_.isBuiltin = publisher_.isBuiltin = topic_.isBuiltin = true;
    if (type_.typeName == nullptr || topic_.name == nullptr)
        return false;
    if (DDS_TopicQos_initialize(&topic_.qos) != DDS_RETCODE_OK)
        return false;
    return topic_.initialize() && publisher_.initialize() && subscriber_.initialize();
}

bool ServiceRequestChannel::makeWriter() {
    writer_ = zdds::create<DDS_DataWriterImpl>("struct DDS_DataWriterImpl", publisher_, topic_);
    if (writer_ == nullptr)
        return false;
    DDS_DataWriterQos_initialize(&writer_->qos);
    setQuality(writer_->qos);
    writer_->directed = zdds::create<DirectedWriter>("class DirectedWriter", *writer_);
    writer_->isBuiltin = true;
    writer_->guid = endpointOf(participant_.guid, DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI);
    writer_->hasGuid = true;
    return writer_->directed != nullptr && writer_->initialize();
}

bool ServiceRequestChannel::makeReader() {
    reader_ = zdds::create<DDS_DataReaderImpl>("struct DDS_DataReaderImpl", subscriber_, topic_);
    if (reader_ == nullptr)
        return false;
    DDS_DataReaderQos_initialize(&reader_->qos);
    setQuality(reader_->qos);
    reader_->qos.resource_limits = {maxCachedSamples, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED};
    reader_->cache.setQos(reader_->qos);
    reader_->cache.setByteBounds(maxCachedBytes, maxEncodedBytes);
    // Each command is an instance of its own, which nobody asks for once it is taken.
    reader_->cache.forgetInstances();
    // Users take the samples that they wait for; ends of replies, replies that come too late, and what
    // strangers send would else fill the reader for good.
    reader_->cache.keepNewest();
    reader_->isBuiltin = true;
    reader_->guid = endpointOf(participant_.guid, DDS_SERVICE_REQUEST_READER_OBJECT_IDI);
    reader_->hasGuid = true;
    if (!reader_->initialize())
        return false;
    subscriber_.readers.add(*reader_);
    return true;
}

DDS_ReturnCode_t ServiceRequestChannel::enable() {
    if (reader_->engineReader != nullptr)
        return DDS_RETCODE_OK;
    const PartitionName name(reader_->guid);
    const char* const partition = name.text;
    reader_->engineReader = participant_.engineParticipant->createReader(
        topic_.info(), reader_->qos, std::span<const char* const>(&partition, 1), &sink_);
    if (reader_->engineReader == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_ERROR, FAILED_TO_CREATE, "engine reader of topic '%s'", topic_.name);
    for (DDS_EntityImpl* entity : {static_cast<DDS_EntityImpl*>(&topic_),
             static_cast<DDS_EntityImpl*>(&publisher_), static_cast<DDS_EntityImpl*>(&subscriber_),
             static_cast<DDS_EntityImpl*>(reader_), static_cast<DDS_EntityImpl*>(writer_)})
        entity->isEnabled.store(true, std::memory_order_release);
    return DDS_RETCODE_OK;
}

bool ServiceRequestChannel::close() {
    observe(nullptr);
    if (!destroyReader(*reader_))
        return false;
    reader_ = nullptr;
    return true;
}

// ---- What passes ----

void ServiceRequestChannel::observe(ServiceRequestObserver* observer) {
    Guard guard(observerMutex_);
    observer_ = observer;
}

void ServiceRequestChannel::tellSent(const DDS_ServiceRequest& sample) {
    Guard guard(observerMutex_);
    if (observer_ != nullptr)
        observer_->onSent(sample);
}

void ServiceRequestChannel::Sink::onSample(const engine::IncomingSample& sample) {
    engine::IncomingSample seen = sample;
    seen.writer = endpointOf(sample.writer, DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI);
    channel.reader_->sink.onSample(seen);
    Guard guard(channel.observerMutex_);
    if (channel.observer_ != nullptr)
        channel.observer_->onArrival();
}

void ServiceRequestChannel::Sink::onMatched(const engine::RemoteEndpoint& writer) {
    channel.reader_->sink.onMatched(builtinWriterOf(writer));
}

void ServiceRequestChannel::Sink::onUnmatched(const engine::RemoteEndpoint& writer) {
    channel.reader_->sink.onUnmatched(builtinWriterOf(writer));
}

BuiltinWriterWatch::BuiltinWriterWatch() : outer_(currentWatch) {
    currentWatch = this;
}

BuiltinWriterWatch::~BuiltinWriterWatch() {
    currentWatch = outer_;
}

void BuiltinWriterWatch::note(DDS_DomainParticipantImpl& participant) {
    if (currentWatch != nullptr)
        currentWatch->participant_ = &participant;
}

bool BuiltinWriterWatch::isThere() {
    return currentWatch != nullptr;
}

} // namespace zdds
