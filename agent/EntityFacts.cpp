#include "agent/EntityFacts.hpp"

#include <cstring>

#include "agent/AgentLog.hpp"
#include "agent/ResourceName.hpp"

namespace orx::agent {

namespace {

constexpr size_t prefixLength = 12;
constexpr uint8_t kindPublisher = 0x08;
constexpr uint8_t kindSubscriber = 0x09;
constexpr uint8_t kindTopic = 0x4C;

// What the samples of the monitoring can carry of a type's name.
constexpr size_t maximumTypeName = 255;

uint32_t wordAt(const DDS_GUID_t& guid, size_t at) {
    return static_cast<uint32_t>(guid.value[at]) << 24 | static_cast<uint32_t>(guid.value[at + 1]) << 16 |
           static_cast<uint32_t>(guid.value[at + 2]) << 8 | guid.value[at + 3];
}

bool learnGuid(Observed& observed) {
    dds_guid_t guid;
    if (dds_get_guid(observed.handle, &guid) != DDS_RETCODE_OK)
        return false;
    static_assert(sizeof guid.v == sizeof observed.guid.value);
    std::memcpy(observed.guid.value, guid.v, sizeof guid.v);
    return wordAt(observed.guid, prefixLength) != 0;
}

void makeGuid(Registry& registry, Observed& observed, Observed& participant, uint8_t kind) {
    const uint32_t id = registry.makeId(participant);
    std::memcpy(observed.guid.value, participant.guid.value, prefixLength);
    observed.guid.value[12] = static_cast<uint8_t>(id >> 16);
    observed.guid.value[13] = static_cast<uint8_t>(id >> 8);
    observed.guid.value[14] = static_cast<uint8_t>(id);
    observed.guid.value[15] = kind;
}

// The name that the QoS gives by the rule; empty when it gives none.
ResourceName nameFromQos(const dds_qos_t* qos) {
    char* name = nullptr;
    if (qos == nullptr || !dds_qget_entity_name(qos, &name) || name == nullptr)
        return {};
    const ResourceName result = resourceName(name);
    dds_free(name);
    return result;
}

struct TopicTexts {
    char name[1024] = {};
    char type[1024] = {};
};

void learnTopicTexts(dds_entity_t topic, TopicTexts& texts) {
    if (dds_get_name(topic, texts.name, sizeof texts.name) < 0)
        texts.name[0] = '\0';
    if (dds_get_type_name(topic, texts.type, sizeof texts.type) < 0)
        texts.type[0] = '\0';
    // Not within a character of UTF-8.
    size_t length = strnlen(texts.type, maximumTypeName + 1);
    if (length > maximumTypeName) {
        length = maximumTypeName;
        while (length > 0 && (static_cast<unsigned char>(texts.type[length]) & 0xC0) == 0x80)
            --length;
        texts.type[length] = '\0';
    }
}

} // namespace

bool learnParticipant(Observed& participant, const dds_qos_t* qos) {
    dds_domainid_t domain = 0;
    if (!learnGuid(participant) || dds_get_domainid(participant.handle, &domain) != DDS_RETCODE_OK)
        return AGENT_WARNING(FAILED_TO_GET, "GUID and domain of a participant"), false;
    participant.domainId = static_cast<int32_t>(domain);
    ResourceName name = nameFromQos(qos);
    if (name.text[0] == '\0')
        name = resourceName("participant", wordAt(participant.guid, 8));
    return setTexts(participant, name.text, "", "");
}

bool learnGroup(Registry& registry, Observed& group, Observed& participant, const dds_qos_t* qos) {
    const bool publishes = group.kind == Kind::publisher;
    makeGuid(registry, group, participant, publishes ? kindPublisher : kindSubscriber);
    ResourceName name = nameFromQos(qos);
    if (name.text[0] == '\0')
        name = resourceName(publishes ? "publisher" : "subscriber", wordAt(group.guid, prefixLength));
    return setTexts(group, name.text, "", "");
}

bool learnTopic(Registry& registry, Observed& topic, Observed& participant, const dds_qos_t* qos) {
    if (!learnGuid(topic))
        makeGuid(registry, topic, participant, kindTopic);
    TopicTexts texts;
    learnTopicTexts(topic.handle, texts);
    ResourceName name = nameFromQos(qos);
    if (name.text[0] == '\0')
        name = texts.name[0] != '\0' ? resourceName(texts.name)
                                     : resourceName("topic", wordAt(topic.guid, prefixLength));
    return setTexts(topic, name.text, texts.name, texts.type);
}

bool learnEndpoint(Observed& endpoint, dds_entity_t topic, const dds_qos_t* qos) {
    if (!learnGuid(endpoint))
        return AGENT_WARNING(FAILED_TO_GET, "GUID of an endpoint"), false;
    TopicTexts texts;
    learnTopicTexts(topic, texts);
    ResourceName name = nameFromQos(qos);
    if (name.text[0] == '\0')
        name = resourceName(texts.name, wordAt(endpoint.guid, prefixLength));
    return setTexts(endpoint, name.text, texts.name, texts.type);
}

} // namespace orx::agent
