#include "middleware/entities/ReadConditionList.hpp"

#include "middleware/conditions/QueryExpression.hpp"
#include "middleware/conditions/ReadConditionImpl.hpp"
#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds {

DDS_ReadConditionImpl*& ReadConditionList::chainOf(const DDS_ReadConditionImpl& condition) {
    const uint8_t* tail = condition.awaitsSamples() ? condition.selection.key.tail(keyBytes_) : nullptr;
    return tail != nullptr ? byTail_[hashOfKeyTail(tail, keyBytes_) % bucketCount] : others_;
}

void ReadConditionList::add(DDS_ReadConditionImpl& condition) {
    Guard guard(mutex_);
    all_.add(condition);
    DDS_ReadConditionImpl*& chain = chainOf(condition);
    condition.nextAwaiting = chain;
    condition.linkAwaiting = &chain;
    if (chain != nullptr)
        chain->linkAwaiting = &condition.nextAwaiting;
    chain = &condition;
    onStates_ += condition.awaitsSamples() ? 0U : 1U;
}

bool ReadConditionList::remove(DDS_ReadConditionImpl& condition) {
    Guard guard(mutex_);
    if (all_.find(condition) == nullptr)
        return false;
    all_.remove(condition);
    *condition.linkAwaiting = condition.nextAwaiting;
    if (condition.nextAwaiting != nullptr)
        condition.nextAwaiting->linkAwaiting = condition.linkAwaiting;
    onStates_ -= condition.awaitsSamples() ? 0U : 1U;
    return true;
}

bool ReadConditionList::contains(const DDS_ReadConditionImpl& condition) const {
    Guard guard(mutex_);
    return all_.find(condition) != nullptr;
}

bool ReadConditionList::isEmpty() const {
    Guard guard(mutex_);
    return all_.first() == nullptr;
}

void ReadConditionList::wakeWaiters(const InstanceKey* key) {
    Guard guard(mutex_);
    if (all_.first() == nullptr)
        return;
    conditions::Waker waker;
    if (key == nullptr) {
        for (DDS_ReadConditionImpl* one = all_.first(); one != nullptr; one = one->place.next)
            waker.wake(*one);
        return;
    }
    for (DDS_ReadConditionImpl* one = others_; one != nullptr; one = one->nextAwaiting) {
        if (!one->awaitsSamples() || one->selection.key.accepts(*key))
            waker.wake(*one);
    }
    if (keyBytes_ == 0)
        return;
    const size_t hash = hashOfKeyTail(key->bytes + keyTailOffset(keyBytes_), keyBytes_);
    for (DDS_ReadConditionImpl* one = byTail_[hash % bucketCount]; one != nullptr; one = one->nextAwaiting) {
        if (one->selection.key.accepts(*key))
            waker.wake(*one);
    }
}

// Who waits with such a condition was counted before it looked at the states: one of the two sees the other.
void ReadConditionList::wakeOnStates() {
    if (onStates_ == 0)
        return;
    Guard guard(mutex_);
    conditions::Waker waker;
    for (DDS_ReadConditionImpl* one = others_; one != nullptr; one = one->nextAwaiting) {
        if (!one->awaitsSamples())
            waker.wake(*one);
    }
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
