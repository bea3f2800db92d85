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

void checkDomain(std::string_view value, Problem& problem) {
    int32_t domain = 0;
    if (!parseDomain(value, domain))
        report(problem, "'%.*s' is no domain: a number from 0 to %d is", width(value), value.data(),
            maximumDomain);
}

void checkApplicationName(std::string_view value, Problem& problem) {
    if (value.empty() || value.size() > maximumApplicationName)
        report(problem, "an application's name has 1 to %zu bytes, and '%.*s' has %zu",
            maximumApplicationName, width(value), value.data(), value.size());
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

void checkSelections(std::string_view value, Problem& problem) {
    std::string_view selection;
    for (std::string_view rest = value; !problem && nextSelection(rest, selection);)
        checkSelection(selection, problem);
}

void checkVerbosity(std::string_view value, Problem& problem) {
    Verbosity verbosity{};
    if (!parseVerbosity(value, verbosity))
        report(problem, "'%.*s' is no verbosity: silent, error, warning, info and debug are", width(value),
            value.data());
}

void checkLibrary(std::string_view value, Problem& problem) {
    if (value.empty())
        report(problem, "the name of the file is empty");
}

void checkOff(std::string_view, Problem&) {}

constexpr Option optionTable[] = {
    {"domain", "N", "ORX_AGENT_DOMAIN", false, checkDomain,
        "domain of the monitoring, 0 to 230 (default 2). The program keeps its\n"
        "own domains; it must not configure this one itself."},
    {"app-name", "NAME", "ORX_AGENT_APP_NAME", false, checkApplicationName,
        "name of the application, 1 to 255 bytes (default: made of the host's\n"
        "name, the process id and a random number)"},
    {"peers", "LIST", "ORX_AGENT_PEERS", false, checkPeers,
        "addresses of collectors, with commas between them, at most 64, for\n"
        "networks without multicast (default: none)"},
    {"select", "SELECTION", "ORX_AGENT_SELECT", true, checkSelections,
        "metrics to publish from the start, as 'EXPRESSION=PATTERN,PATTERN':\n"
        "an expression names resources, a pattern metrics, and a ! before a\n"
        "pattern turns them off. Repeatable; later ones win; in the variable\n"
        "they stand on lines of their own. Default: every metric that changes\n"
        "by events, of all resources."},
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
           "dds_data_reader_subscription_matched_*";
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
        option.check(value, found);
        if (found)
            return report(problem, "%s: %.1300s", option.environment, found.text);
    }
}

} // namespace orx::agent
