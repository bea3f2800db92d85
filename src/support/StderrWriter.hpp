// Writes log lines to stderr from a thread of its own.
//
// Threads: every function from any thread, under any lock. Nobody waits but stderrWriterFlush.
// Memory: nothing is allocated but the thread itself, which starts with the first line; it is no thread
// of thread.h and is counted nowhere.
#pragma once

#include <cstdint>

#include "zddscore/log.h"

namespace zdds {

// Formats the line into a slot of the queue; counts it as lost when there is none.
void stderrWriterQueue(const ORXLogLine& line);
void stderrWriterSetRepetitionLimit(std::uint32_t linesPerSecond);
std::uint64_t stderrWriterLostLines();
// Waits at most `timeout` (null is for ever) until what is queued now is written.
bool stderrWriterFlush(const ORXNtpTime* timeout);

} // namespace zdds
