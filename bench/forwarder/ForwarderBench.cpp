// What the forwarder adds on the collector's side: to the rate of samples, and to the time until a status
// change is seen there. The processes of a comparison keep to the loopback interface, all with the same
// configuration of the engine, unless the environment has another.
#include <cstdlib>

#include "bench/forwarder/Tables.hpp"

namespace {

constexpr const char* loopbackOnly =
    "<General><Interfaces><NetworkInterface name=\"lo\" multicast=\"false\"/></Interfaces>"
    "<AllowMulticast>false</AllowMulticast></General><Discovery><ParticipantIndex>auto</ParticipantIndex>"
    "<MaxAutoParticipantIndex>40</MaxAutoParticipantIndex><Peers><Peer address=\"127.0.0.1\"/></Peers>"
    "</Discovery>";

} // namespace

int main(int argc, char** argv) {
    setenv("CYCLONEDDS_URI", loopbackOnly, 0);
    std::vector<bench::Table> tables; // printed as they come
    bench::measureRates(tables);
    bench::measureLatencies(tables);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    return 0;
}
