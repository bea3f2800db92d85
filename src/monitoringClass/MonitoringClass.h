/* Birth and death of the monitoring object, and the entry of the shared library.
 *
 * Threads: the host calls each once, in order: initialize, create, prefinalize, delete; it holds the library
 * lock through create. Application threads use the table of operations in between. Ownership: the object owns
 * its collectors, the registry, the entities and its copy of the property; mutex pools, clock and factory
 * stay the host's. Errors: create unwinds everything and answers null. */
#ifndef ORX_MONITORING_CLASS_H
#define ORX_MONITORING_CLASS_H

#include "src/Export.h"
#include "zddsc/monitoring.h"

ZDDS_BEGIN_C

/* Stores ORX_Monitoring_create in the globals of the process. */
ORX_EXPORT void ORX_Monitoring_initialize(void);

struct ORX_MonitoringClass* ORX_Monitoring_create(
    DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property);
/* Always true. */
DDS_Boolean ORX_Monitoring_is_shared_library(void);
/* While the host's entities still exist: no command runs and no log message is taken after it returns. False
 * for null, silently. */
DDS_Boolean ORX_Monitoring_prefinalize(struct ORX_MonitoringClass* monitoringClass);
/* Stops the threads and frees all; what is queued is dropped. Copes with any prefix of create. When a thread
 * does not end, what it may still use is left. Null is a no-op. */
void ORX_Monitoring_delete(struct ORX_MonitoringClass* monitoringClass);

ZDDS_END_C

#endif
