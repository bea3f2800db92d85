// A client of the tests: sends what it is given, octet by octet if need be, and reads answers with a bound.
#ifndef TESTS_COLLECTOR_HTTP_CLIENT_HPP
#define TESTS_COLLECTOR_HTTP_CLIENT_HPP

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

struct HttpAnswer {
    int status = 0; // 0: none came
    std::string head;
    std::string body; // without chunk sizes
    bool has(const std::string& text) const { return head.find(text) != std::string::npos; }
};

class HttpClient {
public:
    static constexpr double patience = 60;

    explicit HttpClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        isOpen_ = connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~HttpClient() { close(); }
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    bool isOpen() const { return isOpen_; }
    void close() {
        if (socket_ >= 0)
            ::close(socket_);
        socket_ = -1;
    }

    bool send(std::string_view text) {
        while (!text.empty()) {
            const ssize_t sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0)
                return false;
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }
    bool get(const std::string& target, const std::string& headers = "") {
        return send("GET " + target + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n");
    }
    bool post(const std::string& target, const std::string& body, const std::string& headers = "") {
        return send("POST " + target + " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n" +
                    headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }

    // One whole answer; of one without an end (a stream), its head alone.
    HttpAnswer answer(bool isHead = false) {
        HttpAnswer answer;
        const auto end = find("\r\n\r\n");
        if (!end)
            return answer;
        answer.head = received_.substr(0, *end + 2);
        received_.erase(0, *end + 4);
        if (answer.head.size() > 12)
            answer.status = std::atoi(answer.head.c_str() + 9);
        if (isHead || answer.status == 204)
            return answer;
        if (answer.has("text/event-stream"))
            return answer;
        if (answer.has("ransfer-Encoding: chunked"))
            readChunks(answer.body);
        else
            readLength(answer);
        return answer;
    }
    // Reads until the text has come; what stands before its end. Nothing when it does not come.
    std::optional<std::string> until(const std::string& text, double bound = patience) {
        const auto found = find(text, bound);
        if (!found)
            return std::nullopt;
        std::string part = received_.substr(0, *found + text.size());
        received_.erase(0, part.size());
        return part;
    }
    // True when the other side closes, whatever it sends before.
    bool isClosed(double bound = patience) {
        const auto deadline = after(bound);
        while (receive(deadline))
            received_.clear();
        return isEnded_;
    }

private:
    using Clock = std::chrono::steady_clock;

    static Clock::time_point after(double seconds) {
        return Clock::now() +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    }
    // One piece; false at the end, or when the time is over.
    bool receive(Clock::time_point deadline) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd readable{socket_, POLLIN, 0};
        if (isEnded_ || left <= 0 || poll(&readable, 1, static_cast<int>(left)) <= 0)
            return false;
        char buffer[16384];
        const ssize_t size = recv(socket_, buffer, sizeof buffer, 0);
        if (size > 0)
            received_.append(buffer, static_cast<std::size_t>(size));
        isEnded_ = size <= 0;
        return !isEnded_;
    }
    std::optional<std::size_t> find(const std::string& text, double bound = patience) {
        const auto deadline = after(bound);
        for (;;) {
            if (const std::size_t found = received_.find(text); found != std::string::npos)
                return found;
            if (!receive(deadline))
                return std::nullopt;
        }
    }
    void readLength(HttpAnswer& answer) {
        const std::size_t at = answer.head.find("ontent-Length: ");
        const std::size_t length =
            at == std::string::npos ? 0 : std::strtoul(answer.head.c_str() + at + 15, nullptr, 10);
        const auto deadline = after(patience);
        while (received_.size() < length && receive(deadline)) {
        }
        answer.body = received_.substr(0, length);
        received_.erase(0, answer.body.size());
    }
    void readChunks(std::string& body) {
        for (;;) {
            const auto line = until("\r\n");
            const std::size_t size = line ? std::strtoul(line->c_str(), nullptr, 16) : 0;
            const auto deadline = after(patience);
            while (received_.size() < size + 2 && receive(deadline)) {
            }
            body += received_.substr(0, size);
            received_.erase(0, size + 2);
            if (size == 0)
                return;
        }
    }

    int socket_ = -1;
    bool isOpen_ = false;
    bool isEnded_ = false;
    std::string received_;
};

#endif
