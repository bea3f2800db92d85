#include "PeerStream.h"

#include <stdlib.h>
#include <string.h>

#include "dds/dds.h"
#include "dds/ddsi/ddsi_cdrstream.h"
#include "dds_entities_distribution.h"
#include "orx_remote_administration.h"

enum { version = 2 };

struct PeerStream {
    struct ddsi_sertype_default type;
    void* sample;
    char* bytes; /* checking may change them in place, and reads words */
    uint32_t size;
    dds_ostream_t out;
};

static const dds_topic_descriptor_t* find(const char* name) {
    static const dds_topic_descriptor_t* const types[] = {&DDS_Monitoring_Event_desc,
        &DDS_Monitoring_Periodic_desc, &DDS_Monitoring_Logging_desc,
        &DDS_Monitoring_MonitoringService_Request_desc};
    for (size_t i = 0; i < sizeof types / sizeof *types; ++i) {
        if (strcmp(types[i]->m_typename, name) == 0) {
            return types[i];
        }
    }
    return NULL;
}

static bool readInto(PeerStream* self, void* sample) {
    uint32_t used = 0;
    dds_istream_t in;
    if (!dds_stream_normalize(self->bytes, self->size, false, version, &self->type, false, &used)) {
        return false;
    }
    dds_istream_init(&in, self->size, self->bytes, version);
    dds_stream_read_sample(&in, sample, &self->type);
    dds_istream_fini(&in);
    return true;
}

PeerStream* PeerStream_new(const char* typeName, const void* bytes, size_t size) {
    const dds_topic_descriptor_t* descriptor = find(typeName);
    if (descriptor == NULL) {
        return NULL;
    }
    PeerStream* self = calloc(1, sizeof *self);
    self->type.type.size = descriptor->m_size;
    self->type.type.align = descriptor->m_align;
    self->type.type.flagset = descriptor->m_flagset;
    self->type.type.ops.nops = descriptor->m_nops;
    self->type.type.ops.ops = (uint32_t*)descriptor->m_ops;
    self->type.opt_size_xcdr1 = dds_stream_check_optimize(&self->type.type, 1);
    self->type.opt_size_xcdr2 = dds_stream_check_optimize(&self->type.type, version);
    self->sample = calloc(1, descriptor->m_size);
    self->bytes = malloc(size + 8);
    memcpy(self->bytes, bytes, size);
    self->size = (uint32_t)size;
    dds_ostream_init(&self->out, 65536, version);
    if (!readInto(self, self->sample)) {
        PeerStream_delete(self);
        return NULL;
    }
    return self;
}

void PeerStream_delete(PeerStream* self) {
    dds_stream_free_sample(self->sample, self->type.type.ops.ops);
    dds_ostream_fini(&self->out);
    free(self->sample);
    free(self->bytes);
    free(self);
}

size_t PeerStream_write(PeerStream* self) {
    self->out.m_index = 0;
    (void)dds_stream_write_sample(&self->out, self->sample, &self->type);
    return self->out.m_index;
}

size_t PeerStream_writeAnew(PeerStream* self) {
    dds_ostream_t out;
    dds_ostream_init(&out, 0, version);
    (void)dds_stream_write_sample(&out, self->sample, &self->type);
    const size_t size = out.m_index;
    dds_ostream_fini(&out);
    return size;
}

bool PeerStream_read(PeerStream* self) {
    return readInto(self, self->sample);
}

bool PeerStream_readAnew(PeerStream* self) {
    void* sample = calloc(1, self->type.type.size);
    const bool isRead = readInto(self, sample);
    dds_stream_free_sample(sample, self->type.type.ops.ops);
    free(sample);
    return isRead;
}
