// Conditions and wait sets from the inside.
//
// A condition's trigger is read from atomics, so that whoever raises it takes no lock unless a wait set is
// there. Threads: one mutex of the process guards which condition is in which wait set, and is what waiters
// sleep with. It is a leaf: nothing is called out while it is held. The order of the two steps is what makes
// a wake-up certain: a raiser stores the trigger and then looks for wait sets, a waiter is attached and then
// looks at the trigger. Ownership: a status condition is part of its entity; guard conditions and wait sets
// belong to who made them.
#ifndef ZDDSC_CONDITIONS_CONDITION_IMPL_HPP
#define ZDDSC_CONDITIONS_CONDITION_IMPL_HPP

#include <atomic>

#include "middleware/conditions/MemberTable.hpp"
#include "middleware/entities/Sync.hpp"
#include "zddsc/conditions.h"

namespace zdds::conditions {

enum class ConditionKind { status, guard, read };

// Membership of one condition in one wait set.
struct Attachment {
    DDS_ConditionImpl* condition;
    DDS_WaitSetImpl* waitSet;
    Attachment* nextOfCondition = nullptr;
    MemberPlace<Attachment> place{}; // in the wait set
    Attachment* nextCandidate = nullptr;
    Attachment** linkCandidate = nullptr; // what points here; null while it is no candidate

    const DDS_ConditionImpl* member() const { return condition; }
};

// Those of a wait set that may be triggered, in the order in which they came to be: a waiter looks at no
// others, so that a wake-up costs what it concerns, however many conditions there are. One joins when it is
// attached and when its condition is woken, and leaves when it was found not to be triggered.
class Candidates {
public:
    Candidates() = default;
    Candidates(const Candidates&) = delete;
    Candidates& operator=(const Candidates&) = delete;

    Attachment* first() const { return first_; }
    // Again is fine, for both.
    void add(Attachment& one) {
        if (one.linkCandidate != nullptr)
            return;
        one.nextCandidate = nullptr;
        one.linkCandidate = end_;
        *end_ = &one;
        end_ = &one.nextCandidate;
    }
    void remove(Attachment& one) {
        if (one.linkCandidate == nullptr)
            return;
        *one.linkCandidate = one.nextCandidate;
        (one.nextCandidate != nullptr ? one.nextCandidate->linkCandidate : end_) = one.linkCandidate;
        one.linkCandidate = nullptr;
    }

private:
    Attachment* first_ = nullptr;
    Attachment** end_ = &first_; // where the next one is linked
};

} // namespace zdds::conditions

struct DDS_ConditionImpl {
    explicit DDS_ConditionImpl(zdds::conditions::ConditionKind conditionKind) : kind(conditionKind) {}
    const zdds::conditions::ConditionKind kind;
    zdds::conditions::Attachment* attachments = nullptr; // under the conditions' mutex
    std::atomic<DDS_UnsignedLong> attachmentCount{0};    // of the list; sequentially consistent, see above
    std::atomic<const DDS_ConditionHandler*> handler{nullptr};
};

// statusChanges are the entity's; the condition is triggered while an enabled one is raised.
struct DDS_StatusConditionImpl : DDS_ConditionImpl {
    explicit DDS_StatusConditionImpl(DDS_EntityImpl* owner)
        : DDS_ConditionImpl(zdds::conditions::ConditionKind::status), entity(owner) {}
    DDS_EntityImpl* const entity;
    std::atomic<DDS_StatusMask> enabledStatuses{DDS_STATUS_MASK_ALL};
    std::atomic<DDS_StatusMask> statusChanges{0};

    void raise(DDS_StatusMask statuses);
    void clear(DDS_StatusMask statuses) { statusChanges.fetch_and(~statuses); }
};

struct DDS_GuardConditionImpl : DDS_ConditionImpl {
    DDS_GuardConditionImpl() : DDS_ConditionImpl(zdds::conditions::ConditionKind::guard) {}
    std::atomic<bool> value{false};
};

struct DDS_WaitSetImpl {
    zdds::conditions::MemberTable<zdds::conditions::Attachment> attachments;
    zdds::conditions::Candidates candidates;
    DDS_Long attachmentCount = 0;
    bool isWaiting = false; // one thread at a time
    bool isWoken = false;   // since the waiter looked last: once is enough
    zdds::Condition changed;
};

namespace zdds::conditions {

bool isTriggered(const DDS_ConditionImpl& condition);
// Wakes the waiters of every wait set that a condition is in, to look again. For many conditions at once: the
// mutex is taken with the first that is in a wait set and held until the end, and a wait set is woken once.
class Waker {
public:
    Waker() = default;
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;
    void wake(const DDS_ConditionImpl& condition);

private:
    bool holdsMutex_ = false;
};
void wakeWaiters(const DDS_ConditionImpl& condition);
// Takes the condition out of every wait set: called before it goes away.
void detachEverywhere(DDS_ConditionImpl& condition);

} // namespace zdds::conditions

#endif
