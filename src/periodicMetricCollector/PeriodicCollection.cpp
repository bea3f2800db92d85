// The periodic event: one walk over all resources.
#include <algorithm>
#include <cstring>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/log/WorkerLog.hpp"
#include "src/periodicMetricCollector/PeriodicMetricCollector.h"
#include "src/resource/GuidText.hpp"
#include "src/resource/ResourcePin.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::periodic;

using Collector = ORX_MonitoringPeriodicMetricCollector;
using Registry = ORX_MonitoringResourceRegistry;
using Resource = ORX_MonitoringResource;

constexpr auto threadBit = ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC;

// now + period, at the ends of what the two fields hold where the sum goes beyond.
ORXNtpTime nextTime(const ORXNtpTime& now, const ORXNtpTime& period) {
    constexpr ORX_INT64 most = ORX_NTP_TIME_MAX_SEC;
    if (now.sec >= most || period.sec >= most)
        return ORXNtpTime ORX_NTP_TIME_INFINITE;
    ORXNtpTime next{std::clamp(now.sec + period.sec, -most, most), now.frac + period.frac};
    const bool carries = ~now.frac < period.frac;
    if (carries && next.sec < most)
        ++next.sec;
    else if (carries)
        next.frac = ORX_NTP_TIME_MAX_FRAC;
    return next;
}

bool isStopped(const Collector& self) {
    return ORX_MonitoringPeriodicMetricCollector_getState(&self) ==
           ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_STOPPED;
}

// Whether the object that owns the registry stands in the globals, by way of which a pin is given back. It
// comes there a moment after create has set this collector running, and no walk may begin before it has.
bool isPublished(const Registry& registry) {
    ORX_MonitoringClass* library = ORX_Monitoring_getPublishedClassI();
    return library != nullptr && ORX_Monitoring_getResourceRegistry(library) == &registry;
}

void clear(Collector& self) {
    std::memset(self.sample, 0, sizeof *self.sample); // what it refers to is the arena's
    REDAInlineMemory_reset(self.memoryManager);
}

enum class Fetched { set, missing, endsResource };

Fetched fetchGroup(Collector& self, const Resource& resource, const ORX_Monitoring_MetricGroupInfo* groups,
    DDS_UnsignedLong index, const REDAWorker* worker) {
    void* applicationMetricGroup = nullptr;
    const auto getGroup = resource.forwarder.get_metric_group_function; // null without a forwarder
    if (getGroup == nullptr || !getGroup(&applicationMetricGroup, resource.userResource, index)) {
        (void)ORX_WORKER_ERROR(worker, FAILED_TO_GET,
            "Metric group with index %u. For resource (GUID: " ORX_GUID_FORMAT ") \n", index,
            ORX_GUID_ARGUMENTS(resource.base.guid));
        return Fetched::missing;
    }
    void* distribution =
        groups[index].mapAppToDistMetricGroupFunction(applicationMetricGroup, &self.memoryManager);
    if (distribution == nullptr) {
        // The group is not returned: here alone its owner does not get it back.
        (void)ORX_WORKER_ERROR(
            worker, FAILED_TO_CONVERT_TYPE, "Map Distribution data for metric group index %u\n", index);
        return Fetched::endsResource;
    }
    groups[index].setDistMetricGroupIntoSample(self.sample, distribution);
    const auto returnGroup = resource.forwarder.return_metric_group_function;
    if (returnGroup == nullptr || returnGroup(&applicationMetricGroup, index))
        return Fetched::set;
    (void)ORX_WORKER_ERROR(worker, FAILED_TO_FINALIZE, "Metric group with index %u\n", index);
    return Fetched::endsResource;
}

