// Topics, and the types that a participant knows.
#include <cstring>

#include "middleware/entities/InstanceKey.hpp"
#include "middleware/entities/ParticipantImpl.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "middleware/qos/Consistency.hpp"
#include "zddsc/type_descriptor.h"

DDS_TopicImpl::DDS_TopicImpl(DDS_DomainParticipantImpl* owner)
    : DDS_EntityImpl(DDS_TOPIC_ENTITY_KIND, owner) {}

DDS_TopicImpl::~DDS_TopicImpl() {
    DDS_String_free(name);
    DDS_TopicQos_finalize(&qos);
}

zdds::engine::TopicInfo DDS_TopicImpl::info() const {
    using Extensibility = zdds::engine::TopicInfo::Extensibility;
    zdds::engine::TopicInfo info{};
    info.topicName = name;
    info.typeName = type->typeName;
    info.keyed = isKeyed();
    info.keyBytes = keyBytes;
    switch (plugin->type->extensibility) {
    case DDS_TYPE_FINAL:
        info.extensibility = Extensibility::final;
        break;
    case DDS_TYPE_APPENDABLE:
        info.extensibility = Extensibility::appendable;
        break;
    case DDS_TYPE_MUTABLE:
        info.extensibility = Extensibility::mutableType;
        break;
    }
    return info;
}

namespace zdds {
namespace {

constexpr DDS_Octet topicKindOctet = 0x4C; // RTPS leaves 0x40 and up to vendors, and has no kind for topics

TypeBinding* findType(const DDS_DomainParticipantImpl& participant, const char* typeName) {
    for (TypeBinding* binding = participant.types; binding != nullptr; binding = binding->next) {
        if (std::strcmp(binding->typeName, typeName) == 0)
            return binding;
    }
    return nullptr;
}

bool hasTopic(const DDS_DomainParticipantImpl& participant, const char* topicName) {
    for (const DDS_EntityImpl* one = participant.topics.first(); one != nullptr; one = one->next) {
        if (std::strcmp(static_cast<const DDS_TopicImpl*>(one)->name, topicName) == 0)
            return true;
    }
    return false;
}

// The tree mutex is held: finds the type, takes the topic in, enables it.
bool addTopic(DDS_DomainParticipantImpl& participant, DDS_TopicImpl& topic, const char* typeName) {
    topic.type = findType(participant, typeName);
    if (topic.type == nullptr)
        return ZDDS_FAIL(false, FAILED_TO_FIND, "type '%s' of topic '%s'", typeName, topic.name);
    if (hasTopic(participant, topic.name))
        return ZDDS_FAIL(
            false, FAILED_TO_CREATE, "topic '%s': the participant has one of that name", topic.name);
    topic.plugin = topic.type->plugin;
    if (!findKeyBytes(*topic.plugin, &topic.keyBytes))
        return ZDDS_FAIL(false, NOT_SUPPORTED, "key of type '%s' of topic '%s'", typeName, topic.name);
    topic.guid = makeGuid(participant, topicKindOctet);
    topic.hasGuid = true;
    if (participant.isEnabled && participant.qos.entity_factory.autoenable_created_entities &&
        enableLocked(topic) != DDS_RETCODE_OK)
        return false;
    ++topic.type->topicCount;
    participant.topics.add(topic);
    return true;
}

TypeBinding* createBinding(const char* typeName, const DDS_TypePlugin& plugin) {
    auto* binding = create<TypeBinding>("struct TypeBinding", nullptr, nullptr, &plugin, 0U);
    if (binding == nullptr)
        return nullptr;
    binding->typeName = DDS_String_dup(typeName);
    if (binding->typeName != nullptr)
        return binding;
    destroy(binding);
    return nullptr;
}

} // namespace
} // namespace zdds

DDS_ReturnCode_t DDS_DomainParticipant_register_typeI(
    DDS_DomainParticipant* self, const char* typeName, const DDS_TypePlugin* plugin) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(typeName != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(plugin != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(!self->isObserved, DDS_RETCODE_ILLEGAL_OPERATION);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    zdds::Guard guard(self->tree);
    if (const zdds::TypeBinding* known = zdds::findType(*self, typeName)) {
        if (known->plugin == plugin)
            return DDS_RETCODE_OK;
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_REGISTER,
            "type '%s': the name stands for another type", typeName);
    }
    zdds::TypeBinding* binding = zdds::createBinding(typeName, *plugin);
    if (binding == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_REGISTER, "type '%s'", typeName);
    binding->next = self->types;
    self->types = binding;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DomainParticipant_unregister_typeI(DDS_DomainParticipant* self, const char* typeName) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(typeName != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(!self->isObserved, DDS_RETCODE_ILLEGAL_OPERATION);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    zdds::Guard guard(self->tree);
    zdds::TypeBinding* binding = zdds::findType(*self, typeName);
    if (binding == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_BAD_PARAMETER, FAILED_TO_FIND, "type '%s'", typeName);
    if (binding->topicCount != 0)
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_REMOVE, "type '%s': topics use it", typeName);
    zdds::TypeBinding** link = &self->types;
    while (*link != binding)
        link = &(*link)->next;
    *link = binding->next;
    DDS_String_free(binding->typeName);
    zdds::destroy(binding);
    return DDS_RETCODE_OK;
}

DDS_Topic* DDS_DomainParticipant_create_topic(DDS_DomainParticipant* self, const char* topicName,
    const char* typeName, const DDS_TopicQos* qos, const void* /*listener*/, DDS_StatusMask /*mask*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(topicName != nullptr, nullptr);
    ZDDS_REQUIRE(typeName != nullptr, nullptr);
    ZDDS_REQUIRE(!self->isObserved, nullptr);
    if (!self->isOfThisProcess())
        return nullptr;
    auto* topic = zdds::create<DDS_TopicImpl>("struct DDS_TopicImpl", self);
    if (topic == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "topic '%s'", topicName);
    zdds::Cleanup undo([&] { zdds::destroy(topic); });
    DDS_TopicQos_initialize(&topic->qos);
    if (qos != nullptr && DDS_TopicQos_copy(&topic->qos, qos) != DDS_RETCODE_OK)
        return nullptr;
    if (!zdds::qos::isConsistent(topic->qos))
        return nullptr;
    topic->name = DDS_String_dup(topicName);
    if (topic->name == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "name of topic '%s'", topicName);
    if (!topic->initialize())
        return nullptr;
    zdds::Guard guard(self->tree);
    if (!zdds::addTopic(*self, *topic, typeName))
        return nullptr;
    undo.dismiss();
    return topic;
}

DDS_ReturnCode_t DDS_DomainParticipant_delete_topic(DDS_DomainParticipant* self, DDS_Topic* topic) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(topic != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    zdds::Guard guard(self->tree);
    if (!self->topics.contains(*topic))
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "topic: it is not of this participant");
    if (topic->endpointCount != 0)
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE,
            "topic '%s': %u endpoints use it", topic->name, topic->endpointCount);
    --topic->type->topicCount;
    self->topics.detach(*topic);
    self->topics.forget();
    guard.release();
    zdds::destroy(topic);
    return DDS_RETCODE_OK;
}

DDS_Entity* DDS_Topic_as_entity(DDS_Topic* self) {
    return self;
}
DDS_TopicDescription* DDS_Topic_as_topicdescription(DDS_Topic* self) {
    return self;
}

const char* DDS_TopicDescription_get_name(const DDS_TopicDescription* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->name;
}

const char* DDS_TopicDescription_get_type_name(const DDS_TopicDescription* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->type->typeName;
}
