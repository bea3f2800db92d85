#include "collector/http/Listener.hpp"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>

namespace collector::http {

namespace {

constexpr int backlog = 128;

bool isLoopback(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, &address, sizeof four);
        return ntohl(four.sin_addr.s_addr) >> 24U == 127;
    }
    sockaddr_in6 six{};
    std::memcpy(&six, &address, sizeof six);
    return IN6_IS_ADDR_LOOPBACK(&six.sin6_addr);
}

// Of a socket that is bound.
void describe(ListenSocket& listening) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(listening.socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return;
    char host[NI_MAXHOST] = "";
    char port[NI_MAXSERV] = "";
    getnameinfo(reinterpret_cast<sockaddr*>(&address), length, host, sizeof host, port, sizeof port,
        NI_NUMERICHOST | NI_NUMERICSERV);
    const bool isSix = address.ss_family == AF_INET6;
    listening.isLoopback = isLoopback(address);
    listening.url = std::string("http://") + (isSix ? "[" : "") + host + (isSix ? "]" : "") + ":" + port;
}

int bound(const addrinfo& candidate) {
    const int socket =
        ::socket(candidate.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, candidate.ai_protocol);
    if (socket < 0)
        return -1;
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (bind(socket, candidate.ai_addr, candidate.ai_addrlen) == 0 && listen(socket, backlog) == 0)
        return socket;
    const int reason = errno;
    close(socket);
    errno = reason;
    return -1;
}

} // namespace

std::optional<Address> parseAddress(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        return std::nullopt;
    Address address;
    address.host = text.substr(0, colon);
    if (address.host.size() > 1 && address.host.front() == '[' && address.host.back() == ']')
        address.host = address.host.substr(1, address.host.size() - 2);
    else if (address.host.find_first_of("[]:") != std::string::npos)
        return std::nullopt;
    const char* const from = text.data() + colon + 1;
    const char* const to = text.data() + text.size();
    const auto read = std::from_chars(from, to, address.port);
    if (read.ec != std::errc() || read.ptr != to)
        return std::nullopt;
    return address;
}

ListenSocket listenOn(const Address& address, std::string& error) {
    ListenSocket listening;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(address.port);
    const int result =
        getaddrinfo(address.host.empty() ? nullptr : address.host.c_str(), port.c_str(), &hints, &found);
    const std::string name = address.host + ":" + port;
    if (result != 0) {
        error = "cannot listen on " + name + ": " + gai_strerror(result);
        return listening;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(found, freeaddrinfo);
    for (const addrinfo* each = found; each != nullptr && listening.socket < 0; each = each->ai_next)
        listening.socket = bound(*each);
    if (listening.socket < 0)
        error = "cannot listen on " + name + ": " + std::strerror(errno);
    else
        describe(listening);
    return listening;
}

void closeListener(int socket) {
    close(socket);
}

} // namespace collector::http
