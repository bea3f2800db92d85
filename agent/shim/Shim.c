/* The preloaded shim: it stands before the engine's functions that make and end entities, and needs libc
 * alone.
 *
 * A process that never makes a participant pays for a few symbols and nothing else. The first participant
 * loads the agent library from beside the shim, unless the kill switch is set or the engine is of another
 * version than the one that the agent knows: then the shim stays inert, which means that every call goes to
 * the engine as it came. Calls that come out of the engine itself (a topic is made through several of its
 * functions) and calls of the monitoring's own libraries are told apart by the address that they return to,
 * and go to the engine as well. Unlike a depth count this also sees a listener of the program that makes
 * entities while one is being made. Threads: any. The first call resolves the functions; the first
 * participant starts the agent under a lock. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <link.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "agent/shim/Interposed.h"
#include "agent/shim/ShimInternal.h"

/* The file that the version known to the agent is installed as: distributions keep the version in the file's
 * name. */
#define ENGINE_FILE "libddsc.so.0.10.2"
#define AGENT_FILE "liborxagent.so"

enum State { STATE_IDLE, STATE_ACTIVE, STATE_INERT };

static pthread_once_t resolveOnce = PTHREAD_ONCE_INIT;
static struct OrxEngineFunctions engine;
static struct OrxCodeRange engineCode;
static struct OrxCodeRange ownCode;
static void* engineHandle; /* what dlsym finds the engine's functions by */
static char engineFile[PATH_MAX];

static pthread_mutex_t startLock = PTHREAD_MUTEX_INITIALIZER;
/* Release when the table is complete, acquire where it is used. */
static _Atomic(enum State) state = STATE_IDLE;
static const struct OrxAgentTable* agent;
static pid_t startedIn; /* children that no handler of a fork has seen are told by it */

static bool hasStderr = true;

/* Before the program opens anything: a file of its own may get the number. */
__attribute__((constructor)) static void lookForStderr(void) {
    hasStderr = fcntl(STDERR_FILENO, F_GETFD) >= 0;
}

/* One line on stderr, unless the user wants silence. Lines come before the log of the libraries exists. */
__attribute__((format(printf, 1, 2))) static void say(const char* format, ...) {
    const char* verbosity = getenv("ORX_AGENT_VERBOSITY");
    if (!hasStderr ||
        (verbosity != NULL && (strcmp(verbosity, "silent") == 0 || strcmp(verbosity, "error") == 0)))
        return;
    char line[PATH_MAX + 256];
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(line, sizeof line - 1, format, arguments);
    va_end(arguments);
    if (length < 0)
        return;
    size_t size = (size_t)length < sizeof line - 1 ? (size_t)length : sizeof line - 2;
    line[size++] = '\n';
    if (write(STDERR_FILENO, line, size) < 0)
        return; /* nobody listens: nothing to be done about it */
}

/* ---- Loaded objects ---- */

struct RangeSearch {
    uintptr_t address;
    struct OrxCodeRange range;
};

static int rangeOfObject(struct dl_phdr_info* info, size_t size, void* context) {
    (void)size;
    struct RangeSearch* search = context;
    struct OrxCodeRange range = {UINTPTR_MAX, 0};
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        if (info->dlpi_phdr[i].p_type != PT_LOAD)
            continue;
        uintptr_t begin = (uintptr_t)info->dlpi_addr + (uintptr_t)info->dlpi_phdr[i].p_vaddr;
        uintptr_t end = begin + (uintptr_t)info->dlpi_phdr[i].p_memsz;
        range.begin = begin < range.begin ? begin : range.begin;
        range.end = end > range.end ? end : range.end;
    }
    if (search->address < range.begin || search->address >= range.end)
        return 0;
    search->range = range;
    return 1;
}

static struct OrxCodeRange codeRangeOf(const void* address) {
    struct RangeSearch search = {(uintptr_t)address, {0, 0}};
    dl_iterate_phdr(rangeOfObject, &search);
    return search.range;
}

struct NameList {
    char* names[512];
    size_t count;
};

static int collectName(struct dl_phdr_info* info, size_t size, void* context) {
    (void)size;
    struct NameList* list = context;
    if (info->dlpi_name == NULL || info->dlpi_name[0] == '\0' ||
        list->count == sizeof list->names / sizeof *list->names)
        return 0;
    char* name = strdup(info->dlpi_name);
    if (name != NULL)
        list->names[list->count++] = name;
    return 0;
}

/* A handle of the loaded object that has the symbol, for engines that a program brought in with dlopen and
 * RTLD_LOCAL: those are not behind RTLD_NEXT. The handle stays open, and so the engine stays loaded. */
static void* handleOfObjectWith(const char* symbolName) {
    static struct NameList list; /* under the once of its only caller */
    void* result = NULL;
    Dl_info own, found;
    if (dladdr((void*)(uintptr_t)&say, &own) == 0)
        return NULL;
    /* The names first: the loader's locks must not be nested the other way round. */
    dl_iterate_phdr(collectName, &list);
    for (size_t i = 0; i < list.count; ++i) {
        void* handle = result == NULL ? dlopen(list.names[i], RTLD_LAZY | RTLD_NOLOAD) : NULL;
        void* symbol = handle != NULL ? dlsym(handle, symbolName) : NULL;
        if (symbol != NULL && dladdr(symbol, &found) != 0 && found.dli_fbase != own.dli_fbase)
            result = handle;
        else if (handle != NULL)
            dlclose(handle);
        free(list.names[i]);
    }
    return result;
}

/* A function that this engine lacks stays null: a program that calls it was not linked against this engine.
 */
