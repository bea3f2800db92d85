#include "middleware/engine/cyclone/CycloneEndpoint.hpp"

#include "middleware/engine/cyclone/CycloneQos.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

namespace {

SampleKind kindOf(ZddsCycloneKind kind) {
    switch (kind) {
    case ZDDS_CYCLONE_DATA:
        return SampleKind::data;
    case ZDDS_CYCLONE_DISPOSE:
        return SampleKind::dispose;
    case ZDDS_CYCLONE_UNREGISTER:
        return SampleKind::unregister;
    }
    return SampleKind::data;
}

bool failed(dds_entity_t entity, const char* what, const char* topicName) {
    if (entity > 0)
        return false;
    ZDDS_LOG_ERROR(FAILED_TO_CREATE, "%s of topic '%s': %s", what, topicName, dds_strretcode(entity));
    return true;
}

} // namespace

CycloneReader::~CycloneReader() {
    if (reader_ > 0)
        dds_delete(reader_); // returns when neither listener nor delivery runs any more
    if (subscriber_ > 0)
        dds_delete(subscriber_);
}

bool CycloneReader::create(dds_entity_t participant, const TopicInfo& topic, const DDS_DataReaderQos& qos,
    std::span<const char* const> partitions) {
    if (!topic_.create(participant, topic))
        return false;
    subscriber_ = dds_create_subscriber(participant, partitionQos(partitions).get(), nullptr);
    if (failed(subscriber_, "subscriber", topic.topicName))
        return false;
    const ListenerPointer listener{dds_create_listener(this)};
    dds_lset_subscription_matched(listener.get(), onSubscriptionMatched);
    dds_lset_sample_lost(listener.get(), onSampleLost);
    dds_rhc* cache = ZddsCyclone_newCache(onSample, this);
    if (cache == nullptr) {
        ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "cache of the reader of topic '%s'", topic.topicName);
        return false;
    }
    reader_ =
        dds_create_reader_rhc(subscriber_, topic_.entity(), readerQos(qos).get(), listener.get(), cache);
    if (failed(reader_, "reader", topic.topicName)) {
        ZddsCyclone_deleteCache(cache);
        return false;
    }
    guid_ = guidOf(reader_);
    if (!ZddsCyclone_findEndpoint(&endpoint_, ZDDS_CYCLONE_READER, reader_, topic_.type(), guid_.value)) {
        ZDDS_LOG_ERROR(FAILED_TO_FIND, "record of the reader of topic '%s'", topic.topicName);
        return false;
    }
    matches_.attach(endpoint_);
    return true;
}

void CycloneReader::onSubscriptionMatched(
    dds_entity_t, const dds_subscription_matched_status_t status, void* self) {
    auto& matches = static_cast<CycloneReader*>(self)->matches_;
    if (status.current_count_change > 0)
        matches.onMatched(status.last_publication_handle);
    else
        matches.onUnmatched(status.last_publication_handle);
}

void CycloneReader::onSampleLost(dds_entity_t, const dds_sample_lost_status_t status, void* self) {
    if (status.total_count_change <= 0)
        return;
    static_cast<CycloneReader*>(self)->matches_.withSink(
        [&](ReaderSink& sink) { sink.onSampleLost(static_cast<uint64_t>(status.total_count_change)); });
}

void CycloneReader::onSample(void* context, const ZddsCycloneSample* sample) {
    auto* self = static_cast<CycloneReader*>(context);
    IncomingSample incoming{
        .bytes = {sample->bytes, sample->size},
        .writer = {},
        .sequenceNumber = sample->sequenceNumber,
        .sourceTimeNs = sample->sourceTimeNs,
        .kind = kindOf(sample->kind),
    };
    std::memcpy(incoming.writer.value, sample->writer, sizeof incoming.writer.value);
    self->matches_.withSample(sample->writerHandle, incoming.writer, [&](int64_t counted) {
        if (incoming.sequenceNumber == 0)
            incoming.sequenceNumber = counted;
        if (self->sink_ != nullptr)
            self->sink_->onSample(incoming);
    });
}

} // namespace zdds::engine
