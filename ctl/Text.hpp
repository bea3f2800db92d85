// Text on a terminal: what came from remote is escaped before it is shown, and cut by what it takes on a
// line.
//
// Texts are UTF-8 whatever the locale. Widths are the C library's: in a locale of UTF-8 a letter takes one
// column, a wide character two, a combining one none; elsewhere everything beyond ASCII is escaped anyway.
// Threads: any; nothing is kept.
#ifndef CTL_TEXT_HPP
#define CTL_TEXT_HPP

#include <cstddef>
#include <string>
#include <string_view>

namespace ctl {

// How texts may look where they are going to.
struct Look {
    bool isUtf8 = false;
    bool hasColours = false;
    std::size_t width = 0; // columns; 0: lines may be as long as they are
};

// Without control characters, characters that turn the direction of writing, and octets that are no UTF-8: a
// line feed becomes "\n", an octet "\x1B", a character "\u{202E}". A backslash stands for itself.
std::string escaped(std::string_view text, bool isUtf8);

// Columns that an escaped text takes.
std::size_t widthOf(std::string_view text);

enum class Cut { atEnd, atStart };
// At most so many columns of an escaped text, with an ellipsis where something is missing.
std::string cut(std::string_view text, std::size_t width, Cut side, bool isUtf8);

namespace colour {
constexpr const char* none = "";
constexpr const char* dim = "\x1B[2m";
constexpr const char* bold = "\x1B[1m";
constexpr const char* red = "\x1B[31m";
constexpr const char* green = "\x1B[32m";
constexpr const char* yellow = "\x1B[33m";
constexpr const char* cyan = "\x1B[36m";
} // namespace colour
std::string painted(const char* colour, const std::string& text, const Look& look);

// "12:40:31.924" of "2026-11-21T12:40:31.924000Z"; what does not look so stays as it is.
std::string clockOf(std::string_view timestamp);

} // namespace ctl

#endif
