/* Stands before the engine's functions that move data, and counts what the program does with them.
 *
 * A call goes to the engine with its arguments as they came, and its result goes back as it came; errno is
 * not touched. Behind it, a handle that the agent has attached is looked up without a lock, and its counters
 * get one relaxed add each. Handles that nobody attached (the monitoring's own entities, programs without
 * agent) cost the look-up alone. Of calls inside each other the outermost counts: a function that the engine
 * reaches from another one (dds_dispose ends in dds_dispose_ts) looks at the address that it returns to. What
 * a listener calls inside a write counts by itself. */
#define _GNU_SOURCE
#include <errno.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stddef.h>
#include <string.h>

#include "agent/shim/ShimInternal.h"
#include "dds/dds.h"
#include "dds/ddsi/ddsi_serdata.h"

/* ---- From a handle to its counters ---- */

/* The engine's handles are random numbers: their low bits spread well. Never resized, so that a walk can
 * never lose its way; thirty-two thousand endpoints make chains of eight. */
#define BUCKETS 4096
static struct OrxDataEntry* buckets[BUCKETS];

static struct OrxDataEntry** bucketOf(dds_entity_t handle) {
    return &buckets[(uint32_t)handle % BUCKETS];
}

/* Release: whoever finds the entry finds it filled. */
void orxShim_attachData(struct OrxDataEntry* entry) {
    struct OrxDataEntry** bucket = bucketOf(entry->handle);
    __atomic_store_n(&entry->next, *bucket, __ATOMIC_RELAXED);
    __atomic_store_n(bucket, entry, __ATOMIC_RELEASE);
}

/* The entry keeps its link, for whoever stands on it. */
void orxShim_detachData(struct OrxDataEntry* entry) {
    for (struct OrxDataEntry** at = bucketOf(entry->handle); *at != NULL; at = &(*at)->next) {
        if (*at != entry)
            continue;
        __atomic_store_n(at, entry->next, __ATOMIC_RELEASE);
        return;
    }
}

static inline struct OrxDataCounters* countersOf(dds_entity_t handle) {
    struct OrxDataEntry* at = __atomic_load_n(bucketOf(handle), __ATOMIC_ACQUIRE);
    while (at != NULL && __atomic_load_n(&at->handle, __ATOMIC_RELAXED) != handle)
        at = __atomic_load_n(&at->next, __ATOMIC_ACQUIRE);
    return at != NULL ? __atomic_load_n(&at->counters, __ATOMIC_RELAXED) : NULL;
}

static inline void add(uint64_t* counter, uint64_t count) {
    __atomic_fetch_add(counter, count, __ATOMIC_RELAXED);
}

/* ---- What is counted ---- */

/* A call writes one sample: of which counter. `caller`: null when nobody but the program makes the call. */
enum What { WRITES, DISPOSES, UNREGISTERS };

static inline void countWrite(
    dds_entity_t writer, dds_return_t result, enum What what, uint64_t readyBytes, const void* caller) {
    struct OrxDataCounters* counters = result == DDS_RETCODE_OK ? countersOf(writer) : NULL;
    if (counters == NULL || (caller != NULL && orxShim_isInner(caller)))
        return;
    if (what != WRITES) {
        add(what == DISPOSES ? &counters->disposed : &counters->unregistered, 1);
        return;
    }
    add(&counters->samples, 1);
    if (readyBytes == 0)
        return;
    add(&counters->readySamples, 1);
    add(&counters->readyBytes, readyBytes);
}

/* A sample that a read has given out already is no new one. Those without data tell of instances. */
static inline bool isFresh(const dds_sample_info_t* info) {
    return info->valid_data && info->sample_state == DDS_SST_NOT_READ;
}

static inline void countRead(
    dds_entity_t reader, dds_return_t result, const dds_sample_info_t* infos, struct ddsi_serdata** ready) {
    struct OrxDataCounters* counters = result > 0 ? countersOf(reader) : NULL;
    if (counters == NULL)
        return;
    uint64_t fresh = 0, bytes = 0;
    for (dds_return_t i = 0; i < result; i++) {
        if (!isFresh(&infos[i]))
            continue;
        fresh++;
        if (ready != NULL)
            bytes += ready[i]->ops->get_size(ready[i]);
    }
    if (fresh == 0)
        return;
    add(&counters->samples, fresh);
    if (ready == NULL)
        return;
    add(&counters->readySamples, fresh);
    add(&counters->readyBytes, bytes);
}

/* ---- The functions ---- */

/* X(name, (parameters), (arguments), what, from) of functions with a `writer`. The engine reaches those that
 * are called FROM_ENGINE_TOO out of others of the list. */
