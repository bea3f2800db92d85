// The agent's side of the functions that the shim stands before.
//
// They run on the program's threads: each does what the engine's function does, with the same result, and
// besides makes or ends an observed entity. Nothing here waits for the agent thread, for the monitoring
// library or for a lock that either holds for longer than a copy; no lock is held while the engine is called.
// What fails here is a line of the log, and an entity that is not observed.
#ifndef ORX_AGENT_INTERPOSITION_HPP
#define ORX_AGENT_INTERPOSITION_HPP

#include "agent/Registry.hpp"
#include "agent/shim/Interposed.h"

namespace orx::agent {

void fillInterposedFunctions(OrxEngineFunctions& functions);
// Once, at the start. When the program ends the engine or the domain of the monitoring, the registry is told
// so.
void setInterpositionRegistry(Registry& registry, int32_t monitoringDomain);

} // namespace orx::agent

#endif
