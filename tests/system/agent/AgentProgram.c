/* A program with a mode for each thing that programs do to the entities that the agent observes. It exits
 * with 0, or with the number of the line that failed. */
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "AgentTest.h"
#include "dds/dds.h"

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                  \
            exit(__LINE__ % 200 + 1);                                                                        \
        }                                                                                                    \
    } while (0)

static dds_domainid_t programDomain(void) {
    const char* domain = getenv("PROGRAM_DOMAIN");
    return domain != NULL ? (dds_domainid_t)atoi(domain) : 0;
}

static dds_entity_t openParticipant(void) {
    const dds_entity_t participant = dds_create_participant(programDomain(), NULL, NULL);
    CHECK(participant > 0);
    return participant;
}

static dds_entity_t openTopic(dds_entity_t participant, const char* name) {
    const dds_entity_t topic = dds_create_topic(participant, &AgentTest_Message_desc, name, NULL, NULL);
    CHECK(topic > 0);
    return topic;
}

static dds_qos_t* named(const char* name) {
    dds_qos_t* qos = dds_create_qos();
    dds_qset_entity_name(qos, name);
    return qos;
}

/* Every kind of entity, with names where the engine takes them; they live as long as the process. */
static void namedEntities(void) {
    dds_qos_t* qos = named("my/participant*");
    const dds_entity_t participant = dds_create_participant(programDomain(), qos, NULL);
    dds_delete_qos(qos);
    const dds_entity_t topic = openTopic(participant, "rt/chatter");
    qos = named("my publisher");
    const dds_entity_t publisher = dds_create_publisher(participant, qos, NULL);
    dds_delete_qos(qos);
    qos = named("GUID(x)");
    const dds_entity_t subscriber = dds_create_subscriber(participant, qos, NULL);
    dds_delete_qos(qos);
    qos = named("my writer");
    CHECK(dds_create_writer(publisher, topic, qos, NULL) > 0);
    dds_delete_qos(qos);
    CHECK(dds_create_reader(subscriber, topic, NULL, NULL) > 0);
    CHECK(dds_create_reader(participant, topic, NULL, NULL) > 0);
}

static void endThroughAncestors(void) {
    const dds_entity_t participant = openParticipant();
    const dds_entity_t topic = openTopic(participant, "t");
    const dds_entity_t implicit = dds_create_writer(participant, topic, NULL, NULL);
    CHECK(dds_delete(implicit) == 0);
    const dds_entity_t publisher = dds_create_publisher(participant, NULL, NULL);
    CHECK(dds_create_writer(publisher, topic, NULL, NULL) > 0);
    CHECK(dds_create_writer(publisher, topic, NULL, NULL) > 0);
    CHECK(dds_delete(publisher) == 0);
    CHECK(dds_create_reader(participant, topic, NULL, NULL) > 0);
    const dds_entity_t domain = dds_get_parent(participant);
    CHECK(dds_delete(domain) == 0);
    const dds_entity_t second = openParticipant();
    CHECK(dds_delete(second) == 0);
}

static void statuses(void) {
    const dds_entity_t participant = openParticipant();
    const dds_entity_t topic = openTopic(participant, "s");
    dds_qos_t* qos = dds_create_qos();
    dds_qset_deadline(qos, DDS_MSECS(50));
    dds_qset_reliability(qos, DDS_RELIABILITY_BEST_EFFORT, 0);
    dds_qset_history(qos, DDS_HISTORY_KEEP_ALL, 0);
    const dds_entity_t writer = dds_create_writer(participant, topic, qos, NULL);
    dds_qset_resource_limits(qos, 1, 1, 1);
    const dds_entity_t reader = dds_create_reader(participant, topic, qos, NULL);
    dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, 0);
    CHECK(dds_create_reader(participant, topic, qos, NULL) > 0);
    dds_qset_deadline(qos, DDS_MSECS(10));
    dds_qset_reliability(qos, DDS_RELIABILITY_BEST_EFFORT, 0);
    CHECK(dds_create_reader(participant, topic, qos, NULL) > 0);
    dds_delete_qos(qos);
    for (int i = 0; i < 3; ++i) {
        const AgentTest_Message message = {i, i};
        CHECK(dds_write(writer, &message) == 0);
    }
    /* Until the deadlines of both sides have been missed. */
    dds_requested_deadline_missed_status_t requested;
    dds_offered_deadline_missed_status_t offered;
    int left = 1000;
    do {
        dds_sleepfor(DDS_MSECS(10));
        CHECK(dds_get_requested_deadline_missed_status(reader, &requested) == 0);
        CHECK(dds_get_offered_deadline_missed_status(writer, &offered) == 0);
    } while ((requested.total_count == 0 || offered.total_count == 0) && --left > 0);
    CHECK(left > 0);
    CHECK(dds_delete(writer) == 0);
    CHECK(dds_delete(participant) == 0);
}

