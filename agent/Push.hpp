// From a status to the monitoring library.
#ifndef ORX_AGENT_PUSH_HPP
#define ORX_AGENT_PUSH_HPP

#include "agent/Observed.hpp"

namespace orx::agent {

// A writer's group of the activity of its reliable readers, which has no status in the engine.
constexpr DDS_UnsignedLong reliableActivityGroup = 6;

// Pushes a metric group when the entity has a resource. The caller holds the entity lock.
void pushGroup(Observed& observed, DDS_UnsignedLong group, void* value);

// Stores the resource of a new assertion, and pushes the statuses that changed since `generations` was noted:
// the library's own first look at them may have come before the change. Agent thread, no lock held.
void attachResource(Observed& observed, ORX_MonitoringResource* resource, DDS_UnsignedLong concurrencyIndex,
    const uint32_t (&generations)[maximumStatuses]);
// From here on nothing is pushed for the entity. Agent thread.
void detachResource(Observed& observed);
void noteGenerations(Observed& observed, uint32_t (&generations)[maximumStatuses]);

} // namespace orx::agent

#endif
