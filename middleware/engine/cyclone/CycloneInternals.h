/* What the engine needs of Cyclone DDS beyond its public API, behind plain C.
 *
 * Everything that depends on the inner layout or on undocumented functions of the one known library version
 * is in the C files beside this: a sample type of ready bytes, a reader cache that hands samples straight on,
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
 * *type is a counted reference to the sample type in use; give it back with ZddsCyclone_releaseTopic before
 * the topic is deleted. */
int32_t ZddsCyclone_createTopic(int32_t participant, const char* topicName, const char* typeName,
    uint32_t keyBytes, struct ddsi_sertype** type);

/* Keeps the one instance of a keyless type alive (null for a keyed type, and when memory is out). Without it
 * the library makes the instance anew for each sample, and leaves the old one to its garbage collector. */
struct ddsi_tkmap_instance;
struct ddsi_tkmap_instance* ZddsCyclone_holdInstance(const struct ddsi_sertype* type);
/* Gives both back, while the topic still exists. Whoever deletes all of the library's entities under us
 * leaves nothing to give back to: then they are left. */
void ZddsCyclone_releaseTopic(int32_t topic, struct ddsi_sertype* type, struct ddsi_tkmap_instance* instance);

/* An endpoint of this process: its entity, and the library's record of it. The record is looked at only while
 * the entity is kept from being deleted, so that a program may end the library whenever it likes. */
enum ZddsCycloneSide { ZDDS_CYCLONE_WRITER, ZDDS_CYCLONE_READER };
struct ZddsCycloneEndpoint {
    int32_t entity;
    enum ZddsCycloneSide side;
    void* record;
};
/* False when the library does not know it. */
bool ZddsCyclone_findEndpoint(struct ZddsCycloneEndpoint* self, enum ZddsCycloneSide side, int32_t entity,
    const struct ddsi_sertype* type, const uint8_t guid[16]);

enum ZddsCycloneKind { ZDDS_CYCLONE_DATA, ZDDS_CYCLONE_DISPOSE, ZDDS_CYCLONE_UNREGISTER };

/* Writes header and encoding as they are. *sequenceNumber is out: the sample's number, if it was written. The
 * caller sees to it that nobody else writes meanwhile. Returns 0 or a negative return code of the library. */
int32_t ZddsCyclone_write(const struct ZddsCycloneEndpoint* writer, const struct ddsi_sertype* type,
    const void* bytes, size_t size, enum ZddsCycloneKind kind, int64_t sourceTimeNs, int64_t* sequenceNumber);

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

/* The highest number up to which the matched readers with that GUID prefix (12 octets in wire order) have
 * acknowledged, the lowest of several; -1 when there is none. Best-effort readers have acknowledged all. */
int64_t ZddsCyclone_acknowledgedBy(const struct ZddsCycloneEndpoint* writer, const uint8_t prefix[12]);
/* GUID of a matched endpoint by its instance handle; false when it is not matched (any more). Takes a short
 * lock of the endpoint, never one that a blocked write holds. */
bool ZddsCyclone_findMatched(const struct ZddsCycloneEndpoint* self, uint64_t handle, uint8_t guid[16]);

ZDDS_END_C

#endif
