// From options to the bytes of a request, and from the bytes of a reply to its result.
#ifndef SEND_REQUEST_HPP
#define SEND_REQUEST_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "send/Options.hpp"

namespace send {

// Empty when memory is out, or the request is beyond what the channel carries.
std::vector<std::uint8_t> encodeRequest(const Operation& operation, const std::vector<Selector>& selectors);

struct Result {
    std::int32_t operation = 0; // hash
    int code = 0;               // 0 done, 2 failed, 3 nothing matched
    std::string message;
};
// Nothing for bytes that are no reply to an operation of the service.
std::optional<Result> decodeReply(const std::uint8_t* bytes, std::size_t size);

} // namespace send

#endif
