// Tells the clients that follow the events of resources.
//
// Watches the model only while there is such a client. Threads: any may follow; events come on the model's
// feeding thread. Ownership: the model outlives the hub's watching, which ends with stop.
#ifndef COLLECTOR_API_EVENT_HUB_HPP
#define COLLECTOR_API_EVENT_HUB_HPP

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "collector/api/ApplicationFilter.hpp"
#include "collector/api/Json.hpp"
#include "collector/http/EventStream.hpp"
#include "collector/model/Model.hpp"

namespace collector::api {

Json jsonOf(const MetricValue& value);

struct EventFilter {
    ApplicationFilter application;
    std::optional<ResourceClass> resourceClass;
    bool passes(const ModelEvent& event) const;
};

class EventHub : public ModelObserver, public std::enable_shared_from_this<EventHub> {
public:
    explicit EventHub(Model& model) : model_(model) {}

    void follow(std::shared_ptr<http::EventStream> stream, EventFilter filter);
    // Stops watching when nobody follows any more: once in a while, not on the feeding thread.
    void prune();
    void onEvents(std::span<const ModelEvent> events) override;

private:
    struct Follower {
        std::weak_ptr<http::EventStream> stream;
        EventFilter filter;
    };

    Model& model_;
    std::mutex watching_; // outermost: whether the model is watched changes under it
    std::mutex mutex_;
    std::vector<Follower> followers_;
    std::uint64_t lastId_ = 0;
    bool isWatching_ = false;
};

} // namespace collector::api

#endif
