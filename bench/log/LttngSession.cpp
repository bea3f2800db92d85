#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "bench/log/Lttng.hpp"

namespace {

constexpr char session[] = "orx-bench-log";

bool tell(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

} // namespace

// Buffers of 4 x 1 MiB a core: no burst of this benchmark fills them. What they hold goes to a memory file
// system.
LttngSession::LttngSession() {
    if (!tell("lttng --version"))
        return;
    tell("lttng-sessiond --daemonize");
    tell(std::string("lttng destroy ") + session);
    const std::string name = session;
    if (!tell("lttng create " + name + " --output=/dev/shm/" + name) ||
        !tell("lttng enable-channel -u -s " + name + " --subbuf-size=1M --num-subbuf=4 all") ||
        !tell("lttng enable-event -u -s " + name + " -c all 'orx_bench:message'") ||
        !tell("lttng start " + name))
        return;
    for (int i = 0; i < 100 && lttngIsOn() == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    works_ = lttngIsOn() != 0;
}

LttngSession::~LttngSession() {
    tell(std::string("lttng destroy ") + session);
    tell(std::string("rm -rf /dev/shm/") + session);
}
