// A collector inside the test: it serves what the test tells it, on a port of its own, and keeps what it was
// asked.
//
// Threads: the handler runs on the server's threads; the rest belongs to the test.
#ifndef TESTS_UNIT_CTL_FAKE_COLLECTOR_HPP
#define TESTS_UNIT_CTL_FAKE_COLLECTOR_HPP

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class FakeCollector {
public:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    explicit FakeCollector(Handler handler) : handler_(std::move(handler)) {
        const auto serve = [this](const httplib::Request& request, httplib::Response& response) {
            {
                const std::lock_guard lock(mutex_);
                requests_.push_back(request);
                requests_.back().files.clear();
            }
            arrived_.notify_all();
            handler_(request, response);
        };
        server_.Get(".*", serve);
        server_.Post(".*", serve);
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running())
            std::this_thread::yield();
    }
    ~FakeCollector() {
        {
            const std::lock_guard lock(mutex_);
            isEnding_ = true;
        }
        arrived_.notify_all();
        server_.stop();
        thread_.join();
    }
    FakeCollector(const FakeCollector&) = delete;
    FakeCollector& operator=(const FakeCollector&) = delete;

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

    std::vector<httplib::Request> requests() {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    bool awaitRequests(std::size_t count) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, std::chrono::seconds(30), [&] { return requests_.size() >= count; });
    }

    static void json(httplib::Response& response, const std::string& body, int status = 200) {
        response.status = status;
        response.set_content(body, "application/json; charset=utf-8");
    }

    // A stream of these pieces; then it ends, or stays open until the fake ends.
    enum class Then { end, stay };
    void stream(httplib::Response& response, std::vector<std::string> pieces, Then then) {
        response.set_chunked_content_provider("text/event-stream; charset=utf-8",
            [this, pieces = std::move(pieces), then](std::size_t, httplib::DataSink& sink) {
                for (const std::string& piece : pieces)
                    if (!sink.write(piece.data(), piece.size()))
                        return false;
                if (then == Then::stay) {
                    std::unique_lock lock(mutex_);
                    arrived_.wait(lock, [this] { return isEnding_; });
                }
                sink.done();
                return true;
            });
    }

private:
    Handler handler_;
    httplib::Server server_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<httplib::Request> requests_;
    bool isEnding_ = false;
    int port_ = 0;
    std::thread thread_;
};

#endif
