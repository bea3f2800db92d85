// Instances of a reader, and the samples that are put into it by hand.
#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/log/DdsLog.hpp"

DDS_ReturnCode_t DDS_DataReader_get_key_value_untypedI(
    DDS_DataReader* self, void* keyHolder, const DDS_InstanceHandle_t* handle) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(keyHolder != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(handle != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->cache.fillKey(*handle, keyHolder) ? DDS_RETCODE_OK : DDS_RETCODE_BAD_PARAMETER;
}

DDS_InstanceHandle_t DDS_DataReader_lookup_instance_untypedI(DDS_DataReader* self, const void* keyHolder) {
    ZDDS_REQUIRE(self != nullptr, DDS_HANDLE_NIL);
    ZDDS_REQUIRE(keyHolder != nullptr, DDS_HANDLE_NIL);
    zdds::InstanceKey key;
    if (!self->topic->isKeyed() || !key.readSample(*self->topic->plugin, self->topic->keyBytes, keyHolder))
        return DDS_HANDLE_NIL;
    const DDS_InstanceHandle_t handle = key.handle();
    return self->cache.knows(handle) ? handle : DDS_HANDLE_NIL;
}

// Queues of remote writers belong to isolated readers, which nothing fills yet.
static DDS_ReturnCode_t refuseQueue(const DDS_DataReader* self, const DDS_GUID_t* writerGuid) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(writerGuid != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return ZDDS_FAIL(DDS_RETCODE_UNSUPPORTED, NOT_SUPPORTED,
        "remote writer queue of the reader of topic '%s'", self->topic->name);
}

DDS_ReturnCode_t DDS_DataReader_assert_remote_writer_queue(
    DDS_DataReader* self, const DDS_GUID_t* writerGuid, const DDS_DataWriterQos* /*qos*/) {
    return refuseQueue(self, writerGuid);
}

DDS_ReturnCode_t DDS_DataReader_delete_remote_writer_queue(
    DDS_DataReader* self, const DDS_GUID_t* writerGuid) {
    return refuseQueue(self, writerGuid);
}

DDS_ReturnCode_t DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(DDS_DataReader* self,
    const void* /*sample*/, const DDS_GUID_t* writerGuid, DDS_WriteParams_t* /*params*/) {
    return refuseQueue(self, writerGuid);
}

DDS_ReturnCode_t DDS_DataReader_add_unregister_to_remote_writer_queue_untypedI(DDS_DataReader* self,
    const DDS_GUID_t* writerGuid, DDS_WriteParams_t* /*params*/, const DDS_GUID_t* /*instance*/) {
    return refuseQueue(self, writerGuid);
}

DDS_ReturnCode_t DDS_DataReader_add_dispose_to_remote_writer_queue_untypedI(DDS_DataReader* self,
    const DDS_GUID_t* writerGuid, DDS_WriteParams_t* /*params*/, const DDS_GUID_t* /*instance*/) {
    return refuseQueue(self, writerGuid);
}
