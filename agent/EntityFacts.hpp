// What is to be known of an entity once the engine has made it: GUID, names, domain.
#ifndef ORX_AGENT_ENTITY_FACTS_HPP
#define ORX_AGENT_ENTITY_FACTS_HPP

#include "agent/Registry.hpp"

namespace orx::agent {

// Each fills the constant fields of an entity with `handle` set, from the engine; false when memory is out or
// the entity is gone. Names: the one that the QoS gives, by the rule of ResourceName.hpp; otherwise the
// topic's name for a topic, "<topic>_<entity id>" for writers and readers, "participant_<last word of the
// prefix>", "publisher_<id>" and "subscriber_<id>", numbers as eight digits. GUIDs: the engine's, and where
// it has none the participant's prefix, a count, and an RTPS kind that no endpoint has (0x08 publisher, 0x09
// subscriber, 0x4C topic). No lock is held.
bool learnParticipant(Observed& participant, const dds_qos_t* qos);
bool learnGroup(Registry& registry, Observed& group, Observed& participant, const dds_qos_t* qos);
bool learnTopic(Registry& registry, Observed& topic, Observed& participant, const dds_qos_t* qos);
bool learnEndpoint(Observed& endpoint, dds_entity_t topic, const dds_qos_t* qos);

} // namespace orx::agent

#endif
