// What is there now: applications, the tree, resources with their metrics, the collector itself.
#include <algorithm>
#include <cstdio>

#include "ctl/Resources.hpp"
#include "ctl/Run.hpp"
#include "ctl/Selector.hpp"
#include "ctl/Table.hpp"
#include "ctl/Tree.hpp"

namespace ctl {

namespace {

[[noreturn]] void failNothingMatched(const std::string& path) {
    throw Failure(ExitCode::nothingMatched, "nothing_matched", "nothing matches '" + path + "'");
}

std::string agoOf(const Json& application) {
    const Json& seconds = member(application, "last_sample_seconds_ago");
    if (!seconds.is_number())
        return "";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s ago", seconds.get<double>());
    return text;
}

// "middleware:warning user:informational" of what is collected, or sent; "warning" when all have the same.
std::string levelsOf(const Json& application, const char* which) {
    const Json& levels = member(member(application, "logging"), which);
    if (!levels.is_object() || levels.empty())
        return "";
    const auto isLikeFirst = [&levels](const Json& level) { return level == levels.front(); };
    if (levels.size() > 1 && std::all_of(levels.begin(), levels.end(), isLikeFirst))
        return shown(levels.front());
    std::string text;
    for (const auto& [facility, level] : levels.items())
        text += (text.empty() ? "" : " ") + facility + ":" + shown(level);
    return text;
}

// A name is an application's, or else that of any resource.
std::vector<Json> matching(const std::string& path, const Client& client,
    std::vector<std::string> (*expressionsOf)(const std::string&), With with) {
    std::vector<Json> resources = resourcesOf(client, expressionsOf(path), with);
    if (const auto anywhere = anyResourceNamed(path); resources.empty() && anywhere)
        resources = resourcesOf(client, expressionsOf(*anywhere), with);
    return resources;
}

std::string endpointText(const Json& resource) {
    std::string text;
    for (const char* name : {"topic", "type"})
        if (const std::string value = shownOf(resource, name); !value.empty())
            text += (text.empty() ? "" : ", ") + value;
    if (const std::string domain = shownOf(resource, "domain"); !domain.empty() && text.empty())
        text = "domain " + domain;
    return text;
}

Branch branchOf(const Json& resource) {
    const std::string resourceClass = shownOf(resource, "class");
    const std::string guid = shownOf(resource, "guid");
    const bool isApplication = resourceClass == "application";
    return {guid, shownOf(resource, "parent"), resourceClass + " " + shownOf(resource, "name"),
        isApplication ? guid : endpointText(resource)};
}

Json documentOf(const std::vector<Json>& resources) {
    return {{"resources", resources}};
}

void printResource(const Json& resource, const Output& output) {
    output.out << painted(colour::bold, output.shown(shownOf(resource, "path")), output.look) << '\n';
    for (const char* name : {"class", "guid", "parent", "application", "topic", "type", "domain"}) {
        const std::string value = shownOf(resource, name);
        if (value.empty())
            continue;
        char label[32];
        std::snprintf(label, sizeof label, "  %-12s ", name);
        output.out << label << output.shown(value) << '\n';
    }
    const Json& metrics = member(resource, "metrics");
    if (!metrics.is_object() || metrics.empty())
        return;
    Table table({{"METRIC"}, {"VALUE", true}, {"TIME", false}, {"TOPIC"}});
    for (const auto& [name, metric] : metrics.items())
        table.add({{name}, {shownOf(metric, "value"), colour::cyan},
            {clockOf(shownOf(metric, "time")), colour::dim}, {shownOf(metric, "topic"), colour::dim}});
    output.out << table.text(output.look);
}

} // namespace

ExitCode showApplications(const Client& client, const Output& output) {
    const Json answer = client.get("/api/v1/applications");
    if (output.json) {
        output.document(answer);
        return ExitCode::done;
    }
    Table table({{"NAME"}, {"HOST"}, {"PID", true}, {"RESOURCES", true}, {"SERIES", true},
        {"LAST SAMPLE", true}, {"COLLECTS"}, {"SENDS"}, {"GUID"}});
    for (const Json& each : elementsOf(answer, "applications"))
        table.add({{shownOf(each, "name"), colour::green}, {shownOf(each, "host")},
            {shownOf(each, "process_id")}, {shownOf(each, "resources")}, {shownOf(each, "series")},
            {agoOf(each)}, {levelsOf(each, "collection")}, {levelsOf(each, "forwarding")},
            {shownOf(each, "guid"), colour::dim}});
    if (table.isEmpty())
        output.tell("no application is known yet");
    else
        output.out << table.text(output.look);
    return ExitCode::done;
}

ExitCode showTree(const Options& options, const Client& client, const Output& output) {
    const auto resources = matching(options.path, client, subtreeExpressionsOf, With::resourcesAlone);
    if (resources.empty() && !options.path.empty())
        failNothingMatched(options.path);
    if (output.json) {
        output.document(documentOf(resources));
        return ExitCode::done;
    }
    if (resources.empty())
        output.tell("no application is known yet");
    std::vector<Branch> branches;
    branches.reserve(resources.size());
    for (const Json& resource : resources)
        branches.push_back(branchOf(resource));
    output.out << drawTree(branches, output.look);
    return ExitCode::done;
}

ExitCode showResources(const Options& options, const Client& client, const Output& output) {
    const auto guid = guidOf(options.path);
    const auto itself = [](const std::string& path) { return std::vector<std::string>{expressionOf(path)}; };
    const std::vector<Json> resources = guid ? std::vector<Json>{resourceWithGuid(client, *guid)}
                                             : matching(options.path, client, itself, With::metrics);
    if (resources.empty())
        failNothingMatched(options.path);
    if (output.json) {
        output.document(documentOf(resources));
        return ExitCode::done;
    }
    for (std::size_t i = 0; i < resources.size(); ++i) {
        if (i != 0)
            output.out << '\n';
        printResource(resources[i], output);
    }
    return ExitCode::done;
}

ExitCode showStatus(const Client& client, const Output& output) {
    const Json answer = client.get("/api/v1/status");
    if (output.json) {
        output.document(answer);
        return ExitCode::done;
    }
    Table table({{"COLLECTOR"}, {client.url()}});
    for (const auto& [name, value] : answer.items()) {
        if (!value.is_object())
            table.add({{name}, {shown(value)}});
        else
            for (const auto& [part, count] : value.items())
                if (name != "dropped" || count != 0) // causes are many, and mostly did not come up
                    table.add({{name + " " + part}, {shown(count)}});
    }
    output.out << table.text(output.look);
    return ExitCode::done;
}

} // namespace ctl
