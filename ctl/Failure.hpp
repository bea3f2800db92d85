// What ends a command before its work is done: an exit code, and what to tell.
#ifndef CTL_FAILURE_HPP
#define CTL_FAILURE_HPP

#include <stdexcept>
#include <string>
#include <utility>

namespace ctl {

// As orx-send ends: scripts tell them apart.
enum class ExitCode { done = 0, failed = 2, nothingMatched = 3, noReply = 4 };

class Failure : public std::runtime_error {
public:
    // The word is stable, for scripts; the message is for people, and may hold what came from remote.
    Failure(ExitCode exitCode, std::string word, const std::string& message)
        : std::runtime_error(message), exitCode_(exitCode), word_(std::move(word)) {}
    ExitCode exitCode() const { return exitCode_; }
    const std::string& word() const { return word_; }

private:
    ExitCode exitCode_;
    std::string word_;
};

} // namespace ctl

#endif
