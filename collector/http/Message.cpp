#include "collector/http/Message.hpp"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace collector::http {

namespace {

constexpr std::size_t maximalParameters = 64;

int digitOf(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool isControl(unsigned char c) {
    return c < 0x20 || c == 0x7F;
}

bool decode(std::string_view text, bool plusIsBlank, std::string& decoded) {
    decoded.clear();
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%') {
            const int high = i + 2 < text.size() ? digitOf(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? digitOf(text[i + 2]) : -1;
            if (high < 0 || low < 0)
                return false;
            c = static_cast<char>(high * 16 + low);
            i += 2;
        } else if (c == '+' && plusIsBlank) {
            c = ' ';
        }
        if (isControl(static_cast<unsigned char>(c)))
            return false;
        decoded += c;
    }
    return true;
}

} // namespace

bool Request::parseTarget(std::string_view target) {
    path.clear();
    query.clear();
    if (target.empty() || target.front() != '/')
        return false;
    target = target.substr(0, target.find('#'));
    const std::size_t mark = target.find('?');
    if (!decode(target.substr(0, mark), false, path))
        return false;
    if (mark == std::string_view::npos)
        return true;
    std::string_view rest = target.substr(mark + 1);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('&'), rest.size());
        const std::string_view pair = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (pair.empty())
            continue;
        const std::size_t equals = std::min(pair.find('='), pair.size());
        std::string name, value;
        if (query.size() == maximalParameters || !decode(pair.substr(0, equals), true, name) ||
            !decode(pair.substr(std::min(equals + 1, pair.size())), true, value))
            return false;
        query.emplace_back(std::move(name), std::move(value));
    }
    return true;
}

std::string_view Request::header(std::string_view name) const {
    for (const auto& [each, value] : headers) {
        if (each == name)
            return value;
    }
    return {};
}

bool Request::hasHeader(std::string_view name) const {
    return std::any_of(headers.begin(), headers.end(), [&](const auto& each) { return each.first == name; });
}

const std::string* Request::parameter(std::string_view name) const {
    for (const auto& [each, value] : query) {
        if (each == name)
            return &value;
    }
    return nullptr;
}

std::string_view Response::header(std::string_view name) const {
    for (const auto& [each, value] : headers) {
        if (each == name)
            return value;
    }
    return {};
}

void Response::varyBy(std::string_view header) {
    const auto vary =
        std::find_if(headers.begin(), headers.end(), [](auto& each) { return each.first == "Vary"; });
    if (vary == headers.end())
        set("Vary", std::string(header));
    else
        vary->second.append(", ").append(header);
}

Response error(int status, std::string_view code, std::string_view message) {
    Response response;
    response.status = status;
    response.contentType = jsonType;
    const nlohmann::json json{{"error", {{"code", code}, {"message", message}}}};
    response.body = json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    return response;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::string_view trimmed(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::optional<double> weightOf(std::string_view list, std::string_view value) {
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        std::string_view item = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        std::size_t semicolon = std::min(item.find(';'), item.size());
        if (lowerCase(trimmed(item.substr(0, semicolon))) != value)
            continue;
        double weight = 1;
        while (semicolon < item.size()) {
            item.remove_prefix(semicolon + 1);
            semicolon = std::min(item.find(';'), item.size());
            const std::string_view parameter = trimmed(item.substr(0, semicolon));
            if (parameter.size() < 3 || (parameter[0] != 'q' && parameter[0] != 'Q') || parameter[1] != '=')
                continue;
            const char* const from = parameter.data() + 2;
            if (std::from_chars(from, parameter.data() + parameter.size(), weight).ec != std::errc())
                weight = 0;
        }
        return weight;
    }
    return std::nullopt;
}

} // namespace collector::http
