// Participant: its children, its types, its answers.
#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/entities/FactoryImpl.hpp"
#include "middleware/entities/ObservedEntity.hpp"
#include "middleware/entities/ServiceRequestChannel.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

DDS_DomainParticipantImpl::DDS_DomainParticipantImpl(
    DDS_DomainParticipantFactoryImpl* owner, DDS_DomainId_t domain)
    : DDS_EntityImpl(DDS_PARTICIPANT_ENTITY_KIND, this), factory(owner), domainId(domain) {}

DDS_DomainParticipantImpl::~DDS_DomainParticipantImpl() {
    zdds::destroy(serviceRequests);
    delete engineParticipant;
    while (zdds::TypeBinding* binding = types) {
        types = binding->next;
        DDS_String_free(binding->typeName);
        zdds::destroy(binding);
    }
    DDS_DomainParticipantQos_finalize(&qos);
}

namespace zdds {

std::span<const char* const> textsOf(const DDS_StringSeq& texts) {
    const DDS_Long length = DDS_StringSeq_get_length(&texts);
    if (length == 0)
        return {};
    return {DDS_StringSeq_get_contiguous_buffer(&texts), static_cast<size_t>(length)};
}

namespace {

// Enables a new child where its parent says so, and adds it. False, with the child out of the tree, on
// failure.
bool addChild(DDS_DomainParticipantImpl& participant, ChildList& children, DDS_EntityImpl& child) {
    Guard guard(participant.tree);
    if (participant.isEnabled && participant.qos.entity_factory.autoenable_created_entities &&
        enableLocked(child) != DDS_RETCODE_OK)
        return false;
    children.add(child);
    return true;
}

// Publishers and subscribers differ in their types only.
template <class Entity, class Qos, auto initializeQos, auto copyQos>
Entity* createGroup(DDS_DomainParticipantImpl& participant, const Qos* qos, ChildList& children,
    DDS_Octet kindOctet, const char* typeName) {
    auto* entity = create<Entity>(typeName, &participant);
    if (entity == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "'%s'", typeName);
    Cleanup undo([&] { destroy(entity); });
    initializeQos(&entity->qos);
    if (qos != nullptr && copyQos(&entity->qos, qos) != DDS_RETCODE_OK)
        return nullptr;
    if (!entity->initialize())
        return nullptr;
    {
        Guard guard(participant.tree);
        entity->guid = makeGuid(participant, kindOctet);
        entity->hasGuid = true;
    }
    if (!addChild(participant, children, *entity))
        return nullptr;
    undo.dismiss();
    return entity;
}

template <class Entity>
DDS_ReturnCode_t deleteGroup(DDS_DomainParticipantImpl& participant, Entity& entity, ChildList& siblings,
    ChildList Entity::*children) {
    {
        Guard guard(participant.tree);
        if (siblings.contains(entity) && (entity.*children).isEmpty()) {
            siblings.detach(entity);
            siblings.forget();
            guard.release();
            destroy(&entity);
            return DDS_RETCODE_OK;
        }
    }
    return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE,
        "publisher or subscriber: it is not of this participant, or has children");
}

// The first child of a list; deleting it changes the list, so each step looks again.
DDS_EntityImpl* firstOf(DDS_DomainParticipantImpl& participant, const ChildList& children) {
    Guard guard(participant.tree);
    return children.first();
}

constexpr DDS_Octet publisherKindOctet = 0x08;  // RTPS: a group of writers
constexpr DDS_Octet subscriberKindOctet = 0x09; // RTPS: a group of readers

} // namespace
} // namespace zdds

