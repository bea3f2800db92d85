// Making a line and handing it to the sinks.
//
// A thread inside a sink is counted at the sink's slot before it looks whether the slot is in use, and
// whoever removes a sink first marks the slot and then looks at the count: one of the two sees the
// other, in the single order of all these operations.
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "src/support/StderrWriter.hpp"
#include "zddscore/log.h"
#include "zddscore/thread.h"

namespace {

constexpr int sinkCount = 8;
constexpr std::size_t subjectSize = 1024;
constexpr std::size_t messageSize = subjectSize + 128; // the longest template is far shorter

constexpr int freeSlot = 0;
constexpr int claimedSlot = -1; // being filled or emptied; other values are the ids of sinks

struct SinkSlot {
    std::atomic<int> state{freeSlot};
    std::atomic<unsigned> users{0};
    ORXLogSinkFunction function = nullptr; // these two change only while the slot is claimed and unused
    void* context = nullptr;
};

constinit SinkSlot slots[sinkCount];
constinit std::atomic<unsigned> generation{0};
constinit std::atomic<bool> stderrEnabled{true};
constinit std::atomic<ORX_UINT32> stderrLevels{~0U};

// Bit i: this thread is inside the sink of slot i.
thread_local unsigned insideSinks = 0;

// Only the thread that forked goes on in the child.
void forgetOtherThreads() {
    for (unsigned i = 0; i < sinkCount; ++i)
        slots[i].users.store(insideSinks >> i & 1U, std::memory_order_relaxed);
}

[[gnu::constructor]] void watchForks() {
    pthread_atfork(nullptr, nullptr, forgetOtherThreads);
}

void callSink(unsigned index, const ORXLogLine& line) {
    SinkSlot& slot = slots[index];
    const unsigned bit = 1U << index;
    if ((insideSinks & bit) != 0 || slot.state.load(std::memory_order_relaxed) <= 0)
        return;
    slot.users.fetch_add(1, std::memory_order_seq_cst);
    if (slot.state.load(std::memory_order_seq_cst) > 0) {
        insideSinks |= bit;
        slot.function(slot.context, &line);
        insideSinks &= ~bit;
    }
    slot.users.fetch_sub(1, std::memory_order_release);
}

void waitUntilUnused(unsigned index) {
    const unsigned own = insideSinks >> index & 1U;
    const timespec pause{0, 100'000};
    while (slots[index].users.load(std::memory_order_seq_cst) != own)
        clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
}

bool anySink() {
    if (stderrEnabled.load(std::memory_order_relaxed))
        return true;
    for (const SinkSlot& slot : slots) {
        if (slot.state.load(std::memory_order_relaxed) > 0)
            return true;
    }
    return false;
}

const char* baseName(const char* path) {
    if (path == nullptr)
        return "";
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

// A template is no format: the subject stands for its one %s, and nothing else is looked at.
void fillTemplate(
    char (&message)[messageSize], const ORXLogMessageTemplate* messageTemplate, const char* subject) {
    const char* text = messageTemplate != nullptr ? messageTemplate->text : "%s";
    const char* place = std::strstr(text, "%s");
    const int before =
        place != nullptr ? static_cast<int>(place - text) : static_cast<int>(std::strlen(text));
    std::snprintf(message, messageSize, "%.*s%s%s", before, text, place != nullptr ? subject : "",
        place != nullptr ? place + 2 : "");
}

void deliver(ORX_UINT32 level, ORX_UINT32 module, const char* file, int line, const char* function,
    const ORXLogMessageTemplate* messageTemplate, const char* subject) {
    char message[messageSize];
    fillTemplate(message, messageTemplate, subject);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const ORXLogLine logLine{level, module, messageTemplate, subject, message, baseName(file), line,
        function != nullptr ? function : "", ORX_INT64{now.tv_sec} * 1'000'000'000 + now.tv_nsec,
        ORXOsapiThread_getCurrentThreadID()};
    if (stderrEnabled.load(std::memory_order_relaxed) &&
        (stderrLevels.load(std::memory_order_relaxed) & level) != 0) {
        zdds::stderrWriterQueue(logLine);
    }
    for (unsigned i = 0; i < sinkCount; ++i)
        callSink(i, logLine);
}

void print(ORX_UINT32 level, ORX_UINT32 module, const char* file, int line, const char* function,
    const ORXLogMessageTemplate* messageTemplate, const char* format, va_list arguments)
    ZDDS_PRINTF_LIKE(7, 0);
void print(ORX_UINT32 level, ORX_UINT32 module, const char* file, int line, const char* function,
    const ORXLogMessageTemplate* messageTemplate, const char* format, va_list arguments) {
    if (!anySink())
        return;
    const int error = errno; // a failure is often logged before its errno is looked at
    char subject[subjectSize];
    if (format == nullptr || std::vsnprintf(subject, sizeof subject, format, arguments) < 0)
        subject[0] = '\0';
    deliver(level, module, file, line, function, messageTemplate, subject);
    errno = error;
}

} // namespace

void ORXLogMessageParamString_vprintWithParams(int, ORX_UINT32 level, ORX_UINT32 module, const char* file,
    int line, const char* function, const ORXLogMessageTemplate* messageTemplate, const char* subject,
    va_list arguments) {
    print(level, module, file, line, function, messageTemplate, subject, arguments);
}

void ORXLogMessageParamString_printWithParams(int, ORX_UINT32 level, ORX_UINT32 module, const char* file,
    int line, const char* function, const ORXLogMessageTemplate* messageTemplate, const char* subject, ...) {
    va_list arguments;
    va_start(arguments, subject);
    print(level, module, file, line, function, messageTemplate, subject, arguments);
    va_end(arguments);
}

void ORXLogParamString_printWithParams(int, ORX_UINT32 level, ORX_UINT32 module, const char* file, int line,
    const char* function, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print(level, module, file, line, function, nullptr, format, arguments);
    va_end(arguments);
}

void ORXLogMessage_printWithParams(int, ORX_UINT32 level, ORX_UINT32 module, const char* file, int line,
    const char* function, const ORXLogMessageTemplate* messageTemplate) {
    if (!anySink())
        return;
    const int error = errno;
    deliver(level, module, file, line, function, messageTemplate, "");
    errno = error;
}

int ORXLog_addSink(ORXLogSinkFunction function, void* context) {
    if (function == nullptr)
        return 0;
    for (unsigned i = 0; i < sinkCount; ++i) {
        int expected = freeSlot;
        if (!slots[i].state.compare_exchange_strong(expected, claimedSlot, std::memory_order_seq_cst))
            continue;
        slots[i].function = function;
        slots[i].context = context;
        // Differs from the ids that the slot had before.
        const unsigned turn = generation.fetch_add(1, std::memory_order_relaxed) % (INT_MAX / sinkCount);
        const int id = static_cast<int>(turn * sinkCount + i) + 1;
        slots[i].state.store(id, std::memory_order_seq_cst);
        return id;
    }
    return 0;
}

int ORXLog_removeSink(int id) {
    if (id <= 0)
        return ORX_FALSE;
    const unsigned index = static_cast<unsigned>(id - 1) % sinkCount;
    if (!slots[index].state.compare_exchange_strong(id, claimedSlot, std::memory_order_seq_cst))
        return ORX_FALSE;
    waitUntilUnused(index);
    slots[index].state.store(freeSlot, std::memory_order_seq_cst);
    return ORX_TRUE;
}

void ORXLog_setStderrEnabled(int enabled) {
    stderrEnabled.store(enabled != 0, std::memory_order_relaxed);
}

void ORXLog_setStderrLevels(ORX_UINT32 levels) {
    stderrLevels.store(levels, std::memory_order_relaxed);
}

void ORXLog_setStderrRepetitionLimit(ORX_UINT32 linesPerSecond) {
    zdds::stderrWriterSetRepetitionLimit(linesPerSecond);
}

ORX_UINT64 ORXLog_getLostLineCount(void) {
    return zdds::stderrWriterLostLines();
}

int ORXLog_flush(const ORXNtpTime* timeout) {
    return zdds::stderrWriterFlush(timeout);
}
