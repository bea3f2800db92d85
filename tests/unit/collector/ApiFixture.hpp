// The service as the program has it, over a model that a test feeds and a commander that a test answers for.
#ifndef TESTS_COLLECTOR_API_FIXTURE_HPP
#define TESTS_COLLECTOR_API_FIXTURE_HPP

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "collector/api/Api.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

namespace collector_test {

class FakeCommander : public collector::api::Commander {
public:
    collector::api::CommandResult send(const collector::api::Command& command) override {
        sent.push_back(command);
        return result;
    }
    std::vector<collector::api::Command> sent;
    collector::api::CommandResult result{0, "", 1, 0.25};
};

struct ApiWorld {
    explicit ApiWorld(collector::http::Policy policy = {}, std::size_t maxStreams = 4)
        : streams(maxStreams), service(policy),
          api(facts(policy), model, ring, hub, streams, exposition, commander) {
        addModelMetrics(own, model);
        addScrapeMetrics(own, exposition);
        api.addTo(service.router());
    }

    collector::http::Response ask(const std::string& method, const std::string& target,
        collector::http::Pairs headers = {}, std::string body = "") {
        collector::http::Request request;
        request.method = method;
        if (!request.parseTarget(target))
            return collector::http::error(400, "bad_request", "target");
        request.headers = std::move(headers);
        request.body = std::move(body);
        return service.handle(request);
    }
    collector::http::Response get(const std::string& target) { return ask("GET", target); }
    collector::http::Response post(const std::string& target, std::string body) {
        return ask("POST", target, {{"content-type", "application/json"}}, std::move(body));
    }
    // Expects the status, and gives the body.
    nlohmann::json json(const collector::http::Response& response) {
        return nlohmann::json::parse(response.body);
    }

    collector::api::LogMessage message(const std::string& text, std::uint64_t number,
        std::uint32_t severity = 4, std::uint8_t facility = 1) const {
        collector::api::LogMessage made;
        made.timeNs = 1'763'728'831'924'000'000;
        made.application = made.resource = app.guid();
        made.applicationName = "pinger";
        made.facility = facility;
        made.severity = severity;
        made.sequenceNumber = number;
        made.category = "N/A";
        made.message = text;
        made.line = "[...] USER (sn:0) WARNING " + text;
        return made;
    }

    std::int64_t nowNs = 1;
    collector::Model model{{}, [this] { return nowNs; }};
    FakeApplication app{model, 1, "pinger"};
    collector::api::LogRing ring;
    std::shared_ptr<collector::api::EventHub> hub = std::make_shared<collector::api::EventHub>(model);
    collector::api::Streams streams;
    collector::OwnMetrics own;
    collector::Exposition exposition{model, own};
    FakeCommander commander;
    collector::http::Service service;
    collector::api::Api api;

private:
    static collector::api::Facts facts(const collector::http::Policy& policy) {
        collector::api::Facts facts;
        facts.version = "1.2.3";
        facts.domain = 7;
        facts.isReadOnly = policy.readOnly;
        facts.otherDrops = [](const auto& tell) { tell("not_cached", 5); };
        return facts;
    }
};

// What a stream holds now.
inline std::string readAll(collector::http::EventStream& stream) {
    std::string all;
    char buffer[4096];
    for (;;) {
        bool slept = false;
        const auto piece = stream.read(buffer, sizeof buffer, [&] { slept = true; });
        if (slept || piece.isEnd)
            return all;
        all.append(buffer, piece.size);
    }
}

} // namespace collector_test

#endif
