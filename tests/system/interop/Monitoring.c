#include "Monitoring.h"

#include <string.h>

/* Topics whose names begin with "DCPS" are refused by the public functions alone. The engine calls this one
 * through its table of symbols, so it meets ours. */
dds_entity_t dds_create_topic_impl(dds_entity_t participant, const char* name, bool allowDcps,
    struct ddsi_sertype** type, const dds_qos_t* qos, const dds_listener_t* listener, bool isBuiltin);

__attribute__((visibility("default"))) dds_entity_t dds_create_topic_sertype(dds_entity_t participant,
    const char* name, struct ddsi_sertype** type, const dds_qos_t* qos, const dds_listener_t* listener,
    const struct ddsi_plist* plist) {
    (void)plist;
    return dds_create_topic_impl(participant, name, true, type, qos, listener, false);
}

dds_entity_t Monitoring_topic(dds_entity_t participant, const char* topicName, const char* typeName,
    const dds_topic_descriptor_t* type) {
    dds_topic_descriptor_t* renamed = malloc(sizeof *renamed);
    CHECK(renamed != NULL);
    memcpy(renamed, type, sizeof *renamed);
    renamed->m_typename = typeName;
    const dds_entity_t topic = dds_create_topic(participant, renamed, topicName, NULL, NULL);
    free(renamed);
    CHECK(topic > 0);
    return topic;
}

static dds_qos_t* createQos(bool isReliable) {
    const dds_data_representation_id_t xcdr2 = DDS_DATA_REPRESENTATION_XCDR2;
    dds_qos_t* qos = dds_create_qos();
    CHECK(qos != NULL);
    dds_qset_reliability(
        qos, isReliable ? DDS_RELIABILITY_RELIABLE : DDS_RELIABILITY_BEST_EFFORT, DDS_SECS(10));
    dds_qset_history(qos, DDS_HISTORY_KEEP_ALL, DDS_LENGTH_UNLIMITED);
    dds_qset_data_representation(qos, 1, &xcdr2);
    return qos;
}

dds_entity_t Monitoring_reader(dds_entity_t participant, dds_entity_t topic, bool isReliable) {
    dds_qos_t* qos = createQos(isReliable);
    const dds_entity_t reader = dds_create_reader(participant, topic, qos, NULL);
    dds_delete_qos(qos);
    CHECK(reader > 0);
    return reader;
}

dds_entity_t Monitoring_writer(dds_entity_t participant, dds_entity_t topic, bool isReliable) {
    dds_qos_t* qos = createQos(isReliable);
    const dds_entity_t writer = dds_create_writer(participant, topic, qos, NULL);
    dds_delete_qos(qos);
    CHECK(writer > 0);
    return writer;
}
