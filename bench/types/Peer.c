#include "Peer.h"

#include <stdlib.h>
#include <string.h>

#include "dds/dds.h"
#include "dds/ddsi/ddsi_cdrstream.h"
#include "dds/ddsi/ddsi_serdata_default.h"
#include "dds_entities_distribution.h"
#include "dds_logging.h"

enum { version = 2 }; /* of XCDR, as the stream functions count */

struct Peer {
    struct ddsi_sertype_default type;
    void* sample;
    void* bytes; /* given; normalizing native bytes changes nothing, so they can be read again */
    uint32_t size;
    dds_ostream_t stream;
};

static const dds_topic_descriptor_t* const descriptors[] = {
    [PEER_EVENT] = &DDS_Monitoring_Event_desc,
    [PEER_PERIODIC] = &DDS_Monitoring_Periodic_desc,
    [PEER_LOGGING] = &DDS_Monitoring_Logging_desc,
};

static bool decode(Peer* self, void* sample) {
    uint32_t used = 0;
    if (!dds_stream_normalize(self->bytes, self->size, false, version, &self->type, false, &used)) {
        return false;
    }
    dds_istream_t stream;
    dds_istream_init(&stream, self->size, self->bytes, version);
    dds_stream_read_sample(&stream, sample, &self->type);
    dds_istream_fini(&stream);
    return true;
}

Peer* Peer_new(PeerTopic topic, const void* bytes, size_t size) {
    const dds_topic_descriptor_t* descriptor = descriptors[topic];
    Peer* self = calloc(1, sizeof *self);
    self->type.type.size = descriptor->m_size;
    self->type.type.align = descriptor->m_align;
    self->type.type.flagset = descriptor->m_flagset;
    self->type.type.ops.nops = descriptor->m_nops;
    self->type.type.ops.ops = (uint32_t*)descriptor->m_ops;
    self->type.opt_size_xcdr1 = dds_stream_check_optimize(&self->type.type, 1);
    self->type.opt_size_xcdr2 = dds_stream_check_optimize(&self->type.type, 2);
    self->size = (uint32_t)size;
    self->bytes = malloc(size + 8); /* it is read in words */
    memcpy(self->bytes, bytes, size);
    self->sample = calloc(1, descriptor->m_size);
    dds_ostream_init(&self->stream, 0, version);
    if (!decode(self, self->sample)) {
        Peer_delete(self);
        return NULL;
    }
    return self;
}

void Peer_delete(Peer* self) {
    dds_stream_free_sample(self->sample, self->type.type.ops.ops);
    free(self->sample);
    free(self->bytes);
    dds_ostream_fini(&self->stream);
    free(self);
}

size_t Peer_encode(Peer* self) {
    self->stream.m_index = 0;
    return dds_stream_write_sample(&self->stream, self->sample, &self->type) ? self->stream.m_index : 0;
}

const void* Peer_encoded(const Peer* self) {
    return self->stream.m_buffer;
}

bool Peer_decode(Peer* self) {
    return decode(self, self->sample);
}

bool Peer_decodeIntoNew(Peer* self) {
    void* sample = calloc(1, self->type.type.size);
    const bool result = decode(self, sample);
    dds_stream_free_sample(sample, self->type.type.ops.ops);
    free(sample);
    return result;
}
