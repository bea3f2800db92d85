/* Writes samples of the monitoring's three topics as an application would, on command. Cyclone DDS and idlc's
 * types are all that it knows. Arguments: the monitoring domain, a number from 1 to 255 for the application.
 *
 * A GUID is the application's number and a number of its own; the application itself is 1. Commands, one a
 * line of standard input, each answered by "done"; the end of input ends the program:
 *
 *   match COUNT                        waits until every topic has so many readers
 *   create CLASS GUID OWNER NAME       \xHH in the name is an octet; owner 0 for none
 *   delete GUID
 *   change GUID METRICS
 *   registry NAME                      a snapshot: the application and one participant, 2
 *   host NAME PID                      groups of the application
 *   topic GUID NAME TYPE
 *   matched GUID COUNT                 of a data writer
 *   periodic GUID COUNT                of a data writer
 *   log TEXT
 *   message EPOCH FACILITY SN CATEGORY TEXT
 *   history EPOCH FACILITY SN CATEGORY TEXT    the same in a snapshot
 *   garbage COUNT SIZE                 octets that are no event, in both forms of types
 *   impostor COUNT                     a type of other members
 *   acknowledged                       waits until what was written has arrived
 *   leave                              deletes the participant */
#include <string.h>

#include "Impostor.h"
#include "Monitoring.h"
#include "dds_entities_distribution.h"
#include "dds_logging.h"

static dds_domainid_t domain;
static dds_entity_t participant;
static dds_entity_t events, periodics, logs;
static dds_entity_t delimited, plain, otherMembers;
static uint8_t application;
static uint64_t epoch;

static void setGuid(DDS_Monitoring_GUID_t guid, int number) {
    memset(guid, 0, sizeof(DDS_Monitoring_GUID_t));
    if (number == 0)
        return;
    guid[0] = application;
    guid[15] = (uint8_t)number;
}

static void setEvent(DDS_Monitoring_Event* event, uint32_t classId, int number) {
    memset(event, 0, sizeof *event);
    setGuid(event->resource_guid, number);
    setGuid(event->info.root_resource_guid, 1);
    event->info.epoch_resource = ++epoch;
    event->info.epoch_metric = 7;
    event->value._d = classId;
}

/* Room for a bounded text behind a pointer. */
typedef char Bounded[256];
static void setBounded(Bounded* text, const char* value) {
    CHECK(snprintf(*text, sizeof *text, "%s", value) < (int)sizeof *text);
}

static void writeSample(dds_entity_t writer, const void* sample) {
    CHECK(dds_write(writer, sample) == DDS_RETCODE_OK);
}

/* Waits until the writer has so many readers. */
static void match(dds_entity_t writer, uint32_t count) {
    const dds_time_t deadline = dds_time() + DDS_SECS(30);
    dds_publication_matched_status_t status = {0};
    while (status.current_count < count) {
        CHECK(dds_time() < deadline);
        CHECK(dds_get_publication_matched_status(writer, &status) == DDS_RETCODE_OK);
        if (status.current_count < count)
            dds_sleepfor(DDS_MSECS(10));
    }
}

static void update(DDS_Monitoring_ResourceUpdate* change) {
    DDS_Monitoring_Event event;
    setEvent(&event, CLASS_APPLICATION, 1);
    event.value._u.application.resource_update = change;
    writeSample(events, &event);
}

static uint32_t classOf(const char* name) {
    static const struct {
        const char* name;
        uint32_t id;
    } classes[] = {{"application", CLASS_APPLICATION}, {"participant", CLASS_PARTICIPANT},
        {"topic", CLASS_TOPIC}, {"publisher", CLASS_PUBLISHER}, {"writer", CLASS_DATA_WRITER},
        {"unknown", 12345}};
    for (size_t i = 0; i < sizeof classes / sizeof *classes; ++i) {
        if (strcmp(classes[i].name, name) == 0)
            return classes[i].id;
    }
    fprintf(stderr, "no class %s\n", name);
    exit(1);
}

