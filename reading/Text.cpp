#include "reading/Text.hpp"

#include <algorithm>
#include <cstdio>

namespace reading {

// The table of section 4 of the RFC.
std::size_t utf8Length(std::string_view text, std::size_t at) {
    const auto octet = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = octet(at);
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF)
        length = 2;
    else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        if (first == 0xE0)
            low = 0xA0;
        if (first == 0xED)
            high = 0x9F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        if (first == 0xF0)
            low = 0x90;
        if (first == 0xF4)
            high = 0x8F;
    } else {
        return 0;
    }
    if (at + length > text.size() || octet(at + 1) < low || octet(at + 1) > high)
        return 0;
    for (std::size_t i = at + 2; i < at + length; ++i) {
        if (octet(i) < 0x80 || octet(i) > 0xBF)
            return 0;
    }
    return length;
}

std::string escaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8Length(text, at);
        const auto octet = static_cast<unsigned char>(text[at]);
        // C1 controls are two octets in UTF-8: 0xC2 0x80 to 0xC2 0x9F.
        const bool control =
            octet < 0x20 || octet == 0x7F ||
            (length == 2 && octet == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0);
        if (length == 0 || control) {
            for (std::size_t i = 0; i < std::max<std::size_t>(length, 1); ++i, ++at) {
                char quoted[5];
                std::snprintf(quoted, sizeof quoted, "\\x%02X", static_cast<unsigned char>(text[at]));
                result += quoted;
            }
            continue;
        }
        if (octet == '\\')
            result += '\\';
        result.append(text.substr(at, length));
        at += length;
    }
    return result;
}

std::string validUtf8(std::string_view text, std::size_t limit, bool& isCut) {
    static constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string result;
    result.reserve(std::min(text.size(), limit));
    isCut = false;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8Length(text, at);
        const std::string_view character = length == 0 ? replacement : text.substr(at, length);
        if (result.size() + character.size() > limit) {
            isCut = true;
            break;
        }
        result += character;
        at += std::max<std::size_t>(length, 1);
    }
    return result;
}

} // namespace reading
