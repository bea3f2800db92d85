#include "middleware/engine/cyclone/CycloneEndpoint.hpp"

#include "middleware/engine/cyclone/CycloneEngine.hpp"
#include "middleware/engine/cyclone/CycloneQos.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

CycloneParticipant::~CycloneParticipant() {
    if (entity_ > 0)
        dds_delete(entity_);
    if (isCounted_)
        engine_.leaveDomain(domainId_);
}

bool CycloneParticipant::create(const ParticipantInfo& info) {
    if (!engine_.enterDomain(info, &isCounted_))
        return false;
    entity_ = dds_create_participant(
        static_cast<dds_domainid_t>(domainId_), participantQos(info.name, info.leaseNs).get(), nullptr);
    if (entity_ <= 0) {
        ZDDS_LOG_ERROR(FAILED_TO_CREATE, "participant in domain %d: %s", domainId_, dds_strretcode(entity_));
        return false;
    }
    guid_ = guidOf(entity_);
    return true;
}

Writer* CycloneParticipant::createWriter(const TopicInfo& topic, const DDS_DataWriterQos& qos,
    std::span<const char* const> partitions, WriterSink* sink) {
    auto* writer = new ("class CycloneWriter") CycloneWriter(sink);
    if (writer == nullptr) {
        ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "writer");
        return nullptr;
    }
    if (writer->create(entity_, topic, qos, partitions))
        return writer;
    delete writer;
    return nullptr;
}

Reader* CycloneParticipant::createReader(const TopicInfo& topic, const DDS_DataReaderQos& qos,
    std::span<const char* const> partitions, ReaderSink* sink) {
    auto* reader = new ("class CycloneReader") CycloneReader(sink);
    if (reader == nullptr) {
        ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "reader");
        return nullptr;
    }
    if (reader->create(entity_, topic, qos, partitions))
        return reader;
    delete reader;
    return nullptr;
}

} // namespace zdds::engine
