// What a browser sees that is pointed at the collector: plain, without anything that runs.
#ifndef COLLECTOR_API_PAGE_HPP
#define COLLECTOR_API_PAGE_HPP

#include <string>
#include <string_view>
#include <vector>

#include "collector/model/Model.hpp"

namespace collector::api {

std::string pageOf(const std::string& version, int domain, bool isReadOnly, const ModelStatistics& statistics,
    const std::vector<ApplicationView>& applications);
// For text and attributes.
std::string escapedHtml(std::string_view text);

} // namespace collector::api

#endif
