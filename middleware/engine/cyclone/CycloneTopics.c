/* Topics of any name, and what a topic holds of the library. */
#include <dlfcn.h>

#include "middleware/engine/cyclone/CycloneLibrary.h"

typedef dds_entity_t (*CreateTopicFunction)(dds_entity_t participant, const char* name, bool allowDcps,
    struct ddsi_sertype** type, const dds_qos_t* qos, const dds_listener_t* listener, bool isBuiltin);

/* Looked up at run time, since no header promises it. */
static CreateTopicFunction innerCreateTopic(void) {
    CreateTopicFunction function = NULL;
    void* symbol = dlsym(RTLD_DEFAULT, "dds_create_topic_impl");
    memcpy(&function, &symbol, sizeof function);
    return function;
}

int32_t ZddsCyclone_createTopic(int32_t participant, const char* topicName, const char* typeName,
    uint32_t keyBytes, struct ddsi_sertype** type) {
    void* memory = NULL;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, sizeof(struct BytesType), _Alignof(struct BytesType), 1, "struct BytesType"))
        return DDS_RETCODE_OUT_OF_RESOURCES;
    struct BytesType* own = memory;
    own->keyBytes = keyBytes;
    ddsi_sertype_init_flags(&own->common, typeName, &ZddsCyclone_typeOperations,
        &ZddsCyclone_sampleOperations, keyBytes == 0 ? DDSI_SERTYPE_FLAG_TOPICKIND_NO_KEY : 0);
    own->common.allowed_data_representation =
        DDS_DATA_REPRESENTATION_FLAG_XCDR1 | DDS_DATA_REPRESENTATION_FLAG_XCDR2;

    struct ddsi_sertype* inUse = &own->common;
    const dds_entity_t topic = innerCreateTopic()(participant, topicName, true, &inUse, NULL, NULL, false);
    if (topic < 0) {
        ddsi_sertype_unref(&own->common);
        return topic;
    }
    *type = ddsi_sertype_ref(inUse);
    return topic;
}

READS_LIBRARY struct ddsi_tkmap_instance* ZddsCyclone_holdInstance(const struct ddsi_sertype* type) {
    if (!type->typekind_no_key)
        return NULL;
    struct BytesSample* sample = ZddsCyclone_newSample(type, SDK_KEY, headerBytes);
    if (sample == NULL)
        return NULL;
    struct ddsi_serdata* data = ZddsCyclone_sampleReady(sample, type);
    struct ddsi_domaingv* domain = ZddsCyclone_domainOf(type);
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, domain);
    struct ddsi_tkmap_instance* instance = ddsi_tkmap_lookup_instance_ref(domain->m_tkmap, data);
    thread_state_asleep(thread);
    ddsi_serdata_unref(data);
    return instance;
}

READS_LIBRARY static void releaseInstance(
    const struct ddsi_sertype* type, struct ddsi_tkmap_instance* instance) {
    struct ddsi_domaingv* domain = ZddsCyclone_domainOf(type);
    struct thread_state* thread = lookup_thread_state();
    thread_state_awake(thread, domain);
    ddsi_tkmap_instance_unref(domain->m_tkmap, instance);
    thread_state_asleep(thread);
}

void ZddsCyclone_releaseTopic(
    int32_t topic, struct ddsi_sertype* type, struct ddsi_tkmap_instance* instance) {
    struct ZddsCyclonePin pin;
    if (!ZddsCyclone_pin(&pin, topic))
        return;
    if (instance != NULL)
        releaseInstance(type, instance);
    if (type != NULL)
        ddsi_sertype_unref(type);
    ZddsCyclone_unpin(&pin);
}
