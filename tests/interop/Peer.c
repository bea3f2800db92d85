#include "Peer.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "dds/dds.h"
#include "dds/ddsi/ddsi_cdrstream.h"
#include "dds_entities.h"
#include "dds_entities_distribution.h"
#include "orx_remote_administration.h"
#include "orxmonitoring2d/schema_lists.h"

struct PeerType {
    const dds_topic_descriptor_t* descriptor;
};

#define ROW(T) {&T##_desc},
static const struct PeerType types[] = {ORX_SCHEMA_LIST_STRUCT(ROW) ORX_SCHEMA_LIST_UNION(ROW)};
#undef ROW

struct PeerValue {
    const struct PeerType* type;
    void* data;
    dds_ostreamLE_t stream;
    bool isEncoded;
};

enum { version = 2 }; /* of XCDR, as the stream functions count */

size_t PeerType_count(void) {
    return sizeof types / sizeof *types;
}

const PeerType* PeerType_find(const char* name) {
    for (size_t i = 0; i < PeerType_count(); ++i) {
        if (strcmp(types[i].descriptor->m_typename, name) == 0) {
            return &types[i];
        }
    }
    return NULL;
}

static PeerValue* newValue(const PeerType* type) {
    PeerValue* self = calloc(1, sizeof *self);
    self->type = type;
    self->data = calloc(1, type->descriptor->m_size);
    return self;
}

PeerValue* PeerValue_decode(const PeerType* type, const void* bytes, size_t size) {
    /* The stream may be changed in place, and is read in words. */
    char* copy = malloc(size + 8);
    memcpy(copy, bytes, size);
    uint32_t used = 0;
    PeerValue* self = NULL;
    if (dds_stream_normalize_data(copy, &used, (uint32_t)size, false, version, type->descriptor->m_ops) !=
            NULL &&
        used <= size && size - used < 4) {
        dds_istream_t stream;
        self = newValue(type);
        dds_istream_init(&stream, (uint32_t)size, copy, version);
        (void)dds_stream_read(&stream, self->data, type->descriptor->m_ops);
    }
    free(copy);
    return self;
}

const void* PeerValue_encode(PeerValue* self, size_t* size) {
    if (self->isEncoded) {
        dds_ostreamLE_fini(&self->stream);
    }
    dds_ostreamLE_init(&self->stream, 0, version);
    self->isEncoded = true;
    if (dds_stream_writeLE(&self->stream, self->data, self->type->descriptor->m_ops) == NULL) {
        return NULL;
    }
    *size = self->stream.x.m_index;
    return self->stream.x.m_buffer;
}

void* PeerValue_data(PeerValue* self) {
    return self->data;
}

void PeerValue_delete(PeerValue* self) {
    if (self == NULL) {
        return;
    }
    if (self->isEncoded) {
        dds_ostreamLE_fini(&self->stream);
    }
    dds_stream_free_sample(self->data, self->type->descriptor->m_ops);
    free(self->data);
    free(self);
}

/* ---- Members, as a program writes and reads them ---- */

static bool isText(const char* left, const char* right) {
    return left == right || (left != NULL && right != NULL && strcmp(left, right) == 0);
}

PeerValue* Peer_makeEvent(
    uint64_t epoch, const char* hostname, uint64_t processId, const char* newResourceName) {
    PeerValue* self = newValue(PeerType_find("DDS::Monitoring::Event"));
    DDS_Monitoring_Event* event = self->data;
    memset(event->resource_guid, 7, sizeof event->resource_guid);
    event->info.epoch_resource = epoch;
    event->info.is_snapshot = true;
    event->value._d = 265647670;
    DDS_Monitoring_ApplicationEvent* application = &event->value._u.application;
    application->hostname = dds_alloc(sizeof *application->hostname);
    snprintf(*application->hostname, sizeof *application->hostname, "%s", hostname);
    application->process_id = dds_alloc(sizeof *application->process_id);
    *application->process_id = processId;
    if (newResourceName != NULL) {
        application->resource_update = dds_alloc(sizeof *application->resource_update);
        application->resource_update->_d = DDS_Monitoring_RESOURCE_UPDATE_CREATION_KIND;
        DDS_Monitoring_NewResourceUpdate* update = &application->resource_update->_u.new_resource;
        memset(update, 0, sizeof *update);
        snprintf(update->name, sizeof update->name, "%s", newResourceName);
        update->class_id = 208182173;
        update->metric_ids._buffer = dds_alloc(2 * sizeof *update->metric_ids._buffer);
        update->metric_ids._length = update->metric_ids._maximum = 2;
        update->metric_ids._release = true;
        update->metric_ids._buffer[0] = 1;
        update->metric_ids._buffer[1] = 0xFFFFFFFF;
    }
    return self;
}

bool Peer_eventHas(PeerValue* self, uint64_t epoch, const char* hostname, uint64_t processId) {
    const DDS_Monitoring_Event* event = self->data;
    const DDS_Monitoring_ApplicationEvent* application = &event->value._u.application;
    return event->info.epoch_resource == epoch && event->value._d == 265647670 &&
           application->hostname != NULL && isText(*application->hostname, hostname) &&
           application->process_id != NULL && *application->process_id == processId;
}

