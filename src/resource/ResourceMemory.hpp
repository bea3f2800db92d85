// Where the resources of a registry lie: close together, in buffers of a pool.
//
// The periodic collector comes to every resource in each pass. Among everything else on the heap each few of
// them would lie in a page of their own, and with some thousands of resources the processor would look up the
// address of nearly every page anew, which takes it longer than the memory itself. So a resource and the
// short list that a pass reads of it are one buffer, and the buffers of a chunk lie side by side.
// Threads: under the library lock. Ownership: the registry's; what resources have returned is used again, and
// goes back to the heap with the registry.
#ifndef ORX_RESOURCE_MEMORY_HPP
#define ORX_RESOURCE_MEMORY_HPP

#include "src/resource/MonitoringResourceRegistry.h"

namespace orx::resource {

// Null when memory is out.
REDAFastBufferPool* newResourcePool();

// A resource of zeros, or null when memory is out.
ORX_MonitoringResource* takeResource(ORX_MonitoringResourceRegistry& registry);
// Its sequences are finalized.
void returnResource(ORX_MonitoringResource& resource);

// Makes the periodic groups' sequence, empty, with room for so many: beside the resource where they fit, else
// on the heap. False when memory is out. Finalizing it is all that either needs.
bool makePeriodicGroups(ORX_MonitoringResource& resource, DDS_UnsignedLong maximum);

} // namespace orx::resource

#endif
