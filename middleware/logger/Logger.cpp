#include "middleware/logger/Logger.hpp"

#include <pthread.h>

#include <bit>
#include <ctime>
#include <limits>

#include "middleware/host/Host.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/logger/Text.hpp"
#include "zddscore/thread.h"

namespace zdds::logger {
namespace {

constexpr ZDDS_Config_LogFacility facilities[] = {ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE,
    ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT, ZDDS_CONFIG_LOG_FACILITY_SERVICE, ZDDS_CONFIG_LOG_FACILITY_USER};
constexpr int middlewarePosition = 0;
constexpr ZDDS_Config_LogVerbosity defaultVerbosity = ZDDS_CONFIG_SYSLOG_VERBOSITY_WARNING;

// Static: a thread that logs at the end of the process still finds it.
constinit ZDDS_Config_Logger theLogger{
    {defaultVerbosity, defaultVerbosity, defaultVerbosity, defaultVerbosity}};
constinit std::atomic<ZDDS_Config_Logger*> published{nullptr};
// Serializes making and finalizing.
constinit pthread_mutex_t lifeMutex = PTHREAD_MUTEX_INITIALIZER;

// What the logger has raised of the masks of the support layer's log, so that it takes away no more.
constinit pthread_mutex_t masksMutex = PTHREAD_MUTEX_INITIALIZER;
struct RaisedMask {
    ORX_UINT32* mask;
    ORX_UINT32 raised;
};
constinit RaisedMask masks[] = {
    {&DDSLog_g_instrumentationMask, 0}, {&ORX_MonitoringLog_g_instrumentationMask, 0}};

struct Listener {
    ZDDS_Config_Logger_VerbosityListener function;
    void* context;
};
constinit CountedSlot<Listener> listenerSlot;

[[gnu::constructor]] void watchForks() {
    pthread_atfork(nullptr, nullptr, [] {
        listenerSlot.forgetOtherThreads(insideListener);
        // A lost thread may have held them.
        lifeMutex = PTHREAD_MUTEX_INITIALIZER;
        masksMutex = PTHREAD_MUTEX_INITIALIZER;
    });
}

class Guard {
public:
    explicit Guard(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Guard() { pthread_mutex_unlock(&mutex_); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    pthread_mutex_t& mutex_;
};

// Lines of level status and debug are not made unless somebody wants them, so the masks follow a collection
// verbosity that does. Errors and warnings are left to whoever configures the log, as they are for stderr
// too: what the logger does not collect it drops itself.
void followWithMasks(const ZDDS_Config_Logger& self) {
    Guard guard(masksMutex);
    const ZDDS_Config_LogVerbosity verbosity =
        self.verbosities[middlewarePosition].load(std::memory_order_relaxed);
    const ORX_UINT32 wanted =
        ((verbosity & ZDDS_CONFIG_LOG_LEVEL_INFORMATIONAL) != 0 ? ORX_LOG_BIT_STATUS : 0) |
        ((verbosity & ZDDS_CONFIG_LOG_LEVEL_DEBUG) != 0 ? ORX_LOG_BIT_DEBUG : 0);
    for (RaisedMask& one : masks) {
        std::atomic_ref mask(*one.mask);
        const ORX_UINT32 given = one.raised & ~wanted;
        mask.fetch_and(~given, std::memory_order_relaxed);
        one.raised &= wanted;
        one.raised |= wanted & ~mask.fetch_or(wanted, std::memory_order_relaxed);
    }
}

// Tells the listener until it knows the value that stands: of two threads that change a verbosity at the
// same time the earlier may be the later one to tell. A listener that changes a verbosity is not entered
// again; the call that it came from tells it the rest.
void tellListener(const ZDDS_Config_Logger& self, int position) {
    if ((insideOf & insideListener) != 0)
        return;
    const std::atomic<ZDDS_Config_LogVerbosity>& verbosity = self.verbosities[position];
    listenerSlot.visit(insideListener, [&](const Listener& listener) {
        ZDDS_Config_LogVerbosity told = 0;
        do {
            told = verbosity.load(std::memory_order_seq_cst);
            listener.function(listener.context, facilities[position], told);
        } while (told != verbosity.load(std::memory_order_seq_cst));
    });
}

// The library is not deleted while one of its mutexes is held by a thread that found it enabled.
void tellLibrary() {
    if (!ORX_MonitoringHost_is_enabled())
        return;
    if (ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, 0, 1, 1, nullptr) !=
        ORX_MONITORING_LOCK_RESULT_OK)
        return;
    ORX_MonitoringClass* library = host::runningLibrary();
    if (library != nullptr && !library->onLoggingCollectionChange(library))
        ZDDS_LOG_WARNING(FAILED_TO_UPDATE, "logging collection of the monitoring library");
    ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, 0, 1);
}

struct Message {
    ZDDS_Config_LogFacility facility;
    ZDDS_Config_SyslogLevel level;
    DDS_UnsignedLong id;
    const char* category;
    const char* text;
};

void deliverToDevices(const Message& message) {
    TextBuffer buffer;
    composeText(buffer, message.level, message.category, message.text);
    deliver({.text = buffer.bytes,
        .level = static_cast<ZDDS_Config_LogLevel>(bitOf(message.level)),
        .is_security_message = DDS_BOOLEAN_FALSE,
        .message_id = message.id,
        .timestamp = now(),
        .facility = message.facility});
}

// The index that the library's device takes for this thread, so that a thread's messages keep their order,
// and a message that it logs under its own logging mutex enters that mutex again. A remainder in 32 bits,
// which a thread's id fits everywhere, costs a fraction of one in 64.
DDS_UnsignedLong loggingIndexOfThisThread() {
    const DDS_UnsignedLong level = host::host().loggingPool.level();
    const ORX_UINT64 id = ORXOsapiThread_getCurrentThreadID();
    if (level == 0)
        return 0;
    return id <= UINT32_MAX ? static_cast<DDS_UnsignedLong>(id) % level
                            : static_cast<DDS_UnsignedLong>(id % level);
}

void postToLibrary(const Message& message) {
    if (!host::host().enabled.load(std::memory_order_relaxed)) // asked again with the lock
        return;
    const DDS_UnsignedLong index = loggingIndexOfThisThread();
    TextBuffer buffer;
    const char* text = boundText(buffer, message.text);
    const DDS_Duration_t timestamp = now();
    Inside inside(insideLibrary);
    if (ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, index, 1, 1, nullptr) !=
        ORX_MONITORING_LOCK_RESULT_OK)
        return;
    if (ORX_MonitoringClass* library = host::runningLibrary()) {
        (void)library->postLogMessage(library, text, message.level, message.id, &timestamp, message.facility,
            nullptr, message.category, index);
    }
    ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, index, 1);
}

