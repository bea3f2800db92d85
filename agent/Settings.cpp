#include "agent/Settings.hpp"

#include <fnmatch.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "src/dataModel/MetricTable.hpp"

namespace orx::agent {

namespace {

constexpr size_t maximumApplicationName = 255;
constexpr size_t maximumPeers = 64;
constexpr size_t maximumPattern = 255;

__attribute__((format(printf, 2, 3))) void report(Problem& problem, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(problem.text, sizeof problem.text, format, arguments);
    va_end(arguments);
}

int width(std::string_view text) {
    return static_cast<int>(text.size() < 256 ? text.size() : 256);
}

void checkDomain(const Option&, std::string_view value, Problem& problem) {
    int32_t domain = 0;
    if (!parseDomain(value, domain))
        report(problem, "'%.*s' is no domain: a number from 0 to %d is", width(value), value.data(),
            maximumDomain);
}

void checkApplicationName(const Option&, std::string_view value, Problem& problem) {
    if (value.empty() || value.size() > maximumApplicationName)
        report(problem, "an application's name has 1 to %zu bytes, and '%.*s' has %zu",
            maximumApplicationName, width(value), value.data(), value.size());
}

void checkPeerList(const Option&, std::string_view value, Problem& problem) {
    checkPeers(value, problem);
}

void checkSelections(const Option&, std::string_view value, Problem& problem) {
    std::string_view selection;
    for (std::string_view rest = value; !problem && nextSelection(rest, selection);)
        checkSelection(selection, problem);
}

void checkVerbosity(const Option&, std::string_view value, Problem& problem) {
    Verbosity verbosity{};
    if (!parseVerbosity(value, verbosity))
        report(problem, "'%.*s' is no verbosity: silent, error, warning, info and debug are", width(value),
            value.data());
}

void checkLibrary(const Option&, std::string_view value, Problem& problem) {
    if (value.empty())
        report(problem, "the name of the file is empty");
}

void checkOff(const Option&, std::string_view, Problem&) {}

constexpr int64_t second = 1'000'000'000;

// Digits, and up to nine more behind a point.
bool secondsOf(std::string_view text, int64_t& nanoseconds) {
    constexpr std::string_view digits = "0123456789";
    const size_t point = text.find('.');
    const std::string_view whole = text.substr(0, point);
    std::string_view part = point == std::string_view::npos ? "0" : text.substr(point + 1);
    if (whole.empty() || whole.size() > 9 || part.empty() || part.size() > 9 ||
        whole.find_first_not_of(digits) != std::string_view::npos ||
        part.find_first_not_of(digits) != std::string_view::npos)
        return false;
    int64_t value = 0;
    for (const char digit : whole)
        value = value * 10 + (digit - '0');
    for (size_t i = 0; i < 9; ++i)
        value = value * 10 + (i < part.size() ? part[i] - '0' : 0);
    nanoseconds = value;
    return true;
}

bool numberOf(std::string_view text, int64_t& number) {
    constexpr size_t mostDigits = 10;
    if (text.empty() || text.size() > mostDigits ||
        text.find_first_not_of("0123456789") != std::string_view::npos)
        return false;
    number = 0;
    for (const char digit : text)
        number = number * 10 + (digit - '0');
    return true;
}

bool isWithin(const Option& option, int64_t value) {
    return value >= option.least && value <= option.most;
}

double secondsFrom(int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / static_cast<double>(second);
}

void checkSeconds(const Option& option, std::string_view value, Problem& problem) {
    int64_t nanoseconds = 0;
    if (!secondsOf(value, nanoseconds) || !isWithin(option, nanoseconds))
        report(problem, "'%.*s' is no number of seconds from %g to %g", width(value), value.data(),
            secondsFrom(option.least), secondsFrom(option.most));
}

void checkNumber(const Option& option, std::string_view value, Problem& problem) {
    int64_t number = 0;
    if (!numberOf(value, number) || !isWithin(option, number))
        report(problem, "'%.*s' is no number from %lld to %lld", width(value), value.data(),
            static_cast<long long>(option.least), static_cast<long long>(option.most));
}

constexpr std::string_view levelNames[] = {
    "emergency", "alert", "critical", "error", "warning", "notice", "informational", "debug"};

bool parseLevel(std::string_view text, int& level) {
    if (text == "silent") {
        level = Levels::silent;
        return true;
    }
    for (size_t i = 0; i < std::size(levelNames); ++i) {
        if (text == levelNames[i]) {
            level = static_cast<int>(i);
            return true;
        }
    }
    return false;
}

int* levelOf(Levels& levels, std::string_view facility) {
    const reading::Facility* const known = reading::facilityNamed(facility);
    switch (known != nullptr ? known->number : 0) {
    case 1:
        return &levels.user;
    case 10:
        return &levels.securityEvent;
    case 22:
        return &levels.service;
    case 23:
        return &levels.middleware;
    default:
        return nullptr;
    }
}

void checkLevel(std::string_view level, Problem& problem) {
    int ignored = 0;
    if (!parseLevel(level, ignored))
        report(problem,
            "'%.*s' is no level: silent, emergency, alert, critical, error, warning, notice, informational "
            "and debug are",
            width(level), level.data());
}

void checkLevels(const Option&, std::string_view value, Problem& problem) {
    if (value.find('=') == std::string_view::npos)
        return checkLevel(value, problem);
    std::string_view item;
    for (std::string_view rest = value; !problem && nextItem(rest, item);) {
        Levels ignored{};
        const size_t divider = item.find('=');
        if (divider == std::string_view::npos)
            return report(problem, "'%.*s' has no '=' between facility and level", width(item), item.data());
        const std::string_view facility = item.substr(0, divider);
        if (levelOf(ignored, facility) == nullptr)
            return report(problem, "'%.*s' is no facility: user, security, service and middleware are",
                width(facility), facility.data());
        checkLevel(item.substr(divider + 1), problem);
    }
}

constexpr Option optionTable[] = {
    {"domain", "N", "ORX_AGENT_DOMAIN", false, checkDomain,
        "domain of the monitoring, 0 to 232 (default 2). The program keeps its\n"
        "own domains; it must not configure this one itself."},
    {"app-name", "NAME", "ORX_AGENT_APP_NAME", false, checkApplicationName,
        "name of the application, 1 to 255 bytes (default: made of the host's\n"
        "name, the process id and a random number)"},
    {"peers", "LIST", "ORX_AGENT_PEERS", false, checkPeerList,
        "addresses of collectors, with commas between them, at most 64, for\n"
        "networks without multicast (default: none)"},
    {"select", "SELECTION", "ORX_AGENT_SELECT", true, checkSelections,
        "metrics to publish from the start, as 'EXPRESSION=PATTERN,PATTERN':\n"
        "an expression names resources, a pattern metrics, and a ! before a\n"
        "pattern turns them off. Repeatable; later ones win; in the variable\n"
        "they stand on lines of their own. Default: of all resources, every\n"
        "metric that changes by events, and those that docs/metrics.md lists\n"
        "as sampled periodically."},
    {"polling-period", "SECONDS", "ORX_AGENT_POLLING_PERIOD", false, checkSeconds,
        "between two samples of the metrics that are sampled periodically,\n"
        "0.01 to 86400 s (default 5)",
        second / 100, 86400 * second},
    {"event-period", "SECONDS", "ORX_AGENT_EVENT_PERIOD", false, checkSeconds,
        "between two publications of events, 0 to 3600 s; 0: each at once\n"
        "(default 0.1)",
        0, 3600 * second},
    {"logging-period", "SECONDS", "ORX_AGENT_LOGGING_PERIOD", false, checkSeconds,
        "between two publications of log messages, 0.001 to 3600 s\n"
        "(default 0.1)",
        second / 1000, 3600 * second},
    {"snapshot-delay", "SECONDS", "ORX_AGENT_SNAPSHOT_DELAY", false, checkSeconds,
        "from the match of a new collector to the snapshot for it, 0 to\n"
        "3600 s (default 1)",
        0, 3600 * second},
    {"event-queues", "N", "ORX_AGENT_EVENT_QUEUES", false, checkNumber,
        "queues of events, 1 to 64; entities share them, so more of them let\n"
        "more threads go on at once (default 5)",
        1, 64},
    {"logging-queues", "N", "ORX_AGENT_LOGGING_QUEUES", false, checkNumber,
        "queues of log messages, 1 to 64; threads share them (default 5)", 1, 64},
    {"event-queue-size", "BYTES", "ORX_AGENT_EVENT_QUEUE_SIZE", false, checkNumber,
        "memory that each queue of events begins with, 1024 to 268435456\n"
        "bytes (default 10240); it grows with what waits",
        1024, 268435456},
    {"logging-queue-size", "BYTES", "ORX_AGENT_LOGGING_QUEUE_SIZE", false, checkNumber,
        "the same of each queue of log messages (default 10240)", 1024, 268435456},
    {"queue-limit", "BYTES", "ORX_AGENT_QUEUE_LIMIT", false, checkNumber,
        "memory that each of these queues may grow to, 4096 to 2147483647\n"
        "bytes (default 67108864); what does not fit is dropped and counted",
        4096, 2147483647},
    {"log-history", "N", "ORX_AGENT_LOG_HISTORY", false, checkNumber,
        "log messages that are kept for collectors that come later, 0 to\n"
        "100000 (default 128)",
        0, 100000},
    {"logs-per-update", "N", "ORX_AGENT_LOGS_PER_UPDATE", false, checkNumber,
        "log messages in one sample at most, 1 to 10000 (default 512)", 1, 10000},
    {"forward", "LEVELS", "ORX_AGENT_FORWARD", false, checkLevels,
        "log messages to publish: a level for all facilities, or\n"
        "FACILITY=LEVEL with commas between them; a level takes in the more\n"
        "severe ones. Facilities: user, security, service, middleware.\n"
        "Levels: silent, emergency, alert, critical, error, warning, notice,\n"
        "informational, debug (default warning)"},
    {"collect", "LEVELS", "ORX_AGENT_COLLECT", false, checkLevels,
        "log messages to take in at all, as for --forward (default warning)"},
    {"verbosity", "LEVEL", "ORX_AGENT_VERBOSITY", false, checkVerbosity,
        "what the agent writes to stderr: silent, error, warning, info or\n"
        "debug (default warning)"},
    {"library", "FILE", "ORX_AGENT_LIBRARY", false, checkLibrary,
        "the monitoring library (default: liborxmonitoring2d.so.0 from beside\n"
        "the agent)"},
    {"off", nullptr, "ORX_AGENT_OFF", false, checkOff, "run the program without the agent"},
};

constexpr const char* classIdentifiers[] = {"applications", "domain_participants", "publishers",
    "subscribers", "topics", "data_writers", "data_readers", "types"};

bool matchesClass(std::string_view pattern) {
    char text[1024];
    if (pattern.size() >= sizeof text)
        return false;
    std::memcpy(text, pattern.data(), pattern.size());
    text[pattern.size()] = '\0';
    for (const char* identifier : classIdentifiers) {
        if (fnmatch(text, identifier, 0) == 0)
            return true;
    }
    return false;
}

// GUID(XXXXXXXX.XXXXXXXX.XXXXXXXX.XXXXXXXX)
bool isGuid(std::string_view text) {
    constexpr std::string_view form = "GUID(XXXXXXXX.XXXXXXXX.XXXXXXXX.XXXXXXXX)";
    if (text.size() != form.size())
        return false;
    for (size_t i = 0; i < form.size(); ++i) {
        const bool digit = std::strchr("0123456789abcdefABCDEF", text[i]) != nullptr;
        if (form[i] == 'X' ? !digit : text[i] != form[i])
            return false;
    }
    return true;
}

// The components of one section of an expression, in pairs of class and name. After a "//" a first component
// without partner is a name. Gives the number of components that the library will count.
size_t checkSection(std::string_view expression, std::string_view section, bool anyDepth, Problem& problem) {
    size_t components = 0;
    for (size_t at = 0; at < section.size();) {
        const size_t end = section.find('/', at);
        components += end != at;
        at = end == std::string_view::npos ? section.size() : end + 1;
    }
    const bool odd = components % 2 != 0;
    if (components == 0 || (odd && !anyDepth)) {
        report(problem, "expression '%.*s' selects nothing: a class without a name ends it",
            width(expression), expression.data());
        return 0;
    }
    size_t index = odd ? 1 : 0;
    for (size_t at = 0; at < section.size();) {
        size_t end = section.find('/', at);
        end = end == std::string_view::npos ? section.size() : end;
        const std::string_view component = section.substr(at, end - at);
        at = end + 1;
        if (component.empty())
            continue;
        if (index % 2 == 0 && !matchesClass(component)) {
            report(problem, "'%.*s' in expression '%.*s' names no class of resources", width(component),
                component.data(), width(expression), expression.data());
            return 0;
        }
        if (index % 2 == 1 && component.starts_with("GUID(") && !isGuid(component)) {
            report(problem, "'%.*s' in expression '%.*s' is no GUID", width(component), component.data(),
                width(expression), expression.data());
            return 0;
        }
        ++index;
    }
    return components + (anyDepth ? 1 : 0) + (anyDepth && odd ? 1 : 0);
}

template <size_t count>
bool matchesMetricOf(const char* pattern, const std::array<dataModel::metrics::Row, count>& metrics) {
    for (const dataModel::metrics::Row& metric : metrics) {
        if (fnmatch(pattern, metric.name, 0) == 0)
            return true;
    }
    return false;
}

bool matchesMetric(std::string_view pattern) {
    namespace metrics = dataModel::metrics;
    char text[maximumPattern + 1] = {};
    std::memcpy(text, pattern.data(), pattern.size());
    return matchesMetricOf(text, metrics::Topic) || matchesMetricOf(text, metrics::DataWriter) ||
           matchesMetricOf(text, metrics::DataReader) || matchesMetricOf(text, metrics::Participant) ||
           matchesMetricOf(text, metrics::Application);
}

void checkPattern(std::string_view selection, std::string_view pattern, Problem& problem) {
    if (pattern.empty())
        return report(problem, "selection '%.*s' holds an empty pattern", width(selection), selection.data());
    if (pattern.size() > maximumPattern || !matchesMetric(pattern))
        report(problem, "'%.*s' in selection '%.*s' matches the name of no metric", width(pattern),
            pattern.data(), width(selection), selection.data());
}

bool nextPart(std::string_view& rest, char delimiter, std::string_view& part) {
    if (rest.data() == nullptr)
        return false;
    const size_t end = rest.find(delimiter);
    part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
    return true;
}

} // namespace

std::span<const Option> options() {
    return optionTable;
}

bool parseDomain(std::string_view text, int32_t& domain) {
    if (text.empty() || text.size() > 3 || text.find_first_not_of("0123456789") != std::string_view::npos)
        return false;
    int32_t value = 0;
    for (const char digit : text)
        value = value * 10 + (digit - '0');
    if (value > maximumDomain)
        return false;
    domain = value;
    return true;
}

void checkPeers(std::string_view value, Problem& problem) {
    size_t count = 0;
    std::string_view peer;
    for (std::string_view rest = value; nextItem(rest, peer);) {
        if (peer.empty())
            return report(problem, "'%.*s' holds an empty address", width(value), value.data());
        constexpr std::string_view allowed =
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:-_[]%/";
        if (peer.find_first_not_of(allowed) != std::string_view::npos)
            return report(problem, "'%.*s' is no address", width(peer), peer.data());
        if (++count > maximumPeers)
            return report(problem, "more than %zu addresses", maximumPeers);
    }
    if (count == 0)
        report(problem, "the list of addresses is empty");
}

bool parseVerbosity(std::string_view text, Verbosity& verbosity) {
    constexpr std::string_view names[] = {"silent", "error", "warning", "info", "debug"};
    for (size_t i = 0; i < std::size(names); ++i) {
        if (text == names[i]) {
            verbosity = static_cast<Verbosity>(i);
            return true;
        }
    }
    return false;
}

namespace {

const Option* optionOf(const char* environment) {
    for (const Option& option : optionTable) {
        if (std::strcmp(option.environment, environment) == 0)
            return &option;
    }
    return nullptr;
}

} // namespace

bool parseSeconds(const char* environment, std::string_view text, int64_t& nanoseconds) {
    const Option* option = optionOf(environment);
    int64_t value = 0;
    if (option == nullptr || !secondsOf(text, value) || !isWithin(*option, value))
        return false;
    nanoseconds = value;
    return true;
}

bool parseNumber(const char* environment, std::string_view text, int32_t& number) {
    const Option* option = optionOf(environment);
    int64_t value = 0;
    if (option == nullptr || !numberOf(text, value) || !isWithin(*option, value))
        return false;
    number = static_cast<int32_t>(value);
    return true;
}

bool parseLevels(std::string_view text, Levels& levels) {
    Levels parsed = levels;
    int level = 0;
    if (text.find('=') == std::string_view::npos) {
        if (!parseLevel(text, level))
            return false;
        levels = {level, level, level, level};
        return true;
    }
    std::string_view item;
    for (std::string_view rest = text; nextItem(rest, item);) {
        const size_t divider = item.find('=');
        if (divider == std::string_view::npos || !parseLevel(item.substr(divider + 1), level))
            return false;
        int* place = levelOf(parsed, item.substr(0, divider));
        if (place == nullptr)
            return false;
        *place = level;
    }
    levels = parsed;
    return true;
}

bool nextSelection(std::string_view& rest, std::string_view& selection) {
    while (nextPart(rest, '\n', selection)) {
        if (!selection.empty())
            return true;
    }
    return false;
}

bool nextItem(std::string_view& rest, std::string_view& item) {
    return nextPart(rest, ',', item);
}

bool nextPattern(std::string_view& rest, Pattern& pattern) {
    if (!nextPart(rest, ',', pattern.text))
        return false;
    pattern.enables = !pattern.text.starts_with('!');
    if (!pattern.enables)
        pattern.text.remove_prefix(1);
    return true;
}

Selection splitSelection(std::string_view selection) {
    const size_t divider = selection.rfind('=');
    if (divider == std::string_view::npos)
        return {selection, {}};
    return {selection.substr(0, divider), selection.substr(divider + 1)};
}

const char* defaultSelections() {
    return "//*="
           "dds_topic_inconsistent_total,"
           "dds_data_writer_liveliness_lost_total,dds_data_writer_deadline_missed_total,"
           "dds_data_writer_incompatible_qos_total,dds_data_writer_publication_matched_*,"
           "dds_data_reader_sample_rejected_total,dds_data_reader_liveliness_*,dds_data_reader_deadline_"
           "missed_total,"
           "dds_data_reader_incompatible_qos_total,dds_data_reader_sample_lost_total,"
           "dds_data_reader_subscription_matched_*,"
           "dds_data_writer_reliable_reader_activity_*,"
           "dds_data_writer_cache_samples,dds_data_writer_cache_samples_peak,"
           "dds_data_writer_protocol_pushed_sample*,dds_data_writer_protocol_sent_heartbeats_*,"
           "dds_data_writer_protocol_pulled_sample*,dds_data_writer_protocol_received_acks_total,"
           "dds_data_writer_protocol_received_nacks_total,"
           "dds_data_writer_protocol_first_available_sequence_number_*,"
           "dds_data_writer_protocol_last_available_sequence_number_*,"
           "dds_data_writer_protocol_first_unacknowledged_sample_sequence_number_*,"
           "dds_data_writer_reliable_cache_full_total,dds_data_writer_reliable_cache_high_watermark_total,"
           "dds_data_writer_reliable_cache_unack_samples,dds_data_writer_reliable_cache_unack_samples_peak,"
           "dds_data_reader_cache_samples,dds_data_reader_cache_samples_peak,"
           "dds_data_reader_protocol_received_sample*,dds_data_reader_protocol_duplicate_sample_bytes_total,"
           "dds_application_process_memory_usage_*";
}

void checkExpression(std::string_view expression, Problem& problem) {
    constexpr size_t maximumLength = 1023;
    constexpr size_t maximumComponents = 32;
    if (expression.empty())
        return report(problem, "the resource expression is empty");
    if (expression.size() > maximumLength)
        return report(problem, "expression '%.*s...' has %zu bytes, and at most %zu are allowed",
            width(expression), expression.data(), expression.size(), maximumLength);
    if (expression.find("///") != std::string_view::npos)
        return report(problem, "expression '%.*s' holds more than two '/' in a row", width(expression),
            expression.data());
    size_t components = 0;
    bool anyDepth = false;
    for (size_t at = 0; at <= expression.size() && !problem;) {
        size_t end = expression.find("//", at);
        const bool last = end == std::string_view::npos;
        end = last ? expression.size() : end;
        if (end != at || anyDepth)
            components += checkSection(expression, expression.substr(at, end - at), anyDepth, problem);
        anyDepth = true;
        at = last ? expression.size() + 1 : end + 2;
    }
    if (!problem && components > maximumComponents)
        report(problem, "expression '%.*s' has more than %zu components", width(expression),
            expression.data(), maximumComponents);
}

void checkSelection(std::string_view selection, Problem& problem) {
    if (selection.find('=') == std::string_view::npos)
        return report(problem, "selection '%.*s' has no '=' between expression and patterns",
            width(selection), selection.data());
    const Selection parts = splitSelection(selection);
    checkExpression(parts.expression, problem);
    Pattern pattern{};
    for (std::string_view rest = parts.patterns; !problem && nextPattern(rest, pattern);)
        checkPattern(selection, pattern.text, problem);
}

void checkEnvironment(Problem& problem) {
    for (const Option& option : optionTable) {
        const char* value = std::getenv(option.environment);
        if (value == nullptr)
            continue;
        Problem found;
        option.check(option, value, found);
        if (found)
            return report(problem, "%s: %.1300s", option.environment, found.text);
    }
}

} // namespace orx::agent
