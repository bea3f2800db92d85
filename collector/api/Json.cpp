#include "collector/api/Json.hpp"

#include <cstdio>
#include <ctime>
#include <set>
#include <vector>

namespace collector::api {

namespace {

constexpr int maximalDepth = 16;

} // namespace

Json parse(std::string_view text) {
    std::vector<std::set<std::string>> members; // of the objects that are open
    const auto check = [&](int depth, Json::parse_event_t event, Json& value) {
        if (depth > maximalDepth)
            throw BadRequest("the body is nested too deeply");
        if (event == Json::parse_event_t::object_start)
            members.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            members.pop_back();
        else if (event == Json::parse_event_t::key && !members.back().insert(value.get<std::string>()).second)
            throw BadRequest("the member \"" + value.get<std::string>() + "\" stands twice in an object");
        return true;
    };
    try {
        return Json::parse(text, check);
    } catch (const Json::exception& failure) {
        const std::string_view what = failure.what();
        // Without the library's own prefix.
        const std::size_t start = what.find("] ");
        throw BadRequest("the body is no JSON: " +
                         std::string(start == std::string_view::npos ? what : what.substr(start + 2)));
    }
}

std::string dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

http::Response answer(const Json& json, int status) {
    http::Response response;
    response.status = status;
    response.contentType = http::jsonType;
    response.body = dump(json) + "\n";
    response.set("Cache-Control", "no-store");
    return response;
}

std::string timeText(std::int64_t timeNs, int digits) {
    constexpr std::int64_t second = 1'000'000'000;
    std::int64_t fraction = timeNs % second;
    std::time_t seconds = static_cast<std::time_t>(timeNs / second);
    if (fraction < 0) {
        fraction += second;
        --seconds;
    }
    std::tm calendar{};
    gmtime_r(&seconds, &calendar);
    char text[64];
    std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &calendar);
    if (digits == 3)
        length += static_cast<std::size_t>(std::snprintf(
            text + length, sizeof text - length, ".%03d", static_cast<int>(fraction / 1'000'000)));
    else if (digits == 6)
        length += static_cast<std::size_t>(
            std::snprintf(text + length, sizeof text - length, ".%06d", static_cast<int>(fraction / 1'000)));
    return std::string(text, length) + "Z";
}

} // namespace collector::api
