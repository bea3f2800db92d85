/* How much the library logs. Threads: any. */
#ifndef ORX_LOG_MASK_H
#define ORX_LOG_MASK_H

#include "src/Export.h"
#include "zddscore/types.h"

ZDDS_BEGIN_C

/* The level bits (zddscore/log.h) of all submodules of the library, and of the layers that it stands on. */
ORX_EXPORT void ORX_MonitoringLog_setDependencyInstrumentationMask(ORX_UINT32 verbosity);

ZDDS_END_C

#endif
