#include "middleware/engine/cyclone/CycloneInternals.h"

#include <dds/version.h>
#if DDS_VERSION_MAJOR != 0 || DDS_VERSION_MINOR != 10 || DDS_VERSION_PATCH != 2
#error                                                                                                       \
    "This file knows the inner layout of Cyclone DDS 0.10.2 alone: check every structure below before going on."
#endif
#ifndef DDS_NDEBUG
#error "The library is built with DDS_NDEBUG, which changes the layout of received messages."
#endif

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include <dds/dds.h>
#include <dds/ddsc/dds_rhc.h>
#include <dds/ddsi/ddsi_domaingv.h>
/* clang-format off: the headers of endpoints need these two before them */
#include <dds/ddsi/ddsi_entity.h>
#include <dds/ddsi/q_hbcontrol.h>
/* clang-format on */
#include <dds/ddsi/ddsi_endpoint.h>
#include <dds/ddsi/ddsi_entity_index.h>
#include <dds/ddsi/ddsi_entity_match.h>
#include <dds/ddsi/ddsi_proxy_endpoint.h>
#include <dds/ddsi/ddsi_serdata.h>
#include <dds/ddsi/ddsi_sertype.h>
#include <dds/ddsi/ddsi_tkmap.h>
#include <dds/ddsi/q_bswap.h>
#include <dds/ddsi/q_protocol.h>
#include <dds/ddsi/q_radmin.h>
#include <dds/ddsi/q_thread.h>
#include <dds/ddsrt/md5.h>
#include <dds/ddsrt/mh3.h>

#include "zddscore/heap.h"

/* Marks what reads records of the library, or types that it shares between threads: how it synchronizes them
 * is hidden from the thread sanitizer. */
#ifdef __SANITIZE_THREAD__
#define READS_LIBRARY __attribute__((no_sanitize_thread))
#else
#define READS_LIBRARY
#endif

/* ---- sample type ---- */

struct BytesType {
    struct ddsi_sertype common;
    uint32_t keyBytes;
};

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

static const struct ddsi_sertype_ops typeOperations = {
    .version = ddsi_sertype_v0,
    .free = type_free,
    .zero_samples = type_zeroSamples,
    .realloc_samples = type_reallocSamples,
    .free_samples = type_freeSamples,
    .equal = type_equal,
    .hash = type_hash,
};

/* ---- sample ---- */

enum { headerBytes = 4 };

struct BytesSample {
    struct ddsi_serdata common;
    int64_t sequenceNumber;
    uint32_t size;     /* with the encapsulation header */
    uint32_t keyBytes; /* after the header */
    uint8_t bytes[];   /* room for `size` rounded up to 4: the library sends whole words */
};

static uint32_t wholeWords(uint32_t size) {
    return (size + 3U) & ~3U;
}

