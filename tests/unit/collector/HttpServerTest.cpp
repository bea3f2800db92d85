// The server over real sockets on the loopback interface.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "collector/http/EventStream.hpp"
#include "collector/http/Server.hpp"
#include "tests/unit/collector/HttpClient.hpp"

using namespace collector::http;
using namespace std::chrono_literals;

namespace {

// Holds requests until it is opened.
class Gate {
public:
    void pass() {
        std::unique_lock lock(mutex_);
        ++inside_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }
    bool waitForInside(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 60s, [&] { return inside_ >= count; });
    }
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int inside_ = 0;
    bool isOpen_ = false;
};

class HttpServer : public ::testing::Test {
protected:
    void start(ServerOptions options = {}) {
        std::string why;
        service_.router().add({"GET", "/plain", Lane::quick, [](auto&, auto&) { return text("plain"); }});
        service_.router().add(
            {"GET", "/large", Lane::quick, [](auto&, auto&) { return text(std::string(20'000'000, 'x')); }});
        service_.router().add(
            {"POST", "/echo", Lane::quick, [](auto& asked, auto&) { return text(asked.body); }});
        service_.router().add({"POST", "/slow", Lane::slow, [this](auto&, auto&) {
                                   gate_.pass();
                                   return text("done");
                               }});
        service_.router().add(
            {"GET", "/stream", Lane::quick, [this](auto&, auto&) {
                 Response response;
                 response.contentType = eventStreamType;
                 response.stream = std::make_shared<EventStream>(EventStream::Limits{100, 1U << 20U});
                 const std::lock_guard lock(mutex_);
                 streams_.push_back(response.stream);
                 return response;
             }});
        const ListenSocket listening = listenOn({"127.0.0.1", 0}, why);
        ASSERT_GE(listening.socket, 0) << why;
        port_ = static_cast<std::uint16_t>(std::stoi(listening.url.substr(listening.url.rfind(':') + 1)));
        options.watchPeriod = 20ms;
        server_ = Server::start(options, service_, listening.socket, why);
        ASSERT_NE(server_, nullptr) << why;
    }
    void TearDown() override {
        gate_.open();
        server_.reset();
    }
    static Response text(std::string body) {
        Response response;
        response.contentType = "text/plain";
        response.body = std::move(body);
        return response;
    }
    std::shared_ptr<EventStream> stream(std::size_t number = 0) {
        const std::lock_guard lock(mutex_);
        return number < streams_.size() ? streams_[number] : nullptr;
    }
    template <typename Condition> static bool eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(5ms);
        }
        return true;
    }

    Gate gate_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<EventStream>> streams_;
    Service service_{Policy{}};
    std::uint16_t port_ = 0;
    std::unique_ptr<Server> server_;
};

} // namespace

TEST_F(HttpServer, AnswersRequestAfterRequestOnAConnection) {
    start();
    HttpClient client(port_);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(client.get("/plain"));
        const HttpAnswer answer = client.answer();
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.body, "plain");
        EXPECT_TRUE(answer.has("Content-Type: text/plain"));
        EXPECT_TRUE(answer.has("X-Content-Type-Options: nosniff"));
    }
    client.post("/echo", "{\"a\": 1}");
    EXPECT_EQ(client.answer().body, "{\"a\": 1}");
    EXPECT_EQ(server_->counters().requests, 4U);
    EXPECT_EQ(server_->counters().byClass[2], 4U);
}

