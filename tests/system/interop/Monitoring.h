/* What a program needs that reads or writes the monitoring's topics with nothing but Cyclone DDS and the
 * types that idlc makes from the installed IDL. Every function ends the program with a message when it fails.
 */
#ifndef TESTS_SYSTEM_INTEROP_MONITORING_H
#define TESTS_SYSTEM_INTEROP_MONITORING_H

#include <stdio.h>
#include <stdlib.h>

#include "dds/dds.h"

#define EVENT_TOPIC "DCPSEventStatusMonitoring"
#define EVENT_TYPE "dds::monitoring::Event"
#define PERIODIC_TOPIC "DCPSPeriodicStatusMonitoring"
#define PERIODIC_TYPE "dds::monitoring::Periodic"
#define LOGGING_TOPIC "DCPSLoggingStatusMonitoring"
#define LOGGING_TYPE "dds::monitoring::Logging"

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                  \
            exit(1);                                                                                         \
        }                                                                                                    \
    } while (0)

enum {
    CLASS_TOPIC = 208182173,
    CLASS_DATA_WRITER = 142415660,
    CLASS_PUBLISHER = 116239698,
    CLASS_DATA_READER = 179666769,
    CLASS_SUBSCRIBER = 94988179,
    CLASS_PARTICIPANT = 99258059,
    CLASS_APPLICATION = 265647670
};

/* The type under the name that the topic's writers and readers give to it. */
dds_entity_t Monitoring_topic(dds_entity_t participant, const char* topicName, const char* typeName,
    const dds_topic_descriptor_t* type);
/* Keep all, reliable unless told otherwise, XCDR 2. */
dds_entity_t Monitoring_reader(dds_entity_t participant, dds_entity_t topic, bool isReliable);
dds_entity_t Monitoring_writer(dds_entity_t participant, dds_entity_t topic, bool isReliable);

#endif
