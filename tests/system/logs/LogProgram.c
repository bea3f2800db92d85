/* A program that logs, in ways that an argument names, and knows nothing of monitoring. What its own sinks
 * get goes to standard output. It exits with 0, or with the number of the line that failed. */
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include "dds/dds.h"
#include "dds/ddsrt/log.h"

/* The engine's macros are no expressions of standard C, and a format of "%m" alone is what is tested. */
#pragma GCC diagnostic ignored "-Wpedantic"
#pragma GCC diagnostic ignored "-Wformat-security"

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                  \
            exit(__LINE__ % 200 + 1);                                                                        \
        }                                                                                                    \
    } while (0)

static dds_domainid_t domainOf(const char* variable) {
    const char* domain = getenv(variable);
    return domain != NULL ? (dds_domainid_t)atoi(domain) : 0;
}

/* Nothing to wait for unless the program is monitored; the bound is generous. */
static void waitForMonitoring(void) {
    void* library = dlopen("libzddsc.so.0", RTLD_LAZY | RTLD_NOLOAD);
    if (library == NULL)
        return;
    void* symbol = dlsym(library, "ORX_MonitoringHost_is_enabled");
    signed char (*isEnabled)(void);
    memcpy(&isEnabled, &symbol, sizeof symbol);
    for (int i = 0; i < 3000 && !isEnabled(); ++i)
        dds_sleepfor(DDS_MSECS(10));
    CHECK(isEnabled());
}

static dds_entity_t openParticipant(void) {
    const dds_entity_t participant = dds_create_participant(domainOf("PROGRAM_DOMAIN"), NULL, NULL);
    CHECK(participant > 0);
    waitForMonitoring();
    return participant;
}

/* ---- The engine's log ---- */

static void sink(void* name, const dds_log_data_t* line) {
    const bool isHeaderThere = line->hdrsize > 0 && line->message[-1] == ' ';
    printf("%s: category %u header %d %s line %u: %.*s|%d\n", (const char*)name, line->priority,
        isHeaderThere, line->function, line->line, (int)line->size, line->message, line->message[line->size]);
    fflush(stdout);
}

static const struct {
    uint32_t category;
    const char* name;
} categories[] = {{DDS_LC_ERROR, "error"}, {DDS_LC_WARNING, "warning"}, {DDS_LC_INFO, "info"},
    {DDS_LC_CONFIG, "config"}, {DDS_LC_DISCOVERY, "discovery"}, {DDS_LC_TRACE, "trace"},
    {DDS_LC_THROTTLE, "throttle"}};

/* A domain's view of the log, as the engine makes it: traces to a file of its own, to stderr, or nowhere. */
static ddsrt_log_cfg_t tracing, tracingToStderr, quiet;
static FILE* traceFile;

static void logEverything(const char* step) {
    printf("-- %s\n", step);
    fflush(stdout);
    fprintf(stderr, "-- %s\n", step);
    for (size_t i = 0; i < sizeof categories / sizeof *categories; ++i) {
        dds_log(categories[i].category, "file", 1, "global", "%s %s\n", step, categories[i].name);
        DDS_CLOG(categories[i].category, &tracing, "%s tracing %s\n", step, categories[i].name);
        DDS_CLOG(categories[i].category, &tracingToStderr, "%s to stderr %s\n", step, categories[i].name);
        DDS_CLOG(categories[i].category, &quiet, "%s quiet %s\n", step, categories[i].name);
    }
    /* In pieces. */
    DDS_CLOG(DDS_LC_WARNING, &quiet, "%s ", step);
    DDS_CLOG(DDS_LC_WARNING, &quiet, "%s\n", "in two");
}

static void showMask(void) {
    uint32_t (*volatile get)(void) = &dds_get_log_mask; /* not the inline form */
    printf("mask %u\n", get());
    fflush(stdout);
}

static void logEverywhere(void) {
    traceFile = tmpfile();
    CHECK(traceFile != NULL);
    const uint32_t some = DDS_LC_WARNING | DDS_LC_DISCOVERY | DDS_LC_TRACE;
    dds_log_cfg_init(&tracing, 1000, some, stderr, traceFile);
    dds_log_cfg_init(&tracingToStderr, 1001, DDS_LC_ERROR | DDS_LC_INFO | DDS_LC_CONFIG, stderr, stderr);
    dds_log_cfg_init(&quiet, 1002, 0, stderr, NULL);
    showMask();
    logEverything("before, default");
    dds_set_log_sink(sink, "early");
    logEverything("before, own sink");
    const dds_entity_t participant = openParticipant();
    logEverything("own sink from before");
    dds_set_log_sink(sink, "log");
    logEverything("own sink");
    dds_set_trace_sink(sink, "log");
    logEverything("the same sink for traces");
    dds_set_trace_sink(sink, "trace");
    logEverything("two sinks");
    dds_set_log_mask(DDS_LC_ERROR);
    showMask();
    logEverything("two sinks, errors alone");
    dds_set_log_mask(DDS_LC_ALL);
    showMask();
    logEverything("two sinks, everything");
    dds_set_log_sink(NULL, NULL);
    logEverything("trace sink, everything");
    dds_set_trace_sink(NULL, NULL);
    logEverything("no sink, everything");
    dds_set_log_mask(DDS_LC_INFO);
    logEverything("no sink, infos");
    dds_set_log_file(stdout);
    logEverything("no sink, another file");
    dds_set_log_file(NULL);
    dds_set_log_mask(DDS_LC_FATAL | DDS_LC_ERROR | DDS_LC_WARNING);
    logEverything("no sink");
    CHECK(dds_delete(participant) == 0);
    logEverything("after");
    rewind(traceFile);
    char line[256];
    while (fgets(line, sizeof line, traceFile) != NULL)
        printf("traced: %s", line);
}

