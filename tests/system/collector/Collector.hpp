// A running orx-collector on a port of its own, and questions to it.
#ifndef TESTS_SYSTEM_COLLECTOR_COLLECTOR_HPP
#define TESTS_SYSTEM_COLLECTOR_COLLECTOR_HPP

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/system/support/CollectorEnd.hpp"
#include "tests/system/support/Loopback.hpp"
#include "tests/unit/collector/HttpClient.hpp"

// How long the picture of applications may take to be right on a busy machine.
constexpr double longPatience = 90;

class Collector : public Process {
public:
    explicit Collector(const std::string& domain, Command options = {})
        : Process(command(domain, std::move(options)), loopbackOnly()) {
        const std::string told = "listening on http://127.0.0.1:";
        awaitUntil([&] { return errors().find(told) != std::string::npos; });
        const std::size_t at = errors().find(told);
        if (at != std::string::npos)
            port_ = static_cast<std::uint16_t>(std::atoi(errors().c_str() + at + told.size()));
    }
    std::uint16_t port() const { return port_; }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

    HttpAnswer get(const std::string& target, const std::string& headers = "") const {
        HttpClient client(port_);
        client.get(target, headers);
        return client.answer();
    }
    nlohmann::json json(const std::string& target) const {
        const HttpAnswer answer = get(target);
        EXPECT_EQ(answer.status, 200) << target << "\n" << answer.body;
        return nlohmann::json::parse(answer.body, nullptr, false);
    }
    HttpAnswer command(const std::string& name, const std::string& body) const {
        HttpClient client(port_);
        client.post("/api/v1/commands/" + name, body);
        return client.answer();
    }
    std::string metrics() const { return get("/metrics").body; }
    // Lines of /metrics with all the parts.
    std::vector<std::string> series(const std::vector<std::string>& parts) const;

    // Asks again and again until the condition holds.
    template <class Condition> void awaitUntil(Condition condition, double bound = longPatience) {
        const double steps = (testing::Test::HasFailure() ? 1 : bound) * 10;
        bool isTrue = condition();
        for (int i = 0; i < steps && !isTrue; ++i) {
            (void)waitForLine({"no such line"}, 0.1);
            isTrue = condition();
        }
        EXPECT_TRUE(isTrue) << errors();
    }
    bool hasApplication(const std::string& name) const {
        const nlohmann::json told = json("/api/v1/applications");
        for (const auto& each : told["applications"]) {
            if (each["name"] == name)
                return true;
        }
        return false;
    }
    std::size_t countResources(const std::string& path) const {
        return json("/api/v1/resources?path=" + path)["resources"].size();
    }

private:
    static Command command(const std::string& domain, Command options) {
        Command all{bin("orx-collector"), "--domain", domain, "--listen", "127.0.0.1:0"};
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }
    std::uint16_t port_ = 0;
};

inline std::vector<std::string> Collector::series(const std::vector<std::string>& parts) const {
    std::vector<std::string> found;
    const std::string text = metrics();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = text.substr(at, end - at);
        bool hasAll = !line.starts_with("#");
        for (const std::string& part : parts)
            hasAll = hasAll && line.find(part) != std::string::npos;
        if (hasAll)
            found.push_back(line);
        at = end + 1;
    }
    return found;
}

#endif
