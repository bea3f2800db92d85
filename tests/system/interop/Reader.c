/* Reads the events of a monitoring domain (first argument) and prints a line for each thing that a sample
 * tells, until it is killed. Cyclone DDS and idlc's types are all that it knows. */
#include "Monitoring.h"
#include "dds_entities_distribution.h"

typedef struct Context {
    const DDS_Monitoring_Event* event;
    const char* about; /* class of the resource that the event is about */
} Context;

static void printGuid(const char* key, const DDS_Monitoring_GUID_t guid) {
    printf(" %s=", key);
    for (int i = 0; i < 16; ++i)
        printf("%02x", guid[i]);
}

static void begin(const Context* context, const char* what) {
    printf("%s %s", what, context->about);
    printGuid("resource", context->event->resource_guid);
}

static void end(const Context* context) {
    const DDS_Monitoring_EventInfo* info = &context->event->info;
    printGuid("root", info->root_resource_guid);
    printf(" epochs=%llu/%llu snapshot=%d\n", (unsigned long long)info->epoch_resource,
        (unsigned long long)info->epoch_metric, info->is_snapshot);
}

static const char* className(uint32_t id) {
    switch (id) {
    case CLASS_APPLICATION:
        return "application";
    case CLASS_PARTICIPANT:
        return "participant";
    case CLASS_TOPIC:
        return "topic";
    case CLASS_PUBLISHER:
        return "publisher";
    case CLASS_SUBSCRIBER:
        return "subscriber";
    case CLASS_DATA_WRITER:
        return "writer";
    case CLASS_DATA_READER:
        return "reader";
    default:
        return "unknown";
    }
}

static void guidGroup(const Context* context, DDS_Monitoring_GUID_t* guid) {
    if (guid == NULL)
        return;
    begin(context, "dds_guid");
    printGuid("value", *guid);
    end(context);
}

static void textGroup(const Context* context, const char* group, const char* text) {
    if (text == NULL)
        return;
    begin(context, group);
    printf(" value=%s", text);
    end(context);
}

/* A bounded text lies in an array behind a pointer. */
static void boundedGroup(const Context* context, const char* group, char (*text)[256]) {
    if (text != NULL)
        textGroup(context, group, *text);
}

static void matchedGroup(const Context* context, const char* group,
    const struct DDS_Monitoring_PublicationMatchedStatus* publication,
    const struct DDS_Monitoring_SubscriptionMatchedStatus* subscription) {
    if (publication == NULL && subscription == NULL)
        return;
    begin(context, group);
    if (publication != NULL)
        printf(" total=%d current=%d peak=%d", publication->total_count, publication->current_count,
            publication->current_count_peak);
    else
        printf(" total=%d current=%d peak=%d", subscription->total_count, subscription->current_count,
            subscription->current_count_peak);
    end(context);
}

static void update(const Context* context, const DDS_Monitoring_ResourceUpdate* change) {
    switch (change->_d) {
    case DDS_Monitoring_RESOURCE_UPDATE_CREATION_KIND: {
        const DDS_Monitoring_NewResourceUpdate* created = &change->_u.new_resource;
        begin(context, "created");
        printf(" class=%s name=%s metrics=%u", className(created->class_id), created->name,
            created->metric_ids._length);
        printGuid("guid", created->guid);
        printGuid("owner", created->owner_resource_guid);
        end(context);
        return;
    }
    case DDS_Monitoring_RESOURCE_UPDATE_DELETION_KIND:
        begin(context, "deleted");
        printGuid("guid", change->_u.delete_resource.guid);
        end(context);
        return;
    default:
        begin(context, "changed");
        printGuid("guid", change->_u.change_resource.guid);
        printf(" metrics=%u", change->_u.change_resource.metric_ids._length);
        end(context);
        return;
    }
}

static void registry(const Context* context, const DDS_Monitoring_ResourceRegistry* all) {
    begin(context, "registry");
    printf(" resources=%u", all->resources._length);
    end(context);
    for (uint32_t i = 0; i < all->resources._length; ++i) {
        const DDS_Monitoring_Resource* resource = &all->resources._buffer[i];
        begin(context, "registered");
        printf(" class=%s name=%s metrics=%u children=%u", className(resource->class_id), resource->name,
            resource->metric_ids._length, resource->children_guids._length);
        printGuid("guid", resource->guid);
        printGuid("owner", resource->owner_guid);
        end(context);
    }
}

