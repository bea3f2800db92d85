// The HTTP server: sockets, limits and time-outs around a Service.
//
// One thread does all input and output; requests are worked on by the threads of two lanes, so that neither a
// command that waits for applications nor a large scrape holds up anybody else. A connection whose request is
// worked on, or whose stream has nothing to say, is asleep and costs no thread. Threads: start and stop by
// one owner, the rest by any. Errors: start gives null with a text. The service outlives the server.
#ifndef COLLECTOR_HTTP_SERVER_HPP
#define COLLECTOR_HTTP_SERVER_HPP

#include <cstdint>
#include <memory>
#include <string>

#include "collector/http/Connections.hpp"
#include "collector/http/Listener.hpp"
#include "collector/http/Service.hpp"

namespace collector::http {

struct ServerOptions {
    Connections::Limits connections;
    std::size_t workers = 4; // of the quick lane, which has a queue
    std::size_t slots = 8;   // of the slow lane, which refuses
    // Of each connection: the request line and the headers fit in it, and an answer of too large ones too.
    std::size_t headerMemory = 32 * 1024;
    std::size_t unsentBytes = 256U << 20U;        // of all answers that are being sent
    std::chrono::seconds silence{30};             // a client that neither sends nor takes
    std::chrono::milliseconds watchPeriod{250};   // how often connections are looked at
    std::chrono::milliseconds patienceAtEnd{700}; // for answers that are under way
};

struct ServerCounters {
    std::uint64_t requests = 0; // answered, by the first digit of the status below
    std::uint64_t byClass[6] = {};
    std::uint64_t connections = 0; // open now
    std::uint64_t refusedConnections = 0;
    std::uint64_t timedOutConnections = 0;
    std::uint64_t busySlots = 0;
};

class Server {
public:
    // Takes the listening socket over in either case.
    static std::unique_ptr<Server> start(
        const ServerOptions& options, const Service& service, int listenSocket, std::string& error);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Requests that wait get 503, streams end, connections close. Then `finish` once the lanes can end.
    void stop();
    // Waits for what the lanes still work on.
    void finish();
    ServerCounters counters() const;

private:
    struct Daemon;
    explicit Server(std::unique_ptr<Daemon> daemon);
    std::unique_ptr<Daemon> daemon_;
};

} // namespace collector::http

#endif
