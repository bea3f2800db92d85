/* Endpoints: writing, acknowledgments, and the way from an instance handle to a GUID. */
#include "middleware/engine/cyclone/CycloneLibrary.h"

/* ---- records ---- */

static ddsi_guid_t hostGuid(const uint8_t wire[16]) {
    ddsi_guid_t guid;
    memcpy(&guid, wire, sizeof guid);
    return nn_ntoh_guid(guid);
}

READS_LIBRARY bool ZddsCyclone_findEndpoint(struct ZddsCycloneEndpoint* self, enum ZddsCycloneSide side,
    int32_t entity, const struct ddsi_sertype* type, const uint8_t guid[16]) {
    struct ZddsCyclonePin pin;
    if (!ZddsCyclone_pin(&pin, entity))
        return false;
    const struct ddsi_domaingv* domain = ZddsCyclone_domainOf(type);
    const ddsi_guid_t key = hostGuid(guid);
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, domain);
    self->entity = entity;
    self->side = side;
    if (side == ZDDS_CYCLONE_WRITER)
        self->record = entidx_lookup_writer_guid(domain->entity_index, &key);
    else
        self->record = entidx_lookup_reader_guid(domain->entity_index, &key);
    thread_state_asleep(thread);
    ZddsCyclone_unpin(&pin);
    return self->record != NULL;
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

READS_LIBRARY static int64_t lastSequenceNumber(const struct ddsi_writer* writer) {
    return (int64_t)writer->seq;
}

int32_t ZddsCyclone_write(const struct ZddsCycloneEndpoint* writer, const struct ddsi_sertype* type,
    const void* bytes, size_t size, enum ZddsCycloneKind kind, int64_t sourceTimeNs,
    int64_t* sequenceNumber) {
    struct BytesSample* sample =
        ZddsCyclone_newSample(type, kind == ZDDS_CYCLONE_DATA ? SDK_DATA : SDK_KEY, size);
    if (sample == NULL)
        return DDS_RETCODE_OUT_OF_RESOURCES;
    memcpy(sample->bytes, bytes, size);
    struct ddsi_serdata* data = ZddsCyclone_sampleReady(sample, type);
    data->timestamp.v = sourceTimeNs;
    data->statusinfo = statusOf(kind);
    struct ZddsCyclonePin pin;
    if (!ZddsCyclone_pin(&pin, writer->entity)) {
        ddsi_serdata_unref(data);
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    }
    *sequenceNumber = sample->sequenceNumber = lastSequenceNumber(writer->record) + 1;
    const int32_t result = dds_forwardcdr(writer->entity, data); /* takes the reference in any case */
    /* A program that batches its writes does so for all writers of its process, and a batch that is not full
     * would wait for its next sample. */
    dds_write_flush(writer->entity);
    ZddsCyclone_unpin(&pin);
    return result;
}

/* ---- matches ---- */

/* Of the four kinds of matches each endpoint has two: with endpoints of this process and with others. */
struct MatchKind {
    const ddsrt_avl_treedef_t* order;
    size_t tree; /* where the endpoint has its matches */
    size_t guid; /* where a match has the GUID of the other endpoint */
    void* (*find)(const struct entity_index* index, const ddsi_guid_t* guid); /* that endpoint */
    bool isRemote;
};

static void* findProxyReader(const struct entity_index* index, const ddsi_guid_t* guid) {
    return entidx_lookup_proxy_reader_guid(index, guid);
}
static void* findReader(const struct entity_index* index, const ddsi_guid_t* guid) {
    return entidx_lookup_reader_guid(index, guid);
}
static void* findProxyWriter(const struct entity_index* index, const ddsi_guid_t* guid) {
    return entidx_lookup_proxy_writer_guid(index, guid);
}
static void* findWriter(const struct entity_index* index, const ddsi_guid_t* guid) {
    return entidx_lookup_writer_guid(index, guid);
}

