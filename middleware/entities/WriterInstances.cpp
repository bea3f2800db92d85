// Instances of a writer: register, unregister, dispose, keys. A topic without a key has one, with the nil
// handle, and nothing to register or dispose of.
#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds {

DDS_InstanceHandle_t noteInstance(DDS_DataWriterImpl& writer, const void* sample, bool alive) {
    InstanceKey key;
    if (!key.readSample(*writer.topic->plugin, writer.topic->keyBytes, sample))
        return DDS_HANDLE_NIL;
    Guard guard(writer.instancesMutex);
    Instance* instance = alive ? writer.instances.assertInstance(key) : writer.instances.find(key.handle());
    if (instance == nullptr)
        return DDS_HANDLE_NIL;
    const DDS_InstanceHandle_t handle = instance->handle;
    if (alive)
        instance->state = DDS_ALIVE_INSTANCE_STATE;
    else
        writer.instances.remove(*instance); // whoever writes an instance for each sample keeps none of them
    return handle;
}

namespace {

DDS_ReturnCode_t endInstance(
    DDS_DataWriter* self, const void* sample, engine::SampleKind kind, const DDS_Time_t* sourceTimestamp) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->topic->isKeyed())
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILURE, "topic '%s' has no key", self->topic->name);
    int64_t sourceTimeNs = 0;
    int64_t sequenceNumber = 0;
    ZDDS_REQUIRE(toNanoseconds(sourceTimestamp, &sourceTimeNs), DDS_RETCODE_BAD_PARAMETER);
    return writeSample(*self, sample, kind, sourceTimeNs, &sequenceNumber);
}

DDS_ReturnCode_t endInstanceWithParams(
    DDS_DataWriter* self, const void* sample, engine::SampleKind kind, const DDS_WriteParams_t* params) {
    ZDDS_REQUIRE(params != nullptr, DDS_RETCODE_BAD_PARAMETER);
    constexpr DDS_GUID_t everybody{};
    if (!DDS_GUID_equals(&params->destination, &everybody))
        return ZDDS_FAIL(DDS_RETCODE_UNSUPPORTED, NOT_SUPPORTED, "dispose or unregister to one reader");
    const bool isNow = params->source_timestamp.sec == 0 && params->source_timestamp.nanosec == 0;
    return endInstance(self, sample, kind, isNow ? nullptr : &params->source_timestamp);
}

} // namespace
} // namespace zdds

using zdds::engine::SampleKind;

DDS_InstanceHandle_t DDS_DataWriter_register_instance_untypedI(DDS_DataWriter* self, const void* sample) {
    ZDDS_REQUIRE(self != nullptr, DDS_HANDLE_NIL);
    ZDDS_REQUIRE(sample != nullptr, DDS_HANDLE_NIL);
    if (!self->topic->isKeyed() || !self->isOfThisProcess())
        return DDS_HANDLE_NIL;
    return zdds::noteInstance(*self, sample, true);
}

// Registering sends nothing, so that its time has no say.
DDS_InstanceHandle_t DDS_DataWriter_register_instance_w_timestamp_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_Time_t* /*sourceTimestamp*/) {
    return DDS_DataWriter_register_instance_untypedI(self, sample);
}

DDS_InstanceHandle_t DDS_DataWriter_register_instance_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params) {
    ZDDS_REQUIRE(params != nullptr, DDS_HANDLE_NIL);
    params->handle = DDS_DataWriter_register_instance_untypedI(self, sample);
    return params->handle;
}

DDS_ReturnCode_t DDS_DataWriter_unregister_instance_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_InstanceHandle_t* /*handle*/) {
    return zdds::endInstance(self, sample, SampleKind::unregister, nullptr);
}

DDS_ReturnCode_t DDS_DataWriter_unregister_instance_w_timestamp_untypedI(DDS_DataWriter* self,
    const void* sample, const DDS_InstanceHandle_t* /*handle*/, const DDS_Time_t* sourceTimestamp) {
    return zdds::endInstance(self, sample, SampleKind::unregister, sourceTimestamp);
}

DDS_ReturnCode_t DDS_DataWriter_unregister_instance_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params) {
    return zdds::endInstanceWithParams(self, sample, SampleKind::unregister, params);
}

DDS_ReturnCode_t DDS_DataWriter_dispose_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_InstanceHandle_t* /*handle*/) {
    return zdds::endInstance(self, sample, SampleKind::dispose, nullptr);
}

DDS_ReturnCode_t DDS_DataWriter_dispose_w_timestamp_untypedI(DDS_DataWriter* self, const void* sample,
    const DDS_InstanceHandle_t* /*handle*/, const DDS_Time_t* sourceTimestamp) {
    return zdds::endInstance(self, sample, SampleKind::dispose, sourceTimestamp);
}

DDS_ReturnCode_t DDS_DataWriter_dispose_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params) {
    return zdds::endInstanceWithParams(self, sample, SampleKind::dispose, params);
}

DDS_ReturnCode_t DDS_DataWriter_get_key_value_untypedI(
    DDS_DataWriter* self, void* keyHolder, const DDS_InstanceHandle_t* handle) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(keyHolder != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(handle != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::Guard guard(self->instancesMutex);
    const zdds::Instance* instance = self->instances.find(*handle);
    if (instance == nullptr || instance->state != DDS_ALIVE_INSTANCE_STATE)
        return DDS_RETCODE_BAD_PARAMETER;
    instance->key.fill(*self->topic->plugin, keyHolder);
    return DDS_RETCODE_OK;
}

DDS_InstanceHandle_t DDS_DataWriter_lookup_instance_untypedI(DDS_DataWriter* self, const void* keyHolder) {
    ZDDS_REQUIRE(self != nullptr, DDS_HANDLE_NIL);
    ZDDS_REQUIRE(keyHolder != nullptr, DDS_HANDLE_NIL);
    zdds::InstanceKey key;
    if (!self->topic->isKeyed() || !key.readSample(*self->topic->plugin, self->topic->keyBytes, keyHolder))
        return DDS_HANDLE_NIL;
    zdds::Guard guard(self->instancesMutex);
    const zdds::Instance* instance = self->instances.find(key.handle());
    return instance != nullptr && instance->state == DDS_ALIVE_INSTANCE_STATE ? instance->handle
                                                                              : DDS_HANDLE_NIL;
}

DDS_ReturnCode_t DDS_DataWriter_get_loan_untypedI(DDS_DataWriter* self, void** sample) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    *sample = nullptr;
    return DDS_RETCODE_UNSUPPORTED;
}

DDS_ReturnCode_t DDS_DataWriter_discard_loan_untypedI(DDS_DataWriter* self, void* /*sample*/) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return DDS_RETCODE_UNSUPPORTED;
}
