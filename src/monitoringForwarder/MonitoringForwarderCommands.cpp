// Commands of the forwarder's users, and the requests that the forwarder makes by itself.
#include <atomic>

#include "src/log/Log.hpp"
#include "src/monitoringForwarder/MonitoringForwarder.h"
#include "src/remoteAdministration/ForwarderCommandManager.h"
#include "src/remoteAdministration/ForwarderCommands.h"
#include "src/resource/ApplicationRegistryLock.hpp"
#include "zddscore/heap.h"
#include "zddscore/thread.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

using Forwarder = ORX_MonitoringForwarderImpl;
using Manager = ORX_MonitoringForwarderCommandManager;
using Handler = ORX_MonitoringForwarderCommandHandler;
using Exception = DDS_Monitoring_MonitoringCommandError;

constexpr int isBlocking = 1;
constexpr int isSelfManaged = 1;
constexpr int no = 0;

Manager* managerOf(Forwarder& self) {
    return std::atomic_ref(self.commandManager).load(std::memory_order_acquire);
}

// A caller within a command: the end of the forwarder waits for it.
class Visit {
public:
    explicit Visit(Forwarder& self) : self_{self} {
        std::atomic_ref(self_.commandsInside).fetch_add(1, std::memory_order_acquire);
    }
    ~Visit() { std::atomic_ref(self_.commandsInside).fetch_sub(1, std::memory_order_release); }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

private:
    Forwarder& self_;
};

bool isAnyoneInside(Forwarder& self) {
    return std::atomic_ref(self.commandsInside).load(std::memory_order_acquire) != 0;
}

template <class Input>
using Prepare = Handler* (*)(Manager*, Exception*, const Input*, int isBlocking, int isSelfManaged);

// Prepares, sends, waits, and gives the handler back. True when the command was carried out.
template <class Input>
bool run(Forwarder& self, Exception* exception, const Input* input, Prepare<Input> prepare,
    const char* operation) {
    const Visit visit{self};
    if (exception == nullptr)
        return ORX_ERROR(BAD_PARAMETER_FAILURE, "exception cannot be NULL");
    Manager* manager = managerOf(self);
    if (manager == nullptr) {
        ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(
            ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE, exception, nullptr);
        return false;
    }
    Handler* handler = prepare(manager, exception, input, isBlocking, no);
    if (handler == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Command handler for %s command", operation);
    const bool isSent = ORX_MonitoringForwarderCommandManager_sendCommand(manager, handler);
    if (!isSent)
        ORX_ERROR(FAILED_TO_SEND, "%s command", operation);
    (void)ORX_MonitoringForwarderCommandManager_returnCommandHandler(manager, handler);
    return isSent && exception->ret_code == DDS_MONITORING_COMMAND_NO_ERROR;
}

// The registry's copies of the levels follow those of the applications.
void setLevels(ORX_MonitoringForwarder* self, Exception* exception,
    const DDS_Monitoring_LoggingGroupSequence* groups, Prepare<DDS_Monitoring_LoggingGroupSequence> prepare,
    const char* operation, int isForwarding) {
    auto& impl = *reinterpret_cast<Forwarder*>(self);
    const Visit visit{impl};
    if (run(impl, exception, groups, prepare, operation))
        (void)ORX_MonitoringForwarder_applyLoggingLevelChange(self, groups, isForwarding);
}

bool createManager(Forwarder& self, const ORX_MonitoringForwarderProperty_t& property) {
    DDS_DomainParticipant* participant =
        reinterpret_cast<ORX_MonitoringForwarderEntitiesImpl*>(self.parent.entities)->participant;
    DDS_DataWriter* writer =
        DDS_DomainParticipant_get_builtin_datawriterI(participant, DDS_SERVICE_REQUEST_TOPIC_NAME, 0);
    if (writer == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Built-in DataWriter for requester DomainParticipant.\n");
    DDS_Subscriber* subscriber = DDS_DomainParticipant_get_builtin_subscriber(participant);
    if (subscriber == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "bultin subscriber for requester DomainParticipant.\n");
    DDS_DataReader* reader = DDS_Subscriber_lookup_datareader(subscriber, DDS_SERVICE_REQUEST_TOPIC_NAME);
    if (reader == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "bultin data reader for requester DomainParticipant.\n");
    Manager* manager = ORX_MonitoringForwarderCommandManager_new(
        writer, reader, self.applicationRegistry, &property.command_manager_timeout);
    if (manager == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Forwarder command manager\n");
    std::atomic_ref(self.commandManager).store(manager, std::memory_order_release);
    return true;
}

// With the registry's mutex, under which requests are sent: none is under way with it afterwards.
Manager* takeManager(Forwarder& self) {
    orx::forwarder::RegistryLock lock{self.applicationRegistry};
    return std::atomic_ref(self.commandManager).exchange(nullptr, std::memory_order_acq_rel);
}

} // namespace

int ORX_MonitoringForwarder_createCommandManager(
    ORX_MonitoringForwarderImpl* self, const ORX_MonitoringForwarderProperty_t* property) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    return createManager(*self, *property);
}

int ORX_MonitoringForwarder_deleteCommandManager(ORX_MonitoringForwarderImpl* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->applicationRegistry == nullptr)
        return 1;
    Manager* manager = takeManager(*self);
    if (manager != nullptr && !ORX_MonitoringForwarderCommandManager_finalize(manager)) {
        std::atomic_ref(self->commandManager).store(manager, std::memory_order_release);
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Forwarder command manager\n");
    }
    constexpr ORXNtpTime interval{.sec = 0, .frac = 0x01000000}; // 4 ms
    // They have given their handlers back, and leave; one that found the manager before it was taken away may
    // still come to it, and is turned away there.
    while (isAnyoneInside(*self))
        ORXOsapiThread_sleep(&interval);
    ORXOsapiHeap_freeStructure(manager);
    return 1;
}