DDS_Publisher* DDS_DomainParticipant_create_publisher(DDS_DomainParticipant* self,
    const DDS_PublisherQos* qos, const void* /*listener*/, DDS_StatusMask /*mask*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(!self->isObserved, nullptr);
    if (!self->isOfThisProcess())
        return nullptr;
    return zdds::createGroup<DDS_PublisherImpl, DDS_PublisherQos, DDS_PublisherQos_initialize,
        DDS_PublisherQos_copy>(
        *self, qos, self->publishers, zdds::publisherKindOctet, "struct DDS_PublisherImpl");
}

DDS_ReturnCode_t DDS_DomainParticipant_delete_publisher(
    DDS_DomainParticipant* self, DDS_Publisher* publisher) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(publisher != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    return zdds::deleteGroup(*self, *publisher, self->publishers, &DDS_PublisherImpl::writers);
}

DDS_Subscriber* DDS_DomainParticipant_create_subscriber(DDS_DomainParticipant* self,
    const DDS_SubscriberQos* qos, const void* /*listener*/, DDS_StatusMask /*mask*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(!self->isObserved, nullptr);
    if (!self->isOfThisProcess())
        return nullptr;
    return zdds::createGroup<DDS_SubscriberImpl, DDS_SubscriberQos, DDS_SubscriberQos_initialize,
        DDS_SubscriberQos_copy>(
        *self, qos, self->subscribers, zdds::subscriberKindOctet, "struct DDS_SubscriberImpl");
}

DDS_ReturnCode_t DDS_DomainParticipant_delete_subscriber(
    DDS_DomainParticipant* self, DDS_Subscriber* subscriber) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(subscriber != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    return zdds::deleteGroup(*self, *subscriber, self->subscribers, &DDS_SubscriberImpl::readers);
}

DDS_ReturnCode_t DDS_Publisher_delete_contained_entities(DDS_Publisher* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    while (DDS_EntityImpl* writer = zdds::firstOf(*self->participant, self->writers)) {
        const DDS_ReturnCode_t result =
            DDS_Publisher_delete_datawriter(self, static_cast<DDS_DataWriterImpl*>(writer));
        if (result != DDS_RETCODE_OK)
            return result;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_Subscriber_delete_contained_entities(DDS_Subscriber* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    while (DDS_EntityImpl* reader = zdds::firstOf(*self->participant, self->readers)) {
        const DDS_ReturnCode_t result =
            DDS_Subscriber_delete_datareader(self, static_cast<DDS_DataReaderImpl*>(reader));
        if (result != DDS_RETCODE_OK)
            return result;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DomainParticipant_delete_contained_entities(DDS_DomainParticipant* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    while (DDS_EntityImpl* child = zdds::firstOf(*self, self->publishers)) {
        auto* publisher = static_cast<DDS_PublisherImpl*>(child);
        if ((result = DDS_Publisher_delete_contained_entities(publisher)) != DDS_RETCODE_OK)
            return result;
        if ((result = DDS_DomainParticipant_delete_publisher(self, publisher)) != DDS_RETCODE_OK)
            return result;
    }
    while (DDS_EntityImpl* child = zdds::firstOf(*self, self->subscribers)) {
        auto* subscriber = static_cast<DDS_SubscriberImpl*>(child);
        if ((result = DDS_Subscriber_delete_contained_entities(subscriber)) != DDS_RETCODE_OK)
            return result;
        if ((result = DDS_DomainParticipant_delete_subscriber(self, subscriber)) != DDS_RETCODE_OK)
            return result;
    }
    while (DDS_EntityImpl* child = zdds::firstOf(*self, self->topics)) {
        if ((result = DDS_DomainParticipant_delete_topic(self, static_cast<DDS_TopicImpl*>(child))) !=
            DDS_RETCODE_OK)
            return result;
    }
    return result;
}

DDS_Entity* DDS_DomainParticipant_as_entity(DDS_DomainParticipant* self) {
    return self;
}

DDS_DomainId_t DDS_DomainParticipant_get_domain_id(const DDS_DomainParticipant* self) {
    ZDDS_REQUIRE(self != nullptr, -1);
    ZDDS_REQUIRE(!self->isObserved, -1);
    return self->domainId;
}

DDS_DomainParticipantFactory* DDS_DomainParticipant_get_participant_factoryI(DDS_DomainParticipant* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(!self->isObserved, nullptr);
    return self->factory;
}

DDS_ReturnCode_t DDS_DomainParticipant_get_qos(DDS_DomainParticipant* self, DDS_DomainParticipantQos* qos) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(!self->isObserved, DDS_RETCODE_ILLEGAL_OPERATION);
    return DDS_DomainParticipantQos_copy(qos, &self->qos);
}

DDS_ReturnCode_t DDS_DomainParticipant_get_default_topic_qos(DDS_DomainParticipant* self, DDS_TopicQos* qos) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return DDS_TopicQos_initialize(qos);
}

int DDS_DomainParticipant_is_transport_enabled(const DDS_DomainParticipant* self, int transport) {
    if (self == nullptr || transport < 1 || transport > 2)
        return 0;
    // An observed participant is no DDS_DomainParticipantImpl: only its beginning may be looked at as one.
    const DDS_EntityImpl* entity = self;
    if (entity->kind != DDS_PARTICIPANT_ENTITY_KIND)
        return 0;
    if (entity->isObserved)
        return ((static_cast<const zdds::ObservedEntity*>(entity)->transportMask >> (transport - 1)) & 1U) !=
               0;
    return self->engineParticipant->isTransportEnabled(transport);
}
