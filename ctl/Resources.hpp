// Asks for the resources that path expressions select, page by page. Threads: one owner.
#ifndef CTL_RESOURCES_HPP
#define CTL_RESOURCES_HPP

#include <string>
#include <vector>

#include "ctl/Client.hpp"

namespace ctl {

enum class With { resourcesAlone, metrics };

// Each once, in the order in which they come. A collector that does not come to an end is a Failure.
std::vector<Json> resourcesOf(const Client& client, const std::vector<std::string>& expressions, With with);
// The one with that GUID, with metrics; a Failure when it is not there.
Json resourceWithGuid(const Client& client, const std::string& guid);

} // namespace ctl

#endif
