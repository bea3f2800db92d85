/* The forwarder's index of what it monitors: applications by name and by GUID, and the participants that
 * publish for them.
 *
 * A participant comes to be when its event writer matches, and is then to be asked for its resource registry;
 * the applications come from the answer. An application goes with a deletion update, or with its participant.
 * Threads: every operation takes the registry's mutex, which is reentrant; what it gives out is to be read
 * while the caller holds the mutex. Ownership: the registry owns applications and participants. Errors:
 * non-zero or a pointer for success; a failure is a line of the log and leaves the registry as it was. */
#ifndef ORX_MONITORING_APPLICATION_REGISTRY_H
#define ORX_MONITORING_APPLICATION_REGISTRY_H

#include "orxmonitoring2d/dds_entities_distribution.h"
#include "src/entities/ForwarderEntities.h"
#include "src/resource/ApplicationResource.h"
#include "src/utils/OpaqueResource.h"
#include "src/utils/ReentrantMutex.h"
#include "zddsc/status.h"
#include "zddscore/fast_buffer_pool.h"

ZDDS_BEGIN_C

struct ORX_MonitoringForwarderApplicationRegistry {
    REDASkiplistDescription resourceNameIndexDesc, guidIndexDesc, monitoringParticipantIndexDesc;
    ORX_MonitoringForwarderMutex* applicationRegistryMutex;
    REDASkiplist* resourceNameIndex; /* applications, by name and then by GUID */
    REDASkiplist* guidIndex;         /* the same applications, by GUID, which is theirs alone */
    REDASkiplist* monitoringParticipantIndex;
    REDAFastBufferPool* appResourcePool; /* of ORX_MonitoringForwarderApplicationResourceImpl */
    REDAFastBufferPool* monitoringParticipantPool;
    REDAFastBufferPool* monitoringParticipantNodePool; /* nodes of the list below */
    /* Participants that are still to be asked for their resource registry. */
    REDAInlineList* participantsPendingResourceRegistryRequestList;
    /* One deletion of an application, prepared, and its info; under the mutex. */
    DDS_Monitoring_Event* sample;
    DDS_SampleInfo info;
};
typedef struct ORX_MonitoringForwarderApplicationRegistry ORX_MonitoringForwarderApplicationRegistry;

ORX_MonitoringForwarderApplicationRegistry* ORX_MonitoringForwarderApplicationRegistry_new(void);
/* With all that is in it. Null is a no-op. */
void ORX_MonitoringForwarderApplicationRegistry_delete(ORX_MonitoringForwarderApplicationRegistry* self);

int ORX_MonitoringForwarderApplicationRegistry_lock(ORX_MonitoringForwarderApplicationRegistry* self);
int ORX_MonitoringForwarderApplicationRegistry_unlock(ORX_MonitoringForwarderApplicationRegistry* self);

/* Finds or adds the participant. destination, which may be null, is out: where its commands go when it is
 * new, and DDS_HANDLE_NIL when it was known. A new participant is pending until it has been asked. */
int ORX_MonitoringForwarderApplicationRegistry_assertParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self, DDS_InstanceHandle_t* destination,
    const DDS_GUID_t* participantGuid, const DDS_InstanceHandle_t* publicationHandle);
ORX_MonitoringForwarderMonitoringParticipant*
ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self, const DDS_GUID_t* guid);
/* Takes the participant's node out of the list of those to be asked. No-op when it is in none. The mutex is
 * held. */
void ORX_MonitoringForwarderApplicationRegistry_forgetPendingRequest(
    ORX_MonitoringForwarderApplicationRegistry* self,
    ORX_MonitoringForwarderMonitoringParticipant* participant);
/* Takes a participant without applications out and frees it. The mutex is held. */
int ORX_MonitoringForwarderApplicationRegistry_deleteParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self,
    ORX_MonitoringForwarderMonitoringParticipant* participant);
/* The participant's event writer has gone: its applications go, the last one first, and each is told to the
 * reader of the event topic by a deletion with that writer's handle; then the participant goes, asked or not.
 * One that is not known is fine. After a deletion that could not be told no other is told; all the
 * applications go in any case, since nobody would take them away later, and the result is 0. */
int ORX_MonitoringForwarderApplicationRegistry_removeParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self, ORX_MonitoringForwarderEntities* entities,
    const DDS_GUID_t* participantGuid);
/* Makes the prepared sample the deletion of the application. Use it with the mutex held. */
int ORX_MonitoringApplicationRegistry_populateSample(ORX_MonitoringForwarderApplicationRegistry* self,
    const ORX_MonitoringForwarderApplicationResource* application);

/* Applies an event of the class application with valid data, that a writer of the participant sent:
 * applications of a resource registry are added, a logging configuration is kept, a deletion removes. */
int ORX_MonitoringForwarderApplicationRegistry_processApplicationEventSample(
    ORX_MonitoringForwarderApplicationRegistry* self, const DDS_Monitoring_Event* sample,
    const DDS_GUID_t* participantGuid);

/* Finds or adds an application of the participant. resourceNameIsFqn 0: the name is the application's own,
 * and
 * "/applications/" comes before it. An application that is known stays as it is; one that another participant
 * publishes, or whose GUID another application has, is a failure. */
ORX_MonitoringForwarderApplicationResource*
ORX_MonitoringForwarderApplicationRegistry_assertApplicationResource(
    ORX_MonitoringForwarderApplicationRegistry* self, const char* resourceName, int resourceNameIsFqn,
    const DDS_Monitoring_Resource* monitoringResource, const DDS_GUID_t* participantGuid);
/* An application that is not there is a warning. */
void ORX_MonitoringForwarderApplicationRegistry_deleteApplicationResource(
    ORX_MonitoringForwarderApplicationRegistry* self, const DDS_Octet guid[16]);
/* By name and GUID when resourceName is given, else by GUID alone. Null when there is none. */
ORX_MonitoringForwarderApplicationResource*
ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(
    ORX_MonitoringForwarderApplicationRegistry* self, const char* resourceName, const DDS_Octet guid[16]);
/* The first in the order of GUIDs, or null. The mutex is held. */
ORX_MonitoringForwarderApplicationResource* ORX_MonitoringForwarderApplicationRegistry_getFirstApplication(
    ORX_MonitoringForwarderApplicationRegistry* self);
/* All applications in the order of their GUIDs, into an initialized sequence. The mutex is held. */
int ORX_MonitoringForwarderApplicationRegistry_getApplicationsAsSequence(
    ORX_MonitoringForwarderApplicationRegistry* self, ORX_MonitoringOpaqueResourceSeq* rootResourceSeq);

ZDDS_END_C

#endif
