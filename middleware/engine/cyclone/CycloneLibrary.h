/* What the C files of this folder share: the inner headers of the one known library version, and the sample
 * of ready bytes. For them alone; everybody else includes CycloneInternals.h. */
#ifndef ZDDSC_ENGINE_CYCLONE_LIBRARY_H
#define ZDDSC_ENGINE_CYCLONE_LIBRARY_H

#include <dds/version.h>
#if DDS_VERSION_MAJOR != 0 || DDS_VERSION_MINOR != 10 || DDS_VERSION_PATCH != 2
#error "These files know the inner layout of Cyclone DDS 0.10.2 alone: check every structure before going on."
#endif
#ifndef DDS_NDEBUG
#error "The library is built with DDS_NDEBUG, which changes the layout of received messages."
#endif

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

#include "middleware/engine/cyclone/CycloneInternals.h"
#include "zddscore/heap.h"

/* Marks what reads records of the library, or types that it shares between threads: how it synchronizes them
 * is hidden from the thread sanitizer. */
#ifdef __SANITIZE_THREAD__
#define READS_LIBRARY __attribute__((no_sanitize_thread))
#else
#define READS_LIBRARY
#endif

struct BytesType {
    struct ddsi_sertype common;
    uint32_t keyBytes;
};
extern const struct ddsi_sertype_ops ZddsCyclone_typeOperations;
extern const struct ddsi_serdata_ops ZddsCyclone_sampleOperations;

enum { headerBytes = 4 };

struct BytesSample {
    struct ddsi_serdata common;
    int64_t sequenceNumber;
    uint32_t size;     /* with the encapsulation header */
    uint32_t keyBytes; /* after the header */
    uint8_t bytes[];   /* room for `size` rounded up to 4: the library sends whole words */
};
/* Null when memory is out, or when there is less than a header and a key. */
struct BytesSample* ZddsCyclone_newSample(
    const struct ddsi_sertype* type, enum ddsi_serdata_kind kind, size_t size);
/* Once its bytes are there. */
struct ddsi_serdata* ZddsCyclone_sampleReady(struct BytesSample* self, const struct ddsi_sertype* type);

/* The domain of a type in use; only while an entity of it is pinned. */
READS_LIBRARY static inline struct ddsi_domaingv* ZddsCyclone_domainOf(const struct ddsi_sertype* type) {
    return ddsrt_atomic_ldvoidp(&type->gv);
}

/* A program may delete every entity of the process, the engine's among them, whenever it likes. A pinned
 * entity, and what belongs to it, stays until it is unpinned: its deletion waits. False when it is gone. */
struct ZddsCyclonePin {
    void* entity;
};
bool ZddsCyclone_bindPins(void); /* for the self-test: before the first pin */
bool ZddsCyclone_pin(struct ZddsCyclonePin* pin, int32_t entity);
void ZddsCyclone_unpin(struct ZddsCyclonePin* pin);

/* The GUID in wire order. */
static inline void ZddsCyclone_wireGuid(uint8_t wire[16], const struct ddsi_guid* guid) {
    const ddsi_guid_t ordered = nn_hton_guid(*guid);
    memcpy(wire, &ordered, 16);
}

#endif
