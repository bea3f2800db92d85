// The words of the command line that mean something to a collector, for checks and for completion.
#ifndef CTL_NAMES_HPP
#define CTL_NAMES_HPP

#include <array>
#include <string>
#include <string_view>

namespace ctl::names {

constexpr std::array<std::string_view, 4> facilities{"user", "security", "service", "middleware"};
constexpr std::array<std::string_view, 9> levels{
    "silent", "emergency", "alert", "critical", "error", "warning", "notice", "informational", "debug"};
// Of messages: what silent lets through has none.
constexpr std::array<std::string_view, 8> severities{
    "emergency", "alert", "critical", "error", "warning", "notice", "informational", "debug"};
constexpr std::array<std::string_view, 8> classes{"application", "domain_participant", "publisher",
    "subscriber", "topic", "data_writer", "data_reader", "type"};
// As paths have them.
constexpr std::array<std::string_view, 7> collections{
    "domain_participants", "publishers", "subscribers", "topics", "data_writers", "data_readers", "types"};

template <typename Names> std::string listOf(const Names& all) {
    std::string text;
    for (const std::string_view name : all)
        text += (text.empty() ? "" : ", ") + std::string(name);
    return text;
}

// Empty, or what is wrong: a facility, a level, or a severity, is a word of the list or a number.
std::string checkFacility(const std::string& text);
std::string checkLevel(const std::string& text);
std::string checkSeverity(const std::string& text);

} // namespace ctl::names

#endif
