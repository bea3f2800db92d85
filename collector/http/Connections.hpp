// Who is connected: bounds their number, in all and by address, and ends those that take too long.
//
// A connection is receiving (idle or sending a request), working, answering or streaming. One that receives
// or answers for longer than its bound is shut down, so that a client which sends or takes an octet now and
// then holds nothing for ever; one that streams is looked at for a client that went. Threads: any; the socket
// of an entry is valid while it stands, since the server removes it before it closes the socket.
#ifndef COLLECTOR_HTTP_CONNECTIONS_HPP
#define COLLECTOR_HTTP_CONNECTIONS_HPP

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "collector/http/EventStream.hpp"

namespace collector::http {

class Connections {
public:
    using Clock = std::chrono::steady_clock;
    struct Limits {
        std::size_t total = 512;
        std::size_t perAddress = 256;
        Clock::duration receive = std::chrono::seconds(30);
        Clock::duration answer = std::chrono::seconds(60);
        Clock::duration keepAlive = std::chrono::seconds(15); // of an idle stream
    };
    explicit Connections(Limits limits) : limits_(limits) {}

    // Whether one more of this address has room; a refusal is counted.
    bool mayEnter(const std::string& address);
    using Id = std::uint64_t;
    Id enter(int socket, std::string address);
    void leave(Id id);

    void receiving(Id id);
    void working(Id id);
    void answering(Id id, std::shared_ptr<EventStream> stream);

    // Once in a while.
    void watch(Clock::time_point now);
    void endStreams();

    std::size_t size() const;
    std::uint64_t refused() const;
    std::uint64_t timedOut() const;

private:
    enum class State { receiving, working, answering, streaming };
    struct Connection {
        int socket = -1;
        std::string address;
        State state = State::receiving;
        Clock::time_point since;
        std::shared_ptr<EventStream> stream;
    };
    void change(Id id, State state, std::shared_ptr<EventStream> stream);

    const Limits limits_;
    mutable std::mutex mutex_;
    std::map<Id, Connection> connections_;
    std::map<std::string, std::size_t> byAddress_;
    Id last_ = 0;
    std::uint64_t refused_ = 0;
    std::uint64_t timedOut_ = 0;
};

} // namespace collector::http

#endif
