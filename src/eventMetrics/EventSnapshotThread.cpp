#include "src/eventMetrics/EventSnapshotThread.h"

#include <atomic>

#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/log/Log.hpp"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/resource/MonitoringResourceRegistry.h"
#include "src/taskExecutor/Thread.hpp"
#include "zddscore/heap.h"
#include "zddscore/semaphore.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using SnapshotThread = ORX_MonitoringEventSnapshotThread;

constexpr DDS_Duration_t matchTimeout{1, 0};
constexpr DDS_Duration_t lockTimeout{0, 200000000U}; // of one attempt

bool isRunning(SnapshotThread& self) {
    // Relaxed: the semaphore and the library lock order everything else.
    return std::atomic_ref(self.isRunning).load(std::memory_order_relaxed) != 0;
}

void setRunning(SnapshotThread& self, bool running) {
    std::atomic_ref(self.isRunning).store(running ? 1 : 0, std::memory_order_relaxed);
}

// A busy lock is tried again while the thread is to run; a stop counts as a library that is not enabled.
ORX_MonitoringLockResult lockLibraryIfRunning(SnapshotThread& self) {
    while (isRunning(self)) {
        const auto result = ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 0, 0, &lockTimeout);
        if (result == ORX_MONITORING_LOCK_RESULT_ERROR)
            ORX_ERROR(FAILED_TO_LOCK, "Taking Monitoring Library 2.0 Lock");
        if (result != ORX_MONITORING_LOCK_RESULT_TIMEOUT)
            return result;
    }
    return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
}

bool takeLibraryLock(SnapshotThread& self) {
    switch (lockLibraryIfRunning(self)) {
    case ORX_MONITORING_LOCK_RESULT_OK:
        return true;
    case ORX_MONITORING_LOCK_RESULT_NOT_ENABLED:
    case ORX_MONITORING_LOCK_RESULT_TIMEOUT:
        // The ordinary end when the library stops: nothing is wrong.
        return ORX_WARNING(FAILURE, "Monitoring Library 2.0 is not enabled.");
    case ORX_MONITORING_LOCK_RESULT_ERROR:
        break;
    }
    return ORX_ERROR(FAILED_TO_LOCK, "Taking Monitoring Library 2.0 mutex");
}

bool giveLibraryLock() {
    if (ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 0) != 0) {
        return ORX_ERROR(FAILED_TO_UNLOCK, "Giving Monitoring mutex\n");
    }
    return true;
}

void count(ORX_UINT32& counter) {
    std::atomic_ref(counter).fetch_add(1, std::memory_order_release);
}

ORX_UINT64 snapshotEpoch(ORX_MonitoringResourceRegistry& registry) {
    return std::atomic_ref(registry.snapshotEpoch).load(std::memory_order_relaxed);
}

// Under the library lock. Whoever has posted a snapshot since `lastEpoch` has told the new reader everything.
bool postUnlessPosted(const ORX_MonitoringClassImpl& library, ORX_UINT64 lastEpoch) {
    if (snapshotEpoch(*library.resourceRegistry) != lastEpoch)
        return true;
    if (!ORX_MonitoringEventTaskExecutor_postInitialSnapshots(
            library.eventTaskExecutor, library.resourceRegistry)) {
        return ORX_ERROR(FAILED_TO_POST, "Initial resource and event snapshots");
    }
    return true;
}