DDS_Duration_t bounded(ORX_INT64 seconds, DDS_UnsignedLong nanoseconds) {
    constexpr DDS_Long least = std::numeric_limits<DDS_Long>::min();
    constexpr DDS_Long most = std::numeric_limits<DDS_Long>::max();
    if (seconds < least)
        return {least, 0};
    if (seconds > most)
        return {most, 999'999'999};
    return {static_cast<DDS_Long>(seconds), nanoseconds};
}

bool isForDevices(ZDDS_Config_LogFacility facility) {
    return facility == ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE || facility == ZDDS_CONFIG_LOG_FACILITY_SERVICE;
}

} // namespace

int positionOf(ZDDS_Config_LogFacility facility) {
    switch (facility) {
    case ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE:
        return middlewarePosition;
    case ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT:
        return 1;
    case ZDDS_CONFIG_LOG_FACILITY_SERVICE:
        return 2;
    case ZDDS_CONFIG_LOG_FACILITY_USER:
        return 3;
    }
    return -1;
}

DDS_Duration_t now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return bounded(time.tv_sec, static_cast<DDS_UnsignedLong>(time.tv_nsec));
}

DDS_Duration_t timeOf(ORX_INT64 timeNs) {
    constexpr ORX_INT64 second = 1'000'000'000;
    ORX_INT64 seconds = timeNs / second;
    ORX_INT64 rest = timeNs % second;
    if (rest < 0) {
        rest += second;
        --seconds;
    }
    return bounded(seconds, static_cast<DDS_UnsignedLong>(rest));
}

} // namespace zdds::logger

