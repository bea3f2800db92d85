// What applications are told to do, and what became of it.
#include <cstdio>

#include "ctl/Run.hpp"
#include "ctl/Selector.hpp"

namespace ctl {

namespace {

std::string destinationsText(const Json& answer) {
    const Json& destinations = member(answer, "destinations");
    std::string text = "done";
    if (destinations.is_number_integer()) {
        const auto count = destinations.get<std::int64_t>();
        text += ": " + std::to_string(count) + (count == 1 ? " application" : " applications");
    }
    const Json& seconds = member(answer, "duration_seconds");
    if (seconds.is_number()) {
        char duration[32];
        std::snprintf(duration, sizeof duration, " in %.2f s", seconds.get<double>());
        text += duration;
    }
    return text;
}

// The answer of a command that was carried out; one that was not is a failure.
ExitCode send(const char* command, const Json& body, const Client& client, const Output& output) {
    Json answer = client.post(std::string("/api/v1/commands/") + command, body);
    if (output.json) {
        answer["exit_code"] = static_cast<int>(ExitCode::done);
        output.line(answer);
    } else {
        output.out << destinationsText(answer) << '\n';
    }
    return ExitCode::done;
}

} // namespace

ExitCode changeMetrics(const Options& options, const Client& client, const Output& output) {
    Json selectors = Json::array();
    for (const std::string& expression : metricSelectorsOf(options.path))
        selectors.push_back({{"resource_selector", expression}, {"subscribe_metric_selector", options.on},
            {"unsubscribe_metric_selector", options.off}});
    const bool isSet = options.verb == Verb::metricsSet;
    return send(isSet ? "set_metric_subscription_state" : "update_metric_subscription_state",
        {{"metrics", selectors}}, client, output);
}

ExitCode changeLogging(const Options& options, const Client& client, const Output& output) {
    Json settings = Json::array();
    const auto word = [](const std::string& text) {
        const bool isNumber = text.find_first_not_of("0123456789") == std::string::npos;
        return isNumber ? Json(std::stoi(text)) : Json(text);
    };
    for (const Level& level : options.levels)
        settings.push_back({{"facility", word(level.facility)}, {"verbosity", word(level.level)}});
    const Json group{{"application_selector", expressionOf(options.path)}, {"logging_settings", settings}};
    const bool isCollection = options.verb == Verb::loggingCollection;
    return send(isCollection ? "set_logging_collection_level" : "set_logging_forwarding_level",
        {{"logging_groups", Json::array({group})}}, client, output);
}

ExitCode requestRegistry(const Options& options, const Client& client, const Output& output) {
    return send("request_resource_registry", {{"applications", Json::array({expressionOf(options.path)})}},
        client, output);
}

} // namespace ctl
