#include "agent/ResourceName.hpp"

#include <cstdio>
#include <cstring>

namespace orx::agent {

namespace {

// "%~" and the digits of the hash.
constexpr size_t hashLength = 2 + 16;

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// Bytes of the valid UTF-8 character at `text`, or 0. Surrogates and over-long forms are not valid.
size_t characterLength(const unsigned char* text) {
    const unsigned char first = text[0];
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF)
        return isContinuation(text[1]) ? 2 : 0;
    if (first >= 0xE0 && first <= 0xEF) {
        if (!isContinuation(text[1]) || !isContinuation(text[2]))
            return 0;
        const bool overLong = first == 0xE0 && text[1] < 0xA0;
        const bool surrogate = first == 0xED && text[1] > 0x9F;
        return overLong || surrogate ? 0 : 3;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        if (!isContinuation(text[1]) || !isContinuation(text[2]) || !isContinuation(text[3]))
            return 0;
        const bool overLong = first == 0xF0 && text[1] < 0x90;
        const bool tooLarge = first == 0xF4 && text[1] > 0x8F;
        return overLong || tooLarge ? 0 : 4;
    }
    return 0;
}

bool needsEscape(unsigned char byte) {
    return byte < 0x20 || byte == 0x7F || std::strchr("/*?[]\\%", byte) != nullptr;
}

uint64_t hashOf(const char* name) {
    uint64_t hash = 0xCBF29CE484222325U;
    for (; *name != '\0'; ++name)
        hash = (hash ^ static_cast<unsigned char>(*name)) * 0x100000001B3U;
    return hash;
}

// Writes the name by the rule into `maximum` characters and a terminator; gives the length.
size_t encode(const char* name, char* out, size_t maximum) {
    const auto* in = reinterpret_cast<const unsigned char*>(name);
    const bool escapeFirst = std::strncmp(name, "GUID(", 5) == 0 || std::strcmp(name, "$") == 0;
    size_t length = 0;
    size_t cut = 0; // where the name is cut if it turns out too long
    while (*in != 0) {
        char unit[5];
        size_t taken = characterLength(in);
        size_t unitLength = taken;
        if (taken == 0 || needsEscape(*in) || (escapeFirst && length == 0)) {
            std::snprintf(unit, sizeof unit, "%%%02X", static_cast<unsigned>(*in));
            unitLength = 3;
            taken = 1;
        } else {
            std::memcpy(unit, in, taken);
        }
        if (length + unitLength > maximum) {
            std::snprintf(
                out + cut, maximum + 1 - cut, "%%~%016llX", static_cast<unsigned long long>(hashOf(name)));
            return cut + hashLength;
        }
        std::memcpy(out + length, unit, unitLength);
        length += unitLength;
        in += taken;
        if (length + hashLength <= maximum)
            cut = length;
    }
    out[length] = '\0';
    return length;
}

} // namespace

ResourceName resourceName(const char* name) {
    ResourceName result;
    encode(name, result.text, maximumNameLength);
    return result;
}

ResourceName resourceName(const char* name, uint32_t id) {
    constexpr size_t suffixLength = 1 + 8;
    ResourceName result;
    const size_t length = encode(name, result.text, maximumNameLength - suffixLength);
    std::snprintf(result.text + length, suffixLength + 1, "_%08x", static_cast<unsigned>(id));
    return result;
}

} // namespace orx::agent
