#include "collector/http/Pacer.hpp"

namespace collector::http {

void Pacer::add(MHD_Daemon* daemon) {
    // A datagram socket without a name: readable never, and without a peer that could close.
    const int silent = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (silent < 0)
        return;
    const sockaddr nobody{AF_UNSPEC, {}};
    MHD_add_connection(daemon, silent, &nobody, sizeof nobody); // takes the socket over in either case
}

void Pacer::started(MHD_Connection* connection) {
    constexpr unsigned longestWait = 1; // seconds
    ++running_;
    MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, longestWait);
}

void Pacer::closed(MHD_Daemon* daemon) {
    --running_;
    keep(daemon);
}

} // namespace collector::http
