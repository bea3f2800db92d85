// From creation to deletion, and the pool of handlers.
#include "src/remoteAdministration/ForwarderCommandManager.h"

#include "src/log/Log.hpp"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"
#include "zddscore/heap.h"
#include "zddscore/text.h"
#include "zddscore/thread.h"

const DDS_GUID_t ORX_MonitoringForwarderCommandManager_g_asynchronousGUID{
    {0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x01, 0x01}};

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using namespace orx::forwarder;

constexpr size_t expressionSize = 100;
constexpr char threadName[] = "oMoComMa";

ORXNtpTime milliseconds(ORX_UINT32 count) {
    return {0, ORXNtpTime_fractionFromMilliseconds(count)};
}

// ---- Creation ----

bool makeClock(Manager& self) {
    self.clockIsMonotonic = ORXMonotonicClockUtility_isSupported();
    self.clock = self.clockIsMonotonic ? ORXMonotonicClock_new() : ORXSystemClock_new();
    return self.clock != nullptr ||
           ORX_ERROR(FAILED_TO_CREATE, "Clock for the monitoring forwarder command manager");
}

bool makeMutex(Manager& self) {
    self.mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    return self.mutex != nullptr ||
           ORX_ERROR(FAILED_TO_CREATE, "Mutex for the monitoring forwarder command manager");
}

// Callers and the manager's thread meet at the pool, so that it locks itself.
bool makePool(Manager& self) {
    constexpr REDAFastBufferPoolProperty property{
        .growth = {.initial = 2, .maximal = REDA_FAST_BUFFER_POOL_UNLIMITED, .increment = -1},
        .multiThreadedAccess = 1,
        .zeroBufferContent = 0,
        .ignoreMaximal = 0,
        .dynamicAlloc = 0};
    self.commandHandlerPool = REDAFastBufferPool_newWithParams(sizeof(Handler), 8,
        &ORX_MonitoringForwarderCommandHandler_initialize, nullptr,
        &ORX_MonitoringForwarderCommandHandler_finalize, nullptr, &property,
        "struct ORX_MonitoringForwarderCommandHandler", 0);
    return self.commandHandlerPool != nullptr ||
           ORX_ERROR(FAILED_TO_CREATE, "Command handler pool for the monitoring forwarder command manager");
}

bool makeWaitSet(Manager& self) {
    self.asyncWaitSetListener = {};
    self.asyncWaitSetListener.listener_data = &self;
    self.asyncWaitSetListener.on_wait_timeout = &ORXMonitoringForwarderCommandManager_onWaitTimeoutCallback;
    self.asyncWaitSetListener.on_condition_detached =
        &ORXMonitoringForwarderCommandManager_onConditionDetachedCallback;
    char name[sizeof threadName];
    (void)ORXOsapiUtility_strcpy(name, sizeof name - 1, threadName);
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.wait_timeout = wakePeriod;
    property.thread_name_prefix = name; // borrowed for the call
    self.asyncWaitSet = DDS_AsyncWaitSet_new_with_listener(&property, &self.asyncWaitSetListener);
    return self.asyncWaitSet != nullptr ||
           ORX_ERROR(FAILED_TO_CREATE, "AsyncWaitSet for the monitoring forwarder command manager");
}

bool makeForwardHandler(Manager& self) {
    Handler*& handler = self.forwardCommandHandler;
    if (!ORXOsapiHeap_allocateStructure(&handler, ORX_MonitoringForwarderCommandHandler))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "struct ORX_MonitoringForwarderCommandHandler");
    char expression[expressionSize];
    if (ORXOsapiUtility_snprintf(
            expression, sizeof expression, "service_id = %d", ORX_MONITORING_COMMAND_SERVICE_ID) < 0)
        return ORX_ERROR(FAILED_TO_CREATE, "Query condition to forward commands");
    const DDS_StringSeq none{};
    handler->queryCondition = DDS_DataReader_create_querycondition(self.reader, DDS_NOT_READ_SAMPLE_STATE,
        DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE, expression, &none);
    if (handler->queryCondition == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Query condition to forward commands");
    handler->manager = &self;
    handler->state = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PERMANENT_STATE;
    handler->parent = {handler, &ORX_MonitoringForwarderCommandManager_onForwardCommandTriggered};
    DDS_Condition* condition = DDS_QueryCondition_as_condition(handler->queryCondition);
    if (DDS_Condition_set_handler(condition, &handler->parent) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_SET, "Handler of the query condition to forward commands");
    if (DDS_AsyncWaitSet_attach_condition(self.asyncWaitSet, condition) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_ATTACH, "Query condition to forward commands");
    return true;
}

