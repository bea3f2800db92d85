#include "send/Options.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "agent/JoiningOptions.hpp"
#include "reading/Words.hpp"

namespace send {

namespace {

constexpr std::size_t maximumSelectors = 1024;

struct NamedNumber {
    const char* name;
    int number;
};
constexpr NamedNumber levels[] = {{"silent", 0}, {"emergency", 1}, {"alert", 3}, {"critical", 7},
    {"error", 15}, {"warning", 31}, {"notice", 63}, {"informational", 127}, {"debug", 255}};

template <std::size_t count>
std::optional<int> find(const NamedNumber (&table)[count], const std::string& name) {
    for (const NamedNumber& each : table)
        if (name == each.name)
            return each.number;
    return std::nullopt;
}

std::string namesOf(const auto& table) {
    std::string all;
    for (const auto& each : table)
        all += (all.empty() ? "" : ", ") + std::string(each.name);
    return all;
}

std::optional<std::string> problemOf(
    void (*check)(std::string_view, orx::agent::Problem&), const std::string& text) {
    orx::agent::Problem problem;
    check(text, problem);
    if (!problem)
        return std::nullopt;
    return problem.text;
}

void splitPatterns(const std::string& text, Selector& selector) {
    const orx::agent::Selection parts = orx::agent::splitSelection(text);
    selector.expression = parts.expression;
    orx::agent::Pattern pattern{};
    for (std::string_view rest = parts.patterns; orx::agent::nextPattern(rest, pattern);)
        (pattern.enables ? selector.enabled : selector.disabled).emplace_back(pattern.text);
}

std::optional<std::string> parseMetrics(const std::string& text, Selector& selector) {
    if (auto problem = problemOf(orx::agent::checkSelection, text))
        return problem;
    splitPatterns(text, selector);
    return std::nullopt;
}

std::optional<std::string> parseMetricGroups(const std::string& text, Selector& selector) {
    if (text.find('=') == std::string::npos)
        return "'" + text + "' has no '=' between expression and patterns";
    splitPatterns(text, selector);
    if (!selector.disabled.empty())
        return "'" + text + "': metric groups cannot be turned off with '!'";
    return problemOf(orx::agent::checkExpression, selector.expression);
}

std::optional<std::string> parseLevel(const std::string& text, Selector& selector) {
    const std::size_t colon = text.find(':');
    const reading::Facility* const facility = reading::facilityNamed(text.substr(0, colon));
    if (facility == nullptr)
        return "'" + text.substr(0, colon) + "' is no facility; there are " + namesOf(reading::facilities);
    const auto level = colon == std::string::npos ? std::nullopt : find(levels, text.substr(colon + 1));
    if (!level)
        return "'" + text + "' names no level behind ':'; there are " + namesOf(levels);
    selector.levels.push_back({facility->number, *level});
    return std::nullopt;
}

std::optional<std::string> parseLevels(const std::string& text, Selector& selector) {
    const std::size_t divider = text.rfind('=');
    if (divider == std::string::npos)
        return "'" + text + "' has no '=' between expression and levels";
    selector.expression = text.substr(0, divider);
    if (auto problem = problemOf(orx::agent::checkExpression, selector.expression))
        return problem;
    std::string_view item;
    for (std::string_view rest = std::string_view(text).substr(divider + 1);
         orx::agent::nextItem(rest, item);)
        if (auto problem = parseLevel(std::string(item), selector))
            return problem;
    if (selector.levels.empty())
        return "'" + text + "' names no level";
    return std::nullopt;
}

constexpr char selectorHelp[] =
    "what the command addresses, by operation:\n"
    "set_, update_metric_subscription_state  EXPRESSION=PATTERN,!PATTERN\n"
    "    '//data_writers/*=dds_data_writer_publication_matched_*': metrics on, with ! off\n"
    "set_logging_collection_, _forwarding_level  EXPRESSION=FACILITY:LEVEL,...\n"
    "    '//applications/*=middleware:debug,user:silent'\n"
    "request_resource_registry and the others  EXPRESSION";

std::string operationHelp() {
    std::string help = "one of";
    for (const Operation& each : operations())
        help += std::string(each.isServed ? " " : " (") + each.name + (each.isServed ? "" : ")");
    return help + "; those in parentheses are refused or ignored";
}

std::string isOperation(const std::string& text) {
    return findOperation(text) != nullptr ? "" : "'" + text + "' is no operation";
}

// Empty for a number of seconds; CLI's own range lets "nan" pass.
std::string isDuration(const std::string& text) {
    constexpr double longest = 3600;
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    return isNumber && seconds > 0 && seconds <= longest
               ? ""
               : "'" + text + "' is no number of seconds up to 3600";
}

} // namespace

std::optional<std::string> parseSelector(SelectorKind kind, const std::string& text, Selector& selector) {
    switch (kind) {
    case SelectorKind::metrics:
        return parseMetrics(text, selector);
    case SelectorKind::metricGroups:
        return parseMetricGroups(text, selector);
    case SelectorKind::levels:
        return parseLevels(text, selector);
    default:
        selector.expression = text;
        return problemOf(orx::agent::checkExpression, text);
    }
}

Parsed parseOptions(int argc, char** argv) {
    Parsed parsed;
    Options& options = parsed.options;
    std::string operation;
    std::vector<std::string> selectors;
    std::vector<std::string> peers;
    CLI::App app{"Sends one command to one monitored application, and prints its reply.\n"
                 "Exit codes: 0 done, 2 error, 3 nothing matched, 4 no reply."};
    app.option_defaults()->always_capture_default();
    app.add_option("OPERATION", operation, operationHelp())
        ->required()
        ->check(isOperation, "")
        ->always_capture_default(false);
    app.add_option("SELECTOR", selectors, selectorHelp)->required()->always_capture_default(false);
    app.add_option("--app", options.application,
           "name of the application; without it there must be just one in the domain")
        ->always_capture_default(false);
    orx::agent::addJoiningOptions(app, options.domain, peers);
    app.add_option("--timeout", options.seconds, "seconds for finding the application and for its reply")
        ->check(isDuration, "SECONDS");
    app.add_flag("--json", options.json, "print the reply as a JSON object");
    app.set_version_flag("--version", ORX_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        parsed.exitCode = app.exit(error) == 0 ? 0 : 2;
        return parsed;
    }
    options.operation = findOperation(operation);
    options.peers = orx::agent::peersOf(peers);
    std::optional<std::string> problem;
    if (selectors.size() > maximumSelectors)
        problem = "more than " + std::to_string(maximumSelectors) + " selectors";
    for (const std::string& text : selectors) {
        if (problem)
            break;
        problem = parseSelector(options.operation->kind, text, options.selectors.emplace_back());
    }
    if (problem) {
        std::cerr << "orx-send: " << *problem << '\n';
        parsed.exitCode = 2;
    }
    return parsed;
}

} // namespace send
