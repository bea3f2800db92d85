#include "ctl/CommandLine.hpp"

#include <algorithm>

#include "ctl/Names.hpp"
#include "reading/Words.hpp"

namespace ctl {

namespace {

constexpr std::size_t longestPath = 1023;
constexpr char pathHelp[] =
    "a name (pinger), a path expression\n('/applications/pinger//data_writers/*'), or a GUID";
constexpr char applicationsHelp[] = "the applications: a name, a path expression, or a GUID";

// Empty for a number of seconds; CLI's own range lets "nan" pass.
std::string checkDuration(const std::string& text) {
    constexpr double longest = 1e6;
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    return isNumber && seconds > 0 && seconds <= longest ? ""
                                                         : "'" + text + "' is no number of seconds up to 1e6";
}

template <typename Names> std::string checkWord(const Names& all, const char* what, const std::string& text) {
    constexpr std::size_t mostDigits = 9;
    const bool isNumber = !text.empty() && text.size() <= mostDigits &&
                          text.find_first_not_of("0123456789") == std::string::npos;
    if (isNumber || std::find(all.begin(), all.end(), text) != all.end())
        return "";
    return "'" + text + "' is no " + what + "; there are " + names::listOf(all) + ", and numbers";
}

std::string checkPath(const std::string& text) {
    if (text.empty())
        return "the path is empty";
    return text.size() <= longestPath ? "" : "the path has more than 1023 bytes";
}

} // namespace

std::string names::checkFacility(const std::string& text) {
    return reading::facilityNamed(text) != nullptr ? "" : checkWord(facilities, "facility", text);
}
std::string names::checkLevel(const std::string& text) {
    return checkWord(levels, "level", text);
}
std::string names::checkSeverity(const std::string& text) {
    return checkWord(severities, "severity", text);
}

CommandLine::CommandLine()
    : app_("Shows and changes what a collector knows of monitored applications.\n"
           "Exit codes: 0 done, 2 error, 3 nothing matched, 4 no reply, or no collector.",
          "orxctl") {
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.set_version_flag("--version", ORX_VERSION);
    addGlobals();
    addViews();
    addLogs();
    addEvents();
    addCommands();
}

Options CommandLine::options() const {
    Options options = options_;
    options.colour = colour_ == "always"  ? ColourUse::always
                     : colour_ == "never" ? ColourUse::never
                                          : ColourUse::automatic;
    for (const CLI::Option* option : limits_)
        if (option->count() != 0)
            options.limit = limit_;
    for (const CLI::Option* option : durations_)
        if (option->count() != 0)
            options.seconds = seconds_;
    return options;
}

void CommandLine::addGlobals() {
    app_.add_option("--collector", options_.collector, "where the collector serves")
        ->type_name("URL")
        ->envname("ORX_COLLECTOR")
        ->capture_default_str();
    app_.add_flag("--json", options_.json, "print JSON: a document, or a line for each message or event");
    app_.add_option("--timeout", options_.timeout, "seconds for an answer")
        ->type_name("SECONDS")
        ->check(checkDuration, "")
        ->capture_default_str();
    app_.add_option("--color", colour_, "use colours: auto, always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}), "")
        ->capture_default_str();
}

CLI::App* CommandLine::add(CLI::App& parent, const char* name, const char* help, std::optional<Verb> verb) {
    CLI::App* command = parent.add_subcommand(name, help);
    if (verb)
        command->callback([this, verb] { options_.verb = *verb; });
    return command;
}

CLI::Option* CommandLine::addPath(CLI::App& command, const char* help) {
    return command.add_option("PATH", options_.path, help)->type_name("")->check(checkPath, "");
}

void CommandLine::addViews() {
    add(app_, "applications", "the applications that are monitored", Verb::applications);
    addPath(*add(app_, "tree", "resources as a tree", Verb::tree), pathHelp);
    addPath(*add(app_, "show", "resources with their metrics", Verb::show), pathHelp)->required();
    add(app_, "status", "how the collector does", Verb::status);
}

void CommandLine::addCommands() {
    CLI::App* metrics = add(app_, "metrics", "change which metrics are published", {});
    metrics->require_subcommand(1);
    addPatterns(*add(*metrics, "set", "these and no others, of what PATH selects", Verb::metricsSet));
    addPatterns(*add(*metrics, "update", "add some and take some away", Verb::metricsUpdate));
    CLI::App* logging = add(app_, "logging", "change which log messages applications collect and send", {});
    logging->require_subcommand(1);
    addLevels(*add(*logging, "collection", "what the application collects", Verb::loggingCollection));
    addLevels(*add(*logging, "forwarding", "what it sends of that", Verb::loggingForwarding));
    addPath(*add(app_, "registry", "let applications send all their resources again", Verb::registry),
        applicationsHelp)
        ->required();
}

void CommandLine::addPatterns(CLI::App& command) {
    addPath(command, pathHelp)->required();
    command.add_option("PATTERN", patterns_, "+PATTERN turns metrics on, -PATTERN off:\n+dds_data_writer_*")
        ->type_name("")
        ->required();
}

void CommandLine::addLevels(CLI::App& command) {
    addPath(command, applicationsHelp)->required();
    command
        .add_option("LEVEL", levels_,
            "FACILITY=LEVEL: middleware=debug\nfacilities: " + names::listOf(names::facilities) +
                ", or a number\n" + "levels: " + names::listOf(names::levels) + ", or a number")
        ->type_name("")
        ->required();
}

void CommandLine::addLogs() {
    CLI::App* logs = add(app_, "logs", "log messages", Verb::logs);
    addFollow(*logs, "go on with those that come");
    addFilter(*logs, "--application", options_.application, "PATH", "of this application alone", checkPath);
    addFilter(
        *logs, "--facility", options_.facility, "FACILITY", "of this facility alone", names::checkFacility);
    addFilter(*logs, "--severity", options_.severity, "LEVEL", "this severe, or worse", names::checkSeverity);
    addFilter(*logs, "--category", options_.category, "TEXT", "of this category alone", nullptr);
    addFilter(*logs, "--contains", options_.contains, "TEXT", "with this text alone", nullptr);
    addLimit(*logs, "so many of the newest (100; with --follow 10)", 0);
}

void CommandLine::addEvents() {
    CLI::App* events = add(app_, "events",
        "resources that come and go, and metrics that change: for 10 seconds, or as told", Verb::events);
    addFollow(*events, "until interrupted");
    addFilter(*events, "--application", options_.application, "PATH", "of this application alone", checkPath);
    addFilter(
        *events, "--class", options_.resourceClass, "CLASS", "of resources of this class alone", nullptr);
    addLimit(*events, "end after so many", 1);
}

void CommandLine::addFollow(CLI::App& command, const char* help) {
    command.add_flag("-f,--follow", options_.follow, help);
    durations_.push_back(command.add_option("--for", seconds_, "end by itself after this long")
                             ->type_name("SECONDS")
                             ->check(checkDuration, ""));
}

void CommandLine::addFilter(CLI::App& command, const char* name, std::string& value, const char* type,
    const char* help, std::string (*check)(const std::string&)) {
    CLI::Option* option = command.add_option(name, value, help)->type_name(type);
    if (check != nullptr)
        option->check(check, "");
}

void CommandLine::addLimit(CLI::App& command, const char* help, int least) {
    constexpr int most = 10'000;
    limits_.push_back(
        command.add_option("-n,--limit", limit_, help)->type_name("")->check(CLI::Range(least, most)));
}

} // namespace ctl
