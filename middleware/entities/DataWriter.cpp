// Life of a writer: creation, enabling, statuses, deletion. Writing is in Write.cpp.
#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/entities/DirectedWriter.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "middleware/qos/Consistency.hpp"
#include "middleware/qos/Profiles.hpp"

DDS_DataWriterImpl::DDS_DataWriterImpl(DDS_PublisherImpl& owner, DDS_TopicImpl& writtenTopic)
    : DDS_EntityImpl(DDS_DATAWRITER_ENTITY_KIND, owner.participant), publisher(&owner), topic(&writtenTopic),
      instances(*writtenTopic.plugin, writtenTopic.keyBytes) {}

DDS_DataWriterImpl::~DDS_DataWriterImpl() {
    DDS_DataWriterQos_finalize(&qos);
}

void DDS_DataWriterImpl::Sink::count(const zdds::engine::RemoteEndpoint& reader, bool isMatch) {
    zdds::Guard guard(writer.statusMutex);
    if (!isMatch)
        writer.matched.remove(reader);
    const bool isListed = !isMatch || writer.matched.add(reader);
    zdds::countMatch(writer.matchedStatus, &DDS_PublicationMatchedStatus::last_subscription_handle,
        reader.endpoint, isMatch);
    guard.release();
    if (!isListed)
        ZDDS_LOG_WARNING(FAILED_TO_ADD, "matched reader of topic '%s' to the list", writer.topic->name);
    writer.statusCondition.raise(DDS_PUBLICATION_MATCHED_STATUS);
}

namespace zdds {
namespace {

// A stalled engine gives the sample back after this long, for the flusher to try again later: so neither a
// writer's deletion nor the other writers wait longer than that for it.
constexpr DDS_Duration_t longestAsynchronousBlock{0, 20'000'000U};

bool isLonger(const DDS_Duration_t& left, const DDS_Duration_t& right) {
    return left.sec != right.sec ? left.sec > right.sec : left.nanosec > right.nanosec;
}

DDS_UnsignedShort representationOf(const DDS_DataWriterQos& qos) {
    if (DDS_LongSeq_get_length(&qos.representation.value) == 0)
        return DDS_XCDR2_DATA_REPRESENTATION;
    return static_cast<DDS_UnsignedShort>(DDS_LongSeq_get(&qos.representation.value, 0));
}

DDS_DataWriterImpl* createWriter(
    DDS_PublisherImpl& publisher, DDS_TopicImpl& topic, const DDS_DataWriterQos* qos) {
    auto* writer = create<DDS_DataWriterImpl>("struct DDS_DataWriterImpl", publisher, topic);
    if (writer == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "writer of topic '%s'", topic.name);
    Cleanup undo([&] { destroy(writer); });
    DDS_DataWriterQos_initialize(&writer->qos);
    if (qos != nullptr && DDS_DataWriterQos_copy(&writer->qos, qos) != DDS_RETCODE_OK)
        return nullptr;
    if (!qos::isConsistent(writer->qos))
        return nullptr;
    writer->instances.setBound(writer->qos.resource_limits.max_instances);
    writer->representation = representationOf(writer->qos);
    DDS_PublishModeQosPolicy& mode = writer->qos.publish_mode;
    if (mode.max_queued_samples == 0)
        mode.max_queued_samples = qos::defaultMaxQueuedSamples;
    if (mode.max_queued_bytes == 0)
        mode.max_queued_bytes = qos::defaultMaxQueuedBytes;
    if (!writer->initialize())
        return nullptr;
    if (!writer->queue.initialize(mode.max_queued_samples, mode.max_queued_bytes))
        return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "queue of the writer of topic '%s'", topic.name);
    undo.dismiss();
    return writer;
}

} // namespace

DDS_ReturnCode_t enableWriter(DDS_DataWriterImpl& writer) {
    DDS_DomainParticipantImpl& participant = *writer.participant;
    if (writer.isAsynchronous() && !participant.flusher.start())
        return DDS_RETCODE_OUT_OF_RESOURCES;
    // The engine borrows the QoS for the call: a shallow copy with another blocking time is enough.
    DDS_DataWriterQos qos = writer.qos;
    if (writer.isAsynchronous() && isLonger(qos.reliability.max_blocking_time, longestAsynchronousBlock))
        qos.reliability.max_blocking_time = longestAsynchronousBlock;
    writer.engineWriter = participant.engineParticipant->createWriter(
        writer.topic->info(), qos, textsOf(writer.publisher->qos.partition.name), &writer.sink);
    if (writer.engineWriter == nullptr)
        return ZDDS_FAIL(
            DDS_RETCODE_ERROR, FAILED_TO_CREATE, "engine writer of topic '%s'", writer.topic->name);
    if (!writer.hasGuid)
        writer.guid = writer.engineWriter->guid();
    writer.hasGuid = true;
    return DDS_RETCODE_OK;
}

