// The grammar of orxctl's command line: commands, options and arguments, with their help and their checks.
//
// The parser is here for those who parse, and for completion, which only looks at it. Threads: one owner.
#ifndef CTL_COMMAND_LINE_HPP
#define CTL_COMMAND_LINE_HPP

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ctl/Options.hpp"

namespace ctl {

class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    CLI::App& app() { return app_; }
    // After a parse. Patterns and levels are still texts.
    Options options() const;
    const std::vector<std::string>& patterns() const { return patterns_; }
    const std::vector<std::string>& levels() const { return levels_; }

private:
    CLI::App* add(CLI::App& parent, const char* name, const char* help, std::optional<Verb> verb);
    CLI::Option* addPath(CLI::App& command, const char* help);
    void addGlobals();
    void addViews();
    void addCommands();
    void addPatterns(CLI::App& command);
    void addLevels(CLI::App& command);
    void addLogs();
    void addEvents();
    void addFollow(CLI::App& command, const char* help);
    void addFilter(CLI::App& command, const char* name, std::string& value, const char* type,
        const char* help, std::string (*check)(const std::string&));
    void addLimit(CLI::App& command, const char* help, int least);

    CLI::App app_;
    Options options_;
    std::string colour_ = "auto";
    int limit_ = 0;
    double seconds_ = 0;
    std::vector<CLI::Option*> limits_; // one for each command that has it
    std::vector<CLI::Option*> durations_;
    std::vector<std::string> patterns_;
    std::vector<std::string> levels_;
};

} // namespace ctl

#endif
