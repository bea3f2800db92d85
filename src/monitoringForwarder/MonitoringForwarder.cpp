// The life of a forwarder.
#include "src/monitoringForwarder/MonitoringForwarder.h"

#include "src/log/Log.hpp"
#include "src/resource/ApplicationSelection.h"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

using Forwarder = ORX_MonitoringForwarderImpl;
using Property = ORX_MonitoringForwarderProperty_t;

constexpr DDS_StatusMask listenedStatuses = DDS_DATA_AVAILABLE_STATUS | DDS_SUBSCRIPTION_MATCHED_STATUS;

bool listen(Forwarder& self, DDS_DataReader* reader,
    void (*onDataAvailable)(void* listenerData, DDS_DataReader* reader)) {
    const DDS_DataReaderListener listener{.listener_data = &self,
        .on_data_available = onDataAvailable,
        .on_subscription_matched = ORX_MonitoringForwarder_onSubscriptionMatched};
    if (!ORX_MonitoringForwarderEntities_setListener(
            self.parent.entities, reader, &listener, listenedStatuses)) {
        return ORX_ERROR(FAILED_TO_SET, "Listener for topic %s",
            DDS_TopicDescription_get_name(DDS_DataReader_get_topicdescription(reader)));
    }
    return true;
}

bool listenToAll(Forwarder& self) {
    const auto& entities =
        *reinterpret_cast<const ORX_MonitoringForwarderEntitiesImpl*>(self.parent.entities);
    return listen(self, entities.builtinEventReader, ORX_MonitoringForwarder_onEventDataAvailable) &&
           (entities.builtinLoggingReader == nullptr ||
               listen(self, entities.builtinLoggingReader, ORX_MonitoringForwarder_onLoggingDataAvailable)) &&
           listen(self, entities.builtinPeriodicReader, ORX_MonitoringForwarder_onPeriodicDataAvailable);
}

bool createWaitSet(Forwarder& self) {
    self.asyncWaitSetListener.listener_data = &self;
    self.asyncWaitSetListener.on_condition_detached = ORX_MonitoringForwarder_onConditionDetachedCallback;
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.wait_timeout = {0, 500'000'000U};
    property.thread_name_prefix = DDS_String_dup("oMo##Fwd");
    if (property.thread_name_prefix != nullptr)
        self.samplesAsyncWaitSet = DDS_AsyncWaitSet_new_with_listener(&property, &self.asyncWaitSetListener);
    DDS_AsyncWaitSetProperty_t_finalize(&property);
    if (self.samplesAsyncWaitSet == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "AsyncWaitSet for the monitoring samples");
    return true;
}

