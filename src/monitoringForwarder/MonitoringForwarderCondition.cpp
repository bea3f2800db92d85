// Conditions of the forwarder's wait set, and what handles them.
#include "src/log/Log.hpp"
#include "src/monitoringForwarder/MonitoringForwarder.h"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

using Handler = ORX_MonitoringForwarderConditionHandler;

DDS_Condition* createCondition(DDS_DataReader* reader) {
    if (reader == nullptr)
        return DDS_GuardCondition_as_condition(DDS_GuardCondition_new());
    return DDS_ReadCondition_as_condition(DDS_DataReader_create_readcondition(
        reader, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE));
}

DDS_ReturnCode_t deleteCondition(DDS_DataReader* reader, DDS_Condition* condition) {
    if (reader == nullptr)
        return DDS_GuardCondition_delete(reinterpret_cast<DDS_GuardCondition*>(condition));
    return DDS_DataReader_delete_readcondition(reader, reinterpret_cast<DDS_ReadCondition*>(condition));
}

} // namespace

ORX_MonitoringForwarderConditionHandler* ORX_MonitoringForwarderConditionHandler_new(
    ORX_MonitoringForwarderImpl* forwarder, DDS_DataReader* reader,
    void (*onConditionTriggered)(void* handlerData, DDS_Condition* condition)) {
    ORX_FAIL_IF(forwarder == ORX_NULL);
    ORX_FAIL_IF(onConditionTriggered == nullptr);
    Handler* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringForwarderConditionHandler))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "struct ORX_MonitoringForwarderConditionHandler");
    self->parent = {.handler_data = self, .on_condition_triggered = onConditionTriggered};
    self->forwarder = forwarder;
    self->reader = reader;
    self->condition = createCondition(reader);
    if (self->condition == nullptr ||
        DDS_Condition_set_handler(self->condition, &self->parent) != DDS_RETCODE_OK) {
        ORX_MonitoringForwarderConditionHandler_delete(self);
        return ORX_ERROR(FAILED_TO_CREATE, "condition of a condition handler");
    }
    return self;
}

void ORX_MonitoringForwarderConditionHandler_delete(ORX_MonitoringForwarderConditionHandler* self) {
    if (self == nullptr)
        return;
    // A reader that is not this condition's keeps it: then handler and condition stay too.
    if (self->condition != nullptr && deleteCondition(self->reader, self->condition) != DDS_RETCODE_OK) {
        ORX_ERROR(FAILED_TO_DELETE, "condition of a condition handler");
        return;
    }
    ORXOsapiHeap_freeStructure(self);
}

void ORX_MonitoringForwarder_onConditionDetachedCallback(void* listenerData, DDS_Condition* condition) {
    ORX_LEAVE_IF(listenerData == ORX_NULL);
    ORX_LEAVE_IF(condition == ORX_NULL);
    const auto* self = static_cast<const ORX_MonitoringForwarderImpl*>(listenerData);
    auto* handler = reinterpret_cast<Handler*>(DDS_Condition_get_handler(condition));
    if (handler != self->requestResourceRegistryHandler)
        ORX_MonitoringForwarderConditionHandler_delete(handler);
}