static void unescape(char* text) {
    char* to = text;
    for (const char* from = text; *from != '\0'; ++to) {
        unsigned octet = 0;
        if (sscanf(from, "\\x%2x", &octet) == 1) {
            *to = (char)octet;
            from += 4;
        } else
            *to = *from++;
    }
    *to = '\0';
}

static void create(const char* className, int guid, int owner, char* name) {
    uint32_t metrics[] = {11, 12, 13};
    DDS_Monitoring_ResourceUpdate change;
    memset(&change, 0, sizeof change);
    change._d = DDS_Monitoring_RESOURCE_UPDATE_CREATION_KIND;
    DDS_Monitoring_NewResourceUpdate* created = &change._u.new_resource;
    setGuid(created->guid, guid);
    setGuid(created->user_resource_guid, guid);
    setGuid(created->owner_resource_guid, owner);
    created->class_id = classOf(className);
    unescape(name);
    CHECK(snprintf(created->name, sizeof created->name, "%s", name) < (int)sizeof created->name);
    created->metric_ids._buffer = metrics;
    created->metric_ids._maximum = created->metric_ids._length = 3;
    update(&change);
}

static void removeResource(int guid) {
    DDS_Monitoring_ResourceUpdate change;
    memset(&change, 0, sizeof change);
    change._d = DDS_Monitoring_RESOURCE_UPDATE_DELETION_KIND;
    setGuid(change._u.delete_resource.guid, guid);
    update(&change);
}

static void changeMetrics(int guid, int count) {
    uint32_t metrics[16] = {0};
    CHECK(count <= 16);
    DDS_Monitoring_ResourceUpdate change;
    memset(&change, 0, sizeof change);
    change._d = DDS_Monitoring_RESOURCE_UPDATE_CHANGE_KIND;
    setGuid(change._u.change_resource.guid, guid);
    change._u.change_resource.metric_ids._buffer = metrics;
    change._u.change_resource.metric_ids._maximum = change._u.change_resource.metric_ids._length =
        (uint32_t)count;
    update(&change);
}

static void registry(const char* name) {
    DDS_Monitoring_Resource resources[2];
    memset(resources, 0, sizeof resources);
    DDS_Monitoring_GUID_t child;
    setGuid(child, 2);
    setGuid(resources[0].guid, 1);
    resources[0].class_id = CLASS_APPLICATION;
    snprintf(resources[0].name, sizeof resources[0].name, "%s", name);
    resources[0].children_guids._buffer = &child;
    resources[0].children_guids._maximum = resources[0].children_guids._length = 1;
    setGuid(resources[1].guid, 2);
    setGuid(resources[1].owner_guid, 1);
    resources[1].class_id = CLASS_PARTICIPANT;
    snprintf(resources[1].name, sizeof resources[1].name, "registered");
    DDS_Monitoring_ResourceRegistry all;
    memset(&all, 0, sizeof all);
    all.resources._buffer = resources;
    all.resources._maximum = all.resources._length = 2;
    DDS_Monitoring_Event event;
    setEvent(&event, CLASS_APPLICATION, 1);
    event.info.is_snapshot = true;
    event.value._u.application.resource_registry = &all;
    writeSample(events, &event);
}

static void host(const char* name, unsigned long long process) {
    Bounded hostname;
    setBounded(&hostname, name);
    uint64_t id = process;
    DDS_Monitoring_Event event;
    setEvent(&event, CLASS_APPLICATION, 1);
    event.value._u.application.hostname = &hostname;
    event.value._u.application.process_id = &id;
    writeSample(events, &event);
}

static void topic(int guid, char* name, const char* type) {
    Bounded typeName;
    setBounded(&typeName, type);
    unescape(name);
    DDS_Monitoring_Event event;
    setEvent(&event, CLASS_TOPIC, guid);
    event.value._u.topic.topic_name = name;
    event.value._u.topic.registered_type_name = &typeName;
    writeSample(events, &event);
}

static void matched(int guid, int count) {
    DDS_Monitoring_PublicationMatchedStatus status;
    memset(&status, 0, sizeof status);
    status.total_count = status.current_count = status.current_count_peak = count;
    DDS_Monitoring_Event event;
    setEvent(&event, CLASS_DATA_WRITER, guid);
    event.value._u.data_writer.status_publication_matched = &status;
    writeSample(events, &event);
}

