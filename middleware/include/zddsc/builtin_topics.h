/* What a reader knows of its matched writers and of their participants.
 *
 * Every structure has X_initialize, X_finalize, and an X_DEFAULT to start from. A getter fills an initialized
 * value. Policies that the engine does not tell have their DDS defaults. */
#ifndef ZDDSC_BUILTIN_TOPICS_H
#define ZDDSC_BUILTIN_TOPICS_H

#include "zddsc/entities.h"

ZDDS_BEGIN_C

/* The words of a GUID. */
struct DDS_BuiltinTopicKey_t {
    DDS_UnsignedLong value[4];
};
typedef struct DDS_BuiltinTopicKey_t DDS_BuiltinTopicKey_t;
ZDDSC_EXPORT void DDS_BuiltinTopicKey_to_mig_rtps_guidI(
    const DDS_BuiltinTopicKey_t* self, ORXOsapiRtpsGuid* guid);
ZDDSC_EXPORT void DDS_BuiltinTopicKey_from_guidI(DDS_BuiltinTopicKey_t* self, const DDS_GUID_t* guid);

struct DDS_ParticipantBuiltinTopicData {
    DDS_BuiltinTopicKey_t key;
};
typedef struct DDS_ParticipantBuiltinTopicData DDS_ParticipantBuiltinTopicData;
ZDDSC_EXPORT extern const DDS_ParticipantBuiltinTopicData DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_DEFAULT;
ZDDSC_EXPORT DDS_Boolean DDS_ParticipantBuiltinTopicData_initialize(DDS_ParticipantBuiltinTopicData* self);
ZDDSC_EXPORT DDS_Boolean DDS_ParticipantBuiltinTopicData_finalize(DDS_ParticipantBuiltinTopicData* self);

struct DDS_PublicationBuiltinTopicData {
    DDS_BuiltinTopicKey_t key;
    DDS_BuiltinTopicKey_t participant_key;
    char* topic_name; /* owned, as all texts here */
    char* type_name;
    DDS_DurabilityQosPolicy durability;
    DDS_LifespanQosPolicy lifespan;
    DDS_ServiceQosPolicy service;
    DDS_PropertyQosPolicy property;
    DDS_EntityNameQosPolicy publication_name;
};
typedef struct DDS_PublicationBuiltinTopicData DDS_PublicationBuiltinTopicData;
ZDDSC_EXPORT extern const DDS_PublicationBuiltinTopicData DDS_PUBLICATION_BUILTIN_TOPIC_DATA_DEFAULT;
ZDDSC_EXPORT DDS_Boolean DDS_PublicationBuiltinTopicData_initialize(DDS_PublicationBuiltinTopicData* self);
ZDDSC_EXPORT DDS_Boolean DDS_PublicationBuiltinTopicData_finalize(DDS_PublicationBuiltinTopicData* self);

/* handle: of a writer that is matched, or was until lately; else DDS_RETCODE_PRECONDITION_NOT_MET. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_get_matched_publication_data(
    DDS_DataReader* self, DDS_PublicationBuiltinTopicData* data, const DDS_InstanceHandle_t* handle);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_get_matched_publication_participant_data(
    DDS_DataReader* self, DDS_ParticipantBuiltinTopicData* data, const DDS_InstanceHandle_t* handle);
/* The participant of an endpoint, whether it is known or not. */
ZDDSC_EXPORT void DDS_Entity_instance_handle_to_participant_instance_handle(
    DDS_InstanceHandle_t* participant, const DDS_InstanceHandle_t* endpoint);

ZDDS_END_C

#endif
