// The read conditions of one reader. Threads: any; the list's mutex is taken before the conditions'.
#ifndef ZDDSC_ENTITIES_READ_CONDITION_LIST_HPP
#define ZDDSC_ENTITIES_READ_CONDITION_LIST_HPP

#include "middleware/entities/Sync.hpp"
#include "zddsc/entities.h"

namespace zdds {

class ReadConditionList {
public:
    void add(DDS_ReadConditionImpl& condition);
    // False when it is not of this list.
    bool remove(DDS_ReadConditionImpl& condition);
    bool contains(const DDS_ReadConditionImpl& condition) const;
    bool isEmpty() const;
    // Lets the waiters of all of them look again: something arrived.
    void wakeWaiters();

private:
    mutable Mutex mutex_;
    DDS_ReadConditionImpl* first_ = nullptr;
};

} // namespace zdds

#endif
