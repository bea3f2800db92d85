// What readers of the model are given: copies, made under its lock.
#include <algorithm>
#include <mutex>
#include <utility>

#include "collector/model/PathSelection.hpp"
#include "collector/model/Selector.hpp"
#include "collector/model/State.hpp"
#include "orxmonitoring2d/path_tokenizer.h"

namespace collector {

namespace {

ApplicationView viewOf(const Application& application, std::int64_t nowNs) {
    ApplicationView view;
    view.guid = application.guid;
    view.participant = application.participant;
    view.name = application.root->name;
    view.host = application.host;
    view.processId = application.processId;
    view.loggingCollection = application.loggingCollection;
    view.loggingForwarding = application.loggingForwarding;
    view.resources = application.resources;
    view.series = application.series;
    view.lastSampleSecondsAgo = static_cast<double>(nowNs - application.lastSampleNs) * 1e-9;
    view.resourceEpoch = application.resourceEpoch;
    view.metricEpoch = application.metricEpoch;
    view.isComplete = application.isComplete;
    return view;
}

ResourceView viewOf(const Resource& resource, bool withMetrics) {
    ResourceView view;
    view.guid = resource.guid;
    view.parent = resource.parent != nullptr ? resource.parent->guid : noGuid;
    view.application = resource.application->guid;
    view.applicationName = resource.application->root->name;
    view.resourceClass = resource.resourceClass;
    view.name = resource.name;
    view.path = resource.path();
    if (resource.traits != nullptr) {
        view.topic = resource.traits->topic;
        view.type = resource.traits->type;
    }
    const Resource* participant = resource.participant();
    if (participant != nullptr && participant->traits != nullptr)
        view.domain = participant->traits->domain;
    if (!withMetrics)
        return view;
    const auto groups = groupsOf(resource.resourceClass);
    view.metrics.reserve(resource.present.size());
    resource.present.forEach([&](std::size_t number) {
        const Metric& metric = metricsOf(resource.resourceClass)[number];
        view.metrics.push_back({metric.name, metricValue(metric.kind, resource.valueOf(metric)),
            resource.timeOf(metric.group), groups[metric.group].isPeriodic});
    });
    return view;
}

// Applications whose name is the text or is met by it, by name and GUID.
std::vector<Guid> namedApplications(const Tree& tree, const std::string& text) {
    std::vector<const Application*> found;
    for (const auto& [guid, application] : tree.applications()) {
        if (isNamed(application.root->name, text))
            found.push_back(&application);
    }
    sortByName(found);
    std::vector<Guid> guids;
    guids.reserve(found.size());
    for (const Application* application : found)
        guids.push_back(application->guid);
    return guids;
}

} // namespace

std::vector<ApplicationView> Model::applications() const {
    const std::lock_guard guard(state_->lock);
    const std::int64_t now = state_->clock();
    std::vector<ApplicationView> views;
    for (const Application* application : state_->tree.sortedApplications())
        views.push_back(viewOf(*application, now));
    return views;
}

std::optional<ApplicationView> Model::application(const Guid& guid) const {
    const std::lock_guard guard(state_->lock);
    const Application* application = state_->tree.application(guid);
    if (application == nullptr)
        return std::nullopt;
    return viewOf(*application, state_->clock());
}

std::string Model::applicationName(const Guid& guid) const {
    const std::lock_guard guard(state_->lock);
    const Application* application = state_->tree.application(guid);
    return application != nullptr ? application->root->name : std::string();
}

std::vector<Guid> Model::applicationsNamed(std::string_view text) const {
    constexpr std::string_view prefix = "/applications/";
    if (text.starts_with(prefix))
        text.remove_prefix(prefix.size());
    if (text.ends_with('/'))
        text.remove_suffix(1);
    const std::lock_guard guard(state_->lock);
    if (const auto guid = reading::parseGuid(text); guid && state_->tree.application(*guid) != nullptr)
        return {*guid};
    return namedApplications(state_->tree, std::string(text));
}

std::optional<ResourceView> Model::resource(const Guid& guid) const {
    const std::lock_guard guard(state_->lock);
    const Resource* resource = std::as_const(state_->tree).resource(guid);
    if (resource == nullptr)
        return std::nullopt;
    ResourceView view = viewOf(*resource, true);
    for (const Resource* child = resource->firstChild; child != nullptr; child = child->next)
        view.children.push_back(child->guid);
    return view;
}

std::optional<Model::Page> Model::resources(
    std::string_view expression, bool withMetrics, std::size_t limit, const Guid& after) const {
    const auto copy = [&] {
        const std::lock_guard guard(state_->lock);
        return std::make_unique<TreeCopy>(state_->tree);
    }();
    const auto selected = copy->select(expression);
    if (!selected)
        return std::nullopt;
    auto from = selected->begin();
    if (after != noGuid) {
        const auto found = std::find(selected->begin(), selected->end(), after);
        from = found == selected->end() ? selected->begin() : found + 1;
    }
    Page page;
    constexpr std::size_t atATime = 256; // so that the feed gets its turn
    for (; from != selected->end() && page.resources.size() < limit;) {
        const std::lock_guard guard(state_->lock);
        for (std::size_t i = 0; i < atATime && from != selected->end() && page.resources.size() < limit;
             ++i) {
            // What ended since the copy is left out.
            if (const Resource* resource = std::as_const(state_->tree).resource(*from++))
                page.resources.push_back(viewOf(*resource, withMetrics));
        }
    }
    if (from != selected->end() && from != selected->begin())
        page.next = *(from - 1);
    return page;
}

std::vector<std::string> Model::translateSelector(std::string_view selector) const {
    std::vector<std::string> result;
    // A text that ends before its end is malformed, and stays so.
    const bool isWhole = selector.find('\0') == std::string_view::npos;
    if (const auto place = isWhole ? applicationPlace(selector) : std::nullopt) {
        const std::string name(selector.substr(place->at, place->length));
        const auto guids = [&] {
            const std::lock_guard guard(state_->lock);
            return namedApplications(state_->tree, name);
        }();
        const std::size_t length = selector.size() - place->length + ORX_MONITORING_GUID_TEXT_LENGTH;
        if (length <= ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH) {
            for (const Guid& guid : guids) {
                std::string text(selector);
                text.replace(place->at, place->length, reading::guidText(guid));
                result.push_back(std::move(text));
            }
        }
    }
    if (result.empty())
        result.emplace_back(selector);
    return result;
}

} // namespace collector