// The reader keeps the queue when the manager goes: another manager may use the same reader.
bool makeAsynchronousWriter(Manager& self) {
    DDS_DataWriterQos qos{};
    if (DDS_DataWriterQos_initialize(&qos) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Service request DataWriter QoS");
    DDS_ReturnCode_t result = DDS_DataWriter_get_qos(self.writer, &qos);
    if (result != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_GET, "Service request DataWriter QoS");
    else if ((result = DDS_DataReader_assert_remote_writer_queue(self.reader,
                  &ORX_MonitoringForwarderCommandManager_g_asynchronousGUID, &qos)) != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_ASSERT, "Remote writer queue for asynchronous commands");
    (void)DDS_DataWriterQos_finalize(&qos);
    return result == DDS_RETCODE_OK;
}

bool startThread(Manager& self) {
    if (DDS_AsyncWaitSet_start(self.asyncWaitSet) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_ENABLE, "AsyncWaitSet for the monitoring forwarder command manager");
    setTakingCommands(self, true);
    return true;
}

// ---- The end ----

// Whether more than the manager's time-out has passed since `start`; a clock that fails has run out.
bool isOverdue(Manager& self, const ORXNtpTime& start) {
    ORXNtpTime now;
    if (!self.clock->getTime(self.clock, &now))
        return true;
    return hasPassed(start, now, self.timeout);
}

// Who is inside a call leaves in a moment: nobody waits for the network in there. Who comes later sees that
// no commands are taken.
bool waitForCallers(Manager& self) {
    ORXNtpTime start;
    const ORXNtpTime moment = milliseconds(1);
    if (!Inside::isAnybody(self))
        return true;
    if (!self.clock->getTime(self.clock, &start))
        return ORX_ERROR(FAILED_TO_GET, "Timestamp to wait for the callers");
    while (Inside::isAnybody(self)) {
        if (isOverdue(self, start))
            return ORX_ERROR(FAILED_TO_RETURN, "All callers of the command manager. Timeout");
        ORXOsapiThread_sleep(&moment);
    }
    return true;
}

// With the thread stopped and no caller inside, what is pending is so until it is ended here. Its
// destinations get their dispose, like those of any other command.
bool endCommand(Manager& self, DDS_Condition* condition) {
    auto& handler = *static_cast<Handler*>(DDS_Condition_get_handler(condition)->handler_data);
    const bool isSelfManaged = handler.isSelfManaged != 0;
    const bool wasPending = isPending(handler);
    if (wasPending && !ORX_MonitoringForwarderCommandManager_disposeCommand(&self, &handler))
        ORX_ERROR(FAILED_TO_SEND, "Dispose message for command");
    if (DDS_AsyncWaitSet_detach_condition(self.asyncWaitSet, condition) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_DETACH, "Condition from asynchronous waitset in the command manager\n");
    // A self-managed handler is back in the pool by now; one that had ended may be back with its caller.
    if (isSelfManaged || !wasPending)
        return true;
    tell(handler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE);
    setState(handler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE);
    (void)ORXOsapiSemaphore_give(handler.settled);
    return true;
}

bool endCommands(Manager& self) {
    if (DDS_AsyncWaitSet_stop(self.asyncWaitSet) != DDS_RETCODE_OK)
        ORX_WARNING(FAILED_TO_FINALIZE, "Asynchronous waitset of the command manager");
    DDS_ConditionSeq conditions{};
    bool result = DDS_AsyncWaitSet_get_conditions(self.asyncWaitSet, &conditions) == DDS_RETCODE_OK ||
                  ORX_ERROR(FAILED_TO_GET, "Sequence of conditions of the command manager\n");
    for (DDS_Long i = DDS_ConditionSeq_get_length(&conditions); result && i-- > 0;)
        result = endCommand(self, *DDS_ConditionSeq_get_reference(&conditions, i));
    (void)DDS_ConditionSeq_finalize(&conditions);
    return result;
}

int handlersInUse(const Manager& self) {
    REDAFastBufferPoolInfo info{};
    REDAFastBufferPool_getInfo(self.commandHandlerPool, &info);
    return info.bufferInUse;
}

bool deleteWaitSet(Manager& self) {
    if (self.asyncWaitSet != nullptr && DDS_AsyncWaitSet_delete(self.asyncWaitSet) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_DELETE, "AsyncWaitSet for the monitoring forwarder command manager");
    self.asyncWaitSet = nullptr;
    return true;
}

void deleteForwardHandler(Manager& self) {
    Handler* handler = self.forwardCommandHandler;
    if (handler == nullptr)
        return;
    if (handler->queryCondition != nullptr &&
        DDS_DataReader_delete_readcondition(
            self.reader, DDS_QueryCondition_as_readcondition(handler->queryCondition)) != DDS_RETCODE_OK)
        ORX_ERROR(FAILED_TO_DELETE, "Query condition to forward commands");
    ORXOsapiHeap_freeStructure(handler);
    self.forwardCommandHandler = nullptr;
}

void deleteClock(Manager& self) {
    if (self.clockIsMonotonic)
        ORXMonotonicClock_delete(self.clock);
    else
        ORXSystemClock_delete(self.clock);
    self.clock = nullptr;
}

} // namespace

