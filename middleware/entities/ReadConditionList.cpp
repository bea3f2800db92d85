#include "middleware/entities/ReadConditionList.hpp"

#include "middleware/conditions/ReadConditionImpl.hpp"
#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds {

void ReadConditionList::add(DDS_ReadConditionImpl& condition) {
    Guard guard(mutex_);
    condition.next = first_;
    first_ = &condition;
}

bool ReadConditionList::remove(DDS_ReadConditionImpl& condition) {
    Guard guard(mutex_);
    for (DDS_ReadConditionImpl** link = &first_; *link != nullptr; link = &(*link)->next) {
        if (*link != &condition)
            continue;
        *link = condition.next;
        return true;
    }
    return false;
}

bool ReadConditionList::contains(const DDS_ReadConditionImpl& condition) const {
    Guard guard(mutex_);
    for (const DDS_ReadConditionImpl* one = first_; one != nullptr; one = one->next) {
        if (one == &condition)
            return true;
    }
    return false;
}

bool ReadConditionList::isEmpty() const {
    Guard guard(mutex_);
    return first_ == nullptr;
}

void ReadConditionList::wakeWaiters() {
    Guard guard(mutex_);
    for (DDS_ReadConditionImpl* one = first_; one != nullptr; one = one->next)
        conditions::wakeWaiters(*one);
}

} // namespace zdds

DDS_ReadCondition* DDS_DataReader_create_readcondition(DDS_DataReader* self, DDS_SampleStateMask sampleStates,
    DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    zdds::SampleSelection selection;
    selection.sampleStates = sampleStates;
    selection.viewStates = viewStates;
    selection.instanceStates = instanceStates;
    auto* condition =
        zdds::create<DDS_ReadConditionImpl>("struct DDS_ReadConditionImpl", *self, self->cache, selection);
    if (condition == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "read condition");
    self->readConditions.add(*condition);
    return condition;
}

DDS_ReturnCode_t DDS_DataReader_delete_readcondition(DDS_DataReader* self, DDS_ReadCondition* condition) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(condition != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->readConditions.remove(*condition))
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "read condition: it is not of this reader");
    zdds::conditions::detachEverywhere(*condition);
    zdds::destroy(condition);
    return DDS_RETCODE_OK;
}

DDS_Condition* DDS_ReadCondition_as_condition(DDS_ReadCondition* self) {
    return self;
}
