#include "agent/logs/LogCapture.hpp"

#include <syslog.h>

#include <atomic>
#include <bit>
#include <cstring>

#include "dds/ddsrt/log.h"
#include "src/support/Sync.hpp"
#include "zddscore/thread.h"

namespace orx::agent {

namespace {

// The engine's lines are at most this long.
constexpr size_t maximumLine = 2048;

struct Severe {
    uint32_t category;
    ZDDS_Config_SyslogLevel level;
};
constexpr Severe severe[] = {
    {DDS_LC_FATAL, ZDDS_CONFIG_SYSLOG_LEVEL_CRITICAL}, // the engine aborts the process behind it
    {DDS_LC_ERROR, ZDDS_CONFIG_SYSLOG_LEVEL_ERROR},
    {DDS_LC_WARNING, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING},
    {DDS_LC_INFO, ZDDS_CONFIG_SYSLOG_LEVEL_INFORMATIONAL},
};
constexpr int firstTraceBit = 4;
// By bit, from DDS_LC_CONFIG on.
constexpr const char* traceCategories[] = {"config", "discovery", "data", "trace", "radmin", "timing",
    "traffic", "topic", "tcp", "plist", "whc", "throttle", "rhc", "content", "shm"};
static_assert(DDS_LC_CONFIG == 1U << firstTraceBit);
static_assert(DDS_LC_SHM == DDS_LC_CONFIG << (std::size(traceCategories) - 1));

// By facility number.
constexpr const char* facilities[] = {"kern", "user", "mail", "daemon", "auth", "syslog", "lpr", "news",
    "uucp", "cron", "authpriv", "ftp", "ntp", "security", "console", "clock", "local0", "local1", "local2",
    "local3", "local4", "local5", "local6", "local7"};
static_assert(std::size(facilities) == LOG_NFACILITIES);

ZDDS_Config_Logger* logger = nullptr;
void (*setCategories)(uint32_t) = nullptr;
uint32_t monitoringDomain = 0;
// Set once and for all by the program's first use of the domain.
std::atomic<bool> isShared{false};
// Of the fixed model, so that no first use on a thread of the program allocates: the few bytes of this
// library's thread storage fit into what a program has to spare for libraries that are loaded late. Keep them
// few.
[[gnu::tls_model("initial-exec")]] thread_local bool isThreadOfMonitoring = false;

// Relaxed: a moment more or less does no harm.
std::atomic<int64_t> lastCollection{0};

void hand(ZDDS_Config_LogFacility facility, const LogOrigin& origin, const char* text) {
    ZDDS_Config_Logger_log(logger, facility, origin.level, 0, origin.category, text);
    lastCollection.store(zdds::Deadline::now(), std::memory_order_relaxed);
}

void onVerbosity(void*, ZDDS_Config_LogFacility facility, ZDDS_Config_LogVerbosity verbosity) {
    if (facility == ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE)
        setCategories(categoriesOf(verbosity));
}

void onEngineLine(uint32_t category, const char* text, size_t size) {
    if (isThreadOfMonitoring || ORXOsapiThread_isOwnThread())
        return;
    const LogOrigin origin = originOfEngineLine(category);
    const ZDDS_Config_LogVerbosity verbosity =
        ZDDS_Config_Logger_get_verbosity_by_facility(logger, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE);
    if ((verbosity & ORXSyslog_getInstrumentBitFromSyslogLevel(origin.level)) == 0)
        return;
    char line[maximumLine];
    const size_t length = size < sizeof line ? size : sizeof line - 1;
    std::memcpy(line, text, length);
    line[length] = '\0';
    hand(ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, origin, line);
}

void onUserLine(int priority, const char* text) {
    hand(ZDDS_CONFIG_LOG_FACILITY_USER, originOfUserLine(priority), text);
}

bool isMonitoringDomainShared() {
    return isShared.load(std::memory_order_relaxed);
}

} // namespace

LogOrigin originOfEngineLine(uint32_t category) {
    for (const Severe& entry : severe) {
        if ((category & entry.category) != 0)
            return {entry.level, nullptr};
    }
    const auto index = static_cast<size_t>(std::countr_zero(category) - firstTraceBit);
    return {ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG,
        index < std::size(traceCategories) ? traceCategories[index] : nullptr};
}

LogOrigin originOfUserLine(int priority) {
    const auto facility = static_cast<size_t>(LOG_FAC(priority));
    const bool isNamed = (priority & LOG_FACMASK) != 0 && facility < std::size(facilities);
    return {
        static_cast<ZDDS_Config_SyslogLevel>(LOG_PRI(priority)), isNamed ? facilities[facility] : nullptr};
}

uint32_t categoriesOf(ZDDS_Config_LogVerbosity verbosity) {
    uint32_t categories = 0;
    for (const Severe& entry : severe) {
        if ((verbosity & ORXSyslog_getInstrumentBitFromSyslogLevel(entry.level)) != 0)
            categories |= entry.category;
    }
    return categories;
}

bool startLogCapture(void (*setCollectedCategories)(uint32_t categories)) {
    logger = ZDDS_Config_Logger_get_instance();
    if (logger == nullptr)
        return false;
    setCategories = setCollectedCategories;
    setCategories(categoriesOf(
        ZDDS_Config_Logger_get_verbosity_by_facility(logger, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE)));
    ZDDS_Config_Logger_set_verbosity_listener(logger, onVerbosity, nullptr);
    return true;
}

void fillLogCapture(OrxLogCapture& capture, int32_t domain) {
    monitoringDomain = static_cast<uint32_t>(domain);
    capture = {.monitoringDomain = monitoringDomain,
        .isMonitoringDomainShared = isMonitoringDomainShared,
        .engineLine = onEngineLine,
        .userLine = onUserLine};
}

void noteDomainOfProgram(uint32_t domain) {
    if (domain == monitoringDomain)
        isShared.store(true, std::memory_order_relaxed);
}

int64_t lastCollectionNs() {
    return lastCollection.load(std::memory_order_relaxed);
}

void markThreadOfMonitoring() {
    isThreadOfMonitoring = true;
}

} // namespace orx::agent