/* Entities that end at once. */
static void shortLives(int count) {
    const dds_entity_t participant = openParticipant();
    const dds_entity_t topic = openTopic(participant, "brief");
    for (int i = 0; i < count; ++i) {
        const dds_entity_t writer = dds_create_writer(participant, topic, NULL, NULL);
        CHECK(writer > 0 && dds_delete(writer) == 0);
    }
}

/* ---- Two threads make and end entities while they match each other, and a third sets listeners ---- */

static dds_entity_t churnParticipant, churnTopic;
static int churning = 1;
static unsigned long callbacks;

static void countMatch(dds_entity_t writer, const dds_publication_matched_status_t status, void* argument) {
    (void)writer;
    (void)status;
    (void)argument;
    __atomic_add_fetch(&callbacks, 1, __ATOMIC_RELAXED);
}

static void* churnWriters(void* argument) {
    dds_listener_t* listener = dds_create_listener(NULL);
    dds_lset_publication_matched(listener, countMatch);
    for (int i = 0; i < *(int*)argument; ++i) {
        const dds_entity_t publisher = dds_create_publisher(churnParticipant, NULL, NULL);
        const dds_entity_t first =
            dds_create_writer(publisher, churnTopic, NULL, i % 2 == 0 ? listener : NULL);
        const dds_entity_t second = dds_create_writer(churnParticipant, churnTopic, NULL, NULL);
        CHECK(publisher > 0 && first > 0 && second > 0);
        CHECK(dds_delete(i % 3 == 0 ? first : publisher) == 0);
        if (i % 3 == 0)
            CHECK(dds_delete(publisher) == 0);
        CHECK(dds_delete(second) == 0);
    }
    dds_delete_listener(listener);
    return NULL;
}

static void* churnReaders(void* argument) {
    for (int i = 0; i < *(int*)argument; ++i) {
        const dds_entity_t first = dds_create_reader(churnParticipant, churnTopic, NULL, NULL);
        const dds_entity_t second = dds_create_reader(churnParticipant, churnTopic, NULL, NULL);
        CHECK(first > 0 && second > 0);
        CHECK(dds_delete(second) == 0 && dds_delete(first) == 0);
    }
    return NULL;
}

static void* churnListeners(void* argument) {
    (void)argument;
    dds_listener_t* listener = dds_create_listener(NULL);
    dds_lset_publication_matched(listener, countMatch);
    while (__atomic_load_n(&churning, __ATOMIC_RELAXED) != 0) {
        CHECK(dds_set_listener(churnParticipant, listener) == 0);
        CHECK(dds_set_listener(churnParticipant, NULL) == 0);
        dds_sleepfor(DDS_MSECS(1));
    }
    dds_delete_listener(listener);
    return NULL;
}

static void churn(int rounds) {
    churnParticipant = openParticipant();
    churnTopic = openTopic(churnParticipant, "churn");
    const dds_entity_t reader = dds_create_reader(churnParticipant, churnTopic, NULL, NULL);
    pthread_t threads[3];
    CHECK(pthread_create(&threads[0], NULL, churnWriters, &rounds) == 0);
    CHECK(pthread_create(&threads[1], NULL, churnReaders, &rounds) == 0);
    CHECK(pthread_create(&threads[2], NULL, churnListeners, NULL) == 0);
    pthread_join(threads[0], NULL);
    pthread_join(threads[1], NULL);
    __atomic_store_n(&churning, 0, __ATOMIC_RELAXED);
    pthread_join(threads[2], NULL);
    CHECK(__atomic_load_n(&callbacks, __ATOMIC_RELAXED) > 0);
    CHECK(dds_delete(reader) == 0);
    CHECK(dds_delete(churnParticipant) == 0);
}

/* ---- Ends ---- */

static dds_entity_t leftOpen;
static void endAtExit(void) {
    (void)dds_delete(leftOpen);
}

/* The runtime of the address sanitizer takes a lock of its own at exit, which a thread that has no life in
 * the child may have held when the process was forked. */
static void leaveForkedChild(int status) {
#if defined(__SANITIZE_ADDRESS__)
    _exit(status);
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    _exit(status);
#endif
#endif
    exit(status);
}

static void forkWithoutExec(void) {
    const dds_entity_t participant = openParticipant();
    const pid_t child = fork();
    CHECK(child >= 0);
    /* The engine has no threads here; the calls must come back all the same, with or without success. */
    if (child == 0) {
        dds_listener_t* listener = dds_create_listener(NULL);
        (void)dds_get_listener(participant, listener);
        leaveForkedChild(42);
    }
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child);
    CHECK(WIFEXITED(status) && WEXITSTATUS(status) == 42);
    CHECK(dds_delete(participant) == 0);
}

