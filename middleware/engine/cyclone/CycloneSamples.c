/* Samples of ready bytes, and their type, as the library wants them. */
#include <stdio.h>

#include <dds/ddsrt/md5.h>
#include <dds/ddsrt/mh3.h>

#include "middleware/engine/cyclone/CycloneLibrary.h"

/* ---- sample type ---- */

static void type_free(struct ddsi_sertype* type) {
    ddsi_sertype_fini(type);
    ORXOsapiHeap_freeMemoryInternal(type);
}

/* Samples in the form of structures exist nowhere here: the library asks for these only in dds_read and its
 * like. */
static void type_zeroSamples(const struct ddsi_sertype* type, void* samples, size_t count) {
    (void)type, (void)samples, (void)count;
}
static void type_reallocSamples(
    void** samples, const struct ddsi_sertype* type, void* old, size_t oldCount, size_t count) {
    (void)type, (void)old, (void)oldCount;
    for (size_t i = 0; i < count; i++)
        samples[i] = NULL;
}
static void type_freeSamples(
    const struct ddsi_sertype* type, void** samples, size_t count, dds_free_op_t operation) {
    (void)type, (void)samples, (void)count, (void)operation;
}

READS_LIBRARY static bool type_equal(const struct ddsi_sertype* left, const struct ddsi_sertype* right) {
    return ((const struct BytesType*)left)->keyBytes == ((const struct BytesType*)right)->keyBytes;
}
READS_LIBRARY static uint32_t type_hash(const struct ddsi_sertype* type) {
    return ((const struct BytesType*)type)->keyBytes;
}

const struct ddsi_sertype_ops ZddsCyclone_typeOperations = {
    .version = ddsi_sertype_v0,
    .free = type_free,
    .zero_samples = type_zeroSamples,
    .realloc_samples = type_reallocSamples,
    .free_samples = type_freeSamples,
    .equal = type_equal,
    .hash = type_hash,
};
/* ---- sample ---- */

static uint32_t wholeWords(uint32_t size) {
    return (size + 3U) & ~3U;
}

READS_LIBRARY struct BytesSample* ZddsCyclone_newSample(
    const struct ddsi_sertype* type, enum ddsi_serdata_kind kind, size_t size) {
    const uint32_t keyBytes = ((const struct BytesType*)type)->keyBytes;
    if (size < (size_t)headerBytes + keyBytes || size > UINT32_MAX / 2)
        return NULL;
    void* memory = NULL;
    const size_t room = wholeWords((uint32_t)size);
    if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, sizeof(struct BytesSample) + room,
            _Alignof(struct BytesSample), 0, "struct BytesSample"))
        return NULL;
    struct BytesSample* self = memory;
    memset(self, 0, sizeof *self);
    ddsi_serdata_init(&self->common, type, kind);
    self->size = (uint32_t)size;
    self->keyBytes = keyBytes;
    memset(self->bytes + (size & ~(size_t)3), 0, room - (size & ~(size_t)3));
    return self;
}

READS_LIBRARY struct ddsi_serdata* ZddsCyclone_sampleReady(
    struct BytesSample* self, const struct ddsi_sertype* type) {
    self->common.hash = ddsrt_mh3(self->bytes + headerBytes, self->keyBytes, 0) ^ type->serdata_basehash;
    return &self->common;
}

static void sample_free(struct ddsi_serdata* data) {
    ORXOsapiHeap_freeMemoryInternal(data);
}

static bool sample_equalKey(const struct ddsi_serdata* left, const struct ddsi_serdata* right) {
    const struct BytesSample *l = (const struct BytesSample*)left, *r = (const struct BytesSample*)right;
    return l->keyBytes == r->keyBytes &&
           memcmp(l->bytes + headerBytes, r->bytes + headerBytes, l->keyBytes) == 0;
}

static uint32_t sample_size(const struct ddsi_serdata* data) {
    return ((const struct BytesSample*)data)->size;
}

/* The words of a received submessage have been brought into host order by then. */
READS_LIBRARY static int64_t sequenceNumberOf(const struct nn_rdata* first) {
    const Data_DataFrag_common_t* submessage =
        (const Data_DataFrag_common_t*)NN_RMSG_PAYLOADOFF(first->rmsg, NN_RDATA_SUBMSG_OFF(first));
    return (int64_t)(((uint64_t)(uint32_t)submessage->writerSN.high << 32) | submessage->writerSN.low);
}

/* Fragments may overlap, and start at or before the bytes that are still missing. */
static struct ddsi_serdata* sample_fromNetwork(const struct ddsi_sertype* type, enum ddsi_serdata_kind kind,
    const struct nn_rdata* fragment, size_t size) {
    struct BytesSample* self = ZddsCyclone_newSample(type, kind, size);
    if (self == NULL)
        return NULL;
    self->sequenceNumber = sequenceNumberOf(fragment);
    uint32_t done = 0;
    for (; fragment != NULL && done < size; fragment = fragment->nextfrag) {
        if (fragment->min > done || fragment->maxp1 <= done)
            continue;
        const uint32_t end = fragment->maxp1 < size ? fragment->maxp1 : (uint32_t)size;
        const unsigned char* payload = NN_RMSG_PAYLOADOFF(fragment->rmsg, NN_RDATA_PAYLOAD_OFF(fragment));
        memcpy(self->bytes + done, payload + (done - fragment->min), end - done);
        done = end;
    }
    if (done < size)
        return sample_free(&self->common), NULL;
    return ZddsCyclone_sampleReady(self, type);
}

