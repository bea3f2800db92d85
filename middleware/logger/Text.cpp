#include "middleware/logger/Text.hpp"

#include <cstring>
#include <string_view>

namespace zdds::logger {
namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// By syslog level.
constexpr std::string_view levelWords[] = {
    "EMERGENCY ", "ALERT ", "CRITICAL ", "ERROR ", "WARNING ", "NOTICE ", "INFORMATIONAL ", "DEBUG "};

char* append(char* end, std::string_view text) {
    std::memcpy(end, text.data(), text.size());
    return end + text.size();
}

} // namespace

bool isCategory(const char* category) {
    return strnlen(category, maximumCategoryLength + 1) <= maximumCategoryLength &&
           std::strchr(category, ']') == nullptr;
}

// A character of UTF-8 has at most 4 bytes; what continues for longer is no UTF-8 and is cut anywhere.
std::size_t cutLength(const char* text, std::size_t maximum) {
    if (text[maximum] == '\0' || !isContinuation(text[maximum]))
        return maximum;
    for (std::size_t begin = maximum; begin > 0 && maximum - begin < 4; --begin) {
        if (!isContinuation(text[begin - 1]))
            return begin - 1;
    }
    return maximum;
}

std::size_t composeText(
    TextBuffer& buffer, ZDDS_Config_SyslogLevel level, const char* category, const char* text) {
    char* end = append(buffer.bytes, levelWords[level]);
    if (category != nullptr) {
        end = append(end, "[|LC:");
        end = append(end, category);
        end = append(end, "]");
    }
    end = append(end, {text, boundedLength(text, maximumTextLength)});
    *end = '\0';
    return static_cast<std::size_t>(end - buffer.bytes);
}

const char* boundText(TextBuffer& buffer, const char* text) {
    const std::size_t length = boundedLength(text, maximumTextLength);
    if (text[length] == '\0')
        return text;
    *append(buffer.bytes, {text, length}) = '\0';
    return buffer.bytes;
}

} // namespace zdds::logger
