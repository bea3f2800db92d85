// From the environment to the property record of the monitoring library.
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "agent/Agent.hpp"
#include "agent/AgentLog.hpp"
#include "agent/ResourceName.hpp"
#include "agent/Settings.hpp"
#include "zddscore/inline_memory_bound.h"

namespace orx::agent {

namespace {

// Texts of the settings are parts of longer ones.
bool replace(char** destination, std::string_view text) {
    char* copy = DDS_String_ndup(text.data(), text.size());
    if (copy == nullptr)
        return false;
    DDS_String_free(*destination);
    *destination = copy;
    return true;
}

bool append(DDS_StringSeq& sequence, std::string_view text) {
    const DDS_Long length = DDS_StringSeq_get_length(&sequence);
    return DDS_StringSeq_ensure_length(&sequence, length + 1, length + 1) &&
           replace(DDS_StringSeq_get_reference(&sequence, length), text);
}

bool appendSelection(DDS_MonitoringMetricSelectionSeq& list, std::string_view text) {
    const DDS_Long length = DDS_MonitoringMetricSelectionSeq_get_length(&list);
    if (!DDS_MonitoringMetricSelectionSeq_ensure_length(&list, length + 1, length + 1))
        return false;
    DDS_MonitoringMetricSelection& selection = *DDS_MonitoringMetricSelectionSeq_get_reference(&list, length);
    const Selection parts = splitSelection(text);
    if (!replace(&selection.resource_selection, parts.expression))
        return false;
    Pattern pattern{};
    for (std::string_view rest = parts.patterns; nextPattern(rest, pattern);) {
        DDS_StringSeq& patterns =
            pattern.enables ? selection.enabled_metrics_selection : selection.disabled_metrics_selection;
        if (!append(patterns, pattern.text))
            return false;
    }
    return true;
}

bool fillSelections(ORX_MonitoringProperty_t& property, std::string_view selections) {
    std::string_view selection;
    while (nextSelection(selections, selection)) {
        if (!appendSelection(property.metric_selection_list, selection))
            return false;
    }
    return true;
}

bool fillPeers(ORX_MonitoringProperty_t& property, std::string_view peers) {
    std::string_view peer;
    while (nextItem(peers, peer)) {
        if (!append(property.collector_initial_peers, peer))
            return false;
    }
    return true;
}

void takeSeconds(const char* environment, DDS_Duration_t& duration) {
    const char* text = std::getenv(environment);
    int64_t nanoseconds = 0;
    if (text == nullptr || !parseSeconds(environment, text, nanoseconds))
        return;
    duration.sec = static_cast<decltype(duration.sec)>(nanoseconds / 1'000'000'000);
    duration.nanosec = static_cast<decltype(duration.nanosec)>(nanoseconds % 1'000'000'000);
}

template <typename Number> void takeNumber(const char* environment, Number& number) {
    const char* text = std::getenv(environment);
    int32_t value = 0;
    if (text != nullptr && parseNumber(environment, text, value))
        number = static_cast<Number>(value);
}

// A verbosity has the bits of a level and of all more severe ones.
ZDDS_Config_SyslogVerbosity verbosityOf(int level) {
    return static_cast<ZDDS_Config_SyslogVerbosity>((2U << static_cast<unsigned>(level)) - 1U);
}

void takeLevels(const char* environment, ORX_MonitoringLoggingVerbositySetting_t& setting) {
    const char* text = std::getenv(environment);
    constexpr int notNamed = -2;
    Levels levels = {notNamed, notNamed, notNamed, notNamed};
    if (text == nullptr || !parseLevels(text, levels))
        return;
    const auto take = [](int level, ZDDS_Config_SyslogVerbosity& verbosity) {
        if (level != notNamed)
            verbosity = level == Levels::silent ? ZDDS_CONFIG_SYSLOG_VERBOSITY_SILENT : verbosityOf(level);
    };
    take(levels.middleware, setting.middleware);
    take(levels.securityEvent, setting.security_event);
    take(levels.service, setting.service);
    take(levels.user, setting.user);
}

void fillNumbers(ORX_MonitoringProperty_t& property) {
    takeSeconds("ORX_AGENT_POLLING_PERIOD", property.periodic.polling_period);
    takeSeconds("ORX_AGENT_EVENT_PERIOD", property.event.publication_period);
    takeSeconds("ORX_AGENT_LOGGING_PERIOD", property.logging.publication_period);
    takeSeconds("ORX_AGENT_SNAPSHOT_DELAY", property.event.snapshot_delay);
    takeNumber("ORX_AGENT_EVENT_QUEUES", property.event.concurrency_level);
    takeNumber("ORX_AGENT_LOGGING_QUEUES", property.logging.concurrency_level);
    takeNumber("ORX_AGENT_EVENT_QUEUE_SIZE", property.event.initial_memory_size);
    takeNumber("ORX_AGENT_LOGGING_QUEUE_SIZE", property.logging.initial_memory_size);
    takeNumber("ORX_AGENT_LOG_HISTORY", property.logging.max_historical_logs);
    takeNumber("ORX_AGENT_LOGS_PER_UPDATE", property.logging.max_logs_per_update);
    takeLevels("ORX_AGENT_FORWARD", property.logging.forwarding_level);
}

} // namespace

bool fillProperty(ORX_MonitoringProperty_t& property) {
    const char* domain = std::getenv("ORX_AGENT_DOMAIN");
    const char* name = std::getenv("ORX_AGENT_APP_NAME");
    const char* peers = std::getenv("ORX_AGENT_PEERS");
    const char* selections = std::getenv("ORX_AGENT_SELECT");
    property.domain_id = defaultDomain;
    if (domain != nullptr)
        parseDomain(domain, property.domain_id);
    fillNumbers(property);
    const bool isFilled = (name == nullptr || DDS_String_replace(&property.application_name,
                                                  resourceName(name).text) != nullptr) &&
                          (peers == nullptr || fillPeers(property, peers)) &&
                          fillSelections(property, selections != nullptr ? selections : defaultSelections());
    if (!isFilled)
        AGENT_ERROR(FAILED_TO_SET, "properties of the monitoring");
    return isFilled;
}

void applyQueueLimit() {
    REDAInlineMemorySize limit = defaultQueueLimit;
    takeNumber("ORX_AGENT_QUEUE_LIMIT", limit);
    (void)REDAInlineMemory_setOpenMaximalI(limit);
}

void applyCollection() {
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    ORX_MonitoringLoggingVerbositySetting_t setting;
    if (logger == nullptr || !ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&setting, logger))
        return AGENT_WARNING(FAILED_TO_GET, "the logger: levels of collection stay as they are");
    takeLevels("ORX_AGENT_COLLECT", setting);
    const struct {
        ZDDS_Config_LogFacility facility;
        ZDDS_Config_SyslogVerbosity verbosity;
    } facilities[] = {{ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE, setting.middleware},
        {ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT, setting.security_event},
        {ZDDS_CONFIG_LOG_FACILITY_SERVICE, setting.service}, {ZDDS_CONFIG_LOG_FACILITY_USER, setting.user}};
    for (const auto& [facility, verbosity] : facilities)
        ZDDS_Config_Logger_set_verbosity_by_facilityI(
            logger, facility, ZDDS_Config_LogVerbosity_from_syslog_verbosity(verbosity), 0);
}

constexpr ORX_UINT32 repeatedLinesPerSecond = 3;

// The libraries tell at status level what they did not do for every metric that a platform lacks: that is for
// debugging.
void setVerbosity(Verbosity verbosity) {
    ORX_UINT32 mask = 0;
    if (verbosity >= Verbosity::error)
        mask |= ORX_LOG_BIT_PRECONDITION | ORX_LOG_BIT_ERROR;
    if (verbosity >= Verbosity::warning)
        mask |= ORX_LOG_BIT_WARNING;
    ORX_UINT32 ownMask = mask;
    if (verbosity >= Verbosity::info)
        ownMask |= ORX_LOG_BIT_STATUS;
    if (verbosity >= Verbosity::debug)
        mask = ownMask |= ORX_LOG_BIT_STATUS | ORX_LOG_BIT_DEBUG;
    logMask.store(ownMask, std::memory_order_relaxed);
    ORX_MonitoringLog_setBitmaps(~0U, mask);
    DDSLog_setDependencyInstrumentationMask(mask);
    // Collecting more raises the masks: that is for the collector of log messages, and not for the program's
    // stderr.
    ORXLog_setStderrLevels(mask);
    ORXLog_setStderrEnabled(verbosity != Verbosity::silent);
    // A reader that stalls makes every sample fail: the program's stderr is not flooded with that.
    ORXLog_setStderrRepetitionLimit(verbosity >= Verbosity::debug ? 0 : repeatedLinesPerSecond);
}

} // namespace orx::agent