ORX_MonitoringForwarderCommandManager* ORX_MonitoringForwarderCommandManager_new(
    DDS_DataWriter* builtinServiceRequestWriter, DDS_DataReader* builtinServiceRequestReader,
    ORX_MonitoringForwarderApplicationRegistry* applicationRegistry, const DDS_Duration_t* requestTimeout) {
    ORX_FAIL_IF(builtinServiceRequestWriter == ORX_NULL);
    ORX_FAIL_IF(builtinServiceRequestReader == ORX_NULL);
    ORX_FAIL_IF(applicationRegistry == ORX_NULL);
    ORX_FAIL_IF(requestTimeout == ORX_NULL);
    Manager* self;
    if (!ORXOsapiHeap_allocateStructure(&self, ORX_MonitoringForwarderCommandManager)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringForwarderCommandManager' with size %u\n",
            static_cast<unsigned>(sizeof(Manager)));
    }
    if (ORX_MonitoringForwarderCommandManager_initialize(self, builtinServiceRequestWriter,
            builtinServiceRequestReader, applicationRegistry, requestTimeout))
        return self;
    ORXOsapiHeap_freeStructure(self);
    return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring forwarder command manager\n");
}

int ORX_MonitoringForwarderCommandManager_initialize(ORX_MonitoringForwarderCommandManager* self,
    DDS_DataWriter* builtinServiceRequestWriter, DDS_DataReader* builtinServiceRequestReader,
    ORX_MonitoringForwarderApplicationRegistry* applicationRegistry, const DDS_Duration_t* requestTimeout) {
    ORX_FAIL_IF(self == ORX_NULL);
    *self = Manager{};
    self->writer = builtinServiceRequestWriter;
    self->reader = builtinServiceRequestReader;
    self->timeout = *requestTimeout;
    self->applicationRegistry = applicationRegistry;
    if (makeClock(*self) && makeMutex(*self) && makePool(*self) && makeWaitSet(*self) &&
        makeForwardHandler(*self) && makeAsynchronousWriter(*self) && startThread(*self))
        return 1;
    (void)ORX_MonitoringForwarderCommandManager_finalize(self);
    return 0;
}