DDS_Boolean ORX_MonitoringForwarder_end_commandsI(ORX_MonitoringForwarder* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return ORX_MonitoringForwarder_deleteCommandManager(reinterpret_cast<Forwarder*>(self))
               ? DDS_BOOLEAN_TRUE
               : DDS_BOOLEAN_FALSE;
}

int ORX_MonitoringForwarder_requestResourceRegistryFromDestination(
    ORX_MonitoringForwarder* self, const DDS_InstanceHandle_t* destination) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(destination == ORX_NULL);
    constexpr const char* operation = "request_resource_registry";
    Manager* manager = managerOf(*reinterpret_cast<Forwarder*>(self));
    if (manager == nullptr) // the forwarder is going
        return 0;
    Handler* handler = ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
        manager, nullptr, nullptr, destination, no, isSelfManaged);
    if (handler == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Command handler for %s command", operation);
    if (!ORX_MonitoringForwarderCommandManager_sendCommand(manager, handler))
        return ORX_ERROR(FAILED_TO_SEND, "%s command", operation);
    return 1;
}

void ORX_MonitoringForwarder_request_resource_registry(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception,
    DDS_Monitoring_ResourcePathExpressionSequence* applications) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(applications == ORX_NULL);
    const Prepare<DDS_Monitoring_ResourcePathExpressionSequence> prepare =
        [](Manager* manager, Exception* result, const DDS_Monitoring_ResourcePathExpressionSequence* input,
            int blocking, int selfManaged) {
            return ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
                manager, result, input, nullptr, blocking, selfManaged);
        };
    (void)run<DDS_Monitoring_ResourcePathExpressionSequence>(
        *reinterpret_cast<Forwarder*>(self), exception, applications, prepare, "request_resource_registry");
}

void ORX_MonitoringForwarder_set_metric_subscription_state(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_MetricSelectorSequence* metrics) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(metrics == ORX_NULL);
    (void)run<DDS_Monitoring_MetricSelectorSequence>(*reinterpret_cast<Forwarder*>(self), exception, metrics,
        ORX_MonitoringForwarderCommandManager_getSetMetricSubscriptionStateHandler,
        "set_metric_subscription_state");
}

void ORX_MonitoringForwarder_update_metric_subscription_state(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_MetricSelectorSequence* metrics) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(metrics == ORX_NULL);
    (void)run<DDS_Monitoring_MetricSelectorSequence>(*reinterpret_cast<Forwarder*>(self), exception, metrics,
        ORX_MonitoringForwarderCommandManager_getUpdateMetricSubscriptionStateHandler,
        "update_metric_subscription_state");
}

void ORX_MonitoringForwarder_set_logging_forwarding_level(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_LoggingGroupSequence* logging_groups) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(logging_groups == ORX_NULL);
    setLevels(self, exception, logging_groups,
        ORX_MonitoringForwarderCommandManager_getSetLoggingForwardingLevelHandler,
        "set_logging_forwarding_level", 1);
}

void ORX_MonitoringForwarder_set_logging_collection_level(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_LoggingGroupSequence* logging_groups) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(logging_groups == ORX_NULL);
    setLevels(self, exception, logging_groups,
        ORX_MonitoringForwarderCommandManager_getSetLoggingCollectionLevelHandler,
        "set_logging_collection_level", 0);
}