static void resolve(void) {
    void* handle = RTLD_NEXT;
    if (dlsym(RTLD_NEXT, "dds_create_participant") == NULL)
        handle = handleOfObjectWith("dds_create_participant");
    engineHandle = handle;
    ownCode = codeRangeOf((const void*)(uintptr_t)&say);
    void* symbol;
#define RESOLVE_(result, name, parameters, arguments)                                                        \
    symbol = dlsym(handle, #name);                                                                           \
    memcpy(&engine.name, &symbol, sizeof symbol);
    ORX_INTERPOSED_LIST(RESOLVE_)
#undef RESOLVE_
    memcpy(&symbol, &engine.dds_create_participant, sizeof symbol);
    engineCode = codeRangeOf(symbol);
    Dl_info info;
    if (dladdr(symbol, &info) == 0 || info.dli_fname == NULL || realpath(info.dli_fname, engineFile) == NULL)
        engineFile[0] = '\0';
}

void* orxShim_engineFunction(const char* name) {
    const int before = errno;
    pthread_once(&resolveOnce, resolve);
    void* function = dlsym(engineHandle, name);
    errno = before;
    return function;
}

static inline bool holds(const struct OrxCodeRange* range, uintptr_t address) {
    return address - range->begin < range->end - range->begin;
}

bool orxShim_isInner(const void* caller) {
    return holds(&engineCode, (uintptr_t)caller) || holds(&ownCode, (uintptr_t)caller);
}

/* ---- Start ---- */

/* The child of a fork has none of the threads that its monitoring would need. */
static void goInertInChild(void) {
    atomic_store_explicit(&state, STATE_INERT, memory_order_relaxed);
}

static bool isKnownEngine(void) {
    const char* name = strrchr(engineFile, '/');
    if (name != NULL && strcmp(name + 1, ENGINE_FILE) == 0)
        return true;
    say("orx-agent: not monitoring: the program uses %s, and only %s is known",
        engineFile[0] != '\0' ? engineFile : "an unknown DDS library", ENGINE_FILE);
    return false;
}

static bool isSwitchedOff(void) {
    const char* off = getenv("ORX_AGENT_OFF");
    return off != NULL && off[0] != '\0' && strcmp(off, "0") != 0;
}

static const struct OrxAgentTable* loadAgent(void) {
    Dl_info own;
    char path[PATH_MAX];
    if (dladdr((void*)(uintptr_t)&say, &own) == 0 || own.dli_fname == NULL)
        return NULL;
    const char* slash = strrchr(own.dli_fname, '/');
    int folder = slash != NULL ? (int)(slash + 1 - own.dli_fname) : 0;
    if ((size_t)snprintf(path, sizeof path, "%.*s" AGENT_FILE, folder, own.dli_fname) >= sizeof path)
        return NULL;
    /* Never unloaded: threads and listeners of the agent live until the process ends. */
    void* handle = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == NULL) {
        say("orx-agent: not monitoring: %s", dlerror());
        return NULL;
    }
    void* symbol = dlsym(handle, ORX_AGENT_START_NAME);
    if (symbol == NULL) {
        say("orx-agent: not monitoring: %s", dlerror());
        return NULL;
    }
    OrxAgentStartFunction start;
    memcpy(&start, &symbol, sizeof start);
    const struct OrxShimStart arguments = {.engine = &engine,
        .setCollectedCategories = orxShim_setCollectedCategories,
        .codeRangeOf = codeRangeOf,
        .attachData = orxShim_attachData,
        .detachData = orxShim_detachData,
        .hasStderr = hasStderr};
    return start(&arguments);
}

static void startAgent(void) {
    bool isStarted = false;
    pthread_mutex_lock(&startLock);
    if (atomic_load_explicit(&state, memory_order_relaxed) == STATE_IDLE) {
        enum State next = STATE_INERT;
        if (!isSwitchedOff() && isKnownEngine()) {
            agent = loadAgent();
            if (agent != NULL && pthread_atfork(NULL, NULL, goInertInChild) == 0)
                next = STATE_ACTIVE;
            isStarted = next == STATE_ACTIVE;
        }
        startedIn = getpid();
        atomic_store_explicit(&state, next, memory_order_release);
    }
    pthread_mutex_unlock(&startLock);
    if (isStarted)
        orxShim_installLogSinks(agent);
}

const struct OrxAgentTable* orxShim_agent(void) {
    if (atomic_load_explicit(&state, memory_order_acquire) != STATE_ACTIVE || getpid() != startedIn)
        return NULL;
    return agent;
}

/* ---- Routing ---- */

/* Whose functions a call that returns to `caller` is to reach. */
static const struct OrxEngineFunctions* route(const void* caller, bool makesParticipant) {
    pthread_once(&resolveOnce, resolve);
    const uintptr_t address = (uintptr_t)caller;
    if (holds(&engineCode, address))
        return &engine;
    if (makesParticipant && atomic_load_explicit(&state, memory_order_acquire) == STATE_IDLE)
        startAgent();
    if (atomic_load_explicit(&state, memory_order_acquire) != STATE_ACTIVE)
        return &engine;
    for (size_t i = 0; i < agent->ownCodeCount; ++i) {
        if (holds(&agent->ownCode[i], address))
            return &engine;
    }
    return &agent->functions;
}

#define INTERPOSE_(result, name, parameters, arguments)                                                      \
    __attribute__((visibility("default"))) result name parameters {                                          \
        const bool makesParticipant = strcmp(#name, "dds_create_participant") == 0;                          \
        return route(__builtin_return_address(0), makesParticipant)->name arguments;                         \
    }
ORX_INTERPOSED_LIST(INTERPOSE_)
#undef INTERPOSE_
