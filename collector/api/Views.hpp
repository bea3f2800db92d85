// Applications and resources as JSON.
#ifndef COLLECTOR_API_VIEWS_HPP
#define COLLECTOR_API_VIEWS_HPP

#include "collector/api/Json.hpp"
#include "collector/model/Model.hpp"

namespace collector::api {

Json jsonOf(const ApplicationView& application);
Json jsonOf(const ResourceView& resource, bool withMetrics);

} // namespace collector::api

#endif