// A caller has half a second to come back before the first look; who comes back after the time-out is too
// late, though he has come.
int ORX_MonitoringForwarderCommandManager_waitForAllHandlers(ORX_MonitoringForwarderCommandManager* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->commandHandlerPool == nullptr)
        return 1;
    ORXNtpTime start;
    const ORXNtpTime period = milliseconds(500);
    if (!self->clock->getTime(self->clock, &start))
        return ORX_ERROR(FAILED_TO_GET, "Timestamp to wait for all handlers");
    while (handlersInUse(*self) != 0) {
        ORXOsapiThread_sleep(&period);
        if (!isOverdue(*self, start))
            continue;
        if (handlersInUse(*self) != 0)
            ORX_ERROR(FAILED_TO_RETURN, "All Command Handlers. Timeout");
        return 0;
    }
    return 1;
}

int ORX_MonitoringForwarderCommandManager_finalize(ORX_MonitoringForwarderCommandManager* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    setTakingCommands(*self, false);
    if (!waitForCallers(*self))
        return 0;
    if (self->asyncWaitSet != nullptr && !endCommands(*self))
        return 0;
    ORX_MonitoringForwarderCommandManager_forwardWaiting(self);
    if (!ORX_MonitoringForwarderCommandManager_waitForAllHandlers(self)) {
        return ORX_ERROR(FAILED_TO_RETURN,
            "All buffers to the command handler pool. At least a command was running while disabling the "
            "CommandManager and it has failed to return its command handler before the timeout");
    }
    // The last handler is back; its caller may be on the way out.
    if (!waitForCallers(*self) || !deleteWaitSet(*self))
        return 0;
    deleteForwardHandler(*self);
    deleteClock(*self);
    REDAFastBufferPool_delete(self->commandHandlerPool);
    self->commandHandlerPool = nullptr;
    self->writer = nullptr;
    self->reader = nullptr;
    self->timeout = DDS_DURATION_ZERO;
    ORXOsapiSemaphore_delete(self->mutex);
    self->mutex = nullptr;
    return 1;
}

int ORX_MonitoringForwarderCommandManager_delete(ORX_MonitoringForwarderCommandManager* self) {
    if (self == nullptr)
        return 1;
    if (!ORX_MonitoringForwarderCommandManager_finalize(self))
        return 0;
    ORXOsapiHeap_freeStructure(self);
    return 1;
}

ORX_MonitoringForwarderCommandHandler* ORX_MonitoringForwarderCommandManager_getCommandHandler(
    ORX_MonitoringForwarderCommandManager* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    const Inside inside{*self};
    if (!isTakingCommands(*self)) // then the pool may be gone
        return nullptr;
    auto* handler = static_cast<Handler*>(REDAFastBufferPool_getBufferWithSize(self->commandHandlerPool, -1));
    if (handler == nullptr)
        return nullptr;
    handler->parent = {};
    handler->commandUuid = DDS_GUID_ZERO;
    handler->timestamp = ORX_NTP_TIME_ZERO;
    handler->queryCondition = nullptr;
    setAttached(*handler, false);
    handler->commandException = nullptr;
    handler->manager = self;
    handler->replyDestination = nullptr;
    handler->expectedSamples = 0;
    handler->receivedSamples = 0;
    handler->receivedOkResponse = 0;
    setState(*handler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE);
    handler->commandHash = 0;
    handler->propagateReply = 0;
    handler->isBlocking = 0;
    handler->isSelfManaged = 0;
    handler->nextToForward = nullptr;
    return handler;
}

int ORX_MonitoringForwarderCommandManager_returnCommandHandler(
    ORX_MonitoringForwarderCommandManager* self, ORX_MonitoringForwarderCommandHandler* commandHandler) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(commandHandler == ORX_NULL);
    const Inside inside{*self};
    const bool isConditionAttached = isAttached(*commandHandler);
    ORX_FAIL_IF(isConditionAttached);
    ORX_MonitoringForwarderCommandHandler_cleanupCommand(commandHandler);
    REDAFastBufferPool_returnBuffer(self->commandHandlerPool, commandHandler);
    return 1;
}
