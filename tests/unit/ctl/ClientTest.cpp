// Answers that a collector, or whatever is there instead of one, may give.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>

#include "Asked.hpp"
#include "FakeCollector.hpp"

namespace {

// A port that is bound and does not listen refuses; one that listens without an accept answers nothing.
class Port {
public:
    explicit Port(bool listens) : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(descriptor_, reinterpret_cast<sockaddr*>(&address), length), 0);
        getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &length);
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        EXPECT_TRUE(!listens || listen(descriptor_, 5) == 0);
    }
    ~Port() { close(descriptor_); }
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;
    const std::string& url() const { return url_; }
    // Takes one connection, says this, and closes it.
    void say(const std::string& text) {
        const int peer = accept(descriptor_, nullptr, nullptr);
        char request[4096];
        EXPECT_GT(recv(peer, request, sizeof request, 0), 0);
        EXPECT_EQ(send(peer, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
        close(peer);
    }

private:
    int descriptor_;
    std::string url_;
};

Asked status(const std::string& url, std::vector<std::string> options = {}) {
    options.insert(options.begin(), "status");
    return ask(url, options);
}

TEST(Client, TellsThatNobodyListensAndHowToStartSomebody) {
    const Port port(false);
    const Asked asked = status(port.url());
    EXPECT_EQ(asked.exitCode, 4);
    EXPECT_EQ(asked.output, "");
    EXPECT_EQ(asked.errors,
        "orxctl: no collector at " + port.url() + ": connection refused; start one with orx-collector\n");
}

TEST(Client, TellsThatAHostIsUnknown) {
    const Asked asked = status("http://no-such-host.invalid:9464", {"--timeout", "20"});
    EXPECT_EQ(asked.exitCode, 4);
    EXPECT_TRUE(has(asked.errors, "no collector at http://no-such-host.invalid:9464")) << asked.errors;
}

TEST(Client, GivesUpWhenNoAnswerComes) {
    const Port port(true);
    const Asked asked = status(port.url(), {"--timeout", "0.3"});
    EXPECT_EQ(asked.exitCode, 4);
    EXPECT_TRUE(has(asked.errors, "no answer within 0.3 s")) << asked.errors;
}

TEST(Client, TellsThatTheConnectionBroke) {
    Port port(true);
    std::thread server([&port] { port.say(""); });
    const Asked asked = status(port.url());
    server.join();
    EXPECT_EQ(asked.exitCode, 4);
    EXPECT_TRUE(has(asked.errors, "broke the connection off")) << asked.errors;
}

TEST(Client, DoesNotTakeAnotherServerForACollector) {
    struct Strange {
        int status;
        std::string body;
        std::string type;
    };
    for (const Strange& strange :
        {Strange{200, "<html>", "text/html"}, Strange{404, "not here", "text/plain"},
            Strange{404, "{}", "application/json"}, Strange{302, "", "text/plain"},
            Strange{200, "[]", "application/json"}, Strange{200, "{\"a\":", "application/json"},
            Strange{200, "", "application/json"}, Strange{200, std::string(100'000, '['), "application/json"},
            Strange{400, "{\"error\":7}", "application/json"}}) {
        FakeCollector fake([&strange](const auto&, auto& response) {
            response.status = strange.status;
            response.set_content(strange.body, strange.type);
        });
        const Asked asked = status(fake.url());
        EXPECT_EQ(asked.exitCode, 2) << strange.body.substr(0, 99);
        EXPECT_TRUE(has(asked.errors, "does not answer as a collector")) << asked.errors;
    }
}

TEST(Client, ReadsNoAnswerWithoutEnd) {
    FakeCollector fake([](const auto&, auto& response) {
        response.set_chunked_content_provider("application/json", [](std::size_t, httplib::DataSink& sink) {
            const std::string piece(1 << 20, ' ');
            return sink.write(piece.data(), piece.size());
        });
    });
    const Asked asked = status(fake.url(), {"--timeout", "60"});
    EXPECT_EQ(asked.exitCode, 2);
    EXPECT_TRUE(has(asked.errors, "more than 64 MiB")) << asked.errors;
}

TEST(Client, BoundsTheWholeTimeOfASlowAnswer) {
    std::atomic<bool> isOver{false};
    FakeCollector fake([&isOver](const auto&, auto& response) {
        response.set_chunked_content_provider(
            "application/json", [&isOver](std::size_t, httplib::DataSink& sink) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20)); // one octet at a time
                return !isOver && sink.write(" ", 1);
            });
    });
    const Asked asked = status(fake.url(), {"--timeout", "0.5"});
    isOver = true;
    EXPECT_EQ(asked.exitCode, 4);
    EXPECT_TRUE(has(asked.errors, "no answer within 0.5 s")) << asked.errors;
}

TEST(Client, TellsWhatACollectorRefuses) {
    struct Refusal {
        int status;
        std::string code;
        int exitCode;
    };
    for (const Refusal& refusal :
        {Refusal{400, "bad_request", 2}, Refusal{403, "read_only", 2}, Refusal{404, "not_found", 3},
            Refusal{405, "method_not_allowed", 2}, Refusal{413, "too_large", 2},
            Refusal{422, "command_failed", 2}, Refusal{429, "too_many_streams", 2},
            Refusal{503, "stopping", 4}, Refusal{404, "nothing_matched", 3}}) {
        FakeCollector fake([&refusal](const auto&, auto& response) {
            FakeCollector::json(response,
                R"({"error": {"code": ")" + refusal.code + R"(", "message": "why\u001b[2J not"}})",
                refusal.status);
        });
        const Asked asked = status(fake.url());
        EXPECT_EQ(asked.exitCode, refusal.exitCode) << refusal.code;
        EXPECT_EQ(asked.errors, "orxctl: why\\x1B[2J not\n");
        const Asked json = status(fake.url(), {"--json"});
        EXPECT_EQ(json.exitCode, refusal.exitCode);
        EXPECT_EQ(json.errors, "");
        EXPECT_EQ(json.output, R"({"error":{"code":")" + refusal.code +
                                   R"(","message":"why\u001b[2J not"},"exit_code":)" +
                                   std::to_string(refusal.exitCode) + "}\n");
    }
}

TEST(Client, KeepsThePrefixOfItsAddress) {
    FakeCollector fake([](const auto&, auto& response) { FakeCollector::json(response, "{}"); });
    EXPECT_EQ(status(fake.url() + "/dds/").exitCode, 0);
    EXPECT_EQ(fake.requests().at(0).path, "/dds/api/v1/status");
}

TEST(Client, RefusesAnAddressThatIsNone) {
    const Asked asked = status("ftp://somewhere");
    EXPECT_EQ(asked.exitCode, 2);
    EXPECT_TRUE(has(asked.errors, "'ftp://somewhere' is no address of a collector")) << asked.errors;
}

} // namespace
