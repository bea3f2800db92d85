// Bounds how long the thread of the HTTP library waits for something to happen.
//
// While no connection has a time-out, that thread waits without a bound, and a wake-up that gets lost (seen
// on virtual machines, about once in a hundred thousand connections: asleep in poll(2) with its listening
// socket ready) would leave a client unanswered until the next one comes. So there is always a connection of
// our own, which nobody can send anything to and which times out after a second; another takes its place at
// once. Threads: started and closed on the library's, the rest any.
#ifndef COLLECTOR_HTTP_PACER_HPP
#define COLLECTOR_HTTP_PACER_HPP

#include <microhttpd.h>
#include <sys/socket.h>

#include <atomic>

namespace collector::http {

class Pacer {
public:
    // Whether a connection is one of ours, by its address.
    static bool isOurs(const sockaddr* address) {
        return address != nullptr && address->sa_family == AF_UNSPEC;
    }
    // Adds one when there is none: at the start, and once in a while in case that there was no descriptor for
    // it.
    void keep(MHD_Daemon* daemon) {
        if (!isEnding_.load() && running_.load() == 0)
            add(daemon);
    }
    void started(MHD_Connection* connection);
    void closed(MHD_Daemon* daemon);
    // No other follows.
    void end() { isEnding_.store(true); }

private:
    static void add(MHD_Daemon* daemon);

    std::atomic<int> running_{0};
    std::atomic<bool> isEnding_{false};
};

} // namespace collector::http

#endif
