// One-line failure reports of the library.
//
// Each source file names its submodule once, in its anonymous namespace:
//     constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;
// and then reports in one line, which is also the result:
//     if (node == nullptr) return ORX_ERROR(FAILED_TO_ASSERT, "metricSelectionNode to the index");
//     ORX_FAIL_IF(self == ORX_NULL);
// The masks are tested first, so a report that nobody wants costs two loads. The compiler checks the format.
// Threads: any; see zddscore/log.h.
#ifndef ORX_LOG_LOG_HPP
#define ORX_LOG_LOG_HPP

#include <atomic>

#include "zddscore/log.h"

namespace orx::log {

namespace submodule {
constexpr ORX_UINT32 monitoringClass = 0x1;
constexpr ORX_UINT32 periodic = 0x2;
constexpr ORX_UINT32 logging = 0x4;
constexpr ORX_UINT32 resource = 0x8;
constexpr ORX_UINT32 event = 0x10;
constexpr ORX_UINT32 taskExecutor = 0x20;
constexpr ORX_UINT32 entities = 0x40;
constexpr ORX_UINT32 forwarder = 0x80;
constexpr ORX_UINT32 remoteAdministration = 0x100;
constexpr ORX_UINT32 utils = 0x200;
} // namespace submodule

// Stands for the failed result of any function: false, 0 or null. A negative result is written out by hand.
struct Failure {
    template <typename T> constexpr operator T() const { return T{}; }
};

inline Failure failed() {
    return {};
}

inline bool isEnabled(ORX_UINT32 level, ORX_UINT32 submoduleBit) {
    // Relaxed: a mask is a hint that takes effect some time after it is set.
    const auto levels =
        std::atomic_ref(ORX_MonitoringLog_g_instrumentationMask).load(std::memory_order_relaxed);
    const auto modules = std::atomic_ref(ORX_MonitoringLog_g_submoduleMask).load(std::memory_order_relaxed);
    return (levels & level) != 0 && (modules & submoduleBit) != 0;
}

// False when the place has had its lines of this second: see ORX_FLOOD_WARNING.
bool isFirstOfFlood(const char* file, int line);

// Reports a failed precondition with the text of the test, and records it. Out of line, so that a test that
// holds costs no registers.
[[gnu::cold, gnu::noinline]] inline Failure preconditionFailed(
    ORX_UINT32 submoduleBit, const char* file, int line, const char* function, const char* text) {
    if (isEnabled(ORX_LOG_BIT_PRECONDITION, submoduleBit)) {
        ORXLogMessageParamString_printWithParams(-1, ORX_LOG_BIT_PRECONDITION, ORX_LOG_MODULE_MONITORING,
            file, line, function, &ORX_LOG_PRECONDITION_TEMPLATE, "%s", text);
    }
    ORXLog_onPreconditionFailure();
    return {};
}

} // namespace orx::log

// Null as precondition texts print it.
// clang-format off
#define ORX_NULL ((void *)0)
// clang-format on
#define ORX_NULL_TEXT_(tokens) #tokens
#define ORX_TEXT_OF_(tokens) ORX_NULL_TEXT_(tokens)

#define ORX_REPORT_(level, TEMPLATE, ...)                                                                    \
    (::orx::log::isEnabled((level), orxLogSubmodule)                                                         \
            ? ORXLogMessageParamString_printWithParams(-1, (level), ORX_LOG_MODULE_MONITORING, __FILE__,     \
                  __LINE__, __func__, &ORX_LOG_##TEMPLATE##_TEMPLATE, __VA_ARGS__)                           \
            : static_cast<void>(0),                                                                          \
        ::orx::log::failed())
#define ORX_ERROR(TEMPLATE, ...) ORX_REPORT_(ORX_LOG_BIT_ERROR, TEMPLATE, __VA_ARGS__)
#define ORX_WARNING(TEMPLATE, ...) ORX_REPORT_(ORX_LOG_BIT_WARNING, TEMPLATE, __VA_ARGS__)
#define ORX_STATUS(TEMPLATE, ...) ORX_REPORT_(ORX_LOG_BIT_STATUS, TEMPLATE, __VA_ARGS__)

// For what can fail once for each sample or task: a few lines of each place in a second, and the others are
// dropped. A line is a message to collect, too, and a reader that stalls would cost memory and time for each
// sample that it does not take; the writers count what they drop.
#define ORX_FLOOD_REPORT_(level, TEMPLATE, ...)                                                              \
    (::orx::log::isEnabled((level), orxLogSubmodule) && ::orx::log::isFirstOfFlood(__FILE__, __LINE__)       \
            ? static_cast<void>(ORX_REPORT_((level), TEMPLATE, __VA_ARGS__))                                 \
            : static_cast<void>(0),                                                                          \
        ::orx::log::failed())
#define ORX_FLOOD_ERROR(TEMPLATE, ...) ORX_FLOOD_REPORT_(ORX_LOG_BIT_ERROR, TEMPLATE, __VA_ARGS__)
#define ORX_FLOOD_WARNING(TEMPLATE, ...) ORX_FLOOD_REPORT_(ORX_LOG_BIT_WARNING, TEMPLATE, __VA_ARGS__)

// A failed precondition with a text of its own.
#define ORX_PRECONDITION_FAILED(text)                                                                        \
    ::orx::log::preconditionFailed(orxLogSubmodule, __FILE__, __LINE__, __func__, text)
// Leaves the function with false, 0 or null when the test holds; the text is "\"<test>\"\n", macros expanded.
#define ORX_FAIL_IF(...)                                                                                     \
    if (__VA_ARGS__) [[unlikely]]                                                                            \
    return ORX_PRECONDITION_FAILED("\"" ORX_TEXT_OF_(__VA_ARGS__) "\"\n")
// The same for a function without a result.
#define ORX_LEAVE_IF(...)                                                                                    \
    if (__VA_ARGS__) [[unlikely]] {                                                                          \
        (void)ORX_PRECONDITION_FAILED("\"" ORX_TEXT_OF_(__VA_ARGS__) "\"\n");                                \
        return;                                                                                              \
    }

#endif
