#include "collector/http/Router.hpp"

namespace collector::http {

namespace {

bool matches(std::string_view pattern, std::string_view path, std::string& segment) {
    const std::size_t open = pattern.find('{');
    if (open == std::string_view::npos)
        return pattern == path;
    const std::string_view tail = pattern.substr(pattern.find('}') + 1);
    if (path.size() <= open + tail.size() || path.substr(0, open) != pattern.substr(0, open) ||
        path.substr(path.size() - tail.size()) != tail)
        return false;
    segment = path.substr(open, path.size() - open - tail.size());
    return segment.find('/') == std::string::npos;
}

} // namespace

Router::Match Router::find(std::string_view method, std::string_view path) const {
    Match match;
    const std::string_view wanted = method == "HEAD" ? "GET" : method;
    for (const Route& route : routes_) {
        std::string segment;
        if (!matches(route.path, path, segment))
            continue;
        if (route.method == wanted) {
            match.route = &route;
            match.segment = segment;
        }
        match.allow += (match.allow.empty() ? "" : ", ") + route.method;
        if (route.method == "GET")
            match.allow += ", HEAD";
    }
    return match;
}

} // namespace collector::http
