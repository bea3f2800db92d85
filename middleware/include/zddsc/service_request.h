/* The built-in service-request channel: the sample that carries commands and replies. */
#ifndef ZDDSC_SERVICE_REQUEST_H
#define ZDDSC_SERVICE_REQUEST_H

#include "zddsc/entities.h"

ZDDS_BEGIN_C

#define DDS_SERVICE_REQUEST_TOPIC_NAME "DCPSServiceRequest"

/* Key: service_id and instance_id. */
struct DDS_ServiceRequest {
    DDS_Long service_id;    /* key */
    DDS_GUID_t instance_id; /* key */
    DDS_OctetSeq request_body;
};
typedef struct DDS_ServiceRequest DDS_ServiceRequest;
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_ServiceRequestSeq, DDS_ServiceRequest);
ZDDSC_EXPORT DDS_Boolean DDS_ServiceRequest_initialize(DDS_ServiceRequest* self);
ZDDSC_EXPORT DDS_Boolean DDS_ServiceRequest_finalize(DDS_ServiceRequest* self);
ZDDSC_EXPORT DDS_Boolean DDS_ServiceRequest_copy(DDS_ServiceRequest* self, const DDS_ServiceRequest* source);

ZDDS_END_C

#endif
