/* Makes every call that moves data, each on a writer or reader of its own that bears the call's name, and
 * prints its results and errno: the output with the agent must be the output without it. Handles are random
 * and not printed. Every writer writes three samples, every reader is given two. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "AgentTest.h"
#include "dds/dds.h"
#include "dds/ddsi/ddsi_serdata.h"

enum { untouched = 77, samples = 2, room = 8 };

static dds_entity_t participant;
static struct ddsi_serdata* readySample;

static void say(const char* call, int result) {
    printf("%s: %d errno %s\n", call, result, errno == untouched ? "untouched" : strerror(errno));
    fflush(stdout);
}
#define CALL(name, ...) (errno = untouched, say(#name, name(__VA_ARGS__)))

static dds_qos_t* qosOf(const char* name) {
    dds_qos_t* qos = dds_create_qos();
    dds_qset_entity_name(qos, name);
    dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_history(qos, DDS_HISTORY_KEEP_ALL, 0);
    dds_qset_writer_data_lifecycle(qos, false);
    return qos;
}

static dds_entity_t topicOf(const char* name) {
    return dds_create_topic(participant, &AgentTest_Message_desc, name, NULL, NULL);
}
static dds_entity_t writerOf(const char* name) {
    dds_qos_t* qos = qosOf(name);
    const dds_entity_t writer = dds_create_writer(participant, topicOf(name), qos, NULL);
    dds_delete_qos(qos);
    return writer;
}

/* A reader with two samples in its cache. The writer that brought them has another name. */
static dds_entity_t filledReader(const char* name) {
    dds_qos_t* qos = qosOf(name);
    const dds_entity_t topic = topicOf(name);
    const dds_entity_t reader = dds_create_reader(participant, topic, qos, NULL);
    dds_delete_qos(qos);
    qos = qosOf("feeder");
    const dds_entity_t feeder = dds_create_writer(participant, topic, qos, NULL);
    dds_delete_qos(qos);
    for (int i = 0; i < samples; i++) {
        const AgentTest_Message message = {1, i};
        dds_write(feeder, &message);
    }
    return reader;
}

/* ---- writing ---- */

static const AgentTest_Message message = {5, 6};