/* A daemon's way: the child is the one that uses the engine. */
static void forkFirst(void) {
    const pid_t child = fork();
    CHECK(child >= 0);
    if (child == 0) {
        CHECK(dds_delete(openParticipant()) == 0);
        exit(0);
    }
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child);
    CHECK(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

static void endTheEngine(void) {
    const dds_entity_t participant = openParticipant();
    CHECK(openTopic(participant, "ending") > 0);
    if (getenv("PROGRAM_WAIT_MS") != NULL)
        dds_sleepfor(DDS_MSECS(atoi(getenv("PROGRAM_WAIT_MS"))));
    CHECK(dds_delete(DDS_CYCLONEDDS_HANDLE) == 0);
    CHECK(dds_delete(participant) < 0);
    const dds_entity_t again = openParticipant();
    CHECK(dds_delete(again) == 0);
}

/* The two sides of one topic, in processes of their own: the writer keeps all that it writes. */
static dds_qos_t* keptQos(const char* name) {
    dds_qos_t* qos = named(name);
    dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, DDS_SECS(10));
    dds_qset_durability(qos, DDS_DURABILITY_TRANSIENT_LOCAL);
    dds_qset_durability_service(qos, 0, DDS_HISTORY_KEEP_ALL, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED,
        DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED);
    dds_qset_history(qos, DDS_HISTORY_KEEP_ALL, 0);
    return qos;
}

static void publish(int count) {
    const dds_entity_t participant = openParticipant();
    dds_qos_t* qos = keptQos("kept");
    const dds_entity_t writer = dds_create_writer(participant, openTopic(participant, "kept"), qos, NULL);
    dds_delete_qos(qos);
    dds_publication_matched_status_t status = {0};
    for (int i = 0; i < 3000 && status.current_count == 0; i++) {
        dds_sleepfor(DDS_MSECS(10));
        CHECK(dds_get_publication_matched_status(writer, &status) == 0);
    }
    CHECK(status.current_count == 1);
    for (int i = 0; i < count; i++) {
        const AgentTest_Message message = {i, i};
        CHECK(dds_write(writer, &message) == 0);
    }
    CHECK(dds_wait_for_acks(writer, DDS_SECS(20)) == 0);
}

/* Takes what comes until it has seen so many. */
static void subscribe(int count) {
    const dds_entity_t participant = openParticipant();
    dds_qos_t* qos = keptQos("sink");
    const dds_entity_t reader = dds_create_reader(participant, openTopic(participant, "kept"), qos, NULL);
    dds_delete_qos(qos);
    for (int i = 0, seen = 0; i < 3000 && seen < count; i++) {
        void* values[8] = {NULL};
        dds_sample_info_t infos[8];
        const dds_return_t taken = dds_take(reader, values, infos, 8, 8);
        CHECK(taken >= 0);
        seen += taken;
        if (taken > 0)
            dds_return_loan(reader, values, taken);
        else
            dds_sleepfor(DDS_MSECS(10));
    }
}

/* A program that was started without a standard error may open a file in its place. */
static void openInPlaceOfStderr(const char* path) {
    CHECK(open(path, O_CREAT | O_RDWR | O_TRUNC, 0600) == STDERR_FILENO);
    openParticipant();
}

int main(int argc, char** argv) {
    CHECK(argc > 1);
    const char* mode = argv[1];
    const int number = argc > 2 ? atoi(argv[2]) : 0;
    if (strcmp(mode, "named") == 0)
        namedEntities();
    else if (strcmp(mode, "ancestors") == 0)
        endThroughAncestors();
    else if (strcmp(mode, "statuses") == 0)
        statuses();
    else if (strcmp(mode, "short") == 0)
        shortLives(number);
    else if (strcmp(mode, "churn") == 0)
        churn(number);
    else if (strcmp(mode, "fork") == 0)
        forkWithoutExec();
    else if (strcmp(mode, "forkfirst") == 0)
        forkFirst();
    else if (strcmp(mode, "engine") == 0)
        endTheEngine();
    else if (strcmp(mode, "publish") == 0)
        publish(number);
    else if (strcmp(mode, "subscribe") == 0)
        subscribe(number);
    else if (strcmp(mode, "exit") == 0)
        openParticipant(), exit(number);
    else if (strcmp(mode, "kill") == 0)
        openParticipant(), raise(number);
    else if (strcmp(mode, "file") == 0)
        openInPlaceOfStderr(argv[2]);
    else if (strcmp(mode, "atexit") == 0)
        atexit(endAtExit), leftOpen = openParticipant();
    else
        return 3;
    if (getenv("PROGRAM_LINGER_MS") != NULL)
        dds_sleepfor(DDS_MSECS(atoi(getenv("PROGRAM_LINGER_MS"))));
    return 0;
}
