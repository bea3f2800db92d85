// Text from remote: as it may be shown and as it may be kept. Threads: any.
#ifndef READING_TEXT_HPP
#define READING_TEXT_HPP

#include <cstddef>
#include <string>
#include <string_view>

namespace reading {

// Length of the well-formed UTF-8 sequence at the position, 0 when there is none (RFC 3629).
std::size_t utf8Length(std::string_view text, std::size_t at);
// For a terminal: control characters and invalid UTF-8 become \xHH, backslashes are doubled.
std::string escaped(std::string_view text);
// Valid UTF-8 of at most so many octets: each octet that belongs to no character becomes U+FFFD, and the text
// ends before the first character that does not fit, which `isCut` tells.
std::string validUtf8(std::string_view text, std::size_t limit, bool& isCut);

} // namespace reading

#endif
