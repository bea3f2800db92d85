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

} // namespace

CycloneReader::~CycloneReader() {
    parts_.close(); // while the matches are there to be told of
}

bool CycloneReader::create(dds_entity_t participant, const TopicInfo& topic, const DDS_DataReaderQos& qos,
    std::span<const char* const> partitions) {
    if (!parts_.openTopic(participant, topic))
        return false;
    if (!parts_.openGroup(dds_create_subscriber(participant, partitionQos(partitions).get(), nullptr), topic))
        return false;
    const ListenerPointer listener{dds_create_listener(this)};
    dds_lset_subscription_matched(listener.get(), onSubscriptionMatched);
    dds_lset_sample_lost(listener.get(), onSampleLost);
    dds_rhc* cache = ZddsCyclone_newCache(onSample, this);
    if (cache == nullptr) {
        ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "cache of the reader of topic '%s'", topic.topicName);
        return false;
    }
    const dds_entity_t reader = dds_create_reader_rhc(
        parts_.group(), parts_.topic().entity(), readerQos(qos).get(), listener.get(), cache);
    if (reader <= 0)
        ZddsCyclone_deleteCache(cache);
    if (!parts_.openEndpoint(reader, ZDDS_CYCLONE_READER, topic))
        return false;
    matches_.attach(parts_.record());
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
