// The agent: one thread that runs the monitoring library in the program's process.
//
// This thread alone takes the library lock: it creates the library, asserts resources and deletes them, in
// the order in which the program made and ended its entities. A failure ends the monitoring, with a line in
// the log, and never the program. At the program's end the agent waits a moment for what is under way to be
// published, and leaves the rest to the end of the process: nothing is taken down.
#ifndef ORX_AGENT_AGENT_HPP
#define ORX_AGENT_AGENT_HPP

#include "agent/Registry.hpp"
#include "agent/shim/Interposed.h"

namespace orx::agent {

// Does what is queued, under the library lock; at most `maximum` pieces of work. False when the library is
// not enabled any more.
bool processWork(Registry& registry, size_t maximum);

// Fills the property record of the library from the environment; false when memory is out.
bool fillProperty(ORX_MonitoringProperty_t& property);

// Sets what the logger collects of each facility, from the environment. Before the library is created.
void applyCollection();

// Bounds what each queue of the library may take, by the environment. Before the library is created.
void applyQueueLimit();

} // namespace orx::agent

extern "C" __attribute__((visibility("default"))) const OrxAgentTable* orxAgent_start(
    const OrxShimStart* start);

#endif
