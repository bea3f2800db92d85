/* Conditions and wait sets. */
#ifndef ZDDSC_CONDITIONS_H
#define ZDDSC_CONDITIONS_H

#include "zddsc/entities.h"

ZDDS_BEGIN_C

/* Every condition begins with its DDS_Condition. */
typedef struct DDS_ConditionImpl DDS_Condition;
typedef struct DDS_GuardConditionImpl DDS_GuardCondition;
typedef struct DDS_WaitSetImpl DDS_WaitSet;
typedef DDS_Condition* DDS_ConditionPtr;
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_ConditionSeq, DDS_ConditionPtr);

ZDDSC_EXPORT DDS_Boolean DDS_Condition_get_trigger_value(DDS_Condition* self);

/* What an asynchronous wait set calls for a triggered condition. Borrowed: it stays where it is while it is
 * set. */
struct DDS_ConditionHandler {
    void* handler_data;
    void (*on_condition_triggered)(void* handler_data, DDS_Condition* condition);
};
typedef struct DDS_ConditionHandler DDS_ConditionHandler;
/* Null removes. While the condition is in an asynchronous wait set it does not change. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Condition_set_handler(
    DDS_Condition* self, const DDS_ConditionHandler* handler);
/* The pointer that was set; null when there is none. */
ZDDSC_EXPORT DDS_ConditionHandler* DDS_Condition_get_handler(const DDS_Condition* self);

ZDDSC_EXPORT DDS_Condition* DDS_StatusCondition_as_condition(DDS_StatusCondition* self);
/* A status condition starts with all statuses enabled. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_StatusCondition_set_enabled_statuses(
    DDS_StatusCondition* self, DDS_StatusMask mask);
ZDDSC_EXPORT DDS_StatusMask DDS_StatusCondition_get_enabled_statuses(DDS_StatusCondition* self);
ZDDSC_EXPORT DDS_Entity* DDS_StatusCondition_get_entity(DDS_StatusCondition* self);

/* Triggered while the reader has samples with these states; deleted before its reader. Null on failure. */
ZDDSC_EXPORT DDS_ReadCondition* DDS_DataReader_create_readcondition(DDS_DataReader* self,
    DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_delete_readcondition(
    DDS_DataReader* self, DDS_ReadCondition* condition);
ZDDSC_EXPORT DDS_Condition* DDS_ReadCondition_as_condition(DDS_ReadCondition* self);

/* A read condition that also looks at the key: use it wherever a read condition is wanted. The expression
 * compares one member of the key of the reader's type with a constant:
 *
 *   service_id = 4
 *   instance_id.value = &hex(00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F)
 *
 * An integer is compared with a decimal number, octets with as many pairs of hexadecimal digits as there are;
 * white space is free. Parameters are not used: null, or an empty sequence. Null for anything else, with a
 * line of the log that says what is not understood. */
typedef DDS_ReadCondition DDS_QueryCondition;
ZDDSC_EXPORT DDS_QueryCondition* DDS_DataReader_create_querycondition(DDS_DataReader* self,
    DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates,
    const char* expression, const DDS_StringSeq* parameters);
ZDDSC_EXPORT DDS_ReadCondition* DDS_QueryCondition_as_readcondition(DDS_QueryCondition* self);
ZDDSC_EXPORT DDS_Condition* DDS_QueryCondition_as_condition(DDS_QueryCondition* self);

ZDDSC_EXPORT DDS_GuardCondition* DDS_GuardCondition_new(void);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_GuardCondition_delete(DDS_GuardCondition* self);
ZDDSC_EXPORT DDS_Condition* DDS_GuardCondition_as_condition(DDS_GuardCondition* self);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_GuardCondition_set_trigger_value(
    DDS_GuardCondition* self, DDS_Boolean value);

ZDDSC_EXPORT DDS_WaitSet* DDS_WaitSet_new(void);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_WaitSet_delete(DDS_WaitSet* self);
/* The same; `reserved` is 0. Attached conditions are detached. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_WaitSet_deleteI(DDS_WaitSet* self, int reserved);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_WaitSet_attach_condition(DDS_WaitSet* self, DDS_Condition* condition);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_WaitSet_detach_condition(DDS_WaitSet* self, DDS_Condition* condition);
/* Fills `active` with the conditions that are triggered. One thread may wait at a time
 * (DDS_RETCODE_PRECONDITION_NOT_MET for a second). DDS_RETCODE_TIMEOUT with `active` empty. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_WaitSet_wait(
    DDS_WaitSet* self, DDS_ConditionSeq* active, const DDS_Duration_t* timeout);

ZDDS_END_C

#endif