static void periodic(int guid, int count) {
    DDS_Monitoring_DataWriterCacheStatus status;
    memset(&status, 0, sizeof status);
    status.sample_count = count;
    DDS_Monitoring_Periodic sample;
    memset(&sample, 0, sizeof sample);
    setGuid(sample.resource_guid, guid);
    sample.value._d = CLASS_DATA_WRITER;
    sample.value._u.data_writer.status_cache = &status;
    writeSample(periodics, &sample);
}

static void writeMessage(
    bool isSnapshot, uint64_t logEpoch, int facility, uint64_t sn, char* category, char* text) {
    unescape(text);
    char key[] = "Zentrox";
    char name[] = "category";
    char id[] = "12";
    DDS_Monitoring_NameValuePair pair = {name, category};
    DDS_Monitoring_StructuredDataMapEntry entry;
    memset(&entry, 0, sizeof entry);
    entry.key = key;
    entry.pairs._maximum = entry.pairs._length = 1;
    entry.pairs._buffer = &pair;
    DDS_Monitoring_LoggingMessage message;
    memset(&message, 0, sizeof message);
    message.sn = sn;
    message.facility = (uint8_t)facility;
    message.severity = DDS_Monitoring_ERROR_LEVEL;
    message.msgid = id;
    message.message = text;
    message.structured_data._maximum = message.structured_data._length = 1;
    message.structured_data._buffer = &entry;
    dds_sequence_DDS_Monitoring_LogReference update = {1, 1, &message, false};
    dds_sequence_DDS_Monitoring_LoggingMessage snapshot = {1, 1, &message, false};
    DDS_Monitoring_Logging sample;
    memset(&sample, 0, sizeof sample);
    setGuid(sample.info.root_resource_guid, 1);
    sample.info.epoch = logEpoch;
    sample.info.is_snapshot = isSnapshot;
    if (isSnapshot)
        sample.snapshot = &snapshot;
    else
        sample.update = &update;
    writeSample(logs, &sample);
}

static void logMessage(char* text) {
    unescape(text);
    char id[] = "the id";
    DDS_Monitoring_LogReference message;
    memset(&message, 0, sizeof message);
    message.sn = 41;
    message.severity = DDS_Monitoring_WARNING_LEVEL;
    message.msgid = id;
    message.message = text;
    dds_sequence_DDS_Monitoring_LogReference messages = {1, 1, &message, false};
    DDS_Monitoring_Logging sample;
    memset(&sample, 0, sizeof sample);
    setGuid(sample.info.root_resource_guid, 1);
    sample.update = &messages;
    writeSample(logs, &sample);
}

/* With a participant of its own: a topic has one type in a participant. */
static dds_entity_t impostor(dds_entity_t* writer, const dds_topic_descriptor_t* type) {
    if (*writer == 0) {
        const dds_entity_t other = dds_create_participant(domain, NULL, NULL);
        CHECK(other > 0);
        *writer = Monitoring_writer(other, Monitoring_topic(other, EVENT_TOPIC, EVENT_TYPE, type), true);
        match(*writer, 1);
    }
    return *writer;
}

/* Behind its length and the first octets, which are read as a GUID, comes a length beyond all bounds. */
static void garbage(int count, uint32_t size) {
    uint8_t* octets = malloc(size + 1);
    CHECK(octets != NULL);
    for (int i = 0; i < count; ++i) {
        for (uint32_t at = 0; at < size; ++at)
            octets[at] = at < 16 ? 0xff : (uint8_t)(at * 31 + (uint32_t)i * 17);
        const Impostor_Delimited one = {{size, size, octets, false}};
        writeSample(impostor(&delimited, &Impostor_Delimited_desc), &one);
        const Impostor_Plain other = {{size, size, octets, false}};
        writeSample(impostor(&plain, &Impostor_Plain_desc), &other);
    }
    free(octets);
}

