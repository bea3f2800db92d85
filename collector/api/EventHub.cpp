#include "collector/api/EventHub.hpp"

#include <algorithm>

namespace collector::api {

namespace {

bool isOver(const std::weak_ptr<http::EventStream>& stream) {
    const auto alive = stream.lock();
    return alive == nullptr || alive->isEnded();
}

http::EventStream::Text textOf(const ModelEvent& event, std::uint64_t id) {
    Json json{{"id", id}, {"time", timeText(event.timeNs, 3)}, {"application", event.applicationName},
        {"application_guid", reading::guidDigits(event.application)},
        {"guid", reading::guidDigits(event.guid)}, {"class", resourceClassName(event.resourceClass)},
        {"path", event.path}};
    if (event.kind == ModelEventKind::metric) {
        json["metric"] = event.metric;
        json["value"] = jsonOf(event.value);
    }
    json["snapshot"] = event.isSnapshot;
    return std::make_shared<const std::string>(
        http::eventText(modelEventName(event.kind), std::to_string(id), dump(json)));
}

} // namespace

Json jsonOf(const MetricValue& value) {
    return std::visit([](auto number) { return Json(number); }, value);
}

bool EventFilter::passes(const ModelEvent& event) const {
    return (!resourceClass || *resourceClass == event.resourceClass) &&
           application.passes(event.application, event.applicationName);
}

void EventHub::follow(std::shared_ptr<http::EventStream> stream, EventFilter filter) {
    const std::lock_guard watching(watching_);
    {
        const std::lock_guard lock(mutex_);
        followers_.push_back({std::move(stream), std::move(filter)});
    }
    if (!isWatching_)
        model_.addObserver(shared_from_this());
    isWatching_ = true;
}

void EventHub::prune() {
    const std::lock_guard watching(watching_);
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(followers_, [](const Follower& each) { return isOver(each.stream); });
        if (!followers_.empty())
            return;
    }
    if (isWatching_)
        model_.removeObserver(this);
    isWatching_ = false;
}

void EventHub::onEvents(std::span<const ModelEvent> events) {
    const std::lock_guard lock(mutex_);
    std::vector<std::pair<std::shared_ptr<http::EventStream>, const EventFilter*>> open;
    for (const Follower& each : followers_) {
        if (auto stream = each.stream.lock())
            open.emplace_back(std::move(stream), &each.filter);
    }
    for (const ModelEvent& event : events) {
        const std::uint64_t id = ++lastId_;
        http::EventStream::Text text; // made when somebody wants it
        for (const auto& [stream, filter] : open) {
            if (!filter->passes(event))
                continue;
            if (text == nullptr)
                text = textOf(event, id);
            stream->push(text);
        }
    }
}

} // namespace collector::api
