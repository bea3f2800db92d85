/* Does what programs do with entities, listeners, statuses and wait sets, and prints all that it sees: the
 * output with the agent must be the output without it. Everything happens in one process, where the engine
 * calls listeners on the thread that causes them, so that the order is always the same. Handles and GUIDs are
 * random and not printed. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "AgentTest.h"
#include "dds/dds.h"

static int depth; /* of listener calls, shown by indentation */
static dds_return_t result;

static void say(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    printf("%*s", depth * 2, "");
    vprintf(format, arguments);
    printf("\n");
    va_end(arguments);
    fflush(stdout);
}

#define SCENE(name) say("== %s", name)

static const char* who(void* argument) {
    return argument != NULL ? argument : "-";
}

static void onPublicationMatched(
    dds_entity_t writer, const dds_publication_matched_status_t status, void* argument) {
    say("publication matched for %s: %u (%d) current %u (%d) handle %d", who(argument), status.total_count,
        status.total_count_change, status.current_count, status.current_count_change,
        status.last_subscription_handle != 0);
    depth++;
    dds_publication_matched_status_t again;
    memset(&again, 0, sizeof again);
    const dds_return_t inside = dds_get_publication_matched_status(writer, &again);
    say("read inside: %d", inside);
    say("inside: %u (%d)", again.total_count, again.total_count_change);
    depth--;
}
static void onPublicationMatchedQuiet(
    dds_entity_t writer, const dds_publication_matched_status_t status, void* argument) {
    (void)writer;
    say("publication matched, quietly, for %s: %u (%d)", who(argument), status.total_count,
        status.total_count_change);
}
static void onSubscriptionMatched(
    dds_entity_t reader, const dds_subscription_matched_status_t status, void* argument) {
    (void)reader;
    say("subscription matched for %s: %u (%d) current %u (%d)", who(argument), status.total_count,
        status.total_count_change, status.current_count, status.current_count_change);
}
static void onOfferedIncompatibleQos(
    dds_entity_t writer, const dds_offered_incompatible_qos_status_t status, void* argument) {
    (void)writer;
    say("offered incompatible qos for %s: %u (%d) policy %u", who(argument), status.total_count,
        status.total_count_change, status.last_policy_id);
}
static void onRequestedIncompatibleQos(
    dds_entity_t reader, const dds_requested_incompatible_qos_status_t status, void* argument) {
    (void)reader;
    say("requested incompatible qos for %s: %u (%d) policy %u", who(argument), status.total_count,
        status.total_count_change, status.last_policy_id);
}
static void onLivelinessChanged(
    dds_entity_t reader, const dds_liveliness_changed_status_t status, void* argument) {
    (void)reader;
    say("liveliness changed for %s: alive %u (%d) not alive %u (%d)", who(argument), status.alive_count,
        status.alive_count_change, status.not_alive_count, status.not_alive_count_change);
}
static void onSampleRejected(dds_entity_t reader, const dds_sample_rejected_status_t status, void* argument) {
    (void)reader;
    say("sample rejected for %s: %u (%d) reason %d", who(argument), status.total_count,
        status.total_count_change, (int)status.last_reason);
}
static void onSampleLost(dds_entity_t reader, const dds_sample_lost_status_t status, void* argument) {
    (void)reader;
    say("sample lost for %s: %u (%d)", who(argument), status.total_count, status.total_count_change);
}
static void onDataAvailable(dds_entity_t reader, void* argument) {
    void* samples[4] = {NULL};
    dds_sample_info_t infos[4];
    const dds_return_t count = dds_take(reader, samples, infos, 4, 4);
    say("data available for %s: %d samples", who(argument), count);
    if (count > 0)
        dds_return_loan(reader, samples, count);
}
static void onDataOnReaders(dds_entity_t subscriber, void* argument) {
    (void)subscriber;
    say("data on readers for %s", who(argument));
}

