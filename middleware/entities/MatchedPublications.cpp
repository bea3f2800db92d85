// What a reader knows of its matched writers and of their participants.
#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/DirectedWriter.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/qos/PolicyOperations.hpp"
#include "zddsc/builtin_topics.h"

namespace {

DDS_ReturnCode_t findWriter(
    const DDS_DataReaderImpl& reader, const DDS_InstanceHandle_t& handle, DDS_GUID_t* writer) {
    DDS_InstanceHandle_to_guid(&handle, writer);
    zdds::Guard guard(reader.statusMutex);
    if (!DDS_InstanceHandle_is_nil(&handle) && (reader.matched.knows(*writer) || reader.news.knows(*writer)))
        return DDS_RETCODE_OK;
    guard.release();
    return ZDDS_FAIL(
        DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_FIND, "matched writer of topic '%s'", reader.topic->name);
}

} // namespace

const DDS_ParticipantBuiltinTopicData DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_DEFAULT = {};
const DDS_PublicationBuiltinTopicData DDS_PUBLICATION_BUILTIN_TOPIC_DATA_DEFAULT = [] {
    DDS_PublicationBuiltinTopicData data{};
    data.lifespan.duration = DDS_DURATION_INFINITE;
    return data;
}();

void DDS_BuiltinTopicKey_to_mig_rtps_guidI(const DDS_BuiltinTopicKey_t* self, ORXOsapiRtpsGuid* guid) {
    guid->prefix.hostId = self->value[0];
    guid->prefix.appId = self->value[1];
    guid->prefix.instanceId = self->value[2];
    guid->objectId = self->value[3];
}

void DDS_BuiltinTopicKey_from_guidI(DDS_BuiltinTopicKey_t* self, const DDS_GUID_t* guid) {
    ORXOsapiRtpsGuid words;
    DDS_GUID_copy_to_pres_guid(guid, &words);
    *self = {{words.prefix.hostId, words.prefix.appId, words.prefix.instanceId, words.objectId}};
}

DDS_Boolean DDS_ParticipantBuiltinTopicData_initialize(DDS_ParticipantBuiltinTopicData* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_DEFAULT;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_ParticipantBuiltinTopicData_finalize(DDS_ParticipantBuiltinTopicData* self) {
    return DDS_ParticipantBuiltinTopicData_initialize(self);
}

DDS_Boolean DDS_PublicationBuiltinTopicData_initialize(DDS_PublicationBuiltinTopicData* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_PUBLICATION_BUILTIN_TOPIC_DATA_DEFAULT;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_PublicationBuiltinTopicData_finalize(DDS_PublicationBuiltinTopicData* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    DDS_String_free(self->topic_name);
    DDS_String_free(self->type_name);
    zdds::qos::release(self->property);
    zdds::qos::release(self->publication_name);
    return DDS_PublicationBuiltinTopicData_initialize(self);
}

DDS_ReturnCode_t DDS_DataReader_get_matched_publication_data(
    DDS_DataReader* self, DDS_PublicationBuiltinTopicData* data, const DDS_InstanceHandle_t* handle) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(data != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(handle != nullptr, DDS_RETCODE_BAD_PARAMETER);
    DDS_GUID_t writer;
    if (const DDS_ReturnCode_t found = findWriter(*self, *handle, &writer); found != DDS_RETCODE_OK)
        return found;
    const DDS_GUID_t participant = zdds::participantOf(writer);
    DDS_BuiltinTopicKey_from_guidI(&data->key, &writer);
    DDS_BuiltinTopicKey_from_guidI(&data->participant_key, &participant);
    const bool isNamed = DDS_String_replace(&data->topic_name, self->topic->name) != nullptr &&
                         DDS_String_replace(&data->type_name, self->topic->type->typeName) != nullptr;
    return isNamed ? DDS_RETCODE_OK
                   : ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_COPY, "names of topic '%s'",
                         self->topic->name);
}

DDS_ReturnCode_t DDS_DataReader_get_matched_publication_participant_data(
    DDS_DataReader* self, DDS_ParticipantBuiltinTopicData* data, const DDS_InstanceHandle_t* handle) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(data != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(handle != nullptr, DDS_RETCODE_BAD_PARAMETER);
    DDS_GUID_t writer;
    if (const DDS_ReturnCode_t found = findWriter(*self, *handle, &writer); found != DDS_RETCODE_OK)
        return found;
    const DDS_GUID_t participant = zdds::participantOf(writer);
    DDS_BuiltinTopicKey_from_guidI(&data->key, &participant);
    return DDS_RETCODE_OK;
}

void DDS_Entity_instance_handle_to_participant_instance_handle(
    DDS_InstanceHandle_t* participant, const DDS_InstanceHandle_t* endpoint) {
    DDS_GUID_t guid;
    DDS_InstanceHandle_to_guid(endpoint, &guid);
    guid = zdds::participantOf(guid);
    DDS_InstanceHandle_from_guid(participant, &guid);
}