static void writeOtherMembers(int count) {
    char name[] = "no event at all";
    for (int i = 0; i < count; ++i) {
        const Impostor_OtherMembers sample = {name, i, 0.5};
        writeSample(impostor(&otherMembers, &Impostor_OtherMembers_desc), &sample);
    }
}

static void awaitAcknowledgment(void) {
    const dds_entity_t writers[] = {events, logs, delimited, plain, otherMembers};
    for (size_t i = 0; i < sizeof writers / sizeof *writers; ++i) {
        if (writers[i] != 0)
            CHECK(dds_wait_for_acks(writers[i], DDS_SECS(30)) == DDS_RETCODE_OK);
    }
}

static void open(void) {
    participant = dds_create_participant(domain, NULL, NULL);
    CHECK(participant > 0);
    events = Monitoring_writer(participant,
        Monitoring_topic(participant, EVENT_TOPIC, EVENT_TYPE, &DDS_Monitoring_Event_desc), true);
    periodics = Monitoring_writer(participant,
        Monitoring_topic(participant, PERIODIC_TOPIC, PERIODIC_TYPE, &DDS_Monitoring_Periodic_desc), false);
    logs = Monitoring_writer(participant,
        Monitoring_topic(participant, LOGGING_TOPIC, LOGGING_TYPE, &DDS_Monitoring_Logging_desc), true);
}

static void obey(const char* line) {
    char a[256] = "";
    char b[256] = "";
    int m = 0;
    int n = 0;
    unsigned long long big = 0;
    if (sscanf(line, "match %d", &m) == 1) {
        match(events, (uint32_t)m);
        match(periodics, (uint32_t)m);
        match(logs, (uint32_t)m);
    } else if (sscanf(line, "create %255s %d %d %255[^\n]", a, &m, &n, b) == 4)
        create(a, m, n, b);
    else if (sscanf(line, "delete %d", &m) == 1)
        removeResource(m);
    else if (sscanf(line, "change %d %d", &m, &n) == 2)
        changeMetrics(m, n);
    else if (sscanf(line, "registry %255s", a) == 1)
        registry(a);
    else if (sscanf(line, "host %255s %llu", a, &big) == 2)
        host(a, big);
    else if (sscanf(line, "topic %d %255s %255s", &m, a, b) == 3)
        topic(m, a, b);
    else if (sscanf(line, "matched %d %d", &m, &n) == 2)
        matched(m, n);
    else if (sscanf(line, "periodic %d %d", &m, &n) == 2)
        periodic(m, n);
    else if (sscanf(line, "message %llu %d %d %255s %255[^\n]", &big, &m, &n, a, b) == 5)
        writeMessage(false, big, m, (uint64_t)n, a, b);
    else if (sscanf(line, "history %llu %d %d %255s %255[^\n]", &big, &m, &n, a, b) == 5)
        writeMessage(true, big, m, (uint64_t)n, a, b);
    else if (sscanf(line, "log %255[^\n]", a) == 1)
        logMessage(a);
    else if (sscanf(line, "garbage %d %d", &m, &n) == 2)
        garbage(m, (uint32_t)n);
    else if (sscanf(line, "impostor %d", &m) == 1)
        writeOtherMembers(m);
    else if (strcmp(line, "acknowledged") == 0)
        awaitAcknowledgment();
    else if (strcmp(line, "leave") == 0)
        CHECK(dds_delete(participant) == DDS_RETCODE_OK);
    else {
        fprintf(stderr, "unknown command: %s\n", line);
        exit(1);
    }
}

int main(int argc, char** argv) {
    CHECK(argc == 3);
    setvbuf(stdout, NULL, _IOLBF, 0);
    domain = (dds_domainid_t)atoi(argv[1]);
    application = (uint8_t)atoi(argv[2]);
    open();
    for (char line[1024]; fgets(line, sizeof line, stdin) != NULL;) {
        line[strcspn(line, "\n")] = '\0';
        obey(line);
        printf("done %s\n", line);
    }
    return dds_delete(DDS_CYCLONEDDS_HANDLE) == DDS_RETCODE_OK ? 0 : 1;
}
