// Which applications a person means in a filter: a path ("/applications/NAME"), a name, or a GUID. A name may
// be a pattern (REDAString_fnmatch). It holds for applications that come later, and that have gone, too.
#ifndef COLLECTOR_API_APPLICATION_FILTER_HPP
#define COLLECTOR_API_APPLICATION_FILTER_HPP

#include <optional>
#include <string>
#include <string_view>

#include "reading/Guid.hpp"

namespace collector::api {

class ApplicationFilter {
public:
    ApplicationFilter() = default; // all
    // Nothing for a text that can name none: an empty one, or a path to something else.
    static std::optional<ApplicationFilter> of(std::string_view text);

    bool passes(const reading::Guid& guid, const std::string& name) const;

private:
    bool isAll_ = true;
    std::optional<reading::Guid> guid_;
    std::string pattern_;
};

} // namespace collector::api

#endif
