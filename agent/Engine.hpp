// The engine's own functions, behind the ones that the shim stands before. Set once, at the start.
#ifndef ORX_AGENT_ENGINE_HPP
#define ORX_AGENT_ENGINE_HPP

#include "agent/shim/Interposed.h"

namespace orx::agent {

const OrxEngineFunctions& engine();
void setEngine(const OrxEngineFunctions& functions);

} // namespace orx::agent

#endif
