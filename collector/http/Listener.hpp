// The socket that the server listens on. Errors: no socket, with a text that tells why.
#ifndef COLLECTOR_HTTP_LISTENER_HPP
#define COLLECTOR_HTTP_LISTENER_HPP

#include <cstdint>
#include <optional>
#include <string>

namespace collector::http {

struct Address {
    std::string host; // a name or a number, without brackets
    std::uint16_t port = 0;
};
// "127.0.0.1:9464", "[::1]:9464", "localhost:0", ":9464" for every interface. Nothing for anything else.
std::optional<Address> parseAddress(const std::string& text);

struct ListenSocket {
    int socket = -1; // the caller's
    std::string url; // "http://127.0.0.1:9464", with the port that was picked
    bool isLoopback = false;
};
ListenSocket listenOn(const Address& address, std::string& error);
void closeListener(int socket);

} // namespace collector::http

#endif
