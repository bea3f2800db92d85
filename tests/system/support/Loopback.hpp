// Keeps the programs of a test on this host: the engine uses the loopback interface alone, without multicast.
#ifndef TESTS_SYSTEM_SUPPORT_LOOPBACK_HPP
#define TESTS_SYSTEM_SUPPORT_LOOPBACK_HPP

#include <string>

#include "tests/system/support/Process.hpp"

// leaseSeconds: how long a participant that falls silent is waited for; 0 for what the engine takes.
inline Environment loopbackOnly(int leaseSeconds = 0) {
    const std::string lease =
        leaseSeconds == 0 ? "" : "<LeaseDuration>" + std::to_string(leaseSeconds) + "s</LeaseDuration>";
    return {{"CYCLONEDDS_URI",
        "<General><Interfaces><NetworkInterface name=\"lo\" multicast=\"false\"/></Interfaces>"
        "<AllowMulticast>false</AllowMulticast></General>"
        "<Discovery><ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>40</"
        "MaxAutoParticipantIndex>"
        "<Peers><Peer address=\"127.0.0.1\"/></Peers>" +
            lease + "</Discovery>"}};
}

#endif
