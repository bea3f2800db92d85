#include "ctl/Follow.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace ctl {

namespace {

using std::chrono::milliseconds;

// Until the time is over, or the stop is requested.
void pause(milliseconds time, const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any condition;
    std::unique_lock lock(mutex);
    condition.wait_for(lock, stop, time, [] { return false; });
}

class Follower {
public:
    Follower(const Client& client, const Following& following, const Output& output,
        const std::function<bool(const ServerEvent&)>& take, const std::stop_token& stop,
        const Pauses& pauses)
        : client_(client), following_(following), output_(output), take_(take), stop_(stop), pauses_(pauses),
          pause_(pauses.shortest) {}

    void run() {
        while (!isEnough_ && !stop_.stop_requested()) {
            const milliseconds asked = attempt();
            if (isEnough_ || stop_.stop_requested())
                return;
            pause(std::clamp(asked, pause_, std::max(pause_, pauses_.longest)), stop_);
            pause_ = std::min(pauses_.longest, pause_ * 2);
        }
    }

private:
    // What the server asks to wait for; 0 when it does not.
    milliseconds attempt() {
        double retryAfter = 0;
        try {
            connectAndTake();
            if (!isEnough_ && !stop_.stop_requested())
                tellBreak("the collector ended the stream");
        } catch (const Outage& outage) {
            if (!stop_.stop_requested() && !wasOpen_)
                throw;
            if (!stop_.stop_requested())
                tellBreak(outage.what());
            retryAfter = std::clamp(outage.retryAfter, 0.0, 3600.0);
        }
        return std::max(milliseconds(events_.retry().value_or(0)),
            std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(retryAfter)));
    }

    void connectAndTake() {
        events_.restart();
        client_.follow(
            {following_.path, wasOpen_ ? following_.again : following_.first, events_.lastId().value_or("")},
            [this] { noteOpen(); }, [this](std::string_view piece) { return take(piece); }, stop_);
    }

    void noteOpen() {
        wasOpen_ = true;
        if (isBroken_)
            output_.tell("the collector is there again");
        isBroken_ = false;
    }

    bool take(std::string_view piece) {
        pause_ = pauses_.shortest; // a stream that gives something is no reason to wait long
        const std::uint64_t skipped = events_.skipped();
        isEnough_ = !events_.feed(piece, take_);
        if (events_.skipped() != skipped)
            output_.tell("left out an event that is too long");
        return !isEnough_;
    }

    // Once for each break, however many attempts it takes.
    void tellBreak(const std::string& why) {
        if (!isBroken_)
            output_.tell(why + "; trying again");
        isBroken_ = true;
    }

    const Client& client_;
    const Following& following_;
    const Output& output_;
    const std::function<bool(const ServerEvent&)>& take_;
    const std::stop_token& stop_;
    const Pauses& pauses_;
    milliseconds pause_;
    EventStream events_;
    bool wasOpen_ = false;
    bool isBroken_ = false;
    bool isEnough_ = false;
};

} // namespace

void follow(const Client& client, const Following& following, const Output& output,
    const std::function<bool(const ServerEvent&)>& take, const std::stop_token& stop, const Pauses& pauses) {
    Follower(client, following, output, take, stop, pauses).run();
}

} // namespace ctl
