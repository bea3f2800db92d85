// What must hold of any request to the collector's service, over a model with a living application: it is
// answered, with a status that is documented, and an answer of 400 and above tells why in JSON.
//
// The input looks like a request: method and target on the first line, headers, an empty line, the body.
#ifndef ORX_FUZZ_HTTP_CHECK_HPP
#define ORX_FUZZ_HTTP_CHECK_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

#include "fuzz/Require.hpp"
#include "tests/unit/collector/ApiFixture.hpp"

class HttpCheck {
public:
    HttpCheck() : world_(collector::http::Policy{}, 1'000'000) {
        world_.app.createSmallTree();
        world_.app.tellTopic(4, "Square", "ShapeType");
        world_.app.tellMatched(5, 3);
        for (std::uint64_t i = 0; i < 20; ++i)
            world_.ring.add(world_.message("message " + std::to_string(i), i));
    }

    void run(const std::uint8_t* data, std::size_t size) {
        const std::string_view text(reinterpret_cast<const char*>(data), size);
        collector::http::Request request;
        std::string target;
        read(text, request, target);
        if (!request.parseTarget(target))
            return;
        (void)world_.service.lane(request);
        const collector::http::Response response = world_.service.handle(request);
        check(response);
        if (response.stream != nullptr)
            checkStream(*response.stream);
        world_.commander.sent.clear();
        world_.hub->prune();
    }

    collector::http::Service& service() { return world_.service; }

private:
    static std::string_view line(std::string_view& text) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view taken = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (taken.ends_with('\r'))
            taken.remove_suffix(1);
        return taken;
    }

    static void read(std::string_view text, collector::http::Request& request, std::string& target) {
        std::string_view first = line(text);
        const std::size_t blank = std::min(first.find(' '), first.size());
        request.method = first.substr(0, blank);
        first.remove_prefix(std::min(blank + 1, first.size()));
        target = first.substr(0, first.rfind(" HTTP/"));
        for (std::string_view header = line(text); !header.empty(); header = line(text)) {
            const std::size_t colon = std::min(header.find(':'), header.size());
            const auto name = collector::http::lowerCase(header.substr(0, colon));
            const auto value = header.substr(std::min(colon + 1, header.size()));
            request.headers.emplace_back(name, collector::http::trimmed(value));
        }
        request.body = text;
    }

    void check(const collector::http::Response& response) {
        static const std::set<int> documented{200, 400, 403, 404, 405, 413, 415, 422, 429};
        require(documented.contains(response.status), "a status that is not documented");
        require(!response.contentType.empty(), "an answer without a type");
        const bool isPlain = response.header("Content-Encoding").empty();
        const bool isJson = response.contentType == collector::http::jsonType;
        if (isJson && isPlain)
            require(nlohmann::json::accept(response.body), "JSON that cannot be read");
        if (response.status < 400)
            return;
        require(isJson, "an error that is no JSON");
        if (!isPlain)
            return;
        const auto json = nlohmann::json::parse(response.body);
        require(json["error"]["code"].is_string() && json["error"]["message"].is_string(),
            "an error without code and message");
    }

    void checkStream(collector::http::EventStream& stream) {
        world_.ring.add(world_.message("another", ++number_));
        world_.app.tellMatched(5, static_cast<std::int32_t>(number_ % 7));
        const std::string all = collector_test::readAll(stream);
        require(all.empty() || all.ends_with("\n\n"), "an event that does not end");
        stream.end();
    }

    collector_test::ApiWorld world_;
    std::uint64_t number_ = 100;
};

#endif
