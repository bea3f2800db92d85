// The routes of the collector: the API, the metrics and the page.
//
// Threads: the handlers run on any thread. Ownership: everything that the API is made of outlives it.
#ifndef COLLECTOR_API_API_HPP
#define COLLECTOR_API_API_HPP

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "collector/api/Commands.hpp"
#include "collector/api/EventHub.hpp"
#include "collector/api/LogRing.hpp"
#include "collector/api/Streams.hpp"
#include "collector/exposition/Exposition.hpp"
#include "collector/http/Service.hpp"
#include "collector/model/Model.hpp"

namespace collector::api {

struct Facts {
    std::string version;
    int domain = 2;
    bool isReadOnly = false;
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    // What was dropped beside the model's causes, by cause.
    std::function<void(const std::function<void(const char* cause, std::uint64_t count)>&)> otherDrops;
};

class Api {
public:
    Api(Facts facts, Model& model, LogRing& logs, const std::shared_ptr<EventHub>& events, Streams& streams,
        Exposition& exposition, Commander& commander);

    void addTo(http::Router& router);

private:
    http::Response metrics(const http::Request& request);
    http::Response status() const;
    http::Response applications() const;
    http::Response resources(const http::Request& request) const;
    http::Response resource(const std::string& guid) const;
    http::Response logs(const http::Request& request);
    http::Response events(const http::Request& request);
    http::Response command(CommandKind kind, const http::Request& request);
    http::Response page() const;

    const Facts facts_;
    Model& model_;
    LogRing& logs_;
    const std::shared_ptr<EventHub> events_;
    Streams& streams_;
    Exposition& exposition_;
    Commander& commander_;
};

// Of this process, in bytes: what is in memory.
std::size_t residentBytes();

} // namespace collector::api

#endif
