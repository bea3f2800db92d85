// Keeps the programs of a test on this host: the engine uses the loopback interface alone, without multicast.
#ifndef TESTS_SYSTEM_SUPPORT_LOOPBACK_HPP
#define TESTS_SYSTEM_SUPPORT_LOOPBACK_HPP

#include "tests/system/support/Process.hpp"

inline Environment loopbackOnly() {
    return {{"CYCLONEDDS_URI",
        "<General><Interfaces><NetworkInterface name=\"lo\" multicast=\"false\"/></Interfaces>"
        "<AllowMulticast>false</AllowMulticast></General>"
        "<Discovery><ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>40</"
        "MaxAutoParticipantIndex>"
        "<Peers><Peer address=\"127.0.0.1\"/></Peers></Discovery>"}};
}

#endif
