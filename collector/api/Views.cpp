#include "collector/api/Views.hpp"

#include <cmath>

#include "collector/api/EventHub.hpp"
#include "collector/api/Names.hpp"

namespace collector::api {

namespace {

template <typename Value> Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

Json jsonOf(const std::vector<LoggingSetting>& settings) {
    Json json = Json::object();
    for (const LoggingSetting& setting : settings)
        json[facilityText(setting.facility)] = verbosityJson(setting.verbosity);
    return json;
}

Json jsonOf(const MetricReading& metric) {
    return {{"value", api::jsonOf(metric.value)}, {"time", timeText(metric.timeNs, 3)},
        {"topic", metric.isPeriodic ? "periodic" : "event"}};
}

} // namespace

Json jsonOf(const ApplicationView& application) {
    return {{"name", application.name}, {"path", "/applications/" + application.name},
        {"guid", reading::guidDigits(application.guid)},
        {"participant_guid", reading::guidDigits(application.participant)},
        {"host", orNull(application.host)}, {"process_id", orNull(application.processId)},
        {"resources", application.resources}, {"series", application.series},
        {"last_sample_seconds_ago", std::round(application.lastSampleSecondsAgo * 1e3) / 1e3},
        {"logging", {{"collection", jsonOf(application.loggingCollection)},
                        {"forwarding", jsonOf(application.loggingForwarding)}}}};
}

Json jsonOf(const ResourceView& resource, bool withMetrics) {
    const bool isRoot = resource.parent == reading::noGuid;
    Json json{{"guid", reading::guidDigits(resource.guid)},
        {"parent", isRoot ? Json() : Json(reading::guidDigits(resource.parent))},
        {"application", resource.applicationName},
        {"application_guid", reading::guidDigits(resource.application)},
        {"class", resourceClassName(resource.resourceClass)}, {"name", resource.name},
        {"path", resource.path}, {"topic", orNull(resource.topic)}, {"type", orNull(resource.type)},
        {"domain", orNull(resource.domain)}};
    if (!withMetrics)
        return json;
    json["metrics"] = Json::object();
    for (const MetricReading& metric : resource.metrics)
        json["metrics"][metric.name] = jsonOf(metric);
    return json;
}

} // namespace collector::api
