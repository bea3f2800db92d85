// The collector's side of DDS: a forwarder in a domain, and commands through it.
//
// Threads: open and close by the owner; send from any, several at once. Commands that wait when close comes
// end as timed out. Errors: open gives false with a text.
#ifndef COLLECTOR_RUN_FORWARDING_HPP
#define COLLECTOR_RUN_FORWARDING_HPP

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "collector/api/Commands.hpp"
#include "collector/run/Intake.hpp"
#include "collector/run/Options.hpp"
#include "orxmonitoring2d/forwarder.h"

namespace collector::run {

class Forwarding : public api::Commander {
public:
    Forwarding() = default;
    ~Forwarding() override { close(); }
    Forwarding(const Forwarding&) = delete;
    Forwarding& operator=(const Forwarding&) = delete;

    bool open(const Options& options, std::string& error);
    // Nothing reads any more: loans and conditions were given back. Commands end and their callers have left,
    // but one that does not within a minute: then what it uses stays allocated.
    void close();

    Intake::Readers readers() const;
    api::CommandResult send(const api::Command& command) override;
    // False for an application that has ended, or was never there.
    bool isAlive(const reading::Guid& application);
    // Asks the applications for what they are made of; blocks as a command does.
    void requestRegistries(const std::vector<reading::Guid>& applications);

private:
    class Visit;

    ORX_MonitoringForwarder* forwarder_ = nullptr; // of the owner
    std::mutex mutex_;
    std::condition_variable left_;
    std::size_t inside_ = 0; // callers
    bool isClosing_ = true;
};

} // namespace collector::run

#endif
