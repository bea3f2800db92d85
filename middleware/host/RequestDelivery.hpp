// Hands the service requests of the library's participant to the library, on a thread of its own.
//
// The library serves where it asks for the built-in writer while it is created. The thread takes what arrives
// there out of the reader, lets the intake decide, and calls dispatchCommandFunction with the participant's
// entity lock held and no other.
//
// Threads: start, attach and stop by the host, under the library lock or while nobody else can call; the
// observer's functions by any.
#ifndef ZDDSC_HOST_REQUEST_DELIVERY_HPP
#define ZDDSC_HOST_REQUEST_DELIVERY_HPP

#include "middleware/entities/OwnThread.hpp"
#include "middleware/entities/ServiceRequestChannel.hpp"
#include "middleware/host/RequestIntake.hpp"

namespace zdds::host {

class RequestDelivery final : ServiceRequestObserver {
public:
    // Makes the thread, which has nothing to do yet. False when it cannot be made.
    bool start();
    // What arrived before is handed over too. Cannot fail.
    void attach(DDS_DomainParticipantImpl& participant, ORX_MonitoringClass& monitoringClass);
    // Once it returns true, the library is not called any more and the participant may go. False when the
    // thread did not end. Idempotent.
    bool stop();
    ORX_MonitoringHostRequestCounters counters() const;

private:
    void onArrival() override;
    void onSent(const DDS_ServiceRequest& sample) override;
    void work();
    void takeArrivals();
    void deliver(HeldRequest& request);

    mutable Mutex mutex_;
    Condition changed_;
    RequestIntake intake_;
    DDS_DomainParticipantImpl* participant_ = nullptr;
    ORX_MonitoringClass* monitoringClass_ = nullptr;
    bool hasArrivals_ = false;
    bool isStopping_ = false;
    OwnThread thread_;
};

// The one of the process; never destroyed, since its thread may run until the process ends.
RequestDelivery& requestDelivery();

} // namespace zdds::host

#endif