static struct ddsi_serdata* sample_fromVectors(const struct ddsi_sertype* type, enum ddsi_serdata_kind kind,
    ddsrt_msg_iovlen_t count, const ddsrt_iovec_t* vectors, size_t size) {
    struct BytesSample* self = ZddsCyclone_newSample(type, kind, size);
    if (self == NULL)
        return NULL;
    size_t done = 0;
    for (ddsrt_msg_iovlen_t i = 0; i < count && done < size; i++) {
        const size_t length = vectors[i].iov_len < size - done ? vectors[i].iov_len : size - done;
        memcpy(self->bytes + done, vectors[i].iov_base, length);
        done += length;
    }
    if (done < size)
        return sample_free(&self->common), NULL;
    return ZddsCyclone_sampleReady(self, type);
}

/* A key cannot be had back from its hash. */
static struct ddsi_serdata* sample_fromKeyHash(
    const struct ddsi_sertype* type, const struct ddsi_keyhash* hash) {
    (void)type, (void)hash;
    return NULL;
}
static struct ddsi_serdata* sample_fromSample(
    const struct ddsi_sertype* type, enum ddsi_serdata_kind kind, const void* sample) {
    (void)type, (void)kind, (void)sample;
    return NULL;
}
static bool sample_toSample(const struct ddsi_serdata* data, void* sample, void** buffer, void* limit) {
    (void)data, (void)sample, (void)buffer, (void)limit;
    return false;
}
static bool sample_untypedToSample(const struct ddsi_sertype* type, const struct ddsi_serdata* data,
    void* sample, void** buffer, void* limit) {
    (void)type, (void)data, (void)sample, (void)buffer, (void)limit;
    return false;
}

static void sample_toBuffer(const struct ddsi_serdata* data, size_t offset, size_t size, void* buffer) {
    memcpy(buffer, ((const struct BytesSample*)data)->bytes + offset, size);
}

static struct ddsi_serdata* sample_toVector(
    const struct ddsi_serdata* data, size_t offset, size_t size, ddsrt_iovec_t* vector) {
    struct BytesSample* self = (struct BytesSample*)data;
    vector->iov_base = self->bytes + offset;
    vector->iov_len = (ddsrt_iov_len_t)size;
    return ddsi_serdata_ref(data);
}
static void sample_returnVector(struct ddsi_serdata* data, const ddsrt_iovec_t* vector) {
    (void)vector;
    ddsi_serdata_unref(data);
}

/* The map of instances keeps it, beyond the life of the type: so a copy of the key carries none. The map
 * cannot do without: when memory is out it gets the sample itself, whose type is not looked at there. */
static struct ddsi_serdata* sample_toUntyped(const struct ddsi_serdata* data) {
    const struct BytesSample* from = (const struct BytesSample*)data;
    if (data->type == NULL || data->kind == SDK_KEY)
        return ddsi_serdata_ref(data);
    struct BytesSample* self =
        ZddsCyclone_newSample(data->type, SDK_KEY, (size_t)headerBytes + from->keyBytes);
    if (self == NULL)
        return ddsi_serdata_ref(data);
    memcpy(self->bytes, from->bytes, (size_t)headerBytes + from->keyBytes);
    self->common.hash = from->common.hash;
    self->common.type = NULL;
    return &self->common;
}

static size_t sample_print(
    const struct ddsi_sertype* type, const struct ddsi_serdata* data, char* buffer, size_t size) {
    (void)type;
    const int length = snprintf(buffer, size, "(%u bytes)", ((const struct BytesSample*)data)->size);
    return length < 0 ? 0 : (size_t)length;
}

/* Hash of the key in the byte order in which it was written: our readers ask for none, and tell instances
 * apart by the key itself. */
static void sample_keyHash(const struct ddsi_serdata* data, struct ddsi_keyhash* hash, bool forceMd5) {
    const struct BytesSample* self = (const struct BytesSample*)data;
    if (!forceMd5 && self->keyBytes <= sizeof hash->value) {
        memset(hash->value, 0, sizeof hash->value);
        memcpy(hash->value, self->bytes + headerBytes, self->keyBytes);
        return;
    }
    ddsrt_md5_state_t state;
    ddsrt_md5_init(&state);
    ddsrt_md5_append(&state, self->bytes + headerBytes, self->keyBytes);
    ddsrt_md5_finish(&state, hash->value);
}

const struct ddsi_serdata_ops ZddsCyclone_sampleOperations = {
    .eqkey = sample_equalKey,
    .get_size = sample_size,
    .from_ser = sample_fromNetwork,
    .from_ser_iov = sample_fromVectors,
    .from_keyhash = sample_fromKeyHash,
    .from_sample = sample_fromSample,
    .to_ser = sample_toBuffer,
    .to_ser_ref = sample_toVector,
    .to_ser_unref = sample_returnVector,
    .to_sample = sample_toSample,
    .to_untyped = sample_toUntyped,
    .untyped_to_sample = sample_untypedToSample,
    .free = sample_free,
    .print = sample_print,
    .get_keyhash = sample_keyHash,
};
