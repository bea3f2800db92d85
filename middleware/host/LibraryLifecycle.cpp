// Start and stop of the monitoring library in this process.
#include "middleware/entities/FactoryImpl.hpp"
#include "middleware/host/Host.hpp"
#include "middleware/host/RequestDelivery.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds::host {
namespace {

struct LibraryLock {
    explicit LibraryLock(ORXOsapiSemaphore* mutex) : mutex_(mutex) {
        ORXOsapiSemaphore_take(mutex_, nullptr);
    }
    ~LibraryLock() { ORXOsapiSemaphore_give(mutex_); }
    LibraryLock(const LibraryLock&) = delete;
    LibraryLock& operator=(const LibraryLock&) = delete;

private:
    ORXOsapiSemaphore* mutex_;
};

// With release, for threads that look for it without the library lock: threads of the library, and threads
// that log.
void publish(ORX_MonitoringGlobals& globals, ORX_MonitoringClass* monitoringClass) {
    std::atomic_ref(globals.monitoringClass).store(monitoringClass, std::memory_order_release);
}

ORX_MonitoringClass* startLocked(ORX_MonitoringGlobals& globals, const ORX_MonitoringProperty_t& property) {
    if (globals.createFunction == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_FIND, "create function of the monitoring library");
    if (globals.monitoringClass != nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "monitoring library: it runs already");
    MutexPool& metric = host().metricPool;
    MutexPool& logging = host().loggingPool;
    Cleanup undo([&, metricMade = metric.made(), loggingMade = logging.made()] {
        globals.eventConcurrency = globals.loggingConcurrency = {};
        metric.discard(metricMade);
        logging.discard(loggingMade);
        requestDelivery().stop();
    });
    if (!metric.reserve(property.event.concurrency_level))
        return nullptr;
    if (!logging.reserve(property.logging.concurrency_level))
        return nullptr;
    globals.eventConcurrency = {metric.mutexes(), metric.level()};
    globals.loggingConcurrency = {logging.mutexes(), logging.level()};
    DDS_DomainParticipantFactory* factory = DDS_DomainParticipantFactory_get_instance();
    if (factory == nullptr)
        return nullptr;
    if (!requestDelivery().start())
        return nullptr;
    const BuiltinWriterWatch watch;
    ORX_MonitoringClass* monitoringClass = globals.createFunction(factory, &property);
    if (monitoringClass == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "monitoring library");
    undo.dismiss();
    publish(globals, monitoringClass);
    ++globals.libraryEpoch;
    host().participant = watch.participant() != nullptr ? watch.participant()->guid : DDS_GUID_UNKNOWN;
    host().enabled.store(true, std::memory_order_release);
    if (watch.participant() != nullptr)
        requestDelivery().attach(*watch.participant(), *monitoringClass);
    return monitoringClass;
}

// The delete function has no result. It ends the library's threads before it takes down what they use, and
// gives up at one that does not end in time: then the participant is still there, and so is the object.
bool isDeleted() {
    DDS_DomainParticipantFactory* factory = DDS_DomainParticipantFactory_get_instance();
    return DDS_GUID_equals(&host().participant, &DDS_GUID_UNKNOWN) ||
           !isParticipantThere(*factory, host().participant);
}

} // namespace
} // namespace zdds::host

using zdds::host::host;

DDS_Boolean ORX_MonitoringHost_set_create_function(ORX_Monitoring_CreateFunction createFunction) {
    ZDDS_REQUIRE(createFunction != nullptr, DDS_BOOLEAN_FALSE);
    if (!ORX_MonitoringHost_initialize())
        return DDS_BOOLEAN_FALSE;
    ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
    zdds::host::LibraryLock lock(globals.mutex);
    globals.createFunction = createFunction;
    return DDS_BOOLEAN_TRUE;
}

ORX_MonitoringClass* ORX_MonitoringHost_start(const ORX_MonitoringProperty_t* property) {
    ZDDS_REQUIRE(property != nullptr, nullptr);
    if (!ORX_MonitoringHost_initialize())
        return nullptr;
    if (!host().isOfThisProcess())
        return nullptr;
    ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
    // Held until the object stands in the globals: a reader that matches at once meets a busy lock.
    zdds::host::LibraryLock lock(globals.mutex);
    return zdds::host::startLocked(globals, *property);
}

// Disabling waits for whoever holds the library lock. It is not held any longer then, since threads of the
// library that are to end may want it: they find it free and the library not enabled.
DDS_Boolean ORX_MonitoringHost_stop(void) {
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    if (globals == nullptr)
        return DDS_BOOLEAN_TRUE;
    if (!host().isOfThisProcess())
        return DDS_BOOLEAN_FALSE;
    ORX_MonitoringClass* monitoringClass = nullptr;
    {
        zdds::host::LibraryLock lock(globals->mutex);
        monitoringClass = globals->monitoringClass;
        host().enabled.store(false, std::memory_order_release);
    }
    if (monitoringClass == nullptr)
        return DDS_BOOLEAN_TRUE;
    // Who found the library enabled under one of its mutexes is out of it when that mutex has been passed.
    if (!host().metricPool.passThrough() || !host().loggingPool.passThrough())
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_FINALIZE, "monitoring library: it is in use");
    // No command reaches the library from here on.
    if (!zdds::host::requestDelivery().stop())
        return DDS_BOOLEAN_FALSE;
    // A thread that may still run needs its object: it stays, and so does its place in the globals.
    if (!monitoringClass->prefinalizeFunction(monitoringClass))
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_FINALIZE, "monitoring library: a thread did not end");
    monitoringClass->deleteFunction(monitoringClass);
    if (!zdds::host::isDeleted())
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_DELETE, "monitoring library: a thread did not end");
    zdds::host::LibraryLock lock(globals->mutex);
    zdds::host::publish(*globals, nullptr);
    globals->eventConcurrency = globals->loggingConcurrency = {};
    return DDS_BOOLEAN_TRUE;
}