static void writeEach(void) {
    const dds_time_t now = dds_time();
    dds_entity_t writer;
#define THRICE(name, ...)                                                                                    \
    writer = writerOf(#name);                                                                                \
    for (int i = 0; i < 3; i++) {                                                                            \
        dds_instance_handle_t instance;                                                                      \
        dds_register_instance(writer, &instance, &message);                                                  \
        CALL(name, writer, __VA_ARGS__);                                                                     \
    }
    THRICE(dds_write, &message)
    THRICE(dds_write_ts, &message, now)
    THRICE(dds_writedispose, &message)
    THRICE(dds_writedispose_ts, &message, now)
    THRICE(dds_dispose, &message)
    THRICE(dds_dispose_ts, &message, now)
    THRICE(dds_dispose_ih, instance)
    THRICE(dds_dispose_ih_ts, instance, now)
    THRICE(dds_unregister_instance, &message)
    THRICE(dds_unregister_instance_ts, &message, now)
    THRICE(dds_unregister_instance_ih, instance)
    THRICE(dds_unregister_instance_ih_ts, instance, now)
    THRICE(dds_writecdr, ddsi_serdata_ref(readySample))
    THRICE(dds_forwardcdr, ddsi_serdata_ref(readySample))
    CALL(dds_write, 12345, &message);
    CALL(dds_write, writer, NULL);
}

/* ---- reading ---- */

static void* values[room];
static dds_sample_info_t infos[room];

static void readEach(void) {
    const uint32_t any = DDS_ANY_STATE;
    AgentTest_Message key = {1, 0};
    dds_entity_t reader;
    /* Twice: what a read gives out again is not new. */
#define ONCE(name, ...)                                                                                      \
    CALL(name, reader, values, infos, __VA_ARGS__);                                                          \
    dds_return_loan(reader, values, room)
#define TWICE(name, ...)                                                                                     \
    reader = filledReader(#name);                                                                            \
    memset(values, 0, sizeof values);                                                                        \
    for (int i = 0; i < 2; i++) {                                                                            \
        const dds_instance_handle_t instance = dds_lookup_instance(reader, &key);                            \
        (void)instance;                                                                                      \
        ONCE(name, __VA_ARGS__);                                                                             \
    }
#define FAMILY(verb)                                                                                         \
    TWICE(dds_##verb, room, room)                                                                            \
    TWICE(dds_##verb##_wl, room)                                                                             \
    TWICE(dds_##verb##_mask, room, room, any)                                                                \
    TWICE(dds_##verb##_mask_wl, room, any)                                                                   \
    TWICE(dds_##verb##_instance, room, room, instance)                                                       \
    TWICE(dds_##verb##_instance_wl, room, instance)                                                          \
    TWICE(dds_##verb##_instance_mask, room, room, instance, any)                                             \
    TWICE(dds_##verb##_instance_mask_wl, room, instance, any)
    FAMILY(read)
    FAMILY(take)
#define NEXT(name)                                                                                           \
    reader = filledReader(#name);                                                                            \
    memset(values, 0, sizeof values);                                                                        \
    for (int i = 0; i < 3; i++) {                                                                            \
        CALL(name, reader, values, infos);                                                                   \
        dds_return_loan(reader, values, 1);                                                                  \
    }
    NEXT(dds_read_next)
    NEXT(dds_read_next_wl)
    NEXT(dds_take_next)
    NEXT(dds_take_next_wl)
    struct ddsi_serdata* ready[room];
#define READY(name, ...)                                                                                     \
    reader = filledReader(#name);                                                                            \
    for (int i = 0; i < 2; i++) {                                                                            \
        const dds_instance_handle_t instance = dds_lookup_instance(reader, &key);                            \
        (void)instance;                                                                                      \
        memset(ready, 0, sizeof ready);                                                                      \
        CALL(name, reader, ready, room, infos, __VA_ARGS__);                                                 \
        for (int j = 0; j < room; j++)                                                                       \
            if (ready[j] != NULL)                                                                            \
                ddsi_serdata_unref(ready[j]);                                                                \
    }
    READY(dds_readcdr, any)
    READY(dds_takecdr, any)
    READY(dds_readcdr_instance, instance, any)
    READY(dds_takecdr_instance, instance, any)
}

static bool isOdd(const void* sample) {
    return ((const AgentTest_Message*)sample)->value % 2 == 1;
}

static void readThroughConditions(void) {
    memset(values, 0, sizeof values);
    dds_entity_t reader = filledReader("readcondition");
    const dds_entity_t condition = dds_create_readcondition(reader, DDS_ANY_STATE);
    CALL(dds_read, condition, values, infos, room, room);
    dds_return_loan(reader, values, room);
    CALL(dds_delete, condition);
    CALL(dds_read, condition, values, infos, room, room);
    reader = filledReader("querycondition");
    memset(values, 0, sizeof values);
    const dds_entity_t query = dds_create_querycondition(reader, DDS_ANY_STATE, isOdd);
    CALL(dds_take, query, values, infos, room, room);
    dds_return_loan(reader, values, room);
}

/* Inside a write, on its thread. */
static void takeInside(dds_entity_t reader, void* argument) {
    (void)argument;
    void* inside[room] = {0};
    dds_sample_info_t insideInfos[room];
    CALL(dds_take, reader, inside, insideInfos, room, room);
    dds_return_loan(reader, inside, room);
}

static void takeInsideAWrite(void) {
    dds_qos_t* qos = qosOf("inside");
    const dds_entity_t topic = topicOf("inside");
    dds_listener_t* listener = dds_create_listener(NULL);
    dds_lset_data_available(listener, takeInside);
    const dds_entity_t writer = dds_create_writer(participant, topic, qos, NULL);
    dds_create_reader(participant, topic, qos, listener);
    dds_delete_listener(listener);
    dds_delete_qos(qos);
    CALL(dds_write, writer, &message);
    CALL(dds_write, writer, &message);
}

static void takeReadySample(void) {
    dds_entity_t reader = filledReader("ready");
    dds_sample_info_t info;
    if (dds_takecdr(reader, &readySample, 1, &info, DDS_ANY_STATE) != 1)
        exit(2);
}

int main(void) {
    const char* domain = getenv("PROGRAM_DOMAIN");
    participant = dds_create_participant(domain != NULL ? (dds_domainid_t)atoi(domain) : 71, NULL, NULL);
    if (participant < 0)
        return 1;
    takeReadySample();
    writeEach();
    readEach();
    readThroughConditions();
    takeInsideAWrite();
    ddsi_serdata_unref(readySample);
    if (getenv("PROGRAM_LINGER_MS") != NULL)
        dds_sleepfor(DDS_MSECS(atoi(getenv("PROGRAM_LINGER_MS"))));
    return 0;
}
