#include "src/monitoringClass/CommandEntry.h"

#include "src/log/Log.hpp"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/remoteAdministration/CommandDispatcher.h"

namespace {
constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;
}

DDS_Boolean ORX_Monitoring_dispatchCommand(struct ORX_MonitoringClass* monitoringClass,
    const DDS_ServiceRequest* sample, const DDS_SampleInfo* info) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(sample == ORX_NULL);
    ORX_FAIL_IF(info == ORX_NULL);
    ORX_MonitoringCommandDispatcher* dispatcher =
        reinterpret_cast<ORX_MonitoringClassImpl*>(monitoringClass)->commandDispatcher;
    if (dispatcher == nullptr || !ORX_MonitoringCommandDispatcher_isRunning(dispatcher))
        return DDS_BOOLEAN_TRUE;
    return ORX_MonitoringCommandDispatcher_dispatchCommand(dispatcher, sample, info) != 0;
}
