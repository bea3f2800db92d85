/* Figures that the engine keeps about a writer or reader: its public statistics, and what the inner records
 * of the one known version tell beyond them.
 *
 * Threads: one, which is none of the program's. It takes short locks of the engine (of the endpoint's record,
 * its history, its cache), never one that a blocked write holds, and holds none of anybody else meanwhile.
 * While it looks the entity is pinned: a deletion waits those microseconds. Nothing is changed that the
 * program could see: no status is read away, no sample's state changes. Memory: `statistics` belongs to the
 * engine's heap. */
#ifndef ORX_AGENT_ENGINE_FIGURES_H
#define ORX_AGENT_ENGINE_FIGURES_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct dds_statistics;

struct OrxWriterFigures {
    /* Public statistics. */
    uint64_t resentBytes;
    uint32_t throttles;   /* how often a write had to wait, as too much was unacknowledged */
    bool hasInnerFigures; /* what follows is known */
    uint64_t lastSequenceNumber;
    uint64_t firstKept; /* sequence numbers in the history; 0 when it is empty */
    uint64_t lastKept;
    uint64_t keptSamples;
    uint64_t acknowledged; /* the highest that every reliable reader of other processes has acknowledged */
    uint32_t heartbeats;
    uint32_t acks;
    uint32_t nacks;
    uint32_t resentSamples;
    uint32_t answeringReaders; /* reliable ones of other processes that have answered a heartbeat */
    uint32_t silentReaders;
    uint32_t localReaders; /* reliable ones of this process */
    uint64_t sampleBytes;  /* of every sample, with its encapsulation header; 0 when samples differ */
};

struct OrxReaderFigures {
    uint64_t discardedBytes;
    bool hasInnerFigures;
    bool hasCache; /* cachedSamples is known */
    uint64_t cachedSamples;
    uint64_t sampleBytes;
};

/* Null when the inner figures can be had; else a static text that says what is wrong, and there are none. */
const char* orxEngine_checkInnerFigures(void);

/* False when the entity is gone. `statistics` is null with the first look at an entity, and kept by the
 * caller, who frees it with orxEngine_freeStatistics. `hasOwnCache`: the program brought the reader's cache.
 */
bool orxEngine_readWriter(int32_t handle, const uint8_t guid[16], struct dds_statistics** statistics,
    struct OrxWriterFigures* figures);
bool orxEngine_readReader(int32_t handle, const uint8_t guid[16], bool hasOwnCache,
    struct dds_statistics** statistics, struct OrxReaderFigures* figures);
void orxEngine_freeStatistics(struct dds_statistics* statistics);

#ifdef __cplusplus
}
#endif

#endif
