/* Keeping an entity from being deleted. */
#include <dlfcn.h>

#include "middleware/engine/cyclone/CycloneLibrary.h"

/* No header promises these two. Written once, by the self-test, before anything else of this folder runs. */
static dds_return_t (*pinFunction)(dds_entity_t entity, void** pinned);
static void (*unpinFunction)(void* pinned);

bool ZddsCyclone_bindPins(void) {
    void* pin = dlsym(RTLD_DEFAULT, "dds_entity_pin");
    void* unpin = dlsym(RTLD_DEFAULT, "dds_entity_unpin");
    memcpy(&pinFunction, &pin, sizeof pinFunction);
    memcpy(&unpinFunction, &unpin, sizeof unpinFunction);
    return pin != NULL && unpin != NULL;
}

bool ZddsCyclone_pin(struct ZddsCyclonePin* pin, int32_t entity) {
    return pinFunction(entity, &pin->entity) == DDS_RETCODE_OK;
}

void ZddsCyclone_unpin(struct ZddsCyclonePin* pin) {
    unpinFunction(pin->entity);
}