void destroyWriter(DDS_DataWriterImpl& writer) {
    if (writer.isAsynchronous())
        writer.participant->flusher.remove(writer.target);
    delete writer.engineWriter;
    destroy(&writer);
}

} // namespace zdds

DDS_DataWriter* DDS_Publisher_create_datawriter(DDS_Publisher* self, DDS_Topic* topic,
    const DDS_DataWriterQos* qos, const void* /*listener*/, DDS_StatusMask /*mask*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(topic != nullptr, nullptr);
    ZDDS_REQUIRE(topic->participant == self->participant, nullptr);
    ZDDS_REQUIRE(!self->isBuiltin && !topic->isBuiltin, nullptr);
    if (!self->isOfThisProcess())
        return nullptr;
    DDS_DataWriterImpl* writer = zdds::createWriter(*self, *topic, qos);
    if (writer == nullptr)
        return nullptr;
    zdds::Guard guard(self->participant->tree);
    if (self->isEnabled && self->qos.entity_factory.autoenable_created_entities &&
        zdds::enableLocked(*writer) != DDS_RETCODE_OK) {
        guard.release();
        zdds::destroyWriter(*writer);
        return nullptr;
    }
    self->writers.add(*writer);
    ++topic->endpointCount;
    return writer;
}

DDS_ReturnCode_t DDS_Publisher_delete_datawriter(DDS_Publisher* self, DDS_DataWriter* writer) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(writer != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    DDS_TopicImpl* topic = nullptr;
    zdds::Guard guard(self->participant->tree);
    if (!self->writers.contains(*writer)) {
        guard.release();
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "writer: it is not of this publisher");
    }
    topic = writer->topic;
    self->writers.detach(*writer);
    guard.release();
    zdds::destroyWriter(*writer);
    guard.take();
    self->writers.forget();
    --topic->endpointCount;
    return DDS_RETCODE_OK;
}

DDS_Entity* DDS_DataWriter_as_entity(DDS_DataWriter* self) {
    return self;
}

DDS_Topic* DDS_DataWriter_get_topic(DDS_DataWriter* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->topic;
}

DDS_Publisher* DDS_DataWriter_get_publisher(DDS_DataWriter* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->publisher;
}

const DDS_TypePlugin* DDS_DataWriter_get_type_pluginI(const DDS_DataWriter* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->topic->plugin;
}

DDS_ReturnCode_t DDS_DataWriter_get_publication_matched_status(
    DDS_DataWriter* self, DDS_PublicationMatchedStatus* status) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(status != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::Guard guard(self->statusMutex);
    self->statusCondition.clear(DDS_PUBLICATION_MATCHED_STATUS);
    *status = zdds::takeStatus(self->matchedStatus);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DataWriter_get_matched_subscriptions(
    DDS_DataWriter* self, DDS_InstanceHandleSeq* handles) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(handles != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::Guard guard(self->statusMutex);
    return self->matched.copyHandles(*handles);
}

constinit DDS_DataWriterImpl::Counters DDS_DataWriterImpl::Counters::ofAllWriters{};

void DDS_DataWriterImpl::Counters::copyTo(DDS_DataWriterCountersI& result) const {
    constexpr auto relaxed = std::memory_order_relaxed;
    result = DDS_DataWriterCountersI{};
    result.written = written.load(relaxed);
    result.written_bytes = writtenBytes.load(relaxed);
    result.dropped_queue_full = droppedQueueFull.load(relaxed);
    result.dropped_engine = droppedEngine.load(relaxed);
    result.dropped_encoding = droppedEncoding.load(relaxed);
    result.dropped_no_memory = droppedNoMemory.load(relaxed);
    result.dropped_timeout = droppedTimeout.load(relaxed);
    result.dropped_deadline = droppedDeadline.load(relaxed);
}

void DDS_DataWriter_get_countersI(const DDS_DataWriter* self, DDS_DataWriterCountersI* counters) {
    ZDDS_REQUIRE(self != nullptr);
    ZDDS_REQUIRE(counters != nullptr);
    self->counters.copyTo(*counters);
    counters->queued = self->directed != nullptr ? self->directed->queued() : self->queue.queued();
    counters->queued_peak =
        self->directed != nullptr ? self->directed->queuedPeak() : self->queue.queuedPeak();
    counters->queued_bytes = self->directed != nullptr ? 0 : self->queue.queuedBytes();
}

void DDS_DataWriter_get_total_countersI(DDS_DataWriterCountersI* counters) {
    ZDDS_REQUIRE(counters != nullptr);
    DDS_DataWriterImpl::Counters::ofAllWriters.copyTo(*counters);
}

DDS_ReturnCode_t DDS_DataWriter_get_qos(DDS_DataWriter* self, DDS_DataWriterQos* qos) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(qos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return DDS_DataWriterQos_copy(qos, &self->qos);
}
