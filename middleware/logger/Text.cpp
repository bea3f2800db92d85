#include "middleware/logger/Text.hpp"

#include <cstring>

namespace zdds::logger {
namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

char* append(char* end, const char* text, std::size_t length) {
    std::memcpy(end, text, length);
    return end + length;
}

} // namespace

bool isCategory(const char* category) {
    return strnlen(category, maximumCategoryLength + 1) <= maximumCategoryLength &&
           std::strchr(category, ']') == nullptr;
}

// A character of UTF-8 has at most 4 bytes; what continues for longer is no UTF-8 and is cut anywhere.
std::size_t boundedLength(const char* text, std::size_t maximum) {
    const std::size_t length = strnlen(text, maximum);
    if (length < maximum || text[length] == '\0' || !isContinuation(text[length]))
        return length;
    for (std::size_t begin = length; begin > 0 && length - begin < 4; --begin) {
        if (!isContinuation(text[begin - 1]))
            return begin - 1;
    }
    return length;
}

const char* composeText(TextBuffer& buffer, const char* category, const char* text) {
    const std::size_t length = boundedLength(text, maximumTextLength);
    if (category == nullptr && text[length] == '\0')
        return text;
    char* end = buffer.bytes;
    if (category != nullptr) {
        end = append(end, "[|LC:", 5);
        end = append(end, category, std::strlen(category));
        end = append(end, "]", 1);
    }
    end = append(end, text, length);
    *end = '\0';
    return buffer.bytes;
}

} // namespace zdds::logger
