/* Log of the middleware: masks, templates, sinks.
 *
 * A line has a level, a module, a template, a subject made from a format and its arguments, and the
 * file, line and function of the call. It goes to every sink. The default sink writes to stderr from
 * a thread of its own that starts with the first line: callers format into a slot of a bounded queue
 * and never wait, and lines that find the queue full are counted.
 * Threads: every function may be called from any thread. */
#ifndef ZDDSCORE_LOG_H
#define ZDDSCORE_LOG_H

#include <stdarg.h>

#include "zddscore/types.h"

ZDDS_BEGIN_C

/* Level bits. */
#define ORX_LOG_BIT_PRECONDITION 0x1U
#define ORX_LOG_BIT_ERROR 0x2U
#define ORX_LOG_BIT_WARNING 0x4U
#define ORX_LOG_BIT_STATUS 0x8U
#define ORX_LOG_BIT_DEBUG 0x10U

#define ORX_LOG_MODULE_SUPPORT 0x10000U
#define ORX_LOG_MODULE_DDS 0xF0000U
#define ORX_LOG_MODULE_MONITORING 0x310000U

/* A template gives a line its wording: `text` with one %s for the subject. `identifier` is its name
 * without prefix and suffix, for tests and filters. */
struct ORXLogMessageTemplate {
    const char* identifier;
    const char* text;
};
typedef struct ORXLogMessageTemplate ORXLogMessageTemplate;

/* clang-format off */
#define ORX_LOG_TEMPLATE_LIST(X)                                                              \
    X(PRECONDITION, "precondition failed: %s")                                                \
    X(BAD_PARAMETER_FAILURE, "bad parameter: %s")                                             \
    X(CONFIG_FAILURE, "configuration failure: %s")                                            \
    X(CREATE, "created: %s")                                                                  \
    X(DELETE, "deleted: %s")                                                                  \
    X(ENABLE, "enabled: %s")                                                                  \
    X(INITIALIZE, "initialized: %s")                                                          \
    X(FAILURE, "failure: %s")                                                                 \
    X(INCONSISTENT_FAILURE, "inconsistent: %s")                                               \
    X(INCONSISTENT_QOS, "inconsistent QoS: %s")                                               \
    X(NOT_SUPPORTED, "not supported: %s")                                                     \
    X(PROCESSING, "processing: %s")
#define ORX_LOG_FAILED_TO_LIST(X)                                                             \
    X(ADD, "add") X(ALLOCATE, "allocate") X(ASSERT, "assert") X(ATTACH, "attach")             \
    X(CONVERT_TYPE, "convert type") X(COPY, "copy") X(CREATE, "create") X(DELETE, "delete")   \
    X(DESERIALIZE, "deserialize") X(DETACH, "detach") X(ENABLE, "enable")                     \
    X(FINALIZE, "finalize") X(FIND, "find") X(GET, "get") X(INITIALIZE, "initialize")         \
    X(LOAN, "loan") X(LOCK, "lock") X(PARSE, "parse") X(POPULATE, "populate")                 \
    X(POST, "post") X(PROCESS, "process") X(PUSH, "push") X(REGISTER, "register")             \
    X(REMOVE, "remove") X(RETURN, "return") X(SEND, "send") X(SERIALIZE, "serialize")         \
    X(SET, "set") X(UNLOAN, "unloan") X(UNLOCK, "unlock") X(UPDATE, "update")                 \
    X(VALIDATE, "validate")
/* clang-format on */

#define ORX_LOG_DECLARE_(name, text)                                                                         \
    ZDDSCORE_EXPORT extern const ORXLogMessageTemplate ORX_LOG_##name##_TEMPLATE;
#define ORX_LOG_DECLARE_FAILED_(name, text)                                                                  \
    ZDDSCORE_EXPORT extern const ORXLogMessageTemplate ORX_LOG_FAILED_TO_##name##_TEMPLATE;
ORX_LOG_TEMPLATE_LIST(ORX_LOG_DECLARE_)
ORX_LOG_FAILED_TO_LIST(ORX_LOG_DECLARE_FAILED_)
#undef ORX_LOG_DECLARE_
#undef ORX_LOG_DECLARE_FAILED_

/* One line. `reserved` is -1. `level` is one level bit, `module` one of ORX_LOG_MODULE_*. Callers test
 * their masks first; this function does not. file and function must be literals. The subject is cut
 * at 1023 bytes. */
ZDDSCORE_EXPORT void ORXLogMessageParamString_printWithParams(int reserved, ORX_UINT32 level,
    ORX_UINT32 module, const char* file, int line, const char* function,
    const ORXLogMessageTemplate* messageTemplate, const char* subject, ...) ZDDS_PRINTF_LIKE(8, 9);
