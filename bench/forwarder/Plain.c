#include "Plain.h"

#include <string.h>

#include "Monitoring.h"
#include "Stamp.h"
#include "dds/ddsc/dds_public_impl.h"
#include "dds_entities_distribution.h"

enum { samplesInTake = 256 };

typedef struct Topic {
    const char* name;
    const char* typeName;
    const dds_topic_descriptor_t* type;
    bool isReliable; /* as our readers of it are */
    void* (*make)(void);
    void (*setNumber)(void* sample, uint32_t number);
    uint32_t (*numberOf)(const void* sample);
} Topic;

struct PlainWriter {
    const Topic* topic;
    dds_entity_t writer;
    void* sample;
};

struct PlainReader {
    const Topic* topic;
    dds_entity_t reader;
    dds_entity_t waitSet;
};

static void* zeros(size_t size) {
    void* memory = calloc(1, size);
    CHECK(memory != NULL);
    return memory;
}

static void* makeEvent(void) {
    DDS_Monitoring_Event* event = zeros(sizeof *event);
    memset(event->resource_guid, 10, sizeof event->resource_guid);
    memset(event->info.root_resource_guid, 40, sizeof event->info.root_resource_guid);
    event->info.epoch_resource = 1234;
    event->value._d = CLASS_DATA_WRITER;
    DDS_Monitoring_PublicationMatchedStatus* status = zeros(sizeof *status);
    status->current_count = 5;
    status->current_count_peak = 9;
    event->value._u.data_writer.status_publication_matched_1 = status;
    return event;
}
static void setNumberOfEvent(void* sample, uint32_t number) {
    DDS_Monitoring_Event* event = sample;
    event->value._u.data_writer.status_publication_matched_1->total_count = (int32_t)number;
}
static uint32_t numberOfEvent(const void* sample) {
    const DDS_Monitoring_Event* event = sample;
    CHECK(event->value._d == CLASS_DATA_WRITER);
    return (uint32_t)event->value._u.data_writer.status_publication_matched_1->total_count;
}

static void* makePeriodic(void) {
    DDS_Monitoring_Periodic* periodic = zeros(sizeof *periodic);
    memset(periodic->resource_guid, 10, sizeof periodic->resource_guid);
    periodic->value._d = CLASS_DATA_WRITER;
    DDS_Monitoring_DataWriterPeriodic* writer = &periodic->value._u.data_writer;
    writer->status_protocol_2 = zeros(sizeof *writer->status_protocol_2);
    writer->status_protocol_2->pushed_sample_count = 1000000;
    writer->status_protocol_2->pushed_sample_bytes = 64000000;
    writer->status_cache_2 = zeros(sizeof *writer->status_cache_2);
    return periodic;
}
static void setNumberOfPeriodic(void* sample, uint32_t number) {
    DDS_Monitoring_Periodic* periodic = sample;
    periodic->value._u.data_writer.status_cache_2->sample_count = number;
}
static uint32_t numberOfPeriodic(const void* sample) {
    const DDS_Monitoring_Periodic* periodic = sample;
    CHECK(periodic->value._d == CLASS_DATA_WRITER);
    return (uint32_t)periodic->value._u.data_writer.status_cache_2->sample_count;
}

static void* makeStamp(void) {
    return zeros(sizeof(BenchForwarder_Stamp));
}
static void setNumberOfStamp(void* sample, uint32_t number) {
    ((BenchForwarder_Stamp*)sample)->number = number;
}
static uint32_t numberOfStamp(const void* sample) {
    return ((const BenchForwarder_Stamp*)sample)->number;
}

static const Topic topics[] = {
    [PLAIN_EVENT] = {EVENT_TOPIC, EVENT_TYPE, &DDS_Monitoring_Event_desc, true, makeEvent, setNumberOfEvent,
        numberOfEvent},
    [PLAIN_PERIODIC] = {PERIODIC_TOPIC, PERIODIC_TYPE, &DDS_Monitoring_Periodic_desc, false, makePeriodic,
        setNumberOfPeriodic, numberOfPeriodic},
    [PLAIN_STAMP] = {"Stamp", "BenchForwarder::Stamp", &BenchForwarder_Stamp_desc, true, makeStamp,
        setNumberOfStamp, numberOfStamp},
};

static dds_entity_t newParticipant(int domain) {
    const dds_entity_t participant = dds_create_participant((dds_domainid_t)domain, NULL, NULL);
    CHECK(participant > 0);
    return participant;
}

void Plain_batchWrites(void) {
    dds_write_set_batch(true);
}

PlainWriter* PlainWriter_new(int domain, PlainTopic topic) {
    PlainWriter* self = zeros(sizeof *self);
    self->topic = &topics[topic];
    const dds_entity_t participant = newParticipant(domain);
    self->writer = Monitoring_writer(participant,
        Monitoring_topic(participant, self->topic->name, self->topic->typeName, self->topic->type),
        self->topic->isReliable);
    self->sample = self->topic->make();
    return self;
}

void PlainWriter_waitForReader(const PlainWriter* self) {
    dds_publication_matched_status_t status = {0};
    while (status.current_count == 0) {
        dds_sleepfor(DDS_MSECS(10));
        CHECK(dds_get_publication_matched_status(self->writer, &status) == DDS_RETCODE_OK);
    }
}

void PlainWriter_write(PlainWriter* self, uint32_t number) {
    self->topic->setNumber(self->sample, number);
    CHECK(dds_write(self->writer, self->sample) == DDS_RETCODE_OK);
}

void PlainWriter_flush(PlainWriter* self) {
    dds_write_flush(self->writer);
}

PlainReader* PlainReader_new(int domain, PlainTopic topic) {
    PlainReader* self = zeros(sizeof *self);
    self->topic = &topics[topic];
    const dds_entity_t participant = newParticipant(domain);
    self->reader = Monitoring_reader(participant,
        Monitoring_topic(participant, self->topic->name, self->topic->typeName, self->topic->type),
        self->topic->isReliable);
    self->waitSet = dds_create_waitset(participant);
    CHECK(self->waitSet > 0);
    const dds_entity_t condition = dds_create_readcondition(self->reader, DDS_ANY_STATE);
    CHECK(condition > 0);
    CHECK(dds_waitset_attach(self->waitSet, condition, 0) == DDS_RETCODE_OK);
    return self;
}

size_t PlainReader_take(PlainReader* self, Plain_Visit visit, void* context) {
    CHECK(dds_waitset_wait(self->waitSet, NULL, 0, DDS_MSECS(100)) >= 0);
    size_t total = 0;
    for (;;) {
        void* samples[samplesInTake] = {NULL};
        dds_sample_info_t infos[samplesInTake];
        const dds_return_t count = dds_take(self->reader, samples, infos, samplesInTake, samplesInTake);
        CHECK(count >= 0);
        for (int i = 0; i < count; ++i) {
            if (infos[i].valid_data) {
                visit(context, self->topic->numberOf(samples[i]));
                ++total;
            }
        }
        if (count == 0)
            return total;
        CHECK(dds_return_loan(self->reader, samples, count) == DDS_RETCODE_OK);
    }
}