TEST_F(HttpServer, AHeadIsAGetWithoutItsBody) {
    start();
    HttpClient client(port_);
    client.send("HEAD /plain HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const HttpAnswer answer = client.answer(true);
    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(answer.has("Content-Length: 5"));
    client.get("/plain"); // nothing of a body stands before the next answer
    EXPECT_EQ(client.answer().body, "plain");
}

TEST_F(HttpServer, TheTargetIsReadAsItWasSent) {
    start();
    HttpClient client(port_);
    client.get("/nothing%0Ahere");
    const HttpAnswer answer = client.answer();
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(nlohmann::json::parse(answer.body)["error"]["code"], "bad_request");
    client.get("/pl%61in?a=%7B");
    EXPECT_EQ(client.answer().status, 200);
}

TEST_F(HttpServer, ATooLargeBodyIsRefusedBeforeItIsSent) {
    start();
    HttpClient client(port_);
    client.send("POST /echo HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
                "Content-Length: 99999999999\r\n\r\n");
    EXPECT_EQ(client.answer().status, 413);
    EXPECT_TRUE(client.isClosed());
}

TEST_F(HttpServer, ATooLargeBodyInChunksIsRefused) {
    start();
    HttpClient client(port_);
    client.send("POST /echo HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
                "Transfer-Encoding: chunked\r\n\r\n");
    const std::string chunk = "10000\r\n" + std::string(0x10000, ' ') + "\r\n";
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(client.send(chunk));
    client.send("0\r\n\r\n");
    EXPECT_EQ(client.answer().status, 413);
}

TEST_F(HttpServer, ABodyInChunksArrivesWhole) {
    start();
    HttpClient client(port_);
    client.send("POST /echo HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
                "Transfer-Encoding: chunked\r\n\r\n3\r\n[1,\r\n2\r\n2]\r\n0\r\n\r\n");
    EXPECT_EQ(client.answer().body, "[1,2]");
}

TEST_F(HttpServer, LargeHeadersAreRefused) {
    start();
    HttpClient client(port_);
    client.get("/plain", "X-Large: " + std::string(100'000, 'x') + "\r\n");
    const int status = client.answer().status;
    EXPECT_TRUE(status == 431 || status == 413 || status == 414) << status;
    HttpClient another(port_);
    another.get("/" + std::string(100'000, 'x'));
    EXPECT_GE(another.answer().status, 400);
}

TEST_F(HttpServer, WhatIsNoHttpClosesTheConnectionAlone) {
    ServerOptions options;
    options.connections.receive = 200ms; // it may look like the beginning of a request
    start(options);
    HttpClient garbage(port_);
    garbage.send(std::string("\x00\xFF\x16\x03\x01 garbage\r\n\r\n\r\n", 20));
    EXPECT_TRUE(garbage.isClosed());
    HttpClient client(port_);
    client.get("/plain");
    EXPECT_EQ(client.answer().status, 200);
}

TEST_F(HttpServer, BlockedCommandsHoldUpNobodyElse) {
    start();
    std::vector<std::unique_ptr<HttpClient>> blocked;
    for (int i = 0; i < 8; ++i) {
        blocked.push_back(std::make_unique<HttpClient>(port_));
        blocked.back()->post("/slow", "{}");
    }
    ASSERT_TRUE(gate_.waitForInside(8));
    HttpClient client(port_);
    client.get("/plain");
    EXPECT_EQ(client.answer().body, "plain");
    EXPECT_EQ(server_->counters().busySlots, 8U);
    // There is no ninth slot.
    client.post("/slow", "{}");
    const HttpAnswer refused = client.answer();
    EXPECT_EQ(refused.status, 429);
    EXPECT_TRUE(refused.has("Retry-After: 1"));
    gate_.open();
    for (auto& each : blocked)
        EXPECT_EQ(each->answer().body, "done");
    ASSERT_TRUE(eventually([&] { return server_->counters().busySlots == 0; }));
    client.post("/slow", "{}");
    EXPECT_EQ(client.answer().body, "done");
}

TEST_F(HttpServer, AStreamGoesOnUntilItsClientGoes) {
    start();
    HttpClient client(port_);
    client.get("/stream");
    const HttpAnswer answer = client.answer();
    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(answer.has("text/event-stream"));
    EXPECT_TRUE(answer.has("Cache-Control: no-store"));
    ASSERT_NE(stream(), nullptr);
    for (int i = 0; i < 50; ++i) {
        const std::string event = eventText("number", std::to_string(i), std::to_string(i));
        stream()->push(std::make_shared<const std::string>(event));
        ASSERT_TRUE(client.until("data: " + std::to_string(i) + "\n\n")) << i;
    }
    client.close();
    EXPECT_TRUE(eventually([&] { return stream()->isEnded(); }));
    EXPECT_TRUE(eventually([&] { return server_->counters().connections == 0; }));
}

TEST_F(HttpServer, AStreamThatIsNotReadLosesTheOldest) {
    start();
    HttpClient client(port_);
    client.get("/stream");
    ASSERT_EQ(client.answer().status, 200);
    // More than what the sockets hold, and many times what the queue does.
    const auto filler =
        std::make_shared<const std::string>(eventText("filler", "", std::string(10'000, 'x')));
    ASSERT_TRUE(eventually([&] {
        for (int i = 0; i < 100; ++i)
            stream()->push(filler);
        return stream()->lost() > 10'000;
    }));
    stream()->push(std::make_shared<const std::string>(eventText("last", "", "{}")));
    const auto told = client.until("event: last");
    ASSERT_TRUE(told);
    EXPECT_NE(told->find("event: lost\ndata: {\"count\": "), std::string::npos);
}

TEST_F(HttpServer, AnIdleStreamIsKeptAlive) {
    ServerOptions options;
    options.connections.keepAlive = 30ms;
    start(options);
    HttpClient client(port_);
    client.get("/stream");
    EXPECT_EQ(client.answer().status, 200);
    EXPECT_TRUE(client.until(":\n\n"));
    EXPECT_TRUE(client.until(":\n\n"));
}

TEST_F(HttpServer, ConnectionsBeyondTheLimitAreClosedAtOnce) {
    ServerOptions options;
    options.connections.total = 5;
    start(options);
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 5; ++i) {
        clients.push_back(std::make_unique<HttpClient>(port_));
        clients.back()->get("/plain");
        ASSERT_EQ(clients.back()->answer().status, 200);
    }
    HttpClient refused(port_);
    EXPECT_TRUE(refused.isClosed());
    EXPECT_EQ(server_->counters().refusedConnections, 1U);
    clients.pop_back();
    EXPECT_TRUE(eventually([&] {
        HttpClient next(port_);
        next.get("/plain");
        return next.answer().status == 200;
    }));
}

TEST_F(HttpServer, OneAddressDoesNotTakeAllConnections) {
    ServerOptions options;
    options.connections.perAddress = 2;
    start(options);
    HttpClient one(port_), two(port_);
    one.get("/plain");
    two.get("/plain");
    ASSERT_EQ(one.answer().status, 200);
    ASSERT_EQ(two.answer().status, 200);
    HttpClient refused(port_);
    EXPECT_TRUE(refused.isClosed());
}

TEST_F(HttpServer, ARequestThatNeverEndsIsCutOff) {
    ServerOptions options;
    options.connections.receive = 200ms;
    start(options);
    HttpClient slow(port_);
    std::atomic<bool> isOver{false};
    std::thread drip([&] {
        slow.send("GET /plain HTTP/1.1\r\n");
        while (!isOver && slow.send("X-Drip: 1\r\n"))
            std::this_thread::sleep_for(10ms);
    });
    EXPECT_TRUE(eventually([&] { return server_->counters().timedOutConnections == 1; }));
    EXPECT_TRUE(slow.isClosed());
    isOver = true;
    drip.join();
}

TEST_F(HttpServer, AnAnswerThatIsNotReadIsCutOff) {
    ServerOptions options;
    options.connections.answer = 200ms;
    start(options);
    HttpClient slow(port_);
    slow.get("/large");
    EXPECT_TRUE(eventually([&] { return server_->counters().timedOutConnections == 1; }));
    EXPECT_TRUE(eventually([&] { return server_->counters().connections == 0; }));
}

TEST_F(HttpServer, SlowClientsHoldABoundedSum) {
    ServerOptions options;
    options.unsentBytes = 50'000'000;
    start(options);
    std::vector<std::unique_ptr<HttpClient>> clients; // of 20 MB each, which nobody reads
    for (int i = 0; i < 4; ++i) {
        clients.push_back(std::make_unique<HttpClient>(port_));
        clients.back()->get("/large");
        ASSERT_TRUE(eventually([&] { return server_->counters().requests > static_cast<std::uint64_t>(i); }));
    }
    EXPECT_EQ(server_->counters().byClass[2], 2U);
    EXPECT_EQ(server_->counters().byClass[5], 2U);
    const HttpAnswer refused = clients[3]->answer();
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(nlohmann::json::parse(refused.body)["error"]["code"], "overloaded");
    EXPECT_EQ(clients[0]->answer().body.size(), 20'000'000U);
    ASSERT_TRUE(eventually([&] {
        clients[3]->get("/large");
        return clients[3]->answer().status == 200;
    }));
}

TEST_F(HttpServer, StopsWithStreamsAndCommandsOpen) {
    start();
    HttpClient streaming(port_), waiting(port_), idle(port_), half(port_);
    streaming.get("/stream");
    ASSERT_EQ(streaming.answer().status, 200);
    waiting.post("/slow", "{}");
    ASSERT_TRUE(gate_.waitForInside(1));
    half.send("POST /echo HTTP/1.1\r\nContent-Le");
    const auto begin = std::chrono::steady_clock::now();
    server_->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
    const HttpAnswer answer = waiting.answer();
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(nlohmann::json::parse(answer.body)["error"]["code"], "stopping");
    EXPECT_TRUE(streaming.isClosed());
    EXPECT_TRUE(idle.isClosed());
    EXPECT_TRUE(half.isClosed());
    EXPECT_FALSE(HttpClient(port_).isOpen());
    gate_.open();
    server_->finish();
}

TEST_F(HttpServer, ManyClientsAtOnce) {
    start();
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            HttpClient client(port_);
            for (int k = 0; k < 100; ++k) {
                client.post("/echo", std::to_string(k));
                if (client.answer().body == std::to_string(k))
                    ++right;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(right, 800);
}
