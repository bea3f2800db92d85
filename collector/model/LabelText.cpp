#include "collector/model/LabelText.hpp"

#include <algorithm>

#include "reading/Text.hpp"

namespace collector {

void appendLabelValue(std::string& out, std::string_view value) {
    const auto isPlain = [](char octet) {
        const auto number = static_cast<unsigned char>(octet);
        return number < 0x80 && octet != '\\' && octet != '"' && octet != '\n';
    };
    for (std::size_t at = 0; at < value.size();) {
        const auto end =
            std::find_if_not(value.begin() + static_cast<std::ptrdiff_t>(at), value.end(), isPlain);
        const auto plain = static_cast<std::size_t>(end - value.begin());
        out += value.substr(at, plain - at);
        at = plain;
        if (at == value.size())
            return;
        const std::size_t length = reading::utf8Length(value, at);
        if (length == 0)
            out += "\xEF\xBF\xBD";
        else if (value[at] == '\n')
            out += "\\n";
        else if (length == 1)
            (out += '\\') += value[at];
        else
            out += value.substr(at, length);
        at += std::max<std::size_t>(length, 1);
    }
}

void appendLabel(std::string& out, std::string_view name, std::string_view value) {
    if (!out.empty() && out.back() != '{')
        out += ',';
    out += name;
    out += "=\"";
    appendLabelValue(out, value);
    out += '"';
}

} // namespace collector
