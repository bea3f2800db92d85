// How a participant leaves the registry, and what the reader of events is told of it.
#include <cstring>

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/resource/ApplicationRegistry.h"
#include "src/resource/ApplicationRegistryLock.hpp"
#include "src/resource/GuidText.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

using Registry = ORX_MonitoringForwarderApplicationRegistry;
using MonitoringParticipant = ORX_MonitoringForwarderMonitoringParticipant;
using Application = ORX_MonitoringForwarderApplicationResource;
using orx::forwarder::RegistryLock;

const DDS_Monitoring_GUID_t& guidOf(const Application* application) {
    return reinterpret_cast<const ORX_MonitoringForwarderApplicationResourceImpl*>(application)
        ->monitoringResource.guid;
}

// The prepared sample into the cache reader, as if the writer that has gone had sent it: the next of its
// samples, now.
bool tell(
    Registry& self, ORX_MonitoringForwarderEntities* entities, const MonitoringParticipant& participant) {
    DDS_DataReader* reader =
        reinterpret_cast<ORX_MonitoringForwarderEntitiesImpl*>(entities)->builtinEventReader;
    DDS_InstanceHandle_copy(&self.info.publication_handle, &participant.publicationHandle);
    if (ORX_MonitoringForwarderEntities_addSampleToCacheReader(entities, reader, self.sample, &self.info))
        return true;
    return ORX_ERROR(FAILED_TO_ADD, "Application resource deletion event sample to cache DataReader for %s",
        DDS_TopicDescription_get_name(DDS_DataReader_get_topicdescription(reader)));
}

// With the mutex held. False when not all was told.
bool removeApplications(
    Registry& self, ORX_MonitoringForwarderEntities* entities, MonitoringParticipant& participant) {
    const auto* list = &participant.applicationsList;
    bool tells = true;
    for (DDS_Long i = ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(list); i-- > 0;) {
        const Application* application =
            *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(list, i);
        DDS_Monitoring_GUID_t guid; // a copy: it goes with the application
        std::memcpy(guid, guidOf(application), sizeof guid);
        if (tells && !ORX_MonitoringApplicationRegistry_populateSample(&self, application))
            tells = ORX_ERROR(FAILED_TO_POPULATE, "Application resource deletion event sample");
        ORX_MonitoringForwarderApplicationRegistry_deleteApplicationResource(&self, guid);
        tells = tells && tell(self, entities, participant);
    }
    return tells;
}

} // namespace

int ORX_MonitoringForwarderApplicationRegistry_removeParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self, ORX_MonitoringForwarderEntities* entities,
    const DDS_GUID_t* participantGuid) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(entities == ORX_NULL);
    ORX_FAIL_IF(entities->event_reader == ORX_NULL);
    ORX_FAIL_IF(participantGuid == ORX_NULL);
    RegistryLock lock{self};
    if (!lock.isHeld())
        return 0;
    MonitoringParticipant* participant =
        ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
            self, participantGuid);
    if (participant == nullptr)
        return lock.unlock();
    const bool isTold = removeApplications(*self, entities, *participant);
    const bool isRemoved = ORX_MonitoringForwarderApplicationRegistry_deleteParticipant(self, participant);
    return lock.unlock() && isTold && isRemoved;
}

int ORX_MonitoringApplicationRegistry_populateSample(ORX_MonitoringForwarderApplicationRegistry* self,
    const ORX_MonitoringForwarderApplicationResource* application) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(application == ORX_NULL);
    RegistryLock lock{self};
    if (!lock.isHeld())
        return 0;
    const DDS_Monitoring_GUID_t& guid = guidOf(application);
    DDS_Monitoring_Event& sample = *self->sample;
    if (!DDS_Monitoring_GUID_t_copy(&sample.resource_guid, &guid))
        return ORX_ERROR(FAILED_TO_COPY, "Resource GUID " ORX_GUID_FORMAT, ORX_GUID_ARGUMENTS(guid));
    sample.info.epoch_resource = 0;
    sample.info.epoch_metric = 0;
    sample.info.is_snapshot = DDS_BOOLEAN_FALSE;
    sample.value._d = static_cast<DDS_Monitoring_ResourceClassId>(ORX_MONITORING_APPLICATION_CLASS_ID);
    DDS_Monitoring_ResourceUpdate& update = *sample.value._u.application.resource_update;
    update._d = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND;
    if (!DDS_Monitoring_GUID_t_copy(&update._u.delete_resource.guid, &guid)) {
        return ORX_ERROR(FAILED_TO_COPY, "Resource GUID " ORX_GUID_FORMAT " into the payload of the sample",
            ORX_GUID_ARGUMENTS(guid));
    }
    return lock.unlock();
}
