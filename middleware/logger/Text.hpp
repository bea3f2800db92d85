// The text of a message, within its bounds.
#ifndef ZDDSC_LOGGER_TEXT_HPP
#define ZDDSC_LOGGER_TEXT_HPP

#include <cstddef>

#include "middleware/logger/Logger.hpp"

namespace zdds::logger {

// Not cleared: a message costs what it is long, not what it might be.
struct TextBuffer {
    char bytes[sizeof "[|LC:]" + maximumCategoryLength + maximumTextLength];
};

// At most 35 bytes, none of which would end the activity context early.
bool isCategory(const char* category);

// The text as a device gets it: the category, unless it is null, in an activity context in front, and a text
// that is too long cut at a character. Either `text` itself or the buffer.
const char* composeText(TextBuffer& buffer, const char* category, const char* text);

// Length of `text`, at most `maximum`, without the part of a UTF-8 character at the end that a cut would
// leave.
std::size_t boundedLength(const char* text, std::size_t maximum);

} // namespace zdds::logger

#endif
