/* The part of a program that uses the engine, in a library of its own. */
#include "dds/dds.h"

__attribute__((visibility("default"))) int runPlugin(void);

int runPlugin(void) {
    const dds_entity_t participant = dds_create_participant(71, NULL, NULL);
    if (participant <= 0)
        return 1;
    if (dds_create_publisher(participant, NULL, NULL) <= 0)
        return 2;
    return dds_delete(participant) == 0 ? 0 : 3;
}