PeerValue* Peer_makePeriodic(float mean, uint64_t count, int64_t samplePeak) {
    (void)samplePeak;
    PeerValue* self = newValue(PeerType_find("DDS::Monitoring::Periodic"));
    DDS_Monitoring_Periodic* periodic = self->data;
    periodic->value._d = 99258059;
    DDS_Monitoring_FloatStat* stat = dds_alloc(sizeof *stat);
    stat->period_ms = 1000;
    stat->count = count;
    stat->mean = mean;
    periodic->value._u.domain_participant.send_bytes_per_s_2 = stat;
    return self;
}

bool Peer_periodicHas(PeerValue* self, float mean, uint64_t count) {
    const DDS_Monitoring_Periodic* periodic = self->data;
    const DDS_Monitoring_FloatStat* stat = periodic->value._u.domain_participant.send_bytes_per_s_2;
    return periodic->value._d == 99258059 && stat != NULL && stat->mean == mean && stat->count == count &&
           periodic->value._u.domain_participant.send_bytes_per_s == NULL;
}

PeerValue* Peer_makeLogging(uint64_t sn, const char* message, const char* optionalHostname, const char* key) {
    PeerValue* self = newValue(PeerType_find("DDS::Monitoring::Logging"));
    DDS_Monitoring_Logging* logging = self->data;
    logging->info.epoch = 3;
    logging->update = dds_alloc(sizeof *logging->update);
    logging->update->_buffer = dds_alloc(sizeof *logging->update->_buffer);
    logging->update->_length = logging->update->_maximum = 1;
    logging->update->_release = true;
    DDS_Monitoring_LoggingMessage* one = logging->update->_buffer;
    one->sn = sn;
    one->facility = 23;
    one->severity = DDS_Monitoring_DEBUG_LEVEL;
    one->timestamp.sec = -1;
    one->hostname = optionalHostname != NULL ? dds_string_dup(optionalHostname) : NULL;
    one->msgid = dds_string_dup("");
    one->message = dds_string_dup(message);
    one->structured_data._buffer = dds_alloc(sizeof *one->structured_data._buffer);
    one->structured_data._length = one->structured_data._maximum = 1;
    one->structured_data._release = true;
    one->structured_data._buffer[0].key = dds_string_dup(key);
    return self;
}

bool Peer_loggingHas(PeerValue* self, uint64_t sn, const char* message, const char* optionalHostname) {
    const DDS_Monitoring_Logging* logging = self->data;
    return logging->update != NULL && logging->update->_length == 1 && logging->snapshot == NULL &&
           logging->update->_buffer[0].sn == sn && isText(logging->update->_buffer[0].message, message) &&
           isText(logging->update->_buffer[0].hostname, optionalHostname);
}

PeerValue* Peer_makeRequest(const char* selector, const char* pattern, int64_t sequenceNumber) {
    PeerValue* self = newValue(PeerType_find("DDS::Monitoring::MonitoringService_Request"));
    DDS_Monitoring_MonitoringService_Request* request = self->data;
    request->header.requestId.sequence_number.high = (int32_t)(sequenceNumber >> 32);
    request->header.requestId.sequence_number.low = (uint32_t)sequenceNumber;
    request->data._d = -185953285;
    DDS_Monitoring_MonitoringService_set_metric_subscription_state_In* in =
        &request->data._u.set_metric_subscription_state;
    in->metrics._buffer = dds_alloc(sizeof *in->metrics._buffer);
    in->metrics._length = in->metrics._maximum = 1;
    in->metrics._release = true;
    in->metrics._buffer[0].resource_selector = dds_string_dup(selector);
    in->metrics._buffer[0].subscribe_metric_selector._buffer = dds_alloc(sizeof(char*));
    in->metrics._buffer[0].subscribe_metric_selector._length = 1;
    in->metrics._buffer[0].subscribe_metric_selector._maximum = 1;
    in->metrics._buffer[0].subscribe_metric_selector._release = true;
    in->metrics._buffer[0].subscribe_metric_selector._buffer[0] = dds_string_dup(pattern);
    return self;
}

bool Peer_requestHas(PeerValue* self, const char* selector, const char* pattern) {
    const DDS_Monitoring_MonitoringService_Request* request = self->data;
    const DDS_Monitoring_MetricSelector* one = request->data._u.set_metric_subscription_state.metrics._buffer;
    return request->data._d == -185953285 &&
           request->data._u.set_metric_subscription_state.metrics._length == 1 &&
           isText(one->resource_selector, selector) && one->subscribe_metric_selector._length == 1 &&
           isText(one->subscribe_metric_selector._buffer[0], pattern);
}

PeerValue* Peer_makeReply(int32_t code, const char* message) {
    PeerValue* self = newValue(PeerType_find("DDS::Monitoring::MonitoringService_Reply"));
    DDS_Monitoring_MonitoringService_Reply* reply = self->data;
    reply->data._d = 519185278;
    reply->data._u.request_resource_registry._d = -993880232;
    DDS_Monitoring_MonitoringCommandError* error =
        &reply->data._u.request_resource_registry._u.monitoringcommanderror_ex;
    error->ret_code = (DDS_Monitoring_ReturnCode_t)code;
    error->error_message = dds_string_dup(message);
    return self;
}

bool Peer_replyHas(PeerValue* self, int32_t code, const char* message) {
    const DDS_Monitoring_MonitoringService_Reply* reply = self->data;
    const DDS_Monitoring_MonitoringCommandError* error =
        &reply->data._u.request_resource_registry._u.monitoringcommanderror_ex;
    return reply->data._d == 519185278 && reply->data._u.request_resource_registry._d == -993880232 &&
           (int32_t)error->ret_code == code && isText(error->error_message, message);
}
