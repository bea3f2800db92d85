/* The shim in front of the engine's log: a second listener beside the sinks that the program sees.
 *
 * The engine has one log sink (its four severe categories) and one trace sink (everything that tracing is
 * configured for, the severe categories among it), and a mask of the severe categories that are passed. None
 * of them can be asked for, so the shim notes what goes by from the start of the process. When the agent
 * starts, the shim's two sinks take the places of the program's and pass on to those:
 *
 * - a sink of the program is called with the engine's own record, in the same order and under the same mask
 * as before. A pair of sinks that are the same function with the same data gets a line once, as from the
 * engine;
 * - where the program has no sink, the shim writes what the engine would write into the file that it would
 * write to. The engine tells its files when it makes a domain (dds_log_cfg_init), and the default ones by
 *   dds_set_log_file and dds_set_trace_file;
 * - lines of the monitoring's domain are passed on if the program has a participant in it, too;
 * - the mask is wide enough for what the agent collects. Lines that pass for the agent alone go to it alone.
 *   dds_get_log_mask gives the program's; only a program that reads the engine's variable through the inline
 * form of that function sees the wider one.
 *
 * The trace sink stays the engine's own while the program has trace categories in its mask and no trace sink:
 * lines of a domain that is just being made then go to another file, which cannot be told from here.
 *
 * Locks: `settings` is held while the engine's setters are called, which wait for sinks that run, as the
 * setters do without the shim. No sink takes it, the getter neither. */
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

#include "agent/shim/ShimInternal.h"
#include "dds/ddsrt/log.h"

_Thread_local bool orxShim_isCollecting = false;

#define EXPORTED __attribute__((visibility("default")))

/* ---- The engine's functions ---- */

struct EngineLog {
    void (*dds_set_log_sink)(dds_log_write_fn_t, void*);
    void (*dds_set_trace_sink)(dds_log_write_fn_t, void*);
    void (*dds_set_log_mask)(uint32_t);
    uint32_t (*dds_get_log_mask)(void);
    void (*dds_set_log_file)(FILE*);
    void (*dds_set_trace_file)(FILE*);
    void (*dds_log_cfg_init)(struct ddsrt_log_cfg*, uint32_t, uint32_t, FILE*, FILE*);
};

static struct EngineLog engineLog;
static pthread_once_t resolveOnce = PTHREAD_ONCE_INIT;