/* Null when memory is out, or when there is less than a header and a key. */
READS_LIBRARY static struct BytesSample* sample_new(
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

READS_LIBRARY static struct ddsi_serdata* sample_ready(
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
    struct BytesSample* self = sample_new(type, kind, size);
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
    return sample_ready(self, type);
}

static struct ddsi_serdata* sample_fromVectors(const struct ddsi_sertype* type, enum ddsi_serdata_kind kind,
    ddsrt_msg_iovlen_t count, const ddsrt_iovec_t* vectors, size_t size) {
    struct BytesSample* self = sample_new(type, kind, size);
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
    return sample_ready(self, type);
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
    struct BytesSample* self = sample_new(data->type, SDK_KEY, (size_t)headerBytes + from->keyBytes);
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

static const struct ddsi_serdata_ops sampleOperations = {
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

/* ---- topics ---- */

typedef dds_entity_t (*CreateTopicFunction)(dds_entity_t participant, const char* name, bool allowDcps,
    struct ddsi_sertype** type, const dds_qos_t* qos, const dds_listener_t* listener, bool isBuiltin);

/* Looked up at run time, since no header promises it. */
static CreateTopicFunction innerCreateTopic(void) {
    CreateTopicFunction function = NULL;
    void* symbol = dlsym(RTLD_DEFAULT, "dds_create_topic_impl");
    memcpy(&function, &symbol, sizeof function);
    return function;
}

int32_t ZddsCyclone_createTopic(int32_t participant, const char* topicName, const char* typeName,
    uint32_t keyBytes, struct ddsi_sertype** type) {
    void* memory = NULL;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, sizeof(struct BytesType), _Alignof(struct BytesType), 1, "struct BytesType"))
        return DDS_RETCODE_OUT_OF_RESOURCES;
    struct BytesType* own = memory;
    own->keyBytes = keyBytes;
    ddsi_sertype_init_flags(&own->common, typeName, &typeOperations, &sampleOperations,
        keyBytes == 0 ? DDSI_SERTYPE_FLAG_TOPICKIND_NO_KEY : 0);
    own->common.allowed_data_representation =
        DDS_DATA_REPRESENTATION_FLAG_XCDR1 | DDS_DATA_REPRESENTATION_FLAG_XCDR2;

    struct ddsi_sertype* inUse = &own->common;
    const dds_entity_t topic = innerCreateTopic()(participant, topicName, true, &inUse, NULL, NULL, false);
    if (topic < 0) {
        ddsi_sertype_unref(&own->common);
        return topic;
    }
    *type = ddsi_sertype_ref(inUse);
    return topic;
}

void ZddsCyclone_releaseType(struct ddsi_sertype* type) {
    if (type != NULL)
        ddsi_sertype_unref(type);
}

READS_LIBRARY static struct ddsi_domaingv* domainOf(const struct ddsi_sertype* type) {
    return ddsrt_atomic_ldvoidp(&type->gv);
}

READS_LIBRARY struct ddsi_tkmap_instance* ZddsCyclone_holdInstance(const struct ddsi_sertype* type) {
    if (!type->typekind_no_key)
        return NULL;
    struct BytesSample* sample = sample_new(type, SDK_KEY, headerBytes);
    if (sample == NULL)
        return NULL;
    struct ddsi_serdata* data = sample_ready(sample, type);
    struct ddsi_domaingv* domain = domainOf(type);
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, domain);
    struct ddsi_tkmap_instance* instance = ddsi_tkmap_lookup_instance_ref(domain->m_tkmap, data);
    thread_state_asleep(thread);
    ddsi_serdata_unref(data);
    return instance;
}

READS_LIBRARY void ZddsCyclone_releaseInstance(
    const struct ddsi_sertype* type, struct ddsi_tkmap_instance* instance) {
    if (instance == NULL)
        return;
    struct ddsi_domaingv* domain = domainOf(type);
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, domain);
    ddsi_tkmap_instance_unref(domain->m_tkmap, instance);
    thread_state_asleep(thread);
}

/* ---- writing ---- */

static uint32_t statusOf(enum ZddsCycloneKind kind) {
    switch (kind) {
    case ZDDS_CYCLONE_DISPOSE:
        return NN_STATUSINFO_DISPOSE;
    case ZDDS_CYCLONE_UNREGISTER:
        return NN_STATUSINFO_UNREGISTER;
    case ZDDS_CYCLONE_DATA:
        break;
    }
    return 0;
}

int32_t ZddsCyclone_write(int32_t writer, const struct ddsi_sertype* type, const void* bytes, size_t size,
    enum ZddsCycloneKind kind, int64_t sourceTimeNs, int64_t sequenceNumber) {
    struct BytesSample* sample = sample_new(type, kind == ZDDS_CYCLONE_DATA ? SDK_DATA : SDK_KEY, size);
    if (sample == NULL)
        return DDS_RETCODE_OUT_OF_RESOURCES;
    memcpy(sample->bytes, bytes, size);
    sample->sequenceNumber = sequenceNumber;
    sample->common.timestamp.v = sourceTimeNs;
    sample->common.statusinfo = statusOf(kind);
    return dds_forwardcdr(writer, sample_ready(sample, type)); /* takes the reference in any case */
}

/* ---- reader cache ---- */

struct DirectCache {
    struct dds_rhc common;
    ZddsCycloneSampleFunction function;
    void* context;
};

static void wireGuid(uint8_t wire[16], const struct ddsi_guid* guid) {
    const ddsi_guid_t ordered = nn_hton_guid(*guid);
    memcpy(wire, &ordered, 16);
}

