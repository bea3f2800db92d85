// The queue of one client of a stream of server-sent events.
//
// Bounded by count and bytes: what a slow client does not take in time is lost from the oldest on, and the
// client is told how many it lost before the next event. Threads: any may push, end and keep alive; one
// reads. Ownership: events are shared among the streams that they go to. A reader that finds nothing goes to
// sleep under the queue's mutex, and whoever brings something wakes it under the same mutex, so no wake-up is
// lost.
#ifndef COLLECTOR_HTTP_EVENT_STREAM_HPP
#define COLLECTOR_HTTP_EVENT_STREAM_HPP

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace collector::http {

// "event: NAME\nid: ID\ndata: DATA\n\n"; the data has no line end. Without an id when it is empty.
std::string eventText(const std::string& name, const std::string& id, const std::string& data);

class EventStream {
public:
    using Text = std::shared_ptr<const std::string>;
    using Clock = std::chrono::steady_clock;
    struct Limits {
        std::size_t events = 2'000;
        std::size_t bytes = 2U << 20U;
    };
    EventStream() : EventStream(Limits()) {}
    explicit EventStream(Limits limits) : limits_(limits) {}

    void push(Text event);
    // A comment line, when nothing was read for so long and nothing waits.
    void keepAlive(Clock::time_point now, Clock::duration idle);
    // What waits is dropped; the reader sees the end.
    void end();
    bool isEnded() const;

    // Up to `size` octets. Nothing for now: `sleep` is called, under the mutex, and `wake` once when there is
    // something again. The end: isEnd.
    struct Piece {
        std::size_t size = 0;
        bool isEnd = false;
    };
    Piece read(char* buffer, std::size_t size, const std::function<void()>& sleep);
    // Called under the mutex: it must not come back here.
    void setWake(std::function<void()> wake);

    std::uint64_t lost() const; // in all

private:
    void wakeUp();
    bool takeNext();

    const Limits limits_;
    mutable std::mutex mutex_;
    std::deque<Text> events_;
    std::size_t bytes_ = 0;
    Text current_; // being read
    std::size_t read_ = 0;
    std::uint64_t lostNow_ = 0; // not yet told
    std::uint64_t lost_ = 0;
    bool isEnded_ = false;
    bool isAsleep_ = false;
    std::function<void()> wake_;
    Clock::time_point lastRead_ = Clock::now();
};

} // namespace collector::http

#endif
