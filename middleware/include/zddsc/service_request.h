/* The built-in service-request channel: commands and replies between participants, each to exactly one
 * reader.
 *
 * A participant whose discovery_config.enabled_builtin_channels has a bit of
 * DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL has one writer and one reader on the channel. Both belong to
 * the participant, are enabled with it and go with it; nobody deletes them. Their GUIDs are the participant's
 * prefix with the object ids below, so that whoever knows a participant knows them; sample infos tell the
 * writer's.
 *
 * Sending. A sample goes to the one reader whose handle is given, and to nobody else. It is encoded on the
 * calling thread and queued; a thread of the participant hands it to the engine, in order for each
 * destination, so that no call here waits on the network. A sample whose destination is not matched yet is
 * held until the match, for at most DDS_SERVICE_REQUEST_HOLD_SECONDSI, then dropped and counted. Queues are
 * bounded; what does not fit is refused with DDS_RETCODE_OUT_OF_RESOURCES. Acknowledgment is that of the
 * destination alone, and a destination that is not matched, or left before it acknowledged, has not
 * acknowledged.
 *
 * Receiving. Samples stay in the reader until they are taken; in a full reader the oldest make room. The
 * sample info of what came over the network names the sender's built-in writer, and no source, whatever it
 * claims.
 *
 * Threads: any. Errors: a DDS_ReturnCode_t or null; a line of the log tells why. */
#ifndef ZDDSC_SERVICE_REQUEST_H
#define ZDDSC_SERVICE_REQUEST_H

#include "zddsc/entities.h"

ZDDS_BEGIN_C

#define DDS_SERVICE_REQUEST_TOPIC_NAME "DCPSServiceRequest"

/* The last word of the GUIDs of the built-in writer and reader. */
#define DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI 0x00020082U
#define DDS_SERVICE_REQUEST_READER_OBJECT_IDI 0x00020087U

/* A longer body is refused by the writer, and dropped and counted by the reader before anything is kept of
 * it. */
#define DDS_SERVICE_REQUEST_MAX_BODY_BYTESI (256 * 1024)
#define DDS_SERVICE_REQUEST_HOLD_SECONDSI 10

/* Key: service_id and instance_id. */
struct DDS_ServiceRequest {
    DDS_Long service_id;    /* key */
    DDS_GUID_t instance_id; /* key */
    DDS_OctetSeq request_body;
};
typedef struct DDS_ServiceRequest DDS_ServiceRequest;
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_ServiceRequestSeq, DDS_ServiceRequest);
ZDDSC_EXPORT extern const DDS_ServiceRequest DDS_SERVICE_REQUEST_DEFAULT; /* all 0, an empty body */
ZDDSC_EXPORT DDS_Boolean DDS_ServiceRequest_initialize(DDS_ServiceRequest* self);
ZDDSC_EXPORT DDS_Boolean DDS_ServiceRequest_finalize(DDS_ServiceRequest* self);
ZDDSC_EXPORT DDS_Boolean DDS_ServiceRequest_copy(DDS_ServiceRequest* self, const DDS_ServiceRequest* source);

/* ---- The endpoints of a participant ---- */

/* Null when the channel is off, or the topic is another. `reserved` is 0. */
ZDDSC_EXPORT DDS_DataWriter* DDS_DomainParticipant_get_builtin_datawriterI(
    DDS_DomainParticipant* self, const char* topicName, int reserved);
/* The parent of the built-in reader, to be found with DDS_Subscriber_lookup_datareader. Null when the channel
 * is off. */
ZDDSC_EXPORT DDS_Subscriber* DDS_DomainParticipant_get_builtin_subscriber(DDS_DomainParticipant* self);

/* ---- Writing to one reader ----
 *
 * For the built-in writer alone, whose plain write, dispose and unregister without a destination are
 * DDS_RETCODE_ILLEGAL_OPERATION. destination: the handle of a built-in reader, which is its GUID. params may
 * be null; its source_timestamp counts. instanceHandle may be null; else it is out: the instance of the
 * sample. A dispose and an unregister need the key of the sample alone. */

ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_write_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* destination, DDS_WriteParams_t* params, const void* sample,
    DDS_InstanceHandle_t* instanceHandle);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_dispose_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* destination, DDS_WriteParams_t* params, const void* sample,
    DDS_InstanceHandle_t* instanceHandle);
/* From then on the writer has no such instance: DDS_DataWriter_lookup_instance_untypedI answers nil. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_unregister_instance_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* destination, const void* sample, DDS_InstanceHandle_t* instanceHandle);

/* Waits until the destination has acknowledged all that was sent to it. DDS_RETCODE_TIMEOUT when it has not
 * in time, DDS_RETCODE_ERROR at once when some of it can never be acknowledged, since it was dropped, or the
 * destination left. DDS_DataWriter_wait_for_acknowledgments on the built-in writer is this for the
 * destination that the calling thread sent to last; so who sends a reply waits for that reply alone, whatever
 * others do. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_wait_for_acknowledgments_of_readerI(
    DDS_DataWriter* self, const DDS_InstanceHandle_t* destination, const DDS_Duration_t* maxWait);

/* ---- Reading ---- */

typedef struct DDS_ServiceRequestDataReader DDS_ServiceRequestDataReader;
/* Null for a reader of another type. */
ZDDSC_EXPORT DDS_ServiceRequestDataReader* DDS_ServiceRequestDataReader_narrow(DDS_DataReader* reader);
ZDDSC_EXPORT DDS_DataReader* DDS_ServiceRequestDataReader_as_datareader(DDS_ServiceRequestDataReader* self);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_ServiceRequestDataReader_take(DDS_ServiceRequestDataReader* self,
    DDS_ServiceRequestSeq* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_ServiceRequestDataReader_take_w_condition(
    DDS_ServiceRequestDataReader* self, DDS_ServiceRequestSeq* samples, DDS_SampleInfoSeq* infos,
    DDS_Long maxSamples, DDS_ReadCondition* condition);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_ServiceRequestDataReader_return_loan(
    DDS_ServiceRequestDataReader* self, DDS_ServiceRequestSeq* samples, DDS_SampleInfoSeq* infos);

ZDDS_END_C

#endif
