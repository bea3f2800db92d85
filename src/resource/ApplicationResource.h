/* What the forwarder knows of an application, and of the participant that publishes for it.
 *
 * Ownership: both lie in pools of the application registry, which alone makes and ends them. Threads: every
 * function is called with the registry's mutex held. Errors: non-zero for success; a failure is a line of the
 * log. */
#ifndef ORX_MONITORING_APPLICATION_RESOURCE_H
#define ORX_MONITORING_APPLICATION_RESOURCE_H

#include "orxmonitoring2d/forwarder.h"
#include "orxmonitoring2d/monitoring_resource.h"
#include "zddscore/inline_list.h"
#include "zddscore/skiplist.h"

ZDDS_BEGIN_C

struct ORX_MonitoringForwarderApplicationRegistry;
struct ORX_MonitoringForwarderMonitoringParticipant;

/* Size of a buffer for "/applications/<name>"; also a GUID fits. */
#define ORX_MONITORING_FORWARDER_APPLICATION_NAME_SIZE 1024

struct ORX_MonitoringForwarderApplicationResourceImpl {
    struct ORX_MonitoringForwarderApplicationResource parent;
    DDS_Monitoring_Resource monitoringResource; /* a deep copy; its GUID is the key of the index by GUID */
    struct ORX_MonitoringForwarderMonitoringParticipant*
        monitoringParticipant;              /* who publishes for it, or null */
    ORX_INT32 indexInMonitoringParticipant; /* in that participant's applicationsList; -1 when in none */
    const struct ORX_MonitoringForwarderApplicationRegistry* registry;
    const REDASkiplistNode* node; /* in the index by GUID */
};
typedef struct ORX_MonitoringForwarderApplicationResourceImpl ORX_MonitoringForwarderApplicationResourceImpl;

struct ORX_MonitoringForwarderMonitoringParticipant {
    DDS_GUID_t participantGuid;             /* the key of the index of participants */
    DDS_InstanceHandle_t publicationHandle; /* of its event writer, through which it was discovered */
    DDS_InstanceHandle_t serviceRequestReaderHandle; /* where commands for its applications go */
    ORX_MonitoringForwarderApplicationResourcePtrSeq applicationsList; /* of Impl pointers, in no order */
    REDAInlineListUserDataNode* node; /* in the list of participants yet to be asked; null when not in it */
};
typedef struct ORX_MonitoringForwarderMonitoringParticipant ORX_MonitoringForwarderMonitoringParticipant;

/* Elements of the sequence of pointers: nothing is owned. */
int ORX_MonitoringForwarderApplicationResourcePtr_initialize(
    ORX_MonitoringForwarderApplicationResourcePtr* self);
int ORX_MonitoringForwarderApplicationResourcePtr_initialize_ex(
    ORX_MonitoringForwarderApplicationResourcePtr* self, DDS_Boolean allocatePointers,
    DDS_Boolean allocateMemory);
int ORX_MonitoringForwarderApplicationResourcePtr_finalize(
    ORX_MonitoringForwarderApplicationResourcePtr* self);
int ORX_MonitoringForwarderApplicationResourcePtr_finalize_ex(
    ORX_MonitoringForwarderApplicationResourcePtr* self, DDS_Boolean deletePointers);
int ORX_MonitoringForwarderApplicationResourcePtr_copy(ORX_MonitoringForwarderApplicationResourcePtr* self,
    const ORX_MonitoringForwarderApplicationResourcePtr* source);

/* Fills raw memory: deep copies of the resource and of the name, which is neither null nor empty. In no
 * participant yet. */
int ORX_MonitoringForwarderApplicationResource_initialize(ORX_MonitoringForwarderApplicationResource* self,
    const DDS_Monitoring_Resource* monitoringResource, const char* fullyQualifiedName,
    const struct ORX_MonitoringForwarderApplicationRegistry* registry);
void ORX_MonitoringForwarderApplicationResource_finalize(ORX_MonitoringForwarderApplicationResource* self);
/* Deep copies in and out; loggingConfig is initialized. */
int ORX_MonitoringForwarderApplicationResource_setLoggingConfig(
    ORX_MonitoringForwarderApplicationResource* self, const DDS_Monitoring_LoggingConfig* loggingConfig);
int ORX_MonitoringForwarderApplicationResource_getLoggingConfig(
    const ORX_MonitoringForwarderApplicationResource* self, DDS_Monitoring_LoggingConfig* loggingConfig);
/* Adds where commands for the application go, unless it is there: applications of one participant share it.
 * destinationSeq has room for one at least. */
int ORX_MonitoringForwarderApplicationResource_assertDestination(
    const ORX_MonitoringForwarderApplicationResource* self, DDS_InstanceHandleSeq* destinationSeq);
/* Order of the index by name: the name, then the GUID. */
int ORX_MonitoringForwarderApplicationResource_compare(const void* left, const void* right);
/* Order of the index by GUID. */
int ORX_MonitoringForwarderApplicationResource_compareGuid(const void* left, const void* right);

/* Fills raw memory; the GUID and the destination are the caller's to set. */
int ORX_MonitoringForwarderMonitoringParticipant_initialize(
    ORX_MonitoringForwarderMonitoringParticipant* self, const DDS_InstanceHandle_t* publicationHandle);
/* Takes its applications out of its list; they stay alive. */
void ORX_MonitoringForwarderMonitoringParticipant_finalize(
    ORX_MonitoringForwarderMonitoringParticipant* self);
/* Amortized constant time. */
int ORX_MonitoringForwarderMonitoringParticipant_addApplication(
    ORX_MonitoringForwarderMonitoringParticipant* self,
    ORX_MonitoringForwarderApplicationResource* application);
/* Constant time: the last application takes the place of the removed one. The removed application forgets its
 * place and participant, unless it was itself the last: then both stay as they were. */
int ORX_MonitoringForwarderMonitoringParticipant_removeApplication(
    ORX_MonitoringForwarderMonitoringParticipant* self,
    ORX_MonitoringForwarderApplicationResource* application);
DDS_InstanceHandle_t* ORX_MonitoringForwarderMonitoringParticipant_getServiceRequestReaderHandle(
    ORX_MonitoringForwarderMonitoringParticipant* self);
/* Null first, then the order of the GUIDs. */
int ORX_MonitoringForwarderMonitoringParticipant_compare(const void* left, const void* right);

ZDDS_END_C

#endif
