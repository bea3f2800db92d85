// The plug-in that a topic type registers with a participant: the type engine behind a table.
#include "zddsc/type_plugin.h"

#include "middleware/types/Serialization.hpp"
#include "zddsc/type_engine.h"

using namespace zdds::types;

void* DDS_TypePlugin_create_sample(const DDS_TypePlugin* self) {
    return self == nullptr ? nullptr : DDS_Type_create_data(self->type);
}

void* DDS_TypePlugin_create_sample_from_cdr(const DDS_TypePlugin* self, const char* buffer, size_t length) {
    return self == nullptr || buffer == nullptr ? nullptr : createFrom(*self->type, buffer, length);
}

void DDS_TypePlugin_delete_sample(const DDS_TypePlugin* self, void* sample) {
    if (self != nullptr)
        DDS_Type_destroy_data(self->type, sample);
}

DDS_Boolean DDS_TypePlugin_copy_sample(const DDS_TypePlugin* self, void* destination, const void* source) {
    return self != nullptr && DDS_Type_copy(self->type, destination, source);
}

size_t DDS_TypePlugin_get_sample_size(const DDS_TypePlugin* self) {
    return self == nullptr ? 0 : self->type->size;
}

size_t PRESTypePlugin_interpretedGetSerializedSampleSize(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation, const void* sample) {
    return self == nullptr || sample == nullptr ? 0 : serializedSize(*self->type, representation, sample);
}

DDS_Boolean PRESTypePlugin_interpretedSerialize(const DDS_TypePlugin* self, char* buffer, size_t* length,
    DDS_UnsignedShort representation, const void* sample) {
    if (self == nullptr || length == nullptr || sample == nullptr)
        return DDS_BOOLEAN_FALSE;
    if (buffer != nullptr)
        return serializeInto(*self->type, representation, sample, buffer, length);
    const size_t size = serializedSize(*self->type, representation, sample);
    if (size == 0)
        return DDS_BOOLEAN_FALSE;
    *length = size;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean PRESTypePlugin_interpretedDeserialize(
    const DDS_TypePlugin* self, void* sample, const char* buffer, size_t length) {
    return self != nullptr && sample != nullptr && buffer != nullptr &&
           deserialize(*self->type, sample, buffer, length);
}

DDS_UnsignedLong PRESTypePlugin_interpretedGetSerializedSampleMaxSize(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation) {
    return self == nullptr ? 0 : DDS_Type_get_serialized_sample_max_size(self->type, representation);
}

DDS_UnsignedLong PRESTypePlugin_interpretedGetSerializedKeyMaxSize(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation) {
    return self == nullptr ? 0 : DDS_Type_get_serialized_key_max_size(self->type, representation);
}

DDS_UnsignedLong PRESTypePlugin_interpretedGetSerializedKeyMaxSizeForKeyhash(
    const DDS_TypePlugin* self, DDS_UnsignedShort representation) {
    return self == nullptr ? 0 : DDS_Type_get_serialized_key_max_size_for_keyhash(self->type, representation);
}

DDS_Boolean PRESTypePlugin_interpretedDeserializeKey(
    const DDS_TypePlugin* self, void* sample, const char* buffer, size_t) {
    return self != nullptr && sample != nullptr && DDS_Type_deserialize_key(self->type, sample, buffer, 0);
}
