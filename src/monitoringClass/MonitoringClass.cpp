#include "src/monitoringClass/MonitoringClass.h"

#include "src/entities/LibraryEntities.h"
#include "src/eventMetrics/EventSnapshotThread.h"
#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/log/Log.hpp"
#include "src/logging/MonitoringLogging.h"
#include "src/monitoringClass/CommandEntry.h"
#include "src/monitoringClass/LoggingConfiguration.h"
#include "src/monitoringClass/MetricSelectionStore.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/monitoringClass/ResourceOperations.h"
#include "src/monitoringClass/RootResource.h"
#include "src/periodicMetricCollector/PeriodicMetricCollector.h"
#include "src/remoteAdministration/CommandDispatcher.h"
#include "src/resource/ResourceLifecycle.h"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;

using Library = ORX_MonitoringClassImpl;

constexpr char snapshotThreadName[] = "oMo###EventSnap";
constexpr char eventThreadName[] = "oMo#######Event";
constexpr char periodicThreadName[] = "oMo###Periodic";
constexpr char loggingThreadName[] = "oMo#####Logging";
constexpr char commandThreadName[] = "oMo###Command";
constexpr int selectionIndexSize = 8192;      // sets the number of levels
constexpr int selectionIndexInitialNodes = 2; // selections are few
constexpr size_t selectionNodeAlignment = 8;

constexpr ORX_MonitoringClass operations{
    .factory = nullptr,
    .rootResource = nullptr,
    .prefinalizeFunction = ORX_Monitoring_prefinalize,
    .deleteFunction = ORX_Monitoring_delete,
    .isSharedLibraryFunction = ORX_Monitoring_is_shared_library,
    .assertResourceFunction = ORX_Monitoring_assertResource,
    .deleteResourceFunction = ORX_Monitoring_deleteResource,
    .deleteResourceChildrenFunction = ORX_Monitoring_deleteResourceChildren,
    .pushEventMetricFunction = ORX_Monitoring_pushEventMetric,
    .onLoggingCollectionChange = ORX_Monitoring_onLoggingCollectionChange,
    .getPropertyFunction = ORX_Monitoring_getProperty,
    .dispatchCommandFunction = ORX_Monitoring_dispatchCommand,
    .pauseResourceMetricsFunction = ORX_Monitoring_pauseResourceMetrics,
    .pauseResourceChildrenMetricsFunction = ORX_Monitoring_pauseResourceChildrenMetrics,
    .resumeResourceMetricsFunction = ORX_Monitoring_resumeResourceMetrics,
    .postLogMessage = ORX_Monitoring_postLogMessage,
};

// ---- The steps of create, each of which relies on those before it ----

bool createDisableSelection(Library& self) {
    DDS_MonitoringMetricSelection& selection = self.disableSelection;
    if (!DDS_MonitoringMetricSelection_initialize(&selection)) {
        return ORX_ERROR(FAILED_TO_INITIALIZE, "disableSelection");
    }
    DDS_StringSeq& disabled = selection.disabled_metrics_selection;
    if (!DDS_StringSeq_ensure_length(&disabled, 1, 1)) {
        return ORX_ERROR(FAILED_TO_SET, "disableSelection.disabled_metrics_selection length (1)");
    }
    if (DDS_String_replace(DDS_StringSeq_get_reference(&disabled, 0), "*") == nullptr) {
        return ORX_ERROR(FAILED_TO_SET, "disableSelection.disabled_metrics_selection[0]to \"*\"");
    }
    return true;
}

bool copyProperty(Library& self, const ORX_MonitoringProperty_t& property) {
    if (!ORXOsapiHeap_allocateStructure(&self.property, struct ORX_MonitoringProperty_t)) {
        return ORX_ERROR(
            FAILED_TO_ALLOCATE, "'struct ORX_MonitoringProperty_t' with size %zu", sizeof property);
    }
    if (!ORX_MonitoringProperty_t_copy_ex(self.property, &property, DDS_BOOLEAN_FALSE)) {
        return ORX_ERROR(FAILED_TO_COPY, "property");
    }
    // Before the snapshot thread runs, which reads it without a lock.
    DDS_Duration_to_ntp_time(&self.property->event.snapshot_delay, &self.snapshotDelay);
    return true;
}