#define FROM_PROGRAM NULL
#define FROM_ENGINE_TOO __builtin_return_address(0)
#define WRITING_CALLS(X)                                                                                     \
    X(dds_write, (dds_entity_t writer, const void* data), (writer, data), WRITES, FROM_PROGRAM)              \
    X(dds_write_ts, (dds_entity_t writer, const void* data, dds_time_t timestamp),                           \
        (writer, data, timestamp), WRITES, FROM_PROGRAM)                                                     \
    X(dds_writedispose, (dds_entity_t writer, const void* data), (writer, data), WRITES, FROM_PROGRAM)       \
    X(dds_writedispose_ts, (dds_entity_t writer, const void* data, dds_time_t timestamp),                    \
        (writer, data, timestamp), WRITES, FROM_ENGINE_TOO)                                                  \
    X(dds_dispose, (dds_entity_t writer, const void* data), (writer, data), DISPOSES, FROM_PROGRAM)          \
    X(dds_dispose_ts, (dds_entity_t writer, const void* data, dds_time_t timestamp),                         \
        (writer, data, timestamp), DISPOSES, FROM_ENGINE_TOO)                                                \
    X(dds_dispose_ih, (dds_entity_t writer, dds_instance_handle_t handle), (writer, handle), DISPOSES,       \
        FROM_PROGRAM)                                                                                        \
    X(dds_dispose_ih_ts, (dds_entity_t writer, dds_instance_handle_t handle, dds_time_t timestamp),          \
        (writer, handle, timestamp), DISPOSES, FROM_ENGINE_TOO)                                              \
    X(dds_unregister_instance, (dds_entity_t writer, const void* data), (writer, data), UNREGISTERS,         \
        FROM_PROGRAM)                                                                                        \
    X(dds_unregister_instance_ts, (dds_entity_t writer, const void* data, dds_time_t timestamp),             \
        (writer, data, timestamp), UNREGISTERS, FROM_ENGINE_TOO)                                             \
    X(dds_unregister_instance_ih, (dds_entity_t writer, dds_instance_handle_t handle), (writer, handle),     \
        UNREGISTERS, FROM_PROGRAM)                                                                           \
    X(dds_unregister_instance_ih_ts,                                                                         \
        (dds_entity_t writer, dds_instance_handle_t handle, dds_time_t timestamp),                           \
        (writer, handle, timestamp), UNREGISTERS, FROM_ENGINE_TOO)

/* X(name, (parameters), (arguments), ready samples or null) of functions with a `reader`
 * and `infos`. */
#define READING_FAMILY(X, verb)                                                                              \
    X(dds_##verb,                                                                                            \
        (dds_entity_t reader, void** values, dds_sample_info_t* infos, size_t size, uint32_t maximum),       \
        (reader, values, infos, size, maximum), NULL)                                                        \
    X(dds_##verb##_wl, (dds_entity_t reader, void** values, dds_sample_info_t* infos, uint32_t maximum),     \
        (reader, values, infos, maximum), NULL)                                                              \
    X(dds_##verb##_mask,                                                                                     \
        (dds_entity_t reader, void** values, dds_sample_info_t* infos, size_t size, uint32_t maximum,        \
            uint32_t mask),                                                                                  \
        (reader, values, infos, size, maximum, mask), NULL)                                                  \
    X(dds_##verb##_mask_wl,                                                                                  \
        (dds_entity_t reader, void** values, dds_sample_info_t* infos, uint32_t maximum, uint32_t mask),     \
        (reader, values, infos, maximum, mask), NULL)                                                        \
    X(dds_##verb##_instance,                                                                                 \
        (dds_entity_t reader, void** values, dds_sample_info_t* infos, size_t size, uint32_t maximum,        \
            dds_instance_handle_t handle),                                                                   \
        (reader, values, infos, size, maximum, handle), NULL)                                                \
    X(dds_##verb##_instance_wl,                                                                              \
        (dds_entity_t reader, void** values, dds_sample_info_t* infos, uint32_t maximum,                     \
            dds_instance_handle_t handle),                                                                   \
        (reader, values, infos, maximum, handle), NULL)                                                      \
    X(dds_##verb##_instance_mask,                                                                            \
        (dds_entity_t reader, void** values, dds_sample_info_t* infos, size_t size, uint32_t maximum,        \
            dds_instance_handle_t handle, uint32_t mask),                                                    \
        (reader, values, infos, size, maximum, handle, mask), NULL)                                          \
    X(dds_##verb##_instance_mask_wl,                                                                         \
        (dds_entity_t reader, void** values, dds_sample_info_t* infos, uint32_t maximum,                     \
            dds_instance_handle_t handle, uint32_t mask),                                                    \
        (reader, values, infos, maximum, handle, mask), NULL)                                                \
    X(dds_##verb##_next, (dds_entity_t reader, void** values, dds_sample_info_t* infos),                     \
        (reader, values, infos), NULL)                                                                       \
    X(dds_##verb##_next_wl, (dds_entity_t reader, void** values, dds_sample_info_t* infos),                  \
        (reader, values, infos), NULL)                                                                       \
    X(dds_##verb##cdr,                                                                                       \
        (dds_entity_t reader, struct ddsi_serdata * *ready, uint32_t maximum, dds_sample_info_t * infos,     \
            uint32_t mask),                                                                                  \
        (reader, ready, maximum, infos, mask), ready)                                                        \
    X(dds_##verb##cdr_instance,                                                                              \
        (dds_entity_t reader, struct ddsi_serdata * *ready, uint32_t maximum, dds_sample_info_t * infos,     \
            dds_instance_handle_t handle, uint32_t mask),                                                    \
        (reader, ready, maximum, infos, handle, mask), ready)
