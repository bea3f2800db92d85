// Label values as the exposition formats write them. Threads: any.
#ifndef COLLECTOR_LABEL_TEXT_HPP
#define COLLECTOR_LABEL_TEXT_HPP

#include <string>
#include <string_view>

namespace collector {

// Appends the text with backslashes, quotes and line ends escaped; what is not UTF-8 becomes U+FFFD.
void appendLabelValue(std::string& out, std::string_view value);
// Appends `name="value"`, with a comma before it unless the last octet is an opening brace.
void appendLabel(std::string& out, std::string_view name, std::string_view value);

} // namespace collector

#endif
