#include "src/monitoringClass/MonitoringClassImpl.h"

#include <atomic>

#include "src/log/Log.hpp"

namespace {
constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;
}

struct ORX_MonitoringResourceRegistry* ORX_Monitoring_getResourceRegistry(
    struct ORX_MonitoringClass* monitoringClass) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    return reinterpret_cast<ORX_MonitoringClassImpl*>(monitoringClass)->resourceRegistry;
}

struct ORX_MonitoringClass* ORX_Monitoring_getPublishedClassI(void) {
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    return globals != nullptr ? std::atomic_ref(globals->monitoringClass).load(std::memory_order_acquire)
                              : nullptr;
}