using namespace zdds::logger;

// A full table of sinks costs the middleware's own messages and nothing else.
ZDDS_Config_Logger* ZDDS_Config_Logger_get_instance(void) {
    ZDDS_Config_Logger* self = published.load(std::memory_order_acquire);
    if (self != nullptr)
        return self;
    Guard guard(lifeMutex);
    if (published.load(std::memory_order_relaxed) == nullptr) {
        theLogger.sink = ORXLog_addSink(&onMiddlewareLine, &theLogger);
        published.store(&theLogger, std::memory_order_release);
    }
    return &theLogger;
}

DDS_Boolean ZDDS_Config_Logger_is_initialized(void) {
    return published.load(std::memory_order_acquire) != nullptr;
}

void ZDDS_Config_Logger_finalize_instance(void) {
    Guard guard(lifeMutex);
    if (published.exchange(nullptr, std::memory_order_acq_rel) == nullptr)
        return;
    if (theLogger.sink != 0)
        ORXLog_removeSink(theLogger.sink);
    theLogger.sink = 0;
    for (auto& verbosity : theLogger.verbosities)
        verbosity.store(defaultVerbosity, std::memory_order_relaxed);
    followWithMasks(theLogger);
    Listener before{};
    bool wasFull = false;
    (void)listenerSlot.exchange(insideListener, nullptr, &before, &wasFull);
}

ZDDS_Config_LogVerbosity ZDDS_Config_Logger_get_verbosity_by_facility(
    const ZDDS_Config_Logger* self, ZDDS_Config_LogFacility facility) {
    ZDDS_REQUIRE(self != nullptr, ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT);
    const int position = positionOf(facility);
    if (position < 0)
        return ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT;
    return self->verbosities[position].load(std::memory_order_relaxed);
}

int ZDDS_Config_Logger_set_verbosity_by_facilityI(ZDDS_Config_Logger* self, ZDDS_Config_LogFacility facility,
    ZDDS_Config_LogVerbosity verbosity, int notify) {
    ZDDS_REQUIRE(self != nullptr, 0);
    const int position = positionOf(facility);
    if (position < 0)
        return ZDDS_FAIL(0, FAILED_TO_SET, "verbosity of facility %d: it does not exist", facility);
    const ZDDS_Config_LogVerbosity mask = verbosity & ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG;
    if (self->verbosities[position].exchange(mask, std::memory_order_seq_cst) == mask)
        return 1;
    if (position == middlewarePosition)
        followWithMasks(*self);
    tellListener(*self, position);
    if (notify != 0)
        tellLibrary();
    return 1;
}

void ZDDS_Config_Logger_set_verbosity_listener(
    ZDDS_Config_Logger* self, ZDDS_Config_Logger_VerbosityListener listener, void* context) {
    ZDDS_REQUIRE(self != nullptr);
    const Listener next{listener, context};
    Listener before{};
    bool wasFull = false;
    if (!listenerSlot.exchange(insideListener, listener != nullptr ? &next : nullptr, &before, &wasFull))
        ZDDS_LOG_ERROR(FAILED_TO_SET, "verbosity listener: another thread is changing it");
}

int ZDDS_Config_Logger_log(ZDDS_Config_Logger* self, ZDDS_Config_LogFacility facility,
    ZDDS_Config_SyslogLevel level, DDS_UnsignedLong message_id, const char* category, const char* text) {
    ZDDS_REQUIRE(self != nullptr, 0);
    ZDDS_REQUIRE(text != nullptr, 0);
    const int position = positionOf(facility);
    ZDDS_REQUIRE(position >= 0, 0);
    const ORX_UINT32 bit = bitOf(std::bit_cast<int>(level));
    ZDDS_REQUIRE(bit != 0, 0);
    ZDDS_REQUIRE(category == nullptr || isCategory(category), 0);
    if ((self->verbosities[position].load(std::memory_order_relaxed) & bit) == 0 || !mayDeliver())
        return 1;
    const bool hasCategory = category != nullptr && *category != '\0';
    const Message message{facility, level, message_id, hasCategory ? category : nullptr, text};
    isForDevices(facility) ? deliverToDevices(message) : postToLibrary(message);
    return 1;
}
