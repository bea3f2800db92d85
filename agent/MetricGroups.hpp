// The metric groups of observed entities: what the monitoring library asks for when it takes a snapshot.
#ifndef ORX_AGENT_METRIC_GROUPS_HPP
#define ORX_AGENT_METRIC_GROUPS_HPP

#include "agent/Registry.hpp"

namespace orx::agent {

// Class id of the resource of a kind of entity.
DDS_UnsignedLong classIdOf(Kind kind);

// The two functions that go with every resource. Getting points at the entity's own fields, which the entity
// lock holds still until the caller has copied them, so there is nothing to return.
const ORX_MonitoringResourceForwarder& resourceForwarder();

// Where userResource is looked up. Once, at the start; reads the host's name of the platform as well.
void setMetricGroupRegistry(Registry& registry);

} // namespace orx::agent

#endif
