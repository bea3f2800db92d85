#include "src/support/StderrWriter.hpp"

#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "src/support/Futex.hpp"
#include "src/support/MonotonicTime.hpp"
#include "src/support/RepetitionGate.hpp"
#include "zddscore/text.h"

namespace {

constexpr std::uint32_t slotCount = 256; // a power of two: positions wrap at 2^32
constexpr std::size_t slotSize = 1792;
// What is left for the place and the thread, whatever the message's length is.
constexpr std::size_t roomBehindMessage = 360;
constexpr unsigned exitFlushMilliseconds = 200;

enum WriterState : std::uint32_t { noWriter, writerStarts, writerRuns };

// Bounded queue of many producers and one consumer. Position p uses slot p % slotCount; a slot is free
// for p when its turn is p, and filled when it is p + 1. Plain memory, so that a process that never
// logs touches none of it.
struct Queue {
    std::atomic<std::uint32_t> turns[slotCount];
    std::uint32_t lengths[slotCount];
    char texts[slotCount][slotSize];

    std::atomic<std::uint32_t> tail;    // the next position to fill
    zdds::FutexWord written;            // the next position to write; waited for by flush
    zdds::FutexWord filled;             // changes with each line; waited for by the writer
    std::atomic<std::uint32_t> idle;    // the writer waits or is about to
    std::atomic<std::uint32_t> flushes; // threads in a flush
    std::atomic<std::uint32_t> writer;  // WriterState
    std::atomic<std::uint64_t> lost;
};

constinit Queue queue{};
constinit zdds::RepetitionGate gate{};

// The turn is kept as the distance from its first value, so that zeroed memory is an empty queue.
std::uint32_t turnOf(std::uint32_t position) {
    const std::uint32_t slot = position % slotCount;
    return queue.turns[slot].load(std::memory_order_acquire) + slot;
}

void setTurn(std::uint32_t position, std::uint32_t turn) {
    const std::uint32_t slot = position % slotCount;
    queue.turns[slot].store(turn - slot, std::memory_order_release);
}

// Bounded text that is cut silently.
class LineText {
public:
    LineText(char* buffer, std::size_t size) : buffer_(buffer), size_(size) {}

    void append(const char* format, ...) ZDDS_PRINTF_LIKE(2, 3) {
        va_list arguments;
        va_start(arguments, format);
        const int count = std::vsnprintf(buffer_ + length_, size_ - length_, format, arguments);
        va_end(arguments);
        if (count > 0)
            length_ = std::min(length_ + static_cast<std::size_t>(count), size_ - 1);
    }

    // Control characters are written as codes: what comes from elsewhere must not steer a terminal or
    // fake a line. Leaves `room` characters.
    void appendEscaped(const char* text, std::size_t room) {
        std::size_t end = std::strlen(text);
        while (end > 0 && text[end - 1] == '\n')
            --end;
        for (std::size_t i = 0; i < end && length_ + 4 + room < size_; ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            if (byte < 0x20 || byte == 0x7F)
                append("\\x%02x", byte);
            else
                buffer_[length_++] = text[i];
        }
        buffer_[length_] = '\0';
    }

