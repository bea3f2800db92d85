/* A program under full load that knows nothing of monitoring: one thread writes samples and takes the time of
 * each write, one makes and ends endpoints that match each other, and one logs.
 *
 * Lines of standard input: "begin" starts a measurement, "report" prints its figures, anything else and the
 * end of the input end the program. */
#include <pthread.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <time.h>

#include "AgentTest.h"
#include "dds/dds.h"

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                  \
            exit(__LINE__ % 200 + 1);                                                                        \
        }                                                                                                    \
    } while (0)

#define WRITE_PERIOD_US 1000
#define EVENT_PERIOD_US 4000 /* unless LOAD_EVENT_PERIOD_US says otherwise */
#define LOG_PERIOD_US 500
#define MAX_TIMES 200000

static dds_entity_t participant, topic, writer;
static _Atomic bool ends;
static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER; /* guards what follows */
static uint64_t times[MAX_TIMES];
static size_t timeCount;

static uint64_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (uint64_t)time.tv_sec * 1000000000U + (uint64_t)time.tv_nsec;
}

static void* writeAlways(void* argument) {
    AgentTest_Message message = {0};
    while (!ends) {
        const uint64_t begin = now();
        CHECK(dds_write(writer, &message) == 0);
        const uint64_t taken = now() - begin;
        pthread_mutex_lock(&mutex);
        if (timeCount < MAX_TIMES)
            times[timeCount++] = taken;
        pthread_mutex_unlock(&mutex);
        dds_sleepfor(DDS_USECS(WRITE_PERIOD_US));
    }
    return argument;
}

static void* matchAlways(void* argument) {
    const char* period = getenv("LOAD_EVENT_PERIOD_US");
    const dds_duration_t pause = DDS_USECS(period != NULL ? atoi(period) : EVENT_PERIOD_US);
    while (!ends) {
        const dds_entity_t reader = dds_create_reader(participant, topic, NULL, NULL);
        const dds_entity_t other = dds_create_writer(participant, topic, NULL, NULL);
        CHECK(reader > 0 && other > 0);
        CHECK(dds_delete(other) == 0 && dds_delete(reader) == 0);
        dds_sleepfor(pause);
    }
    return argument;
}

static void* logAlways(void* argument) {
    for (unsigned number = 0; !ends; ++number) {
        syslog(LOG_USER | LOG_WARNING, "message %u of a program that has much to tell about what it does",
            number);
        dds_sleepfor(DDS_USECS(LOG_PERIOD_US));
    }
    return argument;
}

static int compare(const void* left, const void* right) {
    const uint64_t a = *(const uint64_t*)left, b = *(const uint64_t*)right;
    return a < b ? -1 : a > b;
}

/* Most memory that the process has had, in KiB. */
static unsigned long peakMemory(void) {
    unsigned long peak = 0;
    char line[256];
    FILE* status = fopen("/proc/self/status", "r");
    while (status != NULL && fgets(line, sizeof line, status) != NULL)
        sscanf(line, "VmHWM: %lu", &peak);
    if (status != NULL)
        fclose(status);
    return peak;
}

static void report(void) {
    pthread_mutex_lock(&mutex);
    CHECK(timeCount > 0);
    qsort(times, timeCount, sizeof *times, compare);
    printf("report count %zu p50 %lu p90 %lu p99 %lu max %lu memory %lu\n", timeCount, times[timeCount / 2],
        times[timeCount * 9 / 10], times[timeCount * 99 / 100], times[timeCount - 1], peakMemory());
    timeCount = 0;
    pthread_mutex_unlock(&mutex);
    fflush(stdout);
}

int main(void) {
    const char* domain = getenv("PROGRAM_DOMAIN");
    participant = dds_create_participant(domain != NULL ? (dds_domainid_t)atoi(domain) : 0, NULL, NULL);
    CHECK(participant > 0);
    topic = dds_create_topic(participant, &AgentTest_Message_desc, "load", NULL, NULL);
    CHECK(topic > 0);
    writer = dds_create_writer(participant, topic, NULL, NULL);
    CHECK(writer > 0 && dds_create_reader(participant, topic, NULL, NULL) > 0);
    void* (*const loads[])(void*) = {writeAlways, matchAlways, logAlways};
    pthread_t threads[3];
    for (size_t i = 0; i < 3; ++i)
        CHECK(pthread_create(&threads[i], NULL, loads[i], NULL) == 0);
    puts("ready");
    fflush(stdout);
    char line[64];
    while (fgets(line, sizeof line, stdin) != NULL) {
        if (strcmp(line, "report\n") == 0) {
            report();
        } else if (strcmp(line, "begin\n") == 0) {
            pthread_mutex_lock(&mutex);
            timeCount = 0;
            pthread_mutex_unlock(&mutex);
            puts("begun");
            fflush(stdout);
        } else {
            break;
        }
    }
    ends = true;
    for (size_t i = 0; i < 3; ++i)
        CHECK(pthread_join(threads[i], NULL) == 0);
    puts("ending");
    fflush(stdout);
    return 0;
}
