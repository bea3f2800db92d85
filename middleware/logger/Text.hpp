// The text of a message, within its bounds.
#ifndef ZDDSC_LOGGER_TEXT_HPP
#define ZDDSC_LOGGER_TEXT_HPP

#include <cstddef>
#include <cstring>

#include "middleware/logger/Logger.hpp"

namespace zdds::logger {

// Not cleared: a message costs what it is long, not what it might be.
struct TextBuffer {
    char bytes[sizeof "INFORMATIONAL [|LC:]" + maximumCategoryLength + maximumTextLength];
};

// At most 35 bytes, none of which would end the activity context early.
bool isCategory(const char* category);

// The text as a device gets it, into the buffer: the level's word, the category, unless it is null, in an
// activity context, and the text, cut at a character when it is too long: "ERROR [|LC:Discovery]text". Its
// length.
std::size_t composeText(
    TextBuffer& buffer, ZDDS_Config_SyslogLevel level, const char* category, const char* text);

// A text that goes to no device: `text` itself, or what fits of it in the buffer.
const char* boundText(TextBuffer& buffer, const char* text);

// Length of a text of at least `maximum` bytes, cut there, without the part of a UTF-8 character at the end
// that the cut would leave.
std::size_t cutLength(const char* text, std::size_t maximum);

// Length of `text`, at most `maximum`, cut likewise.
inline std::size_t boundedLength(const char* text, std::size_t maximum) {
    const std::size_t length = strnlen(text, maximum);
    return length < maximum ? length : cutLength(text, maximum);
}

} // namespace zdds::logger

#endif
