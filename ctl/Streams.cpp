// What goes on: log messages and events of resources, once or as they come.
#include <deque>
#include <unordered_set>

#include "ctl/Follow.hpp"
#include "ctl/Run.hpp"

namespace ctl {

namespace {

constexpr int usualBacklog = 10;
constexpr int usualMessages = 100;
// After a break: what may have come meanwhile.
constexpr int backlogAfterBreak = 1000;

const char* colourOfSeverity(const std::string& severity) {
    if (severity == "warning" || severity == "notice")
        return colour::yellow;
    if (severity == "informational" || severity == "debug")
        return colour::dim;
    return colour::red;
}

const char* colourOfEvent(const std::string& name) {
    if (name == "created" || name == "application_appeared")
        return colour::green;
    if (name == "deleted" || name == "application_vanished")
        return colour::red;
    return colour::cyan;
}

// Time, application, facility and severity, number, category, text.
std::string messageLine(const Json& message, const Output& output) {
    const Look& look = output.look;
    const std::string severity = shownOf(message, "severity");
    std::string line = painted(colour::dim, output.shown(clockOf(shownOf(message, "time"))), look);
    line += "  " + output.shown(shownOf(message, "application")) + "  ";
    line += painted(colourOfSeverity(severity),
        output.shown(shownOf(message, "facility")) + " " + output.shown(severity), look);
    line += "  " + painted(colour::dim, "sn=" + output.shown(shownOf(message, "sequence_number")), look);
    line += "  " + output.shown(shownOf(message, "category"));
    const Json& isSnapshot = member(message, "snapshot");
    if (isSnapshot.is_boolean() && isSnapshot.get<bool>())
        line += "  " + painted(colour::dim, "[snapshot]", look);
    return line + "  " + output.shown(shownOf(message, "message"));
}

// Time, application, path, what happened; a metric with its value.
std::string eventLine(const std::string& name, const Json& event, const Output& output) {
    const Look& look = output.look;
    std::string line = painted(colour::dim, output.shown(clockOf(shownOf(event, "time"))), look);
    line += "  " + output.shown(shownOf(event, "application"));
    if (const std::string path = shownOf(event, "path"); !path.empty())
        line += "  " + output.shown(path);
    const std::string metric = shownOf(event, "metric");
    line += "  " + painted(colourOfEvent(name), output.shown(metric.empty() ? name : metric), look);
    if (!metric.empty())
        line += "  " + output.shown(shownOf(event, "value"));
    const Json& isSnapshot = member(event, "snapshot");
    if (isSnapshot.is_boolean() && isSnapshot.get<bool>())
        line += "  " + painted(colour::dim, "[snapshot]", look);
    return line;
}

// A reader that was too slow, or a break of the stream.
void printLost(const Json& lost, const Output& output) {
    Json line{{"event", "lost"}, {"count", member(lost, "count")}};
    if (output.json)
        return output.line(line);
    const std::string count = shownOf(lost, "count");
    output.out << painted(colour::red,
                      "-- " + output.shown(count) + " lost: they came faster than they were read",
                      output.look)
               << std::endl;
}

// Remembers what was printed last, so that nothing that comes again after a break is printed twice. A number
// alone would not do: a collector that was started anew counts anew.
class Printed {
public:
    bool isNew(const Json& message) {
        const std::string key = shownOf(message, "id") + "|" + shownOf(message, "time");
        if (!keys_.insert(key).second)
            return false;
        order_.push_back(key);
        if (order_.size() > 2 * backlogAfterBreak) {
            keys_.erase(order_.front());
            order_.pop_front();
        }
        return true;
    }

private:
    std::unordered_set<std::string> keys_;
    std::deque<std::string> order_;
};

void addFilter(Parameters& parameters, const char* name, const std::string& value) {
    if (!value.empty())
        parameters.emplace_back(name, value);
}

Parameters filtersOf(const Options& options) {
    Parameters parameters;
    addFilter(parameters, "application", options.application);
    addFilter(parameters, "facility", options.facility);
    addFilter(parameters, "severity", options.severity);
    addFilter(parameters, "category", options.category);
    addFilter(parameters, "contains", options.contains);
    addFilter(parameters, "class", options.resourceClass);
    return parameters;
}

// What is no object tells nothing: it is left out, and said.
std::optional<Json> dataOf(const ServerEvent& event, const Output& output) {
    auto data = parseJson(event.data);
    if (data && data->is_object())
        return data;
    output.tell("left out an event that is no JSON object");
    return std::nullopt;
}

void printMessage(const Json& message, const Output& output) {
    if (output.json)
        output.line(message);
    else
        output.out << messageLine(message, output) << '\n' << std::flush;
}

ExitCode followLogs(
    const Options& options, const Client& client, const Output& output, const std::stop_token& stop) {
    Following following{"/api/v1/logs", filtersOf(options), filtersOf(options)};
    following.first.insert(following.first.end(),
        {{"follow", "1"}, {"limit", std::to_string(options.limit.value_or(usualBacklog))}});
    following.again.insert(
        following.again.end(), {{"follow", "1"}, {"limit", std::to_string(backlogAfterBreak)}});
    Printed printed;
    follow(
        client, following, output,
        [&](const ServerEvent& event) {
            const auto data = dataOf(event, output);
            if (data && event.name == "lost")
                printLost(*data, output);
            else if (data && event.name == "log" && printed.isNew(*data))
                printMessage(*data, output);
            return output.out.good();
        },
        stop);
    return ExitCode::done;
}

} // namespace

ExitCode showLogs(
    const Options& options, const Client& client, const Output& output, const std::stop_token& stop) {
    if (options.follow)
        return followLogs(options, client, output, stop);
    Parameters parameters = filtersOf(options);
    const int limit = options.limit.value_or(usualMessages);
    if (limit == 0)
        return ExitCode::done;
    parameters.emplace_back("limit", std::to_string(limit));
    const Json answer = client.get("/api/v1/logs", parameters);
    for (const Json& message : elementsOf(answer, "messages"))
        printMessage(message, output);
    return ExitCode::done;
}

ExitCode showEvents(
    const Options& options, const Client& client, const Output& output, const std::stop_token& stop) {
    const Following following{"/api/v1/events", filtersOf(options), filtersOf(options)};
    std::optional<int> left = options.limit;
    follow(
        client, following, output,
        [&](const ServerEvent& event) {
            auto data = dataOf(event, output);
            if (!data)
                return true;
            if (event.name == "lost") {
                printLost(*data, output);
                return output.out.good();
            }
            if (output.json) {
                Json line{{"event", event.name}};
                line.update(*data);
                output.line(line);
            } else {
                output.out << eventLine(event.name, *data, output) << '\n' << std::flush;
            }
            return output.out.good() && (!left || --*left > 0);
        },
        stop);
    return ExitCode::done;
}

} // namespace ctl