static void resolve(void) {
    void* symbol;
#define RESOLVE_(name)                                                                                       \
    symbol = orxShim_engineFunction(#name);                                                                  \
    memcpy(&engineLog.name, &symbol, sizeof symbol);
    RESOLVE_(dds_set_log_sink)
    RESOLVE_(dds_set_trace_sink)
    RESOLVE_(dds_set_log_mask)
    RESOLVE_(dds_get_log_mask)
    RESOLVE_(dds_set_log_file)
    RESOLVE_(dds_set_trace_file)
    RESOLVE_(dds_log_cfg_init)
#undef RESOLVE_
}

static const struct EngineLog* engine(void) {
    pthread_once(&resolveOnce, resolve);
    return &engineLog;
}

/* ---- Files of the engine ---- */

/* The newest configuration of each domain. Slots are taken and never given back; a domain beyond them all is
 * taken for one without tracing. Fields are single words, written before the domain logs its first line. */
struct DomainLog {
    _Atomic uint32_t domain; /* plus one; 0: free */
    _Atomic uint32_t traceMask;
    _Atomic(FILE*) logFile;
    _Atomic(FILE*) traceFile;
};
#define MAX_DOMAINS 256
static struct DomainLog domains[MAX_DOMAINS];
/* Of lines that belong to no domain: stderr at first. */
static struct DomainLog noDomain;

__attribute__((constructor)) static void setDefaultFiles(void) {
    FILE* none = NULL; /* a constructor that came earlier may have set them */
    atomic_compare_exchange_strong(&noDomain.logFile, &none, stderr);
    none = NULL;
    atomic_compare_exchange_strong(&noDomain.traceFile, &none, stderr);
}

static struct DomainLog* logOf(uint32_t domain) {
    for (size_t i = 0; domain != UINT32_MAX && i < MAX_DOMAINS; ++i) {
        const uint32_t at = atomic_load_explicit(&domains[i].domain, memory_order_acquire);
        if (at == domain + 1)
            return &domains[i];
        if (at == 0)
            break;
    }
    return &noDomain;
}

static struct DomainLog* claimLogOf(uint32_t domain) {
    for (size_t i = 0; domain != UINT32_MAX && i < MAX_DOMAINS; ++i) {
        uint32_t expected = 0;
        if (atomic_compare_exchange_strong(&domains[i].domain, &expected, domain + 1) ||
            expected == domain + 1)
            return &domains[i];
    }
    return NULL;
}

/* ---- What the program has set ---- */

struct Sink {
    dds_log_write_fn_t function; /* null: the engine's own */
    void* data;
};

static pthread_mutex_t settings = PTHREAD_MUTEX_INITIALIZER;
static struct Sink programLogSink;
static struct Sink programTraceSink;
static _Atomic bool isInstalled;
static _Atomic uint32_t programMask;
static _Atomic uint32_t collected;                     /* categories that the agent wants */
static _Atomic uint32_t monitoringDomain = UINT32_MAX; /* of the agent */
static _Atomic bool isEnginesTraceSink = true;

/* A sink gets its record as its data. Two for each place: when a setter of the engine has returned, nothing
 * uses the older one any more. */
static struct Sink logRecords[2];
static struct Sink traceRecords[2];
static unsigned logRecord, traceRecord;

/* ---- The sinks ---- */

/* Who got the severe line that this thread is at: the engine calls the trace sink right behind the log sink.
 */
static _Thread_local struct {
    bool isSet;
    dds_log_write_fn_t function;
    void* target;
} delivered;

/* The engine does not fill the record's own field in: the domain stands between brackets in the header, which
 * is fixed text of this version. */
static uint32_t domainOf(const dds_log_data_t* line) {
    const char* end = line->message;
    const char* at = end - line->hdrsize;
    while (at < end && *at != '[')
        ++at;
    uint32_t domain = 0;
    size_t digits = 0;
    for (++at; at < end && *at >= '0' && *at <= '9'; ++at, ++digits)
        domain = domain * 10 + (uint32_t)(*at - '0');
    return digits > 0 ? domain : UINT32_MAX;
}

static void writeLine(FILE* file, const dds_log_data_t* line) {
    if (file == NULL)
        return;
    /* The header stands before the message, the end of the line behind it. */
    fwrite(line->message - line->hdrsize, 1, line->hdrsize + line->size + 1, file);
    fflush(file);
}

/* A line, and what decides where it goes. */
struct Line {
    const dds_log_data_t* data;
    const struct OrxAgentTable* agent; /* null: not at work */
    const struct DomainLog* domain;
    bool isOfMonitoring;
    bool isSevere;
};

static struct Line look(const dds_log_data_t* data) {
    const uint32_t domain = domainOf(data);
    return (struct Line){.data = data,
        .agent = orxShim_agent(),
        .domain = logOf(domain),
        .isOfMonitoring =
            domain != UINT32_MAX && domain == atomic_load_explicit(&monitoringDomain, memory_order_relaxed),
        .isSevere = (data->priority & DDS_LOG_MASK) != 0};
}

static uint32_t traceMaskOf(const struct Line* line) {
    if (line->domain == &noDomain)
        return atomic_load_explicit(&programMask, memory_order_relaxed) & DDS_TRACE_MASK;
    return atomic_load_explicit(&line->domain->traceMask, memory_order_relaxed);
}

static bool isForProgram(const struct Line* line) {
    if (line->isOfMonitoring && line->agent != NULL && !line->agent->log.isMonitoringDomainShared())
        return false;
    const uint32_t mask = atomic_load_explicit(&programMask, memory_order_relaxed) | traceMaskOf(line);
    return !line->isSevere || (line->data->priority & (mask | DDS_LC_FATAL)) != 0;
}

static void pass(const struct Line* line, const struct Sink* sink, FILE* file) {
    if (sink->function != NULL)
        sink->function(sink->data, line->data);
    else
        writeLine(file, line->data);
}

static void collect(const struct Line* line) {
    if (line->agent == NULL || orxShim_isCollecting || line->isOfMonitoring)
        return;
    orxShim_isCollecting = true;
    line->agent->log.engineLine(line->data->priority, line->data->message, line->data->size);
    orxShim_isCollecting = false;
}

static void onLogLine(void* record, const dds_log_data_t* data) {
    const struct Sink sink = *(const struct Sink*)record;
    const struct Line line = look(data);
    FILE* file = atomic_load_explicit(&line.domain->logFile, memory_order_relaxed);
    delivered.isSet = true;
    delivered.function = sink.function;
    delivered.target = sink.function != NULL ? sink.data : (void*)file;
    /* The engine's own trace sink writes the line as well, if tracing is on. */
    const bool isWrittenNext = sink.function == NULL &&
                               atomic_load_explicit(&isEnginesTraceSink, memory_order_relaxed) &&
                               traceMaskOf(&line) != 0 &&
                               atomic_load_explicit(&line.domain->traceFile, memory_order_relaxed) == file;
    if (!isWrittenNext && isForProgram(&line))
        pass(&line, &sink, file);
    collect(&line);
}

static void onTraceLine(void* record, const dds_log_data_t* data) {
    const struct Sink sink = *(const struct Sink*)record;
    const struct Line line = look(data);
    FILE* file = atomic_load_explicit(&line.domain->traceFile, memory_order_relaxed);
    const void* target = sink.function != NULL ? sink.data : (void*)file;
    const bool isSecond =
        line.isSevere && delivered.isSet && delivered.function == sink.function && delivered.target == target;
    delivered.isSet = false;
    if (!isSecond && isForProgram(&line))
        pass(&line, &sink, file);
    if (!line.isSevere)
        collect(&line);
}

/* ---- Putting it into the engine; under `settings` ---- */

static void applyLogSink(void) {
    logRecord = 1 - logRecord;
    logRecords[logRecord] = programLogSink;
    engine()->dds_set_log_sink(onLogLine, &logRecords[logRecord]);
}

static bool leavesTraceToEngine(void) {
    const uint32_t mask = atomic_load_explicit(&programMask, memory_order_relaxed);
    return programTraceSink.function == NULL && (mask & DDS_TRACE_MASK) != 0;
}

static void applyTraceSink(void) {
    const bool leaves = leavesTraceToEngine();
    traceRecord = 1 - traceRecord;
    traceRecords[traceRecord] = programTraceSink;
    if (leaves)
        engine()->dds_set_trace_sink(NULL, NULL);
    else
        engine()->dds_set_trace_sink(onTraceLine, &traceRecords[traceRecord]);
    atomic_store_explicit(&isEnginesTraceSink, leaves, memory_order_relaxed);
}

/* Severe categories alone: tracing is the program's business. */
static void applyMask(void) {
    const uint32_t wanted = atomic_load_explicit(&collected, memory_order_relaxed) & DDS_LOG_MASK;
    const uint32_t mask = atomic_load_explicit(&programMask, memory_order_relaxed) | wanted;
    if (mask != engine()->dds_get_log_mask())
        engine()->dds_set_log_mask(mask);
}

void orxShim_installLogSinks(const struct OrxAgentTable* agent) {
    const struct EngineLog* real = engine();
    if (real->dds_set_log_sink == NULL || real->dds_set_trace_sink == NULL ||
        real->dds_set_log_mask == NULL || real->dds_get_log_mask == NULL || real->dds_log_cfg_init == NULL)
        return;
    pthread_mutex_lock(&settings);
    atomic_store_explicit(&programMask, real->dds_get_log_mask(), memory_order_relaxed);
    atomic_store_explicit(&monitoringDomain, agent->log.monitoringDomain, memory_order_relaxed);
    isInstalled = true;
    applyTraceSink();
    applyLogSink();
    applyMask();
    pthread_mutex_unlock(&settings);
}

/* From within a sink the engine's setter would wait for that sink: the next change brings the mask then. */
void orxShim_setCollectedCategories(uint32_t categories) {
    atomic_store_explicit(&collected, categories, memory_order_relaxed);
    if (orxShim_isCollecting || orxShim_agent() == NULL)
        return;
    pthread_mutex_lock(&settings);
    if (isInstalled)
        applyMask();
    pthread_mutex_unlock(&settings);
}

/* ---- The interposed functions ---- */

/* A forked child goes straight to the engine: another thread may have held the lock. */
static bool isDirect(void) {
    return orxShim_agent() == NULL && isInstalled;
}

static void setSink(struct Sink* mine, dds_log_write_fn_t callback, void* userdata,
    void (*real)(dds_log_write_fn_t, void*), void (*apply)(void)) {
    if (isDirect()) {
        real(callback, userdata);
        return;
    }
    pthread_mutex_lock(&settings);
    mine->function = callback;
    mine->data = userdata;
    if (isInstalled)
        apply();
    else
        real(callback, userdata);
    pthread_mutex_unlock(&settings);
}

EXPORTED void dds_set_log_sink(dds_log_write_fn_t callback, void* userdata) {
    setSink(&programLogSink, callback, userdata, engine()->dds_set_log_sink, applyLogSink);
}

EXPORTED void dds_set_trace_sink(dds_log_write_fn_t callback, void* userdata) {
    setSink(&programTraceSink, callback, userdata, engine()->dds_set_trace_sink, applyTraceSink);
}

EXPORTED void dds_set_log_mask(uint32_t categories) {
    if (isDirect()) {
        engine()->dds_set_log_mask(categories);
        return;
    }
    pthread_mutex_lock(&settings);
    if (isInstalled) {
        const bool left = leavesTraceToEngine();
        atomic_store_explicit(&programMask, categories | DDS_LC_FATAL, memory_order_relaxed);
        if (left != leavesTraceToEngine())
            applyTraceSink();
        applyMask();
    } else {
        engine()->dds_set_log_mask(categories);
    }
    pthread_mutex_unlock(&settings);
}

/* Under this name the header has an inline function. */
EXPORTED uint32_t getLogMask(void) __asm__("dds_get_log_mask");
uint32_t getLogMask(void) {
    if (orxShim_agent() != NULL && atomic_load_explicit(&programMask, memory_order_relaxed) != 0)
        return atomic_load_explicit(&programMask, memory_order_relaxed);
    return engine()->dds_get_log_mask();
}

EXPORTED void dds_set_log_file(FILE* file) {
    atomic_store_explicit(&noDomain.logFile, file != NULL ? file : stderr, memory_order_relaxed);
    engine()->dds_set_log_file(file);
}

EXPORTED void dds_set_trace_file(FILE* file) {
    atomic_store_explicit(&noDomain.traceFile, file != NULL ? file : stderr, memory_order_relaxed);
    engine()->dds_set_trace_file(file);
}

EXPORTED void dds_log_cfg_init(struct ddsrt_log_cfg* configuration, uint32_t domain, uint32_t traceMask,
    FILE* logFile, FILE* traceFile) {
    struct DomainLog* log = claimLogOf(domain);
    if (log != NULL) {
        atomic_store_explicit(&log->logFile, logFile, memory_order_relaxed);
        atomic_store_explicit(&log->traceFile, traceFile, memory_order_relaxed);
        atomic_store_explicit(&log->traceMask, traceMask, memory_order_relaxed);
    }
    engine()->dds_log_cfg_init(configuration, domain, traceMask, logFile, traceFile);
}
