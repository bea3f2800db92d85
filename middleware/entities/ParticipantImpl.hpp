// Participant, topic, publisher and subscriber from the inside. Locks and ownership: EntityImpl.hpp.
#ifndef ZDDSC_ENTITIES_PARTICIPANT_IMPL_HPP
#define ZDDSC_ENTITIES_PARTICIPANT_IMPL_HPP

#include "middleware/engine/Engine.hpp"
#include "middleware/entities/EntityImpl.hpp"
#include "middleware/entities/Flusher.hpp"
#include "middleware/entities/Sync.hpp"

namespace zdds {

class ServiceRequestChannel;

// A type name of a participant, and the plug-in that it stands for.
struct TypeBinding {
    TypeBinding* next;
    char* typeName;
    const DDS_TypePlugin* plugin;
    DDS_UnsignedLong topicCount;
};

} // namespace zdds

struct DDS_DomainParticipantImpl : DDS_EntityImpl {
    DDS_DomainParticipantImpl(DDS_DomainParticipantFactoryImpl* owner, DDS_DomainId_t domain);
    ~DDS_DomainParticipantImpl();

    DDS_DomainParticipantFactoryImpl* const factory;
    const DDS_DomainId_t domainId;
    DDS_DomainParticipantQos qos{};
    zdds::engine::Participant* engineParticipant = nullptr;
    mutable zdds::Mutex tree;
    zdds::ChildList topics;
    zdds::ChildList publishers;
    zdds::ChildList subscribers;
    zdds::TypeBinding* types = nullptr;
    DDS_UnsignedLong madeGuids = 0;
    zdds::Flusher flusher; // of the asynchronous writers, and of the service-request channel
    zdds::ServiceRequestChannel* serviceRequests = nullptr; // null when the channel is off
};

struct DDS_TopicImpl : DDS_EntityImpl {
    explicit DDS_TopicImpl(DDS_DomainParticipantImpl* owner);
    ~DDS_TopicImpl();
    bool isKeyed() const { return keyBytes != 0; }
    zdds::engine::TopicInfo info() const;

    char* name = nullptr;
    zdds::TypeBinding* type = nullptr;
    const DDS_TypePlugin* plugin = nullptr;
    DDS_UnsignedLong keyBytes = 0; // of every encoding, behind the encapsulation header; 0 without a key
    DDS_TopicQos qos{};
    DDS_UnsignedLong endpointCount = 0;
};

struct DDS_PublisherImpl : DDS_EntityImpl {
    explicit DDS_PublisherImpl(DDS_DomainParticipantImpl* owner);
    ~DDS_PublisherImpl();
    DDS_PublisherQos qos{};
    zdds::ChildList writers;
};

struct DDS_SubscriberImpl : DDS_EntityImpl {
    explicit DDS_SubscriberImpl(DDS_DomainParticipantImpl* owner);
    ~DDS_SubscriberImpl();
    DDS_SubscriberQos qos{};
    zdds::ChildList readers;
};

namespace zdds {

// Borrowed from the sequence.
std::span<const char* const> textsOf(const DDS_StringSeq& texts);

} // namespace zdds

#endif
