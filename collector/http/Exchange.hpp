// One request on a connection, from its first line to its last octet sent.
//
// Threads: the server's socket thread, but for Pending, which the worker fulfils.
#ifndef COLLECTOR_HTTP_EXCHANGE_HPP
#define COLLECTOR_HTTP_EXCHANGE_HPP

#include <microhttpd.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "collector/http/Connections.hpp"
#include "collector/http/Message.hpp"

namespace collector::http {

// An answer that is being made. The first one counts: the worker's, or that of a server that stops.
class Pending {
public:
    explicit Pending(MHD_Connection* connection) : connection_(connection) {}

    void fulfil(Response response) {
        const std::lock_guard lock(mutex_);
        if (response_)
            return;
        response_ = std::move(response);
        if (std::exchange(isAsleep_, false))
            MHD_resume_connection(connection_);
    }
    // The answer; without one the connection sleeps until there is one. Once only.
    std::optional<Response> takeOrSleep() {
        const std::lock_guard lock(mutex_);
        if (response_)
            return std::move(response_);
        isAsleep_ = true;
        MHD_suspend_connection(connection_);
        return std::nullopt;
    }

private:
    std::mutex mutex_;
    MHD_Connection* const connection_;
    std::optional<Response> response_;
    bool isAsleep_ = false;
};

struct Exchange {
    Request request;
    std::string target;
    Connections::Id connection = 0;
    bool hasBegun = false;   // its headers were seen
    bool isTooLarge = false; // its body; the rest of it is thrown away
    bool isQueued = false;   // its answer was given to the connection
    std::shared_ptr<Pending> pending;
};

} // namespace collector::http

#endif
