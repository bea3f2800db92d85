/* What the files of the shim share. */
#ifndef ORX_AGENT_SHIM_INTERNAL_H
#define ORX_AGENT_SHIM_INTERNAL_H

#include <stdbool.h>

#include "agent/shim/DataCounters.h"
#include "agent/shim/Interposed.h"

#define ORX_SHIM_INTERNAL __attribute__((visibility("hidden")))

/* The engine's function of that name; null when it has none. Resolves the engine with the first call. Any
 * thread; errno stays as it was. */
ORX_SHIM_INTERNAL void* orxShim_engineFunction(const char* name);

/* Code of the engine, and of the shim, once the engine has been resolved: whoever calls from there is inside
 * a call of the program that has been seen already. The engine ends some functions with a jump into another
 * of its functions, and so a call may seem to come from whoever called the first one: the shim. */
ORX_SHIM_INTERNAL bool orxShim_isInner(const void* caller);

/* See OrxShimStart. */
ORX_SHIM_INTERNAL void orxShim_attachData(struct OrxDataEntry* entry);
ORX_SHIM_INTERNAL void orxShim_detachData(struct OrxDataEntry* entry);

/* The agent's table while the agent is at work in this process; null before, in a forked child and when the
 * shim stays inert. */
ORX_SHIM_INTERNAL const struct OrxAgentTable* orxShim_agent(void);

/* Puts the sinks of LogShim.c into the engine. Once, when the agent's table is complete, with no lock held:
 * the engine waits for sinks of the program that run. */
ORX_SHIM_INTERNAL void orxShim_installLogSinks(const struct OrxAgentTable* agent);
/* What the agent wants to collect, as categories of the engine's log; see OrxShimStart. */
ORX_SHIM_INTERNAL void orxShim_setCollectedCategories(uint32_t categories);

/* True while this thread hands a line to the agent: what it logs meanwhile is not collected. */
ORX_SHIM_INTERNAL extern _Thread_local bool orxShim_isCollecting;

#endif
