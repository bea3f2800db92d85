// Command line of orx-send, checked as far as it can be before anything is sent.
#ifndef SEND_OPTIONS_HPP
#define SEND_OPTIONS_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "send/Operations.hpp"

namespace send {

struct Level {
    std::uint8_t facility; // syslog's number
    int verbosity;         // the mask of levels that pass
};

// One selector, taken apart. What an operation does not take is empty.
struct Selector {
    std::string expression;
    std::vector<std::string> enabled; // patterns of metrics, or of metric groups
    std::vector<std::string> disabled;
    std::vector<Level> levels;
};

struct Options {
    int domain = 2;                 // of the monitoring
    std::vector<std::string> peers; // addresses to announce to, for hosts without multicast
    std::string application;        // its name; empty: the only one that there is
    double seconds = 10;            // for finding the application, and for its reply
    bool json = false;
    const Operation* operation = nullptr;
    std::vector<Selector> selectors;
};

// Null, or what is wrong with the text: the selector comes out.
std::optional<std::string> parseSelector(SelectorKind kind, const std::string& text, Selector& selector);

// Either options, or the exit code with which the program ends at once (help and version print and give 0; a
// wrong option or selector prints what is wrong with it and gives 2).
struct Parsed {
    Options options;
    std::optional<int> exitCode;
};
Parsed parseOptions(int argc, char** argv);

} // namespace send

#endif
