#include "collector/run/Options.hpp"

#include <CLI/CLI.hpp>

#include "agent/JoiningOptions.hpp"

namespace collector::run {

namespace {

constexpr double longestTimeout = 3600;

std::string isAddress(const std::string& text) {
    return http::parseAddress(text) ? "" : "'" + text + "' is no ADDRESS:PORT";
}

// CLI's own range lets "nan" pass.
std::string isTimeout(const std::string& text) {
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    return isNumber && seconds >= 0.1 && seconds <= longestTimeout
               ? ""
               : "'" + text + "' is no number of seconds from 0.1 to 3600";
}

} // namespace

Parsed parseOptions(int argc, const char* const* argv) {
    Parsed parsed;
    Options& options = parsed.options;
    std::string listen = "127.0.0.1:9464";
    std::vector<std::string> peers;
    CLI::App app{
        "Reads every monitored application of a domain and serves what they publish over HTTP: metrics for "
        "Prometheus, an API, log messages. Ends at SIGTERM and SIGINT; opens its log file again at SIGHUP."};
    app.name("orx-collector");
    app.option_defaults()->always_capture_default();
    orx::agent::addJoiningOptions(app, options.domain, peers);
    app.add_option("--listen", listen,
           "where to serve; port 0 takes a free one, :PORT every interface. Whoever reaches it may read, and "
           "send "
           "commands")
        ->check(isAddress, "ADDRESS:PORT");
    app.add_flag("--read-only", options.isReadOnly, "refuse commands")->always_capture_default(false);
    app.add_option(
           "--log-file", options.logFile, "append each log message as a line to this file, or print it (-)")
        ->always_capture_default(false);
    app.add_option("--command-timeout", options.commandTimeout,
           "how long a command waits for applications, in seconds")
        ->check(isTimeout, "SECONDS");
    const auto limit = [&](const char* name, std::size_t& value, const char* help, std::size_t most) {
        app.add_option(name, value, help)->check(CLI::Range(std::size_t{1}, most));
    };
    limit("--max-applications", options.maxApplications, "applications that are kept", 100'000);
    limit("--max-resources", options.maxResources, "resources of one application", 1'000'000);
    limit("--max-series", options.maxSeries, "series of one application", 10'000'000);
    limit("--max-streams", options.maxStreams, "clients that may follow logs and events at once", 10'000);
    limit("--max-commands", options.maxCommands, "commands at once", 256);
    limit("--max-connections", options.maxConnections,
        "HTTP connections at once, half of them of one address", 100'000);
    app.set_version_flag("--version", ORX_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        parsed.exitCode = app.exit(error) == 0 ? 0 : 2;
        return parsed;
    }
    options.listen = *http::parseAddress(listen);
    options.peers = orx::agent::peersOf(peers);
    return parsed;
}

} // namespace collector::run
