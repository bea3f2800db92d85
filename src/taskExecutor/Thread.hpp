// A thread of the library with the settings of a property: how it starts, and how long a stop waits for it.
#ifndef ORX_TASK_EXECUTOR_THREAD_HPP
#define ORX_TASK_EXECUTOR_THREAD_HPP

#include "src/log/Log.hpp"
#include "zddsc/thread_settings.h"
#include "zddscore/thread.h"

namespace orx {

constexpr int threadStopTimeoutMs = 20000;

// The started thread, or null. `orxLogSubmodule` is that of the caller, for the line about the CPU list; the
// line about the thread is the caller's.
inline ORXOsapiJoinableThread* startThread(ORX_UINT32 orxLogSubmodule, const char* name,
    const DDS_ThreadSettings_t& settings, ORXOsapiJoinableThreadFunction function, void* param) {
    ORXOsapiCpuBitmap bitmap{};
    if (!DDS_ThreadSettings_cpuListToBitmap(&bitmap, &settings.cpu_list, settings.cpu_rotation))
        return ORX_ERROR(FAILED_TO_GET, "CPU Bitmap");
    return ORXOsapiJoinableThread_new(name, settings.priority, static_cast<int>(settings.mask),
        settings.stack_size, &bitmap, function, param);
}

} // namespace orx

#endif