static void application(const Context* context, const DDS_Monitoring_ApplicationEvent* value) {
    if (value->resource_registry != NULL)
        registry(context, value->resource_registry);
    if (value->resource_update != NULL)
        update(context, value->resource_update);
    boundedGroup(context, "hostname", value->hostname);
    if (value->process_id != NULL) {
        begin(context, "process_id");
        printf(" value=%llu", (unsigned long long)*value->process_id);
        end(context);
    }
}

static void participantEvent(const Context* context, const DDS_Monitoring_ParticipantEvent* value) {
    guidGroup(context, value->dds_guid);
    boundedGroup(context, "platform", value->platform);
    if (value->domain_id != NULL) {
        begin(context, "domain_id");
        printf(" value=%d", *value->domain_id);
        end(context);
    }
    if (value->product_version != NULL) {
        begin(context, "product_version");
        printf(" value=%d.%d.%d", value->product_version->major, value->product_version->minor,
            value->product_version->release);
        end(context);
    }
}

static void print(const DDS_Monitoring_Event* event) {
    const Context context = {event, className(event->value._d)};
    switch (event->value._d) {
    case CLASS_APPLICATION:
        application(&context, &event->value._u.application);
        return;
    case CLASS_PARTICIPANT:
        participantEvent(&context, &event->value._u.domain_participant);
        return;
    case CLASS_TOPIC: {
        const DDS_Monitoring_TopicEvent* topic = &event->value._u.topic;
        guidGroup(&context, topic->dds_guid);
        textGroup(&context, "topic_name", topic->topic_name);
        boundedGroup(&context, "registered_type_name", topic->registered_type_name);
        return;
    }
    case CLASS_DATA_WRITER: {
        const DDS_Monitoring_DataWriterEvent* writer = &event->value._u.data_writer;
        guidGroup(&context, writer->dds_guid);
        textGroup(&context, "topic_name", writer->topic_name);
        boundedGroup(&context, "registered_type_name", writer->registered_type_name);
        matchedGroup(&context, "publication_matched", writer->status_publication_matched, NULL);
        matchedGroup(&context, "publication_matched_1", writer->status_publication_matched_1, NULL);
        return;
    }
    case CLASS_DATA_READER: {
        const DDS_Monitoring_DataReaderEvent* reader = &event->value._u.data_reader;
        guidGroup(&context, reader->dds_guid);
        textGroup(&context, "topic_name", reader->topic_name);
        boundedGroup(&context, "registered_type_name", reader->registered_type_name);
        matchedGroup(&context, "subscription_matched", NULL, reader->status_subscription_matched);
        matchedGroup(&context, "subscription_matched_1", NULL, reader->status_subscription_matched_1);
        return;
    }
    case CLASS_PUBLISHER:
        guidGroup(&context, event->value._u.publisher.dds_guid);
        return;
    case CLASS_SUBSCRIBER:
        guidGroup(&context, event->value._u.subscriber.dds_guid);
        return;
    default:
        begin(&context, "other");
        end(&context);
        return;
    }
}

int main(int argc, char** argv) {
    CHECK(argc == 2);
    setvbuf(stdout, NULL, _IOLBF, 0);
    const dds_entity_t participant = dds_create_participant((dds_domainid_t)atoi(argv[1]), NULL, NULL);
    CHECK(participant > 0);
    const dds_entity_t topic =
        Monitoring_topic(participant, EVENT_TOPIC, EVENT_TYPE, &DDS_Monitoring_Event_desc);
    const dds_entity_t reader = Monitoring_reader(participant, topic, true);
    const dds_entity_t waitset = dds_create_waitset(participant);
    const dds_entity_t condition = dds_create_readcondition(reader, DDS_ANY_STATE);
    CHECK(dds_waitset_attach(waitset, condition, 0) == DDS_RETCODE_OK);
    puts("reading");
    for (;;) {
        CHECK(dds_waitset_wait(waitset, NULL, 0, DDS_SECS(1)) >= 0);
        void* samples[64] = {NULL};
        dds_sample_info_t infos[64];
        const dds_return_t count = dds_take(reader, samples, infos, 64, 64);
        CHECK(count >= 0);
        for (int i = 0; i < count; ++i) {
            if (infos[i].valid_data)
                print(samples[i]);
        }
        if (count > 0)
            CHECK(dds_return_loan(reader, samples, count) == DDS_RETCODE_OK);
    }
}
