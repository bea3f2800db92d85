#include "middleware/entities/EntityImpl.hpp"

#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/entities/ParticipantImpl.hpp"
#include "middleware/entities/ServiceRequestChannel.hpp"
#include "middleware/host/LockRanks.hpp"
#include "middleware/log/DdsLog.hpp"

DDS_EntityImpl::~DDS_EntityImpl() {
    zdds::conditions::detachEverywhere(statusCondition);
    ORXOsapiSemaphore_delete(lock);
}

bool DDS_EntityImpl::initialize() {
    lock = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (lock == nullptr)
        return ZDDS_FAIL(false, FAILED_TO_CREATE, "entity lock");
    ORXOsapiSemaphore_setRank(lock, zdds::host::lockRankEntity, "entity");
    return true;
}

namespace zdds {

bool ChildList::contains(const DDS_EntityImpl& child) const {
    for (const DDS_EntityImpl* one = first_; one != nullptr; one = one->next) {
        if (one == &child)
            return true;
    }
    return false;
}

void ChildList::add(DDS_EntityImpl& child) {
    child.previous = last_;
    child.next = nullptr;
    (last_ != nullptr ? last_->next : first_) = &child;
    last_ = &child;
}

void ChildList::detach(DDS_EntityImpl& child) {
    (child.previous != nullptr ? child.previous->next : first_) = child.next;
    (child.next != nullptr ? child.next->previous : last_) = child.previous;
    child.previous = child.next = nullptr;
    ++detached_;
}

DDS_GUID_t makeGuid(DDS_DomainParticipantImpl& participant, DDS_Octet kindOctet) {
    constexpr DDS_UnsignedLong firstNumber = 0x800000;
    const DDS_UnsignedLong number = firstNumber + participant.madeGuids++;
    DDS_GUID_t guid = participant.guid;
    guid.value[12] = static_cast<DDS_Octet>(number >> 16);
    guid.value[13] = static_cast<DDS_Octet>(number >> 8);
    guid.value[14] = static_cast<DDS_Octet>(number);
    guid.value[15] = kindOctet;
    return guid;
}

namespace {

// Enables the children that are not enabled yet; the first failure ends it.
DDS_ReturnCode_t enableChildren(const ChildList& children) {
    for (DDS_EntityImpl* child = children.first(); child != nullptr; child = child->next) {
        if (const DDS_ReturnCode_t result = enableLocked(*child); result != DDS_RETCODE_OK)
            return result;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t enableChildrenOf(DDS_EntityImpl& entity) {
    switch (entity.kind) {
    case DDS_PARTICIPANT_ENTITY_KIND: {
        auto& self = static_cast<DDS_DomainParticipantImpl&>(entity);
        if (!self.qos.entity_factory.autoenable_created_entities)
            return DDS_RETCODE_OK;
        for (const ChildList* children : {&self.topics, &self.publishers, &self.subscribers}) {
            if (const DDS_ReturnCode_t result = enableChildren(*children); result != DDS_RETCODE_OK)
                return result;
        }
        return DDS_RETCODE_OK;
    }
    case DDS_PUBLISHER_ENTITY_KIND: {
        auto& self = static_cast<DDS_PublisherImpl&>(entity);
        return self.qos.entity_factory.autoenable_created_entities ? enableChildren(self.writers)
                                                                   : DDS_RETCODE_OK;
    }
    case DDS_SUBSCRIBER_ENTITY_KIND: {
        auto& self = static_cast<DDS_SubscriberImpl&>(entity);
        return self.qos.entity_factory.autoenable_created_entities ? enableChildren(self.readers)
                                                                   : DDS_RETCODE_OK;
    }
    default:
        return DDS_RETCODE_OK;
    }
}

const DDS_EntityImpl* parentOf(const DDS_EntityImpl& entity) {
    switch (entity.kind) {
    case DDS_DATAWRITER_ENTITY_KIND:
        return static_cast<const DDS_DataWriterImpl&>(entity).publisher;
    case DDS_DATAREADER_ENTITY_KIND:
        return static_cast<const DDS_DataReaderImpl&>(entity).subscriber;
    case DDS_PARTICIPANT_ENTITY_KIND:
        return nullptr;
    default:
        return entity.participant;
    }
}

DDS_ReturnCode_t enableSelf(DDS_EntityImpl& entity) {
    if (entity.kind == DDS_DATAWRITER_ENTITY_KIND)
        return enableWriter(static_cast<DDS_DataWriterImpl&>(entity));
    if (entity.kind == DDS_DATAREADER_ENTITY_KIND)
        return enableReader(static_cast<DDS_DataReaderImpl&>(entity));
    if (entity.kind == DDS_PARTICIPANT_ENTITY_KIND) {
        ServiceRequestChannel* channel = static_cast<DDS_DomainParticipantImpl&>(entity).serviceRequests;
        return channel != nullptr ? channel->enable() : DDS_RETCODE_OK;
    }
    return DDS_RETCODE_OK;
}

DDS_Octet kindOctetOf(const DDS_EntityImpl& entity) {
    switch (entity.kind) {
    case DDS_DATAWRITER_ENTITY_KIND:
        return static_cast<const DDS_DataWriterImpl&>(entity).topic->isKeyed() ? 0x02 : 0x03;
    default:
        return static_cast<const DDS_DataReaderImpl&>(entity).topic->isKeyed() ? 0x07 : 0x04;
    }
}

} // namespace

DDS_ReturnCode_t enableLocked(DDS_EntityImpl& entity) {
    if (entity.isEnabled)
        return DDS_RETCODE_OK;
    if (entity.isBuiltin)
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_ENABLE,
            "built-in entity: its participant is disabled");
    const DDS_EntityImpl* parent = parentOf(entity);
    if (parent != nullptr && !parent->isEnabled)
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_ENABLE, "entity: its parent is disabled");
    if (const DDS_ReturnCode_t result = enableSelf(entity); result != DDS_RETCODE_OK)
        return result;
    entity.isEnabled.store(true, std::memory_order_release);
    const DDS_ReturnCode_t result = enableChildrenOf(entity);
    // A factory whose children failed counts as disabled, so that enabling it again tries the rest. Endpoints
    // have no children: what they got from the engine stays theirs.
    if (result != DDS_RETCODE_OK)
        entity.isEnabled.store(false, std::memory_order_release);
    return result;
}

} // namespace zdds

