// The query parameters of a request: each is known, stands once and can be read, else BadRequest.
#ifndef COLLECTOR_API_PARAMETERS_HPP
#define COLLECTOR_API_PARAMETERS_HPP

#include <cstddef>
#include <initializer_list>
#include <string>

#include "collector/http/Message.hpp"

namespace collector::api {

class Parameters {
public:
    Parameters(const http::Request& request, std::initializer_list<const char*> known);

    const std::string* text(const char* name) const { return request_.parameter(name); }
    bool flag(const char* name) const; // "0" or "1"; false without it
    std::size_t number(const char* name, std::size_t otherwise, std::size_t least, std::size_t most) const;

private:
    const http::Request& request_;
};

} // namespace collector::api

#endif