ZDDSCORE_EXPORT void ORXLogMessageParamString_vprintWithParams(int reserved, ORX_UINT32 level,
    ORX_UINT32 module, const char* file, int line, const char* function,
    const ORXLogMessageTemplate* messageTemplate, const char* subject, va_list arguments)
    ZDDS_PRINTF_LIKE(8, 0);
/* The same with a plain format and no template. */
ZDDSCORE_EXPORT void ORXLogParamString_printWithParams(int reserved, ORX_UINT32 level, ORX_UINT32 module,
    const char* file, int line, const char* function, const char* format, ...) ZDDS_PRINTF_LIKE(7, 8);
/* The same with a plain template and no subject. */
ZDDSCORE_EXPORT void ORXLogMessage_printWithParams(int reserved, ORX_UINT32 level, ORX_UINT32 module,
    const char* file, int line, const char* function, const ORXLogMessageTemplate* messageTemplate);

/* Called after a precondition failure: a place for a breakpoint; does nothing else. */
ZDDSCORE_EXPORT void ORXLog_onAssertBreakpoint(void);
/* While detection is on (non-zero), a precondition failure sets preconditionDetected. Plain ints that
 * tests and debuggers use; written with relaxed atomics. */
ZDDSCORE_EXPORT extern int ORXLog_g_detectPrecondition;
ZDDSCORE_EXPORT extern int ORXLog_g_preconditionDetected;
/* Records a precondition failure in the variable above and calls ORXLog_onAssertBreakpoint. */
ZDDSCORE_EXPORT void ORXLog_onPreconditionFailure(void);
/* Categories that workers of event generators may log; all bits by default. */
ZDDSCORE_EXPORT extern ORX_UINT32 ORXLog_g_categoryMask;

/* Masks of the monitoring library: a call is made when both its level bit and its submodule bit are
 * set. Read and written with relaxed atomics. By default: precondition, error and warning; all submodules. */
ZDDSCORE_EXPORT extern ORX_UINT32 ORX_MonitoringLog_g_instrumentationMask;
ZDDSCORE_EXPORT extern ORX_UINT32 ORX_MonitoringLog_g_submoduleMask;
ZDDSCORE_EXPORT void ORX_MonitoringLog_setBitmaps(ORX_UINT32 submoduleMask, ORX_UINT32 instrumentationMask);
/* Level mask of the DDS operations and of this layer. */
ZDDSCORE_EXPORT extern ORX_UINT32 DDSLog_g_instrumentationMask;
ZDDSCORE_EXPORT void DDSLog_setDependencyInstrumentationMask(ORX_UINT32 verbosity);

/* One line as sinks see it. The texts live until the sink returns. */
struct ORXLogLine {
    ORX_UINT32 level; /* one level bit */
    ORX_UINT32 module;
    const ORXLogMessageTemplate* messageTemplate; /* null for a plain format */
    const char* subject;                          /* formatted, may be empty */
    const char* message;                          /* template text with the subject in it */
    const char* file;                             /* base name */
    int line;
    const char* function;
    ORX_INT64 timeNs; /* system clock, nanoseconds since 1970 */
    ORX_UINT64 threadId;
};
typedef struct ORXLogLine ORXLogLine;
/* Runs on the thread that logs, possibly under any lock: it may queue, and nothing else. */
typedef void (*ORXLogSinkFunction)(void* context, const ORXLogLine* line);

/* At most 8 sinks. A sink that logs is not entered again by the same thread: its lines go to the
 * other sinks only. Returns a positive id, or 0. */
ZDDSCORE_EXPORT int ORXLog_addSink(ORXLogSinkFunction function, void* context);
/* Returns when no thread is inside the sink any more (except the caller itself). Non-zero on success. */
ZDDSCORE_EXPORT int ORXLog_removeSink(int id);
/* Turns the stderr sink on (default) or off. */
ZDDSCORE_EXPORT void ORXLog_setStderrEnabled(int enabled);
/* The level bits that stderr shows; all by default. Sinks get every line. */
ZDDSCORE_EXPORT void ORXLog_setStderrLevels(ORX_UINT32 levels);
/* The most lines that one place of the code writes to stderr in a second; 0, the default, for no limit. The
 * next line from there tells how many were held back. */
ZDDSCORE_EXPORT void ORXLog_setStderrRepetitionLimit(ORX_UINT32 linesPerSecond);
/* Lines lost because the stderr queue was full. */
ZDDSCORE_EXPORT ORX_UINT64 ORXLog_getLostLineCount(void);
/* Waits until every line queued so far has been written or `timeout` has passed; non-zero on success. */
ZDDSCORE_EXPORT int ORXLog_flush(const ORXNtpTime* timeout);

ZDDS_END_C

#endif
