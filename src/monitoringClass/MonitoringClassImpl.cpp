#include "src/monitoringClass/MonitoringClassImpl.h"

#include "src/log/Log.hpp"

namespace {
constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;
}

struct ORX_MonitoringResourceRegistry* ORX_Monitoring_getResourceRegistry(
    struct ORX_MonitoringClass* monitoringClass) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    return reinterpret_cast<ORX_MonitoringClassImpl*>(monitoringClass)->resourceRegistry;
}
