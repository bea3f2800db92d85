/* What the engine needs of Cyclone DDS beyond its public API, behind plain C.
 *
 * Everything that depends on the inner layout or on undocumented functions of the one known library version
 * is in CycloneInternals.c: a sample type of ready bytes, a reader cache that hands samples straight on,
 * topics of any name, and the way from an instance handle to a GUID. Threads: any. The sample callback runs
 * on receive threads of the library, and on the thread of a writer in the same process, while the library
 * holds locks of its own: it must not call back into the library. Memory: of zddscore/heap.h; a null result
 * is a failure. */
#ifndef ZDDSC_ENGINE_CYCLONE_INTERNALS_H
#define ZDDSC_ENGINE_CYCLONE_INTERNALS_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "zddscore/export.h"

ZDDS_BEGIN_C

struct ddsi_sertype;
struct dds_rhc;

/* Null when the library in the process is the one that this was built for and has what is needed; else a
 * static text that says what is wrong. Nothing else of this file may be called then. */
const char* ZddsCyclone_selfTest(void);

/* Creates a topic entity of the participant (a positive handle, or a negative return code of the library) for
 * samples of ready bytes. keyBytes: length of the key at the start of the encoding, 0 for a keyless type.
 * *type is a counted reference to the sample type in use; give it back with ZddsCyclone_releaseType before
 * the topic is deleted. */
int32_t ZddsCyclone_createTopic(int32_t participant, const char* topicName, const char* typeName,
    uint32_t keyBytes, struct ddsi_sertype** type);
void ZddsCyclone_releaseType(struct ddsi_sertype* type);

/* Keeps the one instance of a keyless type alive (null for a keyed type, and when memory is out). Without it
 * the library makes the instance anew for each sample, and leaves the old one to its garbage collector. */
struct ddsi_tkmap_instance;
struct ddsi_tkmap_instance* ZddsCyclone_holdInstance(const struct ddsi_sertype* type);
void ZddsCyclone_releaseInstance(const struct ddsi_sertype* type, struct ddsi_tkmap_instance* instance);

enum ZddsCycloneKind { ZDDS_CYCLONE_DATA, ZDDS_CYCLONE_DISPOSE, ZDDS_CYCLONE_UNREGISTER };

/* Writes header and encoding as they are. sequenceNumber is what readers in this process are told. Returns 0
 * or a negative return code of the library. */
int32_t ZddsCyclone_write(int32_t writer, const struct ddsi_sertype* type, const void* bytes, size_t size,
    enum ZddsCycloneKind kind, int64_t sourceTimeNs, int64_t sequenceNumber);

struct ZddsCycloneSample {
    const uint8_t* bytes;
    size_t size;
    uint8_t writer[16];     /* GUID in wire order */
    uint64_t writerHandle;  /* instance handle of the writer */
    int64_t sequenceNumber; /* 0 when the library did not tell: a writer of another kind in this process */
    int64_t sourceTimeNs;
    enum ZddsCycloneKind kind;
};
typedef void (*ZddsCycloneSampleFunction)(void* context, const struct ZddsCycloneSample* sample);

/* A reader cache that keeps nothing and hands each sample to the function. The reader that is made with it
 * owns it from the successful dds_create_reader_rhc on, else ZddsCyclone_deleteCache frees it. */
struct dds_rhc* ZddsCyclone_newCache(ZddsCycloneSampleFunction function, void* context);
void ZddsCyclone_deleteCache(struct dds_rhc* cache);

/* The library's record of an endpoint of this process; valid until the endpoint is deleted. Null when
 * unknown. */
void* ZddsCyclone_findWriter(const struct ddsi_sertype* type, const uint8_t guid[16]);
void* ZddsCyclone_findReader(const struct ddsi_sertype* type, const uint8_t guid[16]);
/* The last sequence number that the writer used. The caller sees to it that nobody writes meanwhile. */
int64_t ZddsCyclone_lastSequenceNumber(const void* writer);
/* The highest number up to which the matched readers with that GUID prefix (12 octets in wire order) have
 * acknowledged, the lowest of several; -1 when there is none. Best-effort readers have acknowledged all. */
int64_t ZddsCyclone_acknowledgedBy(void* writer, const uint8_t prefix[12]);
/* GUID of a matched endpoint by its instance handle; false when it is not matched (any more). Takes a short
 * lock of the endpoint, never one that a blocked write holds. */
bool ZddsCyclone_matchedReader(void* writer, uint64_t handle, uint8_t guid[16]);
bool ZddsCyclone_matchedWriter(void* reader, uint64_t handle, uint8_t guid[16]);

ZDDS_END_C

#endif
