// The read conditions of one reader. Those that wait for a sample with a key of their own are found by the
// tail of the key, so that a sample wakes those that it concerns, however many there are. Threads: any; the
// list's mutex is taken before the conditions'.
#ifndef ZDDSC_ENTITIES_READ_CONDITION_LIST_HPP
#define ZDDSC_ENTITIES_READ_CONDITION_LIST_HPP

#include <array>
#include <atomic>

#include "middleware/conditions/MemberTable.hpp"
#include "middleware/entities/InstanceKey.hpp"
#include "middleware/entities/Sync.hpp"
#include "zddsc/entities.h"

namespace zdds {

class ReadConditionList {
public:
    // keyBytes: of the reader's topic, 0 without a key.
    explicit ReadConditionList(DDS_UnsignedLong keyBytes) : keyBytes_(keyBytes) {}

    void add(DDS_ReadConditionImpl& condition);
    // False when it is not of this list.
    bool remove(DDS_ReadConditionImpl& condition);
    bool contains(const DDS_ReadConditionImpl& condition) const;
    bool isEmpty() const;
    // Lets the waiters look again: a sample with that key arrived. Null: any may have.
    void wakeWaiters(const InstanceKey* key);
    // The same: samples were read, or an instance changed without one. Concerns those that look at such
    // states alone, and costs nothing without them.
    void wakeOnStates();

private:
    static constexpr size_t bucketCount = 512;
    DDS_ReadConditionImpl*& chainOf(const DDS_ReadConditionImpl& condition);

    const DDS_UnsignedLong keyBytes_;
    mutable Mutex mutex_;
    conditions::MemberTable<DDS_ReadConditionImpl> all_;
    // Each is in one chain: by the tail that it awaits, or among the others.
    std::array<DDS_ReadConditionImpl*, bucketCount> byTail_{};
    DDS_ReadConditionImpl* others_ = nullptr;
    std::atomic<unsigned> onStates_{0}; // those of the others that do not await samples
};

} // namespace zdds

#endif
