/* The shim in front of the program's system log calls: libc does what it does without the shim, once and with
 * the same arguments, and the agent gets a copy of the text.
 *
 * A call costs nothing more while the agent is not at work, in a forked child (of whatever kind), for
 * priorities that setlogmask has taken out, and for a thread that is at another message already: a signal
 * handler may log, too. Threads: any. The copy is formatted on the caller's stack and cut to its size; errno
 * is what libc has left in it. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>

#include "agent/shim/ShimInternal.h"

#define EXPORTED __attribute__((visibility("default")))
/* What the system's logger takes of a message. */
#define MAX_TEXT 2048

void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments);
void __syslog_chk(int priority, int flag, const char* format, ...);

typedef void (*PlainFunction)(int priority, const char* format, va_list arguments);
typedef void (*CheckedFunction)(int priority, int flag, const char* format, va_list arguments);

typedef int (*MaskFunction)(int mask);

/* Relaxed: whoever looks a function up finds the same. */
static _Atomic(PlainFunction) plain;
static _Atomic(CheckedFunction) checked;
static _Atomic(MaskFunction) setMask;
/* As libc has it: asking libc would take its lock. */
static _Atomic int programMask = 0xff;

static PlainFunction realPlain(void) {
    PlainFunction function = atomic_load_explicit(&plain, memory_order_relaxed);
    if (function == NULL) {
        void* symbol = dlsym(RTLD_NEXT, "vsyslog");
        memcpy(&function, &symbol, sizeof symbol);
        atomic_store_explicit(&plain, function, memory_order_relaxed);
    }
    return function;
}

static CheckedFunction realChecked(void) {
    CheckedFunction function = atomic_load_explicit(&checked, memory_order_relaxed);
    if (function == NULL) {
        void* symbol = dlsym(RTLD_NEXT, "__vsyslog_chk");
        memcpy(&function, &symbol, sizeof symbol);
        atomic_store_explicit(&checked, function, memory_order_relaxed);
    }
    return function;
}

static MaskFunction realSetMask(void) {
    MaskFunction function = atomic_load_explicit(&setMask, memory_order_relaxed);
    if (function == NULL) {
        void* symbol = dlsym(RTLD_NEXT, "setlogmask");
        memcpy(&function, &symbol, sizeof symbol);
        atomic_store_explicit(&setMask, function, memory_order_relaxed);
    }
    return function;
}

/* Early, so that a first call from a signal handler finds them. */
__attribute__((constructor)) static void findAll(void) {
    realPlain();
    realChecked();
    realSetMask();
}

static void collect(int priority, const char* format, va_list arguments, int errorBefore) {
    const struct OrxAgentTable* agent = orxShim_agent();
    if (agent == NULL || orxShim_isCollecting ||
        (atomic_load_explicit(&programMask, memory_order_relaxed) & LOG_MASK(LOG_PRI(priority))) == 0)
        return;
    orxShim_isCollecting = true;
    const int errorAfter = errno;
    char text[MAX_TEXT];
    errno = errorBefore; /* for %m */
    const int length = vsnprintf(text, sizeof text, format, arguments);
    if (length >= 0)
        agent->log.userLine(priority & (LOG_PRIMASK | LOG_FACMASK), text);
    errno = errorAfter;
    orxShim_isCollecting = false;
}

static void logPlain(int priority, const char* format, va_list arguments) {
    const int before = errno;
    va_list copy;
    va_copy(copy, arguments);
    realPlain()(priority, format, arguments);
    collect(priority, format, copy, before);
    va_end(copy);
}

static void logChecked(int priority, int flag, const char* format, va_list arguments) {
    const int before = errno;
    va_list copy;
    va_copy(copy, arguments);
    realChecked()(priority, flag, format, arguments);
    collect(priority, format, copy, before);
    va_end(copy);
}

EXPORTED int setlogmask(int mask) {
    if (mask != 0)
        atomic_store_explicit(&programMask, mask, memory_order_relaxed);
    return realSetMask()(mask);
}

EXPORTED void vsyslog(int priority, const char* format, va_list arguments) {
    logPlain(priority, format, arguments);
}

EXPORTED void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logPlain(priority, format, arguments);
    va_end(arguments);
}

EXPORTED void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments) {
    logChecked(priority, flag, format, arguments);
}

EXPORTED void __syslog_chk(int priority, int flag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logChecked(priority, flag, format, arguments);
    va_end(arguments);
}
