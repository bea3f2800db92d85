#include "CycloneStream.h"

#include <stdlib.h>
#include <string.h>

#include "dds/dds.h"
#include "dds/ddsi/ddsi_cdrstream.h"
#include "dds/ddsi/ddsi_serdata_default.h"

struct CycloneType {
    struct ddsi_sertype_default type;
    uint32_t version;
};

struct CycloneType* CycloneType_new(const dds_topic_descriptor_t* descriptor, uint32_t version) {
    struct CycloneType* self = calloc(1, sizeof *self);
    self->version = version;
    self->type.type.size = descriptor->m_size;
    self->type.type.align = descriptor->m_align;
    self->type.type.flagset = descriptor->m_flagset;
    self->type.type.ops.nops = descriptor->m_nops;
    self->type.type.ops.ops = (uint32_t*)descriptor->m_ops;
    self->type.opt_size_xcdr1 = dds_stream_check_optimize(&self->type.type, 1);
    self->type.opt_size_xcdr2 = dds_stream_check_optimize(&self->type.type, 2);
    return self;
}

void CycloneType_delete(struct CycloneType* self) {
    free(self);
}

uint32_t CycloneType_minimumVersion(const dds_topic_descriptor_t* descriptor) {
    return dds_stream_minimum_xcdr_version(descriptor->m_ops);
}

static bool normalize(struct CycloneType* self, void* bytes, uint32_t size, bool swap) {
    uint32_t actual = 0;
    return dds_stream_normalize(bytes, size, swap, self->version, &self->type, false, &actual);
}

bool CycloneType_readInto(struct CycloneType* self, void* sample, void* bytes, uint32_t size) {
    dds_istream_t in;
    if (!normalize(self, bytes, size, false))
        return false;
    dds_istream_init(&in, size, bytes, self->version);
    dds_stream_read_sample(&in, sample, &self->type);
    dds_istream_fini(&in);
    return true;
}

void* CycloneType_read(struct CycloneType* self, const void* bytes, uint32_t size, bool swap) {
    dds_istream_t in;
    void* sample = NULL;
    unsigned char* copy = malloc(size + 8);
    memcpy(copy, bytes, size);
    if (normalize(self, copy, size, swap)) {
        sample = calloc(1, self->type.type.size);
        dds_istream_init(&in, size, copy, self->version);
        dds_stream_read_sample(&in, sample, &self->type);
        dds_istream_fini(&in);
    }
    free(copy);
    return sample;
}

void CycloneType_free(struct CycloneType* self, void* sample) {
    if (sample == NULL)
        return;
    dds_stream_free_sample(sample, self->type.type.ops.ops);
    free(sample);
}

unsigned char* CycloneType_write(
    struct CycloneType* self, const void* sample, bool bigEndian, uint32_t* size) {
    if (bigEndian) {
        dds_ostreamBE_t out;
        dds_ostreamBE_init(&out, 0, self->version);
        if (!dds_stream_write_sampleBE(&out, sample, &self->type))
            return NULL;
        *size = out.x.m_index;
        return out.x.m_buffer;
    }
    dds_ostream_t out;
    dds_ostream_init(&out, 0, self->version);
    if (!dds_stream_write_sample(&out, sample, &self->type))
        return NULL;
    *size = out.m_index;
    return out.m_buffer;
}

void CycloneType_freeBytes(unsigned char* bytes) {
    dds_free(bytes);
}
