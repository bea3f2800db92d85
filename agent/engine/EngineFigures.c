#include "agent/engine/EngineFigures.h"

#include <dds/version.h>
#if DDS_VERSION_MAJOR != 0 || DDS_VERSION_MINOR != 10 || DDS_VERSION_PATCH != 2
#error                                                                                                       \
    "This file knows the inner layout of Cyclone DDS 0.10.2 alone: check every structure below before going on."
#endif

#define _GNU_SOURCE
#include <dlfcn.h>
#include <string.h>

#include <dds/dds.h>
#include <dds/ddsc/dds_rhc.h>
#include <dds/ddsc/dds_statistics.h>
#include <dds/ddsi/ddsi_domaingv.h>
/* clang-format off: the headers of endpoints need these two before them */
#include <dds/ddsi/ddsi_entity.h>
#include <dds/ddsi/q_hbcontrol.h>
/* clang-format on */
#include <dds/ddsi/ddsi_endpoint.h>
#include <dds/ddsi/ddsi_entity_index.h>
#include <dds/ddsi/ddsi_entity_match.h>
#include <dds/ddsi/ddsi_serdata_default.h>
#include <dds/ddsi/ddsi_sertype.h>
#include <dds/ddsi/q_bswap.h>
#include <dds/ddsi/q_thread.h>
#include <dds/ddsi/q_whc.h>

/* Reads records of the library: how it synchronizes them is hidden from the thread sanitizer. */
#ifdef __SANITIZE_THREAD__
#define READS_LIBRARY __attribute__((no_sanitize_thread))
#else
#define READS_LIBRARY
#endif

/* Not in the installed headers. */
struct dds_entity;
extern dds_return_t dds_entity_pin(dds_entity_t handle, struct dds_entity** entity);
extern void dds_entity_unpin(struct dds_entity* entity);

/* A history is counted by stepping through it; one that is longer than this counts as without gaps. */
enum { maximumSteps = 16384 };
enum { encapsulationBytes = 4 };

static const char* innerProblem = "not checked";

const char* orxEngine_checkInnerFigures(void) {
    static const char* const needed[] = {"dds_entity_pin", "dds_entity_unpin", "entidx_lookup_writer_guid",
        "entidx_lookup_reader_guid", "lookup_thread_state_real", "nn_ntoh_guid", "whc_get_state",
        "ddsi_wr_readers_treedef", "ddsi_sertype_ops_default"};
    innerProblem = NULL;
    for (size_t i = 0; i < sizeof needed / sizeof *needed; i++)
        if (dlsym(RTLD_DEFAULT, needed[i]) == NULL)
            innerProblem = "the Cyclone DDS library lacks a symbol of version 0.10.2 that is needed";
    return innerProblem;
}

void orxEngine_freeStatistics(struct dds_statistics* statistics) {
    if (statistics != NULL)
        dds_delete_statistics(statistics);
}

/* ---- public statistics ---- */

static bool refresh(int32_t handle, struct dds_statistics** statistics) {
    if (*statistics != NULL)
        return dds_refresh_statistics(*statistics) == DDS_RETCODE_OK;
    *statistics = dds_create_statistics(handle);
    return *statistics != NULL;
}

static uint64_t statistic(const struct dds_statistics* statistics, const char* name) {
    const struct dds_stat_keyvalue* found = dds_lookup_statistic(statistics, name);
    if (found == NULL)
        return 0;
    return found->kind == DDS_STAT_KIND_UINT32 ? found->u.u32 : found->u.u64;
}

/* ---- inner figures ---- */

static ddsi_guid_t hostGuid(const uint8_t wire[16]) {
    ddsi_guid_t guid;
    memcpy(&guid, wire, sizeof guid);
    return nn_ntoh_guid(guid);
}

/* The refresh of a moment ago left the entity's domain in the record of this thread. The entity is pinned, so
 * the domain lives. */
READS_LIBRARY static struct ddsi_domaingv* domainOfLastCall(void) {
    return ddsrt_atomic_ldvoidp(&lookup_thread_state()->gv);
}

/* Types that are copied as they stand have one length. */
READS_LIBRARY static uint64_t sampleBytes(const struct ddsi_sertype* type, bool isWriter) {
    if (type->ops != &ddsi_sertype_ops_default)
        return 0;
    const struct ddsi_sertype_default* known = (const struct ddsi_sertype_default*)type;
    const size_t version1 = known->opt_size_xcdr1, version2 = known->opt_size_xcdr2;
    if (!isWriter && version1 != version2)
        return 0; /* it depends on the writer */
    const size_t bytes = known->write_encoding_version == CDR_ENC_VERSION_1 ? version1 : version2;
    return bytes != 0 ? bytes + encapsulationBytes : 0;
}

READS_LIBRARY static bool isReliable(const struct ddsi_reader* reader) {
    return reader != NULL && reader->reliable;
}

