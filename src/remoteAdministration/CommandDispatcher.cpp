// Birth and death of the dispatcher.
#include "src/remoteAdministration/CommandDispatcher.h"

#include "src/entities/LibraryEntities.h"
#include "src/log/Log.hpp"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using Dispatcher = ORX_MonitoringCommandDispatcher;
using EventData = ORX_MonitoringCommandDispatcherEventData;

constexpr size_t eventDataAlignment = 8;

// On the thread, as it ends.
void onStopGenerator(void* /*object*/, void* param, REDAWorker* /*worker*/) {
    auto* self = static_cast<Dispatcher*>(param);
    ORX_LEAVE_IF(self == ORX_NULL);
    if (ORXOsapiSemaphore_give(self->binSem) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        ORX_ERROR(FAILED_TO_UNLOCK, "Giving monitoring command dispatcher binary semaphore\n");
}

bool createPool(Dispatcher& self) {
    REDAInlineList_init(&self.pendingCommandList);
    REDAFastBufferPoolProperty pool{};
    pool.growth = {.initial = 2, .maximal = REDA_FAST_BUFFER_POOL_UNLIMITED, .increment = -1};
    self.eventDataPool = REDAFastBufferPool_newWithParams(sizeof(EventData), eventDataAlignment, nullptr,
        nullptr, nullptr, nullptr, &pool, "struct ORX_MonitoringCommandDispatcherEventData", 0);
    if (self.eventDataPool == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Event data fast buffer pool");
    return true;
}

bool createTools(Dispatcher& self) {
    const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    self.clock = globals != nullptr ? globals->eventClock : nullptr;
    if (self.clock == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Clock for the event thread\n");
    self.timer = ORXEventSmartTimer_new();
    if (self.timer == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Timer\n");
    self.binSem = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    if (self.binSem == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Binary semaphore\n");
    return true;
}

bool fillGeneratorProperty(
    ORXEventActiveGeneratorProperty& generator, const ORX_MonitoringCommandDispatcherProperty_t* property) {
    constexpr ORXNtpTime infinite = ORX_NTP_TIME_INFINITE;
    ORX_FAIL_IF(property->thread_setting.mask > 2147483647);
    generator.parent.growth = {.initial = 100, .maximal = REDA_FAST_BUFFER_POOL_UNLIMITED, .increment = -1};
    generator.parent.eventTimeThreshold.sec = ORX_NTP_TIME_MAX_SEC;
    generator.active.priority = property->thread_setting.priority;
    generator.active.stackSize = property->thread_setting.stack_size;
    generator.active.options = static_cast<int>(property->thread_setting.mask);
    if (!DDS_ThreadSettings_cpuListToBitmap(&generator.active.bitmap, &property->thread_setting.cpu_list,
            property->thread_setting.cpu_rotation))
        return ORX_ERROR(FAILED_TO_CONVERT_TYPE, "CPU list of the command thread");
    for (char& letter : generator.threadParticipantId)
        letter = '#';
    generator.threadParticipantId[sizeof generator.threadParticipantId - 1] = '\0';
    generator.reschedulingPolicy = ORX_EVENT_ACTIVE_GENERATOR_OVERRIDE_RESCHEDULING_POLICY;
    generator.maxEventInterval = infinite;
    return true;
}

bool startThread(Dispatcher& self, REDAWorkerFactory* workerFactory,
    const ORX_MonitoringCommandDispatcherProperty_t* property, const char* threadName,
    const ORXOsapiRtpsGuidPrefix* guidPrefix) {
    self.generatorListener.parent.onStopped = onStopGenerator;
    self.generatorListener.parent.onStoppedParam = &self;
    ORXEventActiveGeneratorProperty generator{};
    if (!fillGeneratorProperty(generator, property))
        return false;
    self.generator = ORXEventActiveGenerator_new(threadName, workerFactory, self.clock, self.timer,
        &self.generatorListener, &generator, nullptr, guidPrefix, nullptr);
    if (self.generator == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Event generator\n");
    return true;
}

bool build(Dispatcher& self, REDAWorkerFactory* workerFactory,
    const ORX_MonitoringCommandDispatcherProperty_t* property, const char* threadName,
    const ORXOsapiRtpsGuidPrefix* guidPrefix) {
    if (!ORX_MonitoringCommandDispatcherProperty_t_copy(&self.property, property))
        return ORX_ERROR(FAILED_TO_COPY, "Command dispatcher property");
    return createPool(self) && createTools(self) &&
           startThread(self, workerFactory, property, threadName, guidPrefix);
}

const DDS_Entity* participantOf(const Dispatcher& self) {
    const auto* library = reinterpret_cast<const ORX_MonitoringClassImpl*>(self.monitoringClass);
    return library->entities != nullptr ? DDS_DomainParticipant_as_entity(library->entities->participant)
                                        : nullptr;
}

bool stop(Dispatcher& self) {
    const DDS_Entity* participant = participantOf(self);
    if (participant == nullptr || DDS_Entity_lock(participant) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Monitoring Library DomainParticipant");
    ORX_MonitoringCommandDispatcher_setState(&self, ORX_MONITORING_COMMAND_DISPATCHER_STATUS_STOPPED);
    if (DDS_Entity_unlock(participant) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_UNLOCK, "Monitoring Library DomainParticipant");
    return true;
}

bool waitForThread(Dispatcher& self) {
    const DDS_Duration_t& bound = self.property.destruction_timeout;
    ORXNtpTime timeout;
    DDS_Duration_to_ntp_time(&bound, &timeout);
    if (!ORXEventActiveGenerator_shutdown(self.generator, nullptr))
        return ORX_ERROR(FAILED_TO_FINALIZE, "Event generator\n");
    if (ORXOsapiSemaphore_take(self.binSem, &timeout) != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
        return ORX_ERROR(
            FAILED_TO_LOCK, "Taking failure after timeout (%ds %uns).", bound.sec, bound.nanosec);
    }
    // The thread gives it once, and whoever asks again finds it stopped as well.
    (void)ORXOsapiSemaphore_give(self.binSem);
    return true;
}

void discardPending(Dispatcher& self) {
    while (REDAInlineListNode* node = REDAInlineList_getFirst(&self.pendingCommandList)) {
        REDAInlineList_removeNodeEA(&self.pendingCommandList, node);
        auto* eventData = reinterpret_cast<EventData*>(node);
        DDS_Monitoring_MonitoringService_Request_finalize(&eventData->command);
        REDAFastBufferPool_returnBuffer(self.eventDataPool, eventData);
    }
}

} // namespace

ORX_MonitoringCommandDispatcher* ORX_MonitoringCommandDispatcher_new(
    struct ORX_MonitoringClass* monitoringClass, DDS_DataWriter* builtinWriter,
    REDAWorkerFactory* workerFactory, const ORX_MonitoringCommandDispatcherProperty_t* property,
    const char* threadName, const ORXOsapiRtpsGuidPrefix* guidPrefix) {
    Dispatcher* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringCommandDispatcher)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringCommandDispatcher' with size %u",
            static_cast<unsigned>(sizeof *self));
    }
    if (!ORX_MonitoringCommandDispatcher_initialize(
            self, monitoringClass, builtinWriter, workerFactory, property, threadName, guidPrefix)) {
        ORXOsapiHeap_freeStructure(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring Command dispatcher\n");
    }
    return self;
}

// Nothing can fail once the thread runs, so a failure has no thread to wait for.
int ORX_MonitoringCommandDispatcher_initialize(ORX_MonitoringCommandDispatcher* self,
    struct ORX_MonitoringClass* monitoringClass, DDS_DataWriter* builtinWriter,
    REDAWorkerFactory* workerFactory, const ORX_MonitoringCommandDispatcherProperty_t* property,
    const char* threadName, const ORXOsapiRtpsGuidPrefix* guidPrefix) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(builtinWriter == ORX_NULL);
    ORX_FAIL_IF(workerFactory == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    ORX_FAIL_IF(threadName == ORX_NULL);
    *self = Dispatcher{};
    self->monitoringClass = monitoringClass;
    self->writer = builtinWriter;
    if (build(*self, workerFactory, property, threadName, guidPrefix))
        return 1;
    if (ORX_MonitoringCommandDispatcher_prefinalize(self))
        (void)ORX_MonitoringCommandDispatcher_finalize(self);
    return 0;
}

int ORX_MonitoringCommandDispatcher_prefinalize(ORX_MonitoringCommandDispatcher* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (!stop(*self))
        return 0;
    return self->generator == nullptr || waitForThread(*self);
}

int ORX_MonitoringCommandDispatcher_finalize(ORX_MonitoringCommandDispatcher* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORXEventActiveGenerator_delete(self->generator, nullptr);
    self->generator = nullptr;
    if (self->eventDataPool != nullptr)
        discardPending(*self);
    REDAFastBufferPool_delete(self->eventDataPool);
    self->eventDataPool = nullptr;
    self->clock = nullptr;
    ORXEventSmartTimer_delete(self->timer);
    self->timer = nullptr;
    if (self->binSem != nullptr && !ORXOsapiSemaphore_delete(self->binSem))
        return ORX_ERROR(FAILED_TO_DELETE, "Binary semaphore\n");
    self->binSem = nullptr;
    self->writer = nullptr;
    self->property.reply_timeout = DDS_DURATION_ZERO;
    self->property.lock_timeout = DDS_DURATION_ZERO;
    self->property.destruction_timeout = DDS_DURATION_ZERO;
    (void)DDS_ThreadSettings_t_finalize(&self->property.thread_setting);
    self->monitoringClass = nullptr;
    return 1;
}

int ORX_MonitoringCommandDispatcher_delete(ORX_MonitoringCommandDispatcher* self) {
    if (self == nullptr)
        return 1;
    if (!ORX_MonitoringCommandDispatcher_finalize(self))
        return 0;
    ORXOsapiHeap_freeStructure(self);
    return 1;
}
