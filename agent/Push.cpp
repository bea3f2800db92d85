#include "agent/Push.hpp"

#include "agent/StatusKinds.hpp"

namespace orx::agent {

namespace {

class EntityLock {
public:
    explicit EntityLock(const Observed& observed) : standIn_(observed.standIn) { DDS_Entity_lock(standIn_); }
    ~EntityLock() { DDS_Entity_unlock(standIn_); }
    EntityLock(const EntityLock&) = delete;
    EntityLock& operator=(const EntityLock&) = delete;

private:
    const DDS_Entity* standIn_;
};

class MetricLock {
public:
    explicit MetricLock(DDS_UnsignedLong index)
        : index_(index), isHeld_(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, index, 1, 1,
                                     nullptr) == ORX_MONITORING_LOCK_RESULT_OK) {}
    ~MetricLock() {
        if (isHeld_)
            ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, index_, 1);
    }
    MetricLock(const MetricLock&) = delete;
    MetricLock& operator=(const MetricLock&) = delete;
    explicit operator bool() const { return isHeld_; }

private:
    DDS_UnsignedLong index_;
    bool isHeld_;
};

ORX_MonitoringClass* monitoringClass() {
    const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    return globals != nullptr ? globals->monitoringClass : nullptr;
}

} // namespace

void pushGroup(Observed& observed, DDS_UnsignedLong group, void* value) {
    if (observed.resource == nullptr)
        return;
    const MetricLock lock(observed.concurrencyIndex);
    ORX_MonitoringClass* library = lock ? monitoringClass() : nullptr;
    if (library != nullptr)
        library->pushEventMetricFunction(library, value, observed.resource, group);
}

void noteGenerations(Observed& observed, uint32_t (&generations)[maximumStatuses]) {
    const EntityLock lock(observed);
    for (size_t i = 0; i < maximumStatuses; ++i)
        generations[i] = observed.generations[i];
}

void attachResource(Observed& observed, ORX_MonitoringResource* resource, DDS_UnsignedLong concurrencyIndex,
    const uint32_t (&generations)[maximumStatuses]) {
    const EntityLock lock(observed);
    {
        const MetricLock metricLock(concurrencyIndex);
        observed.resource = resource;
        observed.concurrencyIndex = concurrencyIndex;
    }
    forEachStatus(observed.kind, [&]<typename Status>() {
        if (observed.generations[Status::slot] != generations[Status::slot])
            pushGroup(observed, Status::group, &Status::copyOf(observed));
    });
}

void detachResource(Observed& observed) {
    const EntityLock lock(observed);
    const MetricLock metricLock(observed.concurrencyIndex);
    observed.resource = nullptr;
}

} // namespace orx::agent