/* What the program sees of an entity's statuses without reading them away. */
static void showChanges(const char* name, dds_entity_t entity) {
    uint32_t changes = 0, mask = 0;
    const dds_return_t first = dds_get_status_changes(entity, &changes);
    const dds_return_t second = dds_get_status_mask(entity, &mask);
    say("%s: changes %d %x, mask %d %x, triggered %d", name, first, changes, second, mask,
        dds_triggered(entity));
}

#define SHOW_CALLBACK(status)                                                                                \
    do {                                                                                                     \
        dds_on_##status##_fn function = NULL;                                                                \
        void* argument = NULL;                                                                               \
        bool resets = false;                                                                                 \
        dds_lget_##status##_arg(listener, &function, &argument, &resets);                                    \
        if (function != NULL)                                                                                \
            say("  " #status " %s resets %d", (char*)argument, resets);                                      \
    } while (0)

static void showListener(const char* name, dds_entity_t entity) {
    dds_listener_t* listener = dds_create_listener(NULL);
    say("listener of %s: %d", name, dds_get_listener(entity, listener));
    SHOW_CALLBACK(inconsistent_topic);
    SHOW_CALLBACK(liveliness_lost);
    SHOW_CALLBACK(offered_deadline_missed);
    SHOW_CALLBACK(offered_incompatible_qos);
    SHOW_CALLBACK(data_on_readers);
    SHOW_CALLBACK(sample_lost);
    SHOW_CALLBACK(data_available);
    SHOW_CALLBACK(sample_rejected);
    SHOW_CALLBACK(liveliness_changed);
    SHOW_CALLBACK(requested_deadline_missed);
    SHOW_CALLBACK(requested_incompatible_qos);
    SHOW_CALLBACK(publication_matched);
    SHOW_CALLBACK(subscription_matched);
    dds_delete_listener(listener);
}

static dds_entity_t participant, topic;
static dds_entity_t endpoints[32];
static int endpointCount;

static void open(void) {
    const char* domain = getenv("PROGRAM_DOMAIN");
    participant = dds_create_participant(domain != NULL ? (dds_domainid_t)atoi(domain) : 0, NULL, NULL);
    topic = dds_create_topic(participant, &AgentTest_Message_desc, "transcript", NULL, NULL);
    say("participant %d topic %d", participant > 0, topic > 0);
}
/* Readers and writers first, one after the other: the engine would end them in a random order. */
static void close_(void) {
    for (int i = 0; i < endpointCount; ++i) {
        const dds_return_t ended = dds_delete(endpoints[i]);
        if (ended != DDS_RETCODE_BAD_PARAMETER)
            say("endpoint: %d", ended);
    }
    endpointCount = 0;
    say("close: %d", dds_delete(participant));
}

static dds_entity_t remember(dds_entity_t endpoint) {
    endpoints[endpointCount++] = endpoint;
    return endpoint;
}
static dds_entity_t makeReader(dds_entity_t parent, const dds_qos_t* qos, const dds_listener_t* listener) {
    return remember(dds_create_reader(parent, topic, qos, listener));
}
static dds_entity_t makeWriter(dds_entity_t parent, const dds_qos_t* qos, const dds_listener_t* listener) {
    return remember(dds_create_writer(parent, topic, qos, listener));
}

static dds_listener_t* matchedListener(const char* name, bool resets) {
    dds_listener_t* listener = dds_create_listener((void*)name);
    dds_lset_publication_matched_arg(listener, onPublicationMatched, (void*)name, resets);
    dds_lset_subscription_matched_arg(listener, onSubscriptionMatched, (void*)name, resets);
    return listener;
}

static void statusesWithoutListeners(void) {
    SCENE("statuses without listeners");
    open();
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    const dds_entity_t writer = makeWriter(participant, NULL, NULL);
    showChanges("reader", reader);
    showChanges("writer", writer);
    dds_publication_matched_status_t matched;
    memset(&matched, 0, sizeof matched);
    result = dds_get_publication_matched_status(writer, &matched);
    say("read: %d total %u (%d)", result, matched.total_count, matched.total_count_change);
    showChanges("writer", writer);
    result = dds_get_publication_matched_status(writer, &matched);
    say("read: %d total %u (%d)", result, matched.total_count, matched.total_count_change);
    dds_liveliness_changed_status_t alive;
    memset(&alive, 0, sizeof alive);
    result = dds_get_liveliness_changed_status(reader, &alive);
    say("read: %d alive %u (%d)", result, alive.alive_count, alive.alive_count_change);
    showListener("reader", reader);
    showListener("writer", writer);
    showListener("topic", topic);
    close_();
}

static void ownListeners(bool resets) {
    SCENE(resets ? "own listeners that reset" : "own listeners that do not reset");
    open();
    dds_listener_t* listener = matchedListener("own", resets);
    const dds_entity_t reader = makeReader(participant, NULL, listener);
    const dds_entity_t writer = makeWriter(participant, NULL, listener);
    showChanges("reader", reader);
    showChanges("writer", writer);
    const dds_entity_t second = makeReader(participant, NULL, NULL);
    showChanges("writer", writer);
    say("delete: %d", dds_delete(second));
    showChanges("writer", writer);
    showListener("reader", reader);
    showListener("writer", writer);
    say("no listener: %d", dds_set_listener(writer, NULL));
    const dds_entity_t third = makeReader(participant, NULL, NULL);
    showChanges("writer", writer);
    say("delete: %d", dds_delete(third));
    showListener("writer", writer);
    dds_delete_listener(listener);
    close_();
}

static void inheritedListeners(bool resets) {
    SCENE(resets ? "inherited listeners that reset" : "inherited listeners that do not reset");
    open();
    dds_listener_t* listener = matchedListener("participant", resets);
    dds_lset_data_available_arg(listener, onDataAvailable, "participant", resets);
    say("set: %d", dds_set_listener(participant, listener));
    const dds_entity_t publisher = dds_create_publisher(participant, NULL, NULL);
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    const dds_entity_t writer = makeWriter(publisher, NULL, NULL);
    showChanges("reader", reader);
    showChanges("writer", writer);
    showListener("reader", reader);
    showListener("writer", writer);
    showListener("publisher", publisher);
    const AgentTest_Message message = {1, 2};
    say("write: %d", dds_write(writer, &message));
    dds_listener_t* quiet = dds_create_listener("publisher");
    dds_lset_publication_matched(quiet, onPublicationMatchedQuiet);
    say("set on the publisher: %d", dds_set_listener(publisher, quiet));
    showListener("writer", writer);
    const dds_entity_t second = makeReader(participant, NULL, NULL);
    showChanges("writer", writer);
    say("take from the participant: %d", dds_set_listener(participant, NULL));
    showListener("reader", reader);
    showListener("writer", writer);
    say("delete: %d", dds_delete(second));
    showChanges("writer", writer);
    say("take from the publisher: %d", dds_set_listener(publisher, NULL));
    const dds_entity_t third = makeReader(participant, NULL, NULL);
    showChanges("writer", writer);
    showListener("writer", writer);
    dds_publication_matched_status_t matched;
    memset(&matched, 0, sizeof matched);
    result = dds_get_publication_matched_status(writer, &matched);
    say("read: %d total %u (%d)", result, matched.total_count, matched.total_count_change);
    say("set on the participant again: %d", dds_set_listener(participant, listener));
    showListener("writer", writer);
    showListener("third", third);
    say("delete: %d", dds_delete(third));
    dds_delete_listener(listener);
    dds_delete_listener(quiet);
    close_();
}

static void listenersAboveParticipants(void) {
    SCENE("listeners above participants");
    open();
    const dds_entity_t domain = dds_get_parent(participant);
    dds_listener_t* listener = dds_create_listener(NULL);
    dds_lset_subscription_matched_arg(listener, onSubscriptionMatched, "domain", false);
    say("set on the domain: %d", dds_set_listener(domain, listener));
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    const dds_entity_t writer = makeWriter(participant, NULL, NULL);
    showListener("reader", reader);
    say("own empty listener: %d", dds_set_listener(reader, NULL));
    showListener("reader", reader);
    say("take from the domain: %d", dds_set_listener(domain, NULL));
    say("delete: %d", dds_delete(writer));
    showListener("reader", reader);
    say("set on the engine: %d", dds_set_listener(DDS_CYCLONEDDS_HANDLE, listener));
    say("own empty listener: %d", dds_set_listener(reader, NULL));
    showListener("reader", reader);
    const dds_entity_t second = makeWriter(participant, NULL, NULL);
    say("take from the engine: %d %d", dds_set_listener(DDS_CYCLONEDDS_HANDLE, NULL), second > 0);
    dds_delete_listener(listener);
    close_();
}

static void laterListenersAreMerged(void) {
    SCENE("listeners set later");
    open();
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    const dds_entity_t writer = makeWriter(participant, NULL, NULL);
    showChanges("reader", reader);
    dds_listener_t* listener = dds_create_listener("data");
    dds_lset_data_available(listener, onDataAvailable);
    say("set: %d", dds_set_listener(reader, listener));
    showChanges("reader", reader);
    showListener("reader", reader);
    const AgentTest_Message message = {1, 2};
    say("write: %d", dds_write(writer, &message));
    showChanges("reader", reader);
    dds_listener_t* got = dds_create_listener(NULL);
    say("get: %d", dds_get_listener(reader, got));
    dds_lset_subscription_matched_arg(got, onSubscriptionMatched, "changed", true);
    say("set what was got: %d", dds_set_listener(reader, got));
    showListener("reader", reader);
    const dds_entity_t second = makeWriter(participant, NULL, NULL);
    say("delete: %d", dds_delete(second));
    say("write: %d", dds_write(writer, &message));
    dds_delete_listener(listener);
    dds_delete_listener(got);
    close_();
}

static void dataOnReaders(void) {
    SCENE("data on readers");
    open();
    dds_listener_t* listener = dds_create_listener("subscriber");
    dds_lset_data_on_readers(listener, onDataOnReaders);
    const dds_entity_t subscriber = dds_create_subscriber(participant, NULL, listener);
    const dds_entity_t reader = makeReader(subscriber, NULL, NULL);
    const dds_entity_t writer = makeWriter(participant, NULL, NULL);
    const AgentTest_Message message = {1, 2};
    say("write: %d", dds_write(writer, &message));
    showChanges("reader", reader);
    showChanges("subscriber", subscriber);
    showListener("reader", reader);
    dds_delete_listener(listener);
    close_();
}

static void incompatibleQos(void) {
    SCENE("incompatible qos");
    open();
    dds_listener_t* listener = dds_create_listener("own");
    dds_lset_offered_incompatible_qos(listener, onOfferedIncompatibleQos);
    dds_lset_requested_incompatible_qos_arg(listener, onRequestedIncompatibleQos, "own", false);
    dds_qos_t* qos = dds_create_qos();
    dds_qset_reliability(qos, DDS_RELIABILITY_BEST_EFFORT, 0);
    const dds_entity_t writer = makeWriter(participant, qos, listener);
    dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    const dds_entity_t reader = makeReader(participant, qos, listener);
    dds_qset_durability(qos, DDS_DURABILITY_TRANSIENT_LOCAL);
    dds_qset_reliability(qos, DDS_RELIABILITY_BEST_EFFORT, 0);
    const dds_entity_t second = makeReader(participant, qos, listener);
    showChanges("writer", writer);
    showChanges("reader", reader);
    showChanges("second", second);
    dds_requested_incompatible_qos_status_t status;
    memset(&status, 0, sizeof status);
    say("read: %d total %u (%d) policy %u", dds_get_requested_incompatible_qos_status(reader, &status),
        status.total_count, status.total_count_change, status.last_policy_id);
    dds_delete_qos(qos);
    dds_delete_listener(listener);
    close_();
}

static void rejectedAndLost(void) {
    SCENE("rejected samples");
    open();
    dds_listener_t* listener = dds_create_listener("own");
    dds_lset_sample_rejected(listener, onSampleRejected);
    dds_lset_sample_lost(listener, onSampleLost);
    dds_lset_liveliness_changed(listener, onLivelinessChanged);
    dds_qos_t* qos = dds_create_qos();
    dds_qset_reliability(qos, DDS_RELIABILITY_BEST_EFFORT, 0);
    dds_qset_history(qos, DDS_HISTORY_KEEP_ALL, 0);
    dds_qset_resource_limits(qos, 1, 1, 1);
    const dds_entity_t reader = makeReader(participant, qos, listener);
    dds_qset_resource_limits(qos, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED);
    const dds_entity_t writer = makeWriter(participant, qos, NULL);
    for (int i = 0; i < 3; ++i) {
        const AgentTest_Message message = {i, i};
        say("write: %d", dds_write(writer, &message));
    }
    showChanges("reader", reader);
    dds_sample_rejected_status_t status;
    memset(&status, 0, sizeof status);
    result = dds_get_sample_rejected_status(reader, &status);
    say("read: %d total %u (%d)", result, status.total_count, status.total_count_change);
    say("delete: %d", dds_delete(writer));
    dds_delete_qos(qos);
    dds_delete_listener(listener);
    close_();
}

static void waitSets(void) {
    SCENE("wait sets");
    open();
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    const dds_entity_t waitset = dds_create_waitset(participant);
    say("mask: %d", dds_set_status_mask(reader, DDS_SUBSCRIPTION_MATCHED_STATUS));
    say("attach: %d", dds_waitset_attach(waitset, reader, 7));
    dds_attach_t found[2] = {0, 0};
    say("wait: %d", dds_waitset_wait(waitset, found, 2, 0));
    const dds_entity_t writer = makeWriter(participant, NULL, NULL);
    result = dds_waitset_wait(waitset, found, 2, DDS_SECS(10));
    say("wait: %d %d", result, (int)found[0]);
    dds_listener_t* listener = dds_create_listener("later");
    dds_lset_data_available(listener, onDataAvailable);
    say("set: %d", dds_set_listener(reader, listener));
    say("still triggered: %d", dds_waitset_wait(waitset, found, 2, 0));
    dds_subscription_matched_status_t matched;
    memset(&matched, 0, sizeof matched);
    result = dds_get_subscription_matched_status(reader, &matched);
    say("read: %d total %u (%d)", result, matched.total_count, matched.total_count_change);
    say("wait: %d", dds_waitset_wait(waitset, found, 2, 0));
    say("delete: %d", dds_delete(writer));
    say("wait: %d", dds_waitset_wait(waitset, found, 2, DDS_SECS(10)));
    dds_delete_listener(listener);
    close_();
}

static void masks(void) {
    SCENE("status masks");
    open();
    dds_listener_t* listener = matchedListener("own", false);
    const dds_entity_t writer = makeWriter(participant, NULL, listener);
    say("mask: %d", dds_set_status_mask(writer, DDS_LIVELINESS_LOST_STATUS));
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    showChanges("writer", writer);
    say("mask: %d", dds_set_status_mask(reader, 0));
    const dds_entity_t second = makeWriter(participant, NULL, NULL);
    showChanges("reader", reader);
    say("mask: %d %d", dds_set_status_mask(reader, DDS_SUBSCRIPTION_MATCHED_STATUS), second > 0);
    showChanges("reader", reader);
    dds_delete_listener(listener);
    close_();
}

/* Entities of another topic: the engine waits for the listener of this writer when it is to match again. */
static dds_entity_t madeInside;
static void makeInside(dds_entity_t writer, const dds_publication_matched_status_t status, void* argument) {
    (void)writer;
    say("making inside, for %s, at %u", who(argument), status.total_count);
    if (madeInside != 0)
        return;
    depth++;
    const dds_entity_t other = dds_create_topic(participant, &AgentTest_Message_desc, "inside", NULL, NULL);
    madeInside = dds_create_writer(participant, other, NULL, NULL);
    say("made inside: %d %d", other > 0, madeInside > 0);
    depth--;
}

static void makingInsideListeners(void) {
    SCENE("entities made inside a listener");
    open();
    dds_listener_t* listener = dds_create_listener("maker");
    dds_lset_publication_matched(listener, makeInside);
    const dds_entity_t writer = makeWriter(participant, NULL, listener);
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    showChanges("writer", writer);
    say("delete: %d %d", dds_delete(madeInside), reader > 0);
    dds_delete_listener(listener);
    close_();
}

static void endsAndErrors(void) {
    SCENE("ends and errors");
    open();
    dds_entity_t writer = makeWriter(participant, NULL, NULL);
    dds_entity_t publisher = dds_get_parent(writer);
    say("implicit publisher: %d", publisher != participant);
    say("delete: %d", dds_delete(writer));
    say("gone: %d %d", dds_delete(writer), dds_get_parent(publisher));
    writer = makeWriter(participant, NULL, NULL);
    publisher = dds_get_parent(writer);
    result = dds_delete(publisher);
    say("delete the implicit publisher: %d %d", result, dds_get_parent(writer));
    publisher = dds_create_publisher(participant, NULL, NULL);
    writer = makeWriter(publisher, NULL, NULL);
    result = dds_delete(publisher);
    say("delete the publisher: %d %d", result, dds_get_parent(writer));
    const dds_entity_t reader = makeReader(participant, NULL, NULL);
    say("delete a topic in use: %d", dds_delete(topic));
    say("again: %d", dds_delete(topic));
    char name[32] = "";
    result = dds_get_name(dds_get_topic(reader), name, sizeof name);
    say("its name: %d %s", result, name);
    say("bad writer: %d", dds_create_writer(participant, reader, NULL, NULL));
    say("bad parent: %d", dds_create_reader(reader, topic, NULL, NULL));
    say("bad topic: %d", dds_create_topic(participant, &AgentTest_Message_desc, "DCPSx", NULL, NULL));
    say("no name: %d", dds_create_topic(participant, &AgentTest_Message_desc, NULL, NULL, NULL));
    say("bad publisher: %d", dds_create_publisher(reader, NULL, NULL));
    say("bad subscriber: %d", dds_create_subscriber(0, NULL, NULL));
    say("bad delete: %d %d", dds_delete(0), dds_delete(12345));
    say("bad listener: %d %d", dds_set_listener(12345, NULL), dds_get_listener(reader, NULL));
    dds_qos_t* qos = dds_create_qos();
    dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, 10);
    dds_qset_resource_limits(qos, 1, 1, 1);
    say("bad qos: %d", dds_create_reader(participant, topic, qos, NULL));
    dds_delete_qos(qos);
    const dds_entity_t builtin =
        dds_create_reader(participant, DDS_BUILTIN_TOPIC_DCPSPARTICIPANT, NULL, NULL);
    say("builtin reader: %d %d", builtin > 0, dds_delete(builtin));
    dds_entity_t children[16];
    say("children: %d", dds_get_children(participant, children, 16));
    const dds_entity_t condition = dds_create_readcondition(reader, DDS_ANY_STATE);
    say("condition: %d", dds_delete(condition));
    const dds_entity_t found = dds_find_topic(DDS_FIND_SCOPE_PARTICIPANT, participant, "transcript", NULL, 0);
    say("found: %d", found > 0);
    showListener("found", found);
    say("delete found: %d", dds_delete(found));
    const dds_entity_t domain = dds_get_parent(participant);
    say("delete the domain: %d", dds_delete(domain));
    /* Which error depends on whether anybody else in the process uses the engine. */
    say("gone: %d", dds_get_parent(participant) < 0);
    open();
    close_();
}

int main(void) {
    statusesWithoutListeners();
    ownListeners(false);
    ownListeners(true);
    inheritedListeners(false);
    inheritedListeners(true);
    listenersAboveParticipants();
    laterListenersAreMerged();
    dataOnReaders();
    incompatibleQos();
    rejectedAndLost();
    waitSets();
    masks();
    makingInsideListeners();
    endsAndErrors();
    return 23;
}
