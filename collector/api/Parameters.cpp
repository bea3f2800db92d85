#include "collector/api/Parameters.hpp"

#include <charconv>
#include <set>
#include <string_view>

#include "collector/api/Json.hpp"

namespace collector::api {

Parameters::Parameters(const http::Request& request, std::initializer_list<const char*> known)
    : request_(request) {
    std::set<std::string_view> left(known.begin(), known.end());
    for (const auto& [name, value] : request.query) {
        if (left.erase(name) == 0)
            throw BadRequest("the parameter \"" + name + "\" is not known, or stands twice");
    }
}

bool Parameters::flag(const char* name) const {
    const std::string* const value = text(name);
    if (value == nullptr || *value == "0")
        return false;
    if (*value != "1")
        throw BadRequest(std::string("the parameter \"") + name + "\" is 0 or 1");
    return true;
}

std::size_t Parameters::number(
    const char* name, std::size_t otherwise, std::size_t least, std::size_t most) const {
    const std::string* const value = text(name);
    if (value == nullptr)
        return otherwise;
    std::size_t number = 0;
    const char* const end = value->data() + value->size();
    const auto read = std::from_chars(value->data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || number < least || number > most)
        throw BadRequest(std::string("the parameter \"") + name + "\" is a number from " +
                         std::to_string(least) + " to " + std::to_string(most));
    return number;
}

} // namespace collector::api
