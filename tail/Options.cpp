#include "tail/Options.hpp"

#include <CLI/CLI.hpp>
#include <iostream>

#include "agent/JoiningOptions.hpp"

namespace tail {

namespace {

// Empty for a number of seconds; CLI's own range lets "nan" pass.
std::string isDuration(const std::string& text) {
    constexpr double longest = 1e9;
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    return isNumber && seconds >= 0 && seconds <= longest
               ? ""
               : "'" + text + "' is no number of seconds from 0 to 1e9";
}

} // namespace

Parsed parseOptions(int argc, char** argv) {
    Parsed parsed;
    Options& options = parsed.options;
    double seconds = 0;
    std::vector<std::string> peers;
    CLI::App app{"Prints what monitored applications publish, a line for each change, until interrupted."};
    app.option_defaults()->always_capture_default();
    orx::agent::addJoiningOptions(app, options.domain, peers);
    auto* forOption = app.add_option("--for", seconds, "end after this many seconds")
                          ->check(isDuration, "SECONDS")
                          ->always_capture_default(false);
    auto* json = app.add_flag("--json", options.json, "print a JSON object on each line");
    app.add_flag("--all", options.all,
        "print every periodic value, not only those that changed; a value counts as 0 before its first");
    app.add_flag("--stats", options.stats,
        "at the end, print by topic what was received, lost and not decodable, and what applications lost");
    app.add_flag("--tree", options.tree, "at the end, print what is there as a tree")->excludes(json);
    app.set_version_flag("--version", ORX_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        parsed.exitCode = app.exit(error) == 0 ? 0 : 2;
        return parsed;
    }
    options.peers = orx::agent::peersOf(peers);
    if (forOption->count() != 0)
        options.seconds = seconds;
    return parsed;
}

} // namespace tail