// Fills the sample. False when there is nothing to write.
bool fetchGroups(Collector& self, const Resource& resource, const REDAWorker* worker) {
    const ORX_Monitoring_MetricGroupInfo* groups = ORX_Monitoring_getMetricGroupInfo(resource.base.class_id);
    if (groups == nullptr) {
        return ORX_WORKER_ERROR(
            worker, FAILED_TO_GET, "Metric group info of classId %u", resource.base.class_id);
    }
    const DDS_UnsignedLongSeq& indexes = resource.monitoredPeriodicMetricGroupIndex;
    const DDS_Long length = DDS_UnsignedLongSeq_get_length(&indexes);
    bool hasData = false;
    for (DDS_Long i = 0; i < length; ++i) {
        switch (fetchGroup(self, resource, groups, *DDS_UnsignedLongSeq_get_reference(&indexes, i), worker)) {
        case Fetched::set:
            hasData = true;
            break;
        case Fetched::missing:
            break;
        case Fetched::endsResource:
            return false;
        }
    }
    return hasData;
}

void write(Collector& self, const Resource& resource, const REDAWorker* worker) {
    std::memcpy(self.sample->resource_guid, resource.base.guid, sizeof self.sample->resource_guid);
    if (DDS_Monitoring_PeriodicDataWriter_write(DDS_Monitoring_PeriodicDataWriter_narrow(self.writer),
            self.sample, &DDS_HANDLE_NIL) != DDS_RETCODE_OK)
        (void)ORX_WORKER_FLOOD_WARNING(worker, FAILED_TO_SEND, "Periodic sample\n");
}

// The resource is pinned. Its subscriptions are whole once it was seen not to be paused, and the pin keeps
// whoever would pause it waiting.
void collect(Collector& self, Resource& resource, const REDAWorker* worker) {
    if (ORX_MonitoringResource_isPaused(&resource)) {
        ++resource.stats.skippedPeriodicUpdates;
        return;
    }
    if (DDS_UnsignedLongSeq_get_length(&resource.monitoredPeriodicMetricGroupIndex) == 0)
        return;
    if (fetchGroups(self, resource, worker))
        write(self, resource, worker);
}

void walk(Collector& self, const Registry& registry, const REDAWorker* worker) {
    Resource* resource = ORX_MonitoringResourceRegistry_getFirstResource(&registry, 1, threadBit);
    while (resource != nullptr) {
        collect(self, *resource, worker);
        clear(self);
        // The next one is looked up from this one, which must be listed until then.
        Resource* next = isStopped(self) ? nullptr
                                         : ORX_MonitoringResourceRegistry_getNextResource(
                                               &registry, resource, 1, threadBit);
        if (!ORX_MonitoringResource_unlock(resource, threadBit, 0))
            (void)ORX_WORKER_ERROR(worker, FAILED_TO_UNLOCK, "Monitoring Resource");
        resource = next;
    }
    clear(self);
}

} // namespace

int ORX_MonitoringPeriodicMetricCollector_collectAndPublish(const struct ORXEventGeneratorListener* me,
    ORXNtpTime* newTime, ORXNtpTime* newSnooze, const ORXNtpTime* now, const ORXNtpTime* time,
    const ORXNtpTime* snooze, const struct ORXEventGeneratorListenerStorage* listenerStorage,
    REDAWorker* worker) {
    (void)me;
    (void)newSnooze;
    (void)time;
    (void)snooze;
    ORX_FAIL_IF(newTime == ORX_NULL);
    ORX_FAIL_IF(now == ORX_NULL);
    ORX_FAIL_IF(listenerStorage == ORX_NULL);
    ORX_FAIL_IF(worker == ORX_NULL);
    auto* self = static_cast<Collector*>(listenerStorage->field[0]);
    const auto* resourceRegistry = static_cast<const Registry*>(listenerStorage->field[1]);
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resourceRegistry == ORX_NULL);
    if (isStopped(*self))
        return 1;
    if (ORX_MonitoringPeriodicMetricCollector_getState(self) ==
            ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_RUNNING &&
        isPublished(*resourceRegistry))
        walk(*self, *resourceRegistry, worker);
    if (!isStopped(*self))
        *newTime = nextTime(*now, self->pollingPeriod);
    return 1;
}
