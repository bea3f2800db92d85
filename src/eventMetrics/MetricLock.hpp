// The metric mutex of an index as a guard, with its two messages.
#ifndef ORX_METRIC_LOCK_HPP
#define ORX_METRIC_LOCK_HPP

#include "src/log/Log.hpp"
#include "zddsc/monitoring.h"

namespace orx::event {

class MetricLock {
public:
    explicit MetricLock(ORX_UINT32 index) : index_{index} {
        held_ = ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, index_, 1, 1, nullptr) ==
                ORX_MONITORING_LOCK_RESULT_OK;
        if (!held_)
            ORX_ERROR(FAILED_TO_LOCK, "Taking Monitoring event mutex with index %u\n", index_);
    }
    ~MetricLock() { (void)release(); }
    MetricLock(const MetricLock&) = delete;
    MetricLock& operator=(const MetricLock&) = delete;

    explicit operator bool() const { return held_; }
    // True when it is not held, or could be given.
    bool release() {
        if (!held_)
            return true;
        held_ = false;
        if (ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, index_, 1) != 0) {
            return ORX_ERROR(FAILED_TO_UNLOCK, "Giving Monitoring event mutex with index %u\n", index_);
        }
        return true;
    }

private:
    static constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;
    ORX_UINT32 index_;
    bool held_;
};

} // namespace orx::event

#endif
