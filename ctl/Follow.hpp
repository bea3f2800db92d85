// Follows a stream of a collector across its breaks.
//
// When the stream breaks, a new attempt follows after a pause that doubles up to five seconds, and asks to go
// on behind the last event that came. People are told of a break, and of its end, on the error stream.
// Threads: one owner; ends well when the stop is requested.
#ifndef CTL_FOLLOW_HPP
#define CTL_FOLLOW_HPP

#include <chrono>
#include <functional>
#include <stop_token>

#include "ctl/Client.hpp"
#include "ctl/EventStream.hpp"
#include "ctl/Output.hpp"

namespace ctl {

struct Pauses {
    std::chrono::milliseconds shortest{250};
    std::chrono::milliseconds longest{5000};
};

struct Following {
    std::string path;
    Parameters first; // of the first attempt
    Parameters again; // of those after a break
};

// Calls `take` for each event until that answers false. The first attempt fails as a request does; later ones
// only when the collector refuses them for good.
void follow(const Client& client, const Following& following, const Output& output,
    const std::function<bool(const ServerEvent&)>& take, const std::stop_token& stop,
    const Pauses& pauses = {});

} // namespace ctl

#endif
