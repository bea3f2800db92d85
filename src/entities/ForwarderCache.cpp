// Samples and writers of the built-in readers, as the cache readers get them.
#include "src/entities/ForwarderEntities.h"

#include "src/log/Log.hpp"
#include "zddsc/builtin_topics.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::entities;

const char* topicOf(DDS_DataReader* reader) {
    return DDS_TopicDescription_get_name(DDS_DataReader_get_topicdescription(reader));
}

DDS_DataReader* findCacheReader(ORX_MonitoringForwarderEntities* self, DDS_DataReader* builtinReader) {
    DDS_DataReader* found = ORX_MonitoringForwarderEntities_getRelatedCacheDataReader(self, builtinReader);
    if (found == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Monitoring Forwarder cache reader for %s\n", topicOf(builtinReader));
    return found;
}

// What a queue of the cache reader goes by.
bool copyPolicies(
    DDS_DataWriterQos& qos, const DDS_PublicationBuiltinTopicData& data, const char* topicName) {
    if (DDS_DurabilityQosPolicy_copy(&qos.durability, &data.durability) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_COPY, "Remote writer property Qos publication data for %s\n", topicName);
    qos.lifespan.duration.sec = data.lifespan.duration.sec;
    if (DDS_PropertyQosPolicy_copy(&qos.property, &data.property) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_COPY, "Remote writer property Qos publication data for %s\n", topicName);
    qos.service.kind = data.service.kind;
    if (DDS_EntityNameQosPolicy_copy(&qos.publication_name, &data.publication_name) != DDS_RETCODE_OK) {
        return ORX_ERROR(
            FAILED_TO_COPY, "Remote writer publication_name Qos publication data for %s\n", topicName);
    }
    return true;
}

bool assertQueue(DDS_DataReader* cacheReader, DDS_DataReader* builtinReader,
    const DDS_InstanceHandle_t& writerHandle, DDS_PublicationBuiltinTopicData& data, DDS_DataWriterQos& qos) {
    const char* topicName = topicOf(builtinReader);
    DDS_GUID_t writer;
    DDS_GUID_from_instance_handle(&writer, &writerHandle);
    DDS_ReturnCode_t result =
        DDS_DataReader_get_matched_publication_data(builtinReader, &data, &writerHandle);
    if (result != DDS_RETCODE_OK) {
        return ORX_ERROR(
            FAILED_TO_GET, "Remote writer publication data for %s with error %i\n", topicName, result);
    }
    if (!copyPolicies(qos, data, topicName))
        return false;
    // Reported alone: the writer matches all the same, and each of its samples will say what is missing.
    result = DDS_DataReader_assert_remote_writer_queue(cacheReader, &writer, &qos);
    if (result != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_ASSERT, "Remote writer queue for %s with error %i\n", topicName, result);
    return true;
}

// Reports of samples come as often as samples: a few in a second do.
bool add(DDS_DataReader* cacheReader, const char* topicName, const void* data, const DDS_SampleInfo& info,
    const DDS_GUID_t& writer, DDS_WriteParams_t& params) {
    if (info.valid_data) {
        if (DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(cacheReader, data, &writer, &params) !=
            DDS_RETCODE_OK)
            return ORX_FLOOD_ERROR(FAILED_TO_ADD, "Sample to the cache reader of %s\n", topicName);
    } else if (info.instance_state == DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE) {
        if (DDS_DataReader_add_unregister_to_remote_writer_queue_untypedI(
                cacheReader, &writer, &params, &writer) != DDS_RETCODE_OK)
            return ORX_FLOOD_ERROR(FAILED_TO_ADD, "Unregister to the cache reader of %s\n", topicName);
    } else if (info.instance_state == DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE) {
        if (DDS_DataReader_add_dispose_to_remote_writer_queue_untypedI(
                cacheReader, &writer, &params, &writer) != DDS_RETCODE_OK)
            return ORX_FLOOD_ERROR(FAILED_TO_ADD, "Dispose to the cache reader of %s\n", topicName);
    }
    return true;
}

} // namespace

int ORX_MonitoringForwarderEntities_addSampleToCacheReader(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const void* data, const DDS_SampleInfo* info) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(builtinReader == ORX_NULL);
    ORX_FAIL_IF(data == ORX_NULL);
    ORX_FAIL_IF(info == ORX_NULL);
    DDS_DataReader* cacheReader = findCacheReader(self, builtinReader);
    if (cacheReader == nullptr)
        return 0;
    DDS_WriteParams_t params = DDS_WRITEPARAMS_DEFAULT;
    DDS_GUID_t writer = DDS_GUID_UNKNOWN;
    DDS_GUID_from_instance_handle(&writer, &info->publication_handle);
    (void)DDS_WriteParams_from_sample_info(&params, info);
    const bool result = add(cacheReader, topicOf(builtinReader), data, *info, writer, params);
    DDS_WriteParams_finalize(&params);
    return result;
}

int ORX_MonitoringForwarderEntities_assertWriterToCacheReader(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const DDS_InstanceHandle_t* writerHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(builtinReader == ORX_NULL);
    ORX_FAIL_IF(writerHandle == ORX_NULL);
    DDS_DataReader* cacheReader = findCacheReader(self, builtinReader);
    if (cacheReader == nullptr)
        return 0;
    DDS_PublicationBuiltinTopicData data = DDS_PUBLICATION_BUILTIN_TOPIC_DATA_DEFAULT;
    DDS_DataWriterQos qos{};
    DDS_DataWriterQos_initialize(&qos);
    bool result = assertQueue(cacheReader, builtinReader, *writerHandle, data, qos);
    DDS_PublicationBuiltinTopicData_finalize(&data);
    const DDS_ReturnCode_t finalized = DDS_DataWriterQos_finalize(&qos);
    if (finalized != DDS_RETCODE_OK) {
        result = ORX_ERROR(
            FAILED_TO_FINALIZE, "Writer Qos for %s with error %i\n", topicOf(builtinReader), finalized);
    }
    return result;
}

int ORX_MonitoringForwarderEntities_deleteWriterFromCacheReader(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const DDS_InstanceHandle_t* writerHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(builtinReader == ORX_NULL);
    ORX_FAIL_IF(writerHandle == ORX_NULL);
    DDS_DataReader* cacheReader = findCacheReader(self, builtinReader);
    if (cacheReader == nullptr)
        return 0;
    DDS_GUID_t writer;
    DDS_GUID_from_instance_handle(&writer, writerHandle);
    const DDS_ReturnCode_t result = DDS_DataReader_delete_remote_writer_queue(cacheReader, &writer);
    if (result != DDS_RETCODE_OK && result != DDS_RETCODE_PRECONDITION_NOT_MET) { // the latter: not known
        return ORX_ERROR(
            FAILED_TO_DELETE, "Remote writer queue for %s with error %d\n", topicOf(builtinReader), result);
    }
    return 1;
}
