// Writers and readers over Cyclone DDS: each owns its topic entity, its publisher or subscriber, and the
// endpoint.
//
// Threads: as engine/Engine.hpp tells. Sink calls of one endpoint come one at a time; they come from receive
// threads of the library, from a thread that makes or deletes an endpoint in this process (also before the
// factory of the endpoint has returned), and from a thread that writes to a reader in this process.
#ifndef ZDDSC_ENGINE_CYCLONE_ENDPOINT_HPP
#define ZDDSC_ENGINE_CYCLONE_ENDPOINT_HPP

#include "middleware/engine/cyclone/CycloneHeaders.hpp" // before all others

#include <mutex>

#include "middleware/engine/Engine.hpp"
#include "middleware/engine/HeapObject.hpp"
#include "middleware/engine/cyclone/CycloneInternals.h"
#include "middleware/engine/cyclone/MatchTracker.hpp"

namespace zdds::engine {

DDS_GUID_t guidOf(dds_entity_t entity);
Status statusOf(dds_return_t code);

// The topic entity of one endpoint with its sample type.
class CycloneTopic {
public:
    CycloneTopic() = default;
    ~CycloneTopic();
    CycloneTopic(const CycloneTopic&) = delete;
    CycloneTopic& operator=(const CycloneTopic&) = delete;

    bool create(dds_entity_t participant, const TopicInfo& info);
    dds_entity_t entity() const { return entity_; }
    const ddsi_sertype* type() const { return type_; }
    // Header and encoding of a sample of this topic, as far as can be told from outside.
    bool accepts(std::span<const uint8_t> bytes, SampleKind kind) const;

private:
    dds_entity_t entity_ = 0;
    ddsi_sertype* type_ = nullptr;
    ddsi_tkmap_instance* instance_ = nullptr; // of a keyless topic
    uint32_t keyBytes_ = 0;
    TopicInfo::Extensibility extensibility_ = TopicInfo::Extensibility::appendable;
};

// What a writer and a reader have in common: the topic, the publisher or subscriber, the endpoint itself.
class CycloneParts {
public:
    CycloneParts() = default;
    ~CycloneParts() { close(); }
    CycloneParts(const CycloneParts&) = delete;
    CycloneParts& operator=(const CycloneParts&) = delete;

    // Each takes what was made of the library, a failure's code among it, and says whether to go on.
    bool openTopic(dds_entity_t participant, const TopicInfo& info) {
        return topic_.create(participant, info);
    }
    bool openGroup(dds_entity_t group, const TopicInfo& info);
    bool openEndpoint(dds_entity_t entity, ZddsCycloneSide side, const TopicInfo& info);
    // Returns when neither listener nor delivery runs any more; a reliable writer lingers for what is
    // unacknowledged, a second at most.
    void close();

    const CycloneTopic& topic() const { return topic_; }
    dds_entity_t group() const { return group_; }
    dds_entity_t entity() const { return record_.entity; }
    const ZddsCycloneEndpoint& record() const { return record_; }
    const DDS_GUID_t& guid() const { return guid_; }

private:
    CycloneTopic topic_;
    dds_entity_t group_ = 0;
    ZddsCycloneEndpoint record_{};
    DDS_GUID_t guid_{};
};

class CycloneWriter final : public Writer, public HeapObject {
public:
    explicit CycloneWriter(WriterSink* sink) : matches_(sink) {}
    ~CycloneWriter() override;
    bool create(dds_entity_t participant, const TopicInfo& topic, const DDS_DataWriterQos& qos,
        std::span<const char* const> partitions);

    DDS_GUID_t guid() const override { return parts_.guid(); }
    Status write(std::span<const uint8_t> bytes, SampleKind kind, int64_t sourceTimeNs,
        int64_t* sequenceNumber) override;
    Status waitForAcknowledgments(int64_t timeoutNs) override;
    Status waitForAcknowledgmentOf(
        const DDS_GUID_t& participant, int64_t sequenceNumber, int64_t timeoutNs) override;

private:
    static void onPublicationMatched(dds_entity_t, const dds_publication_matched_status_t status, void* self);

    CycloneParts parts_;
    bool reliable_ = false;
    MatchTracker<WriterSink> matches_;
    std::mutex writeMutex_; // held while writing, however long: makes the next sequence number known
};

class CycloneReader final : public Reader, public HeapObject {
public:
    explicit CycloneReader(ReaderSink* sink) : sink_(sink), matches_(sink) {}
    ~CycloneReader() override;
    bool create(dds_entity_t participant, const TopicInfo& topic, const DDS_DataReaderQos& qos,
        std::span<const char* const> partitions);

    DDS_GUID_t guid() const override { return parts_.guid(); }

private:
    static void onSubscriptionMatched(
        dds_entity_t, const dds_subscription_matched_status_t status, void* self);
    static void onSampleLost(dds_entity_t, const dds_sample_lost_status_t status, void* self);
    static void onSample(void* self, const ZddsCycloneSample* sample);

    CycloneParts parts_;
    ReaderSink* const sink_;
    MatchTracker<ReaderSink> matches_;
};

} // namespace zdds::engine

#endif
