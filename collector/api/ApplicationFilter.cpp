#include "collector/api/ApplicationFilter.hpp"

#include "zddscore/text.h"

namespace collector::api {

std::optional<ApplicationFilter> ApplicationFilter::of(std::string_view text) {
    constexpr std::string_view prefix = "/applications/";
    constexpr std::size_t longest = 1023;
    if (text.starts_with(prefix))
        text.remove_prefix(prefix.size());
    ApplicationFilter filter;
    filter.isAll_ = false;
    filter.guid_ = reading::parseGuid(text);
    filter.pattern_ = text;
    if (text.empty() || text.size() > longest || text.find('/') != std::string_view::npos)
        return std::nullopt;
    return filter;
}

bool ApplicationFilter::passes(const reading::Guid& guid, const std::string& name) const {
    if (isAll_)
        return true;
    if (guid_)
        return *guid_ == guid;
    return name == pattern_ || REDAString_fnmatch(pattern_.c_str(), name.c_str(), 0) == 0;
}

} // namespace collector::api
