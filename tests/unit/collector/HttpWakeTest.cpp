// The server on a machine that loses wake-ups: the poll(2) of this program, which the HTTP library calls too,
// sees on the library's threads what is ready when it is called, and then nothing until its time is over.
#include <gtest/gtest.h>

#include <poll.h>
#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "collector/http/Server.hpp"
#include "tests/unit/collector/HttpClient.hpp"

using namespace collector::http;

namespace {

std::mutex mutex;
std::condition_variable changed;
bool losesWakeUps = false;
bool isDeaf = false; // a thread of the server waits, and nothing wakes it
pthread_t clientThread;

void loseWakeUps(bool loses) {
    const std::lock_guard lock(mutex);
    clientThread = pthread_self();
    losesWakeUps = loses;
    changed.notify_all();
}

bool awaitDeaf() {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(60), [] { return isDeaf; });
}

int pollAtMost(pollfd* sockets, nfds_t count, int milliseconds) {
    const timespec bound{milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
    return ppoll(sockets, count, milliseconds < 0 ? nullptr : &bound, nullptr);
}

} // namespace

extern "C" __attribute__((visibility("default"))) int poll(pollfd* sockets, nfds_t count, int milliseconds) {
    std::unique_lock lock(mutex);
    if (!losesWakeUps || pthread_equal(pthread_self(), clientThread) || milliseconds == 0) {
        lock.unlock();
        return pollAtMost(sockets, count, milliseconds);
    }
    if (const int ready = pollAtMost(sockets, count, 0); ready != 0)
        return ready;
    isDeaf = true;
    changed.notify_all();
    const auto isOver = [] { return !losesWakeUps; };
    if (milliseconds < 0)
        changed.wait(lock, isOver);
    else
        changed.wait_for(lock, std::chrono::milliseconds(milliseconds), isOver);
    return pollAtMost(sockets, count, 0);
}

TEST(HttpServerThatIsNotWoken, AnswersAllTheSame) {
    Service service{Policy{}};
    service.router().add({"GET", "/plain", Lane::quick, [](auto&, auto&) {
                              Response response;
                              response.body = "plain";
                              return response;
                          }});
    std::string why;
    const ListenSocket listening = listenOn({"127.0.0.1", 0}, why);
    ASSERT_GE(listening.socket, 0) << why;
    const auto server = Server::start(ServerOptions{}, service, listening.socket, why);
    ASSERT_NE(server, nullptr) << why;
    loseWakeUps(true);
    EXPECT_TRUE(awaitDeaf());
    for (int i = 0; i < 2; ++i) {
        HttpClient client(
            static_cast<std::uint16_t>(std::stoi(listening.url.substr(listening.url.rfind(':') + 1))));
        EXPECT_TRUE(client.get("/plain"));
        EXPECT_EQ(client.answer().body, "plain");
    }
    loseWakeUps(false);
}
