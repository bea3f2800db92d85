#include "ctl/Run.hpp"

#include <new>

namespace ctl {

namespace {

ExitCode perform(const Options& options, const Output& output, const std::stop_token& stop) {
    const Client client(options.collector, options.timeout);
    switch (options.verb) {
    case Verb::applications:
        return showApplications(client, output);
    case Verb::tree:
        return showTree(options, client, output);
    case Verb::show:
        return showResources(options, client, output);
    case Verb::status:
        return showStatus(client, output);
    case Verb::metricsSet:
    case Verb::metricsUpdate:
        return changeMetrics(options, client, output);
    case Verb::loggingCollection:
    case Verb::loggingForwarding:
        return changeLogging(options, client, output);
    case Verb::registry:
        return requestRegistry(options, client, output);
    case Verb::logs:
        return showLogs(options, client, output, stop);
    case Verb::events:
        return showEvents(options, client, output, stop);
    }
    return ExitCode::failed;
}

// Scripts get an object, people a line.
void tellFailure(const Output& output, const Failure& failure) {
    if (!output.json)
        return output.tell(failure.what());
    Json error{{"error", {{"code", failure.word()}, {"message", failure.what()}}}};
    if (const auto* command = dynamic_cast<const CommandFailure*>(&failure))
        error["result"] = command->result;
    error["exit_code"] = static_cast<int>(failure.exitCode());
    output.line(error);
}

} // namespace

ExitCode run(const Options& options, const Output& output, const std::stop_token& stop) {
    try {
        return perform(options, output, stop);
    } catch (const Failure& failure) {
        tellFailure(output, failure);
        return failure.exitCode();
    } catch (const std::bad_alloc&) {
        output.tell("out of memory");
        return ExitCode::failed;
    } catch (const std::exception& error) {
        output.tell(error.what());
        return ExitCode::failed;
    }
}

} // namespace ctl
