#include "bench/types/Samples.hpp"

#include <cstdlib>
#include <cstring>
#include <string>

#include "src/dataModel/MetricCatalogue.h"
#include "zddscore/heap.h"

namespace bench {

namespace {

constexpr DDS_Long loggingMessages = 8;
constexpr DDS_Long metricIds = 20;

void fillGuid(DDS_Monitoring_GUID_t& guid, unsigned char first) {
    for (unsigned i = 0; i < sizeof guid; ++i)
        guid[i] = static_cast<DDS_Octet>(first + i);
}

// A sample that lacks a part would make a benchmark that lies.
template <typename T> T* need(T* made) {
    if (made == nullptr)
        std::abort();
    return made;
}
void need(bool isDone) {
    if (!isDone)
        std::abort();
}

void setText(char*& text, const std::string& value) {
    (void)need(DDS_String_replace(&text, value.c_str()));
}

DDS_Monitoring_Event* makeEvent(DDS_UnsignedLong classId) {
    DDS_Monitoring_Event* event = need(DDS_Monitoring_EventPluginSupport_create_data());
    fillGuid(event->resource_guid, 10);
    fillGuid(event->info.root_resource_guid, 40);
    event->info.epoch_resource = 1234;
    event->value._d = static_cast<DDS_Long>(classId);
    return event;
}

void fillMessage(DDS_Monitoring_LoggingMessage& message, DDS_UnsignedLongLong number) {
    message.sn = number;
    message.facility = 23;
    message.severity = DDS_Monitoring_LoggingLevel_WARNING_LEVEL;
    message.timestamp.sec = 1'700'000'000;
    message.timestamp.nanosec = 123'456'789;
    setText(message.hostname, "node-17.plant.example.org");
    setText(message.procid, "48213");
    setText(message.msgid, "writer");
    setText(message.message,
        "could not send " + std::to_string(1000 + number) + " samples: no route to 10.1.2.3");
    need(DDS_Monitoring_StructuredDataMapEntrySeq_ensure_length(&message.structured_data, 1, 1));
    auto* entry = DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&message.structured_data, 0);
    setText(entry->key, "origin");
    need(DDS_Monitoring_NameValuePairSeq_ensure_length(&entry->pairs, 1, 1));
    auto* pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry->pairs, 0);
    setText(pair->name, "thread");
    setText(pair->value, "receive");
}

} // namespace

DDS_Monitoring_Event* makeMetricEvent() {
    DDS_Monitoring_Event* event = makeEvent(ORX_MONITORING_DATA_WRITER_CLASS_ID);
    auto* status = need(DDS_Monitoring_PublicationMatchedStatusPluginSupport_create_data());
    status->total_count = 17;
    status->current_count = 5;
    status->current_count_peak = 9;
    std::memset(&status->last_subscription_handle, 7, sizeof status->last_subscription_handle);
    event->value._u.data_writer.status_publication_matched_1 = status;
    return event;
}

DDS_Monitoring_Event* makeCreationEvent() {
    DDS_Monitoring_Event* event = makeEvent(ORX_MONITORING_APPLICATION_CLASS_ID);
    auto* update = need(DDS_Monitoring_ResourceUpdatePluginSupport_create_data());
    event->value._u.application.resource_update = update;
    update->_d = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND;
    auto& created = update->_u.new_resource;
    fillGuid(created.guid, 60);
    fillGuid(created.user_resource_guid, 80);
    fillGuid(created.owner_resource_guid, 100);
    created.class_id = ORX_MONITORING_DATA_WRITER_CLASS_ID;
    setText(created.name, "rt_chatter.0110f3a2c4d5e6f700000503");
    need(DDS_UnsignedLongSeq_ensure_length(&created.metric_ids, metricIds, metricIds));
    for (DDS_Long i = 0; i < metricIds; ++i)
        *DDS_UnsignedLongSeq_get_reference(&created.metric_ids, i) =
            9'999'991U * static_cast<DDS_UnsignedLong>(i);
    return event;
}

DDS_Monitoring_Logging* makeLoggingUpdate() {
    DDS_Monitoring_Logging* logging = need(DDS_Monitoring_LoggingPluginSupport_create_data());
    fillGuid(logging->info.root_resource_guid, 40);
    logging->info.epoch = 77;
    need(ORXOsapiHeap_allocateStructure(&logging->update, DDS_Monitoring_LogReferenceSeq) != 0);
    need(DDS_Monitoring_LogReferenceSeq_initialize(logging->update));
    need(DDS_Monitoring_LogReferenceSeq_ensure_length(logging->update, loggingMessages, loggingMessages));
    for (DDS_Long i = 0; i < loggingMessages; ++i) {
        auto** reference = DDS_Monitoring_LogReferenceSeq_get_reference(logging->update, i);
        if (*reference == nullptr)
            *reference = need(DDS_Monitoring_LoggingMessagePluginSupport_create_data());
        fillMessage(**reference, static_cast<DDS_UnsignedLongLong>(i));
    }
    return logging;
}

DDS_Monitoring_Periodic* makePeriodic() {
    DDS_Monitoring_Periodic* periodic = need(DDS_Monitoring_PeriodicPluginSupport_create_data());
    fillGuid(periodic->resource_guid, 10);
    periodic->value._d = static_cast<DDS_Long>(ORX_MONITORING_DATA_WRITER_CLASS_ID);
    auto& writer = periodic->value._u.data_writer;
    writer.status_protocol_2 = need(DDS_Monitoring_DataWriterProtocolStatusPluginSupport_create_data());
    writer.status_protocol_2->pushed_sample_count = 1'000'000;
    writer.status_protocol_2->pushed_sample_bytes = 64'000'000;
    writer.status_cache_2 = need(DDS_Monitoring_DataWriterCacheStatusPluginSupport_create_data());
    return periodic;
}

} // namespace bench