// False when the thread is to end.
bool waitOutDelay(SnapshotThread& self, const ORXNtpTime& delay) {
    const auto status = ORXOsapiSemaphore_take(self.stopSignal, &delay);
    if (status == ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT)
        return true;
    if (status != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Snapshot thread stop semaphore");
    return false;
}

// False when the thread is to end.
bool onMatch(SnapshotThread& self) {
    DDS_PublicationMatchedStatus status{};
    const bool known =
        DDS_PublicationMatchedStatus_initialize(&status) &&
        DDS_DataWriter_get_publication_matched_status(self.eventWriter, &status) == DDS_RETCODE_OK;
    const DDS_Long change = status.current_count_change;
    (void)DDS_PublicationMatchedStatus_finalize(&status);
    if (!known)
        return ORX_ERROR(FAILED_TO_GET, "Event DataWriter DDS_PublicationMatchedStatus");
    if (change < 0)
        return true; // readers have left, and more than came
    const auto& library = *reinterpret_cast<const ORX_MonitoringClassImpl*>(self.monitoringClass);
    const ORX_UINT64 lastEpoch = snapshotEpoch(*library.resourceRegistry);
    count(self.delaysBegun);
    if (!waitOutDelay(self, library.snapshotDelay) || !takeLibraryLock(self))
        return false;
    const bool posted = postUnlessPosted(library, lastEpoch);
    return giveLibraryLock() && posted;
}

// False when the thread is to end.
bool waitForMatch(SnapshotThread& self, DDS_ConditionSeq& active) {
    const DDS_ReturnCode_t result = DDS_WaitSet_wait(self.waitset, &active, &matchTimeout);
    if (result == DDS_RETCODE_TIMEOUT)
        return true;
    if (result != DDS_RETCODE_OK) {
        return ORX_ERROR(
            FAILURE, "WaitSet wait operation returned an error: %s", DDS_ReturnCode_toString(result));
    }
    const DDS_Condition* condition = DDS_StatusCondition_as_condition(self.statusCondition);
    for (DDS_Long i = 0; isRunning(self) && i < DDS_ConditionSeq_get_length(&active); ++i) {
        if (*DDS_ConditionSeq_get_reference(&active, i) != condition)
            continue;
        const bool goesOn = onMatch(self);
        count(self.matchesHandled);
        if (!goesOn)
            return false;
    }
    return true;
}

void* run(void* param) {
    auto& self = *static_cast<SnapshotThread*>(param);
    DDS_ConditionSeq active{};
    (void)DDS_ConditionSeq_initialize(&active);
    while (isRunning(self) && waitForMatch(self, active)) {
    }
    (void)DDS_ConditionSeq_finalize(&active);
    return nullptr;
}

bool watchMatches(SnapshotThread& self) {
    self.statusCondition = DDS_Entity_get_statuscondition(DDS_DataWriter_as_entity(self.eventWriter));
    if (self.statusCondition == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Event DataWriter StatusCondition");
    if (DDS_StatusCondition_set_enabled_statuses(self.statusCondition, DDS_PUBLICATION_MATCHED_STATUS) !=
        DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_SET, "Event DataWriter StatusCondition statuses");
    }
    self.waitset = DDS_WaitSet_new();
    if (self.waitset == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Event DataWriter WaitSet");
    if (DDS_WaitSet_attach_condition(self.waitset, DDS_StatusCondition_as_condition(self.statusCondition)) !=
        DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_ATTACH, "StatusCondition in Event DataWriter WaitSet");
    }
    return true;
}

bool watchStop(SnapshotThread& self) {
    self.stopCondition = DDS_GuardCondition_new();
    if (self.stopCondition == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Snapshot thread stop condition");
    if (DDS_WaitSet_attach_condition(self.waitset, DDS_GuardCondition_as_condition(self.stopCondition)) !=
        DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_ATTACH, "Snapshot thread stop condition in Event DataWriter WaitSet");
    }
    self.stopSignal = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    if (self.stopSignal == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Snapshot thread stop semaphore");
    return true;
}

bool start(SnapshotThread& self, const DDS_ThreadSettings_t& settings, const char* threadName) {
    setRunning(self, true);
    if (!watchMatches(self) || !watchStop(self))
        return false;
    self.thread = orx::startThread(orxLogSubmodule, threadName, settings, run, &self);
    if (self.thread == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Event Snapshot Thread");
    return true;
}

// False when something may still be in use.
bool finalize(SnapshotThread& self) {
    if (self.thread != nullptr) {
        setRunning(self, false);
        (void)DDS_GuardCondition_set_trigger_value(self.stopCondition, DDS_BOOLEAN_TRUE);
        (void)ORXOsapiSemaphore_give(self.stopSignal);
        if (!ORXOsapiJoinableThread_stopAndDelete(self.thread, orx::threadStopTimeoutMs)) {
            return ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Event Snapshot Thread");
        }
        self.thread = nullptr;
    }
    if (self.waitset != nullptr) {
        if (DDS_WaitSet_deleteI(self.waitset, 0) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_DELETE, "Event DataWriter WaitSet");
        }
        self.waitset = nullptr;
    }
    if (self.stopCondition != nullptr)
        (void)DDS_GuardCondition_delete(self.stopCondition);
    if (self.stopSignal != nullptr)
        (void)ORXOsapiSemaphore_delete(self.stopSignal);
    self = {};
    return true;
}

} // namespace

ORX_MonitoringEventSnapshotThread* ORX_MonitoringEventSnapshotThread_new(
    struct ORX_MonitoringClass* monitoringClass, DDS_DataWriter* eventWriter,
    const ORX_MonitoringProperty_t* property, const char* threadName) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(eventWriter == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    ORX_FAIL_IF(threadName == ORX_NULL);
    SnapshotThread* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringEventSnapshotThread)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringEventSnapshotThread' with size %u\n",
            static_cast<unsigned>(sizeof *self));
    }
    self->monitoringClass = monitoringClass;
    self->eventWriter = eventWriter;
    if (!start(*self, property->event.thread_setting, threadName)) {
        (void)ORX_MonitoringEventSnapshotThread_delete(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "ORX_MonitoringEventSnapshotThread\n");
    }
    return self;
}

int ORX_MonitoringEventSnapshotThread_delete(ORX_MonitoringEventSnapshotThread* self) {
    if (self == nullptr)
        return 1;
    if (!finalize(*self))
        return 0;
    ORXOsapiHeap_freeStructure(self);
    return 1;
}
