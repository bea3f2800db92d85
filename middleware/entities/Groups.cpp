// Publisher and subscriber: groups of endpoints that share partitions.
#include "middleware/entities/ParticipantImpl.hpp"
#include "middleware/log/DdsLog.hpp"

DDS_PublisherImpl::DDS_PublisherImpl(DDS_DomainParticipantImpl* owner)
    : DDS_EntityImpl(DDS_PUBLISHER_ENTITY_KIND, owner) {}
DDS_PublisherImpl::~DDS_PublisherImpl() {
    DDS_PublisherQos_finalize(&qos);
}

DDS_SubscriberImpl::DDS_SubscriberImpl(DDS_DomainParticipantImpl* owner)
    : DDS_EntityImpl(DDS_SUBSCRIBER_ENTITY_KIND, owner) {}
DDS_SubscriberImpl::~DDS_SubscriberImpl() {
    DDS_SubscriberQos_finalize(&qos);
}

DDS_Entity* DDS_Publisher_as_entity(DDS_Publisher* self) {
    return self;
}
DDS_Entity* DDS_Subscriber_as_entity(DDS_Subscriber* self) {
    return self;
}

DDS_DomainParticipant* DDS_Publisher_get_participant(DDS_Publisher* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->participant;
}
