/* A reader cache that keeps nothing and hands each sample on. */
#include "middleware/engine/cyclone/CycloneLibrary.h"

struct DirectCache {
    struct dds_rhc common;
    ZddsCycloneSampleFunction function;
    void* context;
};

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
    ZddsCyclone_wireGuid(sample.writer, &writer->guid);
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
