// Settings of the agent: one list of options, which orx-run takes on its command line and the agent from the
// environment, with the checks of their values.
//
// Threads: any; nothing is kept and nothing allocated. Errors: a check fills a Problem with one sentence that
// names what is wrong. Texts are borrowed.
#ifndef ORX_AGENT_SETTINGS_HPP
#define ORX_AGENT_SETTINGS_HPP

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "reading/Words.hpp"

namespace orx::agent {

struct Problem {
    char text[1400] = {};
    explicit operator bool() const { return text[0] != '\0'; }
};

enum class Verbosity { silent, error, warning, info, debug };

constexpr int32_t defaultDomain = 2;
constexpr int32_t maximumDomain = reading::lastDomain;
constexpr int32_t defaultQueueLimit = 64 * 1024 * 1024; // bytes
constexpr Verbosity defaultVerbosity = Verbosity::warning;

struct Option {
    const char* name;        // of the command line, without the dashes
    const char* argument;    // null: none
    const char* environment; // the variable of the same meaning
    bool repeatable;         // values are joined with newlines in the variable
    void (*check)(const Option& option, std::string_view value, Problem& problem);
    const char* help; // lines after the first are indented by the printer
    // Of numbers: seconds in nanoseconds, others as they are.
    int64_t least = 0;
    int64_t most = 0;
};
std::span<const Option> options();

bool parseDomain(std::string_view text, int32_t& domain);

// A list of addresses with commas between them.
void checkPeers(std::string_view list, Problem& problem);
bool parseVerbosity(std::string_view text, Verbosity& verbosity);

// Seconds as a decimal number, "2" or "0.25", to nanoseconds, within the limits of the option that has this
// variable; a whole number within them. False when the text is neither, and nothing changes.
bool parseSeconds(const char* environment, std::string_view text, int64_t& nanoseconds);
bool parseNumber(const char* environment, std::string_view text, int32_t& number);

// Levels of log messages by facility: "LEVEL" for all, or "FACILITY=LEVEL,FACILITY=LEVEL" for some. A level
// is the number of syslog, silent is -1. What the text does not name stays as it is.
struct Levels {
    static constexpr int silent = -1;
    int middleware;
    int securityEvent;
    int service;
    int user;
};
bool parseLevels(std::string_view text, Levels& levels);

// One selection, 'EXPRESSION=PATTERN,PATTERN'. The last '=' divides, since patterns have none.
struct Selection {
    std::string_view expression;
    std::string_view patterns;
};
struct Pattern {
    std::string_view text;
    bool enables; // false when the pattern was written with '!'
};

// Iterates over the lines of ORX_AGENT_SELECT, over the items of a list with commas, and over patterns. False
// at the end; `rest` moves on. Empty lines are skipped, empty items are not.
bool nextSelection(std::string_view& rest, std::string_view& selection);
bool nextItem(std::string_view& rest, std::string_view& item);
bool nextPattern(std::string_view& rest, Pattern& pattern);
Selection splitSelection(std::string_view selection);

// What the agent publishes unless told otherwise: every metric that changes by events, and of the periodic
// ones those that the engine tells.
const char* defaultSelections();

// Whether an expression is one that the library takes, and one that can select anything.
void checkExpression(std::string_view expression, Problem& problem);
void checkSelection(std::string_view selection, Problem& problem);

// Checks every variable that is set; the problem names the variable.
void checkEnvironment(Problem& problem);

} // namespace orx::agent

#endif
