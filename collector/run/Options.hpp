// Command line of orx-collector.
#ifndef COLLECTOR_RUN_OPTIONS_HPP
#define COLLECTOR_RUN_OPTIONS_HPP

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "collector/http/Listener.hpp"

namespace collector::run {

struct Options {
    int domain = 2;                 // of the monitoring
    std::vector<std::string> peers; // addresses to announce to, for networks without multicast
    http::Address listen{"127.0.0.1", 9464};
    bool isReadOnly = false;
    std::string logFile; // empty: none; "-": the standard output
    double commandTimeout = 10;
    std::size_t maxApplications = 1'000;
    std::size_t maxResources = 20'000; // of one application
    std::size_t maxSeries = 50'000;    // of one application
    std::size_t maxStreams = 64;
    std::size_t maxCommands = 8;
    std::size_t maxConnections = 512;
};

// Either options, or the exit code with which the program ends at once (help and version print and give 0; a
// wrong option prints what is wrong with it and gives 2).
struct Parsed {
    Options options;
    std::optional<int> exitCode;
};
Parsed parseOptions(int argc, const char* const* argv);

} // namespace collector::run

#endif
