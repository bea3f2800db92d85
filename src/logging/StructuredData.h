/* Entries of structured data, in sequences that live in an arena.
 *
 * Threads: the caller serializes the arena. Errors: null, with the sequence as it was. */
#ifndef ORX_STRUCTURED_DATA_H
#define ORX_STRUCTURED_DATA_H

#include "orxmonitoring2d/dds_logging.h"

ZDDS_BEGIN_C

/* The entry with that key, which is added when there is none. */
DDS_Monitoring_StructuredDataMapEntry* DDS_Monitoring_StructuredDataMapEntrySeq_assertElement(
    DDS_Monitoring_StructuredDataMapEntrySeq* self, struct REDAInlineMemory** memoryManager, const char* key);
/* The pair with that name, with `value` in place of what it had. */
DDS_Monitoring_NameValuePair* DDS_Monitoring_NameValuePairSeq_assertElement(
    DDS_Monitoring_NameValuePairSeq* self, struct REDAInlineMemory** memoryManager, const char* name,
    const char* value);

ZDDS_END_C

#endif
