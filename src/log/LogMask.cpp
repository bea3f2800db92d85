#include "src/log/LogMask.h"

#include "zddscore/log.h"

void ORX_MonitoringLog_setDependencyInstrumentationMask(ORX_UINT32 verbosity) {
    constexpr ORX_UINT32 allSubmodules = 0xFFFFFFFFU;
    ORX_MonitoringLog_setBitmaps(allSubmodules, verbosity);
    DDSLog_setDependencyInstrumentationMask(verbosity);
}
