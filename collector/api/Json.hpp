// JSON as the API takes and gives it: strict in, valid UTF-8 out.
#ifndef COLLECTOR_API_JSON_HPP
#define COLLECTOR_API_JSON_HPP

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "collector/http/Message.hpp"

namespace collector::api {

using Json = nlohmann::ordered_json;

// A parameter or a body that cannot be read; what() tells where. It becomes a status of 400.
class BadRequest : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One value and nothing behind it, at most 16 levels deep, with no member twice; else BadRequest.
Json parse(std::string_view text);
// On one line.
std::string dump(const Json& json);
http::Response answer(const Json& json, int status = 200);

// "2026-11-21T12:40:26.779Z", of nanoseconds since 1970; with 0, 3 or 6 digits of the second.
std::string timeText(std::int64_t timeNs, int digits);

} // namespace collector::api

#endif
