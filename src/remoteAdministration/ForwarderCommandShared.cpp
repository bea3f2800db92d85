#include "src/remoteAdministration/ForwarderCommandShared.hpp"

#include "src/log/Log.hpp"

namespace {
constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;
}

namespace orx::forwarder {

bool hasPassed(const ORXNtpTime& start, const ORXNtpTime& now, const DDS_Duration_t& duration) {
    if (DDS_Duration_is_infinite(&duration))
        return false;
    ORXNtpTime limit;
    ORXNtpTime elapsed;
    ORXNtpTime_fromSecondsAndNanoseconds(&limit, duration.sec, duration.nanosec);
    ORXNtpTime_subtract(&elapsed, &now, &start);
    return ORXNtpTime_compare(&elapsed, &limit) > 0;
}

ManagerLock::ManagerLock(const Manager& manager) : mutex_(manager.mutex) {
    if (ORXOsapiSemaphore_take(mutex_, nullptr) == ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return;
    mutex_ = nullptr;
    ORX_ERROR(FAILED_TO_LOCK, "Taking mutex for the monitoring forwarder command manager\n");
}

bool ManagerLock::unlock() {
    ORXOsapiSemaphore* mutex = mutex_;
    mutex_ = nullptr;
    return mutex == nullptr || ORXOsapiSemaphore_give(mutex) == ORX_OSAPI_SEMAPHORE_STATUS_OK ||
           ORX_ERROR(FAILED_TO_UNLOCK, "Giving mutex for the monitoring forwarder command manager\n");
}

DDS_ReturnCode_t Loan::take(DDS_QueryCondition* condition) {
    const DDS_ReturnCode_t result = DDS_ServiceRequestDataReader_take_w_condition(
        reader_, &samples_, &infos_, DDS_LENGTH_UNLIMITED, DDS_QueryCondition_as_readcondition(condition));
    isTaken_ = result == DDS_RETCODE_OK;
    return result;
}

bool Loan::giveBack() {
    if (!isTaken_)
        return true;
    isTaken_ = false;
    return DDS_ServiceRequestDataReader_return_loan(reader_, &samples_, &infos_) == DDS_RETCODE_OK;
}

Loan::~Loan() {
    (void)giveBack();
    (void)DDS_ServiceRequestSeq_finalize(&samples_);
    (void)DDS_SampleInfoSeq_finalize(&infos_);
}

} // namespace orx::forwarder
