#include "zddscore/log.h"

#include <atomic>

#define ORX_LOG_DEFINE_(name, text) const ORXLogMessageTemplate ORX_LOG_##name##_TEMPLATE = {#name, text};
#define ORX_LOG_DEFINE_FAILED_(name, text)                                                                   \
    const ORXLogMessageTemplate ORX_LOG_FAILED_TO_##name##_TEMPLATE = {                                      \
        "FAILED_TO_" #name, "failed to " text ": %s"};
ORX_LOG_TEMPLATE_LIST(ORX_LOG_DEFINE_)
ORX_LOG_FAILED_TO_LIST(ORX_LOG_DEFINE_FAILED_)
#undef ORX_LOG_DEFINE_
#undef ORX_LOG_DEFINE_FAILED_

namespace {

constexpr ORX_UINT32 defaultLevels = ORX_LOG_BIT_PRECONDITION | ORX_LOG_BIT_ERROR | ORX_LOG_BIT_WARNING;

template <typename T> void store(T& variable, T value) {
    std::atomic_ref(variable).store(value, std::memory_order_relaxed);
}

} // namespace

int ORXLog_g_detectPrecondition = 0;
int ORXLog_g_preconditionDetected = 0;
ORX_UINT32 ORXLog_g_categoryMask = 0xFFFFFFFFU;
ORX_UINT32 ORX_MonitoringLog_g_instrumentationMask = defaultLevels;
ORX_UINT32 ORX_MonitoringLog_g_submoduleMask = 0xFFFFFFFFU;
ORX_UINT32 DDSLog_g_instrumentationMask = defaultLevels;

void ORX_MonitoringLog_setBitmaps(ORX_UINT32 submoduleMask, ORX_UINT32 instrumentationMask) {
    store(ORX_MonitoringLog_g_submoduleMask, submoduleMask);
    store(ORX_MonitoringLog_g_instrumentationMask, instrumentationMask);
}

void DDSLog_setDependencyInstrumentationMask(ORX_UINT32 verbosity) {
    store(DDSLog_g_instrumentationMask, verbosity);
}

// The empty statement keeps calls from being dropped.
[[gnu::noinline]] void ORXLog_onAssertBreakpoint(void) {
    asm volatile("");
}

void ORXLog_onPreconditionFailure(void) {
    if (std::atomic_ref(ORXLog_g_detectPrecondition).load(std::memory_order_relaxed) != 0)
        store(ORXLog_g_preconditionDetected, 1);
    ORXLog_onAssertBreakpoint();
}
