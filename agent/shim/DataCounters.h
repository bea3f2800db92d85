/* Counters of what a program does with the data of a writer or reader, and the entries by which the shim
 * finds them from a handle.
 *
 * Counters: one relaxed atomic add per call and counter, by whatever thread makes the call; read relaxed.
 * Entries: published into chains that are walked without a lock. What stands here is made and kept by the
 * agent. An entry that was taken out may still be under the eyes of a thread, so its memory stays an entry's,
 * and is used again only after a time that no walk takes. Plain types with the compiler's atomic builtins,
 * since C and C++ share them. */
#ifndef ORX_AGENT_SHIM_DATA_COUNTERS_H
#define ORX_AGENT_SHIM_DATA_COUNTERS_H

#include <stdint.h>

struct OrxDataCounters {
    uint64_t samples; /* with data: written by a writer; given out by a reader, by read or take, once each */
    uint64_t readySamples; /* those of them that came or went as ready bytes */
    uint64_t readyBytes;   /* of these, with their encapsulation header */
    uint64_t disposed;     /* written without data, to dispose of an instance */
    uint64_t unregistered; /* written without data, to unregister one */
};

struct OrxDataEntry {
    int32_t handle; /* of a writer, of a reader, or of a condition of the reader */
    struct OrxDataCounters* counters;
    struct OrxDataEntry* next;
};

/* Makes an entry findable, and takes it out. One thread at a time. */
typedef void (*OrxDataEntryFunction)(struct OrxDataEntry* entry);

#endif
