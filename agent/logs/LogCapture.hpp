// What the engine and the program log, on its way to the logger of the middleware.
//
// The engine's lines become messages of the facility middleware, calls of syslog messages of the facility
// user: docs/agent.md has the levels and categories. The collection verbosity of the facility middleware
// follows the other way: it decides which lines the engine passes at all.
//
// Threads: the functions of OrxLogCapture run on whatever thread logs, with locks of the engine held, perhaps
// from a signal handler; they take no lock but a logging mutex and allocate nothing. Lines that the engine
// logs on threads of the monitoring are dropped: what is sent on because of a line must not make another one.
#ifndef ORX_AGENT_LOGS_LOG_CAPTURE_HPP
#define ORX_AGENT_LOGS_LOG_CAPTURE_HPP

#include "zddsc/logger.h"
// Before the engine's header, whose macros have names of that one's enumerators.
#include "agent/shim/Interposed.h"

namespace orx::agent {

// Once, at the start. False when there is no logger, for want of memory: then nothing may be captured.
bool startLogCapture(void (*setCollectedCategories)(uint32_t categories));
void fillLogCapture(OrxLogCapture& capture, int32_t monitoringDomain);
// The program is about to use this domain.
void noteDomainOfProgram(uint32_t domain);
// When a message was last handed to the logger, on the monotonic clock; 0: never.
int64_t lastCollectionNs();
// The calling thread is one of the monitoring.
void markThreadOfMonitoring();

struct LogOrigin {
    ZDDS_Config_SyslogLevel level;
    const char* category; // null: none
};
LogOrigin originOfEngineLine(uint32_t category);
LogOrigin originOfUserLine(int priority);
// The categories that the engine has to pass for a verbosity.
uint32_t categoriesOf(ZDDS_Config_LogVerbosity verbosity);

} // namespace orx::agent

#endif
