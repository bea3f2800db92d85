// The engine over Cyclone DDS.
//
// A domain is configured once, by whoever comes first. With peers given and no domain there yet, the engine
// makes it, from the environment's CYCLONEDDS_URI followed by what unicast discovery needs; later settings
// win, so the peers hold, and everything else of the environment stays. Otherwise the domain is joined as it
// is (or comes to be from the environment alone, as with any program), and peers that could not be honoured
// are reported at status level. A guest makes the domain likewise when the environment may name a file for
// tracing, as the engine would empty that file for each domain.
#ifndef ZDDSC_ENGINE_CYCLONE_ENGINE_HPP
#define ZDDSC_ENGINE_CYCLONE_ENGINE_HPP

#include "middleware/engine/cyclone/CycloneHeaders.hpp" // before all others

#include <mutex>

#include "middleware/engine/Engine.hpp"
#include "middleware/engine/HeapObject.hpp"

namespace zdds::engine {

class CycloneEngine final : public Engine {
public:
    ~CycloneEngine() override = default;
    const char* name() const override { return "Cyclone DDS"; }
    Participant* createParticipant(const ParticipantInfo& info) override;

private:
    friend class CycloneParticipant;
    struct Domain;

    bool isUsable();
    // False only when memory is out or the configuration is refused. *isCounted: the domain is this engine's,
    // and is to be left.
    bool enterDomain(const ParticipantInfo& info, bool* isCounted);
    void leaveDomain(DDS_DomainId_t id);
    Domain* findDomain(DDS_DomainId_t id);

    std::mutex mutex_;          // held while a domain comes to be or goes
    Domain* domains_ = nullptr; // those that this engine made and has to take down; under mutex_
    bool tested_ = false;       // under mutex_
    const char* defect_ = nullptr;
};

class CycloneParticipant final : public Participant, public HeapObject {
public:
    CycloneParticipant(CycloneEngine& engine, DDS_DomainId_t domainId)
        : engine_(engine), domainId_(domainId) {}
    ~CycloneParticipant() override;
    bool create(const ParticipantInfo& info);

    DDS_GUID_t guid() const override { return guid_; }
    Writer* createWriter(const TopicInfo& topic, const DDS_DataWriterQos& qos,
        std::span<const char* const> partitions, WriterSink* sink) override;
    Reader* createReader(const TopicInfo& topic, const DDS_DataReaderQos& qos,
        std::span<const char* const> partitions, ReaderSink* sink) override;
    // The library counts nothing by transport.
    bool isTransportEnabled(int) const override { return false; }

private:
    CycloneEngine& engine_;
    const DDS_DomainId_t domainId_;
    bool isCounted_ = false; // among the participants of a domain that the engine made
    dds_entity_t entity_ = 0;
    DDS_GUID_t guid_{};
};

} // namespace zdds::engine

#endif
