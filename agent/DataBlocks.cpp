#include "agent/DataBlocks.hpp"

#include <new>

#include "agent/AgentLog.hpp"
#include "src/support/Sync.hpp"
#include "zddscore/heap.h"

namespace orx::agent {

namespace {

void doNothing(OrxDataEntry*) {}
OrxDataEntryFunction attachEntry = doNothing;
OrxDataEntryFunction detachEntry = doNothing;
int64_t (*clockNow)() = zdds::Deadline::now;

// Others may read the fields of a used block: see DataCounters.h.
template <typename Field, typename Value> void store(Field& field, Value value) {
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

void clear(OrxDataCounters& counters) {
    for (uint64_t* counter : {&counters.samples, &counters.readySamples, &counters.readyBytes,
             &counters.disposed, &counters.unregistered})
        store(*counter, uint64_t{0});
}

} // namespace

void setDataEntryFunctions(OrxDataEntryFunction attach, OrxDataEntryFunction detach) {
    attachEntry = attach;
    detachEntry = detach;
}

void setDataBlockClock(int64_t (*clock)()) {
    clockNow = clock != nullptr ? clock : zdds::Deadline::now;
}

// At the end of a test; in a program the pool lives as long as the process.
DataBlockPool::~DataBlockPool() {
    while (DataBlock* block = firstDetached_) {
        firstDetached_ = block->next;
        ORXOsapiHeap_freeMemoryInternal(block);
    }
}

DataBlock* DataBlockPool::take() {
    DataBlock* oldest = firstDetached_;
    if (oldest != nullptr && clockNow() - oldest->detachedAtNs >= quarantineNs) {
        firstDetached_ = oldest->next;
        lastDetached_ = firstDetached_ == nullptr ? nullptr : lastDetached_;
        clear(oldest->counters);
        oldest->next = oldest->nextOfOwner = oldest->nextCondition = nullptr;
        return oldest;
    }
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, sizeof(DataBlock), alignof(DataBlock), 1, "struct orx::agent::DataBlock"))
        return nullptr;
    return new (memory) DataBlock;
}

void DataBlockPool::quarantine(DataBlock& block) {
    block.detachedAtNs = clockNow();
    block.next = nullptr;
    (lastDetached_ != nullptr ? lastDetached_->next : firstDetached_) = &block;
    lastDetached_ = &block;
}

DataBlock* DataBlockPool::attach(int32_t handle, DataBlock*& blocks) {
    DataBlock* block = take();
    if (block == nullptr)
        return AGENT_ERROR(FAILED_TO_ALLOCATE, "counters of an endpoint"), nullptr;
    DataBlock* first = blocks != nullptr ? blocks : block;
    store(block->entry.counters, &first->counters);
    store(block->entry.handle, handle);
    block->owner = &blocks;
    if (first == block) {
        blocks = block;
    } else {
        block->nextOfOwner = first->nextOfOwner;
        first->nextOfOwner = block;
        block->nextCondition = conditions_;
        conditions_ = block;
    }
    attachEntry(&block->entry);
    return block;
}

void DataBlockPool::forgetCondition(const DataBlock& block) {
    for (DataBlock** at = &conditions_; *at != nullptr; at = &(*at)->nextCondition) {
        if (*at != &block)
            continue;
        *at = block.nextCondition;
        return;
    }
}

void DataBlockPool::detachAll(DataBlock*& blocks) {
    DataBlock* first = blocks;
    blocks = nullptr;
    while (DataBlock* block = first) {
        first = block->nextOfOwner;
        detachEntry(&block->entry);
        forgetCondition(*block);
        quarantine(*block);
    }
}

bool DataBlockPool::detachCondition(int32_t handle) {
    DataBlock* block = conditions_;
    while (block != nullptr && block->entry.handle != handle)
        block = block->nextCondition;
    if (block == nullptr)
        return false;
    DataBlock** at = &(*block->owner)->nextOfOwner;
    while (*at != block)
        at = &(*at)->nextOfOwner;
    *at = block->nextOfOwner;
    detachEntry(&block->entry);
    forgetCondition(*block);
    quarantine(*block);
    return true;
}

} // namespace orx::agent