bool createSelectionStore(Library& self) {
    REDAInlineList_init(&self.currentMetricSelectionList);
    const ORX_INT8 level = REDASkiplist_getOptimumMaximumLevel(selectionIndexSize);
    if (!REDASkiplist_newDefaultAllocator(
            &self.metricSelectionIndexDescription, level, selectionIndexInitialNodes)) {
        return ORX_ERROR(FAILED_TO_CREATE, "Metric selection index node allocator");
    }
    self.metricSelectionIndex = REDASkiplist_new(&self.metricSelectionIndexDescription,
        ORX_MonitoringMetricSelectionNode_compare, nullptr, nullptr, nullptr);
    if (self.metricSelectionIndex == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Metric selection index");
    REDAFastBufferPoolProperty pool{};
    pool.growth = {.initial = 2, .maximal = REDA_FAST_BUFFER_POOL_UNLIMITED, .increment = -1};
    self.metricSelectionPool =
        REDAFastBufferPool_newWithParams(sizeof(ORX_MonitoringMetricSelectionNode), selectionNodeAlignment,
            ORX_MonitoringMetricSelectionNode_initialize, nullptr, ORX_MonitoringMetricSelectionNode_finalize,
            nullptr, &pool, "struct ORX_MonitoringMetricSelectionNode", 0);
    if (self.metricSelectionPool == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Metric Selection Node Buffer Pool");
    }
    return true;
}

// Stored as they are given, unlike those of a command.
bool storeInitialSelections(Library& self) {
    REDAInlineList selections;
    REDAInlineList_init(&selections);
    const bool result = ORX_Monitoring_metricSelectionSeqToList(
                            &self.property->metric_selection_list, &selections, self.metricSelectionPool) &&
                        ORX_Monitoring_updateMetricSelectionListAndIndex(&self, &selections);
    if (!result)
        ORX_ERROR(FAILED_TO_PROCESS, "initial Metric Selection list");
    ORX_Monitoring_clearMetricSelectionList(&selections, self.metricSelectionPool);
    return result;
}

bool createEntities(Library& self) {
    self.entities = ORX_MonitoringLibraryEntities_new(self.parent.factory, self.property);
    if (self.entities == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring library entities");
    return true;
}

bool startSnapshotThread(Library& self) {
    self.eventSnapshotThread = ORX_MonitoringEventSnapshotThread_new(
        &self.parent, self.entities->parent.event_writer, self.property, snapshotThreadName);
    if (self.eventSnapshotThread == nullptr) {
        return ORX_ERROR(
            FAILED_TO_CREATE, "Monitoring Event Snapshot Thread with name %s", snapshotThreadName);
    }
    return true;
}

bool createResources(Library& self) {
    self.resourceRegistry = ORX_MonitoringResourceRegistry_new(&self.currentMetricSelectionList);
    if (self.resourceRegistry == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring resource registry");
    self.parent.rootResource = ORX_MonitoringResource_createRoot(&self, self.property->application_name);
    if (self.parent.rootResource == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring resource application root");
    }
    return true;
}

bool startEventTaskExecutor(Library& self, const ORX_MonitoringGlobals& globals) {
    self.eventTaskExecutor = ORX_MonitoringEventTaskExecutor_new(&self.property->event, eventThreadName,
        self.entities->parent.event_writer, &globals.eventConcurrency, self.parent.rootResource->base.guid);
    if (self.eventTaskExecutor == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring event metric thread with name %s", eventThreadName);
    }
    return true;
}

// What the event generators' threads run under.
struct Identity {
    REDAWorkerFactory* workerFactory;
    ORXOsapiRtpsGuid participantGuid;
};

bool getWorkerFactory(Library& self, Identity& identity) {
    identity.workerFactory = DDS_DomainParticipantFactory_get_worker_factoryI(self.parent.factory, nullptr);
    if (identity.workerFactory == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Worker factory");
    return true;
}

bool getParticipantGuid(Library& self, Identity& identity) {
    DDS_GUID_t guid{};
    if (DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(self.entities->participant), &guid) !=
        DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_GET, "GUID of the monitoring DomainParticipant");
    DDS_GUID_copy_to_pres_guid(&guid, &identity.participantGuid);
    return true;
}

bool startPeriodicMetricCollector(Library& self, const Identity& identity) {
    self.periodicMetric = ORX_MonitoringPeriodicMetricCollector_new(&self.property->periodic,
        periodicThreadName, self.entities->parent.periodic_writer, identity.workerFactory,
        &identity.participantGuid.prefix, self.resourceRegistry);
    if (self.periodicMetric == nullptr) {
        return ORX_ERROR(
            FAILED_TO_CREATE, "Monitoring periodic event thread with name %s", periodicThreadName);
    }
    return true;
}

bool startLogging(Library& self, const ORX_MonitoringGlobals& globals) {
    self.logging = ORX_MonitoringLogging_new(loggingThreadName, &self.property->logging,
        self.entities->parent.logging_writer, &globals.loggingConcurrency,
        self.parent.rootResource->base.guid);
    if (self.logging == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring logging thread with name %s", loggingThreadName);
    return true;
}

bool enableEntities(Library& self) {
    if (!ORX_MonitoringLibraryEntities_enable(self.entities)) {
        return ORX_ERROR(FAILED_TO_ENABLE, "Monitoring Library Entities");
    }
    return true;
}

bool startCommandDispatcher(Library& self, const Identity& identity) {
    DDS_DataWriter* writer = DDS_DomainParticipant_get_builtin_datawriterI(
        self.entities->participant, DDS_SERVICE_REQUEST_TOPIC_NAME, 0);
    if (writer == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Built-in DataWriter for replier DomainParticipant.\n");
    self.commandDispatcher = ORX_MonitoringCommandDispatcher_new(&self.parent, writer, identity.workerFactory,
        &self.property->command_dispatcher, commandThreadName, &identity.participantGuid.prefix);
    if (self.commandDispatcher == nullptr) {
        return ORX_ERROR(
            FAILED_TO_CREATE, "Monitoring Command dispatcher with thread name %s", commandThreadName);
    }
    return true;
}

bool build(Library& self, DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t& property,
    const ORX_MonitoringGlobals& globals) {
    if (!createDisableSelection(self))
        return false;
    (void)ORX_MonitoringLoggingVerbositySetting_t_initialize(&self.loggingCollectionSetting);
    if (!copyProperty(self, property))
        return false;
    self.parent = operations;
    self.parent.factory = factory;
    self.status = ORX_MONITORING_STATE_ENABLED;
    Identity identity{};
    if (!createSelectionStore(self) || !storeInitialSelections(self) || !createEntities(self) ||
        !startSnapshotThread(self) || !getWorkerFactory(self, identity) || !createResources(self) ||
        !startEventTaskExecutor(self, globals) || !getParticipantGuid(self, identity) ||
        !startPeriodicMetricCollector(self, identity) || !startLogging(self, globals) ||
        !enableEntities(self) || !startCommandDispatcher(self, identity))
        return false;
    // Last: no periodic sample leaves before the library is complete.
    ORX_MonitoringPeriodicMetricCollector_setState(
        self.periodicMetric, ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_RUNNING);
    return true;
}

// ---- And of prefinalize ----

bool detachLogging(Library& self) {
    if (self.logging != nullptr && !ORX_MonitoringLogging_prefinalize(self.logging))
        return ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring logging pre-finalization.\n");
    return true;
}

// ---- And of delete, in the order in which nothing loses what it still uses ----

void deleteProperty(Library& self) {
    if (self.property == nullptr)
        return;
    (void)ORX_MonitoringProperty_t_finalize_ex(self.property, DDS_BOOLEAN_FALSE);
    ORXOsapiHeap_freeStructure(self.property);
}

void deleteSelectionStore(Library& self) {
    if (self.metricSelectionPool != nullptr) {
        ORX_Monitoring_clearMetricSelectionList(&self.currentMetricSelectionList, self.metricSelectionPool);
        REDAFastBufferPool_delete(self.metricSelectionPool);
    }
    if (self.metricSelectionIndex != nullptr) {
        REDASkiplist_clearEA(self.metricSelectionIndex);
        REDASkiplist_delete(self.metricSelectionIndex);
    }
    REDASkiplist_deleteDefaultAllocator(&self.metricSelectionIndexDescription);
}

} // namespace

void ORX_Monitoring_initialize(void) {
    ORX_MonitoringGlobals* monitoringGlobals = ORX_MonitoringGlobals_get_instance();
    ORX_LEAVE_IF(monitoringGlobals == ORX_NULL);
    monitoringGlobals->createFunction = ORX_Monitoring_create;
}

struct ORX_MonitoringClass* ORX_Monitoring_create(
    DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
    ORX_FAIL_IF(factory == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    const ORX_MonitoringGlobals* monitoringGlobals = ORX_MonitoringGlobals_get_instance();
    ORX_FAIL_IF(monitoringGlobals == ORX_NULL);
    Library* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringClassImpl)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringClass' with size %u",
            static_cast<unsigned>(sizeof *self));
    }
    if (!build(*self, factory, *property, *monitoringGlobals)) {
        // No thread that logs may be inside while what the device uses is taken down.
        (void)detachLogging(*self);
        ORX_Monitoring_delete(&self->parent);
        return nullptr;
    }
    return &self->parent;
}

DDS_Boolean ORX_Monitoring_is_shared_library(void) {
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean ORX_Monitoring_prefinalize(struct ORX_MonitoringClass* monitoringClass) {
    if (monitoringClass == nullptr)
        return DDS_BOOLEAN_FALSE;
    auto* self = reinterpret_cast<Library*>(monitoringClass);
    if (!ORX_MonitoringCommandDispatcher_prefinalize(self->commandDispatcher))
        return ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Command Dispatcher pre-finalization.");
    return detachLogging(*self);
}

void ORX_Monitoring_delete(struct ORX_MonitoringClass* monitoringClass) {
    if (monitoringClass == nullptr)
        return;
    auto* self = reinterpret_cast<Library*>(monitoringClass);
    // A thread that does not end may still use all the rest: it is left to the end of the process.
    if (!ORX_MonitoringEventSnapshotThread_delete(self->eventSnapshotThread))
        return;
    self->eventSnapshotThread = nullptr;
    if (!ORX_MonitoringEventTaskExecutor_delete(self->eventTaskExecutor))
        return;
    self->eventTaskExecutor = nullptr;
    if (!ORX_MonitoringPeriodicMetricCollector_delete(self->periodicMetric))
        return;
    self->periodicMetric = nullptr;
    if (!ORX_MonitoringLogging_delete(self->logging))
        return;
    self->logging = nullptr;
    if (self->entities != nullptr)
        ORX_MonitoringLibraryEntities_delete(self->entities, self->parent.factory);
    if (!ORX_MonitoringCommandDispatcher_delete(self->commandDispatcher))
        return;
    self->commandDispatcher = nullptr;
    ORX_MonitoringResourceRegistry_delete(self->resourceRegistry);
    deleteProperty(*self);
    (void)ORX_MonitoringLoggingVerbositySetting_t_finalize(&self->loggingCollectionSetting);
    deleteSelectionStore(*self);
    (void)DDS_MonitoringMetricSelection_finalize(&self->disableSelection);
    ORXOsapiHeap_freeStructure(self);
}
