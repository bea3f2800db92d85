// Instances of a reader.
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
