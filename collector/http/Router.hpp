// Finds the handler of a request by method and path.
//
// Threads: routes are added before the first request; then any thread. A path is a list of segments, one of
// which may be a name in braces, which matches any segment that is not empty: "/api/v1/resources/{guid}".
#ifndef COLLECTOR_HTTP_ROUTER_HPP
#define COLLECTOR_HTTP_ROUTER_HPP

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/http/Message.hpp"

namespace collector::http {

// Where a request is worked on: what answers at once, or what may wait for others.
enum class Lane { quick, slow };

// The segment that the name in braces stands for, empty without one.
using Handler = std::function<Response(const Request&, const std::string& segment)>;

struct Route {
    std::string method; // GET answers HEAD too
    std::string path;
    Lane lane = Lane::quick;
    Handler handler;
};

class Router {
public:
    void add(Route route) { routes_.push_back(std::move(route)); }

    struct Match {
        const Route* route = nullptr; // null: nothing at this path, or not with this method
        std::string segment;
        std::string allow; // the methods of the path, "GET, HEAD"; empty when there is no such path
    };
    Match find(std::string_view method, std::string_view path) const;

private:
    std::vector<Route> routes_;
};

} // namespace collector::http

#endif
