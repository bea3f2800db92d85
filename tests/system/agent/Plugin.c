/* The part of a program that uses the engine, in a library of its own. */
#include <stdlib.h>

#include "dds/dds.h"

__attribute__((visibility("default"))) int runPlugin(void);

int runPlugin(void) {
    const char* domain = getenv("PROGRAM_DOMAIN");
    const dds_entity_t participant =
        dds_create_participant(domain != NULL ? (dds_domainid_t)atoi(domain) : 0, NULL, NULL);
    if (participant <= 0)
        return 1;
    if (dds_create_publisher(participant, NULL, NULL) <= 0)
        return 2;
    return dds_delete(participant) == 0 ? 0 : 3;
}
