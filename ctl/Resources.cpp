#include "ctl/Resources.hpp"

#include <unordered_set>

namespace ctl {

namespace {

// With its metrics a resource has some ten thousand octets: a page stays far below the bound of an answer.
constexpr const char* pageWithMetrics = "500";
constexpr const char* pageAlone = "10000";
constexpr std::size_t mostResources = 1'000'000;

} // namespace

std::vector<Json> resourcesOf(const Client& client, const std::vector<std::string>& expressions, With with) {
    std::vector<Json> resources;
    std::unordered_set<std::string> known;
    for (const std::string& expression : expressions) {
        for (std::string after;;) {
            const bool hasMetrics = with == With::metrics;
            Parameters parameters{{"path", expression}, {"metrics", hasMetrics ? "1" : "0"},
                {"limit", hasMetrics ? pageWithMetrics : pageAlone}};
            if (!after.empty())
                parameters.emplace_back("after", after);
            const Json page = client.get("/api/v1/resources", parameters);
            for (const Json& resource : elementsOf(page, "resources"))
                if (known.insert(textOf(resource, "guid")).second)
                    resources.push_back(resource);
            const std::string next = textOf(page, "next");
            if (next.empty())
                break;
            if (next == after || elementsOf(page, "resources").empty() || resources.size() > mostResources)
                throw Failure(
                    ExitCode::failed, "strange_answer", "the collector's list of resources has no end");
            after = next;
        }
    }
    return resources;
}

Json resourceWithGuid(const Client& client, const std::string& guid) {
    Json answer = client.get("/api/v1/resources/" + guid);
    // The resource itself, or as a member.
    const Json& wrapped = member(answer, "resource");
    return wrapped.is_object() ? wrapped : answer;
}

} // namespace ctl