static const struct MatchKind matchKinds[2][2] = {
    [ZDDS_CYCLONE_WRITER] = {{&ddsi_wr_readers_treedef, offsetof(struct ddsi_writer, readers),
                                 offsetof(struct ddsi_wr_prd_match, prd_guid), findProxyReader, true},
        {&ddsi_wr_local_readers_treedef, offsetof(struct ddsi_writer, local_readers),
            offsetof(struct ddsi_wr_rd_match, rd_guid), findReader, false}},
    [ZDDS_CYCLONE_READER] = {{&ddsi_rd_writers_treedef, offsetof(struct ddsi_reader, writers),
                                 offsetof(struct ddsi_rd_pwr_match, pwr_guid), findProxyWriter, true},
        {&ddsi_rd_local_writers_treedef, offsetof(struct ddsi_reader, local_writers),
            offsetof(struct ddsi_rd_wr_match, wr_guid), findWriter, false}},
};

/* One match as a visitor sees it: with the endpoint's lock held, and the thread awake, so that what is in the
 * index stays. True goes on. */
struct Visit {
    const struct ddsi_entity_common* endpoint;
    const struct MatchKind* kind;
    const void* match;
    const ddsi_guid_t* guid;
};
typedef bool (*VisitFunction)(void* context, const struct Visit* visit);

/* Records of both kinds begin with their common part. */
READS_LIBRARY static void visitMatches(
    const struct ZddsCycloneEndpoint* self, VisitFunction function, void* context) {
    struct ZddsCyclonePin pin;
    if (!ZddsCyclone_pin(&pin, self->entity))
        return;
    struct ddsi_entity_common* endpoint = self->record;
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, endpoint->gv);
    ddsrt_mutex_lock(&endpoint->lock);
    bool goesOn = true;
    for (int i = 0; i < 2 && goesOn; i++) {
        const struct MatchKind* kind = &matchKinds[self->side][i];
        const ddsrt_avl_tree_t* tree = (const ddsrt_avl_tree_t*)((const char*)self->record + kind->tree);
        ddsrt_avl_iter_t iterator;
        for (const char* match = ddsrt_avl_iter_first(kind->order, tree, &iterator); match != NULL && goesOn;
             match = ddsrt_avl_iter_next(&iterator)) {
            const struct Visit visit = {endpoint, kind, match, (const ddsi_guid_t*)(match + kind->guid)};
            goesOn = function(context, &visit);
        }
    }
    ddsrt_mutex_unlock(&endpoint->lock);
    thread_state_asleep(thread);
    ZddsCyclone_unpin(&pin);
}

struct HandleSearch {
    uint64_t handle;
    uint8_t* guid;
    bool isFound;
};

READS_LIBRARY static bool compareHandle(void* context, const struct Visit* visit) {
    struct HandleSearch* search = context;
    const struct ddsi_entity_common* other =
        visit->kind->find(visit->endpoint->gv->entity_index, visit->guid);
    if (other == NULL || other->iid != search->handle)
        return true;
    ZddsCyclone_wireGuid(search->guid, &other->guid);
    search->isFound = true;
    return false;
}

bool ZddsCyclone_findMatched(const struct ZddsCycloneEndpoint* self, uint64_t handle, uint8_t guid[16]) {
    struct HandleSearch search = {handle, guid, false};
    visitMatches(self, compareHandle, &search);
    return search.isFound;
}

struct AcknowledgmentSearch {
    const uint8_t* prefix;
    int64_t lowest;
};

/* Readers of this process take their samples while they are written. */
READS_LIBRARY static bool compareAcknowledgment(void* context, const struct Visit* visit) {
    struct AcknowledgmentSearch* search = context;
    uint8_t wire[16];
    ZddsCyclone_wireGuid(wire, visit->guid);
    if (memcmp(wire, search->prefix, 12) != 0)
        return true;
    int64_t acknowledged = INT64_MAX;
    if (visit->kind->isRemote) {
        const struct ddsi_wr_prd_match* match = visit->match;
        if (match->is_reliable && match->seq < INT64_MAX)
            acknowledged = (int64_t)match->seq;
    }
    if (search->lowest < 0 || acknowledged < search->lowest)
        search->lowest = acknowledged;
    return true;
}

int64_t ZddsCyclone_acknowledgedBy(const struct ZddsCycloneEndpoint* writer, const uint8_t prefix[12]) {
    struct AcknowledgmentSearch search = {prefix, -1};
    visitMatches(writer, compareAcknowledgment, &search);
    return search.lowest;
}