/* Waits until the engine's own mask has the category: the inline form of the getter reads it. */
static void waitForCategory(uint32_t category) {
    for (int i = 0; i < 3000 && (dds_get_log_mask() & category) == 0; ++i)
        dds_sleepfor(DDS_MSECS(10));
    CHECK((dds_get_log_mask() & category) != 0);
}

/* The monitoring wants more than the program. */
static void logLess(void) {
    dds_set_log_mask(DDS_LC_ERROR);
    openParticipant();
    waitForCategory(DDS_LC_INFO);
    showMask();
    dds_set_log_sink(sink, "log");
    for (size_t i = 0; i < sizeof categories / sizeof *categories; ++i)
        dds_log(categories[i].category, "file", 1, "global", "wanted %s\n", categories[i].name);
    dds_set_log_sink(NULL, NULL);
    for (size_t i = 0; i < sizeof categories / sizeof *categories; ++i)
        dds_log(categories[i].category, "file", 1, "global", "wanted again %s\n", categories[i].name);
}

/* Lines of the monitoring's domain, which this program may have no part in. */
static void logForMonitoringDomain(void) {
    openParticipant();
    const dds_domainid_t domain = domainOf("ORX_AGENT_DOMAIN");
    ddsrt_log_cfg_t monitoring;
    dds_log_cfg_init(&monitoring, domain, 0, stderr, NULL);
    dds_set_log_sink(sink, "log");
    DDS_CLOG(DDS_LC_ERROR, &monitoring, "not the program's\n");
    CHECK(dds_create_participant(domain, NULL, NULL) > 0);
    DDS_CLOG(DDS_LC_ERROR, &monitoring, "the program's\n");
    dds_set_log_sink(NULL, NULL);
}

/* A sink may use everything of the engine that it may use without monitoring, and is gone when it is
 * replaced. */
static dds_entity_t sinkParticipant;
static _Atomic int running;
static _Atomic bool stops;

static void busySink(void* counter, const dds_log_data_t* line) {
    (void)line;
    ++*(_Atomic int*)counter;
    const dds_entity_t publisher = dds_create_publisher(sinkParticipant, NULL, NULL);
    CHECK(publisher > 0);
    CHECK(dds_delete(publisher) == 0);
    (void)dds_get_log_mask();
    syslog(LOG_DEBUG, "in a sink");
}

static void* logAlways(void* argument) {
    ++running;
    while (!stops) {
        dds_log(DDS_LC_ERROR, "file", 1, "thread", "line\n");
        dds_sleepfor(DDS_USECS(50)); /* the engine's lock prefers those who log to those who set */
    }
    return argument;
}

static void replaceSinks(void) {
    sinkParticipant = openParticipant();
    static _Atomic int counters[20];
    pthread_t threads[2];
    for (int i = 0; i < 2; ++i)
        CHECK(pthread_create(&threads[i], NULL, logAlways, NULL) == 0);
    for (int i = 0; i < 20; ++i) {
        dds_set_log_sink(busySink, &counters[i]);
        while (counters[i] < 3)
            dds_sleepfor(DDS_USECS(100));
        dds_set_log_mask(i % 2 == 0 ? DDS_LC_ERROR : DDS_LC_ERROR | DDS_LC_WARNING);
        if (i > 0) {
            const int before = counters[i - 1];
            const int now = counters[i];
            while (counters[i] < now + 3)
                dds_sleepfor(DDS_USECS(100));
            CHECK(counters[i - 1] == before);
        }
    }
    stops = true;
    for (int i = 0; i < 2; ++i)
        CHECK(pthread_join(threads[i], NULL) == 0);
    dds_set_log_sink(NULL, NULL);
}

/* ---- syslog ---- */

__attribute__((noinline)) static void logList(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int flag, const char* format, ...);
void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments);

__attribute__((noinline)) static void logCheckedList(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    __vsyslog_chk(priority, 1, format, arguments);
    va_end(arguments);
}