#define READING_CALLS(X)                                                                                     \
    READING_FAMILY(X, read)                                                                                  \
    READING_FAMILY(X, take)

/* X(name, what) of functions that take a ready sample, and its reference with it. */
#define READY_CALLS(X)                                                                                       \
    X(dds_writecdr, WRITES)                                                                                  \
    X(dds_forwardcdr, whatReadyDoes(sample))

#define ALL_CALLS(WRITING, READING, READY)                                                                   \
    WRITING_CALLS(WRITING)                                                                                   \
    READING_CALLS(READING)                                                                                   \
    READY_CALLS(READY)

/* The engine's functions. A pointer stands on a function that resolves them all until one has been called;
 * the order of memory does not matter, as either way leads to the engine. */
static void resolve(void);
#define DECLARE_(name, parameters, arguments)                                                                \
    static dds_return_t first_##name parameters;                                                             \
    static dds_return_t(*_Atomic engine_##name) parameters = first_##name;                                   \
    static dds_return_t first_##name parameters {                                                            \
        resolve();                                                                                           \
        return atomic_load_explicit(&engine_##name, memory_order_relaxed) arguments;                         \
    }
#define DECLARE_WRITING(name, parameters, arguments, what, from) DECLARE_(name, parameters, arguments)
#define DECLARE_READING(name, parameters, arguments, ready) DECLARE_(name, parameters, arguments)
#define DECLARE_READY(name, what)                                                                            \
    DECLARE_(name, (dds_entity_t writer, struct ddsi_serdata * sample), (writer, sample))
ALL_CALLS(DECLARE_WRITING, DECLARE_READING, DECLARE_READY)

static void resolveAll(void) {
    void* symbol;
#define RESOLVE_(name)                                                                                       \
    {                                                                                                        \
        __typeof__(&first_##name) function;                                                                  \
        symbol = orxShim_engineFunction(#name);                                                              \
        memcpy(&function, &symbol, sizeof symbol);                                                           \
        atomic_store_explicit(&engine_##name, function, memory_order_relaxed);                               \
    }
#define RESOLVE_WRITING(name, parameters, arguments, what, from) RESOLVE_(name)
#define RESOLVE_READING(name, parameters, arguments, ready) RESOLVE_(name)
#define RESOLVE_READY(name, what) RESOLVE_(name)
    ALL_CALLS(RESOLVE_WRITING, RESOLVE_READING, RESOLVE_READY)
}

static void resolve(void) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    const int before = errno;
    pthread_once(&once, resolveAll);
    errno = before;
}

/* A sample with data may dispose or unregister besides; a key alone does one of them. */
static enum What whatReadyDoes(const struct ddsi_serdata* sample) {
    enum { statusDispose = 1 };
    if (sample->kind == SDK_DATA)
        return WRITES;
    return (sample->statusinfo & statusDispose) != 0 ? DISPOSES : UNREGISTERS;
}

#define EXPORTED __attribute__((visibility("default")))
#define ENGINE_CALL_(name, arguments) atomic_load_explicit(&engine_##name, memory_order_relaxed) arguments

#define DEFINE_WRITING(name, parameters, arguments, what, from)                                              \
    EXPORTED dds_return_t name parameters {                                                                  \
        const dds_return_t result = ENGINE_CALL_(name, arguments);                                           \
        countWrite(writer, result, what, 0, from);                                                           \
        return result;                                                                                       \
    }
#define DEFINE_READING(name, parameters, arguments, ready)                                                   \
    EXPORTED dds_return_t name parameters {                                                                  \
        const dds_return_t result = ENGINE_CALL_(name, arguments);                                           \
        countRead(reader, result, infos, ready);                                                             \
        return result;                                                                                       \
    }
/* The sample is gone afterwards. One that is nobody's counts nothing, and is not looked at. */
#define DEFINE_READY(name, what)                                                                             \
    EXPORTED dds_return_t name(dds_entity_t writer, struct ddsi_serdata* sample) {                           \
        const bool isCounted = sample != NULL && countersOf(writer) != NULL;                                 \
        const enum What does = isCounted ? what : WRITES;                                                    \
        const uint64_t size = isCounted ? sample->ops->get_size(sample) : 0;                                 \
        const dds_return_t result = ENGINE_CALL_(name, (writer, sample));                                    \
        countWrite(writer, result, does, size, FROM_PROGRAM);                                                \
        return result;                                                                                       \
    }
ALL_CALLS(DEFINE_WRITING, DEFINE_READING, DEFINE_READY)