READS_LIBRARY static void readMatches(const struct ddsi_writer* writer, struct OrxWriterFigures* figures) {
    const struct entity_index* index = writer->e.gv->entity_index;
    ddsrt_avl_iter_t iterator;
    figures->acknowledged = writer->seq;
    for (const struct ddsi_wr_prd_match* match =
             ddsrt_avl_iter_first(&ddsi_wr_readers_treedef, &writer->readers, &iterator);
         match != NULL; match = ddsrt_avl_iter_next(&iterator)) {
        if (!match->is_reliable)
            continue;
        if (match->seq < figures->acknowledged)
            figures->acknowledged = match->seq;
        if (match->has_replied_to_hb)
            figures->answeringReaders++;
        else
            figures->silentReaders++;
    }
    for (const struct ddsi_wr_rd_match* match =
             ddsrt_avl_iter_first(&ddsi_wr_local_readers_treedef, &writer->local_readers, &iterator);
         match != NULL; match = ddsrt_avl_iter_next(&iterator))
        figures->localReaders += isReliable(entidx_lookup_reader_guid(index, &match->rd_guid));
}

READS_LIBRARY static void readHistory(const struct whc* history, struct OrxWriterFigures* figures) {
    struct whc_state state;
    history->ops->get_state(history, &state);
    if (WHCST_ISEMPTY(&state))
        return;
    figures->firstKept = state.min_seq;
    figures->lastKept = state.max_seq;
    const uint64_t span = state.max_seq - state.min_seq + 1;
    if (span > maximumSteps) {
        figures->keptSamples = span;
        return;
    }
    for (seqno_t at = state.min_seq - 1; (at = history->ops->next_seq(history, at)) <= state.max_seq;)
        figures->keptSamples++;
}

READS_LIBRARY static bool readInnerWriter(
    struct ddsi_domaingv* domain, const ddsi_guid_t* guid, struct OrxWriterFigures* figures) {
    struct ddsi_writer* writer = entidx_lookup_writer_guid(domain->entity_index, guid);
    if (writer == NULL || writer->e.kind != DDSI_EK_WRITER || writer->e.gv != domain)
        return false;
    ddsrt_mutex_lock(&writer->e.lock);
    figures->lastSequenceNumber = writer->seq;
    figures->heartbeats = writer->hbcount;
    figures->acks = writer->num_acks_received;
    figures->nacks = writer->num_nacks_received;
    figures->resentSamples = writer->rexmit_count;
    readMatches(writer, figures);
    ddsrt_mutex_unlock(&writer->e.lock);
    figures->sampleBytes = sampleBytes(writer->type, true);
    readHistory(writer->whc, figures);
    return true;
}

/* The cache's own count, by a lock that a read gives back: a read of an instance that no cache has, so that
 * it finds nothing and marks nothing. */
READS_LIBRARY static uint64_t cachedSamples(struct dds_rhc* cache) {
    const dds_instance_handle_t nobody = UINT64_MAX;
    const uint32_t count = cache->common.ops->lock_samples(cache);
    void* value = NULL;
    dds_sample_info_t info;
    if (count > 0)
        cache->common.ops->read(cache, false, &value, &info, 1, 0, nobody, NULL);
    return count;
}

READS_LIBRARY static bool readInnerReader(struct ddsi_domaingv* domain, const ddsi_guid_t* guid,
    bool hasOwnCache, struct OrxReaderFigures* figures) {
    struct ddsi_reader* reader = entidx_lookup_reader_guid(domain->entity_index, guid);
    if (reader == NULL || reader->e.kind != DDSI_EK_READER || reader->e.gv != domain)
        return false;
    figures->sampleBytes = sampleBytes(reader->type, false);
    figures->hasCache = !hasOwnCache && reader->rhc != NULL;
    if (figures->hasCache)
        figures->cachedSamples = cachedSamples((struct dds_rhc*)reader->rhc);
    return true;
}

bool orxEngine_readWriter(int32_t handle, const uint8_t guid[16], struct dds_statistics** statistics,
    struct OrxWriterFigures* figures) {
    struct dds_entity* entity = NULL;
    memset(figures, 0, sizeof *figures);
    const bool isPinned = innerProblem == NULL && dds_entity_pin(handle, &entity) == DDS_RETCODE_OK;
    const bool isThere = refresh(handle, statistics);
    if (isThere) {
        figures->resentBytes = statistic(*statistics, "rexmit_bytes");
        figures->throttles = (uint32_t)statistic(*statistics, "throttle_count");
    }
    if (isThere && isPinned) {
        const ddsi_guid_t key = hostGuid(guid);
        struct ddsi_domaingv* domain = domainOfLastCall();
        struct thread_state* thread = lookup_thread_state();
        thread_state_awake(thread, domain);
        figures->hasInnerFigures = readInnerWriter(domain, &key, figures);
        thread_state_asleep(thread);
    }
    if (isPinned)
        dds_entity_unpin(entity);
    return isThere;
}

bool orxEngine_readReader(int32_t handle, const uint8_t guid[16], bool hasOwnCache,
    struct dds_statistics** statistics, struct OrxReaderFigures* figures) {
    struct dds_entity* entity = NULL;
    memset(figures, 0, sizeof *figures);
    const bool isPinned = innerProblem == NULL && dds_entity_pin(handle, &entity) == DDS_RETCODE_OK;
    const bool isThere = refresh(handle, statistics);
    if (isThere)
        figures->discardedBytes = statistic(*statistics, "discarded_bytes");
    if (isThere && isPinned) {
        const ddsi_guid_t key = hostGuid(guid);
        struct ddsi_domaingv* domain = domainOfLastCall();
        struct thread_state* thread = lookup_thread_state();
        thread_state_awake(thread, domain);
        figures->hasInnerFigures = readInnerReader(domain, &key, hasOwnCache, figures);
        thread_state_asleep(thread);
    }
    if (isPinned)
        dds_entity_unpin(entity);
    return isThere;
}
