// Command line of orx-tail.
#ifndef TAIL_OPTIONS_HPP
#define TAIL_OPTIONS_HPP

#include <optional>
#include <string>
#include <vector>

namespace tail {

struct Options {
    int domain = 2;                 // of the monitoring
    std::vector<std::string> peers; // addresses to announce to, for hosts without multicast
    std::optional<double> seconds;  // ends by itself after this long
    bool json = false;
    bool all = false;   // periodic values that did not change too
    bool stats = false; // at the end, what was received and what was not
    bool tree = false;  // what is there at the end, as a tree
};

// Either options, or the exit code with which the program ends at once (help and version print and give 0; a
// wrong option prints what is wrong with it and gives 2).
struct Parsed {
    Options options;
    std::optional<int> exitCode;
};
Parsed parseOptions(int argc, char** argv);

} // namespace tail

#endif