/* A sample may carry data and tell the end of its instance at once: that makes two calls. */
static bool cache_store(struct ddsi_rhc* restrict cache, const struct ddsi_writer_info* restrict writer,
    struct ddsi_serdata* restrict data, struct ddsi_tkmap_instance* restrict instance) {
    (void)instance;
    const struct DirectCache* self = (const struct DirectCache*)cache;
    const struct BytesSample* from = (const struct BytesSample*)data;
    struct ZddsCycloneSample sample = {
        .bytes = from->bytes,
        .size = from->size,
        .writerHandle = writer->iid,
        .sequenceNumber = from->sequenceNumber,
        .sourceTimeNs = data->timestamp.v,
        .kind = ZDDS_CYCLONE_DATA,
    };
    wireGuid(sample.writer, &writer->guid);
    if (data->kind == SDK_DATA)
        self->function(self->context, &sample);
    const uint32_t end = data->statusinfo & (NN_STATUSINFO_DISPOSE | NN_STATUSINFO_UNREGISTER);
    if (end == 0)
        return true;
    sample.size = data->kind == SDK_DATA ? (size_t)headerBytes + from->keyBytes : sample.size;
    sample.kind = (end & NN_STATUSINFO_DISPOSE) != 0 ? ZDDS_CYCLONE_DISPOSE : ZDDS_CYCLONE_UNREGISTER;
    self->function(self->context, &sample);
    return true;
}

/* The matches tell the end of a writer. */
static void cache_unregisterWriter(
    struct ddsi_rhc* restrict cache, const struct ddsi_writer_info* restrict writer) {
    (void)cache, (void)writer;
}
static void cache_relinquishOwnership(struct ddsi_rhc* restrict cache, const uint64_t writer) {
    (void)cache, (void)writer;
}
static void cache_setQos(struct ddsi_rhc* cache, const struct dds_qos* qos) {
    (void)cache, (void)qos;
}
static void cache_free(struct ddsi_rhc* cache) {
    ORXOsapiHeap_freeMemoryInternal(cache);
}

/* Nothing is kept, so there is nothing to read. */
static int32_t cache_read(struct dds_rhc* cache, bool lock, void** values, dds_sample_info_t* infos,
    uint32_t maximum, uint32_t mask, dds_instance_handle_t handle, struct dds_readcond* condition) {
    (void)cache, (void)lock, (void)values, (void)infos, (void)maximum, (void)mask, (void)handle,
        (void)condition;
    return 0;
}
static int32_t cache_readBytes(struct dds_rhc* cache, bool lock, struct ddsi_serdata** values,
    dds_sample_info_t* infos, uint32_t maximum, uint32_t sampleStates, uint32_t viewStates,
    uint32_t instanceStates, dds_instance_handle_t handle) {
    (void)cache, (void)lock, (void)values, (void)infos, (void)maximum;
    (void)sampleStates, (void)viewStates, (void)instanceStates, (void)handle;
    return 0;
}
static bool cache_addCondition(struct dds_rhc* cache, struct dds_readcond* condition) {
    (void)cache, (void)condition;
    return true;
}
static void cache_removeCondition(struct dds_rhc* cache, struct dds_readcond* condition) {
    (void)cache, (void)condition;
}
static uint32_t cache_lockSamples(struct dds_rhc* cache) {
    (void)cache;
    return 0;
}
static dds_return_t cache_associate(struct dds_rhc* cache, struct dds_reader* reader,
    const struct ddsi_sertype* type, struct ddsi_tkmap* instances) {
    (void)cache, (void)reader, (void)type, (void)instances;
    return DDS_RETCODE_OK;
}

static const struct dds_rhc_ops cacheOperations = {
    .rhc_ops = {.store = cache_store,
        .unregister_wr = cache_unregisterWriter,
        .relinquish_ownership = cache_relinquishOwnership,
        .set_qos = cache_setQos,
        .free = cache_free},
    .read = cache_read,
    .take = cache_read,
    .readcdr = cache_readBytes,
    .takecdr = cache_readBytes,
    .add_readcondition = cache_addCondition,
    .remove_readcondition = cache_removeCondition,
    .lock_samples = cache_lockSamples,
    .associate = cache_associate,
};

struct dds_rhc* ZddsCyclone_newCache(ZddsCycloneSampleFunction function, void* context) {
    void* memory = NULL;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, sizeof(struct DirectCache), _Alignof(struct DirectCache), 1, "struct DirectCache"))
        return NULL;
    struct DirectCache* self = memory;
    self->common.common.ops = &cacheOperations;
    self->function = function;
    self->context = context;
    return &self->common;
}

void ZddsCyclone_deleteCache(struct dds_rhc* cache) {
    ORXOsapiHeap_freeMemoryInternal(cache);
}

