// What must hold of any octets that a client sends to the collector's server: it answers in HTTP or closes,
// and the connection ends when the client has nothing more to say. The first octet says how the rest is cut.
#ifndef ORX_FUZZ_HTTP_RAW_CHECK_HPP
#define ORX_FUZZ_HTTP_RAW_CHECK_HPP

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>

#include "collector/http/Server.hpp"
#include "fuzz/Require.hpp"
#include "fuzz/http/HttpCheck.hpp"

class RawCheck {
public:
    RawCheck() {
        collector::http::ServerOptions options;
        options.watchPeriod = std::chrono::milliseconds(1);
        options.workers = 1;
        options.connections.receive =
            std::chrono::milliseconds(200);        // what may become a request and does not
        options.silence = std::chrono::seconds(5); // of what did become one
        std::string error;
        server_ = collector::http::Server::start(options, check_.service(), listenLocally(), error);
        require(server_ != nullptr, "no server");
    }

    void run(const std::uint8_t* data, std::size_t size) {
        if (size == 0)
            return;
        const int client = connected();
        std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
        const std::size_t cut = text.size() * data[0] / 255;
        send(client, text.substr(0, cut));
        send(client, text.substr(cut));
        shutdown(client, SHUT_WR);
        const std::string answer = readToTheEnd(client);
        close(client);
        require(answer.empty() || answer.starts_with("HTTP/1."), "an answer that is no HTTP");
    }

private:
    // A socket of a name that the system gives, outside of the file system.
    int listenLocally() {
        const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        address_.sun_family = AF_UNIX;
        require(listening >= 0 &&
                    bind(listening, reinterpret_cast<sockaddr*>(&address_), sizeof(sa_family_t)) == 0 &&
                    getsockname(listening, reinterpret_cast<sockaddr*>(&address_), &addressSize_) == 0 &&
                    listen(listening, SOMAXCONN) == 0,
            "no listening socket");
        return listening;
    }

    static void send(int socket, std::string_view text) {
        while (!text.empty()) {
            const ssize_t sent = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0)
                return; // it has closed already
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    int connected() {
        const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        require(client >= 0, "no socket");
        require(connect(client, reinterpret_cast<sockaddr*>(&address_), addressSize_) == 0, "no connection");
        return client;
    }

    static std::string readToTheEnd(int client) {
        std::string all;
        char buffer[65536];
        for (;;) {
            constexpr int patience = 60'000;
            pollfd readable{client, POLLIN, 0};
            require(poll(&readable, 1, patience) > 0, "a connection that does not end");
            const ssize_t size = recv(client, buffer, sizeof buffer, 0);
            if (size <= 0)
                return all;
            if (all.size() < 16)
                all.append(buffer, static_cast<std::size_t>(size));
        }
    }

    HttpCheck check_;
    sockaddr_un address_{};
    socklen_t addressSize_ = sizeof address_;
    std::unique_ptr<collector::http::Server> server_;
};

#endif
