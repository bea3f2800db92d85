#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "collector/http/EventStream.hpp"

using namespace collector::http;

namespace {

EventStream::Text text(const std::string& content) {
    return std::make_shared<const std::string>(content);
}

std::string readAll(EventStream& stream, std::size_t size = 4096) {
    std::string all;
    std::string buffer(size, '\0');
    for (;;) {
        bool slept = false;
        const auto piece = stream.read(buffer.data(), size, [&] { slept = true; });
        if (slept || piece.isEnd)
            return all;
        all.append(buffer, 0, piece.size);
    }
}

} // namespace

TEST(HttpEventStream, AnEventHasNameIdAndData) {
    EXPECT_EQ(eventText("log", "7", "{}"), "event: log\nid: 7\ndata: {}\n\n");
    EXPECT_EQ(eventText("lost", "", "{}"), "event: lost\ndata: {}\n\n");
}

TEST(HttpEventStream, GivesEventsInOrderInPiecesOfAnySize) {
    for (std::size_t size = 1; size < 12; ++size) {
        EventStream stream;
        stream.push(text("first\n\n"));
        stream.push(text("second\n\n"));
        EXPECT_EQ(readAll(stream, size), "first\n\nsecond\n\n");
    }
}

TEST(HttpEventStream, ASlowClientLosesTheOldestAndIsTold) {
    EventStream stream({3, 1000});
    for (int i = 0; i < 10; ++i)
        stream.push(text(std::to_string(i) + "\n\n"));
    EXPECT_EQ(stream.lost(), 7U);
    EXPECT_EQ(readAll(stream), "event: lost\ndata: {\"count\": 7}\n\n7\n\n8\n\n9\n\n");
    stream.push(text("10\n\n"));
    EXPECT_EQ(readAll(stream), "10\n\n");
}

TEST(HttpEventStream, AnEventThatIsBeingReadIsNotCut) {
    EventStream stream({1, 1000});
    stream.push(text("0123456789"));
    char buffer[4];
    EXPECT_EQ(stream.read(buffer, sizeof buffer, [] {}).size, 4U);
    stream.push(text("lost"));
    stream.push(text("last"));
    EXPECT_EQ(readAll(stream), "456789event: lost\ndata: {\"count\": 1}\n\nlast");
}

TEST(HttpEventStream, IsBoundedByBytes) {
    EventStream stream({1000, 100});
    for (int i = 0; i < 10; ++i)
        stream.push(text(std::string(40, 'a')));
    EXPECT_EQ(stream.lost(), 8U);
    stream.push(text(std::string(400, 'b'))); // the newest stays, whatever its size
    EXPECT_EQ(stream.lost(), 10U);
    EXPECT_EQ(readAll(stream), "event: lost\ndata: {\"count\": 10}\n\n" + std::string(400, 'b'));
}

TEST(HttpEventStream, KeepsAnIdleClientAlive) {
    using namespace std::chrono_literals;
    EventStream stream;
    const auto now = EventStream::Clock::now();
    stream.keepAlive(now, 15s);
    EXPECT_EQ(readAll(stream), "");
    stream.keepAlive(now + 16s, 15s);
    stream.keepAlive(now + 17s, 15s);
    EXPECT_EQ(readAll(stream), ":\n\n");
}

TEST(HttpEventStream, EndsWithoutWhatWaits) {
    EventStream stream;
    stream.push(text("never"));
    stream.end();
    stream.push(text("too late"));
    char buffer[16];
    const auto piece = stream.read(buffer, sizeof buffer, [] { FAIL() << "must not sleep"; });
    EXPECT_TRUE(piece.isEnd);
    EXPECT_EQ(piece.size, 0U);
    EXPECT_TRUE(stream.isEnded());
}

TEST(HttpEventStream, WakesASleeperOncePerSleep) {
    EventStream stream;
    int woken = 0;
    stream.setWake([&] { ++woken; });
    stream.push(text("nobody sleeps"));
    EXPECT_EQ(woken, 0);
    readAll(stream); // sleeps at its end
    stream.push(text("one"));
    stream.push(text("two"));
    EXPECT_EQ(woken, 1);
    readAll(stream);
    stream.end();
    EXPECT_EQ(woken, 2);
}

TEST(HttpEventStream, ProducersAndAReaderLoseNothingUnseen) {
    EventStream stream({10'000'000, 1U << 30U});
    std::mutex mutex;
    std::condition_variable changed;
    bool isAwake = true;
    stream.setWake([&] {
        const std::lock_guard lock(mutex);
        isAwake = true;
        changed.notify_one();
    });
    constexpr int each = 20'000;
    const auto produce = [&] {
        for (int i = 0; i < each; ++i)
            stream.push(text("x"));
    };
    std::thread one(produce), two(produce);
    std::size_t read = 0;
    char buffer[64];
    while (read < 2 * each) {
        {
            std::unique_lock lock(mutex);
            ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(60), [&] { return isAwake; }));
        }
        read += stream
                    .read(buffer, sizeof buffer,
                        [&] {
                            const std::lock_guard lock(mutex);
                            isAwake = false;
                        })
                    .size;
    }
    one.join();
    two.join();
    EXPECT_EQ(read, 2U * each);
    EXPECT_EQ(stream.lost(), 0U);
}
