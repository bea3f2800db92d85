#include "Families.hpp"

namespace {

bool always(const Type&) {
    return true;
}
bool isNoEnumeration(const Type& type) {
    return type.kind != Kind::Enum;
}
bool isAggregate(const Type& type) {
    return type.isAggregate();
}

constexpr Function accessFunctions[] = {
    {"const DDS_TypeCode *", "$T_get_typecode", "void", "return &$D;"},
    {"const ORXXCdrSampleAccessInfo *", "$T_get_sample_access_info", "void",
        "return DDS_Type_get_sample_access_info(&$D);"},
    {"const DDS_TypePlugin *", "$T_get_type_plugin_info", "void", "return &$P;"},
};

constexpr Function lifeFunctions[] = {
    {"DDS_Boolean", "$T_initialize", "$T *self", "return DDS_Type_initialize(&$D, self);"},
    {"DDS_Boolean", "$T_initialize_ex", "$T *self, DDS_Boolean allocatePointers, DDS_Boolean allocateMemory",
        "return DDS_Type_initialize_ex(&$D, self, allocatePointers, allocateMemory);"},
    {"DDS_Boolean", "$T_initialize_w_params", "$T *self, const DDS_TypeAllocationParams_t *params",
        "return DDS_Type_initialize_w_params(&$D, self, params);"},
    {"void", "$T_finalize", "$T *self", "DDS_Type_finalize(&$D, self);"},
    {"void", "$T_finalize_ex", "$T *self, DDS_Boolean deletePointers",
        "DDS_Type_finalize_ex(&$D, self, deletePointers);"},
    {"void", "$T_finalize_w_params", "$T *self, const DDS_TypeDeallocationParams_t *params",
        "DDS_Type_finalize_w_params(&$D, self, params);"},
    {"DDS_Boolean", "$T_finalize_w_return", "$T *self", "return DDS_Type_finalize_w_return(&$D, self);"},
    {"void", "$T_finalize_optional_members", "$T *self, DDS_Boolean deletePointers",
        "DDS_Type_finalize_optional_members(&$D, self, deletePointers);"},
    {"DDS_Boolean", "$T_copy", "$T *self, const $T *source", "return DDS_Type_copy(&$D, self, source);"},
};

constexpr Function memoryManagerFunctions[] = {
    {"DDS_Boolean", "$T_initialize_w_memory_manager", "$T *self, struct REDAInlineMemory **memoryManager",
        "return DDS_Type_initialize_w_memory_manager(&$D, self, memoryManager);"},
    {"DDS_Boolean", "$T_initialize_ex_w_memory_manager",
        "$T *self, struct REDAInlineMemory **memoryManager, DDS_Boolean allocatePointers, DDS_Boolean "
        "allocateMemory",
        "return DDS_Type_initialize_ex_w_memory_manager(&$D, self, memoryManager, allocatePointers, "
        "allocateMemory);"},
    {"DDS_Boolean", "$T_initialize_w_params_w_memory_manager",
        "$T *self, struct REDAInlineMemory **memoryManager, const DDS_TypeAllocationParams_t *params",
        "return DDS_Type_initialize_w_params_w_memory_manager(&$D, self, memoryManager, params);"},
    {"void", "$T_finalize_w_memory_manager", "$T *self", "DDS_Type_finalize_w_memory_manager(&$D, self);"},
    {"void", "$T_finalize_ex_w_memory_manager", "$T *self, DDS_Boolean deletePointers",
        "DDS_Type_finalize_ex_w_memory_manager(&$D, self, deletePointers);"},
    {"void", "$T_finalize_w_params_w_memory_manager", "$T *self, const DDS_TypeDeallocationParams_t *params",
        "DDS_Type_finalize_w_params_w_memory_manager(&$D, self, params);"},
    {"DDS_Boolean", "$T_copy_w_memory_manager",
        "$T *self, struct REDAInlineMemory **memoryManager, const $T *source",
        "return DDS_Type_copy_w_memory_manager(&$D, self, memoryManager, source);"},
};

constexpr Function pluginSupportFunctions[] = {
    {"$T *", "$TPluginSupport_create_data", "void", "return ($T *)DDS_Type_create_data(&$D);"},
    {"$T *", "$TPluginSupport_create_data_ex", "DDS_Boolean allocatePointers",
        "return ($T *)DDS_Type_create_data_ex(&$D, allocatePointers);"},
    {"$T *", "$TPluginSupport_create_data_w_params", "const DDS_TypeAllocationParams_t *params",
        "return ($T *)DDS_Type_create_data_w_params(&$D, params);"},
    {"void", "$TPluginSupport_destroy_data", "$T *sample", "DDS_Type_destroy_data(&$D, sample);"},
    {"void", "$TPluginSupport_destroy_data_ex", "$T *sample, DDS_Boolean deletePointers",
        "DDS_Type_destroy_data_ex(&$D, sample, deletePointers);"},
    {"void", "$TPluginSupport_destroy_data_w_params",
        "$T *sample, const DDS_TypeDeallocationParams_t *params",
        "DDS_Type_destroy_data_w_params(&$D, sample, params);"},
    {"DDS_Boolean", "$TPluginSupport_copy_data", "$T *destination, const $T *source",
        "return DDS_Type_copy(&$D, destination, source);"},
    {"void", "$TPluginSupport_print_data",
        "const $T *sample, const char *description, DDS_UnsignedLong indent",
        "DDS_Type_print_data(&$D, sample, description, indent);"},
};

constexpr Function sizeFunctions[] = {
    {"DDS_UnsignedLong", "$TPlugin_get_serialized_sample_max_size", "DDS_UnsignedShort representation",
        "return DDS_Type_get_serialized_sample_max_size(&$D, representation);"},
};

constexpr Function keyFunctions[] = {
    {"DDS_Boolean", "$TPlugin_copy_sample", "$T *destination, const $T *source",
        "return DDS_Type_copy(&$D, destination, source);"},
    {"PRESTypePluginKeyKind", "$TPlugin_get_key_kind", "void", "return $P.keyKind;"},
    {"DDS_UnsignedLong", "$TPlugin_get_serialized_key_max_size", "DDS_UnsignedShort representation",
        "return DDS_Type_get_serialized_key_max_size(&$D, representation);"},
    {"DDS_UnsignedLong", "$TPlugin_get_serialized_key_max_size_for_keyhash",
        "DDS_UnsignedShort representation",
        "return DDS_Type_get_serialized_key_max_size_for_keyhash(&$D, representation);"},
};

constexpr Function serializationFunctions[] = {
    {"DDS_Boolean", "$TPlugin_data_to_string", "const $T *sample, char *text, DDS_UnsignedLong *size",
        "return DDS_Type_data_to_string(&$D, sample, text, size);"},
    {"DDS_Boolean", "$TPlugin_deserialize_from_cdr_buffer",
        "$T *sample, const char *buffer, DDS_UnsignedLong length",
        "return DDS_Type_deserialize_from_cdr_buffer(&$D, sample, buffer, length);"},
    {"DDS_Boolean", "$TPlugin_deserialize_key", "$T *sample, const char *buffer, DDS_UnsignedLong length",
        "return DDS_Type_deserialize_key(&$D, sample, buffer, length);"},
    {"const struct DDS_TypePrograms *", "$TPlugin_get_programs", "void",
        "return DDS_Type_get_programs(&$D);"},
    {"DDS_Boolean", "$TPlugin_serialize_to_cdr_buffer",
        "char *buffer, DDS_UnsignedLong *length, const $T *sample",
        "return DDS_Type_serialize_to_cdr_buffer(&$D, buffer, length, sample);"},
    {"DDS_Boolean", "$TPlugin_serialize_to_cdr_buffer_ex",
        "char *buffer, DDS_UnsignedLong *length, const $T *sample, DDS_UnsignedShort representation",
        "return DDS_Type_serialize_to_cdr_buffer_ex(&$D, buffer, length, sample, representation);"},
};

// A plug-in is constant: attaching makes the type's programs, so that no later operation has to, and gives
// what the detaching form takes back.
constexpr Function topicPluginFunctions[] = {
    {"const DDS_TypePlugin *", "$TPlugin_new", "void", "return DDS_Type_prepare(&$D) ? &$P : 0;"},
    {"void", "$TPlugin_delete", "const DDS_TypePlugin *plugin", "(void)plugin;"},
    {"void", "$TPlugin_finalize_optional_members", "$T *sample, DDS_Boolean deletePointers",
        "DDS_Type_finalize_optional_members(&$D, sample, deletePointers);"},
    {"const void *", "$TPlugin_on_participant_attached", "const DDS_TypePlugin *plugin",
        "return plugin && DDS_Type_prepare(plugin->type) ? plugin : 0;"},
    {"void", "$TPlugin_on_participant_detached", "const void *participantData", "(void)participantData;"},
    {"const void *", "$TPlugin_on_endpoint_attached", "const void *participantData",
        "return participantData;"},
    {"void", "$TPlugin_on_endpoint_detached", "const void *endpointData", "(void)endpointData;"},
    {"void", "$TPlugin_return_sample", "const void *endpointData, $T *sample",
        "(void)endpointData;\n    DDS_Type_finalize_optional_members(&$D, sample, DDS_BOOLEAN_TRUE);"},
};

constexpr Function typeSupportFunctions[] = {
    {"DDS_ReturnCode_t", "$TTypeSupport_register_type",
        "DDS_DomainParticipant *participant, const char *typeName",
        "return DDS_DomainParticipant_register_typeI(participant, typeName ? typeName : \"$N\", &$P);"},
    {"DDS_ReturnCode_t", "$TTypeSupport_unregister_type",
        "DDS_DomainParticipant *participant, const char *typeName",
        "return DDS_DomainParticipant_unregister_typeI(participant, typeName ? typeName : \"$N\");"},
    {"const char *", "$TTypeSupport_get_type_name", "void", "return \"$N\";"},
    {"const DDS_TypeCode *", "$TTypeSupport_get_typecode", "void", "return &$D;"},
    {"$T *", "$TTypeSupport_create_data", "void", "return ($T *)DDS_Type_create_data(&$D);"},
    {"$T *", "$TTypeSupport_create_data_ex", "DDS_Boolean allocatePointers",
        "return ($T *)DDS_Type_create_data_ex(&$D, allocatePointers);"},
    {"$T *", "$TTypeSupport_create_data_w_params", "const DDS_TypeAllocationParams_t *params",
        "return ($T *)DDS_Type_create_data_w_params(&$D, params);"},
    {"DDS_ReturnCode_t", "$TTypeSupport_delete_data", "$T *sample",
        "DDS_Type_destroy_data(&$D, sample);\n    return DDS_RETCODE_OK;"},
    {"DDS_ReturnCode_t", "$TTypeSupport_delete_data_ex", "$T *sample, DDS_Boolean deletePointers",
        "DDS_Type_destroy_data_ex(&$D, sample, deletePointers);\n    return DDS_RETCODE_OK;"},
    {"DDS_ReturnCode_t", "$TTypeSupport_delete_data_w_params",
        "$T *sample, const DDS_TypeDeallocationParams_t *params",
        "DDS_Type_destroy_data_w_params(&$D, sample, params);\n    return DDS_RETCODE_OK;"},
    {"DDS_ReturnCode_t", "$TTypeSupport_initialize_data", "$T *sample",
        "return outcome(DDS_Type_initialize(&$D, sample));"},
    {"DDS_ReturnCode_t", "$TTypeSupport_initialize_data_ex",
        "$T *sample, DDS_Boolean allocatePointers, DDS_Boolean allocateMemory",
        "return outcome(DDS_Type_initialize_ex(&$D, sample, allocatePointers, allocateMemory));"},
    {"DDS_ReturnCode_t", "$TTypeSupport_initialize_data_w_params",
        "$T *sample, const DDS_TypeAllocationParams_t *params",
        "return outcome(DDS_Type_initialize_w_params(&$D, sample, params));"},
    {"DDS_ReturnCode_t", "$TTypeSupport_finalize_data", "$T *sample",
        "return outcome(DDS_Type_finalize_w_return(&$D, sample));"},
    {"DDS_ReturnCode_t", "$TTypeSupport_finalize_data_ex", "$T *sample, DDS_Boolean deletePointers",
        "DDS_Type_finalize_ex(&$D, sample, deletePointers);\n    return DDS_RETCODE_OK;"},
    {"DDS_ReturnCode_t", "$TTypeSupport_finalize_data_w_params",
        "$T *sample, const DDS_TypeDeallocationParams_t *params",
        "DDS_Type_finalize_w_params(&$D, sample, params);\n    return DDS_RETCODE_OK;"},
    {"DDS_ReturnCode_t", "$TTypeSupport_copy_data", "$T *destination, const $T *source",
        "return outcome(DDS_Type_copy(&$D, destination, source));"},
    {"void", "$TTypeSupport_print_data", "const $T *sample", "DDS_Type_print_data(&$D, sample, 0, 0U);"},
    {"DDS_ReturnCode_t", "$TTypeSupport_serialize_data_to_cdr_buffer",
        "char *buffer, DDS_UnsignedLong *length, const $T *sample",
        "return outcome(DDS_Type_serialize_to_cdr_buffer(&$D, buffer, length, sample));"},
    {"DDS_ReturnCode_t", "$TTypeSupport_serialize_data_to_cdr_buffer_ex",
        "char *buffer, DDS_UnsignedLong *length, const $T *sample, DDS_UnsignedShort representation",
        "return outcome(DDS_Type_serialize_to_cdr_buffer_ex(&$D, buffer, length, sample, representation));"},
    {"DDS_ReturnCode_t", "$TTypeSupport_deserialize_data_from_cdr_buffer",
        "$T *sample, const char *buffer, DDS_UnsignedLong length",
        "return outcome(DDS_Type_deserialize_from_cdr_buffer(&$D, sample, buffer, length));"},
    {"DDS_ReturnCode_t", "$TTypeSupport_data_to_string",
        "const $T *sample, char *text, DDS_UnsignedLong *size",
        "return outcome(DDS_Type_data_to_string(&$D, sample, text, size));"},
    // Nothing is kept for one type alone.
    {"void", "$TTypeSupport_finalize", "void", ""},
};

constexpr Function writerFunctions[] = {
    {"$TDataWriter *", "$TDataWriter_narrow", "DDS_DataWriter *writer",
        "return writer && isPluginOf(DDS_DataWriter_get_type_pluginI(writer), &$D) ? ($TDataWriter *)writer "
        ": 0;"},
    {"DDS_DataWriter *", "$TDataWriter_as_datawriter", "$TDataWriter *self",
        "return (DDS_DataWriter *)self;"},
    {"$T *", "$TDataWriter_create_data", "$TDataWriter *self",
        "return self ? ($T *)DDS_Type_create_data(&$D) : 0;"},
    {"$T *", "$TDataWriter_create_data_w_params",
        "$TDataWriter *self, const DDS_TypeAllocationParams_t *params",
        "return self ? ($T *)DDS_Type_create_data_w_params(&$D, params) : 0;"},
    {"DDS_Boolean", "$TDataWriter_delete_data", "$TDataWriter *self, $T *sample",
        "(void)self;\n    DDS_Type_destroy_data(&$D, sample);\n    return DDS_BOOLEAN_TRUE;"},
    {"DDS_Boolean", "$TDataWriter_delete_data_w_params",
        "$TDataWriter *self, $T *sample, const DDS_TypeDeallocationParams_t *params",
        "(void)self;\n    DDS_Type_destroy_data_w_params(&$D, sample, params);\n    return "
        "DDS_BOOLEAN_TRUE;"},
    {"DDS_ReturnCode_t", "$TDataWriter_get_loan", "$TDataWriter *self, $T **sample",
        "return DDS_DataWriter_get_loan_untypedI((DDS_DataWriter *)self, (void **)sample);"},
    {"DDS_ReturnCode_t", "$TDataWriter_discard_loan", "$TDataWriter *self, $T *sample",
        "return DDS_DataWriter_discard_loan_untypedI((DDS_DataWriter *)self, sample);"},
    {"DDS_InstanceHandle_t", "$TDataWriter_register_instance", "$TDataWriter *self, const $T *sample",
        "return DDS_DataWriter_register_instance_untypedI((DDS_DataWriter *)self, sample);"},
    {"DDS_InstanceHandle_t", "$TDataWriter_register_instance_w_timestamp",
        "$TDataWriter *self, const $T *sample, const DDS_Time_t *sourceTimestamp",
        "return DDS_DataWriter_register_instance_w_timestamp_untypedI(\n        (DDS_DataWriter *)self, "
        "sample, "
        "sourceTimestamp);"},
    {"DDS_InstanceHandle_t", "$TDataWriter_register_instance_w_params",
        "$TDataWriter *self, const $T *sample, DDS_WriteParams_t *params",
        "return DDS_DataWriter_register_instance_w_params_untypedI((DDS_DataWriter *)self, sample, params);"},
    {"DDS_ReturnCode_t", "$TDataWriter_unregister_instance",
        "$TDataWriter *self, const $T *sample, const DDS_InstanceHandle_t *handle",
        "return DDS_DataWriter_unregister_instance_untypedI((DDS_DataWriter *)self, sample, handle);"},
    {"DDS_ReturnCode_t", "$TDataWriter_unregister_instance_w_timestamp",
        "$TDataWriter *self, const $T *sample, const DDS_InstanceHandle_t *handle, const DDS_Time_t "
        "*sourceTimestamp",
        "return DDS_DataWriter_unregister_instance_w_timestamp_untypedI(\n        (DDS_DataWriter *)self, "
        "sample, "
        "handle, sourceTimestamp);"},
    {"DDS_ReturnCode_t", "$TDataWriter_unregister_instance_w_params",
        "$TDataWriter *self, const $T *sample, DDS_WriteParams_t *params",
        "return DDS_DataWriter_unregister_instance_w_params_untypedI((DDS_DataWriter *)self, sample, "
        "params);"},
    {"DDS_ReturnCode_t", "$TDataWriter_write",
        "$TDataWriter *self, const $T *sample, const DDS_InstanceHandle_t *handle",
        "return DDS_DataWriter_write_untypedI((DDS_DataWriter *)self, sample, handle);"},
    {"DDS_ReturnCode_t", "$TDataWriter_write_w_timestamp",
        "$TDataWriter *self, const $T *sample, const DDS_InstanceHandle_t *handle, const DDS_Time_t "
        "*sourceTimestamp",
        "return DDS_DataWriter_write_w_timestamp_untypedI((DDS_DataWriter *)self, sample, handle, "
        "sourceTimestamp);"},
    {"DDS_ReturnCode_t", "$TDataWriter_write_w_params",
        "$TDataWriter *self, const $T *sample, DDS_WriteParams_t *params",
        "return DDS_DataWriter_write_w_params_untypedI((DDS_DataWriter *)self, sample, params);"},
    {"DDS_ReturnCode_t", "$TDataWriter_dispose",
        "$TDataWriter *self, const $T *sample, const DDS_InstanceHandle_t *handle",
        "return DDS_DataWriter_dispose_untypedI((DDS_DataWriter *)self, sample, handle);"},
    {"DDS_ReturnCode_t", "$TDataWriter_dispose_w_timestamp",
        "$TDataWriter *self, const $T *sample, const DDS_InstanceHandle_t *handle, const DDS_Time_t "
        "*sourceTimestamp",
        "return DDS_DataWriter_dispose_w_timestamp_untypedI((DDS_DataWriter *)self, sample, handle, "
        "sourceTimestamp);"},
    {"DDS_ReturnCode_t", "$TDataWriter_dispose_w_params",
        "$TDataWriter *self, const $T *sample, DDS_WriteParams_t *params",
        "return DDS_DataWriter_dispose_w_params_untypedI((DDS_DataWriter *)self, sample, params);"},
    {"DDS_ReturnCode_t", "$TDataWriter_get_key_value",
        "$TDataWriter *self, $T *keyHolder, const DDS_InstanceHandle_t *handle",
        "return DDS_DataWriter_get_key_value_untypedI((DDS_DataWriter *)self, keyHolder, handle);"},
    {"DDS_InstanceHandle_t", "$TDataWriter_lookup_instance", "$TDataWriter *self, const $T *keyHolder",
        "return DDS_DataWriter_lookup_instance_untypedI((DDS_DataWriter *)self, keyHolder);"},
};

#define READER_STATES                                                                                        \
    "DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates"
#define READER_SAMPLES "$TDataReader *self, $TSeq *samples, DDS_SampleInfoSeq *infos, DDS_Long maxSamples, "
#define READER_CALL                                                                                          \
    "(\n        (DDS_DataReader *)self, (struct DDS_SequenceBase *)samples, infos, maxSamples, "

// The two forms, reading and taking, of one function.
#define READ_AND_TAKE(suffix, parameters, forward)                                                           \
    {"DDS_ReturnCode_t", "$TDataReader_read" suffix, parameters, "return " forward "DDS_BOOLEAN_FALSE);"}, { \
        "DDS_ReturnCode_t", "$TDataReader_take" suffix, parameters, "return " forward "DDS_BOOLEAN_TRUE);"   \
    }

constexpr Function readerFunctions[] = {
    {"$TDataReader *", "$TDataReader_narrow", "DDS_DataReader *reader",
        "return reader && isPluginOf(DDS_DataReader_get_type_pluginI(reader), &$D) ? ($TDataReader *)reader "
        ": 0;"},
    {"DDS_DataReader *", "$TDataReader_as_datareader", "$TDataReader *self",
        "return (DDS_DataReader *)self;"},
    READ_AND_TAKE("", READER_SAMPLES READER_STATES,
        "DDS_DataReader_read_or_take_untypedI" READER_CALL
        "sampleStates, viewStates, instanceStates,\n        "),
    READ_AND_TAKE("_w_condition", READER_SAMPLES "DDS_ReadCondition *condition",
        "DDS_DataReader_read_or_take_w_condition_untypedI" READER_CALL "condition, "),
    READ_AND_TAKE("_next_sample", "$TDataReader *self, $T *sample, DDS_SampleInfo *info",
        "DDS_DataReader_read_or_take_next_sample_untypedI(\n        (DDS_DataReader *)self, sample, info, "),
    READ_AND_TAKE("_instance", READER_SAMPLES "const DDS_InstanceHandle_t *handle, " READER_STATES,
        "DDS_DataReader_read_or_take_instance_untypedI" READER_CALL
        "handle, sampleStates, viewStates,\n        instanceStates, "),
    READ_AND_TAKE("_instance_w_condition",
        READER_SAMPLES "const DDS_InstanceHandle_t *handle, DDS_ReadCondition *condition",
        "DDS_DataReader_read_or_take_instance_w_condition_untypedI" READER_CALL
        "handle, condition,\n        "),
    READ_AND_TAKE("_next_instance",
        READER_SAMPLES "const DDS_InstanceHandle_t *previousHandle, " READER_STATES,
        "DDS_DataReader_read_or_take_next_instance_untypedI" READER_CALL
        "previousHandle, sampleStates,\n        viewStates, instanceStates, "),
    READ_AND_TAKE("_next_instance_w_condition",
        READER_SAMPLES "const DDS_InstanceHandle_t *previousHandle, DDS_ReadCondition *condition",
        "DDS_DataReader_read_or_take_next_instance_w_condition_untypedI" READER_CALL
        "previousHandle,\n        condition, "),
    {"DDS_ReturnCode_t", "$TDataReader_return_loan",
        "$TDataReader *self, $TSeq *samples, DDS_SampleInfoSeq *infos",
        "return DDS_DataReader_return_loan_untypedI(\n        (DDS_DataReader *)self, (struct "
        "DDS_SequenceBase "
        "*)samples, infos);"},
    {"DDS_ReturnCode_t", "$TDataReader_get_key_value",
        "$TDataReader *self, $T *keyHolder, const DDS_InstanceHandle_t *handle",
        "return DDS_DataReader_get_key_value_untypedI((DDS_DataReader *)self, keyHolder, handle);"},
    {"DDS_InstanceHandle_t", "$TDataReader_lookup_instance", "$TDataReader *self, const $T *keyHolder",
        "return DDS_DataReader_lookup_instance_untypedI((DDS_DataReader *)self, keyHolder);"},
    {"DDS_ReturnCode_t", "$TDataReader_add_sample_to_remote_writer_queue",
        "$TDataReader *self, const $T *sample, const DDS_GUID_t *writerGuid, DDS_WriteParams_t *params",
        "return DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(\n        (DDS_DataReader *)self, "
        "sample, "
        "writerGuid, params);"},
    {"DDS_ReturnCode_t", "$TDataReader_add_unregister_to_remote_writer_queue",
        "$TDataReader *self, const DDS_GUID_t *writerGuid, DDS_WriteParams_t *params, const DDS_GUID_t "
        "*instance",
        "return DDS_DataReader_add_unregister_to_remote_writer_queue_untypedI(\n        (DDS_DataReader "
        "*)self, "
        "writerGuid, params, instance);"},
    {"DDS_ReturnCode_t", "$TDataReader_add_dispose_to_remote_writer_queue",
        "$TDataReader *self, const DDS_GUID_t *writerGuid, DDS_WriteParams_t *params, const DDS_GUID_t "
        "*instance",
        "return DDS_DataReader_add_dispose_to_remote_writer_queue_untypedI(\n        (DDS_DataReader *)self, "
        "writerGuid, params, instance);"},
    {"DDS_ReturnCode_t", "$TDataReader_is_data_consistent",
        "$TDataReader *self, DDS_Boolean *isConsistent, const $T *sample, const DDS_SampleInfo *info",
        "return DDS_DataReader_is_data_consistent_untypedI((DDS_DataReader *)self, isConsistent, sample, "
        "info);"},
};

constexpr Family lifeList[] = {
    {"Life of a value", always, lifeFunctions},
    {"The same in an arena", hasMemoryManagerForms, memoryManagerFunctions},
};
constexpr Family pluginList[] = {
    {"Type object", always, accessFunctions},
    {"Plug-in support", isNoEnumeration, pluginSupportFunctions},
    {"Plug-in", always, sizeFunctions},
    {"Plug-in: keys", isNoEnumeration, keyFunctions},
    {"Plug-in: serialization", isAggregate, serializationFunctions},
    {"Plug-in of a topic type", isTopicType, topicPluginFunctions},
};
constexpr Family topicList[] = {
    {"Type support", isTopicType, typeSupportFunctions},
    {"Writer", isTopicType, writerFunctions},
    {"Reader", isTopicType, readerFunctions},
};

} // namespace

std::span<const Family> lifeFamilies() {
    return lifeList;
}
std::span<const Family> pluginFamilies() {
    return pluginList;
}
std::span<const Family> topicFamilies() {
    return topicList;
}
