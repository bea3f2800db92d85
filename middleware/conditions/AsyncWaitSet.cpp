#include "middleware/conditions/AsyncWaitSet.hpp"

#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace {

constexpr const char* defaultThreadName = "oZddsAsync";
constexpr int joinTimeoutMs = 20'000;
constexpr ORXNtpTime pauseWithoutMemory{.sec = 0, .frac = 0x03000000}; // 12 ms

} // namespace

DDS_AsyncWaitSetCompletionToken* const DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE = nullptr;

DDS_AsyncWaitSetImpl::~DDS_AsyncWaitSetImpl() {
    if (waitSet_ != nullptr)
        DDS_WaitSet_delete(waitSet_);
    if (wakeUp_ != nullptr)
        DDS_GuardCondition_delete(wakeUp_);
    while (Membership* member = members_.first()) {
        members_.remove(*member);
        zdds::destroy(member);
    }
    DDS_AsyncWaitSetProperty_t_finalize(&property_);
}

bool DDS_AsyncWaitSetImpl::initialize(
    const DDS_AsyncWaitSetProperty_t& chosen, const DDS_AsyncWaitSetListener* told) {
    property_.wait_timeout = chosen.wait_timeout;
    property_.thread_name_prefix = DDS_String_dup(chosen.thread_name_prefix);
    if (chosen.thread_name_prefix != nullptr && property_.thread_name_prefix == nullptr)
        return false;
    if (told != nullptr)
        listener_ = *told;
    waitSet_ = DDS_WaitSet_new();
    wakeUp_ = DDS_GuardCondition_new();
    return waitSet_ != nullptr && wakeUp_ != nullptr &&
           DDS_WaitSet_attach_condition(waitSet_, wakeUp_) == DDS_RETCODE_OK;
}

bool DDS_AsyncWaitSetImpl::isOwnThread() const {
    zdds::Guard guard(mutex_);
    return isRunning_ && threadId_ == ORXOsapiThread_getCurrentThreadID();
}

// ---- Members ----

void DDS_AsyncWaitSetImpl::beginLeaving(Membership& member, DDS_AsyncWaitSetCompletionToken* token) {
    member.isLeaving = true;
    member.token = token;
    if (token != nullptr)
        token->pending = 1;
    (lastLeaving_ != nullptr ? lastLeaving_->nextLeaving : firstLeaving_) = &member;
    lastLeaving_ = &member;
}

DDS_AsyncWaitSetImpl::Membership* DDS_AsyncWaitSetImpl::takeLeaving() {
    Membership* member = firstLeaving_;
    if (member == nullptr)
        return nullptr;
    firstLeaving_ = member->nextLeaving;
    if (firstLeaving_ == nullptr)
        lastLeaving_ = nullptr;
    members_.remove(*member);
    return member;
}

DDS_ReturnCode_t DDS_AsyncWaitSetImpl::attach(
    DDS_ConditionImpl& condition, DDS_AsyncWaitSetCompletionToken* token) {
    if (DDS_Condition_get_handler(&condition) == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_ATTACH, "condition without a handler");
    auto* member = zdds::create<Membership>("struct Membership", &condition);
    if (member == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_ATTACH, "condition");
    zdds::Cleanup undo([&] { zdds::destroy(member); });
    {
        zdds::Guard guard(mutex_);
        if (const Membership* known = members_.find(condition))
            return !known->isLeaving ? DDS_RETCODE_OK : DDS_RETCODE_PRECONDITION_NOT_MET;
        // A member before the wait set knows it: what it triggers is then handled.
        members_.add(*member);
        if (DDS_WaitSet_attach_condition(waitSet_, &condition) != DDS_RETCODE_OK) {
            members_.remove(*member);
            return DDS_RETCODE_OUT_OF_RESOURCES;
        }
        undo.dismiss();
        if (token != nullptr)
            token->pending = 0;
    }
    if (listener_.on_condition_attached != nullptr)
        listener_.on_condition_attached(listener_.listener_data, &condition);
    return DDS_RETCODE_OK;
}

