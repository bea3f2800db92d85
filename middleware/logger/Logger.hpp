// Inside of the logger: its record, and the ways of a message.
//
// Threads: any. Nothing on the way of a message allocates, waits or locks, but a logging mutex of the
// monitoring library, which is held for as long as a message is copied.
#ifndef ZDDSC_LOGGER_LOGGER_HPP
#define ZDDSC_LOGGER_LOGGER_HPP

#include <atomic>

#include "middleware/logger/CountedSlot.hpp"
#include "zddsc/logger.h"
#include "zddscore/log.h"

struct ZDDS_Config_Logger {
    // By position of the facility. Relaxed: a new verbosity takes effect with the next message, and nothing
    // else is told by it.
    std::atomic<ZDDS_Config_LogVerbosity> verbosities[4];
    int sink =
        0; // the logger's id as a sink of the support layer's log; written under the mutex of Logger.cpp
};

namespace zdds::logger {

// Positions of the facilities; -1 for one that does not exist.
int positionOf(ZDDS_Config_LogFacility facility);

// A level's bit of a verbosity, which is the log level too; 0 for a number that is no level. (Callers in C
// may pass one.)
inline ORX_UINT32 bitOf(int level) {
    return level >= 0 && level <= ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG ? 1U << level : 0;
}

// Bits of insideOf: the device slots have 0 to 7.
constexpr unsigned deviceSlotCount = 8;
constexpr unsigned insideDevice = (1U << deviceSlotCount) - 1;
constexpr unsigned insideListener = 1U << deviceSlotCount;
constexpr unsigned insideLibrary = insideListener << 1;

// A thread that is inside a device, or hands a message to the library, logs past all devices: no message can
// make another one, and no device is entered twice.
inline bool mayDeliver() {
    return (insideOf & (insideDevice | insideLibrary)) == 0;
}

// To every device.
void deliver(const ZDDS_Config_LogMessage& message);
// Time of a message that is made now.
DDS_Duration_t now();
// Nanoseconds since 1970, or before it, as messages carry them: their seconds have 32 bits, and what lies
// beyond is the furthest that those can tell.
DDS_Duration_t timeOf(ORX_INT64 timeNs);

// Longest category and text, in bytes.
constexpr int maximumCategoryLength = 35;
constexpr int maximumTextLength = 4000;

// The sink that hears the middleware's own lines; `context` is the logger.
void onMiddlewareLine(void* context, const ORXLogLine* line);

} // namespace zdds::logger

#endif
