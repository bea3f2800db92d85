// One sample in a reader's cache, and the instance that it belongs to.
//
// Ownership: a sample is the cache's while it is linked, and is kept alive by pins, which loans of reads
// hold; a take unlinks it and makes it the taker's.
#ifndef ZDDSC_ENTITIES_CACHED_SAMPLE_HPP
#define ZDDSC_ENTITIES_CACHED_SAMPLE_HPP

#include <span>

#include "middleware/engine/Engine.hpp"
#include "middleware/entities/InstanceKey.hpp"
#include "zddsc/status.h"

namespace zdds {

// A writer of an instance.
struct InstanceWriter {
    InstanceWriter* next;
    DDS_GUID_t guid;
};

struct CachedSample;
struct Instance;

// A place in a chain, left without a walk.
struct InstanceLink {
    Instance* next = nullptr;
    Instance** link = nullptr; // what points here
};

struct Instance {
    InstanceLink byHandle;
    InstanceLink byTail;
    CachedSample* first = nullptr; // of its samples, in the order of arrival
    CachedSample* last = nullptr;
    InstanceKey key;
    DDS_InstanceHandle_t handle{};
    InstanceWriter* writers = nullptr;
    DDS_InstanceStateMask state = DDS_ALIVE_INSTANCE_STATE;
    bool isNew = true;            // nobody has accessed it since it came alive
    DDS_UnsignedLong samples = 0; // in the cache
    DDS_Long rank = 0;            // scratch of a collection
};

enum class Decoding { done, malformed, outOfMemory };

struct CachedSample {
    CachedSample* previous; // in the cache, in the order of arrival
    CachedSample* next;
    CachedSample* previousOfInstance;
    CachedSample* nextOfInstance;
    Instance* instance; // while linked
    InstanceKey key;    // of a keyed topic
    void* value;        // decoded, or null
    DDS_SampleInfo info;
    uint64_t arrival; // its number among all that entered the cache
    uint32_t size;
    uint32_t pins;
    bool isLinked;
    bool isRead;
    uint8_t* bytes() { return reinterpret_cast<uint8_t*>(this + 1); }

    // A copy of what the engine tells, with the bytes behind it; null when memory is out.
    static CachedSample* create(const engine::IncomingSample& sample);
    // Without bytes: of a sample that is made by hand, whose value may follow.
    static CachedSample* createMade(const engine::IncomingSample& sample, uint32_t countedSize);
    static void destroy(CachedSample* sample, const DDS_TypePlugin& plugin);
    // Decodes once; callers serialize.
    Decoding decode(const DDS_TypePlugin& plugin);
};

} // namespace zdds

#endif