// Leaving shows at once; who takes it out is the thread, between two handlers, or the caller where no thread
// runs.
DDS_ReturnCode_t DDS_AsyncWaitSetImpl::detach(
    DDS_ConditionImpl& condition, DDS_AsyncWaitSetCompletionToken* token, Wait wait) {
    const bool isOwn = isOwnThread();
    zdds::Guard guard(mutex_);
    Membership* member = members_.find(condition);
    if (member == nullptr || member->isLeaving) {
        guard.release();
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DETACH,
            "condition: it is not in the asynchronous wait set");
    }
    DDS_AsyncWaitSetCompletionTokenImpl own;
    if (wait == Wait::untilDone && !isOwn)
        token = &own;
    beginLeaving(*member, token);
    if (!isRunning_) {
        guard.release();
        settleLeaving();
        return DDS_RETCODE_OK;
    }
    DDS_GuardCondition_set_trigger_value(wakeUp_, DDS_BOOLEAN_TRUE);
    while (own.pending != 0)
        changed_.wait(mutex_);
    return DDS_RETCODE_OK;
}

void DDS_AsyncWaitSetImpl::settleLeaving() {
    zdds::Guard guard(mutex_);
    while (Membership* member = takeLeaving()) {
        DDS_ConditionImpl* condition = member->condition;
        DDS_AsyncWaitSetCompletionToken* token = member->token;
        DDS_WaitSet_detach_condition(waitSet_, condition);
        guard.release();
        if (listener_.on_condition_detached != nullptr)
            listener_.on_condition_detached(listener_.listener_data, condition);
        guard.take();
        // Whoever waits may go on only now, with the listener told.
        zdds::destroy(member);
        if (token != nullptr)
            token->pending = 0;
        changed_.wakeAll();
    }
}

DDS_ReturnCode_t DDS_AsyncWaitSetImpl::listConditions(DDS_ConditionSeq& conditions) {
    zdds::Guard guard(mutex_);
    DDS_Long count = 0;
    for (const Membership* one = members_.first(); one != nullptr; one = one->place.next)
        count += one->isLeaving ? 0 : 1;
    if (!DDS_ConditionSeq_ensure_length(&conditions, count, count))
        return ZDDS_FAIL(
            DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_SET, "length %d of the attached conditions", count);
    DDS_Long index = 0;
    for (const Membership* one = members_.first(); one != nullptr; one = one->place.next) {
        if (!one->isLeaving)
            *DDS_ConditionSeq_get_reference(&conditions, index++) = one->condition;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSetImpl::awaitToken(
    const DDS_AsyncWaitSetCompletionToken& token, zdds::Deadline deadline) {
    if (isOwnThread())
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILURE, "wait for a completion on the own thread");
    zdds::Guard guard(mutex_);
    for (bool inTime = true; token.pending != 0; inTime = changed_.wait(mutex_, deadline)) {
        if (!inTime)
            return DDS_RETCODE_TIMEOUT;
    }
    return DDS_RETCODE_OK;
}

// ---- The thread ----

DDS_ReturnCode_t DDS_AsyncWaitSetImpl::start() {
    zdds::Guard guard(mutex_);
    if (isRunning_)
        return DDS_RETCODE_OK;
    isStopping_ = false;
    const char* name =
        property_.thread_name_prefix != nullptr ? property_.thread_name_prefix : defaultThreadName;
    thread_ =
        ORXOsapiJoinableThread_new(name, ORX_OSAPI_THREAD_PRIORITY_DEFAULT, ORX_OSAPI_THREAD_OPTION_DEFAULT,
            ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT, nullptr, &DDS_AsyncWaitSetImpl::run, this);
    if (thread_ == nullptr)
        return ZDDS_FAIL(
            DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_CREATE, "thread of an asynchronous wait set");
    isRunning_ = true;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSetImpl::stop() {
    if (isOwnThread())
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_FINALIZE,
            "asynchronous wait set: this is its own thread");
    zdds::Guard guard(mutex_);
    while (isJoining_)
        changed_.wait(mutex_);
    ORXOsapiJoinableThread* thread = thread_;
    if (thread == nullptr)
        return DDS_RETCODE_OK;
    isStopping_ = isJoining_ = true;
    DDS_GuardCondition_set_trigger_value(wakeUp_, DDS_BOOLEAN_TRUE);
    guard.release();
    const bool hasEnded = ORXOsapiJoinableThread_stopAndDelete(thread, joinTimeoutMs) != 0;
    guard.take();
    isJoining_ = false;
    changed_.wakeAll();
    if (!hasEnded) {
        guard.release();
        return ZDDS_FAIL(DDS_RETCODE_TIMEOUT, FAILED_TO_FINALIZE, "thread of an asynchronous wait set");
    }
    thread_ = nullptr;
    isRunning_ = false;
    threadId_ = 0;
    guard.release();
    // What was asked for while the thread ended.
    settleLeaving();
    return DDS_RETCODE_OK;
}

void* DDS_AsyncWaitSetImpl::run(void* self) {
    static_cast<DDS_AsyncWaitSetImpl*>(self)->work();
    return nullptr;
}

void DDS_AsyncWaitSetImpl::work() {
    const ORX_UINT64 id = ORXOsapiThread_getCurrentThreadID();
    {
        zdds::Guard guard(mutex_);
        threadId_ = id;
    }
    if (listener_.on_thread_spawned != nullptr)
        listener_.on_thread_spawned(listener_.listener_data, id);
    DDS_ConditionSeq active{};
    for (;;) {
        DDS_GuardCondition_set_trigger_value(wakeUp_, DDS_BOOLEAN_FALSE);
        settleLeaving();
        {
            zdds::Guard guard(mutex_);
            if (isStopping_)
                break;
        }
        const DDS_ReturnCode_t waited = DDS_WaitSet_wait(waitSet_, &active, &property_.wait_timeout);
        if (waited == DDS_RETCODE_TIMEOUT && listener_.on_wait_timeout != nullptr)
            listener_.on_wait_timeout(listener_.listener_data, id);
        if (waited == DDS_RETCODE_OUT_OF_RESOURCES)
            ORXOsapiThread_sleep(&pauseWithoutMemory);
        for (DDS_Long i = 0; waited == DDS_RETCODE_OK && i < DDS_ConditionSeq_get_length(&active); ++i)
            handle(*DDS_ConditionSeq_get(&active, i));
    }
    DDS_ConditionSeq_finalize(&active);
    if (listener_.on_thread_deleted != nullptr)
        listener_.on_thread_deleted(listener_.listener_data, id);
}

// A handler may detach any condition, those that wait for their turn in this round among them; each is looked
// up by its address alone.
void DDS_AsyncWaitSetImpl::handle(DDS_ConditionImpl& condition) {
    const DDS_ConditionHandler* handler = nullptr;
    {
        zdds::Guard guard(mutex_);
        const Membership* member = members_.find(condition);
        if (isStopping_ || member == nullptr || member->isLeaving)
            return;
        handler = member->condition->handler.load(std::memory_order_acquire);
    }
    if (handler != nullptr && handler->on_condition_triggered != nullptr)
        handler->on_condition_triggered(handler->handler_data, &condition);
}

// ---- The functions ----

DDS_AsyncWaitSet* DDS_AsyncWaitSet_new_with_listener(
    const DDS_AsyncWaitSetProperty_t* property, const DDS_AsyncWaitSetListener* listener) {
    ZDDS_REQUIRE(property != nullptr, nullptr);
    auto* self = zdds::create<DDS_AsyncWaitSetImpl>("struct DDS_AsyncWaitSetImpl");
    if (self == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "asynchronous wait set");
    if (self->initialize(*property, listener))
        return self;
    zdds::destroy(self);
    return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "asynchronous wait set");
}

