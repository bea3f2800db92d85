#include "collector/api/Api.hpp"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <utility>

#include "collector/api/Names.hpp"
#include "collector/api/Page.hpp"
#include "collector/api/Parameters.hpp"
#include "collector/api/Views.hpp"

namespace collector::api {

namespace {

constexpr std::size_t mostResources = 10'000;
constexpr std::size_t mostWithMetrics = 1'000; // each has some ten thousand octets of them
constexpr std::size_t mostMessages = 10'000;
constexpr std::size_t mostFollowed = 1'000; // messages with which a stream opens

http::Response notFound(const std::string& what) {
    return http::error(404, "not_found", what);
}

bool wantsStream(const http::Request& request) {
    return http::weightOf(request.header("accept"), "text/event-stream").value_or(0) > 0;
}

// The head alone: no client follows.
http::Response emptyStream() {
    http::Response response;
    response.contentType = http::eventStreamType;
    return response;
}

std::optional<Guid> guidOf(const std::string& text) {
    return reading::parseGuid(text);
}

ApplicationFilter applicationFilter(const Parameters& parameters) {
    const std::string* const text = parameters.text("application");
    if (text == nullptr)
        return {};
    if (auto filter = ApplicationFilter::of(*text))
        return *filter;
    throw BadRequest("the parameter \"application\" is a path (/applications/NAME), a name or a GUID");
}

LogFilter logFilter(const Parameters& parameters) {
    LogFilter filter;
    filter.application = applicationFilter(parameters);
    if (const std::string* const facility = parameters.text("facility")) {
        filter.facility = facilityOf(*facility);
        if (!filter.facility)
            throw BadRequest(
                "the parameter \"facility\" is user, security, service, middleware, or 0 to 255");
    }
    if (const std::string* const severity = parameters.text("severity")) {
        filter.severity = severityOf(*severity);
        if (!filter.severity)
            throw BadRequest(
                "the parameter \"severity\" is emergency, alert, critical, error, warning, notice, "
                "informational, debug, or 0 to 7");
    }
    if (const std::string* const category = parameters.text("category"))
        filter.category = *category;
    if (const std::string* const contained = parameters.text("contains"))
        filter.contains = *contained;
    return filter;
}

// A client that comes again tells the last event that it saw.
std::uint64_t lastEventId(const http::Request& request) {
    const std::string text(http::trimmed(request.header("last-event-id")));
    if (text.empty() || text.size() > 19 || text.find_first_not_of("0123456789") != std::string::npos)
        return 0;
    return std::stoull(text);
}

} // namespace

std::size_t residentBytes() {
    std::size_t total = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

Api::Api(Facts facts, Model& model, LogRing& logs, const std::shared_ptr<EventHub>& events, Streams& streams,
    Exposition& exposition, Commander& commander)
    : facts_(std::move(facts)), model_(model), logs_(logs), events_(events), streams_(streams),
      exposition_(exposition), commander_(commander) {}

void Api::addTo(http::Router& router) {
    const auto add = [&](const char* method, std::string path, http::Lane lane, http::Handler handler) {
        router.add(
            {method, std::move(path), lane, [handler = std::move(handler)](auto& request, auto& segment) {
                 try {
                     return handler(request, segment);
                 } catch (const BadRequest& bad) {
                     return http::error(400, "bad_request", bad.what());
                 }
             }});
    };
    using http::Lane;
    add("GET", "/", Lane::quick, [this](auto&, auto&) { return page(); });
    add("GET", "/metrics", Lane::quick, [this](auto& request, auto&) { return metrics(request); });
    add("GET", "/api/v1/status", Lane::quick, [this](auto& request, auto&) {
        const Parameters none(request, {});
        return status();
    });
    add("GET", "/api/v1/applications", Lane::quick, [this](auto& request, auto&) {
        const Parameters none(request, {});
        return applications();
    });
    add("GET", "/api/v1/resources", Lane::quick, [this](auto& request, auto&) { return resources(request); });
    add("GET", "/api/v1/resources/{guid}", Lane::quick, [this](auto& request, auto& guid) {
        const Parameters none(request, {});
        return resource(guid);
    });
    add("GET", "/api/v1/logs", Lane::quick, [this](auto& request, auto&) {
        http::Response response = logs(request);
        response.varyBy("Accept"); // a list or a stream
        return response;
    });
    add("GET", "/api/v1/events", Lane::quick, [this](auto& request, auto&) { return events(request); });
    for (std::size_t i = 0; i < commandNames.size(); ++i) {
        const auto kind = static_cast<CommandKind>(i);
        add("POST", std::string("/api/v1/commands/") + commandNames[i], Lane::slow,
            [this, kind](auto& request, auto&) { return command(kind, request); });
    }
}

http::Response Api::metrics(const http::Request& request) {
    const ExpositionFormat format = formatFor(request.header("accept"));
    http::Response response;
    response.varyBy("Accept");
    response.contentType = contentType(format);
    response.body = exposition_.render(format);
    return response;
}

http::Response Api::status() const {
    const ModelStatistics statistics = model_.statistics();
    Json dropped = Json::object();
    for (std::size_t i = 0; i < statistics.dropped.size(); ++i)
        dropped[dropCauseName(static_cast<DropCause>(i))] = statistics.dropped[i];
    if (facts_.otherDrops)
        facts_.otherDrops([&](const char* cause, std::uint64_t count) { dropped[cause] = count; });
    const std::chrono::duration<double> uptime = std::chrono::steady_clock::now() - facts_.started;
    return answer({{"version", facts_.version}, {"domain", facts_.domain},
        {"uptime_seconds", std::round(uptime.count() * 1e3) / 1e3}, {"read_only", facts_.isReadOnly},
        {"applications", statistics.applications}, {"resources", statistics.resources},
        {"series", statistics.series},
        {"samples", {{"event", statistics.eventSamples}, {"periodic", statistics.periodicSamples},
                        {"logging", statistics.loggingSamples}}},
        {"dropped", dropped}, {"memory_bytes", residentBytes()}});
}

http::Response Api::applications() const {
    Json list = Json::array();
    for (const ApplicationView& application : model_.applications())
        list.push_back(jsonOf(application));
    return answer({{"applications", list}});
}

http::Response Api::resources(const http::Request& request) const {
    const Parameters parameters(request, {"path", "metrics", "limit", "after"});
    const std::string* const path = parameters.text("path");
    if (path != nullptr && !path->starts_with("/"))
        throw BadRequest("the parameter \"path\" is a path expression, which begins with a slash");
    const bool withMetrics = parameters.flag("metrics");
    const std::size_t limit = std::min(parameters.number("limit", mostResources, 1, mostResources),
        withMetrics ? mostWithMetrics : mostResources);
    Guid after = reading::noGuid;
    if (const std::string* const text = parameters.text("after")) {
        const auto guid = guidOf(*text);
        if (!guid)
            throw BadRequest("the parameter \"after\" is a GUID");
        after = *guid;
    }
    const auto page = model_.resources(path != nullptr ? *path : "//*", withMetrics, limit, after);
    if (!page)
        throw BadRequest("the parameter \"path\" is no path expression");
    Json list = Json::array();
    for (const ResourceView& resource : page->resources)
        list.push_back(jsonOf(resource, withMetrics));
    const Json next = page->next == reading::noGuid ? Json() : Json(reading::guidDigits(page->next));
    return answer({{"resources", list}, {"next", next}});
}

http::Response Api::resource(const std::string& text) const {
    const auto guid = guidOf(text);
    if (!guid)
        throw BadRequest("\"" + text + "\" is no GUID");
    const auto resource = model_.resource(*guid);
    if (!resource)
        return notFound("no resource has this GUID");
    Json json = jsonOf(*resource, true);
    json["children"] = Json::array();
    for (const Guid& child : resource->children)
        json["children"].push_back(reading::guidDigits(child));
    return answer(json);
}

http::Response Api::logs(const http::Request& request) {
    const Parameters parameters(
        request, {"application", "facility", "severity", "category", "contains", "limit", "follow"});
    LogFilter filter = logFilter(parameters);
    const bool isStream = parameters.flag("follow") || wantsStream(request);
    if (!isStream) {
        Json list = Json::array();
        for (const LogMessage& message :
            logs_.newest(filter, parameters.number("limit", 100, 1, mostMessages)))
            list.push_back(jsonOf(message));
        return answer({{"messages", list}});
    }
    std::size_t limit = parameters.number("limit", 0, 0, mostFollowed);
    if (request.method == "HEAD")
        return emptyStream();
    if (filter.after = lastEventId(request); filter.after != 0)
        limit = mostFollowed;
    auto stream = streams_.open();
    if (stream == nullptr)
        return noStreamLeft();
    logs_.follow(stream, std::move(filter), limit);
    return streamResponse(std::move(stream));
}

http::Response Api::events(const http::Request& request) {
    const Parameters parameters(request, {"application", "class"});
    EventFilter filter;
    filter.application = applicationFilter(parameters);
    if (const std::string* const name = parameters.text("class")) {
        filter.resourceClass = resourceClassNamed(*name);
        if (!filter.resourceClass)
            throw BadRequest("the parameter \"class\" is no class of resources, such as data_writer");
    }
    if (request.method == "HEAD")
        return emptyStream();
    auto stream = streams_.open();
    if (stream == nullptr)
        return noStreamLeft();
    events_->follow(stream, std::move(filter));
    return streamResponse(std::move(stream));
}

http::Response Api::command(CommandKind kind, const http::Request& request) {
    const Parameters none(request, {});
    const Command command = commandOf(
        kind, request.body, [this](std::string_view selector) { return model_.translateSelector(selector); });
    return answerOf(commander_.send(command));
}

http::Response Api::page() const {
    http::Response response;
    response.contentType = "text/html; charset=utf-8";
    response.body =
        pageOf(facts_.version, facts_.domain, facts_.isReadOnly, model_.statistics(), model_.applications());
    // Nothing on the page comes from elsewhere, and nothing on it runs.
    response.set("Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'");
    response.set("Cache-Control", "no-store");
    return response;
}

} // namespace collector::api
