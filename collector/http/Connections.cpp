#include "collector/http/Connections.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <utility>

namespace collector::http {

bool Connections::mayEnter(const std::string& address) {
    const std::lock_guard lock(mutex_);
    const auto known = byAddress_.find(address);
    const std::size_t ofAddress = known != byAddress_.end() ? known->second : 0;
    if (connections_.size() < limits_.total && ofAddress < limits_.perAddress)
        return true;
    ++refused_;
    return false;
}

Connections::Id Connections::enter(int socket, std::string address) {
    const std::lock_guard lock(mutex_);
    ++byAddress_[address];
    Connection connection;
    connection.socket = socket;
    connection.address = std::move(address);
    connection.since = Clock::now();
    connections_.emplace(++last_, std::move(connection));
    return last_;
}

void Connections::leave(Id id) {
    const std::lock_guard lock(mutex_);
    const auto found = connections_.find(id);
    if (found == connections_.end())
        return;
    const auto count = byAddress_.find(found->second.address);
    if (--count->second == 0)
        byAddress_.erase(count);
    connections_.erase(found);
}

void Connections::change(Id id, State state, std::shared_ptr<EventStream> stream) {
    const std::lock_guard lock(mutex_);
    const auto found = connections_.find(id);
    if (found == connections_.end())
        return;
    found->second.state = state;
    found->second.since = Clock::now();
    found->second.stream = std::move(stream);
}

void Connections::receiving(Id id) {
    change(id, State::receiving, nullptr);
}

void Connections::working(Id id) {
    change(id, State::working, nullptr);
}

void Connections::answering(Id id, std::shared_ptr<EventStream> stream) {
    const State state = stream != nullptr ? State::streaming : State::answering;
    change(id, state, std::move(stream));
}

void Connections::watch(Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    for (auto& [id, connection] : connections_) {
        const Clock::duration age = now - connection.since;
        if ((connection.state == State::receiving && age > limits_.receive) ||
            (connection.state == State::answering && age > limits_.answer)) {
            shutdown(connection.socket, SHUT_RDWR);
            connection.since = now;
            ++timedOut_;
        } else if (connection.state == State::streaming) {
            pollfd client{connection.socket, POLLRDHUP, 0};
            if (poll(&client, 1, 0) > 0)
                connection.stream->end();
            else
                connection.stream->keepAlive(now, limits_.keepAlive);
        }
    }
}

void Connections::endStreams() {
    const std::lock_guard lock(mutex_);
    for (auto& [id, connection] : connections_) {
        if (connection.stream != nullptr)
            connection.stream->end();
    }
}

std::size_t Connections::size() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
}

std::uint64_t Connections::refused() const {
    const std::lock_guard lock(mutex_);
    return refused_;
}

std::uint64_t Connections::timedOut() const {
    const std::lock_guard lock(mutex_);
    return timedOut_;
}

} // namespace collector::http