/* ---- endpoints ---- */

static ddsi_guid_t hostGuid(const uint8_t wire[16]) {
    ddsi_guid_t guid;
    memcpy(&guid, wire, sizeof guid);
    return nn_ntoh_guid(guid);
}

READS_LIBRARY void* ZddsCyclone_findWriter(const struct ddsi_sertype* type, const uint8_t guid[16]) {
    const struct ddsi_domaingv* domain = domainOf(type);
    const ddsi_guid_t key = hostGuid(guid);
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, domain);
    void* writer = entidx_lookup_writer_guid(domain->entity_index, &key);
    thread_state_asleep(thread);
    return writer;
}

READS_LIBRARY void* ZddsCyclone_findReader(const struct ddsi_sertype* type, const uint8_t guid[16]) {
    const struct ddsi_domaingv* domain = domainOf(type);
    const ddsi_guid_t key = hostGuid(guid);
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, domain);
    void* reader = entidx_lookup_reader_guid(domain->entity_index, &key);
    thread_state_asleep(thread);
    return reader;
}

READS_LIBRARY int64_t ZddsCyclone_lastSequenceNumber(const void* writer) {
    return (int64_t)((const struct ddsi_writer*)writer)->seq;
}

static bool hasPrefix(const ddsi_guid_t* guid, const uint8_t prefix[12]) {
    uint8_t wire[16];
    wireGuid(wire, guid);
    return memcmp(wire, prefix, 12) == 0;
}

/* Readers of this process take their samples while they are written. */
READS_LIBRARY int64_t ZddsCyclone_acknowledgedBy(void* writer, const uint8_t prefix[12]) {
    struct ddsi_writer* self = writer;
    int64_t lowest = -1;
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, self->e.gv);
    ddsrt_mutex_lock(&self->e.lock);
    ddsrt_avl_iter_t iterator;
    for (const struct ddsi_wr_prd_match* match =
             ddsrt_avl_iter_first(&ddsi_wr_readers_treedef, &self->readers, &iterator);
         match != NULL; match = ddsrt_avl_iter_next(&iterator)) {
        if (!hasPrefix(&match->prd_guid, prefix))
            continue;
        const int64_t acknowledged =
            match->is_reliable && match->seq < INT64_MAX ? (int64_t)match->seq : INT64_MAX;
        lowest = lowest < 0 || acknowledged < lowest ? acknowledged : lowest;
    }
    for (const struct ddsi_wr_rd_match* match =
             ddsrt_avl_iter_first(&ddsi_wr_local_readers_treedef, &self->local_readers, &iterator);
         match != NULL && lowest < 0; match = ddsrt_avl_iter_next(&iterator)) {
        if (hasPrefix(&match->rd_guid, prefix))
            lowest = (int64_t)self->seq;
    }
    ddsrt_mutex_unlock(&self->e.lock);
    thread_state_asleep(thread);
    return lowest;
}

/* An endpoint in the index stays allocated while the thread is awake. */
READS_LIBRARY static bool hasHandle(
    const struct ddsi_entity_common* entity, uint64_t handle, uint8_t guid[16]) {
    if (entity == NULL || entity->iid != handle)
        return false;
    wireGuid(guid, &entity->guid);
    return true;
}

READS_LIBRARY bool ZddsCyclone_matchedReader(void* writer, uint64_t handle, uint8_t guid[16]) {
    struct ddsi_writer* self = writer;
    const struct entity_index* index = self->e.gv->entity_index;
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, self->e.gv);
    ddsrt_mutex_lock(&self->e.lock);
    bool found = false;
    ddsrt_avl_iter_t iterator;
    for (const struct ddsi_wr_prd_match* match =
             ddsrt_avl_iter_first(&ddsi_wr_readers_treedef, &self->readers, &iterator);
         match != NULL && !found; match = ddsrt_avl_iter_next(&iterator)) {
        const struct ddsi_proxy_reader* reader = entidx_lookup_proxy_reader_guid(index, &match->prd_guid);
        found = reader != NULL && hasHandle(&reader->e, handle, guid);
    }
    for (const struct ddsi_wr_rd_match* match =
             ddsrt_avl_iter_first(&ddsi_wr_local_readers_treedef, &self->local_readers, &iterator);
         match != NULL && !found; match = ddsrt_avl_iter_next(&iterator)) {
        const struct ddsi_reader* reader = entidx_lookup_reader_guid(index, &match->rd_guid);
        found = reader != NULL && hasHandle(&reader->e, handle, guid);
    }
    ddsrt_mutex_unlock(&self->e.lock);
    thread_state_asleep(thread);
    return found;
}