    // Ends the text with a newline, in place of the last character if need be.
    std::size_t endLine() {
        length_ = std::min(length_, size_ - 2);
        buffer_[length_++] = '\n';
        return length_;
    }

private:
    char* buffer_;
    std::size_t size_;
    std::size_t length_ = 0;
};

const char* levelName(std::uint32_t level) {
    switch (level) {
    case ORX_LOG_BIT_PRECONDITION:
        return "PRECONDITION";
    case ORX_LOG_BIT_ERROR:
        return "ERROR";
    case ORX_LOG_BIT_WARNING:
        return "WARNING";
    case ORX_LOG_BIT_STATUS:
        return "STATUS";
    case ORX_LOG_BIT_DEBUG:
        return "DEBUG";
    default:
        return "LEVEL?";
    }
}

// Of a program's lines through the libraries' log: see agent/AgentLog.hpp.
constexpr std::uint32_t agentModule = 0x320000;

void appendModule(LineText& text, std::uint32_t module) {
    switch (module) {
    case ORX_LOG_MODULE_SUPPORT:
        text.append("SUPPORT");
        break;
    case ORX_LOG_MODULE_DDS:
        text.append("DDS");
        break;
    case ORX_LOG_MODULE_MONITORING:
        text.append("MONITORING");
        break;
    case agentModule:
        text.append("AGENT");
        break;
    default:
        text.append("0x%X", module);
    }
}

// time, level, module and template, message, place, thread, lines like it that were held back.
std::size_t formatLine(const ORXLogLine& line, std::uint64_t held, char* buffer) {
    LineText text(buffer, slotSize);
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    // Before 1970, too, the fraction counts from the second's begin.
    const std::int64_t fraction = (line.timeNs % nanoseconds + nanoseconds) % nanoseconds;
    ORXOsapiUtcTime utc{};
    ORXOsapiUtility_getUtcTime(&utc, (line.timeNs - fraction) / nanoseconds);
    text.append("%04d-%02d-%02dT%02d:%02d:%02d.%06dZ %s ", utc.year, utc.month, utc.day, utc.hour, utc.minute,
        utc.second, static_cast<int>(fraction / 1000), levelName(line.level));
    appendModule(text, line.module);
    if (line.messageTemplate != nullptr)
        text.append("/%s", line.messageTemplate->identifier);
    text.append(" ");
    text.appendEscaped(line.message, roomBehindMessage);
    text.append(" (%.100s:%d %.160s) [thread %llu]", line.file, line.line, line.function,
        static_cast<unsigned long long>(line.threadId));
    if (held != 0)
        text.append(" [%llu more from here were held back]", static_cast<unsigned long long>(held));
    return text.endLine();
}

// Returns false when stderr cannot be written to.
bool writeAll(const char* text, std::size_t length) {
    while (length > 0) {
        const ssize_t count = write(STDERR_FILENO, text, length);
        if (count > 0) {
            text += count;
            length -= static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EAGAIN) {
            pollfd ready{STDERR_FILENO, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (count >= 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

void reportLost(std::uint64_t& reported) {
    const std::uint64_t lost = queue.lost.load(std::memory_order_relaxed);
    if (lost == reported)
        return;
    char text[80];
    const int length = std::snprintf(
        text, sizeof text, "%llu log lines were lost\n", static_cast<unsigned long long>(lost - reported));
    if (writeAll(text, static_cast<std::size_t>(length)))
        reported = lost;
}

void waitForLine(std::uint32_t position) {
    const std::uint32_t seen = queue.filled.load(std::memory_order_seq_cst);
    queue.idle.store(1, std::memory_order_seq_cst);
    if (turnOf(position) != position + 1)
        zdds::futexWait(queue.filled, seen, nullptr);
    queue.idle.store(0, std::memory_order_relaxed);
}

void* writeLines(void*) {
    pthread_setname_np(pthread_self(), "zddsLog");
    std::uint64_t reported = 0;
    for (std::uint32_t position = queue.written.load(std::memory_order_relaxed);;) {
        if (turnOf(position) != position + 1) {
            reportLost(reported);
            waitForLine(position);
            continue;
        }
        const std::uint32_t slot = position % slotCount;
        if (!writeAll(queue.texts[slot], queue.lengths[slot]))
            queue.lost.fetch_add(1, std::memory_order_relaxed);
        setTurn(position, position + slotCount);
        ++position;
        queue.written.store(position, std::memory_order_seq_cst);
        if (queue.flushes.load(std::memory_order_seq_cst) > 0)
            zdds::futexWakeAll(queue.written);
    }
    return nullptr;
}

// A failure is tried again with the next line.
void startWriter() {
    std::uint32_t expected = noWriter;
    if (!queue.writer.compare_exchange_strong(expected, writerStarts, std::memory_order_acq_rel))
        return;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t writer{};
    const bool started = pthread_create(&writer, nullptr, writeLines, nullptr) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (started)
        pthread_detach(writer);
    queue.writer.store(started ? writerRuns : noWriter, std::memory_order_release);
}

// Position of a slot that is now the caller's to fill; false when the queue is full.
bool claim(std::uint32_t& position) {
    position = queue.tail.load(std::memory_order_relaxed);
    for (;;) {
        const std::uint32_t turn = turnOf(position);
        if (turn == position) {
            if (queue.tail.compare_exchange_weak(position, position + 1, std::memory_order_relaxed))
                return true;
        } else if (static_cast<std::int32_t>(turn - position) < 0) {
            return false;
        } else {
            position = queue.tail.load(std::memory_order_relaxed);
        }
    }
}

// A child of fork has no writer. What is queued is the parent's to write, and a line that another thread
// was just making would never be finished.
void startAfreshInChild() {
    if (queue.tail.load(std::memory_order_relaxed) == 0 &&
        queue.writer.load(std::memory_order_relaxed) == noWriter)
        return;
    for (auto& turn : queue.turns)
        turn.store(0, std::memory_order_relaxed);
    queue.tail.store(0, std::memory_order_relaxed);
    queue.written.store(0, std::memory_order_relaxed);
    queue.idle.store(0, std::memory_order_relaxed);
    queue.flushes.store(0, std::memory_order_relaxed);
    queue.lost.store(0, std::memory_order_relaxed);
    queue.writer.store(noWriter, std::memory_order_relaxed);
}

[[gnu::constructor]] void watchForks() {
    pthread_atfork(nullptr, nullptr, startAfreshInChild);
}

[[gnu::destructor]] void flushAtExit() {
    if (queue.writer.load(std::memory_order_relaxed) == noWriter)
        return;
    const ORXNtpTime bound = zdds::lengthOfMilliseconds(exitFlushMilliseconds);
    zdds::stderrWriterFlush(&bound);
}

} // namespace

namespace zdds {

void stderrWriterQueue(const ORXLogLine& line) {
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    std::uint64_t held = 0;
    if (!gate.admit(line.file, line.line, static_cast<std::uint64_t>(line.timeNs / nanoseconds), &held))
        return;
    std::uint32_t position = 0;
    if (!claim(position)) {
        queue.lost.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    const std::uint32_t slot = position % slotCount;
    queue.lengths[slot] = static_cast<std::uint32_t>(formatLine(line, held, queue.texts[slot]));
    setTurn(position, position + 1);
    queue.filled.fetch_add(1, std::memory_order_seq_cst);
    if (queue.idle.load(std::memory_order_seq_cst) != 0)
        futexWakeAll(queue.filled);
    if (queue.writer.load(std::memory_order_relaxed) == noWriter)
        startWriter();
}

void stderrWriterSetRepetitionLimit(std::uint32_t linesPerSecond) {
    gate.setLimit(linesPerSecond);
}

std::uint64_t stderrWriterLostLines() {
    return queue.lost.load(std::memory_order_relaxed);
}

bool stderrWriterFlush(const ORXNtpTime* timeout) {
    const std::uint32_t target = queue.tail.load(std::memory_order_acquire);
    const timespec deadline = isForEver(timeout) ? timespec{} : deadlineAfter(*timeout);
    queue.flushes.fetch_add(1, std::memory_order_seq_cst);
    bool done = false;
    for (;;) {
        const std::uint32_t written = queue.written.load(std::memory_order_seq_cst);
        done = static_cast<std::int32_t>(written - target) >= 0;
        if (done)
            break;
        timespec left{};
        if (!isForEver(timeout)) {
            const timespec now = monotonicNow();
            left = {deadline.tv_sec - now.tv_sec, deadline.tv_nsec - now.tv_nsec};
            if (left.tv_nsec < 0)
                left = {left.tv_sec - 1, left.tv_nsec + nanosecondsPerSecond};
            if (left.tv_sec < 0)
                break;
        }
        futexWait(queue.written, written, isForEver(timeout) ? nullptr : &left);
    }
    queue.flushes.fetch_sub(1, std::memory_order_relaxed);
    return done;
}

} // namespace zdds
