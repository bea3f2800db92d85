// Lines of the agent in the log of the libraries: one line beside the step that failed.
//
// AGENT_ERROR(FAILED_TO_CREATE, "observed writer") names a template of zddscore/log.h and a subject that the
// compiler checks. Threads: any. The mask is tested before anything is formatted.
#ifndef ORX_AGENT_AGENT_LOG_HPP
#define ORX_AGENT_AGENT_LOG_HPP

#include <atomic>

#include "agent/Settings.hpp"
#include "zddscore/log.h"

namespace orx::agent {

constexpr ORX_UINT32 logModule = 0x320000;

// Level bits that are on, relaxed: a line more or less does no harm.
inline std::atomic<ORX_UINT32> logMask{ORX_LOG_BIT_PRECONDITION | ORX_LOG_BIT_ERROR | ORX_LOG_BIT_WARNING};

inline bool logs(ORX_UINT32 level) {
    return (logMask.load(std::memory_order_relaxed) & level) != 0;
}

// Sets the masks of the agent and of the libraries behind it, and the sink on stderr.
void setVerbosity(Verbosity verbosity);

} // namespace orx::agent

#define AGENT_LOG_AT_(level, TEMPLATE, ...)                                                                  \
    (orx::agent::logs(level)                                                                                 \
            ? ORXLogMessageParamString_printWithParams(-1, level, orx::agent::logModule, __FILE__, __LINE__, \
                  __func__, &ORX_LOG_##TEMPLATE##_TEMPLATE, __VA_ARGS__)                                     \
            : static_cast<void>(0))
#define AGENT_ERROR(TEMPLATE, ...) AGENT_LOG_AT_(ORX_LOG_BIT_ERROR, TEMPLATE, __VA_ARGS__)
#define AGENT_WARNING(TEMPLATE, ...) AGENT_LOG_AT_(ORX_LOG_BIT_WARNING, TEMPLATE, __VA_ARGS__)
#define AGENT_STATUS(TEMPLATE, ...) AGENT_LOG_AT_(ORX_LOG_BIT_STATUS, TEMPLATE, __VA_ARGS__)

#endif
