#include "ctl/Json.hpp"

namespace ctl {

namespace {

constexpr int deepest = 64;

// Walks the text once without building anything: what is nested deeper would cost stack when it is written.
bool isShallow(std::string_view text) {
    int depth = 0;
    bool isInString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (isInString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                isInString = false;
            continue;
        }
        if (c == '"')
            isInString = true;
        else if (c == '[' || c == '{')
            ++depth;
        else if (c == ']' || c == '}')
            --depth;
        if (depth > deepest)
            return false;
    }
    return true;
}

} // namespace

std::optional<Json> parseJson(std::string_view text) {
    if (!isShallow(text))
        return std::nullopt;
    Json value = Json::parse(text, nullptr, false);
    if (value.is_discarded())
        return std::nullopt;
    return value;
}

const Json& member(const Json& object, const char* name) {
    static const Json none;
    if (!object.is_object())
        return none;
    const auto found = object.find(name);
    return found == object.end() ? none : *found;
}

std::string textOf(const Json& object, const char* name) {
    const Json& value = member(object, name);
    return value.is_string() ? value.get<std::string>() : std::string();
}

std::string shown(const Json& value) {
    if (value.is_null())
        return "";
    if (value.is_string())
        return value.get<std::string>();
    if (!value.is_array())
        return dumped(value);
    std::string all;
    for (const Json& element : value)
        all += (all.empty() ? "" : ",") + shown(element);
    return all;
}

std::string shownOf(const Json& object, const char* name) {
    return shown(member(object, name));
}

const Json::array_t& elementsOf(const Json& object, const char* name) {
    static const Json::array_t none;
    const Json& value = member(object, name);
    return value.is_array() ? value.get_ref<const Json::array_t&>() : none;
}

std::string dumped(const Json& value, int indent) {
    return value.dump(indent, ' ', true, Json::error_handler_t::replace);
}

} // namespace ctl
