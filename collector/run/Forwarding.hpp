// The collector's side of DDS: a forwarder in a domain, and commands through it.
//
// Threads: open and close by the owner; send from any, several at once. Commands that wait when close comes
// end as timed out. Errors: open gives false with a text.
#ifndef COLLECTOR_RUN_FORWARDING_HPP
#define COLLECTOR_RUN_FORWARDING_HPP

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
    // Nothing reads any more: loans and conditions were given back.
    void close();

    Intake::Readers readers() const;
    api::CommandResult send(const api::Command& command) override;
    // Asks the applications for what they are made of; blocks as a command does.
    void requestRegistries(const std::vector<reading::Guid>& applications);

private:
    bool enter();
    void leave();
    std::size_t destinationsOf(const api::Command& command);

    ORX_MonitoringForwarder* forwarder_ = nullptr;
    std::mutex mutex_;
    std::size_t inside_ = 0;
    bool isClosing_ = true;
};

} // namespace collector::run

#endif
