// Log calls of the DDS operations: one line beside the step that failed.
//
// ZDDS_LOG_ERROR(CREATE, "writer of topic %s", name) names a template of zddscore/log.h without its prefix
// ("FAILED_TO_CREATE", "INCONSISTENT_QOS") and a subject that the compiler checks. ZDDS_FAIL logs and yields
// a result, so that a failing step is one statement: `return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "...")`.
// Threads: any. The mask is tested before anything is formatted.
#ifndef ZDDSC_LOG_DDS_LOG_HPP
#define ZDDSC_LOG_DDS_LOG_HPP

#include "zddscore/log.h"

namespace zdds {

// The mask is written by whoever configures the log, without a lock: a line more or less does no harm.
inline bool logs(ORX_UINT32 level) {
    return (__atomic_load_n(&DDSLog_g_instrumentationMask, __ATOMIC_RELAXED) & level) != 0;
}

} // namespace zdds

#define ZDDS_LOG_AT(level, name, ...)                                                                        \
    (zdds::logs(level) ? ORXLogMessageParamString_printWithParams(-1, level, ORX_LOG_MODULE_DDS, __FILE__,   \
                             __LINE__, __func__, &ORX_LOG_##name##_TEMPLATE, __VA_ARGS__)                    \
                       : static_cast<void>(0))
#define ZDDS_LOG_ERROR(name, ...) ZDDS_LOG_AT(ORX_LOG_BIT_ERROR, name, __VA_ARGS__)
#define ZDDS_LOG_WARNING(name, ...) ZDDS_LOG_AT(ORX_LOG_BIT_WARNING, name, __VA_ARGS__)
#define ZDDS_FAIL(result, name, ...) (ZDDS_LOG_ERROR(name, __VA_ARGS__), result)

// A precondition of a public function: when it does not hold, its text is logged and the function returns
// `result` (nothing for a void function).
#define ZDDS_REQUIRE(condition, ...)                                                                         \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            ZDDS_LOG_AT(ORX_LOG_BIT_PRECONDITION, PRECONDITION, "!(%s)", #condition);                        \
            ORXLog_onPreconditionFailure();                                                                  \
            return __VA_ARGS__;                                                                              \
        }                                                                                                    \
    } while (false)

#endif
