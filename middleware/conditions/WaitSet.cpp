#include "middleware/conditions/ConditionImpl.hpp"
#include "middleware/conditions/ConditionsMutex.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds::conditions {
namespace {

constexpr DDS_Long spareRoom = 8;

// The mutex is held. Unlinks from both lists, of which the condition's is short; the caller frees.
void unlink(Attachment& attachment) {
    Attachment** link = &attachment.condition->attachments;
    while (*link != &attachment)
        link = &(*link)->nextOfCondition;
    *link = attachment.nextOfCondition;
    --attachment.condition->attachmentCount;
    attachment.waitSet->attachments.remove(attachment);
    attachment.waitSet->candidates.remove(attachment);
    --attachment.waitSet->attachmentCount;
}

// The mutex is held.
void link(Attachment& attachment) {
    attachment.nextOfCondition = attachment.condition->attachments;
    attachment.condition->attachments = &attachment;
    ++attachment.condition->attachmentCount;
    attachment.waitSet->attachments.add(attachment);
    attachment.waitSet->candidates.add(attachment);
    ++attachment.waitSet->attachmentCount;
}

// Lists the triggered conditions, at most `room`, which the sequence has already. The mutex is held. Whoever
// triggers one of the others wakes this again.
DDS_Long listTriggered(DDS_WaitSetImpl& waitSet, DDS_ConditionSeq& active, DDS_Long room) {
    waitSet.isWoken = false;
    DDS_ConditionSeq_set_length(&active, room);
    DDS_Long count = 0;
    for (Attachment* a = waitSet.candidates.first(); a != nullptr && count < room;) {
        Attachment* next = a->nextCandidate;
        if (isTriggered(*a->condition))
            *DDS_ConditionSeq_get_reference(&active, count++) = a->condition;
        else
            waitSet.candidates.remove(*a);
        a = next;
    }
    DDS_ConditionSeq_set_length(&active, count);
    return count;
}

} // namespace

void detachEverywhere(DDS_ConditionImpl& condition) {
    Guard guard(conditionsMutex);
    while (Attachment* attachment = condition.attachments) {
        unlink(*attachment);
        destroy(attachment);
    }
}

} // namespace zdds::conditions

using namespace zdds::conditions;

DDS_WaitSet* DDS_WaitSet_new(void) {
    auto* self = zdds::create<DDS_WaitSetImpl>("struct DDS_WaitSetImpl");
    return self != nullptr ? self : ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "wait set");
}

DDS_ReturnCode_t DDS_WaitSet_deleteI(DDS_WaitSet* self, int /*reserved*/) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::Guard guard(conditionsMutex);
    if (self->isWaiting) {
        guard.release();
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "wait set: a thread waits in it");
    }
    while (Attachment* attachment = self->attachments.first()) {
        unlink(*attachment);
        zdds::destroy(attachment);
    }
    guard.release();
    zdds::destroy(self);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_WaitSet_delete(DDS_WaitSet* self) {
    return DDS_WaitSet_deleteI(self, 0);
}

DDS_ReturnCode_t DDS_WaitSet_attach_condition(DDS_WaitSet* self, DDS_Condition* condition) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(condition != nullptr, DDS_RETCODE_BAD_PARAMETER);
    auto* attachment = zdds::create<Attachment>("struct Attachment", condition, self);
    if (attachment == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_ATTACH, "condition");
    zdds::Guard guard(conditionsMutex);
    if (self->attachments.find(*condition) != nullptr) {
        guard.release();
        zdds::destroy(attachment);
        return DDS_RETCODE_OK;
    }
    link(*attachment);
    self->changed.wakeAll();
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_WaitSet_detach_condition(DDS_WaitSet* self, DDS_Condition* condition) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(condition != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::Guard guard(conditionsMutex);
    Attachment* attachment = self->attachments.find(*condition);
    if (attachment == nullptr) {
        guard.release();
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DETACH, "condition: it is not in the wait set");
    }
    unlink(*attachment);
    guard.release();
    zdds::destroy(attachment);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_WaitSet_wait(
    DDS_WaitSet* self, DDS_ConditionSeq* active, const DDS_Duration_t* timeout) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(active != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(timeout != nullptr, DDS_RETCODE_BAD_PARAMETER);
    const zdds::Deadline deadline = zdds::deadlineIn(*timeout);
    zdds::Guard guard(conditionsMutex);
    if (self->isWaiting) {
        guard.release();
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILURE, "wait set: another thread waits in it");
    }
    self->isWaiting = true;
    // Memory is made before the wait, with the mutex free. Conditions that are attached meanwhile may find no
    // room: they stay triggered for the next wait.
    const DDS_Long room = self->attachmentCount + spareRoom;
    guard.release();
    const bool hasRoom = DDS_ConditionSeq_ensure_length(active, room, room);
    guard.take();
    bool inTime = hasRoom;
    while (hasRoom && listTriggered(*self, *active, room) == 0 && inTime && deadline.remaining() > 0)
        inTime = self->changed.wait(conditionsMutex, deadline);
    self->isWaiting = false;
    guard.release();
    if (!hasRoom)
        return ZDDS_FAIL(
            DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_SET, "length %d of the active conditions", room);
    return DDS_ConditionSeq_get_length(active) > 0 ? DDS_RETCODE_OK : DDS_RETCODE_TIMEOUT;
}
