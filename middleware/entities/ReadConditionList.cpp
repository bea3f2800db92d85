#include "middleware/entities/ReadConditionList.hpp"

#include "middleware/conditions/QueryExpression.hpp"
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

namespace {

DDS_ReadConditionImpl* createCondition(DDS_DataReaderImpl& reader, DDS_SampleStateMask sampleStates,
    DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates, const KeyFilter& key) {
    SampleSelection selection;
    selection.sampleStates = sampleStates;
    selection.viewStates = viewStates;
    selection.instanceStates = instanceStates;
    selection.key = key;
    auto* condition =
        create<DDS_ReadConditionImpl>("struct DDS_ReadConditionImpl", reader, reader.cache, selection);
    if (condition == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "read condition");
    reader.readConditions.add(*condition);
    return condition;
}

} // namespace
} // namespace zdds

DDS_ReadCondition* DDS_DataReader_create_readcondition(DDS_DataReader* self, DDS_SampleStateMask sampleStates,
    DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return zdds::createCondition(*self, sampleStates, viewStates, instanceStates, {});
}

DDS_QueryCondition* DDS_DataReader_create_querycondition(DDS_DataReader* self,
    DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates,
    const char* expression, const DDS_StringSeq* parameters) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(expression != nullptr, nullptr);
    if (parameters != nullptr && DDS_StringSeq_get_length(parameters) != 0)
        return ZDDS_FAIL(nullptr, NOT_SUPPORTED, "parameters of the query '%s'", expression);
    zdds::KeyFilter key;
    const char* defect = zdds::conditions::parseQuery(*self->topic->plugin, expression, &key);
    if (defect != nullptr)
        return ZDDS_FAIL(nullptr, BAD_PARAMETER_FAILURE, "query '%s' of topic '%s': %s", expression,
            self->topic->name, defect);
    return zdds::createCondition(*self, sampleStates, viewStates, instanceStates, key);
}

DDS_ReadCondition* DDS_QueryCondition_as_readcondition(DDS_QueryCondition* self) {
    return self;
}

DDS_Condition* DDS_QueryCondition_as_condition(DDS_QueryCondition* self) {
    return self;
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