DDS_ReturnCode_t DDS_Entity_enable(DDS_Entity* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(!self->isObserved, DDS_RETCODE_ILLEGAL_OPERATION);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    zdds::Guard guard(self->participant->tree);
    return zdds::enableLocked(*self);
}

DDS_Boolean DDS_Entity_is_enabled(const DDS_Entity* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    return self->isEnabled.load(std::memory_order_acquire);
}

DDS_EntityKind DDS_Entity_get_entity_kind(const DDS_Entity* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_UNKNOWN_ENTITY_KIND);
    return self->kind;
}

// An endpoint that was never asked while it was disabled has the GUID of the engine's endpoint, which is what
// peers see; one that was asked keeps the computed GUID that it answered with.
DDS_ReturnCode_t DDS_Entity_get_guid(const DDS_Entity* self, DDS_GUID_t* guid) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(guid != nullptr, DDS_RETCODE_BAD_PARAMETER);
    const bool isEndpoint = !self->isObserved && (self->kind == DDS_DATAWRITER_ENTITY_KIND ||
                                                     self->kind == DDS_DATAREADER_ENTITY_KIND);
    if (!isEndpoint) {
        *guid = self->guid;
        return DDS_RETCODE_OK;
    }
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    zdds::Guard guard(self->participant->tree);
    if (!self->hasGuid) {
        DDS_EntityImpl& endpoint = *const_cast<DDS_EntityImpl*>(self);
        endpoint.guid = zdds::makeGuid(*self->participant, zdds::kindOctetOf(*self));
        endpoint.hasGuid = true;
    }
    *guid = self->guid;
    return DDS_RETCODE_OK;
}

DDS_InstanceHandle_t DDS_Entity_get_instance_handle(const DDS_Entity* self) {
    DDS_InstanceHandle_t handle = DDS_HANDLE_NIL;
    DDS_GUID_t guid;
    if (DDS_Entity_get_guid(self, &guid) == DDS_RETCODE_OK)
        DDS_InstanceHandle_from_guid(&handle, &guid);
    return handle;
}

DDS_ReturnCode_t DDS_Entity_lock(const DDS_Entity* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    return ORXOsapiSemaphore_take(self->lock, nullptr) == ORX_OSAPI_SEMAPHORE_STATUS_OK
               ? DDS_RETCODE_OK
               : ZDDS_FAIL(DDS_RETCODE_ERROR, FAILED_TO_LOCK, "entity");
}

DDS_ReturnCode_t DDS_Entity_unlock(const DDS_Entity* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    return ORXOsapiSemaphore_give(self->lock) == ORX_OSAPI_SEMAPHORE_STATUS_OK
               ? DDS_RETCODE_OK
               : ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_UNLOCK,
                     "entity: the caller does not hold it");
}

DDS_StatusCondition* DDS_Entity_get_statuscondition(DDS_Entity* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return &self->statusCondition;
}

DDS_StatusMask DDS_Entity_get_status_changes(DDS_Entity* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_STATUS_MASK_NONE);
    return self->statusCondition.statusChanges;
}
