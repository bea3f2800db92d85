// The commands. Each writes what it has to tell and gives the exit code, or throws a Failure.
#ifndef CTL_RUN_HPP
#define CTL_RUN_HPP

#include <stop_token>

#include "ctl/Client.hpp"
#include "ctl/Failure.hpp"
#include "ctl/Options.hpp"
#include "ctl/Output.hpp"

namespace ctl {

// What is there now (Views.cpp).
ExitCode showApplications(const Client& client, const Output& output);
ExitCode showTree(const Options& options, const Client& client, const Output& output);
ExitCode showResources(const Options& options, const Client& client, const Output& output);
ExitCode showStatus(const Client& client, const Output& output);

// What applications are told to do (Commands.cpp).
ExitCode changeMetrics(const Options& options, const Client& client, const Output& output);
ExitCode changeLogging(const Options& options, const Client& client, const Output& output);
ExitCode requestRegistry(const Options& options, const Client& client, const Output& output);

// What goes on (Streams.cpp); ends well when the stop is requested.
ExitCode showLogs(
    const Options& options, const Client& client, const Output& output, const std::stop_token& stop);
ExitCode showEvents(
    const Options& options, const Client& client, const Output& output, const std::stop_token& stop);

// Runs the command of the options; failures are told, and become exit codes.
ExitCode run(const Options& options, const Output& output, const std::stop_token& stop);

} // namespace ctl

#endif