READS_LIBRARY bool ZddsCyclone_matchedWriter(void* reader, uint64_t handle, uint8_t guid[16]) {
    struct ddsi_reader* self = reader;
    const struct entity_index* index = self->e.gv->entity_index;
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, self->e.gv);
    ddsrt_mutex_lock(&self->e.lock);
    bool found = false;
    ddsrt_avl_iter_t iterator;
    for (const struct ddsi_rd_pwr_match* match =
             ddsrt_avl_iter_first(&ddsi_rd_writers_treedef, &self->writers, &iterator);
         match != NULL && !found; match = ddsrt_avl_iter_next(&iterator)) {
        const struct ddsi_proxy_writer* writer = entidx_lookup_proxy_writer_guid(index, &match->pwr_guid);
        found = writer != NULL && hasHandle(&writer->e, handle, guid);
    }
    for (const struct ddsi_rd_wr_match* match =
             ddsrt_avl_iter_first(&ddsi_rd_local_writers_treedef, &self->local_writers, &iterator);
         match != NULL && !found; match = ddsrt_avl_iter_next(&iterator)) {
        const struct ddsi_writer* writer = entidx_lookup_writer_guid(index, &match->wr_guid);
        found = writer != NULL && hasHandle(&writer->e, handle, guid);
    }
    ddsrt_mutex_unlock(&self->e.lock);
    thread_state_asleep(thread);
    return found;
}

/* ---- self-test ---- */

/* Functions that no public header promises, or whose structures this file lays out itself. */
static const char* const neededFunctions[] = {
    "dds_create_topic_impl",
    "dds_create_reader_rhc",
    "dds_forwardcdr",
    "ddsi_sertype_init_flags",
    "ddsi_sertype_v0",
    "ddsi_serdata_init",
    "entidx_lookup_writer_guid",
    "entidx_lookup_reader_guid",
    "entidx_lookup_proxy_writer_guid",
    "entidx_lookup_proxy_reader_guid",
    "ddsi_tkmap_lookup_instance_ref",
    "ddsi_tkmap_instance_unref",
    "lookup_thread_state_real",
    "nn_hton_guid",
};

/* Lets the library fill a type and a sample, and looks for what it filled in where the headers say that it
 * is. */
static const char* checkLayout(void) {
    struct BytesType type;
    memset(&type, 0xa5, sizeof type);
    ddsi_sertype_init_flags(
        &type.common, "self::test", &typeOperations, &sampleOperations, DDSI_SERTYPE_FLAG_TOPICKIND_NO_KEY);
    const bool typeFits =
        type.common.ops == &typeOperations && type.common.serdata_ops == &sampleOperations &&
        type.common.typekind_no_key == 1 && type.common.request_keyhash == 0 &&
        type.common.type_name != NULL && strcmp(type.common.type_name, "self::test") == 0 &&
        ddsrt_atomic_ldvoidp(&type.common.gv) == NULL && ddsrt_atomic_ld32(&type.common.flags_refc) == 1 &&
        type.common.wrapped_sertopic == NULL;
    if (!typeFits)
        return "struct ddsi_sertype of the Cyclone DDS library differs from that of its headers";
    struct ddsi_serdata sample;
    memset(&sample, 0xa5, sizeof sample);
    ddsi_serdata_init(&sample, &type.common, SDK_KEY);
    const bool sampleFits = sample.ops == &sampleOperations && sample.kind == SDK_KEY &&
                            sample.type == &type.common && ddsrt_atomic_ld32(&sample.refc) == 1 &&
                            sample.statusinfo == 0;
    ddsi_sertype_fini(&type.common);
    return sampleFits ? NULL
                      : "struct ddsi_serdata of the Cyclone DDS library differs from that of its headers";
}

const char* ZddsCyclone_selfTest(void) {
    for (size_t i = 0; i < sizeof neededFunctions / sizeof *neededFunctions; i++)
        if (dlsym(RTLD_DEFAULT, neededFunctions[i]) == NULL)
            return "the Cyclone DDS library lacks a function of version 0.10.2 that is needed";
    return checkLayout();
}
