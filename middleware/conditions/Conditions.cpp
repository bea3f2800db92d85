#include "middleware/conditions/ConditionImpl.hpp"
#include "middleware/conditions/ConditionsMutex.hpp"
#include "middleware/conditions/ReadConditionImpl.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds::conditions {

constinit Mutex conditionsMutex;

bool isTriggered(const DDS_ConditionImpl& condition) {
    switch (condition.kind) {
    case ConditionKind::guard:
        return static_cast<const DDS_GuardConditionImpl&>(condition).value;
    case ConditionKind::status: {
        const auto& status = static_cast<const DDS_StatusConditionImpl&>(condition);
        return (status.statusChanges & status.enabledStatuses) != 0;
    }
    case ConditionKind::read: {
        const auto& read = static_cast<const DDS_ReadConditionImpl&>(condition);
        return read.cache.count(read.selection, 1) > 0;
    }
    }
    return false;
}

Waker::~Waker() {
    if (holdsMutex_)
        conditionsMutex.unlock();
}

void Waker::wake(const DDS_ConditionImpl& condition) {
    if (condition.attachmentCount == 0)
        return;
    if (!holdsMutex_)
        conditionsMutex.lock();
    holdsMutex_ = true;
    for (Attachment* a = condition.attachments; a != nullptr; a = a->nextOfCondition) {
        a->waitSet->candidates.add(*a);
        if (a->waitSet->isWoken)
            continue;
        a->waitSet->isWoken = true;
        a->waitSet->changed.wakeAll();
    }
}

void wakeWaiters(const DDS_ConditionImpl& condition) {
    Waker().wake(condition);
}

} // namespace zdds::conditions

using namespace zdds::conditions;

void DDS_StatusConditionImpl::raise(DDS_StatusMask statuses) {
    statusChanges.fetch_or(statuses);
    wakeWaiters(*this);
}

DDS_Boolean DDS_Condition_get_trigger_value(DDS_Condition* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    return isTriggered(*self);
}

DDS_ReturnCode_t DDS_Condition_set_handler(DDS_Condition* self, const DDS_ConditionHandler* handler) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    self->handler.store(handler, std::memory_order_release);
    return DDS_RETCODE_OK;
}

DDS_ConditionHandler* DDS_Condition_get_handler(const DDS_Condition* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return const_cast<DDS_ConditionHandler*>(self->handler.load(std::memory_order_acquire));
}

DDS_Condition* DDS_StatusCondition_as_condition(DDS_StatusCondition* self) {
    return self;
}

DDS_ReturnCode_t DDS_StatusCondition_set_enabled_statuses(DDS_StatusCondition* self, DDS_StatusMask mask) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    self->enabledStatuses = mask;
    wakeWaiters(*self);
    return DDS_RETCODE_OK;
}

DDS_StatusMask DDS_StatusCondition_get_enabled_statuses(DDS_StatusCondition* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_STATUS_MASK_NONE);
    return self->enabledStatuses;
}

DDS_Entity* DDS_StatusCondition_get_entity(DDS_StatusCondition* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->entity;
}

DDS_GuardCondition* DDS_GuardCondition_new(void) {
    auto* self = zdds::create<DDS_GuardConditionImpl>("struct DDS_GuardConditionImpl");
    return self != nullptr ? self : ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "guard condition");
}

DDS_ReturnCode_t DDS_GuardCondition_delete(DDS_GuardCondition* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    detachEverywhere(*self);
    zdds::destroy(self);
    return DDS_RETCODE_OK;
}

DDS_Condition* DDS_GuardCondition_as_condition(DDS_GuardCondition* self) {
    return self;
}

DDS_ReturnCode_t DDS_GuardCondition_set_trigger_value(DDS_GuardCondition* self, DDS_Boolean value) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    self->value = value != 0;
    if (value)
        wakeWaiters(*self);
    return DDS_RETCODE_OK;
}