static void logMessages(void) {
    /* What libc does shows on standard error. */
    openlog("program", LOG_PERROR | LOG_NDELAY, LOG_DAEMON);
    syslog(LOG_ERR, "before monitoring");
    openParticipant();
    syslog(LOG_USER | LOG_WARNING, "a warning of %d words", 5);
    syslog(LOG_ERR, "without a facility");
    syslog(LOG_LOCAL3 | LOG_CRIT, "local");
    syslog(LOG_AUTHPRIV | LOG_ALERT, "private");
    logList(LOG_USER | LOG_ERR, "a list of %s and %.1f", "text", 1.5);
    __syslog_chk(LOG_USER | LOG_ERR, 1, "checked %s", "call");
    logCheckedList(LOG_USER | LOG_ERR, "checked %s of %d", "list", 3);
    errno = ENOENT;
    const char* volatile because = "because: %m"; /* no format of ISO C */
    syslog(LOG_USER | LOG_ERR, because);
    const int before = errno;
    errno = 77;
    syslog(LOG_USER | LOG_DEBUG, "filtered by nobody but the verbosity");
    CHECK(errno == 77 || before == 0);
    CHECK(setlogmask(LOG_UPTO(LOG_ERR)) == 0xff);
    CHECK(setlogmask(0) == LOG_UPTO(LOG_ERR));
    syslog(LOG_USER | LOG_WARNING, "masked");
    syslog(LOG_USER | LOG_ERR, "not masked");
    CHECK(setlogmask(0xff) == LOG_UPTO(LOG_ERR));
    char text[10000];
    memset(text, 'x', sizeof text - 1);
    text[sizeof text - 1] = '\0';
    syslog(LOG_USER | LOG_ERR, "long %s", text);
    int written = 0;
    syslog(LOG_USER | LOG_ERR, "ten bytes\n%n", &written);
    printf("written %d\n", written);
    closelog();
    syslog(LOG_USER | LOG_ERR, "after closelog");
}

static void onSignal(int number) {
    (void)number;
    syslog(LOG_USER | LOG_ERR, "in a handler");
}

static void* logMany(void* argument) {
    for (int i = 0; i < 2000; ++i)
        dds_log(DDS_LC_ERROR, "file", 1, "thread", "line %d\n", i);
    return argument;
}

static void silent(void* nothing, const dds_log_data_t* line) {
    (void)nothing;
    (void)line;
}

/* A handler that logs while its thread is at a line of the engine's. */
static void logFromHandlers(void) {
    openParticipant();
    dds_set_log_sink(silent, NULL);
    syslog(
        LOG_USER | LOG_ERR, "the program's"); /* libc has its connection now, or knows that there is none */
    struct sigaction action = {0};
    action.sa_handler = onSignal;
    CHECK(sigaction(SIGUSR1, &action, NULL) == 0);
    pthread_t thread;
    CHECK(pthread_create(&thread, NULL, logMany, NULL) == 0);
    for (int i = 0; i < 200; ++i) {
        pthread_kill(thread, SIGUSR1);
        dds_sleepfor(DDS_USECS(50));
    }
    CHECK(pthread_join(thread, NULL) == 0);
    dds_set_log_sink(NULL, NULL);
}

/* The child has none of the monitoring's threads; its own sinks work as before. */
static void logInChild(void) {
    openParticipant();
    dds_set_log_sink(sink, "log");
    fflush(stdout);
    const pid_t child = fork();
    CHECK(child >= 0);
    if (child == 0) {
        syslog(LOG_USER | LOG_ERR, "in the child");
        dds_log(DDS_LC_ERROR, "file", 1, "child", "in the child\n");
        dds_set_log_sink(sink, "child's");
        dds_log(DDS_LC_ERROR, "file", 1, "child", "in the child again\n");
        dds_set_trace_sink(sink, "child's");
        dds_set_log_mask(DDS_LC_ERROR | DDS_LC_INFO);
        showMask();
        dds_log(DDS_LC_INFO, "file", 1, "child", "an info\n");
        dds_set_log_sink(NULL, NULL);
        _exit(0);
    }
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0);
    syslog(LOG_USER | LOG_ERR, "in the parent");
}

/* A message for each line of standard input. */
static void logLines(void) {
    openParticipant();
    puts("ready");
    fflush(stdout);
    for (int byte = getchar(); byte != EOF; byte = getchar())
        syslog(LOG_USER | LOG_WARNING, "the tank is almost empty");
}

int main(int argc, char** argv) {
    static const struct {
        const char* name;
        void (*run)(void);
    } modes[] = {{"everywhere", logEverywhere}, {"less", logLess}, {"monitoring", logForMonitoringDomain},
        {"replace", replaceSinks}, {"syslog", logMessages}, {"handlers", logFromHandlers},
        {"lines", logLines}, {"fork", logInChild}};
    CHECK(argc > 1);
    for (size_t i = 0; i < sizeof modes / sizeof *modes; ++i) {
        if (strcmp(argv[1], modes[i].name) == 0) {
            modes[i].run();
            return 0;
        }
    }
    return 1;
}
