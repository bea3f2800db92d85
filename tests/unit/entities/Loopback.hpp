// A process whose participants live in a loopback engine.
#ifndef ORX_TESTS_ENTITIES_LOOPBACK_HPP
#define ORX_TESTS_ENTITIES_LOOPBACK_HPP

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "zddsc/entities.h"

class Loopback {
public:
    static constexpr DDS_DomainId_t domain = 62;

    Loopback() { zdds::engine::setInstance(&engine); }
    ~Loopback() { zdds::engine::setInstance(nullptr); }
    Loopback(const Loopback&) = delete;
    Loopback& operator=(const Loopback&) = delete;

    DDS_DomainParticipantFactory* factory() { return DDS_DomainParticipantFactory_get_instance(); }
    // Enabled, with the channels given.
    DDS_DomainParticipant* newParticipant(DDS_UnsignedLong channels) {
        DDS_DomainParticipantQos qos{};
        DDS_DomainParticipantQos_initialize(&qos);
        qos.discovery_config.enabled_builtin_channels = channels;
        auto* participant =
            DDS_DomainParticipantFactory_create_participant(factory(), domain, &qos, nullptr, 0);
        DDS_DomainParticipantQos_finalize(&qos);
        return participant;
    }
    // True when it had no entity left.
    bool deleteParticipant(DDS_DomainParticipant* participant) {
        return DDS_DomainParticipantFactory_delete_participant(factory(), participant) == DDS_RETCODE_OK;
    }

    zdds::engine::LoopbackEngine engine;
};

#endif