DDS_ReturnCode_t DDS_AsyncWaitSet_delete(DDS_AsyncWaitSet* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (const DDS_ReturnCode_t stopped = self->stop(); stopped != DDS_RETCODE_OK)
        return stopped;
    zdds::destroy(self);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_start(DDS_AsyncWaitSet* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->start();
}

DDS_ReturnCode_t DDS_AsyncWaitSet_stop(DDS_AsyncWaitSet* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->stop();
}

DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition(DDS_AsyncWaitSet* self, DDS_Condition* condition) {
    return DDS_AsyncWaitSet_attach_condition_with_completion_token(
        self, condition, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE);
}

DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition_with_completion_token(
    DDS_AsyncWaitSet* self, DDS_Condition* condition, DDS_AsyncWaitSetCompletionToken* token) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(condition != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->attach(*condition, token);
}

DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition(DDS_AsyncWaitSet* self, DDS_Condition* condition) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(condition != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->detach(*condition, nullptr, DDS_AsyncWaitSetImpl::Wait::untilDone);
}

DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition_with_completion_token(
    DDS_AsyncWaitSet* self, DDS_Condition* condition, DDS_AsyncWaitSetCompletionToken* token) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(condition != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->detach(*condition, token, DDS_AsyncWaitSetImpl::Wait::no);
}

DDS_ReturnCode_t DDS_AsyncWaitSet_get_conditions(DDS_AsyncWaitSet* self, DDS_ConditionSeq* conditions) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(conditions != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->listConditions(*conditions);
}
