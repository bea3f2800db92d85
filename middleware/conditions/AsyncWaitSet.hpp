// An asynchronous wait set from the inside.
//
// Its thread waits in an ordinary wait set, which tells what is triggered; what the thread does about it, and
// who is to be told, stands in the memberships. Threads: one mutex guards those and the state; handlers and
// the listener are called without it. Ownership: memberships are the wait set's.
#ifndef ZDDSC_CONDITIONS_ASYNC_WAIT_SET_HPP
#define ZDDSC_CONDITIONS_ASYNC_WAIT_SET_HPP

#include "middleware/conditions/ConditionImpl.hpp"
#include "zddsc/async_wait_set.h"
#include "zddscore/thread.h"

struct DDS_AsyncWaitSetCompletionTokenImpl {
    unsigned pending = 0; // under the wait set's mutex
    DDS_AsyncWaitSetImpl* waitSet = nullptr;
};

struct DDS_AsyncWaitSetImpl {
    DDS_AsyncWaitSetImpl() = default;
    ~DDS_AsyncWaitSetImpl();
    DDS_AsyncWaitSetImpl(const DDS_AsyncWaitSetImpl&) = delete;
    DDS_AsyncWaitSetImpl& operator=(const DDS_AsyncWaitSetImpl&) = delete;
    // False on failure, with what was made left for the destructor.
    bool initialize(const DDS_AsyncWaitSetProperty_t& chosen, const DDS_AsyncWaitSetListener* told);

    DDS_ReturnCode_t start();
    DDS_ReturnCode_t stop();
    DDS_ReturnCode_t attach(DDS_ConditionImpl& condition, DDS_AsyncWaitSetCompletionToken* token);
    enum class Wait { no, untilDone };
    DDS_ReturnCode_t detach(DDS_ConditionImpl& condition, DDS_AsyncWaitSetCompletionToken* token, Wait wait);
    DDS_ReturnCode_t listConditions(DDS_ConditionSeq& conditions);
    DDS_ReturnCode_t awaitToken(const DDS_AsyncWaitSetCompletionToken& token, zdds::Deadline deadline);
    bool isOwnThread() const;

private:
    struct Membership {
        DDS_ConditionImpl* condition;
        DDS_AsyncWaitSetCompletionToken* token = nullptr; // waits for the detachment
        bool isLeaving = false;
        Membership* nextLeaving = nullptr;
        zdds::conditions::MemberPlace<Membership> place{};

        const DDS_ConditionImpl* member() const { return condition; }
    };

    static void* run(void* self);
    void work();
    void handle(DDS_ConditionImpl& condition);
    void settleLeaving();
    // With the mutex held.
    void beginLeaving(Membership& member, DDS_AsyncWaitSetCompletionToken* token);
    Membership* takeLeaving();

    DDS_AsyncWaitSetProperty_t property_{};
    DDS_AsyncWaitSetListener listener_{};
    DDS_WaitSet* waitSet_ = nullptr;
    DDS_GuardCondition* wakeUp_ = nullptr; // for the thread to look at the state
    mutable zdds::Mutex mutex_;
    zdds::Condition changed_;
    zdds::conditions::MemberTable<Membership> members_;
    Membership* firstLeaving_ = nullptr; // in the order of asking
    Membership* lastLeaving_ = nullptr;
    ORXOsapiJoinableThread* thread_ = nullptr;
    ORX_UINT64 threadId_ = 0;
    bool isRunning_ = false; // from start until stop has joined the thread
    bool isStopping_ = false;
    bool isJoining_ = false; // somebody waits for the end of the thread, and will free it
};

#endif
