#include "ctl/Text.hpp"

#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace ctl {

namespace {

struct Character {
    std::uint32_t code = 0;
    std::size_t length = 1; // octets
    bool isValid = false;
};

constexpr std::uint32_t lowestOfLength[] = {0, 0, 0x80, 0x800, 0x10000};

std::size_t lengthByLead(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead < 0xE0)
        return 2;
    if (lead >= 0xE0 && lead < 0xF0)
        return 3;
    return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

// The first character; an octet that begins none is one of its own. Surrogates, overlong forms and what lies
// above U+10FFFF are none.
Character firstOf(std::string_view text) {
    Character character;
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthByLead(lead);
    character.code = lead;
    if (length == 0 || length > text.size())
        return character;
    std::uint32_t code = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto octet = static_cast<unsigned char>(text[i]);
        if ((octet & 0xC0U) != 0x80)
            return character;
        code = code << 6 | (octet & 0x3FU);
    }
    if (code < lowestOfLength[length] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000))
        return character;
    return {code, length, true};
}

// Characters that have no look of their own and change that of others.
bool isInvisible(std::uint32_t code) {
    return (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2060 && code <= 0x2069) || code == 0x061C || code == 0xFEFF ||
           (code >= 0xFFF9 && code <= 0xFFFB) || (code >= 0xE0000 && code <= 0xE0FFF);
}

bool isShowable(const Character& character, bool isUtf8) {
    if (character.code < 0x80)
        return character.code >= 0x20 && character.code != 0x7F;
    return isUtf8 && !isInvisible(character.code) && wcwidth(static_cast<wchar_t>(character.code)) >= 0;
}

std::string escapeOf(const Character& character) {
    switch (character.code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    char text[16];
    const bool isOctet = !character.isValid || character.code < 0x80;
    std::snprintf(text, sizeof text, isOctet ? "\\x%02X" : "\\u{%X}", static_cast<unsigned>(character.code));
    return text;
}

std::size_t columnsOf(const Character& character) {
    const int width = character.code < 0x80 ? 1 : wcwidth(static_cast<wchar_t>(character.code));
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

// Octets of the longest beginning that takes at most so many columns.
std::size_t beginningOf(std::string_view text, std::size_t width) {
    std::size_t at = 0;
    for (std::size_t columns = 0; at < text.size();) {
        const Character character = firstOf(text.substr(at));
        columns += columnsOf(character);
        if (columns > width)
            break;
        at += character.length;
    }
    return at;
}

// Where the longest end begins that takes at most so many columns.
std::size_t endOf(std::string_view text, std::size_t width) {
    std::size_t surplus = widthOf(text);
    std::size_t at = 0;
    while (at < text.size() && surplus > width) {
        const Character character = firstOf(text.substr(at));
        surplus -= columnsOf(character);
        at += character.length;
    }
    // What combines with a character that is cut off goes with it.
    while (at < text.size() && columnsOf(firstOf(text.substr(at))) == 0)
        at += firstOf(text.substr(at)).length;
    return at;
}

} // namespace

std::string escaped(std::string_view text, bool isUtf8) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Character character = firstOf(text);
        if (character.isValid && isShowable(character, isUtf8))
            result += text.substr(0, character.length);
        else
            result += escapeOf(character);
        text.remove_prefix(character.length);
    }
    return result;
}

std::size_t widthOf(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const Character character = firstOf(text);
        width += columnsOf(character);
        text.remove_prefix(character.length);
    }
    return width;
}

std::string cut(std::string_view text, std::size_t width, Cut side, bool isUtf8) {
    if (widthOf(text) <= width)
        return std::string(text);
    const std::string_view ellipsis = isUtf8 ? "\u2026" : "...";
    const std::size_t taken = isUtf8 ? 1 : 3;
    if (width <= taken)
        return std::string(ellipsis.substr(0, beginningOf(ellipsis, width)));
    if (side == Cut::atEnd)
        return std::string(text.substr(0, beginningOf(text, width - taken))) + std::string(ellipsis);
    return std::string(ellipsis) + std::string(text.substr(endOf(text, width - taken)));
}

std::string painted(const char* colour, const std::string& text, const Look& look) {
    return look.hasColours && *colour != '\0' && !text.empty() ? colour + text + "\x1B[0m" : text;
}

std::string clockOf(std::string_view timestamp) {
    constexpr std::size_t begin = 11; // behind "2026-11-21T"
    constexpr std::size_t length = 12;
    if (timestamp.size() < begin + length || timestamp[10] != 'T')
        return std::string(timestamp);
    return std::string(timestamp.substr(begin, length));
}

} // namespace ctl
