// What stands between the server and the handlers: who may ask, what a POST must look like, compression, and
// an answer whatever a handler does. Pure: a request gives a response, without sockets or clocks.
//
// Threads: any, once the routes stand. A handler that throws gives a status of 500.
#ifndef COLLECTOR_HTTP_SERVICE_HPP
#define COLLECTOR_HTTP_SERVICE_HPP

#include "collector/http/Router.hpp"

namespace collector::http {

struct Policy {
    bool readOnly = false;
    // The service is for this host alone: only names that mean this host are taken as Host, so that a page
    // whose name was made to point here cannot read or command.
    bool loopbackOnly = false;
    std::size_t bodyLimit = 256 * 1024;
};

class Service {
public:
    explicit Service(Policy policy) : policy_(policy) {}

    Router& router() { return router_; }
    const Policy& policy() const { return policy_; }

    Lane lane(const Request& request) const;
    Response handle(const Request& request) const;

private:
    Response answer(const Request& request) const;

    Policy policy_;
    Router router_;
};

// Compresses the body when the request allows it and it is worth it.
void compress(const Request& request, Response& response);

} // namespace collector::http

#endif