bool createRequestHandler(Forwarder& self) {
    self.requestResourceRegistryHandler = ORX_MonitoringForwarderConditionHandler_new(
        &self, nullptr, ORX_MonitoringForwarder_onRequestResourceRegistryConditionTriggered);
    if (self.requestResourceRegistryHandler == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Condition to handle resource registry requests");
    return true;
}

// What stands beside what can be reached from outside. Samples arrive from the enabling on; requests are sent
// from the start of the wait set on, when there is something to send them with.
bool createParts(Forwarder& self, DDS_DomainParticipant* participant, const Property& property) {
    self.applicationRegistry = ORX_MonitoringForwarderApplicationRegistry_new();
    if (self.applicationRegistry == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Forwarder Application Registry\n");
    self.parent.entities = ORX_MonitoringForwarderEntities_new(self.parent.factory, participant, &property);
    if (self.parent.entities == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Forwarder entities\n");
    return listenToAll(self) && createWaitSet(self) && createRequestHandler(self);
}

bool start(Forwarder& self, const Property& property) {
    if (!ORX_MonitoringForwarderEntities_enable(self.parent.entities))
        return ORX_ERROR(FAILED_TO_ENABLE, "Monitoring Forwarder reader entities\n");
    if (!ORX_MonitoringForwarder_createCommandManager(&self, &property))
        return false;
    if (DDS_AsyncWaitSet_start(self.samplesAsyncWaitSet) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_ENABLE, "AsyncWaitSet for the monitoring samples");
    return true;
}

bool initialize(Forwarder& self, DDS_DomainParticipantFactory* factory, DDS_DomainParticipant* participant,
    const Property& property) {
    self.parent.factory = factory;
    if (!createParts(self, participant, property))
        return false;
    DDS_Condition* condition = self.requestResourceRegistryHandler->condition;
    if (DDS_AsyncWaitSet_attach_condition(self.samplesAsyncWaitSet, condition) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_ATTACH, "Condition to handle resource registry requests");
    if (start(self, property))
        return true;
    if (DDS_AsyncWaitSet_detach_condition(self.samplesAsyncWaitSet, condition) != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_DETACH, "Condition to handle resource registry requests");
    return false;
}

bool deleteWaitSet(Forwarder& self) {
    if (self.samplesAsyncWaitSet == nullptr)
        return true;
    if (DDS_AsyncWaitSet_stop(self.samplesAsyncWaitSet) != DDS_RETCODE_OK ||
        DDS_AsyncWaitSet_delete(self.samplesAsyncWaitSet) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Forwarder AsyncWaitSet");
    }
    self.samplesAsyncWaitSet = nullptr;
    return true;
}

// Copes with any part of the construction. False where something stays that still refers to the forwarder:
// then the rest stays too, and it may be called again.
bool finalize(Forwarder& self) {
    if (!ORX_MonitoringForwarder_deleteCommandManager(&self) || !deleteWaitSet(self))
        return false;
    if (!ORX_MonitoringForwarderEntities_delete(self.parent.entities, self.parent.factory))
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Forwarder entities\n");
    self.parent.entities = nullptr;
    ORX_MonitoringForwarderConditionHandler_delete(self.requestResourceRegistryHandler);
    self.requestResourceRegistryHandler = nullptr;
    ORX_MonitoringForwarderApplicationRegistry_delete(self.applicationRegistry);
    self.applicationRegistry = nullptr;
    return true;
}

} // namespace

ORX_MonitoringForwarder* ORX_MonitoringForwarder_newI(DDS_DomainParticipantFactory* factory,
    DDS_DomainParticipant* participant, const ORX_MonitoringForwarderProperty_t* property) {
    Forwarder* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringForwarderImpl))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "struct ORX_MonitoringForwarder\n");
    if (!initialize(*self, factory, participant, *property)) {
        ORX_MonitoringForwarder_delete(&self->parent);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "struct ORX_MonitoringForwarder\n");
    }
    return &self->parent;
}

ORX_MonitoringForwarder* ORX_MonitoringForwarder_new(
    DDS_DomainParticipantFactory* factory, const ORX_MonitoringForwarderProperty_t* property) {
    ORX_FAIL_IF(factory == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    return ORX_MonitoringForwarder_newI(factory, nullptr, property);
}

ORX_MonitoringForwarder* ORX_MonitoringForwarder_new_w_participant(
    DDS_DomainParticipant* participant, const ORX_MonitoringForwarderProperty_t* property) {
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    return ORX_MonitoringForwarder_newI(
        DDS_DomainParticipant_get_participant_factoryI(participant), participant, property);
}

void ORX_MonitoringForwarder_delete(ORX_MonitoringForwarder* self) {
    if (self == nullptr)
        return;
    auto* impl = reinterpret_cast<Forwarder*>(self);
    if (finalize(*impl))
        ORXOsapiHeap_freeStructure(impl);
}

DDS_Boolean ORX_MonitoringForwarder_lock_application_registry(ORX_MonitoringForwarder* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return ORX_MonitoringForwarderApplicationRegistry_lock(
               reinterpret_cast<Forwarder*>(self)->applicationRegistry)
               ? DDS_BOOLEAN_TRUE
               : DDS_BOOLEAN_FALSE;
}

DDS_Boolean ORX_MonitoringForwarder_unlock_application_registry(ORX_MonitoringForwarder* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return ORX_MonitoringForwarderApplicationRegistry_unlock(
               reinterpret_cast<Forwarder*>(self)->applicationRegistry)
               ? DDS_BOOLEAN_TRUE
               : DDS_BOOLEAN_FALSE;
}

DDS_Boolean ORX_MonitoringForwarder_find_matching_applications(ORX_MonitoringForwarder* self,
    ORX_MonitoringForwarderApplicationResourcePtrSeq* app_seq, const char* resource_name_expr) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(app_seq == ORX_NULL);
    ORX_FAIL_IF(resource_name_expr == ORX_NULL);
    if (!ORX_MonitoringForwarderApplicationRegistry_findMatchingApplications(
            reinterpret_cast<Forwarder*>(self)->applicationRegistry, app_seq, resource_name_expr)) {
        return ORX_ERROR(
            FAILED_TO_FIND, "Applications Matching the application selector '%s'", resource_name_expr);
    }
    return DDS_BOOLEAN_TRUE;
}
