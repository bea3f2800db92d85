// What callers and the manager's thread share without a common lock, and the guards for the rest.
#ifndef ORX_FORWARDER_COMMAND_SHARED_HPP
#define ORX_FORWARDER_COMMAND_SHARED_HPP

#include <atomic>

#include "src/remoteAdministration/ForwarderCommandManager.h"
#include "src/remoteAdministration/ServiceIds.h"

namespace orx::forwarder {

using Manager = ORX_MonitoringForwarderCommandManager;
using Handler = ORX_MonitoringForwarderCommandHandler;
using Status = ORX_MonitoringForwarderCommandHandlerStatus;

// Between two looks of the manager's thread at the time-outs. A test that waits for many of them shortens it,
// while no manager is alive.
inline DDS_Duration_t wakePeriod{0, 500'000'000};

// ---- A handler's state ----

// Pairs with the release of setState: who sees a command done sees its result too.
inline Status stateOf(const Handler& handler) {
    return std::atomic_ref(const_cast<Status&>(handler.state)).load(std::memory_order_acquire);
}
inline void setState(Handler& handler, Status state) {
    std::atomic_ref(handler.state).store(state, std::memory_order_release);
}
inline bool isPending(const Handler& handler) {
    return stateOf(handler) == ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE;
}
inline bool isAttached(const Handler& handler) {
    return std::atomic_ref(const_cast<int&>(handler.isConditionAttached)).load(std::memory_order_acquire) !=
           0;
}
// Cleared last of all: from then on the handler may be somebody else's.
inline void setAttached(Handler& handler, bool isAttached) {
    std::atomic_ref(handler.isConditionAttached).store(isAttached ? 1 : 0, std::memory_order_release);
}
inline void tell(const Handler& handler, Status status, const char* message = nullptr) {
    ORX_MonitoringForwarderCommandHandlerStatus_populateCommandException(
        status, handler.commandException, message);
}
inline void tellFailure(const Handler& handler, const char* message) {
    tell(handler, ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE, message);
}

// More than the duration, which may be infinite.
bool hasPassed(const ORXNtpTime& start, const ORXNtpTime& now, const DDS_Duration_t& duration);

// ---- The end of a manager ----

// Callers announce themselves and then look whether commands are taken; the end of the manager says that none
// are, and then looks for callers. Sequential consistency makes one of the two see the other.
inline bool isTakingCommands(const Manager& manager) {
    return std::atomic_ref(const_cast<int&>(manager.takingCommands)).load(std::memory_order_seq_cst) != 0;
}
inline void setTakingCommands(Manager& manager, bool isTaking) {
    std::atomic_ref(manager.takingCommands).store(isTaking ? 1 : 0, std::memory_order_seq_cst);
}

// The calling thread uses the manager: its end waits. Never around a wait for a command.
class Inside {
public:
    explicit Inside(Manager& manager) : inside_(manager.inside) {
        inside_.fetch_add(1, std::memory_order_seq_cst);
    }
    // The last touch of the manager; what was done in here is seen by who takes it down.
    ~Inside() { inside_.fetch_sub(1, std::memory_order_seq_cst); }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    static bool isAnybody(Manager& manager) {
        return std::atomic_ref(manager.inside).load(std::memory_order_seq_cst) != 0;
    }

private:
    std::atomic_ref<DDS_UnsignedLong> inside_;
};

// ---- Guards ----

// The mutex of a handler, of which the manager's own has none, for a block.
class HandlerLock {
public:
    explicit HandlerLock(const Handler& handler) : lock_(handler.lock) {
        if (lock_ != nullptr)
            (void)ORXOsapiSemaphore_take(lock_, nullptr);
    }
    ~HandlerLock() {
        if (lock_ != nullptr)
            (void)ORXOsapiSemaphore_give(lock_);
    }
    HandlerLock(const HandlerLock&) = delete;
    HandlerLock& operator=(const HandlerLock&) = delete;

private:
    ORXOsapiSemaphore* lock_;
};

// The manager's mutex, for a block. A failure is a line of the log.
class ManagerLock {
public:
    explicit ManagerLock(const Manager& manager);
    ~ManagerLock() { (void)unlock(); }
    ManagerLock(const ManagerLock&) = delete;
    ManagerLock& operator=(const ManagerLock&) = delete;
    bool isHeld() const { return mutex_ != nullptr; }
    // False when it could not be given.
    bool unlock();

private:
    ORXOsapiSemaphore* mutex_;
};

// A sample of the channel about one command, finalized with its scope.
class CommandSample {
public:
    explicit CommandSample(const Handler& handler) : sample(DDS_SERVICE_REQUEST_DEFAULT) {
        sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
        sample.instance_id = handler.commandUuid;
    }
    ~CommandSample() { (void)DDS_ServiceRequest_finalize(&sample); }
    CommandSample(const CommandSample&) = delete;
    CommandSample& operator=(const CommandSample&) = delete;
    DDS_ServiceRequest sample;
};

// Samples on loan from the channel's reader, returned with their scope at the latest.
class Loan {
public:
    explicit Loan(const Manager& manager)
        : reader_(DDS_ServiceRequestDataReader_narrow(manager.reader)), samples_{}, infos_{} {}
    ~Loan();
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    DDS_ReturnCode_t take(DDS_QueryCondition* condition);
    DDS_Long length() const { return isTaken_ ? DDS_ServiceRequestSeq_get_length(&samples_) : 0; }
    const DDS_ServiceRequest& sample(DDS_Long index) const {
        return *DDS_ServiceRequestSeq_get_reference(&samples_, index);
    }
    const DDS_SampleInfo& info(DDS_Long index) const {
        return *DDS_SampleInfoSeq_get_reference(&infos_, index);
    }
    // False when it could not be returned.
    bool giveBack();

private:
    DDS_ServiceRequestDataReader* reader_;
    DDS_ServiceRequestSeq samples_;
    DDS_SampleInfoSeq infos_;
    bool isTaken_ = false;
};

} // namespace orx::forwarder

#endif
