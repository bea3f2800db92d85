/* Whether the library in the process is the one that these files know. */
#include <dlfcn.h>

#include "middleware/engine/cyclone/CycloneLibrary.h"

/* Functions that no public header promises, or whose structures this file lays out itself. */
static const char* const neededFunctions[] = {
    "dds_create_topic_impl",
    "dds_create_reader_rhc",
    "dds_forwardcdr",
    "ddsi_sertype_init_flags",
    "ddsi_sertype_v0",
    "ddsi_serdata_init",
    "entidx_lookup_writer_guid",
    "entidx_lookup_reader_guid",
    "entidx_lookup_proxy_writer_guid",
    "entidx_lookup_proxy_reader_guid",
    "ddsi_tkmap_lookup_instance_ref",
    "ddsi_tkmap_instance_unref",
    "lookup_thread_state_real",
    "nn_hton_guid",
};

/* Lets the library fill a type and a sample, and looks for what it filled in where the headers say that it
 * is. */
static const char* checkLayout(void) {
    struct BytesType type;
    memset(&type, 0xa5, sizeof type);
    ddsi_sertype_init_flags(&type.common, "self::test", &ZddsCyclone_typeOperations,
        &ZddsCyclone_sampleOperations, DDSI_SERTYPE_FLAG_TOPICKIND_NO_KEY);
    const bool typeFits =
        type.common.ops == &ZddsCyclone_typeOperations &&
        type.common.serdata_ops == &ZddsCyclone_sampleOperations && type.common.typekind_no_key == 1 &&
        type.common.request_keyhash == 0 && type.common.type_name != NULL &&
        strcmp(type.common.type_name, "self::test") == 0 && ddsrt_atomic_ldvoidp(&type.common.gv) == NULL &&
        ddsrt_atomic_ld32(&type.common.flags_refc) == 1 && type.common.wrapped_sertopic == NULL;
    if (!typeFits)
        return "struct ddsi_sertype of the Cyclone DDS library differs from that of its headers";
    struct ddsi_serdata sample;
    memset(&sample, 0xa5, sizeof sample);
    ddsi_serdata_init(&sample, &type.common, SDK_KEY);
    const bool sampleFits = sample.ops == &ZddsCyclone_sampleOperations && sample.kind == SDK_KEY &&
                            sample.type == &type.common && ddsrt_atomic_ld32(&sample.refc) == 1 &&
                            sample.statusinfo == 0;
    ddsi_sertype_fini(&type.common);
    return sampleFits ? NULL
                      : "struct ddsi_serdata of the Cyclone DDS library differs from that of its headers";
}

const char* ZddsCyclone_selfTest(void) {
    for (size_t i = 0; i < sizeof neededFunctions / sizeof *neededFunctions; i++)
        if (dlsym(RTLD_DEFAULT, neededFunctions[i]) == NULL)
            return "the Cyclone DDS library lacks a function of version 0.10.2 that is needed";
    if (!ZddsCyclone_bindPins())
        return "the Cyclone DDS library lacks the functions that keep an entity from being deleted";
    return checkLayout();
}
