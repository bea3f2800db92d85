// Command line of orxctl.
#ifndef CTL_OPTIONS_HPP
#define CTL_OPTIONS_HPP

#include <optional>
#include <string>
#include <vector>

namespace ctl {

enum class Verb {
    applications,
    tree,
    show,
    metricsSet,
    metricsUpdate,
    loggingCollection,
    loggingForwarding,
    registry,
    logs,
    events,
    status
};

enum class ColourUse { automatic, always, never };

struct Level {
    std::string facility;
    std::string level;
};

struct Options {
    Verb verb = Verb::status;
    std::string collector = "http://127.0.0.1:9464";
    bool json = false;
    double timeout = 15; // seconds, for an answer
    ColourUse colour = ColourUse::automatic;

    std::string path;            // as it was given: a name, an expression, a GUID; empty: everything
    std::vector<std::string> on; // patterns of metric names
    std::vector<std::string> off;
    std::vector<Level> levels;

    bool follow = false;
    std::optional<double> seconds; // a stream ends by itself after this long
    std::optional<int> limit;      // messages of a log, events of a stream
    std::string application;       // filters; empty: all
    std::string facility;
    std::string severity;
    std::string category;
    std::string contains;
    std::string resourceClass;
};

// Either options, or the exit code with which the program ends at once (help and version print and give 0;
// what is wrong is told and gives 2).
struct Parsed {
    Options options;
    std::optional<int> exitCode;
};
Parsed parseOptions(std::vector<std::string> arguments);

} // namespace ctl

#endif
