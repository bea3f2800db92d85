// Memory of the counters of data calls, and of the entries by which the shim finds them.
//
// A thread of the program may still walk over an entry, or add to a counter, just when its entity ends. So
// blocks are never given back to the heap while the agent runs, and one that was detached is used again only
// `quarantineNs` later: no walk takes that long. Memory thus follows the endpoints that live, and those that
// ended within that time.
//
// Threads: one at a time, under the registry's mutex; the shim reads beside them.
#ifndef ORX_AGENT_DATA_BLOCKS_HPP
#define ORX_AGENT_DATA_BLOCKS_HPP

#include <cstdint>

#include "agent/shim/DataCounters.h"

namespace orx::agent {

struct alignas(64) DataBlock {
    OrxDataCounters counters{};
    OrxDataEntry entry{}; // leads to the counters of the first block of its owner
    DataBlock* next = nullptr;
    DataBlock* nextOfOwner = nullptr;
    DataBlock** owner = nullptr;
    DataBlock* nextCondition = nullptr;
    int64_t detachedAtNs = 0;
};

class DataBlockPool {
public:
    static constexpr int64_t quarantineNs = 10'000'000'000;

    DataBlockPool() = default;
    ~DataBlockPool();
    DataBlockPool(const DataBlockPool&) = delete;
    DataBlockPool& operator=(const DataBlockPool&) = delete;

    // Lets the handle be found, for an owner whose list of blocks begins at `blocks`: the first block has the
    // counters, those behind it are of the owner's conditions. Null when memory is out: nothing is counted
    // then.
    DataBlock* attach(int32_t handle, DataBlock*& blocks);
    void detachAll(DataBlock*& blocks);
    // False when there is no such condition.
    bool detachCondition(int32_t handle);

private:
    DataBlock* take();
    void quarantine(DataBlock& block);
    void forgetCondition(const DataBlock& block);

    // Oldest first.
    DataBlock* firstDetached_ = nullptr;
    DataBlock* lastDetached_ = nullptr;
    DataBlock* conditions_ = nullptr;
};

// The shim's two functions. Once, at the start; without them nothing is counted.
void setDataEntryFunctions(OrxDataEntryFunction attach, OrxDataEntryFunction detach);
// For tests: nanoseconds that the quarantine is measured in; null for the monotonic clock.
void setDataBlockClock(int64_t (*clock)());

} // namespace orx::agent

#endif
